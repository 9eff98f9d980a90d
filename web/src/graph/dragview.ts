import type { Drag, Pointer } from "./drag";
import type { Graph } from "./graph";

/** Moves what is seen along with the pointer. */
export class PanDrag implements Drag {
  readonly cursor = "grabbing";

  constructor(
    private readonly graph: Graph,
    private last: Pointer,
    /** Called for a click, where the pointer did not move. */
    private readonly clicked?: () => void,
  ) {}

  move(pointer: Pointer): void {
    this.graph.viewport.pan(pointer.x - this.last.x, pointer.y - this.last.y);
    this.last = pointer;
    this.graph.redraw();
  }

  end(_pointer: Pointer, moved: boolean): void {
    if (!moved) this.clicked?.();
  }

  cancel(): void {}
}

/** Sets the current time along the ruler. */
export class TimeDrag implements Drag {
  readonly cursor = "ew-resize";

  constructor(
    private readonly graph: Graph,
    pointer: Pointer,
  ) {
    this.move(pointer);
  }

  move(pointer: Pointer): void {
    const { app, viewport } = this.graph;
    const time = viewport.timeAt(pointer.x);
    const snaps = app.preferences.get("snapToFrames") !== pointer.ctrl;
    app.setTime(snaps ? (app.document?.snapToFrame(Math.round(time)) ?? time) : time);
  }

  end(): void {}
  cancel(): void {}
}

/** Two fingers: what was under each of them stays there. */
export class PinchDrag {
  private readonly startTimes: [number, number];
  private readonly startValues: [number, number];

  constructor(
    private readonly graph: Graph,
    private a: Pointer,
    private b: Pointer,
  ) {
    const { viewport } = graph;
    this.startTimes = [viewport.timeAt(a.x), viewport.timeAt(b.x)];
    this.startValues = [viewport.valueAt(a.y), viewport.valueAt(b.y)];
  }

  /** Fingers that are closer than this along an axis do not zoom it. */
  private static readonly kLeastDistance = 40;

  move(a: Pointer, b: Pointer): void {
    const { viewport } = this.graph;
    const ratio = (before: number, after: number): number =>
      Math.abs(before) < PinchDrag.kLeastDistance || Math.abs(after) < PinchDrag.kLeastDistance / 2 ? 1 : Math.abs(before / after);
    const x = (a.x + b.x) / 2;
    const y = (a.y + b.y) / 2;
    viewport.zoom(x, y, ratio(this.a.x - this.b.x, a.x - b.x), ratio(this.a.y - this.b.y, a.y - b.y));
    const middleTime = (this.startTimes[0] + this.startTimes[1]) / 2;
    const middleValue = (this.startValues[0] + this.startValues[1]) / 2;
    viewport.pan(x - viewport.xAt(middleTime), y - viewport.yAt(middleValue));
    this.a = a;
    this.b = b;
    this.graph.redraw();
  }
}
