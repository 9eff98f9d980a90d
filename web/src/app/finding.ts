/** The first index from `from` to below `to` from which on a condition holds; `to` where it holds for none. */
export function firstIndex(from: number, to: number, holds: (index: number) => boolean): number {
  let low = from;
  let high = to;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (holds(middle)) high = middle;
    else low = middle + 1;
  }
  return low;
}

/** The distance of a place to the straight line between two points. */
export function lineDistance(x: number, y: number, x0: number, y0: number, x1: number, y1: number): number {
  const dx = x1 - x0;
  const dy = y1 - y0;
  const length = dx * dx + dy * dy;
  const part = length === 0 ? 0 : Math.min(1, Math.max(0, ((x - x0) * dx + (y - y0) * dy) / length));
  return Math.hypot(x0 + part * dx - x, y0 + part * dy - y);
}
