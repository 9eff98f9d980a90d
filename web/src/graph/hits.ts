import type { CurveDrawing, KeyDrawing } from "../engine/engine";

/** What was drawn last, for finding what is under the pointer. Points are in pixels of the screen. */
export interface Drawn {
  tracks: Int32Array;
  curves: CurveDrawing;
  keys: KeyDrawing;
  /** Pixels of the screen in a CSS pixel. */
  ratio: number;
}

/** How many marks of keys each track has in sight. */
export function keyCounts({ tracks, keys }: Drawn): ReadonlyMap<number, number> {
  return new Map(Array.from(tracks, (track, curve) => [track, (keys.first[curve + 1] ?? 0) - (keys.first[curve] ?? 0)]));
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

/** The first point of a polyline whose x is not below the given one; points are in the order of x. */
function firstPoint(curves: CurveDrawing, from: number, to: number, x: number): number {
  let low = from;
  let high = to;
  while (low < high) {
    const middle = (low + high) >> 1;
    if ((curves.points[2 * middle] ?? 0) < x) low = middle + 1;
    else high = middle;
  }
  return low;
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
    const first = Math.max(from, firstPoint(curves, from, to, px - width) - 1);
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
