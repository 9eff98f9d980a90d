import { CircleGeometry, DoubleSide, Group, InstancedMesh, Matrix4, Color, MeshBasicMaterial, Quaternion, Vector3 } from "three";
import type { FigureSize } from "./figure";

/** A stretch of time, in ticks, in which a foot stands, and the place where it does. */
export interface ContactMark {
  joint: number;
  start: number;
  stop: number;
  place: readonly [number, number, number];
}

const kSize = 0.035;
const kColour = new Color();

/** Discs on the ground where feet stand; strong ones where a foot stands now. */
export class Contacts {
  readonly group = new Group();
  private discs: InstancedMesh<CircleGeometry, MeshBasicMaterial> | null = null;
  private marks: readonly ContactMark[] = [];
  /** The colour of each disc. */
  private shown: number[] = [];

  show(marks: readonly ContactMark[], size: FigureSize): void {
    this.clear();
    this.marks = marks;
    this.shown = [];
    if (marks.length === 0) return;
    const material = new MeshBasicMaterial({ side: DoubleSide, transparent: true, opacity: 0.85, depthWrite: false });
    const discs = new InstancedMesh(new CircleGeometry(size.height * kSize, 24), material, marks.length);
    discs.frustumCulled = false;
    const isY = size.up === "y";
    const flat = new Quaternion().setFromAxisAngle(new Vector3(1, 0, 0), isY ? -Math.PI / 2 : 0);
    marks.forEach((mark, i) => {
      const [x, y, z] = mark.place;
      const lifted = size.ground + size.height * 0.001;
      const place = isY ? new Vector3(x, lifted, z) : new Vector3(x, y, lifted);
      discs.setMatrixAt(i, new Matrix4().compose(place, flat, new Vector3(1, 1, 1)));
    });
    this.discs = discs;
    this.group.add(discs);
  }

  /** Marks which contacts are at a time, in ticks. */
  at(time: number, now: number, otherwise: number): void {
    const { discs, shown } = this;
    if (!discs) return;
    this.marks.forEach((mark, i) => {
      const colour = mark.start <= time && time <= mark.stop ? now : otherwise;
      if (shown[i] === colour) return;
      shown[i] = colour;
      discs.setColorAt(i, kColour.setHex(colour));
      discs.instanceColor!.needsUpdate = true;
    });
  }

  clear(): void {
    this.discs?.geometry.dispose();
    this.discs?.material.dispose();
    this.discs?.dispose();
    this.discs = null;
    this.group.clear();
  }
}
