import { type EditorDocument, TICKS_PER_SECOND } from "../engine/engine";
import { roundStep } from "../app/numbers";
import { formatTime } from "../app/timetext";
import type { TimeUnit } from "../app/preferences";

/** A line of the grid: where it is, and what is written beside it where it is a major one. */
export interface Tick {
  at: number;
  label: string | undefined;
}

/** Lines are at least this many pixels apart; labelled ones need room for their text. */
const kLeastGap = 9;
const kLeastValueLabelGap = 40;

/** Whole multiples of a step between two numbers. */
function multiples(step: number, low: number, high: number): number[] {
  const first = Math.ceil(low / step - 1e-9);
  const last = Math.floor(high / step + 1e-9);
  return Array.from({ length: Math.max(0, last - first + 1) }, (_, index) => first + index);
}

/** The step between unlabelled lines: a round part of the labelled one. */
function minorStep(major: number, pixelsPerUnit: number): number {
  const lead = Math.round(major / 10 ** Math.floor(Math.log10(major) + 1e-9));
  const parts = lead === 2 ? [4, 2] : [10, 5];
  const part = parts.find((count) => (major / count) * pixelsPerUnit >= kLeastGap);
  return part === undefined ? major : major / part;
}

/** The step between the labels of values; a tenth of it is one nudge. */
export function valueStep(low: number, high: number, pixels: number): number {
  return roundStep(((high - low) / pixels) * kLeastValueLabelGap);
}

export function valueTicks(low: number, high: number, pixels: number): Tick[] {
  const step = valueStep(low, high, pixels);
  const minor = minorStep(step, pixels / (high - low));
  const ratio = Math.round(step / minor);
  const digits = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
  const isLarge = Math.max(Math.abs(low), Math.abs(high)) >= 1e6 || digits > 6;
  const text = (value: number): string => (isLarge ? value.toExponential(2) : value.toFixed(digits)).replace(/^-(0\.?0*)$/, "$1");
  return multiples(minor, low, high).map((index) => ({
    at: index * minor,
    label: index % ratio === 0 ? text(index * minor) : undefined,
  }));
}

/** Steps in frames: of frames alone, or such that whole seconds and minutes come out. */
function frameSteps(unit: TimeUnit, framesPerSecond: number): readonly number[] {
  const small = [1, 2, 5, 10, 20, 50];
  const large = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1800, 3600, 7200, 18_000, 36_000];
  if (unit === "timecode") {
    const parts = Array.from({ length: framesPerSecond - 1 }, (_, index) => index + 1).filter((step) => framesPerSecond % step === 0);
    return [...parts, ...large.map((step) => step * framesPerSecond)];
  }
  return [...small, ...Array.from({ length: 6 }, (_, power) => [100, 200, 500].map((step) => step * 10 ** power)).flat()];
}

function frameTicks(document: EditorDocument, start: number, stop: number, pixels: number, unit: TimeUnit): Tick[] {
  const rate = document.frameRate();
  const perPixel = ((stop - start) / pixels / TICKS_PER_SECOND) * (rate.numerator / rate.denominator);
  const steps = frameSteps(unit, rate.framesInSecond);
  const labelGap = unit === "timecode" ? 84 : 52;
  const major = steps.find((step) => step >= perPixel * labelGap) ?? steps.at(-1) ?? 1;
  const minor = steps.find((step) => major % step === 0 && step >= perPixel * kLeastGap) ?? major;
  const first = document.nearestFrame(start);
  const last = document.nearestFrame(stop);
  return multiples(minor, first, last).map((index) => {
    const frame = index * minor;
    const at = document.frameTime(frame);
    return { at, label: frame % major === 0 ? formatTime(document, at, unit) : undefined };
  });
}

function secondTicks(start: number, stop: number, pixels: number): Tick[] {
  const perPixel = (stop - start) / pixels / TICKS_PER_SECOND;
  const major = roundStep(perPixel * 60);
  const minor = minorStep(major, 1 / perPixel);
  const ratio = Math.round(major / minor);
  const digits = Math.max(0, -Math.floor(Math.log10(major) + 1e-9));
  return multiples(minor, start / TICKS_PER_SECOND, stop / TICKS_PER_SECOND).map((index) => ({
    at: index * minor * TICKS_PER_SECOND,
    label: index % ratio === 0 ? `${(index * minor).toFixed(digits)} s` : undefined,
  }));
}

export function timeTicks(document: EditorDocument, start: number, stop: number, pixels: number, unit: TimeUnit): Tick[] {
  return unit === "seconds" ? secondTicks(start, stop, pixels) : frameTicks(document, start, stop, pixels, unit);
}
