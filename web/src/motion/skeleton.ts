import {
  BufferAttribute,
  BufferGeometry,
  Color,
  Group,
  IcosahedronGeometry,
  InstancedMesh,
  Matrix4,
  MeshLambertMaterial,
  Quaternion,
  Vector3,
} from "three";
import { isPlaced } from "./figure";

/** Colours of a skeleton, as numbers 0xrrggbb. */
export interface SkeletonColours {
  bone: number;
  joint: number;
  chosen: number;
}

/** Where a bone is widest, from its joint to the next, and how wide it is there for its length. */
const kWaist = 0.14;
const kWidth = 0.11;
/** Bounds of the width, as parts of the figure's height: fingers stay visible, and long bones slim. */
const kThinnest = 0.0035;
const kThickest = 0.026;
const kJointSize = 0.0085;

const kUp = new Vector3(0, 1, 0);
// Used by every bone of every frame, so that playing leaves no garbage.
const kMatrix = new Matrix4();
const kStart = new Vector3();
const kAlong = new Vector3();
const kTurn = new Quaternion();
const kScale = new Vector3();

/** A bone of length 1 along Y, as wide as 1 at its waist. */
function octahedron(): BufferGeometry {
  const corners = [
    [0, 0, 0],
    [1, kWaist, 0],
    [0, kWaist, 1],
    [-1, kWaist, 0],
    [0, kWaist, -1],
    [0, 1, 0],
  ] as const;
  const places: number[] = [];
  for (let side = 0; side < 4; ++side) {
    const here = 1 + side;
    const next = 1 + ((side + 1) % 4);
    for (const corner of [0, here, next, 5, next, here]) places.push(...(corners[corner] as readonly number[]));
  }
  const geometry = new BufferGeometry();
  geometry.setAttribute("position", new BufferAttribute(new Float32Array(places), 3));
  geometry.computeVertexNormals();
  return geometry;
}

/** Bones from every joint to each of its children, and a ball at every joint. */
export class Skeleton {
  readonly group = new Group();
  private readonly bones: InstancedMesh;
  private readonly joints: InstancedMesh;
  private readonly materials: MeshLambertMaterial[];
  /** Of each bone the joint at its far end. */
  private readonly ends: number[];
  private chosen: ReadonlySet<number> = new Set();

  constructor(
    private readonly parents: readonly number[],
    private readonly height: number,
    private colours: SkeletonColours,
    opacity = 1,
  ) {
    this.ends = parents.flatMap((parent, joint) => (parent >= 0 ? [joint] : []));
    this.materials = [0, 1].map(
      () => new MeshLambertMaterial({ transparent: opacity < 1, opacity, depthWrite: opacity === 1 }),
    );
    this.bones = new InstancedMesh(octahedron(), this.materials[0], Math.max(1, this.ends.length));
    this.joints = new InstancedMesh(new IcosahedronGeometry(1, 2), this.materials[1], Math.max(1, parents.length));
    for (const mesh of [this.bones, this.joints]) {
      mesh.frustumCulled = false;
      this.group.add(mesh);
    }
    this.choose(this.chosen);
  }

  /** Shows the joints at these places: three coordinates each. Those without a place are left out. */
  pose(positions: Float32Array): void {
    const matrix = kMatrix;
    this.ends.forEach((end, bone) => {
      this.bones.setMatrixAt(bone, this.boneMatrix(positions, this.parents[end] as number, end));
    });
    const size = this.height * kJointSize;
    for (let joint = 0; joint < this.parents.length; ++joint) {
      const scale = isPlaced(positions, joint) ? size : 0;
      matrix.makeScale(scale, scale, scale);
      if (scale > 0) matrix.setPosition(kStart.fromArray(positions, 3 * joint));
      this.joints.setMatrixAt(joint, matrix);
    }
    this.bones.instanceMatrix.needsUpdate = true;
    this.joints.instanceMatrix.needsUpdate = true;
  }

  /** Marks joints, and the bones that turn with them. */
  choose(chosen: ReadonlySet<number>): void {
    this.chosen = chosen;
    const colour = new Color();
    this.ends.forEach((end, bone) => {
      const isChosen = chosen.has(this.parents[end] as number);
      this.bones.setColorAt(bone, colour.setHex(isChosen ? this.colours.chosen : this.colours.bone));
    });
    this.parents.forEach((_, joint) => {
      this.joints.setColorAt(joint, colour.setHex(chosen.has(joint) ? this.colours.chosen : this.colours.joint));
    });
    if (this.bones.instanceColor) this.bones.instanceColor.needsUpdate = true;
    if (this.joints.instanceColor) this.joints.instanceColor.needsUpdate = true;
  }

  colour(colours: SkeletonColours): void {
    this.colours = colours;
    this.choose(this.chosen);
  }

  dispose(): void {
    for (const mesh of [this.bones, this.joints]) {
      mesh.geometry.dispose();
      mesh.dispose();
    }
    for (const material of this.materials) material.dispose();
  }

  private boneMatrix(positions: Float32Array, from: number, to: number): Matrix4 {
    kStart.fromArray(positions, 3 * from);
    kAlong.fromArray(positions, 3 * to).sub(kStart);
    const length = kAlong.length();
    if (!isPlaced(positions, from) || !isPlaced(positions, to) || length === 0) return kMatrix.makeScale(0, 0, 0);
    const width = Math.min(this.height * kThickest, Math.max(this.height * kThinnest, length * kWidth));
    kTurn.setFromUnitVectors(kUp, kAlong.divideScalar(length));
    return kMatrix.compose(kStart, kTurn, kScale.set(width, length, width));
  }
}
