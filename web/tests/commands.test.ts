import { describe, expect, it } from "vitest";
import { keyNames } from "../src/app/commands";

type Pressed = Partial<KeyboardEvent> & { altGraph?: boolean };

describe("names of keys", () => {
  it.each<[string, string, string, Pressed]>([
    ["Mod+Z", "я", "KeyZ", { ctrlKey: true }],
    ["Shift+A", "Ф", "KeyA", { shiftKey: true }],
    ["Mod+S", "σ", "KeyS", { ctrlKey: true }],
    ["Y", "y", "KeyZ", {}], // by what it types where that is Latin
    [".", "ю", "Period", {}],
    ["{", "Х", "BracketLeft", { shiftKey: true }],
    ["Alt+1", "¡", "Digit1", { altKey: true }],
    ["É 2", "é", "Digit2", {}],
    ["&", "&", "Digit7", { shiftKey: true }],
    ["]", "]", "Digit9", { ctrlKey: true, altKey: true, altGraph: true }],
    ["Shift+ArrowUp", "ArrowUp", "ArrowUp", { shiftKey: true }],
  ])("%s of %s on %s", (name, key, code, { altGraph, ...pressed }) => {
    const up = { ctrlKey: false, altKey: false, shiftKey: false, metaKey: false };
    expect(keyNames({ ...up, key, code, ...pressed, getModifierState: () => altGraph === true } as unknown as KeyboardEvent).join(" ")).toBe(name);
  });
});
