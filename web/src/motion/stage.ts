import { DirectionalLight, HemisphereLight, Scene, Vector3, WebGLRenderer } from "three";
import { Contacts, type ContactMark } from "./contacts";
import type { FigureSize } from "./figure";
import { Ground } from "./ground";
import { Orbit } from "./orbit";
import type { ScreenPoints } from "./picking";
import { Skeleton } from "./skeleton";
import { Trails, type Trail } from "./trails";

/** Colours of the stage, as numbers 0xrrggbb. */
export interface StageColours {
  background: number;
  grid: number;
  bone: number;
  joint: number;
  chosen: number;
  ghost: number;
  trail: number;
  contact: number;
  standing: number;
}

/** Everything that is drawn in three dimensions. It draws what it is given, and knows nothing of the document. */
export class Stage {
  readonly orbit = new Orbit();
  private readonly renderer: WebGLRenderer;
  private readonly scene = new Scene();
  private readonly light = new DirectionalLight(0xffffff, 2.2);
  private readonly trails = new Trails();
  private readonly contacts = new Contacts();
  private ground: Ground | null = null;
  private figure: Skeleton | null = null;
  private ghost: Skeleton | null = null;
  private ratio = 1;
  private width = 1;
  private height = 1;
  private time = 0;

  /** Throws where the browser has no WebGL. */
  constructor(
    canvas: HTMLCanvasElement,
    private colours: StageColours,
  ) {
    this.renderer = new WebGLRenderer({ canvas, antialias: true, powerPreference: "low-power" });
    this.scene.add(new HemisphereLight(0xffffff, 0x777788, 1.6), this.light, this.trails.group, this.contacts.group);
  }

  /** Takes another skeleton, and looks at it. */
  setFigure(parents: readonly number[], size: FigureSize): void {
    this.clearFigure();
    this.ground = new Ground(size, this.colours.grid);
    this.figure = new Skeleton(parents, size.height, this.colours);
    const { ghost } = this.colours;
    this.ghost = new Skeleton(parents, size.height * 0.98, { bone: ghost, joint: ghost, chosen: ghost }, 0.35);
    this.ghost.group.visible = false;
    this.scene.add(this.ground.group, this.ghost.group, this.figure.group);
    this.light.position.set(0.5, 1, 0.8);
    if (size.up === "z") this.light.position.set(0.5, -0.8, 1);
    this.ground.centre(new Vector3(...size.centre));
    this.orbit.frame(new Vector3(...size.centre), size.radius, size.up);
    this.applyColours();
  }

  setColours(colours: StageColours): void {
    this.colours = colours;
    this.applyColours();
  }

  pose(positions: Float32Array): void {
    this.figure?.pose(positions);
  }

  /** Shows a second, see-through figure; null hides it. */
  poseGhost(positions: Float32Array | null): void {
    if (!this.ghost) return;
    this.ghost.group.visible = positions !== null && positions.length > 0;
    if (positions) this.ghost.pose(positions);
  }

  choose(joints: ReadonlySet<number>): void {
    this.figure?.choose(joints);
  }

  showTrails(trails: readonly Trail[]): void {
    this.trails.show(trails);
    this.trails.at(this.time);
  }

  showContacts(marks: readonly ContactMark[], size: FigureSize): void {
    this.contacts.show(marks, size);
    this.contacts.at(this.time, this.colours.standing, this.colours.contact);
  }

  /** Tells trails and contacts the time, in ticks. */
  setTime(time: number): void {
    this.time = time;
    this.trails.at(time);
    this.contacts.at(time, this.colours.standing, this.colours.contact);
  }

  /** Keeps the ground below a point. */
  centreGround(point: Vector3): void {
    this.ground?.centre(point);
  }

  resize(width: number, height: number, ratio: number): void {
    this.width = width;
    this.height = height;
    this.ratio = ratio;
    this.renderer.setPixelRatio(ratio);
    this.renderer.setSize(width, height, false);
    this.trails.resize(width, height);
    this.orbit.resize(width, height);
  }

  /** Draws the picture, with a part of the pixels that the screen has. */
  draw(sharpness: number): void {
    const ratio = this.ratio * sharpness;
    if (ratio !== this.renderer.getPixelRatio()) this.renderer.setPixelRatio(ratio);
    this.renderer.render(this.scene, this.orbit.camera);
  }

  /** Where joints are in the picture. */
  project(positions: Float32Array): ScreenPoints {
    const points = new Float32Array(positions.length);
    const point = new Vector3();
    for (let i = 0; i + 2 < positions.length; i += 3) {
      point.fromArray(positions, i);
      const distance = point.distanceTo(this.orbit.camera.position);
      point.project(this.orbit.camera);
      const isSeen = point.z > -1 && point.z < 1;
      points[i] = isSeen ? ((point.x + 1) / 2) * this.width : NaN;
      points[i + 1] = isSeen ? ((1 - point.y) / 2) * this.height : NaN;
      points[i + 2] = distance;
    }
    return points;
  }

  private clearFigure(): void {
    this.trails.clear();
    this.contacts.clear();
    for (const part of [this.ground, this.figure, this.ghost]) {
      if (!part) continue;
      this.scene.remove(part.group);
      part.dispose();
    }
    this.ground = this.figure = this.ghost = null;
  }

  private applyColours(): void {
    const { background, grid, bone, joint, chosen, ghost, trail, contact, standing } = this.colours;
    this.renderer.setClearColor(background);
    this.ground?.colour(grid);
    this.figure?.colour({ bone, joint, chosen });
    this.ghost?.colour({ bone: ghost, joint: ghost, chosen: ghost });
    this.trails.colour(trail, trail);
    this.contacts.at(this.time, standing, contact);
  }
}
