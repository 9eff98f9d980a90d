import { writeFileSync } from "node:fs";
import { join } from "node:path";
import { describe, expect, it } from "vitest";
import { kWalk, openEditor, openFile, scratchFolder, settle } from "./page";

const kBudget = 1000 / 60;
/** A frame whose scripts take less, in milliseconds, has nothing to draw. */
const kIdle = 0.4;
const kCurves = 96;
const kKeys = 50_000;

declare global {
  interface Window {
    /** Of each frame: when it began, and how long the scripts of the page took in it, in milliseconds. */
    measuredFrames?: { at: number; work: number }[];
  }
}

/** Takes the time of everything that the page does in animation frames. */
function measureFrames(): void {
  window.measuredFrames = [];
  const original = window.requestAnimationFrame.bind(window);
  window.requestAnimationFrame = (callback) =>
    original((now) => {
      const start = performance.now();
      callback(now);
      const work = performance.now() - start;
      const last = window.measuredFrames!.at(-1);
      if (last?.at === now) last.work += work;
      else window.measuredFrames!.push({ at: now, work });
    });
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
    const editor = await openEditor({ before: measureFrames });
    const { page } = editor;
    const measure = async (what: string, act: () => Promise<void>): Promise<void> => {
      await settle(page);
      await page.evaluate(() => (window.measuredFrames = []));
      await act();
      const frames = await page.evaluate(() => window.measuredFrames!);
      const work = frames.map((frame) => frame.work).filter((milliseconds) => milliseconds > kIdle);
      const between = frames.slice(1).map((frame, i) => frame.at - frames[i]!.at);
      const ratio = (milliseconds: number): string => `${milliseconds.toFixed(1)} ms, ${(milliseconds / kBudget).toFixed(2)} of the budget`;
      console.log(
        `${what}: ${work.length} pictures; scripts: median ${ratio(part(work, 0.5))}; 95 of 100 within ${ratio(part(work, 0.95))}; from frame to frame: median ${ratio(part(between, 0.5))}`,
      );
      expect(work.length).toBeGreaterThan(2);
    };
    const play = async (): Promise<void> => {
      await page.focus(".motion-surface");
      await page.keyboard.press("Space");
      await page.waitForTimeout(3000);
      await page.keyboard.press("Space");
    };
    await openFile(page, kWalk);
    await measure("playing the walk", play);
    const file = join(scratchFolder(), "many.bvh");
    writeFileSync(file, manyKeys());
    await openFile(page, file);
    await page.evaluate(() => window.yfcurve!.showTracks(window.yfcurve!.tracks.map((track) => track.id)));
    expect(await page.evaluate(() => window.yfcurve!.visibleTracks.length)).toBe(kCurves);
    const box = (await page.locator(".panel-graph").boundingBox())!;
    await page.mouse.move(box.x + box.width / 2, box.y + box.height / 2);
    const wheel = (x: number, y: number) => async (): Promise<void> => {
      for (let turn = 0; turn < 6; ++turn) {
        await page.mouse.wheel(x, y);
        await settle(page);
      }
    };
    const what = `${kCurves} curves of ${kKeys.toLocaleString("en-US")} keys`;
    await measure(`zooming in on ${what}`, wheel(0, -120));
    await measure(`panning ${what}`, wheel(60, 0));
    await measure(`zooming out of ${what}`, wheel(0, 120));
    await measure(`playing ${what}`, play);
    expect(editor.faults).toEqual([]);
    await editor.close();
  }, 600_000);
});
