import { TICKS_PER_SECOND, type EditorDocument } from "../engine/engine";
import { parseNumber } from "./numbers";
import type { TimeUnit } from "./preferences";

/** Times as they are typed and shown, in the unit that the user prefers. */

/** A time in the given unit: "45", "45.25", "1.500 s" or "00:00:01:15". */
export function formatTime(document: EditorDocument | undefined, time: number, unit: TimeUnit): string {
  if (!document) return "";
  switch (unit) {
    case "frames":
      return document.framesText(time).replace(/f$/, "");
    case "seconds":
      return `${(time / TICKS_PER_SECOND).toFixed(3)} s`;
    case "timecode":
      return document.timeCode(time);
  }
}

/**
 * The ticks that a typed time means: a bare number is in the given unit, a text with a unit ("12f", "1,5s", time code)
 * means what it says. Undefined for a text that is no time.
 */
export function parseTime(document: EditorDocument | undefined, text: string, unit: TimeUnit): number | undefined {
  if (!document) return undefined;
  const number = parseNumber(text);
  try {
    if (number !== undefined && unit === "frames") return document.parseTime(`${number}f`);
    // The library takes seconds as bare numbers; people write what the field shows, "1.500 s".
    return document.parseTime(text.trim().replace(/(\d)\s*s$/i, "$1"));
  } catch {
    return undefined;
  }
}
