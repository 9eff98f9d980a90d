/** A name that belongs to a point of the picture, in CSS pixels. Lower `rank` is placed first. */
export interface Label {
  joint: number;
  text: string;
  x: number;
  y: number;
  width: number;
  rank: number;
}

/** Where a name is drawn: the left end of its text and the middle of its height. */
export interface PlacedLabel {
  label: Label;
  left: number;
  middle: number;
}

const kGap = 9;
const kCell = 64;
/** More cells than any picture has below one another. */
const kStride = 4096;

interface Box {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

function overlap(a: Box, b: Box): boolean {
  return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

/** The boxes that are taken, by the cells of a grid that they reach into. */
class TakenBoxes {
  private readonly cells = new Map<number, Box[]>();

  isFree(box: Box): boolean {
    return this.cellsOf(box).every((cell) => !(this.cells.get(cell) ?? []).some((other) => overlap(box, other)));
  }

  take(box: Box): void {
    for (const cell of this.cellsOf(box)) {
      const boxes = this.cells.get(cell);
      if (boxes) boxes.push(box);
      else this.cells.set(cell, [box]);
    }
  }

  private cellsOf(box: Box): number[] {
    const cells: number[] = [];
    for (let x = Math.floor(box.left / kCell); x <= Math.floor(box.right / kCell); ++x) {
      for (let y = Math.floor(box.top / kCell); y <= Math.floor(box.bottom / kCell); ++y) cells.push(x * kStride + y);
    }
    return cells;
  }
}

/**
 * Chooses names that can be read: each beside its point, right or left of it, above or below, inside the picture and
 * clear of the names placed before. One that has no room is left out.
 */
export function placeLabels(labels: readonly Label[], width: number, height: number, lineHeight: number): PlacedLabel[] {
  const taken = new TakenBoxes();
  const placed: PlacedLabel[] = [];
  const inOrder = [...labels].sort((a, b) => a.rank - b.rank || a.joint - b.joint);
  for (const label of inOrder) {
    for (const [left, middle] of [
      [label.x + kGap, label.y],
      [label.x - kGap - label.width, label.y],
      [label.x - label.width / 2, label.y - lineHeight],
      [label.x - label.width / 2, label.y + lineHeight],
    ] as const) {
      const box = { left, top: middle - lineHeight / 2, right: left + label.width, bottom: middle + lineHeight / 2 };
      const isInside = box.left >= 0 && box.top >= 0 && box.right <= width && box.bottom <= height;
      if (!isInside || !taken.isFree(box)) continue;
      taken.take(box);
      placed.push({ label, left, middle });
      break;
    }
  }
  return placed;
}
