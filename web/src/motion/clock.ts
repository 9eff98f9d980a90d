import { TICKS_PER_SECOND } from "../engine/engine";

/** What is played, in ticks, and how. The speed is above 0. */
export interface Playing {
  start: number;
  stop: number;
  speed: number;
  loop: boolean;
}

/**
 * The time to show some milliseconds later, in ticks, and whether playing goes on. A clip that loops goes on from its
 * beginning by as much as it went too far; one that does not loop ends at its last key.
 */
export function advance(time: number, milliseconds: number, playing: Playing): { time: number; goesOn: boolean } {
  const { start, stop, speed, loop } = playing;
  const length = stop - start;
  if (!(length > 0)) return { time: start, goesOn: false };
  const next = time + (milliseconds / 1000) * speed * TICKS_PER_SECOND;
  if (next <= stop) return { time: Math.round(next), goesOn: true };
  if (!loop || time > stop) return { time: loop ? start : stop, goesOn: loop };
  return { time: Math.round(start + ((next - start) % length)), goesOn: true };
}
