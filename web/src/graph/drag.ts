import type { EditorDocument } from "../engine/engine";
import type { Graph } from "./graph";

/** Where the pointer is in the plot, in CSS pixels, with the keys that are held. */
export interface Pointer {
  x: number;
  y: number;
  shift: boolean;
  ctrl: boolean;
  alt: boolean;
}

/** Something that is done while the pointer is down. `end` and `cancel` are called once and last. */
export interface Drag {
  readonly cursor: string;
  move(pointer: Pointer): void;
  /** `moved` is false for a click. */
  end(pointer: Pointer, moved: boolean): void;
  cancel(): void;
}

/** A step of the document that a drag has begun. */
interface Step {
  end(): void;
  cancel(): void;
}

/** A drag that edits: one step, which Escape takes back. Once the document refuses it, it does nothing more. */
export abstract class EditDrag<Begun extends Step> implements Drag {
  abstract readonly cursor: string;
  private step: Begun | undefined;
  private isRefused = false;

  constructor(protected readonly graph: Graph) {}

  protected abstract begin(document: EditorDocument, pointer: Pointer): Begun;
  protected abstract apply(step: Begun, document: EditorDocument, pointer: Pointer): void;

  move(pointer: Pointer): void {
    const { app } = this.graph;
    if (this.isRefused || !app.document) return;
    try {
      if (!this.step) app.setPreview(undefined);
      this.step ??= this.begin(app.document, pointer);
      this.apply(this.step, app.document, pointer);
      app.dragged();
    } catch (error) {
      this.isRefused = true;
      app.fail(error);
      this.cancel();
    }
  }

  end(_pointer: Pointer, _moved: boolean): void {
    this.finish("end");
  }

  cancel(): void {
    this.finish("cancel");
  }

  private finish(way: "end" | "cancel"): void {
    const { step } = this;
    this.step = undefined;
    this.graph.showRange(undefined);
    if (!step) return;
    try {
      step[way]();
    } catch (error) {
      this.graph.app.fail(error);
    }
    this.graph.app.touch();
  }
}
