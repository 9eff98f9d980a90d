import { writeFileSync } from "node:fs";
import { join } from "node:path";
import type { CDPSession, Page } from "playwright-core";
import { describe, expect, it } from "vitest";
import { kWalk, openEditor, openFile, scratchFolder, settle } from "./page";

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

function part(values: number[], share: number): number {
  const sorted = [...values].sort((a, b) => a - b);
  return sorted[Math.min(sorted.length - 1, Math.floor(share * sorted.length))] ?? NaN;
}

/** A recording of 32 joints that turn about three axes each. */
function manyKeys(): string {
  const joints = Array.from({ length: kCurves / 3 }, (_, joint) => joint);
  const open = joints.map((joint) => `${joint === 0 ? "ROOT" : "JOINT"} J${joint}\n{\nOFFSET 0 ${joint === 0 ? 0 : 5} 0\nCHANNELS 3 Zrotation Xrotation Yrotation\n`);
  const hierarchy = `HIERARCHY\n${open.join("")}End Site\n{\nOFFSET 0 5 0\n}\n${"}\n".repeat(joints.length)}`;
  const rows = Array.from({ length: kKeys }, (_, frame) =>
    Array.from({ length: kCurves }, (_, curve) => (20 * Math.sin(frame * 0.02 + curve) + 3 * Math.sin(frame * (0.7 + curve * 0.01))).toFixed(2)).join(" "),
  );
  return `${hierarchy}MOTION\nFrames: ${kKeys}\nFrame Time: 0.00833333\n${rows.join("\n")}\n`;
}

describe("frame times", () => {
  it("are printed for a graph of many keys and for playing", async () => {
    const editor = await openEditor();
    const { page } = editor;
    const watch = await Stopwatch.on(page);
    const print = (what: string, pictures: Spent[]): void => {
      const ratio = (name: keyof Spent, share: number): string => {
        const milliseconds = part(pictures.map((picture) => picture[name]), share);
        return `${milliseconds.toFixed(1)} ms (${(milliseconds / kBudget).toFixed(2)} of the budget)`;
      };
      console.log(
        `${what}: scripts ${ratio("scripts", 0.5)}, at most ${ratio("scripts", 1)}; rest of the page's thread ${ratio("rest", 0.5)}; other threads ${ratio("besides", 0.5)}`,
      );
    };
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
      await page.focus(".motion-surface");
      await page.keyboard.press("Space");
      const pictures: Spent[] = [];
      for (let picture = 0; picture < kTurns; ++picture) pictures.push(await watch.spentIn(() => settle(page)));
      await page.keyboard.press("Space");
      print(what, pictures);
    };
    await openFile(page, kWalk);
    await measurePlaying("playing the walk");
    const file = join(scratchFolder(), "many.bvh");
    writeFileSync(file, manyKeys());
    await openFile(page, file);
    await page.evaluate(() => window.yfcurve!.showTracks(window.yfcurve!.tracks.map((track) => track.id)));
    expect(await page.evaluate(() => window.yfcurve!.visibleTracks.length)).toBe(kCurves);
    await settle(page);
    const box = (await page.locator(".panel-graph").boundingBox())!;
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    const what = `${kCurves} curves of ${kKeys.toLocaleString("en-US")} keys`;
    await measureWheel(`panning ${what}, all in sight`, 60, 0);
    await measureWheel(`zooming in on ${what}`, 0, -120);
    await measureWheel(`panning ${what}, zoomed in`, 60, 0);
    await measureWheel(`zooming out of ${what}`, 0, 120);
    await measurePlaying(`playing ${what}`);
    expect(editor.faults).toEqual([]);
    await editor.close();
  }, 600_000);
});
