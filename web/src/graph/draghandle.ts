import type { KeyChange, TrackKeys } from "../engine/engine";
import type { Drag, Pointer } from "./drag";
import type { Graph } from "./graph";
import { type Handle, handleTarget, segmentDuration } from "./handles";

/**
 * Drags the end of a tangent handle: the slope, and the weight too where the side has one of its own. Alt breaks the
 * key so that this side moves alone, Ctrl gives the side a weight, Shift keeps the slope and changes the weight alone.
 */
export class HandleDrag implements Drag {
  readonly cursor = "grabbing";
  private isOpen = false;

  constructor(
    private readonly graph: Graph,
    private readonly handle: Handle,
  ) {}

  move(pointer: Pointer): void {
    const app = this.graph.app;
    const document = app.document;
    if (!document) return;
    try {
      if (!this.isOpen) {
        app.setPreview(undefined);
        document.beginStep("Tangent");
        this.isOpen = true;
      }
      const key: TrackKeys = { track: this.handle.track, indices: [this.handle.index] };
      if (pointer.alt) document.setKeys([key], { tangent: "user-break" });
      const change = this.changeFor(pointer);
      document.setKeys([key], change);
      app.dragged();
    } catch (error) {
      this.cancel();
      app.fail(error);
    }
  }

  private changeFor(pointer: Pointer): KeyChange {
    const { handle, graph } = this;
    const document = graph.app.document;
    if (!document) return {};
    const duration = segmentDuration(graph.tables.get(document, handle.track), handle.index, handle.side);
    const { slope, weight } = handleTarget(graph.viewport, handle, duration, pointer.x, pointer.y);
    const withWeight = handle.isWeighted || pointer.ctrl || pointer.shift;
    const isLeft = handle.side === "left";
    return {
      ...(pointer.shift ? {} : isLeft ? { leftSlope: slope } : { rightSlope: slope }),
      ...(withWeight ? (isLeft ? { leftWeight: weight } : { rightWeight: weight }) : {}),
    };
  }

  end(): void {
    this.finish("endStep");
  }

  cancel(): void {
    this.finish("cancelStep");
  }

  private finish(way: "endStep" | "cancelStep"): void {
    if (!this.isOpen) return;
    this.isOpen = false;
    try {
      this.graph.app.document?.[way]();
    } catch (error) {
      this.graph.app.fail(error);
    }
    this.graph.app.touch();
  }
}
