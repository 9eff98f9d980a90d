import type { SelectionMode, TrackKeys } from "../engine/engine";
import { firstIndex } from "../app/finding";
import type { Drag, Pointer } from "./drag";
import type { Graph } from "./graph";
import { isInside, type Place } from "./hits";

/** Shift adds to the selection, Ctrl takes away from it. */
function modeOf(pointer: Pointer): SelectionMode {
  if (pointer.shift) return "add";
  return pointer.ctrl ? "remove" : "replace";
}

/** A click beside all keys: it makes a curve the active one and, without Shift or Ctrl, selects nothing. */
function clickBeside(graph: Graph, pointer: Pointer): void {
  const track = graph.curveAt(pointer);
  if (track >= 0) graph.app.showTracks(graph.app.visibleTracks, track);
  if (pointer.shift || pointer.ctrl) return;
  graph.app.document?.clearSelection();
  graph.app.selectionChanged();
}

/** Selects the keys in a box. */
export class BoxDrag implements Drag {
  readonly cursor = "crosshair";

  constructor(
    private readonly graph: Graph,
    private readonly begin: Pointer,
  ) {}

  move(pointer: Pointer): void {
    this.graph.showShape({ kind: "box", x0: this.begin.x, y0: this.begin.y, x1: pointer.x, y1: pointer.y });
  }

  end(pointer: Pointer, moved: boolean): void {
    this.graph.showShape(undefined);
    if (!moved) return clickBeside(this.graph, pointer);
    const { app, viewport } = this.graph;
    const [left, right] = [Math.min(this.begin.x, pointer.x), Math.max(this.begin.x, pointer.x)];
    const [top, bottom] = [Math.min(this.begin.y, pointer.y), Math.max(this.begin.y, pointer.y)];
    app.document?.selectBox(modeOf(pointer), app.visibleTracks, {
      start: Math.ceil(viewport.timeAt(left)),
      stop: Math.floor(viewport.timeAt(right)),
      low: viewport.valueAt(bottom),
      high: viewport.valueAt(top),
    });
    app.selectionChanged();
  }

  cancel(): void {
    this.graph.showShape(undefined);
  }
}

/** Selects the keys inside a line that is drawn by hand. */
export class LassoDrag implements Drag {
  readonly cursor = "crosshair";
  private readonly points: Place[];

  constructor(
    private readonly graph: Graph,
    begin: Pointer,
  ) {
    this.points = [{ x: begin.x, y: begin.y }];
  }

  move(pointer: Pointer): void {
    this.points.push({ x: pointer.x, y: pointer.y });
    this.graph.showShape({ kind: "lasso", points: this.points });
  }

  end(pointer: Pointer, moved: boolean): void {
    this.graph.showShape(undefined);
    if (!moved) return clickBeside(this.graph, pointer);
    this.graph.app.document?.selectKeys(modeOf(pointer), this.keysInside());
    this.graph.app.selectionChanged();
  }

  cancel(): void {
    this.graph.showShape(undefined);
  }

  private keysInside(): TrackKeys[] {
    const { app, viewport } = this.graph;
    const document = app.document;
    if (!document) return [];
    const xs = this.points.map((point) => point.x);
    const start = viewport.timeAt(Math.min(...xs));
    const stop = viewport.timeAt(Math.max(...xs));
    return [...app.visibleTracks].map((track) => {
      const { time, value } = document.keys(track);
      const indices: number[] = [];
      for (let index = firstIndex(0, time.length, (at) => (time[at] ?? 0) >= start); index < time.length && (time[index] ?? 0) <= stop; ++index) {
        if (isInside(this.points, viewport.xAt(time[index] ?? 0), viewport.yAt(value[index] ?? 0))) indices.push(index);
      }
      return { track, indices };
    });
  }
}
