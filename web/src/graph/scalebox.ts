import type { KeyRange } from "../engine/engine";
import type { Viewport } from "./viewport";

/** Which sides a grip moves: -1 is left or bottom, 1 right or top, 0 neither. */
export interface Grip {
  time: -1 | 0 | 1;
  value: -1 | 0 | 1;
  x: number;
  y: number;
}

/** The box lies this far outside the keys, so that they can be caught themselves. */
const kPadding = 10;
const kCatch = 8;

/** A box around the selected keys, whose grips stretch them in time and in value. */
export class ScaleBox {
  readonly left: number;
  readonly right: number;
  readonly top: number;
  readonly bottom: number;

  constructor(
    viewport: Viewport,
    readonly range: KeyRange,
  ) {
    this.left = viewport.xAt(range.start) - kPadding;
    this.right = viewport.xAt(range.stop) + kPadding;
    this.top = viewport.yAt(range.greatest) - kPadding;
    this.bottom = viewport.yAt(range.least) + kPadding;
  }

  /** The grips that can do something: keys at one time cannot be stretched in time. */
  grips(): Grip[] {
    const times = this.range.stop > this.range.start ? ([-1, 0, 1] as const) : ([0] as const);
    const values = this.range.greatest > this.range.least ? ([-1, 0, 1] as const) : ([0] as const);
    const grips: Grip[] = [];
    for (const time of times) {
      for (const value of values) {
        if (time === 0 && value === 0) continue;
        const x = (this.left + this.right + time * (this.right - this.left)) / 2;
        const y = (this.top + this.bottom - value * (this.bottom - this.top)) / 2;
        grips.push({ time, value, x, y });
      }
    }
    return grips;
  }

  gripAt(x: number, y: number): Grip | undefined {
    return this.grips().find((grip) => Math.abs(grip.x - x) <= kCatch && Math.abs(grip.y - y) <= kCatch);
  }

  contains(x: number, y: number): boolean {
    return x >= this.left && x <= this.right && y >= this.top && y <= this.bottom;
  }
}

export type PivotChoice = "opposite" | "centre" | "time";

/** Where in time and in value the keys stay while a grip is dragged. */
export function pivotOf(range: KeyRange, grip: Grip, choice: PivotChoice, currentTime: number): { time: number; value: number } {
  const side = (sign: number, low: number, high: number): number => (sign < 0 ? high : low);
  const centreTime = (range.start + range.stop) / 2;
  const centreValue = (range.least + range.greatest) / 2;
  const value = choice === "opposite" ? side(grip.value, range.least, range.greatest) : centreValue;
  switch (choice) {
    case "opposite":
      return { time: side(grip.time, range.start, range.stop), value };
    case "centre":
      return { time: centreTime, value };
    case "time":
      return { time: currentTime, value };
  }
}

/** By how much a side is stretched that goes from one place to another; 1 where it is at the pivot. */
export function stretchFactor(from: number, to: number, pivot: number): number {
  return from === pivot ? 1 : (to - pivot) / (from - pivot);
}
