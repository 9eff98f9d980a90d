import { Vector3 } from "three";
import type { App } from "../app/app";
import { afterRest, h, iconButton, onPixelRatio, oncePerFrame } from "../app/dom";
import { formatNumber } from "../app/numbers";
import { icons } from "../app/icons";
import type { EditorDocument, Version } from "../engine/engine";
import { CameraInput, type Click } from "./camera_input";
import { readColours } from "./colours";
import { contactMarks } from "./contact_marks";
import type { ContactMark } from "./contacts";
import { boundsOf, isPlaced, measureFigure, type FigureSize } from "./figure";
import { LabelsLayer, type LabelColours } from "./labels_layer";
import "./motion.css";
import { pickJoint } from "./picking";
import { Sharpness } from "./sharpness";
import { Stage } from "./stage";
import type { Trail } from "./trails";

/** What can be switched on and off. */
type Switch = "names" | "ghost" | "trails" | "contacts" | "follow";

const kSwitches: Readonly<Record<Switch, { title: string; key: string; icon: string; isOn: boolean }>> = {
  names: { title: "Names of joints", key: "N", icon: icons.label, isOn: true },
  ghost: { title: "Ghost of the original", key: "G", icon: icons.ghost, isOn: false },
  trails: { title: "Trails of chosen joints", key: "T", icon: icons.trail, isOn: true },
  contacts: { title: "Where feet stand", key: "C", icon: icons.foot, isOn: true },
  follow: { title: "Follow the figure", key: "O", icon: icons.follow, isOn: true },
};

/** The line that tells where the chosen joint is, in CSS pixels. */
const kInfoHeight = 28;
const kTouchReach = 2;
/** Of a trail, at most. */
const kTrailPoints = 1500;
/** Times at which the height of the ground is looked for. */
const kGroundSamples = 60;
/** Trails and contacts are made anew when edits have rested for so long, in milliseconds. */
const kRest = 200;
const kHalfTurn = Math.PI;

/** Puts the motion view into an element of the page. */
export function mountMotion(host: HTMLElement, app: App): void {
  const canvas = h("canvas", { class: "motion-picture", "aria-hidden": "true" });
  const message = h("p", { class: "motion-message", role: "status" });
  const panel = h("div", { class: "motion" }, canvas, message);
  host.append(panel);
  let stage: Stage;
  try {
    stage = new Stage(canvas, readColours(panel).stage);
  } catch {
    canvas.remove();
    message.textContent =
      "The motion cannot be drawn here, as this browser has no WebGL or it is switched off. Playing, curves, layers and filters work without it.";
    return;
  }
  new MotionView(panel, canvas, message, stage, app);
}

/** The skeleton as it moves. */
class MotionView {
  private readonly surface = h("div", {
    class: "motion-surface",
    role: "application",
    tabindex: 0,
    "aria-label": "Motion view",
    "aria-roledescription": "view of the skeleton in three dimensions",
  });
  private readonly names = h("canvas", { class: "motion-names", "aria-hidden": "true" });
  private readonly info = h("output", { class: "motion-info", "aria-label": "Chosen joint" });
  private readonly labels: LabelsLayer;
  private readonly on = new Map<Switch, boolean>();
  private readonly draw = oncePerFrame(() => this.drawNow());
  private readonly updateMarks = afterRest(kRest, () => {
    this.showTrails();
    this.showContacts();
  });
  private document: EditorDocument | undefined;
  private parents: number[] = [];
  private size: FigureSize | undefined;
  private positions: Float32Array = new Float32Array();
  /** Kept until the motion or its preview changes. */
  private marks: readonly ContactMark[] | undefined;
  private readonly sharpness = new Sharpness();
  private hovered = -1;
  private followed: Vector3 | undefined;
  private labelColours: LabelColours;

  constructor(
    private readonly panel: HTMLElement,
    canvas: HTMLCanvasElement,
    private readonly message: HTMLElement,
    private readonly stage: Stage,
    private readonly app: App,
  ) {
    this.labels = new LabelsLayer(this.names);
    this.labelColours = readColours(panel).labels;
    canvas.after(this.names, this.surface, this.info, this.toolbar());
    new CameraInput(this.surface, stage.orbit, () => this.draw(), (click) => this.click(click));
    this.surface.addEventListener("pointermove", (event) => this.hover(event));
    this.surface.addEventListener("pointerleave", () => this.setHovered(-1));
    canvas.addEventListener("webglcontextlost", () => this.tell("The graphics of this machine were reset. The picture comes back when they do."));
    canvas.addEventListener("webglcontextrestored", () => this.open());
    new ResizeObserver(() => this.resize()).observe(panel);
    onPixelRatio(() => this.resize());
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.recolour());
    this.listen();
    this.addCommands();
    this.open();
  }

  private listen(): void {
    const { app } = this;
    app.on("document", () => this.open());
    app.on("time", () => this.showTime());
    app.on("dragging", () => this.showTime());
    app.on("joints", () => this.showChosen());
    app.on("preferences", (name) => {
      if (name === "theme") this.recolour();
    });
    app.on("playing", () => this.draw());
    for (const event of ["changed", "preview"] as const) app.on(event, () => this.refresh());
  }

  private toolbar(): HTMLElement {
    const buttons = (Object.keys(kSwitches) as Switch[]).map((name) => {
      const { title, key, icon, isOn } = kSwitches[name];
      const button = iconButton(icon, `${title} (${key})`, () => this.toggle(name));
      button.dataset["switch"] = name;
      button.setAttribute("aria-pressed", String(isOn));
      this.on.set(name, isOn);
      return button;
    });
    const frame = iconButton(icons.frame, "Frame the figure (F)", () => this.frame());
    return h("div", { class: "motion-tools", role: "toolbar", "aria-label": "Motion view" }, ...buttons, frame);
  }

  private addCommands(): void {
    const { orbit } = this.stage;
    const camera = (act: () => void) => (): void => {
      act();
      this.draw();
    };
    const commands: [string, string, string, () => void][] = [
      ["frame", "Frame the figure", "F", () => this.frame()],
      ["turnLeft", "Turn the camera left", "Shift+ArrowLeft", camera(() => orbit.turn(-0.15, 0))],
      ["turnRight", "Turn the camera right", "Shift+ArrowRight", camera(() => orbit.turn(0.15, 0))],
      ["turnUp", "Turn the camera up", "Shift+ArrowUp", camera(() => orbit.turn(0, 0.1))],
      ["turnDown", "Turn the camera down", "Shift+ArrowDown", camera(() => orbit.turn(0, -0.1))],
      ["panLeft", "Move the camera left", "Mod+ArrowLeft", camera(() => orbit.pan(-0.05, 0))],
      ["panRight", "Move the camera right", "Mod+ArrowRight", camera(() => orbit.pan(0.05, 0))],
      ["panUp", "Move the camera up", "Mod+ArrowUp", camera(() => orbit.pan(0, 0.05))],
      ["panDown", "Move the camera down", "Mod+ArrowDown", camera(() => orbit.pan(0, -0.05))],
      ["nearer", "Zoom in", "+", camera(() => orbit.zoom(1.15))],
      ["farther", "Zoom out", "-", camera(() => orbit.zoom(1 / 1.15))],
      ["front", "Look from the front", "1", camera(() => orbit.look(0, 0))],
      ["side", "Look from the side", "3", camera(() => orbit.look(kHalfTurn / 2, 0))],
      ["top", "Look from above", "7", camera(() => orbit.look(0, kHalfTurn))],
      ["parentJoint", "Choose the joint above", "ArrowUp", () => this.walk((joint) => this.parents[joint] ?? -1)],
      ["childJoint", "Choose the joint below", "ArrowDown", () => this.walk((joint) => this.parents.indexOf(joint))],
      ["nextJoint", "Choose the next joint", "PageDown", () => this.walk((joint) => joint + 1)],
      ["previousJoint", "Choose the joint before", "PageUp", () => this.walk((joint) => joint - 1)],
    ];
    for (const [id, title, key, run] of commands) {
      this.app.commands.add({ id: `motion.${id}`, title, group: "Motion view", keys: [key], scope: "motion", run });
    }
    for (const name of Object.keys(kSwitches) as Switch[]) {
      const { title, key } = kSwitches[name];
      const checked = (): boolean => this.isOn(name);
      const run = (): void => this.toggle(name);
      this.app.commands.add({ id: `motion.${name}`, title, group: "Motion view", keys: [key], scope: "motion", checked, run });
    }
  }

  private isOn(name: Switch): boolean {
    return this.on.get(name) ?? false;
  }

  private toggle(name: Switch): void {
    this.on.set(name, !this.isOn(name));
    this.panel.querySelector(`[data-switch=${name}]`)?.setAttribute("aria-pressed", String(this.isOn(name)));
    this.followed = undefined;
    if (name === "trails") this.showTrails();
    if (name === "contacts") this.showContacts();
    this.showTime();
  }

  /** Takes the document that is open now. */
  private open(): void {
    const document = this.app.document;
    this.document = document && document.joints.length > 0 ? document : undefined;
    this.panel.classList.toggle("motion-empty", this.document === undefined);
    if (!document) return;
    if (!this.document) return this.tell("This file has no skeleton: it has curves, and nothing that can be drawn here.");
    this.tell("");
    const start = document.span()?.start ?? 0;
    this.positions = document.positions(start);
    this.parents = document.joints.map((joint) => joint.parent);
    const up = document.up === "Z" ? "z" : "y";
    this.size = measureFigure(this.positions, up, document.height, this.lowestPlaces(document));
    this.stage.setFigure(this.parents, this.size);
    this.labels.setJoints(document.joints);
    this.followed = undefined;
    this.showChosen();
    this.refresh();
  }

  private lowestPlaces(document: EditorDocument): number[] {
    const span = document.span() ?? { start: 0, stop: 0 };
    const axis = document.up === "Z" ? 2 : 1;
    return Array.from({ length: kGroundSamples }, (_, i) => {
      const time = Math.round(span.start + ((span.stop - span.start) * i) / (kGroundSamples - 1));
      return boundsOf(document.positions(time))[0][axis];
    });
  }

  private tell(message: string): void {
    this.message.textContent = message;
  }

  private get version(): Version {
    return this.app.preview === undefined ? "current" : "preview";
  }

  /** Shows the motion as it is after an edit, or what filters would make of it. */
  private refresh(): void {
    if (!this.document) return;
    this.marks = undefined;
    this.updateMarks();
    this.showTime();
  }

  private showTime(): void {
    const { document, stage } = this;
    if (!document) return;
    const { time } = this.app;
    this.positions = document.positions(time, this.version);
    stage.pose(this.positions);
    stage.poseGhost(this.ghostPlaces(document, time));
    stage.setTime(time);
    this.follow();
    this.showInfo();
    this.draw();
  }

  /** The motion before the filters that are tried out, or that of the file as it was opened. */
  private ghostPlaces(document: EditorDocument, time: number): Float32Array | null {
    if (this.app.preview !== undefined) return document.positions(time, "current");
    return this.isOn("ghost") ? document.positions(time, "original") : null;
  }

  /** Moves the camera along the ground with the first joint. */
  private follow(): void {
    if (!this.isOn("follow") || !this.size || !isPlaced(this.positions, 0)) return;
    const root = new Vector3().fromArray(this.positions);
    this.stage.centreGround(root);
    if (this.size.up === "y") root.y = 0;
    else root.z = 0;
    if (this.followed) this.stage.orbit.follow(root.clone().sub(this.followed));
    this.followed = root;
  }

  private frame(): void {
    if (!this.size) return;
    const [low, high] = boundsOf(this.positions);
    const centre = new Vector3(...low).add(new Vector3(...high)).multiplyScalar(0.5);
    this.stage.orbit.frame(centre, this.size.radius, this.size.up);
    this.draw();
  }

  private showChosen(): void {
    if (!this.document) return;
    this.stage.choose(this.app.joints);
    this.showTrails();
    this.showInfo();
    this.draw();
  }

  private showInfo(): void {
    const [joint] = this.app.joints;
    const isShown = joint !== undefined && joint < this.parents.length;
    const places = isShown ? [...this.positions.subarray(3 * joint, 3 * joint + 3)] : [];
    const more = this.app.joints.size > 1 ? ` and ${this.app.joints.size - 1} more` : "";
    const text = isShown ? `${this.document?.joints[joint]?.title}${more}  ${places.map((place) => formatNumber(place, 3)).join("  ")}` : "";
    if (this.info.value !== text) this.info.value = text;
  }

  private showTrails(): void {
    if (!this.document) return;
    this.stage.showTrails(this.isOn("trails") ? this.trails(this.document) : []);
    this.draw();
  }

  private showContacts(): void {
    const { document, size } = this;
    if (!document || !size) return;
    const isOn = this.isOn("contacts");
    if (isOn) this.marks ??= contactMarks(document, this.version);
    this.stage.showContacts((isOn && this.marks) || [], size);
    this.draw();
  }

  private trails(document: EditorDocument): Trail[] {
    const span = document.span();
    if (!span) return [];
    const first = document.nearestFrame(span.start);
    const frames = document.nearestFrame(span.stop) - first;
    const stride = Math.max(1, Math.ceil(frames / kTrailPoints));
    const times = Float64Array.from({ length: Math.floor(frames / stride) + 1 }, (_, i) => document.frameTime(first + i * stride));
    const joints = [...this.app.joints].filter((joint) => joint < this.parents.length);
    return joints.map((joint) => ({ times, places: document.trail(joint, times, this.version) }));
  }

  private click({ x, y, isTouch, adds }: Click): void {
    const joint = this.jointAt(x, y, isTouch ? kTouchReach : 1);
    const chosen = new Set(adds ? this.app.joints : []);
    if (joint >= 0 && !chosen.delete(joint)) chosen.add(joint);
    this.app.chooseJoints(chosen, chosen.size > 0);
  }

  private jointAt(x: number, y: number, reach = 1): number {
    const joint = pickJoint(this.stage.project(this.positions), this.parents, x, y, reach);
    const isEndSite = this.document?.joints[joint]?.isEndSite ?? false;
    return isEndSite ? this.parents[joint]! : joint;
  }

  private hover(event: PointerEvent): void {
    if (event.buttons !== 0 || event.pointerType === "touch" || !this.document) return;
    const { left, top } = this.surface.getBoundingClientRect();
    this.setHovered(this.jointAt(event.clientX - left, event.clientY - top));
  }

  private setHovered(joint: number): void {
    if (joint === this.hovered) return;
    this.hovered = joint;
    this.surface.style.cursor = joint < 0 ? "" : "pointer";
    this.draw();
  }

  /** Chooses another joint by keyboard; end sites are passed over. */
  private walk(next: (joint: number) => number): void {
    const joints = this.document?.joints ?? [];
    const [from] = this.app.joints;
    let to = from === undefined ? 0 : next(from);
    while (joints[to]?.isEndSite) to = next(to);
    const joint = joints[to];
    if (!joint) return;
    this.app.chooseJoints([to], true);
    this.app.status(joint.title);
  }

  private resize(): void {
    const { clientWidth, clientHeight } = this.panel;
    if (clientWidth === 0 || clientHeight === 0) return;
    this.stage.resize(clientWidth, clientHeight, devicePixelRatio);
    this.labels.resize(clientWidth, clientHeight, devicePixelRatio);
    this.drawNow();
  }

  private recolour(): void {
    const { stage, labels } = readColours(this.panel);
    this.stage.setColours(stage);
    this.labelColours = labels;
    this.draw();
  }

  private drawNow(): void {
    if (!this.document || this.panel.clientWidth === 0) return;
    this.stage.draw(this.sharpness.next(performance.now(), this.app.playing));
    const { joints } = this.document;
    const shown = this.isOn("names") ? joints.keys() : [this.hovered].filter((joint) => joint >= 0);
    const emphasised = new Set(this.app.joints);
    if (this.hovered >= 0) emphasised.add(this.hovered);
    this.labels.draw(joints, shown, emphasised, this.stage.project(this.positions), this.labelColours, this.info.value ? kInfoHeight : 0);
  }
}
