import { type EditorDocument, INTERPOLATIONS, type KeyTable, type Side, TANGENT_MODES, TICKS_PER_SECOND, type TrackKeys } from "../engine/engine";
import { firstIndex } from "../app/finding";
import type { Viewport } from "./viewport";

/**
 * Tangent handles of selected keys. A handle with a weight of its own ends where the segment's control point is; one
 * without has the same length for all keys on the screen and shows the direction alone.
 */
export interface Handle {
  track: number;
  index: number;
  side: Side;
  keyX: number;
  keyY: number;
  x: number;
  y: number;
  isWeighted: boolean;
}

/** More handles than these are not shown: they would hide the curves. */
const kMostHandles = 160;
const kLength = 46;
/** Of keys that are closer than this, only a few have their handles shown. */
const kLeastGap = 14;
const kFewKeys = 6;

/** Tables with this many keys in all are kept; more would fill the memory. */
const kMostKeys = 500_000;

/** Tables of the tracks with selected keys, read again only when a track has changed. */
export class KeyTables {
  private readonly known = new Map<number, { revision: number; table: KeyTable }>();
  private keyCount = 0;

  clear(): void {
    this.known.clear();
    this.keyCount = 0;
  }

  get(document: EditorDocument, track: number): KeyTable {
    const revision = document.trackRevisions([track])[0] ?? 0;
    const known = this.known.get(track);
    if (known?.revision === revision) return known.table;
    const table = document.keys(track);
    this.keyCount -= known?.table.time.length ?? 0;
    if (this.keyCount + table.time.length > kMostKeys) this.clear();
    this.keyCount += table.time.length;
    this.known.set(track, { revision, table });
    return table;
  }
}

const kCubic = INTERPOLATIONS.indexOf("cubic");

/** True where the curve beside a key goes by the key's slope on that side. */
export function hasSlope(table: KeyTable, index: number, side: Side): boolean {
  const segment = side === "left" ? index - 1 : index;
  if (segment < 0 || segment + 1 >= table.time.length) return false;
  return table.interpolation[segment] === kCubic;
}

/** True where both sides of a key may have slopes of their own. */
export function isBroken(table: KeyTable, index: number): boolean {
  return TANGENT_MODES[table.tangent[index] ?? 0]?.endsWith("-break") ?? false;
}

/** The duration of the segment on that side, in ticks. */
export function segmentDuration(table: KeyTable, index: number, side: Side): number {
  const segment = side === "left" ? index - 1 : index;
  return (table.time[segment + 1] ?? 0) - (table.time[segment] ?? 0);
}

function handleOf(viewport: Viewport, table: KeyTable, track: number, index: number, side: Side): Handle {
  const sign = side === "left" ? -1 : 1;
  const slopes = side === "left" ? table.leftSlope : table.rightSlope;
  const weights = side === "left" ? table.leftWeight : table.rightWeight;
  const isWeighted = (side === "left" ? table.leftWeighted : table.rightWeighted)[index] === 1;
  const keyX = viewport.xAt(table.time[index] ?? 0);
  const keyY = viewport.yAt(table.value[index] ?? 0);
  const duration = (weights[index] ?? 1 / 3) * segmentDuration(table, index, side);
  const dx = (sign * duration) / viewport.timePerPixel;
  const dy = (-sign * (slopes[index] ?? 0) * (duration / TICKS_PER_SECOND)) / viewport.valuePerPixel;
  const scale = isWeighted ? 1 : kLength / Math.max(1e-9, Math.hypot(dx, dy));
  return { track, index, side, keyX, keyY, x: keyX + dx * scale, y: keyY + dy * scale, isWeighted };
}

/**
 * The handles of the selected keys that are in sight; none where there are too many. `inSight` has the tracks that are
 * shown, and how many of their keys are in the window.
 */
export function visibleHandles(
  document: EditorDocument,
  selection: readonly TrackKeys[],
  tables: KeyTables,
  viewport: Viewport,
  inSight: ReadonlyMap<number, number>,
): Handle[] {
  const handles: Handle[] = [];
  const selected = selection.filter(({ track }) => inSight.has(track));
  const areFew = selected.reduce((sum, { indices }) => sum + indices.length, 0) <= kFewKeys;
  const least = areFew ? 0 : kLeastGap * viewport.timePerPixel;
  for (const { track, indices } of selected) {
    if (!areFew && (inSight.get(track) ?? 0) * kLeastGap > 2 * viewport.width) continue;
    const table = tables.get(document, track);
    const first = firstIndex(0, indices.length, (at) => (table.time[indices[at] ?? 0] ?? 0) >= viewport.start);
    for (let at = first; at < indices.length; ++at) {
      const index = indices[at] ?? 0;
      if ((table.time[index] ?? 0) > viewport.stop) break;
      for (const side of ["left", "right"] as const) {
        if (hasSlope(table, index, side) && segmentDuration(table, index, side) >= least) handles.push(handleOf(viewport, table, track, index, side));
      }
      if (handles.length > kMostHandles) return [];
    }
  }
  return handles;
}

/** What a handle says when it is dragged to a place of the plot. */
export interface HandleTarget {
  slope: number;
  /** Of the segment, from just above 0 to 1. */
  weight: number;
}

/**
 * The slope and the weight that bring a handle's end to a place. A handle cannot point to the other side of its key:
 * it stays a little beside it, as steep as that allows.
 */
export function handleTarget(viewport: Viewport, handle: Handle, duration: number, x: number, y: number): HandleTarget {
  const sign = handle.side === "left" ? -1 : 1;
  const pixels = Math.max(1, sign * (x - handle.keyX));
  const ticks = pixels * viewport.timePerPixel;
  const value = sign * (handle.keyY - y) * viewport.valuePerPixel;
  const weight = Math.min(1, Math.max(0.01, ticks / duration));
  return { slope: value / (ticks / TICKS_PER_SECOND), weight };
}
