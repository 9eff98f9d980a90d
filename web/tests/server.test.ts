import { type ChildProcess, spawn } from "node:child_process";
import { copyFileSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { afterEach, beforeEach, describe, expect, it } from "vitest";
import { showCurves, typeInto } from "./graph_page";
import { difference, type Editor, faultsOf, kProgram, kSite, kWalk, openEditor, scratchFolder, settle, yfcurve } from "./page";

const kPath = "Hips/Lcl Rotation/X";
const folder = scratchFolder();
const kFile = join(folder, "a walk.bvh");
const kExpected = join(folder, "expected.bvh");

let program: ChildProcess;
let editor: Editor;
beforeEach(async () => {
  copyFileSync(kWalk, kFile);
  program = spawn(kProgram, ["edit", kFile, "--no-open", "--site", kSite]);
  const address = await new Promise<string>((found, fail) => {
    let said = "";
    program.stdout?.on("data", (text: Buffer) => {
      said += text.toString();
      const address = /http:\/\/127\.0\.0\.1:\d+\/\S+/.exec(said)?.[0];
      if (address) found(address);
    });
    program.on("exit", () => fail(new Error(`The program ended: ${said}`)));
  });
  editor = await openEditor({ address, webgl: false });
  await editor.page.waitForFunction(() => window.yfcurve?.document !== undefined);
});
afterEach(async () => {
  await editor.close();
  program.removeAllListeners("exit");
  program.kill("SIGINT");
});

/** Gives all keys of a curve a value in the page, and saves. */
async function setAndSave(value: number): Promise<void> {
  const { page } = editor;
  await showCurves(page, kPath);
  await page.keyboard.press("Control+a");
  await settle(page);
  await typeInto(page, "Value", String(value));
  await page.keyboard.press("Control+s");
}

const waitForStatus = (text: string): Promise<unknown> =>
  editor.page.waitForFunction((wanted) => document.querySelector(".status-message")?.textContent?.includes(wanted), text);

/** What the file has to be after all keys were given a value. */
function expectValue(value: number): void {
  yfcurve("keys", kWalk, "--node", kPath, "--select", ":", `--set=${value}`, "-o", kExpected);
  expect(difference(kFile, kExpected)).toBe("");
}

describe("yfcurve edit", () => {
  it("opens its file, and writes it where the page saves", async () => {
    expect(await editor.page.title()).toContain("a walk.bvh");
    await setAndSave(4);
    await waitForStatus("Saved");
    expectValue(4);
    expect(await editor.page.evaluate(() => window.yfcurve!.document!.isDirty)).toBe(false);
    await setAndSave(5);
    await editor.page.keyboard.press("Control+s");
    await waitForStatus("Saved");
    await expect(editor.page.getByRole("dialog").count()).resolves.toBe(0);
    await expect.poll(() => difference(kFile, kExpected)).not.toBe("");
    expectValue(5);
    expect(faultsOf(editor)).toEqual([]);
  });

  it("asks before it writes over a file that another program has changed", async () => {
    const { page } = editor;
    yfcurve("keys", kWalk, "--node", kPath, "--select", ":", "--set=9", "-o", kFile);
    const changed = readFileSync(kFile);
    await setAndSave(4);
    await page.getByRole("button", { name: "Keep the file on disk" }).click();
    await waitForStatus("Not saved");
    expect(readFileSync(kFile).equals(changed)).toBe(true);
    expect(await page.evaluate(() => window.yfcurve!.document!.isDirty)).toBe(true);
    await page.keyboard.press("Control+s");
    await page.getByRole("button", { name: "Write over it" }).click();
    await waitForStatus("Saved");
    expectValue(4);
  });

  it("does not write over a file that was damaged when it was read last", async () => {
    const file = new URL("file", editor.page.url());
    const scene = join(folder, "walk.ytalo");
    yfcurve("convert", kWalk, scene);
    const whole = readFileSync(scene, "utf8");
    const damaged = whole.replace("'a'", "'?'"); // the tangent of a key
    for (const [content, status] of [[damaged, 500], [whole, 204]] as const) {
      writeFileSync(kFile, content);
      const tag = (await fetch(file)).headers.get("ETag") ?? "";
      expect((await fetch(file, { method: "PUT", headers: { "If-Match": tag }, body: whole })).status).toBe(status);
    }
  });

  it("tells what to do when the program has ended", async () => {
    program.removeAllListeners("exit");
    const ended = new Promise((done) => program.on("exit", done));
    program.kill("SIGINT");
    await ended;
    await setAndSave(4);
    await waitForStatus("Start it again");
    expect(await editor.page.evaluate(() => window.yfcurve!.document!.isDirty)).toBe(true);
  });
});
