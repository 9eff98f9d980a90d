import type { Orbit } from "./orbit";

/** What a drag does to the camera. */
type Drag = "turn" | "pan" | "zoom";

const kTurn = 0.008;
const kClickReach = 4;

/** A click or a tap: where, in CSS pixels of the element, and how. */
export interface Click {
  x: number;
  y: number;
  isTouch: boolean;
  adds: boolean;
}

/**
 * Moves a camera by mouse, pen and touch. Dragging turns; with Shift, or with the middle or right button, it pans; the
 * wheel, or Alt with the right button, zooms. One finger turns, two pan and zoom. A press without a drag is a click.
 */
export class CameraInput {
  private readonly pointers = new Map<number, { x: number; y: number }>();
  private drag: Drag = "turn";
  private moved = 0;

  constructor(
    private readonly surface: HTMLElement,
    private readonly orbit: Orbit,
    private readonly changed: () => void,
    private readonly clicked: (click: Click) => void,
  ) {
    surface.addEventListener("pointerdown", (event) => this.press(event));
    surface.addEventListener("pointermove", (event) => this.move(event));
    surface.addEventListener("pointerup", (event) => this.release(event));
    surface.addEventListener("pointercancel", (event) => this.pointers.delete(event.pointerId));
    surface.addEventListener("contextmenu", (event) => event.preventDefault());
    surface.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
  }

  private press(event: PointerEvent): void {
    this.surface.focus({ preventScroll: true });
    this.surface.setPointerCapture(event.pointerId);
    this.pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (this.pointers.size === 1) this.moved = 0;
    this.drag = dragOf(event);
    event.preventDefault();
  }

  private move(event: PointerEvent): void {
    const before = this.pointers.get(event.pointerId);
    if (!before) return;
    const spread = this.spread();
    const x = event.clientX - before.x;
    const y = event.clientY - before.y;
    this.moved += Math.hypot(x, y);
    this.pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (this.moved < kClickReach) return;
    const height = Math.max(1, this.surface.clientHeight);
    const isTwoFingers = this.pointers.size > 1;
    if (isTwoFingers) {
      const wider = this.spread();
      if (spread > 0 && wider > 0) this.orbit.zoom(wider / spread);
      this.orbit.pan(-x / height / 2, y / height / 2);
    } else if (this.drag === "turn") {
      this.orbit.turn(-x * kTurn, y * kTurn);
    } else if (this.drag === "pan") {
      this.orbit.pan(-x / height, y / height);
    } else {
      this.orbit.zoom(Math.exp((x - y) / 200));
    }
    this.changed();
  }

  private release(event: PointerEvent): void {
    if (!this.pointers.delete(event.pointerId)) return;
    if (this.moved >= kClickReach || event.button !== 0 || this.pointers.size > 0) return;
    const { left, top } = this.surface.getBoundingClientRect();
    const adds = event.shiftKey || event.ctrlKey || event.metaKey;
    this.clicked({ x: event.clientX - left, y: event.clientY - top, isTouch: event.pointerType === "touch", adds });
  }

  private wheel(event: WheelEvent): void {
    event.preventDefault();
    const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 16 : 1;
    this.orbit.zoom(Math.exp((-event.deltaY * lines) / 500));
    this.changed();
  }

  /** How far the first two fingers are apart; 0 for less than two. */
  private spread(): number {
    const [first, second] = [...this.pointers.values()];
    return first && second ? Math.hypot(first.x - second.x, first.y - second.y) : 0;
  }
}

function dragOf(event: PointerEvent): Drag {
  if (event.altKey && event.button === 2) return "zoom";
  return event.button === 0 && !event.shiftKey ? "turn" : "pan";
}
