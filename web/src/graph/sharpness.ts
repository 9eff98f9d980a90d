import { afterRest } from "../app/dom";

/** Pictures of fewer pixels are made in time, whatever they show. */
const kManyPixels = 1e6;
/** A picture that takes longer leaves too little of a sixtieth of a second for the rest of the page, in milliseconds. */
const kLong = 8;
/** The view rests after so many milliseconds without a new picture. */
const kRest = 300;
const kCoarse = 0.5;

/**
 * How fine the picture of dense curves is made. Where one of all pixels of the screen takes too long, as on screens of
 * very many, pictures are coarser while they follow each other, and a fine one is made when the view rests.
 */
export class Sharpness {
  private isSlow = false;
  private last = -Infinity;
  private readonly refine: () => void;

  constructor(repaint: () => void) {
    this.refine = afterRest(kRest, repaint);
  }

  /** `make` paints a picture with so many of its pixels for one of the screen, in each direction, or says that lines serve. */
  paint(pixels: number, make: (scale: number) => boolean): boolean {
    const start = performance.now();
    const isCoarse = this.isSlow && pixels > kManyPixels && start - this.last < kRest;
    // Where lines would serve in place of the coarse picture, the fine one may be needed nevertheless.
    const isPainted = make(isCoarse ? kCoarse : 1) || (isCoarse && make(1));
    this.last = performance.now();
    if (isCoarse) this.refine();
    else this.isSlow = isPainted && this.last - start > kLong;
    return isPainted;
  }
}
