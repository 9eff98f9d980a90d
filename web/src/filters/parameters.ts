import { parseNumber } from "../app/numbers";
import { TICKS_PER_SECOND, type FilterParameter } from "../engine/engine";

/** What a typed value comes to: the text that the engine takes, or what is wrong with it. */
export type Parsed = { text: string } | { problem: string };

/** A range in words: "above 0", "0 to 1", "above 0 s" of times; empty where there is no bound. */
export function rangeWords({ type, minimum, maximum, aboveMinimum }: FilterParameter): string {
  const unit = type === "Time" ? " s" : "";
  const least = minimum === undefined ? "" : `${aboveMinimum ? "above " : ""}${minimum}`;
  if (maximum === undefined) return least && `${least}${aboveMinimum ? "" : " or more"}${unit}`;
  if (!least) return `${maximum} or less${unit}`;
  return `${least}${aboveMinimum ? ", up to " : " to "}${maximum}${unit}`;
}

function isInside(value: number, { minimum = -Infinity, maximum = Infinity, aboveMinimum }: FilterParameter): boolean {
  return value <= maximum && (aboveMinimum ? value > minimum : value >= minimum);
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

function parseNumberParameter(parameter: FilterParameter, typed: string): Parsed {
  const value = parseNumber(typed);
  if (value === undefined) return { problem: "This takes a number." };
  if (parameter.type === "Integer" && !Number.isInteger(value)) return { problem: "This takes a whole number." };
  if (!isInside(value, parameter)) return { problem: `This takes ${rangeWords(parameter)}.` };
  return { text: String(value) };
}

function parseTimeParameter(parameter: FilterParameter, typed: string, parseTime: (text: string) => number | undefined): Parsed {
  if (/^-?inf$/i.test(typed.trim())) return { text: typed.trim().toLowerCase() };
  const ticks = parseTime(typed);
  if (ticks === undefined) return { problem: "This takes a time: 45f (frames), 1.5s (seconds) or a time code." };
  if (!isInside(ticks / TICKS_PER_SECOND, parameter)) return { problem: `This takes a time, ${rangeWords(parameter)}.` };
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
