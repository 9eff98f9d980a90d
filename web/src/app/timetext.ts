import { TICKS_PER_SECOND, type EditorDocument } from "../engine/engine";
import { formatNumber, parseNumber } from "./numbers";
import type { TimeUnit } from "./preferences";

/** Times as they are typed and shown, in the unit that the user prefers. */

/** The frame at a time, with a fraction where the time is between two. */
export function frameAt(document: EditorDocument, time: number): number {
  const nearest = document.nearestFrame(time);
  const onFrame = document.frameTime(nearest);
  if (onFrame === time) return nearest;
  return nearest + (time - onFrame) / (document.frameTime(nearest + 1) - onFrame);
}

function timecode(document: EditorDocument, time: number): string {
  const rate = document.frameRate();
  const perSecond = Math.max(1, Math.round(rate.numerator / rate.denominator));
  const frame = document.nearestFrame(time);
  const count = Math.abs(frame);
  const two = (value: number): string => String(value).padStart(2, "0");
  const seconds = Math.floor(count / perSecond);
  const sign = frame < 0 ? "-" : "";
  return `${sign}${two(Math.floor(seconds / 3600))}:${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}:${two(count % perSecond)}`;
}

/** A time in the given unit: "45", "45.25", "1.500 s" or "00:00:01:15". */
export function formatTime(document: EditorDocument | undefined, time: number, unit: TimeUnit): string {
  if (!document) return "";
  switch (unit) {
    case "frames":
      return formatNumber(frameAt(document, time), 2);
    case "seconds":
      return `${(time / TICKS_PER_SECOND).toFixed(3)} s`;
    case "timecode":
      return timecode(document, time);
  }
}

/**
 * The ticks that a typed time means: a bare number is in the given unit, a text with a unit ("12f", "1,5s", time code)
 * means what it says. Undefined for a text that is no time.
 */
export function parseTime(document: EditorDocument | undefined, text: string, unit: TimeUnit): number | undefined {
  if (!document) return undefined;
  const number = parseNumber(text);
  if (number !== undefined && unit === "frames") {
    const whole = Math.floor(number);
    const start = document.frameTime(whole);
    return Math.round(start + (number - whole) * (document.frameTime(whole + 1) - start));
  }
  try {
    // The library takes seconds as bare numbers; people write what the field shows, "1.500 s".
    return document.parseTime(text.trim().replace(/(\d)\s*s$/i, "$1"));
  } catch {
    return undefined;
  }
}
