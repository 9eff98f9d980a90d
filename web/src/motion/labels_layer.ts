import type { Joint } from "../engine/engine";
import { placeLabels, type Label } from "./labels";
import type { ScreenPoints } from "./picking";

const kLineHeight = 15;

/** Colours of names, as style sheets write them. */
export interface LabelColours {
  text: string;
  halo: string;
  chosen: string;
}

/** Names of joints, drawn over the picture of the skeleton. */
export class LabelsLayer {
  private readonly context: CanvasRenderingContext2D | null;
  private widths: number[] = [];
  private placed: ReadonlySet<number> = new Set();
  private width = 1;
  private height = 1;
  private font = "12px sans-serif";

  constructor(private readonly canvas: HTMLCanvasElement) {
    this.context = canvas.getContext("2d");
  }

  setJoints(joints: readonly Joint[]): void {
    this.font = `12px ${getComputedStyle(this.canvas).fontFamily}`;
    if (this.context) this.context.font = this.font;
    this.widths = joints.map((joint) => (joint.isEndSite ? 0 : Math.ceil(this.context?.measureText(joint.name).width ?? 0)));
    this.placed = new Set();
  }

  resize(width: number, height: number, ratio: number): void {
    this.width = width;
    this.height = height;
    this.canvas.width = Math.round(width * ratio);
    this.canvas.height = Math.round(height * ratio);
    this.context?.setTransform(ratio, 0, 0, ratio, 0, 0);
  }

  /**
   * Draws the names of these joints as far as they have room. Chosen ones go first, then those that were there.
   * @param below  how much of the picture's height is taken at its bottom
   */
  draw(
    joints: readonly Joint[],
    shown: Iterable<number>,
    chosen: ReadonlySet<number>,
    points: ScreenPoints,
    colours: LabelColours,
    below: number,
  ): void {
    const { context } = this;
    if (!context) return;
    context.clearRect(0, 0, this.width, this.height);
    const labels: Label[] = [];
    for (const joint of shown) {
      const x = points[3 * joint]!;
      const y = points[3 * joint + 1]!;
      if (!Number.isFinite(x) || this.widths[joint] === 0) continue;
      const rank = chosen.has(joint) ? 0 : this.placed.has(joint) ? 1 : 2;
      labels.push({ joint, text: joints[joint]!.name, x, y, width: this.widths[joint]!, rank });
    }
    const placed = placeLabels(labels, this.width, this.height - below, kLineHeight);
    this.placed = new Set(placed.map(({ label }) => label.joint));
    context.font = this.font;
    context.textBaseline = "middle";
    context.lineJoin = "round";
    context.lineWidth = 3;
    context.strokeStyle = colours.halo;
    for (const { label, left, middle } of placed) {
      context.fillStyle = chosen.has(label.joint) ? colours.chosen : colours.text;
      context.strokeText(label.text, left, middle);
      context.fillText(label.text, left, middle);
    }
  }
}
