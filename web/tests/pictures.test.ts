import { mkdirSync, statSync } from "node:fs";
import { join } from "node:path";
import { describe, expect, it } from "vitest";
import { kWalk, openEditor, scratchFolder, settle } from "./page";

/** The pictures of docs/editor.md and README.md are made anew with YFCURVE_PICTURES=docs/images. */
const kFolder = process.env["YFCURVE_PICTURES"] ?? scratchFolder();
/** What a picture may take in the repository. */
const kLargest = 200_000;
const kSecond = 46_186_158_000;

describe("pictures for the guide", () => {
  it("show the walk as the guide tells, and are small", async () => {
    mkdirSync(kFolder, { recursive: true });
    const editor = await openEditor({ file: kWalk, colorScheme: "dark", viewport: { width: 1280, height: 780 } });
    const { page } = editor;
    const take = async (name: string, selector?: string): Promise<void> => {
      await page.mouse.move(0, 0);
      await page.waitForTimeout(400);
      await settle(page);
      const path = join(kFolder, `editor-${name}.png`);
      await (selector ? page.locator(selector) : page).screenshot({ path });
      expect(statSync(path).size, name).toBeLessThan(kLargest);
    };
    const choose = (names: string[]): Promise<void> =>
      page.evaluate((wanted) => {
        const app = window.yfcurve!;
        app.chooseJoints(
          wanted.map((name) => app.document!.joints.findIndex((joint) => joint.name === name)),
          true,
        );
      }, names);
    const run = (id: string): Promise<void> => page.evaluate((command) => window.yfcurve!.commands.run(command), id);

    await choose(["LeftLeg", "LeftFoot"]);
    await page.evaluate((time) => window.yfcurve!.setTime(time), Math.round(0.8 * kSecond));
    await run("graph.frameAll");
    await take("whole");
    await page.click("[data-switch=ghost]");
    await page.evaluate(() => {
      const app = window.yfcurve!;
      const tracks = app.document!.tracks().filter((track) => track.path === "Hips/Spine/Lcl Rotation/X").map((track) => track.id);
      app.run("raise", () => tracks.forEach((track) => app.document!.setKeys([{ track, indices: app.document!.keys(track).time.map((_, i) => i) }], { value: 25 })));
    });
    await take("motion", ".motion");
    await page.keyboard.press("Control+z");
    await page.click("[data-switch=ghost]");
    await page.click("#tab-layers");
    await page.click("[aria-label='Add a layer']");
    await page.fill(".layer-weight input[type=text]", "0.5");
    await page.keyboard.press("Enter");
    await take("layers", ".layers");
    await page.evaluate(() => window.yfcurve!.setLayer(0));
    await page.click("#tab-filters");
    await page.getByLabel("Cut off freq", { exact: true }).fill("3");
    await page.click("text=Preview");
    await page.setViewportSize({ width: 1080, height: 660 });
    await page.locator(".report").evaluate((report) => (report.parentElement!.parentElement!.scrollTop = 260));
    await take("filters");
    expect(editor.faults).toEqual([]);
    await editor.close();
  });
});
