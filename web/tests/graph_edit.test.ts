import { readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { beforeAll, beforeEach, describe, expect, it } from "vitest";
import type { TangentMode } from "../src/engine/engine";
import { drag, keysOf, selection, selectKeys, showCurves, typeInto, type View, view } from "./graph_page";
import { difference, kWalk, openWalk, savedBytes, scratchFolder, settle, sharedEditor, yfcurve } from "./page";
import { random } from "./random";

const kTicks = 46_186_158_000;
const kRate = 120;
/** In the order of their numbers in key tables. */
const kModes: readonly TangentMode[] = ["auto", "auto-break", "tcb", "user", "user-break"];
const kPath = "Hips/Spine/Lcl Rotation/X";
const kOther = "Hips/Spine/Lcl Rotation/Z";
const folder = scratchFolder();
const kPage = join(folder, "page.ytalo");
const kProgram = join(folder, "program.ytalo");
const kKeys = join(folder, "keys.json");

const editor = sharedEditor({ webgl: false });
beforeAll(() => editor.page.context().grantPermissions(["clipboard-read", "clipboard-write"]));
beforeEach(() => openWalk(editor));

const undoCount = (): Promise<number> => editor.page.evaluate(() => window.yfcurve!.document!.undoState().undoCount);

/** How what the page saves differs from what the program made of the same edits; empty for not at all. */
async function differenceToProgram(): Promise<string> {
  writeFileSync(kPage, await savedBytes(editor.page));
  return difference(kPage, kProgram);
}

/** Selects the keys of whole frames by a box over all values. */
async function selectFrames(first: number, last: number): Promise<View> {
  const shown = await view(editor.page);
  const x = (frame: number): number => Math.round(shown.x((frame / kRate) * kTicks));
  await drag(editor.page, [
    { x: x(first - 0.5), y: shown.box.y + 3 },
    { x: x(last + 0.5), y: shown.box.y + shown.box.height - 3 },
  ]);
  return shown;
}

/** Zooms in time until a frame is wide enough to be caught; the frame in the middle of the plot. */
async function zoomTo(frame: number, frames: number): Promise<void> {
  await editor.page.evaluate(
    ([start = 0, stop = 0]) => {
      const app = window.yfcurve!;
      const range = app.document!.range(app.visibleTracks);
      app.document!.selectBox("replace", app.visibleTracks, { start, stop, low: range.least, high: range.greatest });
      app.selectionChanged();
    },
    [((frame - frames) / kRate) * kTicks, ((frame + frames) / kRate) * kTicks],
  );
  await editor.page.keyboard.press("f");
  await editor.page.keyboard.press("Escape");
  await editor.page.keyboard.press("-");
  await settle(editor.page);
}

interface Place {
  x: number;
  y: number;
}

/** How much a pixel is, and the end of the handle of a key without weights: some pixels along the slope. */
function scaleOf(shown: View): { seconds: number; value: number; grip: (key: Place, slope: number, sign: number) => Place } {
  const seconds = (shown.stop - shown.start) / shown.box.width / kTicks;
  const value = (shown.high - shown.low) / shown.box.height;
  const grip = (key: Place, slope: number, sign: number): Place => {
    const dy = (-slope * seconds) / value;
    const scale = 46 / Math.hypot(1, dy);
    return { x: key.x + sign * scale, y: key.y + sign * dy * scale };
  };
  return { seconds, value, grip };
}

interface KeyRow {
  ticks: number;
  seconds?: number;
  value: number;
  [member: string]: unknown;
}
interface Curve {
  path: string;
  pre: { mode: string; count: number };
  post: { mode: string; count: number };
  keys: KeyRow[];
}

/** What the program makes of the file when a curve's keys are changed in their JSON. */
function programWithKeys(path: string, change: (curve: Curve, all: Curve[]) => void): void {
  yfcurve("keys", kWalk, "--node", "Spine/Lcl Rotation", "--export", kKeys);
  const json = JSON.parse(readFileSync(kKeys, "utf8")) as { curves: Curve[] };
  const curve = json.curves.find((candidate) => candidate.path === path);
  if (!curve) throw new Error(`There is no curve ${path}.`);
  change(curve, json.curves);
  writeFileSync(kKeys, JSON.stringify(json));
  yfcurve("keys", kWalk, "--import", kKeys, "-o", kProgram);
}

describe("dragging keys", () => {
  it("makes what the program makes of the same moves, and undo and redo bring every bit back", async () => {
    const { page } = editor;
    const next = random(7);
    const whole = (least: number, most: number): number => least + Math.floor(next() * (most - least + 1));
    for (let turn = 0; turn < 4; ++turn) {
      const [track = -1] = await showCurves(page, kPath);
      const middle = whole(40, 200);
      await zoomTo(middle, 20);
      const [first, last] = [middle - whole(1, 6), middle + whole(1, 6)];
      const shown = await selectFrames(first, last);
      const keys = await keysOf(page, track);
      const held = { x: Math.round(shown.x(keys.time[middle] ?? 0)), y: Math.round(shown.y(keys.value[middle] ?? 0)) };
      const [dx, dy] = [whole(20, 60) * (turn % 2 ? 1 : -1), whole(10, 40) * (turn % 3 ? 1 : -1)];
      const kind = ["move", "time", "value", "copy"][turn % 4];
      const frames = kind === "value" ? 0 : Math.round((((dx / shown.box.width) * (shown.stop - shown.start)) / kTicks) * kRate);
      const value = kind === "time" ? 0 : (-dy / shown.box.height) * (shown.high - shown.low);
      const end = { x: held.x + (kind === "value" ? Math.sign(dx) : dx), y: held.y + (kind === "time" ? Math.sign(dy) : dy) };
      const before = await savedBytes(page);
      const isLocked = kind === "time" || kind === "value";
      await drag(page, [held, end], { keys: isLocked ? ["Shift"] : kind === "copy" ? ["Alt"] : [] });
      const moves = ["--select", `${first}f:${last}f`, "--move", `${frames}f,${value}`, ...(kind === "copy" ? ["--copy"] : [])];
      yfcurve("keys", kWalk, "--node", kPath, ...moves, "-o", kProgram);
      expect(await differenceToProgram(), `turn ${turn}: ${moves.join(" ")}`).toBe("");
      const after = await savedBytes(page);
      expect(await undoCount()).toBe(1);
      await page.keyboard.press("Control+z");
      expect((await savedBytes(page)).equals(before)).toBe(true);
      await page.keyboard.press("Control+Shift+z");
      expect((await savedBytes(page)).equals(after)).toBe(true);
      await page.keyboard.press("Control+z");
    }
  });

  it("stretches about the other side by the grips of the box", async () => {
    const { page } = editor;
    await showCurves(page, kPath);
    await zoomTo(100, 30);
    const shown = await selectFrames(90, 110);
    await page.keyboard.press("t");
    await settle(page);
    const range = await page.evaluate(() => window.yfcurve!.document!.selectionRange());
    const grip = { x: Math.round(shown.x(range.stop)) + 10, y: Math.round((shown.y(range.least) + shown.y(range.greatest)) / 2) };
    const target = Math.round(shown.x((118 / kRate) * kTicks));
    await drag(page, [grip, { x: grip.x + target - Math.round(shown.x(range.stop)), y: grip.y }]);
    yfcurve("keys", kWalk, "--node", kPath, "--select", "90f:110f", "--stretch-time", "1.4@90f", "-o", kProgram);
    expect(await differenceToProgram()).toBe("");
  });

  it("leaves times alone that are between frames, where only values change", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await zoomTo(100, 4);
    await selectFrames(100, 100);
    await page.locator(".panel-keys").getByLabel("Time", { exact: true }).fill("100,25");
    await page.keyboard.press("Enter");
    const shown = await view(page);
    const { time, value } = await keysOf(page, track);
    const held = { x: Math.round(shown.x(time[100] ?? 0)), y: Math.round(shown.y(value[100] ?? 0)) };
    await drag(page, [held, { x: held.x + 5, y: held.y - 30 }], { keys: ["Shift"] });
    const after = await keysOf(page, track);
    expect(after.time[100]).toBe(time[100]);
    expect(after.value[100]).toBeGreaterThan(value[100] ?? 0);
    await drag(page, [{ x: held.x, y: Math.round(shown.y(after.value[100] ?? 0)) }, { x: held.x + 5, y: held.y }]);
    expect((await keysOf(page, track)).time[100]).toBe(Math.round(100 * (kTicks / kRate)));
  });

  it.each([
    { name: "scales by the scaling tool", tool: "e", words: (_shown: View, _y: number, up: number) => `--scale=${2 ** (up / 80)}` },
    { name: "levels by its tool", tool: "y", words: (shown: View, y: number, up: number) => `--set=${shown.value(y - up)}` },
  ])("$name", async ({ tool, words }) => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await zoomTo(100, 10);
    const shown = await selectFrames(96, 104);
    const keys = await keysOf(page, track);
    const held = { x: Math.round(shown.x(keys.time[100] ?? 0)), y: Math.round(shown.y(keys.value[100] ?? 0)) };
    await page.keyboard.press(tool);
    await drag(page, [held, { x: held.x + 9, y: held.y - 33 }]);
    yfcurve("keys", kWalk, "--node", kPath, "--select", "96f:104f", words(shown, held.y, 33), "-o", kProgram);
    expect(await differenceToProgram()).toBe("");
  });

  it("is taken back by Escape, leaves no step, and lets no command come in between", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await zoomTo(60, 10);
    const keys = await keysOf(page, track);
    const shown = await view(page);
    const before = await savedBytes(page);
    await page.mouse.move(shown.x(keys.time[60] ?? 0), shown.y(keys.value[60] ?? 0));
    await page.mouse.down();
    await page.mouse.move(shown.x(keys.time[64] ?? 0), shown.box.y + 20, { steps: 3 });
    expect((await keysOf(page, track)).value[60]).not.toBe(keys.value[60]);
    for (const key of ["Delete", "i", "Control+z", "0"]) await page.keyboard.press(key);
    await page.keyboard.press("Escape");
    await page.mouse.up();
    expect((await savedBytes(page)).equals(before)).toBe(true);
    expect(await undoCount()).toBe(0);
  });
});

describe("tangent handles", () => {
  it("follow the pointer; Alt breaks the key, Ctrl gives a weight", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await zoomTo(60, 3);
    const old = await keysOf(page, track);
    const shown = await view(page);
    const key = { x: shown.x(old.time[60] ?? 0), y: shown.y(old.value[60] ?? 0) };
    await page.mouse.click(key.x, key.y);
    await settle(page);
    const { grip, ...perPixel } = scaleOf(shown);
    const to = { x: Math.round(key.x + 40), y: Math.round(key.y - 30) };
    const slope = ((key.y - to.y) * perPixel.value) / ((to.x - key.x) * perPixel.seconds);

    await drag(page, [grip(key, old.rightSlope[60] ?? 0, 1), to]);
    const unified = await keysOf(page, track);
    expect(unified.rightSlope[60]).toBeCloseTo(slope, 2);
    expect(unified.leftSlope[60]).toBeCloseTo(slope, 2);

    const left = { x: Math.round(key.x - 40), y: Math.round(key.y + 5) };
    const leftSlope = ((left.y - key.y) * perPixel.value) / ((left.x - key.x) * perPixel.seconds) * -1;
    await drag(page, [grip(key, slope, -1), left], { keys: ["Alt"] });
    const broken = await keysOf(page, track);
    expect(broken.rightSlope[60]).toBe(unified.rightSlope[60]);
    expect(broken.leftSlope[60]).toBeCloseTo(leftSlope, 2);

    const segment = ((old.time[61] ?? 0) - (old.time[60] ?? 0)) / kTicks;
    await drag(page, [to, { x: to.x + 10, y: to.y }], { keys: ["Control"] });
    const weighted = await keysOf(page, track);
    expect(weighted.rightWeighted[60]).toBe(1);
    expect(weighted.rightWeight[60]).toBeCloseTo(Math.min(1, ((to.x + 10 - key.x) * perPixel.seconds) / segment), 3);
    expect(weighted.leftWeighted[60]).toBe(0);
    expect(await undoCount()).toBe(3);

    const mode = async (): Promise<string | undefined> => kModes[(await keysOf(page, track)).tangent[60] ?? -1];
    const isWeighted = async (): Promise<(number | undefined)[]> => {
      const keys = await keysOf(page, track);
      return [keys.leftWeighted[60], keys.rightWeighted[60]];
    };
    expect(await mode()).toBe("user-break");
    for (const unbroken of ["user", "user-break"]) {
      await page.keyboard.press("b");
      expect(await mode()).toBe(unbroken);
    }
    for (const both of [0, 1]) {
      await page.keyboard.press("w");
      expect(await isWeighted()).toEqual([both, both]);
    }
    const weight = page.getByLabel("Left weight", { exact: true });
    for (const text of ["-0,5", "1.5"]) {
      await weight.fill(text);
      await page.keyboard.press("Enter");
      expect(await weight.getAttribute("aria-invalid")).toBe("true");
    }
    await weight.fill("0.03");
    // Both before the fields are shown anew.
    await weight.evaluate((input) => {
      for (const key of ["Enter", "ArrowDown"]) input.dispatchEvent(new KeyboardEvent("keydown", { key, bubbles: true }));
    });
    await settle(page);
    expect(Number(await weight.inputValue()), "a step stays a weight").toBeCloseTo(0.01, 3);
    expect(await isWeighted()).toEqual([1, 1]);
  });
});

describe("the tangents of several keys", () => {
  it("follow the handle of one, as one step that Escape takes back, and fields tell where they differ", async () => {
    const { page } = editor;
    const [track = -1, other = -1] = await showCurves(page, kPath, kOther);
    await zoomTo(60, 3);
    await page.evaluate(
      ([one = 0, two = 0]) => {
        window.yfcurve!.document!.selectKeys("replace", [{ track: one, indices: [58, 60] }, { track: two, indices: [62] }]);
        window.yfcurve!.selectionChanged();
      },
      [track, other],
    );
    const shown = await view(page);
    const { seconds, value, grip } = scaleOf(shown);
    const before = await savedBytes(page);
    const slopes = async (): Promise<number[]> => {
      const [one, two] = [await keysOf(page, track), await keysOf(page, other)];
      return [58, 60].flatMap((index) => [one.leftSlope[index]!, one.rightSlope[index]!]).concat(two.leftSlope[62]!, two.rightSlope[62]!);
    };
    const old = await slopes();
    const keys = await keysOf(page, track);
    const key = { x: shown.x(keys.time[60] ?? 0), y: shown.y(keys.value[60] ?? 0) };
    const from = grip(key, old[3] ?? 0, 1);
    const to = { x: Math.round(key.x + 40), y: Math.round(key.y - 30) };
    const risen = ((key.y - to.y) * value) / ((to.x - key.x) * seconds) - old[3]!;

    await page.mouse.move(from.x, from.y);
    await page.mouse.down();
    await page.mouse.move(to.x, to.y, { steps: 3 });
    expect(await slopes()).not.toEqual(old);
    await page.keyboard.press("Escape");
    await page.mouse.up();
    expect((await savedBytes(page)).equals(before)).toBe(true);

    await drag(page, [from, to]);
    const turned = await slopes();
    old.forEach((slope, index) => expect(turned[index]).toBeCloseTo(slope + risen, 2));
    expect(await undoCount()).toBe(1);
    const field = page.locator(".panel-keys").getByLabel("Right slope", { exact: true });
    expect([await field.inputValue(), await field.getAttribute("placeholder")]).toEqual(["", "mixed"]);
    await field.fill("+=5");
    await page.keyboard.press("Enter");
    (await slopes()).forEach((slope, index) => expect(slope).toBeCloseTo(turned[index]! + 5, 2));
    for (let step = 0; step < 2; ++step) await page.evaluate(() => window.yfcurve!.commands.run("edit.undo"));
    expect((await savedBytes(page)).equals(before)).toBe(true);
  });
});

describe("a drag on a locked layer", () => {
  it("is refused once, by key and by handle, and leaves no step", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await zoomTo(60, 3);
    await page.evaluate((id) => {
      const app = window.yfcurve!;
      app.run("Flat", () => app.document!.setKeys([{ track: id, indices: [60] }], { leftSlope: 0, rightSlope: 0 }));
      app.document!.selectKeys("replace", [{ track: id, indices: [60] }]);
      app.run("Lock", () => app.document!.setLayer(0, { locked: true }));
    }, track);
    const keys = await keysOf(page, track);
    const shown = await view(page);
    const key = { x: Math.round(shown.x(keys.time[60] ?? 0)), y: Math.round(shown.y(keys.value[60] ?? 0)) };
    for (const held of [key, { x: key.x + 46, y: key.y }]) {
      const messages = await page.evaluateHandle(() => {
        const texts: (string | null)[] = [];
        new MutationObserver((changes) => changes.forEach(({ target }) => texts.push(target.textContent))).observe(
          document.querySelector(".status-message")!,
          { childList: true, characterData: true, subtree: true },
        );
        return texts;
      });
      await drag(page, [held, { x: held.x + 20, y: held.y - 30 }]);
      expect(await messages.jsonValue()).toEqual([expect.stringMatching(/locked/)]);
    }
    expect(await keysOf(page, track)).toEqual(keys);
    expect(await undoCount()).toBe(2);
  });
});

describe("keys, menu and fields", () => {
  const isChosen = (index: number): boolean => index >= 50 && index <= 52;
  const chosen = (curve: Curve): KeyRow[] => curve.keys.filter((_, index) => isChosen(index));
  interface Edit {
    name: string;
    act: () => Promise<void>;
    change: (curve: Curve) => void;
  }
  /** Keys that are moved take the place of those that they come to. */
  const movedByKey = (name: string, frames: number): Edit => ({
    name,
    act: () => editor.page.keyboard.press(name),
    change: (curve) => {
      const moved = chosen(curve);
      const others = curve.keys.filter((_, index) => !isChosen(index) && !isChosen(index - frames));
      for (const key of moved) {
        key.ticks += (frames * kTicks) / kRate;
        delete key.seconds;
      }
      curve.keys = [...others, ...moved].sort((a, b) => a.ticks - b.ticks);
    },
  });
  const kEdits: Edit[] = [
    {
      name: "flat tangents by key",
      act: () => editor.page.keyboard.press("0"),
      change: (curve) =>
        curve.keys.forEach((key, index, keys) => {
          if (!isChosen(index)) return;
          Object.assign(key, { tangent: "user", right: 0 });
          Object.assign(keys[index - 1] ?? {}, { nextLeft: 0 });
        }),
    },
    {
      name: "constant interpolation by menu",
      act: async () => {
        await editor.page.getByRole("menuitem", { name: "Tangents", exact: true }).click();
        await editor.page.getByRole("menuitem", { name: "Constant, next value" }).click();
      },
      change: (curve) => chosen(curve).forEach((key) => Object.assign(key, { interpolation: "constant", constant: "next" })),
    },
    {
      name: "a value typed with a comma",
      act: () => typeInto(editor.page, "Value", "12,25"),
      change: (curve) => chosen(curve).forEach((key) => (key.value = 12.25)),
    },
    {
      name: "a change of values that differ",
      act: () => typeInto(editor.page, "Value", "*=2"),
      change: (curve) => chosen(curve).forEach((key) => (key.value *= 2)),
    },
    {
      name: "a time typed as frames with a fraction",
      act: () => typeInto(editor.page, "Time", "49,5"),
      change: (curve) =>
        chosen(curve).forEach((key) => {
          key.ticks -= kTicks / kRate / 2;
          delete key.seconds;
        }),
    },
    movedByKey("Alt+Shift+ArrowRight", 10),
    {
      name: "deleting",
      act: () => editor.page.keyboard.press("Delete"),
      change: (curve) => (curve.keys = curve.keys.filter((_, index) => !isChosen(index))),
    },
    {
      name: "extrapolation by context menu",
      act: async () => {
        const shown = await view(editor.page);
        await editor.page.mouse.click(shown.box.x + 30, shown.box.y + 8, { button: "right" });
        await editor.page.getByRole("menuitem", { name: "Extrapolation" }).click();
        await editor.page.getByRole("menuitem", { name: "After the last key" }).click();
        await editor.page.getByRole("menuitemcheckbox", { name: "Mirrored repetition" }).click();
      },
      change: (curve) => (curve.post = { mode: "mirrorRepetition", count: -1 }),
    },
  ];

  it.each(kEdits)("make what the program makes: $name", async ({ act, change }) => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await selectKeys(page, track, 50, 51, 52);
    await act();
    await settle(page);
    programWithKeys(kPath, change);
    expect(await differenceToProgram()).toBe("");
    expect(await undoCount()).toBe(1);
  });

  it("inserts without bending where a curve is double-clicked", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    const old = await keysOf(page, track);
    await page.evaluate((id) => {
      const app = window.yfcurve!;
      app.run("Thin", () => app.document!.deleteKeys([{ track: id, indices: Array.from({ length: 39 }, (_, index) => 41 + index) }]));
    }, track);
    const values = (): Promise<number[]> =>
      page.evaluate((id) => {
        const times = Array.from({ length: 200 }, (_, index) => Math.round((0.2 + index * 0.004) * 46_186_158_000));
        return Array.from(window.yfcurve!.document!.evaluate(id, times));
      }, track);
    const before = await values();
    const shown = await view(page);
    const time = old.time[60] ?? 0;
    const [value = 0] = await page.evaluate(([id = 0, at = 0]) => Array.from(window.yfcurve!.document!.evaluate(id, [at])), [track, time]);
    await page.mouse.dblclick(Math.round(shown.x(time)), Math.round(shown.y(value)));
    await settle(page);
    expect(await selection(page)).toEqual([`${track}:41`]);
    expect((await keysOf(page, track)).time[41]).toBe(time);
    const after = await values();
    after.forEach((number, index) => expect(number).toBeCloseTo(before[index] ?? 0, 3));
  });

  it("copies to another curve, with the forms of the keys", async () => {
    const { page } = editor;
    const [track = -1] = await showCurves(page, kPath);
    await selectKeys(page, track, 10, 11, 12);
    await page.keyboard.press("Control+c");
    const [other = -1] = await showCurves(page, kOther);
    await page.evaluate(() => window.yfcurve!.setTime(window.yfcurve!.document!.frameTime(100)));
    await page.keyboard.press("Control+Shift+v");
    await settle(page);
    expect(await selection(page)).toEqual([100, 101, 102].map((index) => `${other}:${index}`));
    programWithKeys(kOther, (curve, all) => {
      const from = all.find((candidate) => candidate.path === kPath);
      for (const offset of [0, 1, 2]) Object.assign(curve.keys[100 + offset] ?? {}, { value: from?.keys[10 + offset]?.value });
    });
    expect(await differenceToProgram()).toBe("");
  });
});
