import { readFileSync } from "node:fs";
import { join } from "node:path";
import { beforeEach, describe, expect, it } from "vitest";
import { keysOf, selectKeys, showCurves, typeInto } from "./graph_page";
import { difference, kWalk, openWalk, scratchFolder, settle, sharedEditor, yfcurve } from "./page";

const kPath = "Hips/Lcl Rotation/X";
const folder = scratchFolder();
const editor = sharedEditor({ webgl: false });

const status = (): Promise<string | null> => editor.page.locator(".status-message").textContent();
const isDirty = (): Promise<boolean> => editor.page.evaluate(() => window.yfcurve!.document!.isDirty);

/** Whether the page lets itself be closed without a question. */
const mayLeave = (): Promise<boolean> => editor.page.evaluate(() => window.dispatchEvent(new Event("beforeunload", { cancelable: true })));

/** Sets the fourth key of a curve to a value, as a user does. */
async function edit(value: string): Promise<void> {
  const { page } = editor;
  const [track = -1] = await showCurves(page, kPath);
  await selectKeys(page, track, 3);
  await typeInto(page, "Value", value);
  await settle(page);
}

/** Does something that ends in a download, and gives the path at which that lies. */
async function download(act: () => Promise<void>): Promise<string> {
  const [saved] = await Promise.all([editor.page.waitForEvent("download"), act()]);
  const path = join(folder, saved.suggestedFilename());
  await saved.saveAs(path);
  return path;
}

/** Drops a file on the window. */
async function drop(name: string, content: string): Promise<void> {
  await editor.page.evaluate(
    ([fileName = "", text = ""]) => {
      const data = new DataTransfer();
      data.items.add(new File([text], fileName));
      for (const type of ["dragover", "drop"]) window.dispatchEvent(new DragEvent(type, { dataTransfer: data, bubbles: true, cancelable: true }));
    },
    [name, content],
  );
}

describe("files", () => {
  beforeEach(() => openWalk(editor));

  it("are saved in every format so that the program reads what was edited", async () => {
    const { page } = editor;
    await edit("7,5");
    expect(await isDirty()).toBe(true);
    await page.keyboard.press("Control+z");
    expect(await isDirty()).toBe(false);
    await page.keyboard.press("Control+y");
    expect(await isDirty()).toBe(true);
    const asItIs = await download(() => page.keyboard.press("Control+s"));
    expect(asItIs.endsWith("walk.bvh")).toBe(true);
    expect(await isDirty()).toBe(false);
    for (const ending of [".ytalo", ".ytalo.gz", ".bvh.gz"]) {
      const path = await download(async () => {
        await page.getByRole("menuitem", { name: "File", exact: true }).click();
        await page.getByRole("menuitem", { name: "Save a copy as" }).click();
        await page.getByRole("menuitem", { name: `(${ending})` }).click();
      });
      expect(path.endsWith(`walk${ending}`)).toBe(true);
      expect(difference(path, asItIs)).toBe("");
    }
    const rows = yfcurve("eval", asItIs, "--node", kPath, "--frames").split("\n");
    expect(Number(rows[4]?.split(",").at(-1))).toBe(7.5);
    const value = page.getByLabel("Value", { exact: true });
    await value.fill("8,5");
    expect(await mayLeave()).toBe(false);
    const typed = await download(() => page.keyboard.press("Control+s"));
    expect(yfcurve("eval", typed, "--node", kPath, "--frames").split("\n")[4]).toMatch(/,8\.5$/);
    await value.fill("eight");
    await page.keyboard.press("Control+s");
    expect([await value.inputValue(), await value.getAttribute("aria-invalid")]).toEqual(["eight", "true"]);
  });

  it("are chosen in the picker, which Ctrl+O opens", async () => {
    const { page } = editor;
    await page.evaluate(() => {
      const picker = document.querySelector("input[type=file]")!;
      picker.addEventListener("click", (event) => {
        event.preventDefault();
        picker.setAttribute("data-opened", "");
      }, { once: true });
    });
    await expect
      .poll(async () => {
        await page.keyboard.press("Control+O"); // a window that is not in front yet gets no keys
        return page.locator("input[data-opened]").count();
      })
      .toBe(1);
  });

  it("are opened where they are dropped, and what is none says why", async () => {
    const { page } = editor;
    await drop("other.bvh", readFileSync(kWalk, "utf8"));
    await page.waitForFunction(() => window.yfcurve!.document!.name.includes("other"));
    await drop("broken.bvh", "HIERARCHY\nROOT");
    await page.waitForFunction(() => document.querySelector(".status-message[data-kind=error]"));
    expect(await status()).toMatch(/broken\.bvh|line/);
    expect(await page.evaluate(() => window.yfcurve!.document!.name)).toContain("other");
  });

  it("keep a rate that is shown rounded where no other is typed", async () => {
    await drop("odd.bvh", readFileSync(kWalk, "utf8").replace(/Frame Time: .*/, "Frame Time: 0.0370123"));
    await editor.page.waitForFunction(() => window.yfcurve!.document!.name.includes("odd"));
    await editor.page.evaluate(() => window.yfcurve!.commands.run("file.frameRate"));
    await editor.page.keyboard.press("Enter");
    await expect.poll(() => editor.page.locator("dialog").count()).toBe(0);
    expect(await isDirty()).toBe(false);
  });

  it("ask before unsaved changes are lost", async () => {
    const { page } = editor;
    await edit("3");
    await drop("other.bvh", readFileSync(kWalk, "utf8"));
    await page.getByRole("button", { name: "Keep editing" }).click();
    expect(await page.evaluate(() => window.yfcurve!.document!.name)).toContain("walk");
    expect(await mayLeave()).toBe(false);
    await drop("other.bvh", readFileSync(kWalk, "utf8"));
    await page.getByRole("button", { name: "Discard them" }).click();
    await page.waitForFunction(() => window.yfcurve!.document!.name.includes("other"));
    expect(await mayLeave()).toBe(true);
    await page.evaluate(() => {
      const app = window.yfcurve!;
      const open = app.engine.open.bind(app.engine);
      app.engine.open = async (bytes, name) => {
        const read = await open(bytes, name);
        app.run("Meanwhile", () => app.document!.setValues(0, [3], [9]));
        return read;
      };
    });
    await drop("third.bvh", readFileSync(kWalk, "utf8"));
    await page.getByRole("button", { name: "Keep editing" }).click();
    expect(await page.evaluate(() => window.yfcurve!.document!.undoState().undo)).toBe("Meanwhile");
  });

  it("ask again for what was edited during the save that was asked for", async () => {
    const { page } = editor;
    await edit("3");
    await page.evaluate(() => {
      const app = window.yfcurve!;
      const document = app.document!;
      const save = document.save.bind(document);
      document.save = async (format) => {
        const bytes = await save(format);
        app.run("Late edit", () => document.setValues(app.activeTrack, [3], [4]));
        return bytes;
      };
    });
    await drop("other.bvh", readFileSync(kWalk, "utf8"));
    await download(() => page.getByRole("button", { name: "Save first" }).click());
    await page.getByRole("button", { name: "Keep editing" }).click();
    expect(await isDirty()).toBe(true);
    expect(await page.evaluate(() => window.yfcurve!.document!.name)).toContain("walk");
  });

  it("take keys from other files by the clipboard's JSON", async () => {
    const { page } = editor;
    const keys = join(folder, "keys.json");
    yfcurve("keys", kWalk, "--node", kPath, "--select", "0f:2f", "--set", "9", "-o", join(folder, "moved.ytalo"));
    yfcurve("keys", join(folder, "moved.ytalo"), "--node", kPath, "--export", keys);
    const [track = -1] = await showCurves(page, kPath);
    await page.focus("input[type=range][aria-label=Time]");
    await page.evaluate((json) => {
      window.yfcurve!.setTime(0);
      const data = new DataTransfer();
      data.setData("text/plain", json);
      document.activeElement!.dispatchEvent(new ClipboardEvent("paste", { clipboardData: data, bubbles: true, cancelable: true }));
    }, readFileSync(keys, "utf8"));
    await settle(page);
    expect((await keysOf(page, track)).value.slice(0, 3)).toEqual([9, 9, 9]);
    expect((await keysOf(page, track)).time).toHaveLength(257);
  });
});
