import { join } from "node:path";
import { describe, expect, it } from "vitest";
import { colouredRows, drag, keysOf, selection, showCurves, type View, view } from "./graph_page";
import { kWalk, openEditor, scratchFolder, settle, sharedEditor, yfcurve } from "./page";
import { random } from "./random";

const kTicks = 46_186_158_000;
const kPath = "Chest/Lcl Rotation/Z";
const kSpine = "Hips/Spine/Lcl Rotation/";
/** Half the side of a key's mark and of a line's width, in CSS pixels. */
const kInk = 5;

const editor = sharedEditor({ file: kWalk, colorScheme: "light", webgl: false, hasTouch: true });
const next = random(19);

/** The values that the program evaluates, and those of the first and last key outside them. */
function evaluated(path: string, file = kWalk): (time: number) => number {
  const rate = 12_000;
  const rows = yfcurve("eval", file, "--node", path, "--rate", String(rate)).trim().split("\n").slice(1);
  const values = rows.map((row) => Number(row.split(",")[1]));
  return (time) => {
    const at = Math.min(Math.max((time / kTicks) * rate, 0), values.length - 1);
    const before = Math.floor(at);
    const low = values[before] ?? 0;
    return low + (at - before) * ((values[before + 1] ?? low) - low);
  };
}

/** Every column has ink at the curve, or at the edge of a key's mark where there is one (each frame), and none elsewhere. */
function expectDrawn(rows: number[][], shown: View, ratio: number, valueAt: (time: number) => number): void {
  const height = shown.box.height * ratio;
  const rowAt = (x: number): number => (shown.y(valueAt(shown.time(shown.box.x + x / ratio))) - shown.box.y) * ratio;
  const keyColumns = Array.from({ length: 257 }, (_, frame) => (shown.x((frame / 120) * kTicks) - shown.box.x) * ratio);
  rows.forEach((inked, column) => {
    const around = Array.from({ length: 2 * kInk * ratio + 1 }, (_, index) => rowAt(column + 0.5 + index - kInk * ratio));
    const expected = rowAt(column + 0.5);
    if (expected > 2 && expected < height - 2) {
      const nearest = Math.min(...inked.map((row) => Math.abs(row + 0.5 - expected)));
      const isMarked = keyColumns.some((x) => Math.abs(x - column) < kInk * ratio);
      expect(nearest, `column ${column}`).toBeLessThan(isMarked ? 3.6 * ratio : 1.3);
    }
    const [top, bottom] = [Math.min(...around) - kInk * ratio, Math.max(...around) + kInk * ratio];
    expect(inked.every((row) => row > top && row < bottom), `column ${column}`).toBe(true);
  });
}

/** Zooms and pans to a random place near the motion. */
async function wander(): Promise<View> {
  const before = await view(editor.page);
  const x = Math.round(before.box.x + (0.2 + 0.6 * next()) * before.box.width);
  const y = Math.round(before.box.y + (0.2 + 0.6 * next()) * before.box.height);
  await editor.page.mouse.move(x, y);
  await editor.page.mouse.wheel(0, -400 * next());
  const zoomed = await view(editor.page);
  expect(zoomed.time(x) / kTicks).toBeCloseTo(before.time(x) / kTicks, 8);
  expect(zoomed.value(y)).toBeCloseTo(before.value(y), 8);
  const [dx, dy] = [Math.round(60 * (next() - 0.5)), Math.round(60 * (next() - 0.5))];
  await drag(editor.page, [{ x, y }, { x: x + dx, y: y + dy }], { button: "middle" });
  const panned = await view(editor.page);
  expect(panned.time(x + dx) / kTicks).toBeCloseTo(zoomed.time(x) / kTicks, 8);
  expect(panned.value(y + dy)).toBeCloseTo(zoomed.value(y), 8);
  return panned;
}

describe("the graph", () => {
  it.each([1, 2])("draws the values that the program evaluates, wherever it is zoomed to, at %d pixels a pixel", async (ratio) => {
    const own = ratio === 1 ? undefined : await openEditor({ file: kWalk, colorScheme: "light", webgl: false, deviceScaleFactor: ratio });
    const page = own?.page ?? editor.page;
    const path = yfcurve("eval", kWalk, "--node", kPath, "--stop", "0").split(",")[1]!.split("\n")[0]!;
    await showCurves(page, path);
    await page.mouse.move(5, 5);
    const valueAt = evaluated(path);
    expectDrawn(await colouredRows(page), await view(page), ratio, valueAt);
    for (let turn = 0; turn < 5 && !own; ++turn) {
      const shown = await wander();
      expectDrawn(await colouredRows(page), shown, ratio, valueAt);
    }
    await own?.close();
  });

  it("draws what a preview of filters would make", async () => {
    const { page } = editor;
    const path = `${kSpine}X`;
    const filter = "butterworth:CutOffFreq=2";
    const filtered = join(scratchFolder(), "filtered.ytalo");
    yfcurve("filter", kWalk, filtered, "--apply", filter, "--node", path);
    await showCurves(page, path);
    await page.evaluate((step) => {
      const app = window.yfcurve!;
      app.document!.previewFilters({ steps: [step], nodes: app.document!.patterns(app.visibleTracks) });
      app.setPreview("butterworth");
    }, filter);
    await page.mouse.move(5, 5);
    expectDrawn(await colouredRows(page), await view(page), 1, evaluated(path, filtered));
    await page.evaluate(() => window.yfcurve!.setPreview(undefined));
    expectDrawn(await colouredRows(page), await view(page), 1, evaluated(path));
  });

  it("zooms one axis alone with Ctrl, Shift, and over ruler and values", async () => {
    const { page } = editor;
    await showCurves(page, `${kSpine}X`);
    const turn = async (x: number, y: number, key?: string): Promise<[number, number]> => {
      const before = await view(page);
      await page.mouse.move(before.box.x + x, before.box.y + y);
      if (key) await page.keyboard.down(key);
      await page.mouse.wheel(0, -100);
      if (key) await page.keyboard.up(key);
      const after = await view(page);
      return [(after.stop - after.start) / (before.stop - before.start), (after.high - after.low) / (before.high - before.low)];
    };
    const kCases: [number, number, string | undefined, boolean, boolean][] = [
      [200, 100, undefined, true, true],
      [200, 100, "Control", true, false],
      [200, 100, "Shift", false, true],
      [200, -10, undefined, true, false],
      [-20, 100, undefined, false, true],
    ];
    for (const [x, y, key, zoomsTime, zoomsValue] of kCases) {
      const [time, value] = await turn(x, y, key);
      expect([time < 0.95, value < 0.95], `${x} ${y} ${key}`).toEqual([zoomsTime, zoomsValue]);
      expect([time > 1.0001, value > 1.0001]).toEqual([false, false]);
    }
  });

  it("keeps under two fingers what was there, and pans by one", async () => {
    const { page } = editor;
    await showCurves(page, `${kSpine}X`);
    const touch = await page.context().newCDPSession(page);
    const send = async (type: "touchStart" | "touchMove" | "touchEnd", ...touchPoints: { x: number; y: number }[]): Promise<void> => {
      await touch.send("Input.dispatchTouchEvent", { type, touchPoints: touchPoints.map((place, id) => ({ ...place, id })) });
    };
    const before = await view(page);
    const at = (x: number, y: number): { x: number; y: number } => ({ x: before.box.x + x, y: before.box.y + y });
    const [a, b, newA, newB] = [at(200, 20), at(400, 160), at(150, 10), at(480, 200)];
    await send("touchStart", a);
    await send("touchStart", a, b);
    await send("touchMove", newA, newB);
    const pinched = await view(page);
    for (const [old, now] of [
      [a, newA],
      [b, newB],
    ] as const) {
      expect(pinched.time(now.x) / kTicks).toBeCloseTo(before.time(old.x) / kTicks, 6);
      expect(pinched.value(now.y)).toBeCloseTo(before.value(old.y), 5);
    }
    await send("touchEnd");
    await send("touchStart", a);
    await send("touchMove", at(230, 50));
    await send("touchEnd");
    const panned = await view(page);
    expect(panned.time(a.x + 30) / kTicks).toBeCloseTo(pinched.time(a.x) / kTicks, 6);
    expect(panned.value(a.y + 30)).toBeCloseTo(pinched.value(a.y), 5);
  });

  it("pans while Space is held, and plays when it is pressed alone", async () => {
    const { page } = editor;
    await showCurves(page, `${kSpine}X`);
    const before = await view(page);
    const isPlaying = (): Promise<boolean> => page.evaluate(() => window.yfcurve!.playing);
    const from = { x: before.box.x + 300, y: before.box.y + 100 };
    await page.keyboard.down("Space");
    await drag(page, [from, { x: from.x + 25, y: from.y }]);
    await page.keyboard.up("Space");
    expect((await view(page)).time(from.x + 25) / kTicks).toBeCloseTo(before.time(from.x) / kTicks, 6);
    expect(await isPlaying()).toBe(false);
    await page.keyboard.press("Space");
    expect(await isPlaying()).toBe(true);
    await page.keyboard.press("Space");
    expect(await isPlaying()).toBe(false);
  });

  it("selects by box and lasso what lies in them, with Shift besides, with Ctrl away", async () => {
    const { page } = editor;
    const tracks = await showCurves(page, `${kSpine}X`, `${kSpine}Y`, `${kSpine}Z`);
    const shown = await view(page);
    const keys = (await Promise.all(tracks.map((track) => keysOf(page, track)))).flatMap((table, curve) =>
      table.time.map((time, index) => ({ name: `${tracks[curve]}:${index}`, x: shown.x(time), y: shown.y(table.value[index] ?? 0) })),
    );
    type Place = { x: number; y: number };
    const corner = (): Place => ({ x: shown.box.x + Math.round(shown.box.width * next()), y: shown.box.y + Math.round(shown.box.height * next()) });
    const isFree = (place: Place): boolean => keys.every((key) => Math.hypot(key.x - place.x, key.y - place.y) > 12);
    const inBox = (a: Place, b: Place) => (p: Place) => (p.x - a.x) * (p.x - b.x) <= 0 && (p.y - a.y) * (p.y - b.y) <= 0;
    const inTriangle = (a: Place, b: Place, c: Place) => (p: Place) => {
      const side = (q: Place, r: Place): boolean => (r.x - q.x) * (p.y - q.y) - (r.y - q.y) * (p.x - q.x) > 0;
      return side(a, b) === side(b, c) && side(b, c) === side(c, a);
    };
    let expected = new Set<string>();
    for (let turn = 0; turn < 14; ++turn) {
      const [a, b, c] = [corner(), corner(), corner()];
      if (!isFree(a)) continue;
      const held = [undefined, "Shift", "Control"][turn % 3] as "Shift" | "Control" | undefined;
      const isLasso = turn % 2 === 1;
      await page.keyboard.press(isLasso ? "l" : "q");
      await drag(page, isLasso ? [a, b, c, a] : [a, b], { keys: held ? [held] : [] });
      const inside = keys.filter(isLasso ? inTriangle(a, b, c) : inBox(a, b)).map((key) => key.name);
      if (held === "Control") for (const name of inside) expected.delete(name);
      else expected = new Set([...(held === "Shift" ? expected : []), ...inside]);
      expect(await selection(page), `turn ${turn}`).toEqual([...expected].sort());
    }
  });

  it("goes from key to key, and frames what is selected", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, `${kSpine}Y`);
    const keys = await keysOf(page, track);
    await page.keyboard.press("Home");
    for (const [key, index] of [[".", 1], [".", 2], [".", 3], [",", 2]] as const) {
      await page.keyboard.press(key);
      expect(await selection(page)).toEqual([`${track}:${index}`]);
      expect(await page.evaluate(() => window.yfcurve!.time)).toBe(keys.time[index]);
    }
    await page.keyboard.press("Control+.");
    expect(await selection(page)).toEqual([2, 3].map((index) => `${track}:${index}`));
    await page.evaluate((id) => {
      window.yfcurve!.document!.selectKeys("replace", [{ track: id, indices: [10, 30] }]);
      window.yfcurve!.selectionChanged();
    }, track);
    await page.keyboard.press("f");
    const shown = await view(page);
    const [first = 0, last = 0] = [keys.time[10], keys.time[30]];
    expect((shown.start + shown.stop) / 2 / kTicks).toBeCloseTo((first + last) / 2 / kTicks, 6);
    expect((shown.stop - shown.start) / (last - first)).toBeCloseTo(1.16, 3);
    await settle(page);
  });
});
