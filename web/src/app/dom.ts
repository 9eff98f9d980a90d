/** Small helpers for building the page. */

type Child = Node | string | undefined | false;
export interface Attributes {
  [name: string]: string | number | boolean | undefined | ((event: never) => void);
}

function applyAttributes(element: Element, attributes: Attributes): void {
  for (const [name, value] of Object.entries(attributes)) {
    if (value === undefined || value === false) continue;
    if (typeof value === "function") element.addEventListener(name, value as EventListener);
    else element.setAttribute(name, value === true ? "" : String(value));
  }
}

/**
 * An element with attributes, listeners (attributes whose value is a function, named by their event) and children.
 * Attributes that are undefined or false are left out.
 */
export function h<Tag extends keyof HTMLElementTagNameMap>(
  tag: Tag,
  attributes: Attributes = {},
  ...children: Child[]
): HTMLElementTagNameMap[Tag] {
  const element = document.createElement(tag);
  applyAttributes(element, attributes);
  element.append(...children.filter((child): child is Node | string => child !== undefined && child !== false));
  return element;
}

const kSvg = "http://www.w3.org/2000/svg";

/** An icon of 16 by 16 in lines of the text's colour, drawn by path data; hidden from screen readers. */
export function icon(path: string): SVGSVGElement {
  const svg = document.createElementNS(kSvg, "svg");
  applyAttributes(svg, { viewBox: "0 0 16 16", class: "icon", "aria-hidden": "true" });
  const line = document.createElementNS(kSvg, "path");
  applyAttributes(line, { d: path });
  svg.append(line);
  return svg;
}

/** A button that shows an icon; the title is its name for screen readers and its tip. */
export function iconButton(path: string, title: string, click: () => void): HTMLButtonElement {
  return h("button", { type: "button", class: "icon-button", title, "aria-label": title, click }, icon(path));
}

let lastId = 0;
/** An id that no other element of the page has. */
export function uniqueId(prefix: string): string {
  lastId += 1;
  return `${prefix}-${lastId}`;
}

/** A function that does its work once in the next frame, however often it is called before. */
export function oncePerFrame(work: () => void): () => void {
  let isPlanned = false;
  return () => {
    if (isPlanned) return;
    isPlanned = true;
    requestAnimationFrame(() => {
      isPlanned = false;
      work();
    });
  };
}

/** A function that does its work a little after the last of several calls. */
export function afterRest(milliseconds: number, work: () => void): () => void {
  let timer = 0;
  return () => {
    clearTimeout(timer);
    timer = window.setTimeout(work, milliseconds);
  };
}

/** Calls when the window comes to a screen with other pixels, and when the page is zoomed. */
export function onPixelRatio(changed: () => void): void {
  const listener = (): void => {
    changed();
    onPixelRatio(changed);
  };
  matchMedia(`(resolution: ${devicePixelRatio}dppx)`).addEventListener("change", listener, { once: true });
}

/**
 * Reads colours of the theme by their variables, as they are where an element is: light or dark. The browser works
 * `light-dark()` out through an element's colour.
 */
export function readTheme<T>(host: HTMLElement, read: (color: (name: string) => string) => T): T {
  const probe = h("span", { hidden: true });
  host.append(probe);
  const result = read((name) => {
    probe.style.color = `var(${name})`;
    return getComputedStyle(probe).color;
  });
  probe.remove();
  return result;
}
