import type { EditorDocument, KeyRange, Manipulation, ManipulationOptions } from "../engine/engine";
import { EditDrag, type Pointer } from "./drag";
import type { Graph } from "./graph";
import type { KeyHit } from "./hits";
import { type Grip, type PivotChoice, pivotOf, stretchFactor } from "./scalebox";

/** A drag of the selected keys by the library's manipulator. */
abstract class ManipulationDrag extends EditDrag<Manipulation> {
  protected abstract options(pointer: Pointer): ManipulationOptions;
  protected abstract manipulate(manipulation: Manipulation, pointer: Pointer): void;

  protected override begin(document: EditorDocument, pointer: Pointer): Manipulation {
    return document.beginManipulation(this.options(pointer));
  }

  protected override apply(manipulation: Manipulation, _document: EditorDocument, pointer: Pointer): void {
    this.manipulate(manipulation, pointer);
    this.graph.showRange(manipulation.range());
  }
}

/** How near in pixels a value has to come to that of a neighbour to snap to it. */
const kSnapPixels = 8;

/** Moves the selected keys. Shift keeps to one axis, Ctrl turns snapping to frames round, Alt leaves copies behind. */
export class MoveDrag extends ManipulationDrag {
  readonly cursor = "move";

  constructor(
    graph: Graph,
    private readonly down: Pointer,
    private readonly hit: KeyHit | undefined,
  ) {
    super(graph);
  }

  protected override options(pointer: Pointer): ManipulationOptions {
    return { mode: "move", copy: pointer.alt, ...this.graph.ripple };
  }

  protected override manipulate(manipulation: Manipulation, pointer: Pointer): void {
    const { app, viewport } = this.graph;
    let dx = pointer.x - this.down.x;
    let dy = pointer.y - this.down.y;
    if (pointer.shift) {
      if (Math.abs(dx) >= Math.abs(dy)) dy = 0;
      else dx = 0;
    }
    const time = Math.round(dx * viewport.timePerPixel);
    const value = -dy * viewport.valuePerPixel;
    const snapsTime = app.preferences.get("snapToFrames") !== pointer.ctrl && dx !== 0;
    const snapsValue = app.preferences.get("snapToValues") && dy !== 0;
    const snapped = snapsValue ? manipulation.snapValueOffset(value, kSnapPixels * viewport.valuePerPixel) : value;
    manipulation.offset(time, snapped, snapsTime);
  }

  /** A click on a key that is selected with others selects it alone. */
  override end(pointer: Pointer, moved: boolean): void {
    super.end(pointer, moved);
    if (moved || !this.hit?.isSelected || pointer.shift || pointer.ctrl) return;
    this.graph.app.document?.selectKeys("replace", [{ track: this.hit.track, indices: [this.hit.index] }]);
    this.graph.app.selectionChanged();
  }
}

/** The least part to which keys can be pressed together in time; none would put them all at one time. */
const kLeastTimeFactor = 0.001;

/** Stretches the selected keys by a grip of their box: about the opposite side, with Ctrl about the centre, with Alt about the current time. */
export class StretchDrag extends ManipulationDrag {
  readonly cursor: string;

  constructor(
    graph: Graph,
    private readonly down: Pointer,
    private readonly grip: Grip,
    private readonly range: KeyRange,
  ) {
    super(graph);
    this.cursor = gripCursor(grip);
  }

  protected override options(): ManipulationOptions {
    const mode = this.grip.value === 0 ? "stretch-time" : this.grip.time === 0 ? "stretch-value" : "stretch";
    return { mode };
  }

  protected override manipulate(manipulation: Manipulation, pointer: Pointer): void {
    const { app, viewport } = this.graph;
    const { range, grip } = this;
    const choice: PivotChoice = pointer.alt ? "time" : pointer.ctrl ? "centre" : "opposite";
    const pivot = pivotOf(range, grip, choice, app.time);
    const fromTime = grip.time < 0 ? range.start : range.stop;
    const fromValue = grip.value < 0 ? range.least : range.greatest;
    const moved = Math.round(fromTime + (pointer.x - this.down.x) * viewport.timePerPixel);
    const toTime = app.preferences.get("snapToFrames") ? (app.document?.snapToFrame(moved) ?? moved) : moved;
    const toValue = fromValue - (pointer.y - this.down.y) * viewport.valuePerPixel;
    const timeFactor = grip.time === 0 ? 1 : Math.max(kLeastTimeFactor, stretchFactor(fromTime, toTime, pivot.time));
    const valueFactor = grip.value === 0 ? 1 : stretchFactor(fromValue, toValue, pivot.value);
    manipulation.stretch(timeFactor, valueFactor, Math.round(pivot.time), pivot.value);
  }
}

/** A drag of this many pixels up doubles the values, and down halves them. */
const kDoublingPixels = 80;

/** Scales the values of the selected keys by dragging up and down: about zero, with Ctrl about their middle. */
export class ScaleDrag extends ManipulationDrag {
  readonly cursor = "ns-resize";

  constructor(
    graph: Graph,
    private readonly down: Pointer,
  ) {
    super(graph);
  }

  protected override options(pointer: Pointer): ManipulationOptions {
    const range = this.graph.app.document?.selectionRange();
    const middle = range ? (range.least + range.greatest) / 2 : 0;
    return { mode: "scale", scaleCentre: pointer.ctrl ? middle : 0 };
  }

  protected override manipulate(manipulation: Manipulation, pointer: Pointer): void {
    manipulation.scale(2 ** ((this.down.y - pointer.y) / kDoublingPixels));
  }
}

/** Brings all selected keys to the value under the pointer. */
export class SetValueDrag extends ManipulationDrag {
  readonly cursor = "ns-resize";

  protected override options(): ManipulationOptions {
    return { mode: "set-value" };
  }

  protected override manipulate(manipulation: Manipulation, pointer: Pointer): void {
    manipulation.setValue(this.graph.viewport.valueAt(pointer.y));
  }
}

export function gripCursor(grip: Grip): string {
  if (grip.time === 0) return "ns-resize";
  if (grip.value === 0) return "ew-resize";
  return grip.time === grip.value ? "nesw-resize" : "nwse-resize";
}
