import { describe, expect, it } from "vitest";
import { kWalk, settle, sharedEditor } from "./page";

const editor = sharedEditor({ file: kWalk, webgl: false });

const shownPaths = (): Promise<string[]> =>
  editor.page.evaluate(() => [...window.yfcurve!.visibleTracks].map((track) => window.yfcurve!.track(track)!.path));

const rows = (): Promise<string[]> =>
  editor.page.locator(".tree-row").evaluateAll((all) => all.map((row) => row.querySelector(".tree-title")?.textContent ?? ""));

async function press(...keys: string[]): Promise<void> {
  for (const key of keys) await editor.page.keyboard.press(key);
  await settle(editor.page);
}

describe("the tree", () => {
  it("begins with the rotation of the root", async () => {
    expect(await shownPaths()).toEqual(["X", "Y", "Z"].map((component) => `Hips/Lcl Rotation/${component}`));
  });

  it("finds curves by all words that are typed, with what is above them", async () => {
    const { page } = editor;
    const search = page.getByRole("searchbox", { name: "Search joints and curves" });
    await search.fill("chest rot y");
    await settle(page);
    const found = await rows();
    expect(found.slice(0, 3)).toEqual(["Hips", "Spine", "Chest"]);
    expect(found.filter((title) => title === "Y").length).toBeGreaterThan(0);
    expect(found).not.toContain("X");
    await search.fill("no such joint");
    await settle(page);
    expect(await page.locator(".tree").textContent()).toBe("Nothing has this name.");
    await search.fill("");
    await settle(page);
  });

  it("is worked by the keyboard alone", async () => {
    const { page } = editor;
    await page.keyboard.press("Alt+1");
    await press("ArrowDown", "Home", "ArrowLeft");
    expect(await rows()).toEqual(["Hips"]);
    await press("ArrowRight", "ArrowDown", "ArrowDown");
    const second = (await rows())[2] ?? "";
    expect(await page.evaluate(() => document.activeElement?.querySelector(".tree-title")?.textContent)).toBe(second);
    await press("Home", "ArrowDown", "Enter");
    const first = await shownPaths();
    expect(new Set(first.map((path) => path.slice(0, -2))).size).toBe(1);
    await press("ArrowDown", "Space");
    const both = await shownPaths();
    expect(both.length).toBeGreaterThan(first.length);
    expect(both).toEqual(expect.arrayContaining(first));
    await press("Space");
    expect(await shownPaths()).toEqual(first);
    await press("Home", "*");
    expect((await rows()).length).toBeGreaterThan(60);
  });

  it("shows a range with Shift, and selects no hidden keys", async () => {
    const { page } = editor;
    const row = (index: number) => page.locator(".tree-track .tree-title").nth(index);
    await row(0).click();
    await press("Control+a");
    await row(3).click({ modifiers: ["Shift"] });
    await settle(page);
    expect(await shownPaths()).toHaveLength(6);
    await row(5).click();
    await settle(page);
    expect(await page.evaluate(() => window.yfcurve!.document!.selectedKeys())).toEqual([]);
    await row(0).click({ modifiers: ["Control"] });
    await settle(page);
    expect(await shownPaths()).toHaveLength(2);
  });

  it("changes a colour as a step", async () => {
    const { page } = editor;
    const before = await page.evaluate(() => window.yfcurve!.tracks[0]!.color);
    await page.locator(".tree-color").first().click();
    await page.locator(".tree-color-input").evaluate((input: HTMLInputElement) => {
      input.value = "#12ab34";
      input.dispatchEvent(new Event("change"));
    });
    await settle(page);
    const colors = (): Promise<string[]> => page.evaluate(() => window.yfcurve!.tracks.map((track) => track.color));
    expect(await colors()).toContain("#12ab34");
    await page.locator(".graph-area").focus();
    await press("Control+z");
    expect((await colors())[0]).toBe(before);
    expect(await colors()).not.toContain("#12ab34");
  });
});
