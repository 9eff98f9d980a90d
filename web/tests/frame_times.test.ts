import { writeFileSync } from "node:fs";
import { join } from "node:path";
import type { CDPSession, Page } from "playwright-core";
import { describe, expect, it } from "vitest";
import { keysOf, view } from "./graph_page";
import { faultsOf, kWalk, openEditor, openFile, scratchFolder, settle } from "./page";

const kBudget = 1000 / 60;
const kTurns = 12;
const kCurves = 96;
const kKeys = 50_000;

/** What a stretch of time took of the page's processor time, in milliseconds. */
interface Spent {
  /** The scripts of the page, the engine among them. */
  scripts: number;
  /** What else the page's own thread did: painting canvases without a graphics card, layout, waking up. */
  rest: number;
  /** What the page's other threads did: putting the picture together, collecting garbage. */
  besides: number;
}

/** Reads the processor time of the page, which other programs on the machine do not lengthen as they do the clock's. */
class Stopwatch {
  private constructor(private readonly session: CDPSession) {}

  static async on(page: Page): Promise<Stopwatch> {
    const session = await page.context().newCDPSession(page);
    await session.send("Performance.enable", { timeDomain: "threadTicks" });
    return new Stopwatch(session);
  }

  async spentIn(act: () => Promise<void>): Promise<Spent> {
    const before = await this.read();
    await act();
    const after = await this.read();
    const passed = (name: string): number => 1000 * ((after.get(name) ?? 0) - (before.get(name) ?? 0));
    const scripts = passed("ScriptDuration");
    const own = passed("TaskDuration");
    return { scripts, rest: own - scripts - passed("DevToolsCommandDuration"), besides: passed("ProcessTime") - own };
  }

  private async read(): Promise<Map<string, number>> {
    const { metrics } = await this.session.send("Performance.getMetrics");
    return new Map(metrics.map(({ name, value }) => [name, value]));
  }
}

/** A recording of joints that turn about three axes each. */
function manyKeys(curves = kCurves): string {
  const joints = Array.from({ length: curves / 3 }, (_, joint) => joint);
  const open = joints.map((joint) => `${joint === 0 ? "ROOT" : "JOINT"} J${joint}\n{\nOFFSET 0 ${joint === 0 ? 0 : 5} 0\nCHANNELS 3 Zrotation Xrotation Yrotation\n`);
  const hierarchy = `HIERARCHY\n${open.join("")}End Site\n{\nOFFSET 0 5 0\n}\n${"}\n".repeat(joints.length)}`;
  const rows = Array.from({ length: kKeys }, (_, frame) =>
    Array.from({ length: curves }, (_, curve) => (20 * Math.sin(frame * 0.02 + curve) + 3 * Math.sin(frame * (0.7 + curve * 0.01))).toFixed(2)).join(" "),
  );
  return `${hierarchy}MOTION\nFrames: ${kKeys}\nFrame Time: 0.00833333\n${rows.join("\n")}\n`;
}

function print(what: string, pictures: Spent[]): void {
  const told = Object.entries({ scripts: "scripts", rest: "rest of the page's thread", besides: "other threads" }).map(([name, title]) => {
    const sorted = pictures.map((picture) => picture[name as keyof Spent]).sort((a, b) => a - b);
    const [middle = NaN, most = NaN] = [sorted[Math.floor(sorted.length / 2)], sorted.at(-1)];
    return `${title} ${middle.toFixed(1)} ms (${(middle / kBudget).toFixed(2)} of the budget), at most ${most.toFixed(1)} ms`;
  });
  console.log(`${what}: ${told.join("; ")}`);
}

/** Opens a file of many keys and shows all of its curves. */
async function openMany(page: Page, curves: number): Promise<void> {
  const file = join(scratchFolder(), "many.bvh");
  writeFileSync(file, manyKeys(curves));
  await openFile(page, file);
  await page.evaluate(() => window.yfcurve!.showTracks(window.yfcurve!.tracks.map((track) => track.id)));
  expect(await page.evaluate(() => window.yfcurve!.visibleTracks.length)).toBe(curves);
  await settle(page);
}

// A skeleton of so many pixels takes a second without a graphics card, and the graph is what is measured.
describe.each([
  { width: 1400, height: 860, webgl: true },
  { width: 3840, height: 2160, webgl: false },
])("frame times at $width x $height", ({ webgl, ...viewport }) => {
  it("are printed for a graph of many keys and for playing", async () => {
    const editor = await openEditor({ viewport, webgl });
    const { page } = editor;
    const watch = await Stopwatch.on(page);
    /** Every turn of a wheel is a picture; panning goes there and back, so that the curves stay in sight. */
    const measureWheel = async (what: string, x: number, y: number): Promise<void> => {
      const pictures: Spent[] = [];
      for (let turn = 0; turn < kTurns; ++turn) {
        const view = await page.getAttribute(".graph-area", "data-window");
        const turnOnce = async (): Promise<void> => {
          await page.mouse.wheel(turn < kTurns / 2 ? x : -x, y);
          await page.waitForFunction((old) => document.querySelector(".graph-area")?.getAttribute("data-window") !== old, view);
        };
        pictures.push(await watch.spentIn(turnOnce));
      }
      print(what, pictures);
    };
    const measurePlaying = async (what: string): Promise<void> => {
      if (!webgl) return;
      await page.focus(".motion-surface");
      await page.keyboard.press("Space");
      const pictures: Spent[] = [];
      for (let picture = 0; picture < kTurns; ++picture) pictures.push(await watch.spentIn(() => settle(page)));
      await page.keyboard.press("Space");
      print(what, pictures);
    };
    await openFile(page, kWalk);
    await measurePlaying("playing the walk");
    await openMany(page, kCurves);
    const box = (await page.locator(".panel-graph").boundingBox())!;
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    const what = `${kCurves} curves of ${kKeys.toLocaleString("en-US")} keys`;
    await measureWheel(`panning ${what}, all in sight`, 60, 0);
    await measureWheel(`zooming in on ${what}`, 0, -120);
    await measureWheel(`panning ${what}, zoomed in`, 60, 0);
    await measureWheel(`zooming out of ${what}`, 0, 120);
    await measurePlaying(`playing ${what}`);
    expect(faultsOf(editor)).toEqual([]);
    await editor.close();
  }, 600_000);

  it("are printed for dragging half of the keys", async () => {
    const curves = 66;
    const editor = await openEditor({ viewport, webgl });
    const { page } = editor;
    await openMany(page, curves);
    const shown = await view(page);
    const track = await page.evaluate(() => {
      const app = window.yfcurve!;
      const { start, stop, least, greatest } = app.document!.range(app.visibleTracks);
      app.document!.selectBox("replace", app.visibleTracks, { start, stop: (start + stop) / 2, low: least, high: greatest });
      app.selectionChanged();
      return app.visibleTracks[0]!;
    });
    const before = await keysOf(page, track);
    const key = kKeys / 4;
    const place = { x: shown.x(before.time[key]!), y: shown.y(before.value[key]!) };
    const watch = await Stopwatch.on(page);
    await page.mouse.move(place.x, place.y);
    await page.mouse.down();
    const pictures: Spent[] = [];
    for (let step = 1; step <= kTurns; ++step) {
      pictures.push(
        await watch.spentIn(async () => {
          await page.mouse.move(place.x, place.y + 3 * step);
          await settle(page);
        }),
      );
    }
    const release = await watch.spentIn(async () => {
      await page.mouse.up();
      await settle(page);
    });
    const after = await keysOf(page, track);
    expect(after.value[key]).toBeLessThan(before.value[key]!);
    expect(after.value[kKeys - 1]).toBe(before.value[kKeys - 1]);
    const what = `half of ${curves} curves of ${kKeys.toLocaleString("en-US")} keys`;
    print(`grabbing ${what}`, pictures.slice(0, 1));
    print(`dragging ${what}`, pictures.slice(1));
    print(`letting ${what} go`, [release]);
    expect(faultsOf(editor)).toEqual([]);
    await editor.close();
  }, 600_000);
});
