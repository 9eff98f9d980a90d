import { Color } from "three";
import { readTheme } from "../app/dom";
import type { LabelColours } from "./labels_layer";
import type { StageColours } from "./stage";

const kNames: Readonly<Record<keyof StageColours, string>> = {
  background: "--motion-background",
  grid: "--motion-grid",
  bone: "--motion-bone",
  joint: "--motion-joint",
  chosen: "--motion-chosen",
  ghost: "--motion-ghost",
  trail: "--motion-trail",
  contact: "--motion-contact",
  standing: "--motion-standing",
};

/** The colours of the theme as they are where an element is. */
export function readColours(host: HTMLElement): { stage: StageColours; labels: LabelColours } {
  return readTheme(host, (read) => {
    const stage = Object.fromEntries(
      Object.entries(kNames).map(([key, name]) => [key, new Color().setStyle(read(name)).getHex()]),
    ) as unknown as StageColours;
    return { stage, labels: { text: read("--motion-text"), halo: read("--motion-background"), chosen: read("--motion-chosen") } };
  });
}
