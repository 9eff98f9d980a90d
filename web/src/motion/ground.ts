import { BufferAttribute, BufferGeometry, Group, LineBasicMaterial, LineSegments, Vector3 } from "three";
import { gridStep, type FigureSize } from "./figure";

/** Lines to either side of the middle; every fifth is stronger. */
const kReach = 40;
const kStrong = 5;

/** A grid on the ground that fades out with the distance from where the figure is. */
export class Ground {
  readonly group = new Group();
  readonly step: number;
  private readonly lines: LineSegments<BufferGeometry, LineBasicMaterial>;

  constructor(
    private readonly size: FigureSize,
    colour: number,
  ) {
    this.step = gridStep(size.height);
    const material = new LineBasicMaterial({ vertexColors: true, transparent: true, depthWrite: false });
    this.lines = new LineSegments(this.geometry(), material);
    this.lines.frustumCulled = false;
    this.colour(colour);
    this.group.add(this.lines);
    if (size.up === "z") this.group.rotation.x = Math.PI / 2;
  }

  /** Moves the grid along with the figure by whole strong lines, such that it seems to have no end. */
  centre(point: Vector3): void {
    const stride = this.step * kStrong;
    const snapped = (value: number): number => Math.round(value / stride) * stride;
    if (this.size.up === "y") this.group.position.set(snapped(point.x), this.size.ground, snapped(point.z));
    else this.group.position.set(snapped(point.x), snapped(point.y), this.size.ground);
  }

  colour(colour: number): void {
    this.lines.material.color.setHex(colour);
  }

  dispose(): void {
    this.lines.geometry.dispose();
    this.lines.material.dispose();
  }

  private geometry(): BufferGeometry {
    const places: number[] = [];
    const colours: number[] = [];
    const add = (x: number, z: number, strength: number): void => {
      const fade = Math.max(0, 1 - Math.hypot(x, z) / kReach);
      places.push(x * this.step, 0, z * this.step);
      colours.push(1, 1, 1, strength * fade * fade);
    };
    for (let line = -kReach; line <= kReach; ++line) {
      const strength = line % kStrong === 0 ? 0.75 : 0.3;
      for (let part = -kReach; part < kReach; part += kStrong) {
        add(line, part, strength);
        add(line, part + kStrong, strength);
        add(part, line, strength);
        add(part + kStrong, line, strength);
      }
    }
    const geometry = new BufferGeometry();
    geometry.setAttribute("position", new BufferAttribute(new Float32Array(places), 3));
    geometry.setAttribute("color", new BufferAttribute(new Float32Array(colours), 4));
    return geometry;
  }
}
