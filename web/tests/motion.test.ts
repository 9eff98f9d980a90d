import { describe, expect, it } from "vitest";
import { kWalk, openEditor, settle, sharedEditor, yfcurve } from "./page";

const kSecond = 46_186_158_000;

const editor = sharedEditor({ file: kWalk });

/** Where the program says that the joints of the walk are: x, y, z of each one. */
function programPlaces(seconds: number): number[][] {
  const table = yfcurve("eval", kWalk, "--world", "--start", String(seconds), "--stop", String(seconds), "--rate", "30");
  const [head, row] = table.trim().split("\n").map((line) => line.split(","));
  const values = head!.flatMap((name, i) => (name.includes("World Position") ? [Number(row![i])] : []));
  return Array.from({ length: values.length / 3 }, (_, joint) => values.slice(3 * joint, 3 * joint + 3));
}

/** What the motion view tells of each joint when it is chosen: its place, with three digits. */
function shownPlaces(): Promise<number[][]> {
  return editor.page.evaluate(() => {
    const app = window.yfcurve!;
    return app.document!.joints.map((joint, i) => {
      app.chooseJoints([i]);
      const text = document.querySelector<HTMLOutputElement>(".motion-info")!.value;
      return text.slice(joint.title.length).trim().split(/\s+/).map(Number);
    });
  });
}

const timeNow = (): Promise<number> => editor.page.evaluate(() => window.yfcurve!.time);
const chosen = (): Promise<string[]> =>
  editor.page.evaluate(() => [...window.yfcurve!.joints].map((joint) => window.yfcurve!.document!.joints[joint]!.title));

describe("the motion view", () => {
  it.each([0, 0.8, 1.2345, 2.1])("shows the joints where the program says that they are, at %s s", async (seconds) => {
    await editor.page.evaluate((time) => window.yfcurve!.setTime(time), Math.round(seconds * kSecond));
    const shown = await shownPlaces();
    const expected = programPlaces(seconds);
    expect(shown.length).toBe(expected.length);
    shown.forEach((place, joint) => {
      place.forEach((value, axis) => expect(Math.abs(value - expected[joint]![axis]!)).toBeLessThan(0.001));
    });
  });

  it("plays in real time, also while the page is busy, and loops", async () => {
    const { page } = editor;
    await page.evaluate(() => window.yfcurve!.setTime(0));
    await page.click("[aria-label=Play]");
    const { off } = await page.evaluate(async (second) => {
      const app = window.yfcurve!;
      const frame = (): Promise<number> => new Promise((done) => requestAnimationFrame(done));
      const start = await frame();
      const from = app.time;
      for (let until = performance.now() + 500; performance.now() < until; );
      let now = await frame();
      while (now < start + 1200) now = await frame();
      const length = app.document!.span()!.stop / second;
      const ahead = (app.time - from) / second - (now - start) / 1000;
      return { off: Math.abs(ahead - length * Math.round(ahead / length)) };
    }, kSecond);
    expect(off).toBeLessThan(0.1);
    await page.waitForFunction((second) => window.yfcurve!.time < 0.5 * second, kSecond, { polling: "raf" });
    await page.click("[aria-label=Pause]");
    const paused = await timeNow();
    await page.waitForTimeout(100);
    expect(await timeNow()).toBe(paused);
  });

  it("is scrubbed by the slider, by keys and by typed times, with a comma too", async () => {
    const { page } = editor;
    await page.focus("input[type=range][aria-label=Time]");
    await page.keyboard.press("Home");
    await page.keyboard.press("ArrowRight");
    await page.keyboard.press("ArrowRight");
    expect(await timeNow()).toBe(Math.round((2 * kSecond) / 120));
    await page.focus(".motion-surface");
    await page.keyboard.press("ArrowRight");
    expect(await timeNow()).toBe(Math.round((3 * kSecond) / 120));
    await page.keyboard.press("End");
    expect(await timeNow()).toBe(await page.evaluate(() => window.yfcurve!.document!.span()!.stop));
    for (const [typed, seconds] of [["60", 0.5], ["1,25s", 1.25], ["00:00:01:00", 1]] as const) {
      await page.fill(".transport-time", typed);
      await page.keyboard.press("Enter");
      expect(await timeNow(), typed).toBe(seconds * kSecond);
    }
    await page.fill(".transport-time", "soon");
    await page.keyboard.press("Enter");
    expect(await page.getAttribute(".transport-time", "aria-invalid")).not.toBeNull();
    expect(await timeNow()).toBe(kSecond);
    await page.keyboard.press("Escape");
  });

  it("chooses joints by click, by touch and by keyboard, and shows their curves", async () => {
    const { page } = editor;
    await page.focus(".motion-surface");
    await page.keyboard.press("f");
    await page.keyboard.press("1");
    await settle(page);
    const box = (await page.locator(".motion-surface").boundingBox())!;
    await page.mouse.click(box.x + 20, box.y + box.height / 2);
    expect(await chosen()).toEqual([]);
    // From the front, the middle of the figure is about where spine and hips are.
    await page.mouse.click(box.x + box.width / 2, box.y + box.height / 2);
    const [title] = await chosen();
    expect(title).toMatch(/^(Hips|Spine|Chest|(Left|Right)(Hand|ForeArm|UpLeg))$/);
    const curves = await page.evaluate(() => [...window.yfcurve!.visibleTracks].map((track) => window.yfcurve!.track(track)!.joint.split("/").at(-1)));
    expect(curves.length).toBeGreaterThanOrEqual(3);
    expect(new Set(curves)).toEqual(new Set([title]));
    await page.evaluate(() => window.yfcurve!.chooseJoints([]));
    for (const [key, expected] of [["ArrowDown", "Hips"], ["ArrowDown", "Spine"], ["PageDown", "Chest"], ["ArrowUp", "Spine"], ["PageUp", "Hips"]] as const) {
      await page.focus(".motion-surface");
      await page.keyboard.press(key);
      expect(await chosen()).toEqual([expected]);
    }
  });

  it("moves its camera by mouse, wheel and touch", async () => {
    const { page } = editor;
    const box = (await page.locator(".motion-surface").boundingBox())!;
    const [x, y] = [box.x + box.width / 2, box.y + box.height / 2];
    const session = await page.context().newCDPSession(page);
    const fingers = (type: "touchStart" | "touchMove" | "touchEnd", ...xs: number[]): Promise<unknown> =>
      session.send("Input.dispatchTouchEvent", { type, touchPoints: xs.map((at, id) => ({ x: at, y, id })) });
    const drag = async (button: "left" | "middle"): Promise<void> => {
      await page.mouse.move(x, y);
      await page.mouse.down({ button });
      await page.mouse.move(x + 60, y + 20, { steps: 3 });
      await page.mouse.up({ button });
    };
    const pinch = async (): Promise<void> => {
      await fingers("touchStart", x - 30, x + 30);
      await fingers("touchMove", x - 60, x + 60);
      await fingers("touchMove", x - 90, x + 90);
      await fingers("touchEnd");
    };
    const ways: [string, () => Promise<void>][] = [
      ["turning", () => drag("left")],
      ["panning", () => drag("middle")],
      ["the wheel", () => page.mouse.wheel(0, -300)],
      ["two fingers", pinch],
    ];
    await page.evaluate(() => window.yfcurve!.chooseJoints([1]));
    await page.mouse.move(x, y);
    await page.focus(".motion-surface");
    for (const [way, move] of ways) {
      await settle(page);
      const before = await page.locator(".motion").screenshot();
      await move();
      await settle(page);
      expect(before.equals(await page.locator(".motion").screenshot()), way).toBe(false);
    }
    expect(await chosen(), "a drag chooses nothing").toEqual(["Spine"]);
  });

  it.each([
    ["29.97", 30_000 / 1001, 30],
    ["12.5", 12.5, 13],
    ["14.4", 14.4, 15],
  ])("shows times at %s frames a second as it takes them", async (text, rate, framesInSecond) => {
    const frames = [0, 1, 12, 13, 14, 29, 30, 407, 1000.25];
    const times = frames.map((frame) => Math.round((frame / rate) * kSecond));
    const shown = await editor.page.evaluate(
      ([name, all]) => {
        const app = window.yfcurve!;
        app.run("Rate", () => app.document!.setFrameRate(name));
        return (["frames", "timecode"] as const).map((unit) => {
          app.preferences.set("timeUnit", unit);
          const tooFar = ["1e20", "99999999999"].map((typed) => app.parseTime(typed));
          return { tooFar, texts: all.map((time) => app.formatTime(time)), back: all.map((time) => app.parseTime(app.formatTime(time))!) };
        });
      },
      [text, times] as const,
    );
    const two = (value: number): string => String(Math.floor(value)).padStart(2, "0");
    const codes = frames.map((frame) => {
      const second = Math.floor(frame / framesInSecond);
      const code = [second / 3600, (second / 60) % 60, second % 60, frame % framesInSecond].map(two).join(":");
      return frame % 1 === 0 ? code : `${code}.25`;
    });
    expect(shown.map(({ texts }) => texts)).toEqual([frames.map(String), codes]);
    for (const { back, tooFar } of shown) {
      back.forEach((time, i) => expect(Math.abs(time - times[i]!)).toBeLessThanOrEqual(1));
      expect(tooFar).toEqual([undefined, undefined]);
    }
    await editor.page.evaluate(() => window.yfcurve!.preferences.set("timeUnit", "frames"));
    await editor.page.keyboard.press("Control+z");
  });

  it("goes on without WebGL, and says so", async () => {
    const plain = await openEditor({ file: kWalk, webgl: false });
    expect(await plain.page.textContent(".motion-message")).toMatch(/WebGL/);
    await plain.page.keyboard.press("Space");
    await plain.page.waitForFunction(() => window.yfcurve!.time > 0);
    await plain.close();
  });
});
