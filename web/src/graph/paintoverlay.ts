import type { Handle } from "./handles";
import { crisp, kRuler, type Painter } from "./paint";
import type { ScaleBox } from "./scalebox";

/** What is being drawn over the plot by a drag. */
export type Shape = { kind: "box"; x0: number; y0: number; x1: number; y1: number } | { kind: "lasso"; points: readonly { x: number; y: number }[] };

function clipToPlot(painter: Painter): void {
  const { context, viewport } = painter;
  context.beginPath();
  context.rect(0, 0, viewport.width, viewport.height);
  context.clip();
}

/** The current time as a line, with its label in the ruler. */
export function paintTime(painter: Painter, time: number, label: string): void {
  const { context, viewport, colors, ratio } = painter;
  const x = viewport.xAt(time);
  if (x < -1 || x > viewport.width + 1) return;
  const middle = crisp(x, ratio);
  context.strokeStyle = colors.time;
  context.lineWidth = 1;
  context.beginPath();
  context.moveTo(middle, -5);
  context.lineTo(middle, viewport.height);
  context.stroke();
  context.font = '600 11px system-ui, "Segoe UI", Roboto, "Noto Sans", "DejaVu Sans", sans-serif';
  const width = context.measureText(label).width + 10;
  const left = Math.min(Math.max(middle - width / 2, 0), viewport.width - width);
  context.fillStyle = colors.time;
  context.beginPath();
  context.roundRect(left, -kRuler + 3, width, kRuler - 7, 3);
  context.fill();
  context.fillStyle = colors.back;
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.fillText(label, left + width / 2, -kRuler / 2);
}

/** Lines of handles begin so far from the key that its mark is seen. */
const kKeyRoom = 6;

/** Tangent handles: a line from the key to a round end; a weighted one is filled. */
export function paintHandles(painter: Painter, handles: readonly Handle[]): void {
  const { context, colors } = painter;
  context.save();
  clipToPlot(painter);
  context.strokeStyle = colors.handle;
  context.lineWidth = 1;
  context.beginPath();
  for (const { keyX, keyY, x, y } of handles) {
    const part = Math.min(1, kKeyRoom / Math.max(1, Math.hypot(x - keyX, y - keyY)));
    context.moveTo(keyX + part * (x - keyX), keyY + part * (y - keyY));
    context.lineTo(x, y);
  }
  context.stroke();
  for (const handle of handles) {
    context.beginPath();
    context.arc(handle.x, handle.y, 3.5, 0, 2 * Math.PI);
    context.fillStyle = handle.isWeighted ? colors.handle : colors.back;
    context.fill();
    context.stroke();
  }
  context.restore();
}

export function paintShape(painter: Painter, shape: Shape): void {
  const { context, colors } = painter;
  context.save();
  clipToPlot(painter);
  context.strokeStyle = colors.box;
  context.lineWidth = 1;
  context.setLineDash([4, 3]);
  context.beginPath();
  if (shape.kind === "box") {
    context.rect(Math.min(shape.x0, shape.x1) + 0.5, Math.min(shape.y0, shape.y1) + 0.5, Math.abs(shape.x1 - shape.x0), Math.abs(shape.y1 - shape.y0));
  } else {
    for (const point of shape.points) context.lineTo(point.x, point.y);
    context.closePath();
  }
  context.globalAlpha = 0.12;
  context.fillStyle = colors.box;
  context.fill();
  context.globalAlpha = 1;
  context.stroke();
  context.restore();
}

/** The box around the selected keys with its eight grips. */
export function paintScaleBox(painter: Painter, box: ScaleBox): void {
  const { context, colors } = painter;
  context.save();
  clipToPlot(painter);
  context.strokeStyle = colors.box;
  context.lineWidth = 1;
  context.strokeRect(Math.round(box.left) + 0.5, Math.round(box.top) + 0.5, Math.round(box.right - box.left), Math.round(box.bottom - box.top));
  context.fillStyle = colors.back;
  for (const grip of box.grips()) {
    context.fillRect(Math.round(grip.x) - 3.5, Math.round(grip.y) - 3.5, 8, 8);
    context.strokeRect(Math.round(grip.x) - 3.5, Math.round(grip.y) - 3.5, 8, 8);
  }
  context.restore();
}
