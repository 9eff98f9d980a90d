import { h } from "./dom";
import type { Preferences } from "./preferences";

export interface SplitterOptions {
  /** The name under which the size is remembered. */
  name: string;
  label: string;
  /** The panel whose size changes. */
  panel: HTMLElement;
  /** Where the panel is, seen from the splitter. */
  side: "left" | "right" | "top" | "bottom";
  least: number;
  /** The first size, in CSS pixels or as a part of the window ("0.4"). */
  initial: number;
}

/** A bar between two panels that is dragged, or moved by the arrow keys. Double click brings the first size back. */
export function splitter(preferences: Preferences, options: SplitterOptions): HTMLElement {
  const isColumn = options.side === "left" || options.side === "right";
  const sign = options.side === "left" || options.side === "top" ? 1 : -1;
  const bar = h("div", {
    class: `splitter ${isColumn ? "splitter-column" : "splitter-row"}`,
    role: "separator",
    tabindex: 0,
    "aria-label": options.label,
    "aria-orientation": isColumn ? "vertical" : "horizontal",
    "aria-valuemin": options.least,
    "aria-valuemax": 4000,
  });

  const whole = (): number => (isColumn ? window.innerWidth : window.innerHeight);
  const firstSize = (): number => (options.initial <= 1 ? options.initial * whole() : options.initial);
  /** While it is dragged. */
  let dragged: number | undefined;
  const size = (): number => dragged ?? preferences.get("sizes")[options.name] ?? firstSize();
  const apply = (): void => {
    const shown = Math.round(Math.max(options.least, Math.min(size(), whole() * 0.7)));
    options.panel.style.flexBasis = `${shown}px`;
    bar.setAttribute("aria-valuenow", String(shown));
  };
  const remember = (pixels: number | undefined): void => {
    const sizes = { ...preferences.get("sizes") };
    if (pixels === undefined) delete sizes[options.name];
    else sizes[options.name] = Math.max(options.least, Math.round(pixels));
    preferences.set("sizes", sizes);
    apply();
  };

  bar.addEventListener("pointerdown", (down) => {
    bar.setPointerCapture(down.pointerId);
    const begin = isColumn ? down.clientX : down.clientY;
    const before = size();
    const move = (event: PointerEvent): void => {
      dragged = before + sign * ((isColumn ? event.clientX : event.clientY) - begin);
      apply();
    };
    const end = (): void => {
      bar.removeEventListener("pointermove", move);
      const reached = dragged;
      dragged = undefined;
      if (reached !== undefined) remember(reached);
    };
    bar.addEventListener("pointermove", move);
    bar.addEventListener("lostpointercapture", end, { once: true });
  });
  bar.addEventListener("dblclick", () => remember(undefined));
  bar.addEventListener("keydown", (event) => {
    const steps: Record<string, number> = { ArrowLeft: -16, ArrowUp: -16, ArrowRight: 16, ArrowDown: 16 };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    event.stopPropagation();
    remember(size() + sign * step);
  });
  window.addEventListener("resize", apply);
  apply();
  return bar;
}
