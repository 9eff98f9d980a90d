import { describe, expect, it } from "vitest";
import { kWalk, openEditor, savedBytes } from "./page";
import { random } from "./random";

const kEdits = 1000;

/** What an edit of the soak is made of; the page draws numbers of its own from the seed that it gets. */
interface Edit {
  kind: number;
  track: number;
  part: number;
  amount: number;
}

describe("a thousand edits and undos", () => {
  it("end where memory and file began", async () => {
    const editor = await openEditor({ file: kWalk });
    const { page } = editor;
    const before = await savedBytes(page);
    const round = async (seed: number): Promise<void> => {
      const next = random(seed);
      const edits: Edit[] = Array.from({ length: kEdits }, () => ({ kind: Math.floor(next() * 7), track: next(), part: next(), amount: next() - 0.5 }));
      await page.evaluate(async (all) => {
        const app = window.yfcurve!;
        const document = app.document!;
        const { start, stop } = document.span()!;
        const doOne = ({ kind, track, part, amount }: (typeof all)[number]): void => {
          const tracks = document.tracks().filter((other) => other.layer === 0);
          const { id, keyCount } = tracks[Math.floor(track * tracks.length)]!;
          const time = Math.round(start + part * (stop - start));
          const key = { track: id, indices: [Math.floor(part * (keyCount - 1))] };
          const acts = [
            () => document.insertKeys([id], time),
            () => document.setKeys([key], { value: amount * 100 }),
            () => keyCount > 2 && document.deleteKeys([key]),
            () => document.setKeys([key], { tangent: "user-break", leftSlope: amount * 50 }),
            () => {
              document.selectKeys("replace", [key]);
              const manipulation = document.beginManipulation({ mode: "move" });
              for (let step = 1; step <= 5; ++step) manipulation.offset(step * 1_000_000, amount * step);
              manipulation.end();
            },
            () => document.addLayer(`Soak ${document.revision}`, document.patterns([id])),
            () => document.layers().length > 1 && document.removeLayer(document.layers().at(-1)!.id),
          ];
          app.run(`edit ${kind}`, acts[kind]!);
        };
        for (const [i, edit] of all.entries()) {
          doOne(edit);
          if (i % 3 === 2) document.undo();
          if (i % 50 === 0) await new Promise(requestAnimationFrame);
        }
        while (document.undoState().undoCount > 0) app.commands.run("edit.undo");
      }, edits);
    };
    const memory = (): Promise<{ wasm: number; heap: number }> =>
      page.evaluate(() => {
        (globalThis as unknown as { gc(): void }).gc();
        const heap = (performance as unknown as { memory: { usedJSHeapSize: number } }).memory.usedJSHeapSize;
        return { wasm: window.yfcurve!.engine.memory(), heap };
      });
    // The first round may grow what is kept for later: the next one must not.
    await round(1);
    const afterFirst = await memory();
    expect((await savedBytes(page)).equals(before)).toBe(true);
    await round(2);
    const afterLast = await memory();
    expect((await savedBytes(page)).equals(before)).toBe(true);
    console.log(`memory after 1,000 and 2,000 edits and undos: WebAssembly ${afterFirst.wasm} and ${afterLast.wasm} bytes, page ${afterFirst.heap} and ${afterLast.heap} bytes`);
    expect(afterLast.wasm).toBe(afterFirst.wasm);
    expect(afterLast.heap).toBeLessThan(afterFirst.heap * 1.1 + 2e6);
    expect(editor.faults).toEqual([]);
    await editor.close();
  });
});
