import type { Page } from "playwright-core";
import type { KeyTable } from "../src/engine/engine";
import { settle } from "./page";

/** The room of the labels in the graph, in CSS pixels. */
const kGutter = 54;
const kRuler = 22;

/** Where times and values are on the page, reckoned from what the graph says that it shows. */
export class View {
  constructor(
    readonly start: number,
    readonly stop: number,
    readonly low: number,
    readonly high: number,
    readonly box: { x: number; y: number; width: number; height: number },
  ) {}

  x(time: number): number {
    return this.box.x + ((time - this.start) / (this.stop - this.start)) * this.box.width;
  }

  y(value: number): number {
    return this.box.y + ((this.high - value) / (this.high - this.low)) * this.box.height;
  }

  time(x: number): number {
    return this.start + ((x - this.box.x) / this.box.width) * (this.stop - this.start);
  }

  value(y: number): number {
    return this.high - ((y - this.box.y) / this.box.height) * (this.high - this.low);
  }
}

export async function view(page: Page): Promise<View> {
  await settle(page);
  const area = page.locator(".graph-area");
  const [start = 0, stop = 0, low = 0, high = 0] = ((await area.getAttribute("data-window")) ?? "").split(" ").map(Number);
  const box = await area.boundingBox();
  if (!box) throw new Error("The graph is not there.");
  const plot = { x: box.x + kGutter, y: box.y + kRuler, width: box.width - kGutter, height: box.height - kRuler };
  return new View(start, stop, low, high, plot);
}

/** Shows curves by their paths and gives the ids of their tracks; the graph has the keyboard afterwards. */
export async function showCurves(page: Page, ...paths: string[]): Promise<number[]> {
  const tracks = await page.evaluate((wanted) => {
    const app = window.yfcurve!;
    const found = wanted.map((path) => app.tracks.find((track) => track.path === path && track.layer === app.layer)!.id);
    app.document!.clearSelection();
    app.showTracks(found);
    return found;
  }, paths);
  await page.locator(".graph-area").focus();
  await page.keyboard.press("q");
  await page.keyboard.press("a");
  await settle(page);
  return tracks;
}

export type Keys = { [Column in keyof KeyTable]: number[] };

export function keysOf(page: Page, track: number): Promise<Keys> {
  return page.evaluate((id) => {
    const table = window.yfcurve!.document!.keys(id);
    return Object.fromEntries(Object.entries(table).map(([name, column]) => [name, Array.from(column as ArrayLike<number>)])) as Keys;
  }, track);
}

/** Selects keys of a curve and nothing else, as clicks do. */
export async function selectKeys(page: Page, track: number, ...indices: number[]): Promise<void> {
  await page.evaluate(
    ([id, chosen]) => {
      window.yfcurve!.document!.selectKeys("replace", [{ track: id, indices: chosen }]);
      window.yfcurve!.selectionChanged();
    },
    [track, indices] as const,
  );
  await settle(page);
}

/** Types into a field of the selected keys. */
export async function typeInto(page: Page, field: string, text: string): Promise<void> {
  await page.locator(".panel-keys").getByLabel(field, { exact: true }).fill(text);
  await page.keyboard.press("Enter");
}

/** The selected keys as texts "track:index", sorted. */
export function selection(page: Page): Promise<string[]> {
  return page.evaluate(() =>
    window.yfcurve!.document!
      .selectedKeys()
      .flatMap(({ track, indices }) => Array.from(indices, (index) => `${track}:${index}`))
      .sort(),
  );
}

export interface Held {
  keys?: ("Shift" | "Control" | "Alt")[];
  button?: "left" | "middle";
}

/** Drags from the first place through the others. */
export async function drag(page: Page, places: readonly { x: number; y: number }[], { keys = [], button = "left" }: Held = {}): Promise<void> {
  const [first, ...others] = places;
  if (!first) return;
  await page.mouse.move(first.x, first.y);
  await page.mouse.down({ button });
  for (const key of keys) await page.keyboard.down(key);
  for (const place of others) await page.mouse.move(place.x, place.y, { steps: 3 });
  await settle(page);
  await page.mouse.up({ button });
  for (const key of keys) await page.keyboard.up(key);
  await settle(page);
}

/** For each column of pixels of the plot the rows in which something coloured is drawn: curves and keys, but no grid. */
export function colouredRows(page: Page): Promise<number[][]> {
  return page.evaluate(
    ([gutter = 0, ruler = 0]) => {
      const canvas = document.querySelector<HTMLCanvasElement>(".graph-area canvas")!;
      const left = gutter * devicePixelRatio;
      const top = ruler * devicePixelRatio;
      const width = canvas.width - left;
      const height = canvas.height - top;
      const { data } = canvas.getContext("2d")!.getImageData(left, top, width, height);
      return Array.from({ length: width }, (_, x) => {
        const rows: number[] = [];
        for (let y = 0; y < height; ++y) {
          const [red = 0, green = 0, blue = 0] = data.subarray(4 * (y * width + x), 4 * (y * width + x) + 3);
          if (Math.max(red, green, blue) - Math.min(red, green, blue) > 70) rows.push(y);
        }
        return rows;
      });
    },
    [kGutter, kRuler],
  );
}
