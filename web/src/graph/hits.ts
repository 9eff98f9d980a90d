import type { CurveDrawing, KeyDrawing } from "../engine/engine";

/** What was drawn last, for finding what is under the pointer. Points are in pixels of the screen. */
export interface Drawn {
  tracks: Int32Array;
  curves: CurveDrawing;
  keys: KeyDrawing;
  /** Pixels of the screen in a CSS pixel. */
  ratio: number;
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

/** The distance of a place to a line between two points. */
function lineDistance(x: number, y: number, x0: number, y0: number, x1: number, y1: number): number {
  const dx = x1 - x0;
  const dy = y1 - y0;
  const length = dx * dx + dy * dy;
  const part = length === 0 ? 0 : Math.min(1, Math.max(0, ((x - x0) * dx + (y - y0) * dy) / length));
  return Math.hypot(x0 + part * dx - x, y0 + part * dy - y);
}

/** The track whose curve is nearest to a place, not farther than `reach`; -1 for none. */
export function curveAt(drawn: Drawn, x: number, y: number, reach: number, active: number): number {
  const { curves, tracks, ratio } = drawn;
  const px = x * ratio;
  const py = y * ratio;
  let least = reach * ratio;
  let best = -1;
  for (let curve = 0; curve < tracks.length; ++curve) {
    const track = tracks[curve] ?? -1;
    const stop = (curves.first[curve + 1] ?? 0) - 1;
    for (let point = curves.first[curve] ?? 0; point < stop; ++point) {
      const [x0 = 0, y0 = 0, x1 = 0, y1 = 0] = curves.points.subarray(2 * point, 2 * point + 4);
      if (x1 < px - least || x0 > px + least) continue;
      const distance = lineDistance(px, py, x0, y0, x1, y1) - (track === active ? 1 : 0);
      if (distance >= least) continue;
      least = distance;
      best = track;
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
