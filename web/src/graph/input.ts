import type { Drag, Pointer } from "./drag";
import { gripCursor, MoveDrag, ScaleDrag, SetValueDrag, StretchDrag } from "./dragkeys";
import { HandleDrag } from "./draghandle";
import { BoxDrag, LassoDrag } from "./dragselect";
import { PanDrag, PinchDrag, TimeDrag } from "./dragview";
import type { Graph } from "./graph";
import { kGutter, kRuler } from "./paint";

/** A pointer that moves less than this while it is down was a click. */
const kClickPixels = 3;
/** How much one pixel of the wheel zooms. */
const kWheelZoom = 1.0016;

/** Mouse, pen, fingers, wheel and the held space bar over the graph. */
export class GraphInput {
  private drag: Drag | undefined;
  private pinch: PinchDrag | undefined;
  private readonly down = new Map<number, Pointer>();
  private begin: Pointer | undefined;
  private moved = false;
  private isSpaceHeld = false;
  private wasSpaceUsed = false;

  constructor(private readonly graph: Graph) {
    const { area } = graph;
    area.addEventListener("pointerdown", (event) => this.pointerDown(event));
    area.addEventListener("pointermove", (event) => this.pointerMove(event));
    area.addEventListener("pointerup", (event) => this.pointerUp(event));
    area.addEventListener("pointercancel", (event) => this.pointerLost(event));
    area.addEventListener("pointerleave", () => this.graph.showPlace(undefined, -1));
    area.addEventListener("dblclick", (event) => this.doubleClick(event));
    area.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
    area.addEventListener("contextmenu", (event) => this.contextMenu(event));
    area.addEventListener("keydown", (event) => this.keyDown(event));
    area.addEventListener("keyup", (event) => this.keyUp(event));
    area.addEventListener("blur", () => this.releaseSpace());
    graph.app.on("closing", () => this.cancelDrag());
  }

  private pointer(event: MouseEvent): Pointer {
    const box = this.graph.area.getBoundingClientRect();
    return {
      x: event.clientX - box.left - kGutter,
      y: event.clientY - box.top - kRuler,
      shift: event.shiftKey,
      ctrl: event.ctrlKey || event.metaKey,
      alt: event.altKey,
    };
  }

  private pointerDown(event: PointerEvent): void {
    if (event.button === 2 || !this.graph.app.document) return;
    this.graph.area.focus({ preventScroll: true });
    event.preventDefault();
    this.graph.area.setPointerCapture(event.pointerId);
    const pointer = this.pointer(event);
    this.down.set(event.pointerId, pointer);
    if (this.down.size === 2 && event.pointerType === "touch") {
      this.cancelDrag();
      const [a, b] = [...this.down.values()];
      if (a && b) this.pinch = new PinchDrag(this.graph, a, b);
      return;
    }
    if (this.drag || this.pinch) return;
    this.begin = pointer;
    this.moved = false;
    this.drag = this.dragFor(event, pointer);
    this.graph.app.commands.isHeld = true;
    this.graph.area.style.cursor = this.drag.cursor;
  }

  /** What a press begins, by where it is and which tool is in use. */
  private dragFor(event: PointerEvent, pointer: Pointer): Drag {
    const { graph } = this;
    if (event.button === 1 || this.isSpaceHeld) {
      this.wasSpaceUsed = true;
      return new PanDrag(graph, pointer);
    }
    if (pointer.y < 0) return new TimeDrag(graph, pointer);
    if (pointer.x < 0) return new PanDrag(graph, pointer);
    const box = graph.scaleBox();
    const grip = box?.gripAt(pointer.x, pointer.y);
    if (box && grip) return new StretchDrag(graph, pointer, grip, box.range);
    const key = graph.keyAt(pointer);
    const handle = graph.handleAt(pointer);
    if (handle && !key?.isSelected) return new HandleDrag(graph, handle);
    if (key) {
      this.selectPressed(key, pointer);
      if (graph.tool === "scale") return new ScaleDrag(graph, pointer);
      return graph.tool === "setValue" ? new SetValueDrag(graph) : new MoveDrag(graph, pointer, key);
    }
    if (box?.contains(pointer.x, pointer.y)) return new MoveDrag(graph, pointer, undefined);
    if (event.pointerType === "touch") {
      const click = new BoxDrag(graph, pointer);
      return new PanDrag(graph, pointer, () => click.end(pointer, false));
    }
    return graph.tool === "lasso" ? new LassoDrag(graph, pointer) : new BoxDrag(graph, pointer);
  }

  /** A press on a key that is not selected selects it; Shift adds it, Ctrl toggles it. */
  private selectPressed(key: { track: number; index: number; isSelected: boolean }, pointer: Pointer): void {
    const { app } = this.graph;
    const keys = [{ track: key.track, indices: [key.index] }];
    if (pointer.ctrl) app.document?.selectKeys("toggle", keys);
    else if (pointer.shift) app.document?.selectKeys("add", keys);
    else if (!key.isSelected) app.document?.selectKeys("replace", keys);
    else return;
    if (app.activeTrack !== key.track) app.showTracks(app.visibleTracks, key.track);
    app.selectionChanged();
  }

  private pointerMove(event: PointerEvent): void {
    const pointer = this.pointer(event);
    if (!this.down.has(event.pointerId)) return this.hover(pointer);
    this.down.set(event.pointerId, pointer);
    const [a, b] = [...this.down.values()];
    if (this.pinch && a && b) return this.pinch.move(a, b);
    if (!this.drag || !this.begin) return;
    this.moved ||= Math.hypot(pointer.x - this.begin.x, pointer.y - this.begin.y) > kClickPixels;
    if (this.moved) this.drag.move(pointer);
  }

  private hover(pointer: Pointer): void {
    const track = pointer.x < 0 || pointer.y < 0 ? -1 : this.graph.curveAt(pointer);
    this.graph.area.style.cursor = this.cursorAt(pointer, track);
    this.graph.showPlace(pointer, track);
  }

  private cursorAt(pointer: Pointer, track: number): string {
    const { graph } = this;
    if (this.isSpaceHeld) return "grab";
    if (pointer.y < 0) return "ew-resize";
    if (pointer.x < 0) return "ns-resize";
    const box = graph.scaleBox();
    const grip = box?.gripAt(pointer.x, pointer.y);
    if (grip) return gripCursor(grip);
    if (graph.handleAt(pointer)) return "grab";
    if (graph.keyAt(pointer) || box?.contains(pointer.x, pointer.y)) return "move";
    return track >= 0 ? "pointer" : "default";
  }

  private pointerUp(event: PointerEvent): void {
    if (!this.down.delete(event.pointerId)) return;
    if (this.pinch) {
      if (this.down.size === 0) this.pinch = undefined;
      return;
    }
    this.letGo()?.end(this.pointer(event), this.moved);
    this.hover(this.pointer(event));
  }

  private pointerLost(event: PointerEvent): void {
    this.down.delete(event.pointerId);
    if (this.down.size === 0) this.pinch = undefined;
    this.cancelDrag();
  }

  private cancelDrag(): void {
    this.letGo()?.cancel();
  }

  private letGo(): Drag | undefined {
    const drag = this.drag;
    this.drag = undefined;
    this.graph.app.commands.isHeld = false;
    return drag;
  }

  /** A double click on a curve puts a key there, without bending the curve. */
  private doubleClick(event: MouseEvent): void {
    const pointer = this.pointer(event);
    if (pointer.x < 0 || pointer.y < 0 || this.graph.keyAt(pointer)) return;
    const { app, viewport } = this.graph;
    const document = app.document;
    const track = this.graph.curveAt(pointer);
    if (track < 0 || !document) return;
    const time = Math.round(viewport.timeAt(pointer.x));
    const snapped = app.preferences.get("snapToFrames") ? document.snapToFrame(time) : time;
    app.run("Insert key", () => document.selectKeys("replace", document.insertKeys([track], snapped)));
  }

  /** The wheel zooms at the pointer: both axes, with Ctrl or on the ruler time alone, with Shift or at the values these alone. */
  private wheel(event: WheelEvent): void {
    event.preventDefault();
    const { viewport } = this.graph;
    const pointer = this.pointer(event);
    const unit = [1, 18, viewport.height][event.deltaMode] ?? 1;
    const delta = (event.deltaY || (event.shiftKey ? event.deltaX : 0)) * unit;
    if (!event.shiftKey && event.deltaX !== 0) viewport.pan(-event.deltaX * unit, 0);
    const factor = kWheelZoom ** Math.max(-400, Math.min(400, delta));
    const timeAlone = event.ctrlKey || event.metaKey || pointer.y < 0;
    const valueAlone = event.shiftKey || pointer.x < 0;
    viewport.zoom(Math.max(0, pointer.x), Math.max(0, pointer.y), valueAlone ? 1 : factor, timeAlone ? 1 : factor);
    this.graph.redraw();
  }

  private contextMenu(event: MouseEvent): void {
    event.preventDefault();
    if (!this.graph.app.document || this.drag) return;
    const isByKey = event.button !== 2;
    const box = this.graph.area.getBoundingClientRect();
    if (isByKey) return this.graph.openContextMenu(box.left + box.width / 2, box.top + box.height / 3);
    const pointer = this.pointer(event);
    const key = this.graph.keyAt(pointer);
    if (key && !key.isSelected) this.selectPressed(key, pointer);
    this.graph.openContextMenu(event.clientX, event.clientY);
  }

  private keyDown(event: KeyboardEvent): void {
    if (event.key === "Escape" && this.drag) {
      this.cancelDrag();
      event.stopPropagation();
      return;
    }
    if (event.key !== " " || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    event.stopPropagation();
    if (this.isSpaceHeld) return;
    this.isSpaceHeld = true;
    this.wasSpaceUsed = false;
    this.graph.area.style.cursor = "grab";
  }

  /** A space bar that was not used for panning plays. */
  private keyUp(event: KeyboardEvent): void {
    if (event.key !== " " || !this.isSpaceHeld) return;
    this.releaseSpace();
    if (!this.wasSpaceUsed) this.graph.app.commands.run("motion.play");
  }

  private releaseSpace(): void {
    this.isSpaceHeld = false;
    this.graph.area.style.cursor = "";
  }
}
