import { readTheme } from "../app/dom";

/** The colours of the graph, as the theme has them at the moment. */
export interface GraphColors {
  back: string;
  outside: string;
  grid: string;
  gridMajor: string;
  zero: string;
  label: string;
  ruler: string;
  border: string;
  selected: string;
  key: string;
  time: string;
  box: string;
  handle: string;
  before: string;
  /** A curve's colour so that it can be told from the background. */
  curve: (color: string) => string;
}

type Rgb = [number, number, number];

/** Numbers of a colour in any form that the browser knows. */
function rgbOf(color: string): Rgb {
  const context = probe();
  context.fillStyle = "#000";
  context.fillStyle = color;
  context.fillRect(0, 0, 1, 1);
  const [red = 0, green = 0, blue = 0] = context.getImageData(0, 0, 1, 1).data;
  return [red, green, blue];
}

let probeContext: CanvasRenderingContext2D | undefined;
function probe(): CanvasRenderingContext2D {
  if (!probeContext) {
    const canvas = document.createElement("canvas");
    canvas.width = canvas.height = 1;
    const context = canvas.getContext("2d", { willReadFrequently: true });
    if (!context) throw new Error("The browser cannot draw.");
    probeContext = context;
  }
  return probeContext;
}

const knownNumbers = new Map<string, number>();

/** A colour as 0xBBGGRR. */
export function colorNumber(color: string): number {
  let number = knownNumbers.get(color);
  if (number === undefined) {
    const [red, green, blue] = rgbOf(color);
    number = red + 256 * green + 65_536 * blue;
    knownNumbers.set(color, number);
  }
  return number;
}

/** The relative luminance by which contrast is reckoned (WCAG 2). */
function luminance(rgb: Rgb): number {
  const [red, green, blue] = rgb.map((part) => {
    const value = part / 255;
    return value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  }) as Rgb;
  return 0.2126 * red + 0.7152 * green + 0.0722 * blue;
}

function contrast(a: number, b: number): number {
  return (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
}

/** Lines need this contrast to be seen. */
const kLeastContrast = 3.2;

/** The colour, moved towards white or black until it can be told from the background. */
export function readable(color: string, background: string): string {
  const back = luminance(rgbOf(background));
  const end = back < 0.2 ? 255 : 0;
  let rgb = rgbOf(color);
  for (let step = 0; step < 12 && contrast(luminance(rgb), back) < kLeastContrast; ++step) {
    rgb = rgb.map((part) => part + (end - part) * 0.14) as Rgb;
  }
  return `rgb(${rgb.map(Math.round).join(" ")})`;
}

/** The colours of the theme as they are where an element is. */
export function readColors(host: HTMLElement): GraphColors {
  return readTheme(host, colorsBy);
}

function colorsBy(get: (name: string) => string): GraphColors {
  const back = get("--graph-back");
  const curves = new Map<string, string>();
  return {
    back,
    outside: get("--graph-outside"),
    grid: get("--graph-grid"),
    gridMajor: get("--graph-grid-major"),
    zero: get("--graph-zero"),
    label: get("--graph-label"),
    ruler: get("--surface-2"),
    border: get("--border"),
    selected: get("--graph-selected"),
    key: get("--graph-key"),
    time: get("--graph-time"),
    box: get("--graph-box"),
    handle: get("--graph-handle"),
    before: get("--graph-before"),
    curve: (color) => {
      const known = curves.get(color) ?? readable(color, back);
      curves.set(color, known);
      return known;
    },
  };
}
