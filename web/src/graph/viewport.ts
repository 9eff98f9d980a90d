import { GREATEST_TIME, type KeyRange, TICKS_PER_SECOND, type Window } from "../engine/engine";

/** The shortest and longest stretch of time that can be seen, in ticks: a tenth of a millisecond, 54 hours. */
const kLeastDuration = 4_618_616;
const kGreatestDuration = GREATEST_TIME;
const kLeastHeight = 1e-6;
const kGreatestHeight = 1e9;
/** Empty room around what is framed, as a part of it. */
const kMargin = 0.08;

const clamp = (value: number, least: number, greatest: number): number => Math.min(Math.max(value, least), greatest);

/** Which times and values the plot shows. Pixels are CSS pixels from the plot's upper left corner. */
export class Viewport {
  start = 0;
  stop = TICKS_PER_SECOND;
  low = -1;
  high = 1;
  width = 1;
  height = 1;

  xAt(time: number): number {
    return ((time - this.start) / (this.stop - this.start)) * this.width;
  }

  yAt(value: number): number {
    return ((this.high - value) / (this.high - this.low)) * this.height;
  }

  timeAt(x: number): number {
    return this.start + (x / this.width) * (this.stop - this.start);
  }

  valueAt(y: number): number {
    return this.high - (y / this.height) * (this.high - this.low);
  }

  /** Ticks in a pixel. */
  get timePerPixel(): number {
    return (this.stop - this.start) / this.width;
  }

  get valuePerPixel(): number {
    return (this.high - this.low) / this.height;
  }

  pan(pixelsX: number, pixelsY: number): void {
    const time = pixelsX * this.timePerPixel;
    const value = pixelsY * this.valuePerPixel;
    this.setTimes(this.start - time, this.stop - time);
    this.setValues(this.low + value, this.high + value);
  }

  /** Shows more (factors above 1) or less around a place, which stays where it is. */
  zoom(x: number, y: number, timeFactor: number, valueFactor: number): void {
    const duration = clamp((this.stop - this.start) * timeFactor, kLeastDuration, kGreatestDuration);
    const time = this.timeAt(x);
    const start = time - (x / this.width) * duration;
    this.setTimes(start, start + duration);

    const height = clamp((this.high - this.low) * valueFactor, kLeastHeight, kGreatestHeight);
    const value = this.valueAt(y);
    const high = value + (y / this.height) * height;
    this.setValues(high - height, high);
  }

  /** Shows a range with some room around it. A range without duration or height keeps what is seen there. */
  frame(range: Pick<KeyRange, "start" | "stop" | "least" | "greatest">): void {
    const isShort = range.stop - range.start < kLeastDuration;
    const duration = isShort ? this.stop - this.start : (range.stop - range.start) * (1 + 2 * kMargin);
    const isFlat = range.greatest - range.least < kLeastHeight;
    const height = isFlat ? Math.max(2, Math.abs(range.least) * 0.1) : (range.greatest - range.least) * (1 + 2 * kMargin);
    const middle = (range.start + range.stop) / 2;
    const centre = (range.least + range.greatest) / 2;
    this.setTimes(middle - duration / 2, middle + duration / 2);
    this.setValues(centre - height / 2, centre + height / 2);
  }

  /** Moves along in time so that a time is in sight. */
  reveal(time: number): boolean {
    if (time >= this.start && time <= this.stop) return false;
    const duration = this.stop - this.start;
    const start = time < this.start ? time - duration * 0.1 : time - duration * 0.9;
    this.setTimes(start, start + duration);
    return true;
  }

  /** For the engine, in pixels of the screen. */
  window(pixelRatio: number): Window {
    return {
      start: this.start,
      stop: this.stop,
      low: this.low,
      high: this.high,
      width: Math.max(1, Math.round(this.width * pixelRatio)),
      height: Math.max(1, Math.round(this.height * pixelRatio)),
    };
  }

  private setTimes(start: number, stop: number): void {
    const limit = kGreatestDuration - (stop - start);
    this.start = Math.round(clamp(start, -kGreatestDuration, limit));
    this.stop = this.start + Math.max(kLeastDuration, Math.round(stop - start));
  }

  private setValues(low: number, high: number): void {
    this.low = low;
    this.high = high;
  }
}
