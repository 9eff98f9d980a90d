import type { EditorDocument, TangentDrag } from "../engine/engine";
import { EditDrag, type Pointer } from "./drag";
import type { Graph } from "./graph";
import { type Handle, handleTarget, segmentDuration } from "./handles";

/**
 * Drags the end of a tangent handle: the slope, and the weight too where the side has one of its own. The handles of
 * the other selected keys on that side change by as much. Alt breaks the keys so that this side moves alone, Ctrl gives
 * the side a weight, Shift keeps the slope and changes the weight alone.
 */
export class HandleDrag extends EditDrag<TangentDrag> {
  readonly cursor = "grabbing";

  constructor(
    graph: Graph,
    private readonly handle: Handle,
  ) {
    super(graph);
  }

  protected override begin(document: EditorDocument): TangentDrag {
    return document.beginTangents(this.handle);
  }

  protected override apply(drag: TangentDrag, document: EditorDocument, pointer: Pointer): void {
    const { handle, graph } = this;
    const duration = segmentDuration(graph.tables.get(document, handle.track), handle.index, handle.side);
    const { slope, weight } = handleTarget(graph.viewport, handle, duration, pointer.x, pointer.y);
    const givesWeights = pointer.ctrl || pointer.shift;
    drag.moveTo({
      ...(pointer.shift ? {} : { slope }),
      ...(handle.isWeighted || givesWeights ? { weight } : {}),
      givesWeights,
      breaks: pointer.alt,
    });
  }
}
