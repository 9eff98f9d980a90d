import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { beforeEach, describe, expect, it } from "vitest";
import type { UndoState } from "../src/engine/engine";
import { difference, kWalk, openWalk, savedBytes, scratchFolder, settle, sharedEditor, yfcurve } from "./page";

const folder = scratchFolder();
const kHere = join(folder, "page.ytalo");
const kThere = join(folder, "program.ytalo");

/** Sines of the browser's mathematical library are rounded otherwise than those of the system's, and fits make more of it. */
const kRounding = ["--tolerance", "1e-4"];

const editor = sharedEditor();
beforeEach(() => openWalk(editor));

/** Saves what the page has, and gives how it differs from what the program has made; empty for not at all. */
async function differenceToProgram(...options: string[]): Promise<string> {
  writeFileSync(kHere, await savedBytes(editor.page));
  return difference(kHere, kThere, ...options);
}

const undoState = (): Promise<UndoState> => editor.page.evaluate(() => window.yfcurve!.document!.undoState());

async function undoAll(): Promise<void> {
  for (let steps = (await undoState()).undoCount; steps > 0; --steps) await editor.page.evaluate(() => window.yfcurve!.commands.run("edit.undo"));
}

async function chooseJoints(...names: string[]): Promise<void> {
  await editor.page.evaluate((wanted) => {
    const app = window.yfcurve!;
    app.chooseJoints(
      app.document!.joints.flatMap((joint, i) => (wanted.includes(joint.name) ? [i] : [])),
      true,
    );
  }, names);
}

describe("layers", () => {
  beforeEach(() => editor.page.click("#tab-layers"));

  it("are what the program makes of the same commands, and undo brings every bit back", async () => {
    const { page } = editor;
    const before = await savedBytes(page);
    await page.evaluate(() => window.yfcurve!.showTracks([]));
    await page.click("[aria-label='Add a layer']");
    await page.fill(".layer-details input[type=text] >> nth=0", "Breathing");
    await page.keyboard.press("Enter");
    await page.selectOption(".layer-details select >> nth=0", "weighted-override");
    await page.selectOption(".layer-details select >> nth=1", "by-channel");
    await page.fill(".layer-weight input[type=text]", "0,25");
    await page.keyboard.press("Enter");
    for (let i = 0; i < 3; ++i) {
      await page.click("[aria-label='Lock Breathing']");
      expect((await undoState()).undo).toBe(`${i === 1 ? "Unlock" : "Lock"} Breathing`);
    }
    await page.click("[aria-label='Mute BaseAnimation']");
    await page.click("[aria-label='Solo Breathing']");
    yfcurve("layer", "add", kWalk, "Breathing", "--mode", "weighted-override", "--rotations", "by-channel", "--weight", "0.25", "-o", kThere);
    for (const [act, layer] of [["lock", "Breathing"], ["mute", "BaseAnimation"], ["solo", "Breathing"]] as const) yfcurve("layer", act, kThere, layer);
    expect(await differenceToProgram()).toBe("");
    await undoAll();
    expect((await savedBytes(page)).equals(before)).toBe(true);
    expect(await page.locator(".layer").count()).toBe(1);
  });

  it("are baked and merged as the program does", async () => {
    const { page } = editor;
    await page.evaluate(() => window.yfcurve!.showTracks([]));
    await page.click("[aria-label='Add a layer']");
    await page.selectOption(".layer-details select >> nth=0", "override");
    await page.click("summary:text('Bake')");
    await page.fill(".layer-fold[open] input[type=text]", "0,05");
    await page.click("text=Bake into the layer");
    yfcurve("layer", "add", kWalk, "Layer 1", "--mode", "override", "-o", kThere);
    yfcurve("plot-into-layer", kThere, "Layer 1", "--tolerance", "0.05");
    expect(await differenceToProgram(...kRounding)).toBe("");
    expect(await page.textContent(".layer-report")).toMatch(/^22 properties baked/);
    await page.click("summary:text('Bake')");
    await page.click("summary:text('Merge')");
    const base = page.locator(".layer-merge").getByLabel("BaseAnimation");
    await base.uncheck();
    await page.click("[aria-label='Lock BaseAnimation']");
    expect(await base.isChecked()).toBe(false);
    await page.keyboard.press("Control+z");
    await base.check();
    await page.click("text=Merge the layers");
    yfcurve("layer", "merge", kThere, "0", "1");
    expect(await differenceToProgram(...kRounding)).toBe("");
    expect(await page.locator(".layer").count()).toBe(1);
    expect(await page.textContent(".layer-report")).toMatch(/^22 properties merged/);
    await page.keyboard.press("Control+z");
    expect(await page.textContent(".layer-report")).toBe("");
  });

  it("take the properties of chosen joints alone, and a drag of the weight is one step", async () => {
    const { page } = editor;
    await chooseJoints("Head", "LeftHand");
    await page.click("[aria-label='Add a layer']");
    expect(await page.textContent(".layer-properties")).toBe("2 properties");
    const steps = (await undoState()).undoCount;
    const box = (await page.locator(".layer-weight input[type=range]").boundingBox())!;
    await page.mouse.move(box.x + box.width - 8, box.y + box.height / 2);
    await page.mouse.down();
    for (const part of [0.8, 0.6, 0.5]) await page.mouse.move(box.x + box.width * part, box.y + box.height / 2);
    await page.mouse.up();
    expect((await undoState()).undoCount).toBe(steps + 1);
    const weight = await page.evaluate(() => window.yfcurve!.document!.layerWeight(1, 0));
    expect(Math.abs(weight - 0.5)).toBeLessThan(0.05);
    await page.click("[aria-label='Key the weight here']");
    await page.evaluate(() => window.yfcurve!.setTime(46_186_158_000));
    await page.fill(".layer-weight input[type=text]", "1");
    await page.keyboard.press("Enter");
    expect(await page.textContent(".layer-weight-state")).toMatch(/^2 keys/);
    await page.click("[aria-label='Show the curve of the weight']");
    expect(await page.evaluate(() => window.yfcurve!.track(window.yfcurve!.activeTrack)!.isWeight)).toBe(true);
    await page.fill(".layer-weight input[type=text]", "1.5");
    await page.keyboard.press("Enter");
    expect(await page.textContent(".layer-weight .field-problem")).toMatch(/0 to 1/);
    await page.keyboard.press("Escape");
    expect(await page.inputValue(".layer-weight input[type=text]")).toBe("1");
    expect(await page.textContent(".layer-weight .field-problem")).toBe("");
    await page.focus(".layer-name");
    await page.keyboard.press("F2");
    await page.keyboard.type("Nod");
    await page.keyboard.press("Escape");
    await page.keyboard.type("Turn");
    await page.keyboard.press("Tab");
    expect(await page.evaluate(() => window.yfcurve!.document!.layers()[1]!.name)).toBe("Turn");
  });
});

describe("filters", () => {
  beforeEach(() => editor.page.click("#tab-filters"));

  const choose = async (filter: string, scope: "all" | "shown" | "joints"): Promise<void> => {
    await editor.page.selectOption("select:has(option[value=butterworth])", filter);
    await editor.page.selectOption("select:has(option[value=joints])", scope);
  };
  const field = (label: string) => editor.page.getByLabel(label, { exact: true });

  it("do what the program does, in one step", async () => {
    const { page } = editor;
    const before = await savedBytes(page);
    await choose("butterworth", "all");
    await field("Cut off freq").fill("4,5");
    await field("Start").fill("30f");
    await page.check(".filter-unroll input");
    await page.click(".filters >> text=Apply >> nth=-1");
    yfcurve("filter", kWalk, kThere, "--unroll-first", "--apply", "butterworth:CutOffFreq=4.5,Start=30f");
    expect(await differenceToProgram()).toBe("");
    expect(await undoState()).toMatchObject({ undo: "butterworth", undoCount: 1 });
    await page.uncheck(".filter-unroll input");
    await chooseJoints("LeftFoot", "LeftToe");
    await choose("key-reducer", "joints");
    await field("Precision").fill("0.2");
    await page.keyboard.press("Control+Enter");
    yfcurve("filter", kThere, kThere, "--apply", "key-reducer:Precision=0.2", "--node", "LeftFoot", "--node", "LeftToe");
    expect(await differenceToProgram()).toBe("");
    await undoAll();
    expect((await savedBytes(page)).equals(before)).toBe(true);
  });

  it("are previewed beside what is there, with errors in the world, and change nothing", async () => {
    const { page } = editor;
    const revision = await page.evaluate(() => window.yfcurve!.document!.revision);
    await choose("butterworth", "all");
    await field("Cut off freq").fill("3");
    await page.click("text=Preview");
    const report = JSON.parse(yfcurve("filter", kWalk, "--dry-run", "--json", "--apply", "butterworth:CutOffFreq=3"));
    const row = await page.locator(".report-table").first().locator("tbody tr").first().innerText();
    const [joint, largest] = row.split(/\s+/);
    expect(joint).toBe(report.world.joint);
    expect(Number(largest)).toBeCloseTo(report.world.largest, 2);
    const places = await page.evaluate((time) => {
      const document = window.yfcurve!.document!;
      return (["current", "preview"] as const).map((version) => [...document.positions(time, version)]);
    }, Math.round(report.world.time * 46_186_158_000));
    const index = await page.evaluate((name) => window.yfcurve!.document!.joints.findIndex((other) => other.name === name), joint);
    const apart = Math.hypot(...[0, 1, 2].map((axis) => places[0]![3 * index! + axis]! - places[1]![3 * index! + axis]!));
    expect(apart).toBeCloseTo(report.world.largest, 2);
    await page.locator(".report-link").first().click();
    expect(await page.evaluate(() => window.yfcurve!.time)).toBe(Math.round(report.world.time * 46_186_158_000));
    const shown = (await page.locator(".motion-info").evaluate((info) => (info as HTMLOutputElement).value)).split(/\s+/).slice(-3).map(Number);
    shown.forEach((value, axis) => expect(value, "the motion view shows the preview").toBeCloseTo(places[1]![3 * index! + axis]!, 2));
    await page.click("text=Close preview");
    expect(await page.evaluate(() => [window.yfcurve!.document!.revision, window.yfcurve!.preview])).toEqual([revision, undefined]);
  });

  it("keep what is typed whatever is preferred, and no preview comes back after its filter was applied", async () => {
    const { page } = editor;
    await choose("butterworth", "all");
    await field("Cut off freq").fill("3");
    await field("Start").fill("30");
    await page.evaluate(() => window.yfcurve!.preferences.set("timeUnit", "seconds"));
    expect(await field("Start").inputValue()).toBe("0.250 s");
    await page.evaluate(() => window.yfcurve!.preferences.set("timeUnit", "frames"));
    expect([await field("Cut off freq").inputValue(), await field("Start").inputValue()]).toEqual(["3", "30"]);
    await page.evaluate(() => window.yfcurve!.run("Rate", () => window.yfcurve!.document!.setFrameRate("60")));
    expect(await field("Start").inputValue(), "the same time").toBe("15");
    await undoAll();
    expect(await field("Start").inputValue()).toBe("30");
    await page.click("text=Preview");
    await field("Cut off freq").fill("4");
    await page.keyboard.press("Control+Enter");
    await page.waitForTimeout(500);
    expect(await page.evaluate(() => window.yfcurve!.preview)).toBeUndefined();
    yfcurve("filter", kWalk, kThere, "--apply", "butterworth:CutOffFreq=4,Start=30f");
    expect(await differenceToProgram()).toBe("");
    await undoAll();
    expect(await page.locator(".report-table").count()).toBe(0);
  });

  it("go to the layer that is chosen, and are refused there in words where they cannot", async () => {
    const { page } = editor;
    await chooseJoints("Hips");
    await page.click("#tab-layers");
    await page.click("[aria-label='Add a layer']");
    const [track = -1, base = -1] = await page.evaluate(() => {
      const app = window.yfcurve!;
      const onLayer = (layer: number): number => app.tracks.find((each) => each.layer === layer && each.path === "Hips/Lcl Translation/X")!.id;
      const ids = [onLayer(1), onLayer(0)];
      app.run("Keys", () => [1, 3].forEach((value, second) => app.document!.addKey(ids[0]!, second * 46_186_158_000, value)));
      return ids;
    });
    const values = (id: number): Promise<number[]> => page.evaluate((wanted) => [...window.yfcurve!.document!.keys(wanted).value], id);
    const below = await values(base);
    const before = await savedBytes(page);
    const steps = (await undoState()).undoCount;
    await page.click("#tab-filters");
    await choose("offset", "shown");
    await page.getByLabel(/^Offset/).fill("10");
    await page.click("text=Preview");
    const hips = await page.evaluate(() => (["preview", "current"] as const).map((version) => window.yfcurve!.document!.positions(0, version)[0]!));
    expect(hips[0]! - hips[1]!).toBeCloseTo(10, 3);
    expect(await values(track)).toEqual([1, 3]);
    await page.click(".filters >> text=Apply >> nth=-1");
    expect(await values(track)).toEqual([11, 13]);
    expect(await values(base)).toEqual(below);
    expect((await undoState()).undoCount).toBe(steps + 1);
    await page.evaluate(() => window.yfcurve!.commands.run("edit.undo"));
    expect((await savedBytes(page)).equals(before)).toBe(true);

    const state = async (): Promise<[string | null, boolean]> => [await page.textContent(".filter-problem"), await page.isDisabled(".filters .main-button")];
    expect(await state()).toEqual(["", false]);
    expect(await page.isDisabled("option[value=trs]")).toBe(true);
    await page.getByLabel("On the layer").selectOption("0");
    await choose("trs", "all");
    expect(await page.evaluate(() => window.yfcurve!.layer)).toBe(0);
    expect(await state()).toEqual(["", false]);
    await page.getByLabel("On the layer").selectOption("1");
    expect(await state()).toEqual([expect.stringMatching(/whole joints/), true]);
    await choose("offset", "all");
    expect(await state()).toEqual(["", false]);
    await page.evaluate(() => window.yfcurve!.run("Lock", () => window.yfcurve!.document!.setLayer(1, { locked: true })));
    expect(await state()).toEqual([expect.stringMatching(/Layer 1 is locked/), true]);
    await page.getByLabel(/^Offset/).press("Control+Enter");
    expect(await values(track)).toEqual([1, 3]);
  });

  it("say what is wrong where it was typed, and do nothing then", async () => {
    const { page } = editor;
    await choose("butterworth", "all");
    const order = field("Order of filter");
    await order.fill("40");
    await page.click(".filters >> text=Apply >> nth=-1");
    expect(await page.locator(".parameter", { has: order }).locator(".parameter-problem").textContent()).toMatch(/1 to 18/);
    await order.fill("");
    await page.evaluate(() => window.yfcurve!.showTracks([]));
    await choose("butterworth", "shown");
    await page.click(".filters >> text=Apply >> nth=-1");
    expect(await page.textContent(".filter-problem")).toMatch(/No curve is shown/);
    expect((await undoState()).undoCount).toBe(0);
    await settle(page);
  });
});
