/** Numbers as they are typed and shown. */

const kNumber = /^[+-]?(\d+([.,]\d*)?|[.,]\d+)(e[+-]?\d+)?$/i;

/** The number that a text means, with a decimal comma or point; undefined for anything else. */
export function parseNumber(text: string): number | undefined {
  const trimmed = text.trim().replace("\u2212", "-");
  if (!kNumber.test(trimmed)) return undefined;
  const value = Number(trimmed.replace(",", "."));
  return Number.isFinite(value) ? value : undefined;
}

/** A number without needless digits: at most `digits` of them after the point. */
export function formatNumber(value: number, digits = 4): string {
  if (!Number.isFinite(value)) return String(value);
  const size = Math.abs(value);
  if (size !== 0 && (size < 10 ** -digits || size >= 1e9)) return value.toExponential(Math.min(digits, 4)).replace(/\.?0+e/, "e");
  const text = value.toFixed(digits);
  const short = text.includes(".") ? text.replace(/\.?0+$/, "") : text;
  return short === "-0" ? "0" : short;
}

/** The text of a single-precision number that reads back as the same number, as short as it can be. */
export function exactFloat(value: number): string {
  for (let digits = 1; digits < 9; ++digits) {
    const text = value.toPrecision(digits);
    if (Math.fround(Number(text)) === Math.fround(value)) return String(Number(text));
  }
  return String(value);
}

/** The smallest number of the row 1, 2, 5, 10, 20, ... that is not below this one. */
export function roundStep(least: number): number {
  const power = 10 ** Math.floor(Math.log10(least));
  const step = [1, 2, 5, 10].find((factor) => factor * power >= least * (1 - 1e-9)) ?? 10;
  return step * power;
}

/** What a field says about several numbers: how to get each new one from the old one. */
export type NumberEdit = (old: number) => number;

/**
 * A typed number or a change of what is there: "5", "+=5", "-=5", "*=2", "/=2". Undefined for anything else and for
 * a division by zero.
 */
export function parseNumberEdit(text: string): NumberEdit | undefined {
  const change = /^\s*([-+*/])=(.*)$/s.exec(text);
  const amount = parseNumber(change?.[2] ?? text);
  if (amount === undefined) return undefined;
  switch (change?.[1]) {
    case "+":
      return (old) => old + amount;
    case "-":
      return (old) => old - amount;
    case "*":
      return (old) => old * amount;
    case "/":
      return amount === 0 ? undefined : (old) => old / amount;
    default:
      return () => amount;
  }
}
