import { parseNumber } from "../app/numbers";
import type { FilterParameter } from "../engine/engine";

/** What a typed value comes to: the text that the engine takes, or what is wrong with it. */
export type Parsed = { text: string } | { problem: string };

interface Bounds {
  least: number;
  greatest: number;
  isLeastOut: boolean;
}

/** Reads "0 .. 1", "> 0", ">= 0" and "> 0, <= 5" as the engine writes them; undefined where there is no bound. */
export function boundsOf(range: string): Bounds | undefined {
  const both = /^(\S+) \.\. (\S+)$/.exec(range);
  if (both) return { least: Number(both[1]), greatest: Number(both[2]), isLeastOut: false };
  const least = /^(>=?) ([^\s,]+)/.exec(range);
  const greatest = /<= (\S+)$/.exec(range);
  if (!least && !greatest) return undefined;
  return {
    least: least ? Number(least[2]) : -Infinity,
    greatest: greatest ? Number(greatest[1]) : Infinity,
    isLeastOut: least?.[1] === ">",
  };
}

/** A range in words: "above 0", "0 to 1". */
export function rangeWords(range: string): string {
  const bounds = boundsOf(range);
  if (!bounds) return "";
  const { least, greatest, isLeastOut } = bounds;
  if (greatest === Infinity) return isLeastOut ? `above ${least}` : `${least} or more`;
  if (least === -Infinity) return `${greatest} or less`;
  return isLeastOut ? `above ${least}, up to ${greatest}` : `${least} to ${greatest}`;
}

function isInside(value: number, range: string): boolean {
  const bounds = boundsOf(range);
  if (!bounds) return true;
  return value <= bounds.greatest && (bounds.isLeastOut ? value > bounds.least : value >= bounds.least);
}

/**
 * Checks a value that was typed for a parameter, and gives it in the form that the engine takes.
 * @param parseTime  the ticks that a text means, or undefined
 */
export function parseParameter(
  parameter: FilterParameter,
  typed: string,
  parseTime: (text: string) => number | undefined,
): Parsed {
  switch (parameter.type) {
    case "Bool":
    case "Enum":
      return { text: typed };
    case "Vector3D":
      return parseVector(typed);
    case "Time":
      return parseTimeParameter(parameter, typed, parseTime);
    case "Double":
    case "Integer":
      return parseNumberParameter(parameter, typed);
  }
}

function parseNumberParameter({ type, range }: FilterParameter, typed: string): Parsed {
  const value = parseNumber(typed);
  if (value === undefined) return { problem: "This takes a number." };
  if (type === "Integer" && !Number.isInteger(value)) return { problem: "This takes a whole number." };
  if (!isInside(value, range)) return { problem: `This takes ${rangeWords(range)}.` };
  return { text: String(value) };
}

function parseTimeParameter({ range }: FilterParameter, typed: string, parseTime: (text: string) => number | undefined): Parsed {
  if (/^-?inf$/i.test(typed.trim())) return { text: typed.trim().toLowerCase() };
  const ticks = parseTime(typed);
  if (ticks === undefined) return { problem: "This takes a time: 45f (frames), 1.5s (seconds) or a time code." };
  if (!isInside(ticks, range)) return { problem: `This takes a time, ${rangeWords(range)}.` };
  return { text: `@${ticks}` };
}

/** Three numbers with spaces or semicolons between them, or commas where these are no decimal commas. */
function parseVector(typed: string): Parsed {
  const hasOtherSigns = /[;\s]/.test(typed.trim().replace(/,\s+/g, ","));
  const numbers = typed.trim().replace(/,\s+/g, hasOtherSigns ? " " : ",").split(hasOtherSigns ? /[;\s]+/ : ",").map(parseNumber);
  if (numbers.length !== 3 || numbers.includes(undefined)) return { problem: "This takes three numbers: 0; 90; -2.5" };
  return { text: numbers.join(",") };
}

/** A filter with its parameters as the engine takes it: "butterworth:CutOffFreq=7,Stop=@100". */
export function filterStep(name: string, values: readonly (readonly [string, string])[]): string {
  return values.length === 0 ? name : `${name}:${values.map(([parameter, text]) => `${parameter}=${text}`).join(",")}`;
}
