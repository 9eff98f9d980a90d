import type { EditorDocument, KeyChange, TrackKeys } from "../engine/engine";
import { EditDrag, type Pointer } from "./drag";
import type { Graph } from "./graph";
import { type Handle, handleTarget, segmentDuration } from "./handles";

type TangentStep = Record<"end" | "cancel", () => void>;

/**
 * Drags the end of a tangent handle: the slope, and the weight too where the side has one of its own. Alt breaks the
 * key so that this side moves alone, Ctrl gives the side a weight, Shift keeps the slope and changes the weight alone.
 */
export class HandleDrag extends EditDrag<TangentStep> {
  readonly cursor = "grabbing";

  constructor(
    graph: Graph,
    private readonly handle: Handle,
  ) {
    super(graph);
  }

  protected override begin(document: EditorDocument): TangentStep {
    document.beginStep("Tangent");
    return { end: () => document.endStep(), cancel: () => document.cancelStep() };
  }

  protected override apply(_step: TangentStep, document: EditorDocument, pointer: Pointer): void {
    const key: TrackKeys = { track: this.handle.track, indices: [this.handle.index] };
    if (pointer.alt) document.setKeys([key], { tangent: "user-break" });
    document.setKeys([key], this.changeFor(document, pointer));
  }

  private changeFor(document: EditorDocument, pointer: Pointer): KeyChange {
    const { handle, graph } = this;
    const duration = segmentDuration(graph.tables.get(document, handle.track), handle.index, handle.side);
    const { slope, weight } = handleTarget(graph.viewport, handle, duration, pointer.x, pointer.y);
    const withWeight = handle.isWeighted || pointer.ctrl || pointer.shift;
    const isLeft = handle.side === "left";
    return {
      ...(pointer.shift ? {} : isLeft ? { leftSlope: slope } : { rightSlope: slope }),
      ...(withWeight ? (isLeft ? { leftWeight: weight } : { rightWeight: weight }) : {}),
    };
  }
}
