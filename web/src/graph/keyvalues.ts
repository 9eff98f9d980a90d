import type { EditorDocument, KeyTable, TrackKeys } from "../engine/engine";
import type { KeyTables } from "./handles";

/** What the selected keys have in common: a value, or undefined where they differ. */
export interface CommonKeys {
  count: number;
  time: number | undefined;
  /** Of the earliest of them. */
  firstTime: number;
  value: number | undefined;
  interpolation: number | undefined;
  tangent: number | undefined;
  clamped: number | undefined;
  leftSlope: number | undefined;
  rightSlope: number | undefined;
  leftWeight: number | undefined;
  rightWeight: number | undefined;
  tension: number | undefined;
  continuity: number | undefined;
  bias: number | undefined;
}

const kColumns = [
  "time",
  "value",
  "interpolation",
  "tangent",
  "clamped",
  "leftSlope",
  "rightSlope",
  "leftWeight",
  "rightWeight",
  "tension",
  "continuity",
  "bias",
] as const satisfies readonly (keyof KeyTable)[];
type Column = (typeof kColumns)[number];

/** More keys than these are not compared: it would take long, and they hardly ever have anything in common. */
const kMostCompared = 20_000;

/** What the selected keys have in common; of very many, only how many they are and where the first is. */
export function commonKeys(document: EditorDocument, selection: readonly TrackKeys[], tables: KeyTables): CommonKeys {
  const common = new Map<Column, number | undefined>();
  const all = selection.reduce((sum, { indices }) => sum + indices.length, 0);
  if (all > kMostCompared) return { ...valuesOf(common), count: all, firstTime: document.selectionRange().start };
  let count = 0;
  let firstTime = Infinity;
  for (const { track, indices } of selection) {
    const table = tables.get(document, track);
    for (const index of Array.from(indices)) {
      firstTime = Math.min(firstTime, table.time[index] ?? Infinity);
      for (const column of kColumns) {
        const value = table[column][index];
        if (count === 0) common.set(column, value);
        else if (common.get(column) !== value) common.set(column, undefined);
      }
      count += 1;
    }
  }
  return { ...valuesOf(common), count, firstTime: count > 0 ? firstTime : 0 };
}

function valuesOf(common: ReadonlyMap<Column, number | undefined>): Record<Column, number | undefined> {
  return Object.fromEntries(kColumns.map((column) => [column, common.get(column)])) as Record<Column, number | undefined>;
}
