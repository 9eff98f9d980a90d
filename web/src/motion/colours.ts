import { Color } from "three";
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

/** The colours of the style sheet as they are where an element is: light or dark. */
export function readColours(host: HTMLElement): { stage: StageColours; labels: LabelColours } {
  const probe = document.createElement("span");
  probe.hidden = true;
  host.append(probe);
  const read = (name: string): string => {
    probe.style.color = `var(${name})`;
    return getComputedStyle(probe).color;
  };
  const stage = Object.fromEntries(
    Object.entries(kNames).map(([key, name]) => [key, new Color().setStyle(read(name)).getHex()]),
  ) as unknown as StageColours;
  const labels = { text: read("--motion-text"), halo: read("--motion-background"), chosen: read("--motion-chosen") };
  probe.remove();
  return { stage, labels };
}
