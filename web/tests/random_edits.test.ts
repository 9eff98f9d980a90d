import { copyFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { beforeAll, expect, it } from "vitest";
import type { ManipulationOptions } from "../src/engine/engine";
import { difference, kWalk, savedBytes, scratchFolder, sharedEditor, yfcurve } from "./page";
import { random } from "./random";

const kSeed = 2026;
const kPrograms = 100;
/** The motion is cut to so many frames: what is tried does not need more. */
const kLast = 48;
const kFrame = 46_186_158_000 / 120;
const kJoints = ["Hips/Lcl Rotation", "Hips/Lcl Translation", "Hips/Spine/Lcl Rotation", "Hips/LeftUpLeg/LeftLeg/Lcl Rotation"];

/** One edit: what the page is told, and what the program is told. */
interface Edit {
  path: string;
  first: number;
  last: number;
  options: ManipulationOptions;
  /** The method of the manipulation, and its arguments. */
  act: ["offset" | "stretch" | "scale" | "setValue", ...number[]];
  words: string[];
}

function randomEdit(next: () => number): Edit {
  const whole = (least: number, most: number): number => least + Math.floor(next() * (most - least + 1));
  const amount = (size: number): number => Number(((next() - 0.5) * size).toFixed(3));
  const first = whole(0, kLast);
  const path = `${kJoints[whole(0, kJoints.length - 1)]}/${"XYZ"[whole(0, 2)]}`;
  const edit = (options: ManipulationOptions, act: Edit["act"], ...words: string[]): Edit => ({
    path,
    first,
    last: first + whole(0, 16),
    options,
    act,
    words,
  });
  const [frames, value] = [whole(-12, 12), amount(20)];
  switch (whole(0, 5)) {
    case 0:
      return edit({ mode: "move" }, ["offset", frames * kFrame, value], `--move=${frames}f,${value}`);
    case 1:
      return edit({ mode: "move", copy: true }, ["offset", frames * kFrame, value], `--move=${frames}f,${value}`, "--copy");
    case 2:
      return edit({ mode: "move", rippleTime: true }, ["offset", frames * kFrame, 0], `--move=${frames}f,0`, "--ripple");
    case 3:
      return edit({ mode: "stretch-time" }, ["stretch", 1.5, 1, first * kFrame, 0], `--stretch-time=1.5@${first}f`);
    case 4:
      return edit({ mode: "scale", scaleCentre: value }, ["scale", 0.75], `--scale=0.75@${value}`);
    default:
      return edit({ mode: "set-value" }, ["setValue", value], `--set=${value}`);
  }
}

const folder = scratchFolder();
const [kStart, kHere, kThere] = ["start.ytalo", "page.ytalo", "program.ytalo"].map((name) => join(folder, name)) as [string, string, string];
beforeAll(() => void yfcurve("clip", kWalk, kStart, "--trim", `0f:${kLast}f`));
const editor = sharedEditor({ file: kStart, webgl: false });

/** Does the edits in the page, as drags do them. Those that find no keys are refused, and do nothing. */
function editPage(edits: readonly Edit[]): Promise<void> {
  return editor.page.evaluate(
    ([all, frame]) => {
      const app = window.yfcurve!;
      for (const { path, first, last, options, act } of all) {
        const track = app.tracks.find((candidate) => candidate.path === path)!.id;
        const box = { start: Math.round((first - 0.25) * frame), stop: Math.round((last + 0.25) * frame), low: -1e6, high: 1e6 };
        app.document!.selectBox("replace", [track], box);
        if (app.document!.selectedKeys().length === 0) continue;
        const manipulation = app.document!.beginManipulation(options);
        const [method, ...numbers] = act;
        (manipulation[method] as (...given: number[]) => void)(...numbers);
        manipulation.end();
        app.touch();
      }
    },
    [edits, kFrame] as const,
  );
}

/** Edits a file with the program, which refuses where no keys are. */
function editFile(file: string, ...words: string[]): void {
  try {
    yfcurve("keys", file, ...words, "-o", file);
  } catch (error) {
    if (!String((error as { stderr?: unknown }).stderr).includes("no key is selected")) throw error;
  }
}

it(`gives the files of the program for random edits (seed ${kSeed}), and undo gives back the first`, async () => {
  const next = random(kSeed);
  const untouched = await savedBytes(editor.page);
  for (let program = 0; program < kPrograms; ++program) {
    const edits = Array.from({ length: 1 + Math.floor(next() * 4) }, () => randomEdit(next));
    await editPage(edits);
    copyFileSync(kStart, kThere);
    for (const { path, first, last, words } of edits) {
      editFile(kThere, "--node", path, "--select", `${first}f:${last}f`, ...words);
    }
    writeFileSync(kHere, await savedBytes(editor.page));
    expect(difference(kHere, kThere), JSON.stringify(edits)).toBe("");
    await editor.page.evaluate(() => {
      while (window.yfcurve!.document!.undo());
    });
    expect((await savedBytes(editor.page)).equals(untouched), JSON.stringify(edits)).toBe(true);
  }
});
