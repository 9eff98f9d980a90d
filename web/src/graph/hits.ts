import type { CurveDrawing, EditorDocument, KeyDrawing, Window } from "../engine/engine";
import { firstIndex, lineDistance } from "../app/finding";

/** What was drawn last, for finding what is under the pointer. Points are in pixels of the screen. */
export class Drawn {
  private knownCurves: CurveDrawing | undefined;
  private knownKeys: KeyDrawing | undefined;

  constructor(
    private readonly document: EditorDocument,
    readonly tracks: Int32Array,
    private readonly window: Window,
    /** Pixels of the screen in a CSS pixel. */
    readonly ratio: number,
  ) {}

  get curves(): CurveDrawing {
    this.knownCurves ??= this.document.drawCurves(this.tracks, this.window);
    return this.knownCurves;
  }

  /** Also of those that are too near to each other to be marked. */
  get keys(): KeyDrawing {
    this.knownKeys ??= this.document.drawKeys(this.tracks, this.window);
    return this.knownKeys;
  }
}

/** How many keys each track has in sight. */
export function keyCounts(tracks: Int32Array, { inSight }: KeyDrawing): ReadonlyMap<number, number> {
  return new Map(Array.from(tracks, (track, curve) => [track, inSight[curve] ?? 0]));
}

export interface KeyHit {
  track: number;
  index: number;
  isSelected: boolean;
}

/** The key nearest to a place, not farther than `reach`; of several a selected one, then one of the active track. */
export function keyAt(drawn: Drawn, x: number, y: number, reach: number, active: number): KeyHit | undefined {
  const { keys, tracks, ratio } = drawn;
  let best: KeyHit | undefined;
  let least = Infinity;
  for (let curve = 0; curve < tracks.length; ++curve) {
    const track = tracks[curve] ?? -1;
    const stop = keys.first[curve + 1] ?? 0;
    for (let index = keys.first[curve] ?? 0; index < stop; ++index) {
      const dx = (keys.points[2 * index] ?? 0) / ratio - x;
      if (Math.abs(dx) > reach) continue;
      const dy = (keys.points[2 * index + 1] ?? 0) / ratio - y;
      const distance = Math.hypot(dx, dy);
      if (distance > reach) continue;
      const isSelected = keys.selected[index] === 1;
      const rank = distance - (isSelected ? 3 : 0) - (track === active ? 1 : 0);
      if (rank >= least) continue;
      least = rank;
      best = { track, index: keys.index[index] ?? 0, isSelected };
    }
  }
  return best;
}

/** The track whose curve is nearest to a place, not farther than `reach`; -1 for none. */
export function curveAt(drawn: Drawn, x: number, y: number, reach: number, active: number): number {
  const { curves, tracks, ratio } = drawn;
  const { points } = curves;
  const px = x * ratio;
  const py = y * ratio;
  const width = reach * ratio;
  let least = width;
  let best = -1;
  for (let curve = 0; curve < tracks.length; ++curve) {
    const from = curves.first[curve] ?? 0;
    const to = curves.first[curve + 1] ?? from;
    const nearness = tracks[curve] === active ? 1 : 0;
    const first = Math.max(from, firstIndex(from, to, (point) => (points[2 * point] ?? 0) >= px - width) - 1);
    for (let point = 2 * first; point < 2 * (to - 1) && (points[point] ?? 0) <= px + width; point += 2) {
      const distance = lineDistance(px, py, points[point] ?? 0, points[point + 1] ?? 0, points[point + 2] ?? 0, points[point + 3] ?? 0);
      if (distance - nearness >= least) continue;
      least = distance - nearness;
      best = tracks[curve] ?? -1;
    }
  }
  return best;
}

export interface Place {
  x: number;
  y: number;
}

/** Whether a place is inside a line that is closed, by the count of its crossings. */
export function isInside(lasso: readonly Place[], x: number, y: number): boolean {
  let inside = false;
  let before = lasso.at(-1);
  for (const point of lasso) {
    if (before && point.y > y !== before.y > y) {
      const crossing = before.x + ((y - before.y) / (point.y - before.y)) * (point.x - before.x);
      if (x < crossing) inside = !inside;
    }
    before = point;
  }
  return inside;
}
