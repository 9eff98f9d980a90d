import type { CurveDrawing, CurvePicture, EditorDocument, KeyDrawing } from "../engine/engine";
import { firstIndex } from "../app/finding";
import type { TimeUnit } from "../app/preferences";
import type { GraphColors } from "./colors";
import { timeTicks, valueTicks } from "./ticks";
import type { Viewport } from "./viewport";

/** The room for the labels of values at the left and for those of times at the top, in CSS pixels. */
export const kGutter = 54;
export const kRuler = 22;

/** What is painted at once: the plot begins at the gutter and below the ruler. */
export interface Painter {
  context: CanvasRenderingContext2D;
  ratio: number;
  viewport: Viewport;
  colors: GraphColors;
}

/** A pixel of the screen in whose middle a line of one pixel is crisp. */
export function crisp(value: number, ratio: number): number {
  return (Math.round(value * ratio) + 0.5) / ratio;
}

function lines(painter: Painter, color: string, at: readonly number[], isVertical: boolean): void {
  const { context, viewport, ratio } = painter;
  context.strokeStyle = color;
  context.lineWidth = 1 / ratio;
  context.beginPath();
  for (const place of at) {
    const pixel = crisp(place, ratio);
    if (isVertical) {
      context.moveTo(pixel, 0);
      context.lineTo(pixel, viewport.height);
    } else {
      context.moveTo(0, pixel);
      context.lineTo(viewport.width, pixel);
    }
  }
  context.stroke();
}

/** Paints background, grid, ruler and labels. Leaves the origin at the plot's corner. */
export function paintGrid(painter: Painter, document: EditorDocument | undefined, unit: TimeUnit): void {
  const { context, viewport, colors, ratio } = painter;
  const width = viewport.width + kGutter;
  const height = viewport.height + kRuler;
  context.setTransform(ratio, 0, 0, ratio, 0, 0);
  context.fillStyle = colors.ruler;
  context.fillRect(0, 0, width, height);
  context.translate(kGutter, kRuler);
  const span = document?.span();
  context.fillStyle = span ? colors.outside : colors.back;
  context.fillRect(0, 0, viewport.width, viewport.height);
  if (!document) return;
  if (span) {
    const left = Math.max(0, viewport.xAt(span.start));
    const right = Math.min(viewport.width, viewport.xAt(span.stop));
    context.fillStyle = colors.back;
    if (right > left) context.fillRect(left, 0, right - left, viewport.height);
  }
  const times = timeTicks(document, viewport.start, viewport.stop, viewport.width, unit);
  const values = valueTicks(viewport.low, viewport.high, viewport.height);
  const isMajor = (tick: { label: string | undefined }): boolean => tick.label !== undefined;
  const xs = (major: boolean): number[] => times.filter((tick) => isMajor(tick) === major).map((tick) => viewport.xAt(tick.at));
  const ys = (major: boolean): number[] => values.filter((tick) => isMajor(tick) === major).map((tick) => viewport.yAt(tick.at));
  context.save();
  context.beginPath();
  context.rect(0, 0, viewport.width, viewport.height);
  context.clip();
  lines(painter, colors.grid, xs(false), true);
  lines(painter, colors.grid, ys(false), false);
  lines(painter, colors.gridMajor, xs(true), true);
  lines(painter, colors.gridMajor, ys(true), false);
  lines(painter, colors.zero, [viewport.yAt(0)], false);
  context.restore();
  paintLabels(painter, times, values);
}

function paintLabels(painter: Painter, times: ReturnType<typeof timeTicks>, values: ReturnType<typeof valueTicks>): void {
  const { context, viewport, colors, ratio } = painter;
  context.font = '11px system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif';
  context.fillStyle = colors.label;
  context.textBaseline = "middle";
  context.textAlign = "right";
  for (const tick of values) {
    const y = viewport.yAt(tick.at);
    if (tick.label !== undefined && y > 6 && y < viewport.height - 4) context.fillText(tick.label, -6, y);
  }
  context.textAlign = "center";
  context.strokeStyle = colors.zero;
  context.lineWidth = 1 / ratio;
  context.beginPath();
  for (const tick of times) {
    const x = crisp(viewport.xAt(tick.at), ratio);
    if (x < 0 || x > viewport.width) continue;
    context.moveTo(x, 0);
    context.lineTo(x, tick.label === undefined ? -3 : -5);
    if (tick.label !== undefined) context.fillText(tick.label, x, -kRuler / 2 - 1);
  }
  context.stroke();
  context.strokeStyle = colors.border;
  context.beginPath();
  context.moveTo(0, crisp(0, ratio) - 1 / ratio);
  context.lineTo(viewport.width, crisp(0, ratio) - 1 / ratio);
  context.moveTo(crisp(0, ratio) - 1 / ratio, 0);
  context.lineTo(crisp(0, ratio) - 1 / ratio, viewport.height);
  context.stroke();
}

export interface CurveStyle {
  /** One for each curve. */
  colors: readonly string[];
  width: number;
  /** The curve that is drawn thicker; -1 for none. */
  strong: number;
  alpha: number;
  dash: readonly number[];
}

/**
 * With more points than these, lines are a pixel of the screen wide: browsers draw those many times faster, and where
 * curves are that dense nothing else is to be seen.
 */
const kManyPoints = 24_000;

/** The order of curves in which one, if there is one, comes last. */
export function lastOf(count: number, last: number): number[] {
  const order = Array.from({ length: count }, (_, curve) => curve).filter((curve) => curve !== last);
  if (last >= 0) order.push(last);
  return order;
}

/** Paints polylines whose points are in pixels of the screen. */
export function paintCurves(painter: Painter, drawing: CurveDrawing, style: CurveStyle): void {
  const { context, ratio } = painter;
  inScreenPixels(painter, () => {
    const isDense = drawing.points.length / 2 > kManyPoints;
    context.globalAlpha = style.alpha;
    context.lineJoin = isDense ? "bevel" : "round";
    context.setLineDash(style.dash.map((length) => length * ratio));
    for (const curve of lastOf(style.colors.length, style.strong)) {
      context.strokeStyle = style.colors[curve] ?? "#888";
      const width = (curve === style.strong ? style.width * 1.5 : style.width) * ratio;
      context.lineWidth = isDense ? 1 : width;
      context.beginPath();
      tracePoints(context, drawing, curve);
      context.stroke();
    }
  });
}

let pictureCanvas: HTMLCanvasElement | undefined;

/** Paints what the engine has painted, over what is there; each of its pixels is as wide as so many of the screen. */
export function paintPicture(painter: Painter, { width, height, pixels }: CurvePicture, size: number): void {
  pictureCanvas ??= document.createElement("canvas");
  const between = pictureCanvas.getContext("2d", { willReadFrequently: true });
  if (!between) return;
  if (pictureCanvas.width !== width || pictureCanvas.height !== height) {
    pictureCanvas.width = width;
    pictureCanvas.height = height;
  }
  const bytes = new Uint8ClampedArray(pixels.buffer, pixels.byteOffset, pixels.byteLength) as Uint8ClampedArray<ArrayBuffer>;
  between.putImageData(new ImageData(bytes, width, height), 0, 0);
  const canvas = pictureCanvas;
  inScreenPixels(painter, () => painter.context.drawImage(canvas, 0, 0, size * width, size * height));
}

function tracePoints(context: CanvasRenderingContext2D, drawing: CurveDrawing, curve: number): void {
  const { first, points } = drawing;
  const from = first[curve] ?? 0;
  const to = first[curve + 1] ?? from;
  for (let point = from; point < to; ++point) {
    const x = points[2 * point] ?? 0;
    const y = points[2 * point + 1] ?? 0;
    if (point === from) context.moveTo(x, y);
    else context.lineTo(x, y);
  }
}

/** Runs `paint` with the pixels of the screen as unit, clipped to the plot. */
function inScreenPixels(painter: Painter, paint: () => void): void {
  const { context, viewport, ratio } = painter;
  context.save();
  context.setTransform(1, 0, 0, 1, Math.round(kGutter * ratio), Math.round(kRuler * ratio));
  context.beginPath();
  // On whole pixels, since browsers clip along parts of pixels slowly.
  context.rect(0, 0, Math.floor(viewport.width * ratio), Math.floor(viewport.height * ratio));
  context.clip();
  paint();
  context.restore();
}

/** Where keys are closer than this on the average their marks are small; where they would cover the curve there are none. */
const kDenseGap = 8;
export const kCoveredGap = 2.5;

/** How the keys of one curve are marked: a square with an edge, or a small one without. */
interface Mark {
  side: number;
  edge: number;
  color: string;
  edgeColor: string;
}

function markFor(painter: Painter, color: string, isSelected: boolean, gap: number): Mark | undefined {
  const { ratio, colors } = painter;
  const edge = Math.max(1, Math.round(ratio));
  const side = (pixels: number): number => Math.round(pixels * ratio);
  const isDense = gap < kDenseGap;
  if (isSelected) return { side: side(isDense ? 4 : 9), edge: isDense ? 0 : edge, color: colors.selected, edgeColor: colors.back };
  if (gap < kCoveredGap) return undefined;
  if (isDense) return { side: side(3), edge: 0, color, edgeColor: color };
  return { side: side(6), edge, color: colors.key, edgeColor: color };
}

/** Paints selected keys that are closer than their marks: for each column of pixels a bar over their values. */
function paintBars({ context, colors }: Painter, { first, points, selected }: KeyDrawing, curve: number): void {
  context.fillStyle = colors.selected;
  let column = -1;
  let top = Infinity;
  let bottom = -Infinity;
  const paintColumn = (): void => {
    if (top <= bottom) context.fillRect(column, top - 1, 1, bottom - top + 3);
  };
  const stop = first[curve + 1] ?? 0;
  for (let index = first[curve] ?? 0; index < stop; ++index) {
    if (selected[index] !== 1) continue;
    const x = Math.round(points[2 * index] ?? 0);
    const y = Math.round(points[2 * index + 1] ?? 0);
    if (x !== column) {
      paintColumn();
      [column, top, bottom] = [x, y, y];
    }
    top = Math.min(top, y);
    bottom = Math.max(bottom, y);
  }
  paintColumn();
}

/** How many selected keys of a curve are drawn; they come last. */
function selectedCount({ first, selected }: KeyDrawing, curve: number): number {
  const stop = first[curve + 1] ?? 0;
  return stop - firstIndex(first[curve] ?? 0, stop, (index) => selected[index] === 1);
}

/** Paints the marks of keys; the selected ones are larger and on top of all others. */
export function paintKeys(painter: Painter, drawing: KeyDrawing, colors: readonly string[]): void {
  const { context, viewport } = painter;
  const { first, points } = drawing;
  const squares = (curve: number, isSelected: boolean, side: number, color: string): void => {
    context.fillStyle = color;
    const stop = first[curve + 1] ?? 0;
    for (let index = first[curve] ?? 0; index < stop; ++index) {
      if ((drawing.selected[index] === 1) !== isSelected) continue;
      const x = Math.round((points[2 * index] ?? 0) - side / 2);
      const y = Math.round((points[2 * index + 1] ?? 0) - side / 2);
      context.fillRect(x, y, side, side);
    }
  };
  inScreenPixels(painter, () => {
    for (const isSelected of [false, true]) {
      colors.forEach((color, curve) => {
        if (first[curve] === first[curve + 1]) return;
        const gap = viewport.width / Math.max(1, drawing.inSight[curve] ?? 0);
        const areBars = isSelected && viewport.width / Math.max(1, selectedCount(drawing, curve)) < kCoveredGap;
        if (areBars) return paintBars(painter, drawing, curve);
        const mark = markFor(painter, color, isSelected, gap);
        if (!mark) return;
        if (mark.edge > 0) squares(curve, isSelected, mark.side, mark.edgeColor);
        squares(curve, isSelected, mark.side - 2 * mark.edge, mark.color);
      });
    }
  });
}
