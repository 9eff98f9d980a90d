import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { describe, expect, it } from "vitest";
import { kWalk, openEditor, openFile, settle } from "./page";

const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

interface Violation {
  id: string;
  help: string;
  nodes: { target: string[] }[];
}

describe.each(["light", "dark"] as const)("in %s colours", (colorScheme) => {
  it("axe finds nothing wrong in any panel", async () => {
    const editor = await openEditor({ colorScheme });
    const { page } = editor;
    await page.evaluate(axe);
    const found: string[] = [];
    const check = async (place: string): Promise<void> => {
      await settle(page);
      const violations = await page.evaluate(async () => {
        const runner = (globalThis as unknown as { axe: { run(): Promise<{ violations: Violation[] }> } }).axe;
        return (await runner.run()).violations;
      });
      for (const { id, help, nodes } of violations) found.push(`${place}: ${id}: ${help}: ${nodes.map((node) => node.target.join(" ")).join(", ")}`);
    };
    await check("without a file");
    await openFile(page, kWalk);
    await page.evaluate(() => window.yfcurve!.chooseJoints([18], true));
    await check("keys");
    await page.click("#tab-layers");
    await page.click("[aria-label='Add a layer']");
    for (const summary of await page.locator(".layer-fold > summary").all()) await summary.click();
    await check("layers");
    await page.click("#tab-filters");
    await page.click("text=Preview");
    await check("filters");
    await page.focus(".motion-surface");
    await page.keyboard.press("?");
    await check("help");
    expect(found).toEqual([]);
    expect(editor.faults).toEqual([]);
    await editor.close();
  });
});

describe("the keyboard", () => {
  it("reaches every control, and each has a name", async () => {
    const editor = await openEditor({ file: kWalk });
    const { page } = editor;
    await settle(page); // fields of curves come with the first picture
    const places = new Set<string>();
    for (let press = 0; press < 400; ++press) {
      await page.keyboard.press("Tab");
      const place = await page.evaluate(() => {
        const element = document.activeElement;
        if (!element || element === document.body) return "";
        const outline = getComputedStyle(element);
        const isSeen = outline.outlineStyle !== "none" || outline.boxShadow !== "none";
        const panel = element.closest("[data-scope]")?.getAttribute("data-scope") ?? "head";
        return `${panel} ${isSeen ? "" : "unseen "}${element.tagName} ${element.getAttribute("aria-label") ?? element.id ?? element.textContent}`;
      });
      // Once around: at the first control again. A busy window may miss a key, and stays where it is, or is at none.
      const isAround = place === places.values().next().value;
      if (isAround && places.size > 20) break;
      if (place !== "") places.add(place);
    }
    const panels = new Set([...places].map((place) => place.split(" ")[0]));
    expect(panels).toEqual(new Set(["head", "tree", "motion", "graph", "transport", "keys"]));
    expect([...places].filter((place) => place.includes(" unseen "))).toEqual([]);
    await editor.close();
  });
});
