import { PerspectiveCamera, Vector3 } from "three";

/** Which axis of the world points up. */
export type UpAxis = "y" | "z";

const kSteepest = Math.PI / 2 - 0.02;
const kFieldOfView = 35;

/**
 * A camera that looks at a point from somewhere on a sphere around it. Angles are radians, lengths the file's own
 * unit. All controls, by mouse, touch or keyboard, end in `turn`, `pan` and `zoom`.
 */
export class Orbit {
  readonly camera = new PerspectiveCamera(kFieldOfView, 1, 0.1, 1000);
  readonly target = new Vector3();
  private yaw = 0.6;
  private pitch = 0.22;
  private distance = 10;
  private size = 1;
  private up: UpAxis = "y";

  /** Looks at a ball, from the front and a little above. */
  frame(centre: Vector3, radius: number, up: UpAxis): void {
    this.size = Math.max(radius, 1e-6);
    this.up = up;
    this.target.copy(centre);
    const half = (kFieldOfView * Math.PI) / 360;
    const narrowest = Math.min(half, Math.atan(Math.tan(half) * this.camera.aspect));
    this.distance = (this.size / Math.sin(narrowest)) * 1.02;
    this.update();
  }

  resize(width: number, height: number): void {
    this.camera.aspect = width / Math.max(height, 1);
    this.update();
  }

  turn(yaw: number, pitch: number): void {
    this.yaw += yaw;
    this.pitch = Math.min(kSteepest, Math.max(-kSteepest, this.pitch + pitch));
    this.update();
  }

  /** Looks from a side, at an angle above the ground. */
  look(yaw: number, pitch: number): void {
    this.yaw = yaw;
    this.pitch = 0;
    this.turn(0, pitch);
  }

  /** Moves across the picture, by parts of its height. */
  pan(right: number, up: number): void {
    const height = 2 * this.distance * Math.tan((kFieldOfView * Math.PI) / 360);
    const across = new Vector3().setFromMatrixColumn(this.camera.matrix, 0).multiplyScalar(right * height);
    const along = new Vector3().setFromMatrixColumn(this.camera.matrix, 1).multiplyScalar(up * height);
    this.target.add(across).add(along);
    this.update();
  }

  /** Gets nearer by a factor above 1, and farther by one below. */
  zoom(factor: number): void {
    this.distance = Math.min(this.size * 100, Math.max(this.size * 0.05, this.distance / factor));
    this.update();
  }

  /** Goes along with what the camera follows. */
  follow(moved: Vector3): void {
    this.target.add(moved);
    this.update();
  }

  private update(): void {
    const flat = Math.cos(this.pitch) * this.distance;
    const side = Math.sin(this.yaw) * flat;
    const front = Math.cos(this.yaw) * flat;
    const high = Math.sin(this.pitch) * this.distance;
    const isY = this.up === "y";
    this.camera.up.set(0, isY ? 1 : 0, isY ? 0 : 1);
    this.camera.position.copy(this.target);
    this.camera.position.add(isY ? new Vector3(side, high, front) : new Vector3(side, -front, high));
    this.camera.near = Math.max(this.distance * 0.01, this.size * 0.001);
    this.camera.far = this.distance + this.size * 200;
    this.camera.lookAt(this.target);
    this.camera.updateMatrix();
    this.camera.updateMatrixWorld(true);
    this.camera.updateProjectionMatrix();
  }
}
