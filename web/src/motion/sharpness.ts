/** Pictures that take longer than this, in milliseconds, are too slow to follow a motion. */
const kSlow = 40;
/** So many slow pictures in a row mean that the machine is slow, and not that it was busy once. */
const kPatience = 6;
const kLeast = 0.4;

/**
 * How sharp the picture is, as a part of what the screen can show. On a machine that draws slowly, without a graphics
 * card, pictures get coarser while the motion plays, and sharp again when it stops.
 */
export class Sharpness {
  private last = 0;
  private slow = 0;
  private value = 1;

  /** Tells that a picture is drawn at a time, in milliseconds; gives how sharp it should be. */
  next(now: number, isPlaying: boolean): number {
    const passed = now - this.last;
    this.last = now;
    if (!isPlaying) {
      this.slow = 0;
      return (this.value = 1);
    }
    this.slow = passed > kSlow ? this.slow + 1 : 0;
    if (this.slow >= kPatience) {
      this.value = Math.max(kLeast, this.value * 0.7);
      this.slow = 0;
    }
    return this.value;
  }
}
