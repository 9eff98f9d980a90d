import type { App } from "../app/app";
import { afterRest, h, icon, iconButton, onPixelRatio } from "../app/dom";
import { TypedInput } from "../app/fields";
import { icons } from "../app/icons";
import { contactMarks } from "./contact_marks";
import type { ContactMark } from "./contacts";
import { advance } from "./clock";
import "./transport.css";

const kSpeeds = ["0.1", "0.25", "0.5", "1", "1.5", "2", "4"];
/** Feet are looked for when edits have rested for so long, in milliseconds. */
const kRest = 300;

/** Puts the bar that plays a clip into an element of the page. */
export function mountTransport(host: HTMLElement, app: App): void {
  host.append(new Transport(app).element);
}

/**
 * The bar that plays a clip and shows where it is. It moves the application's time, in real time: a picture that takes
 * long to draw makes fewer pictures, and never a slower motion.
 */
class Transport {
  readonly element: HTMLElement;
  private readonly play = iconButton(icons.play, "Play", () => this.togglePlay());
  private readonly loop = iconButton(icons.loop, "Loop", () => this.toggleLoop());
  private readonly slider = h("input", { type: "range", min: 0, max: 0, step: 1, "aria-label": "Time" });
  private readonly marks = h("canvas", { "aria-hidden": "true" });
  private readonly field = h("input", { type: "text", class: "transport-time", "aria-label": "Current time", size: 9, autocomplete: "off" });
  private readonly time = new TypedInput(this.field, { commit: (text) => this.takeTyped(text), step: (frames) => this.stepFrames(frames) });
  private readonly end = h("span", { class: "transport-end" });
  private readonly speed = h(
    "select",
    { "aria-label": "Speed", title: "Speed" },
    ...kSpeeds.map((speed) => h("option", { value: speed, selected: speed === "1" }, `${speed}×`)),
  );
  private readonly findContacts = afterRest(kRest, () => this.updateContacts());
  private isLooping = true;
  private span = { start: 0, stop: 0 };
  private contacts: readonly ContactMark[] = [];
  private last = 0;
  private request = 0;

  constructor(private readonly app: App) {
    this.element = h(
      "div",
      { class: "transport", role: "group", "aria-label": "Playing" },
      iconButton(icons.first, "First frame", () => this.goTo("start")),
      iconButton(icons.back, "Frame back", () => this.stepFrames(-1)),
      this.play,
      iconButton(icons.forward, "Frame forward", () => this.stepFrames(1)),
      iconButton(icons.last, "Last frame", () => this.goTo("stop")),
      this.loop,
      this.speed,
      h("div", { class: "transport-track" }, this.slider, this.marks),
      this.field,
      this.end,
    );
    this.slider.addEventListener("input", () => this.scrub());
    new ResizeObserver(() => this.drawMarks()).observe(this.marks);
    app.on("time", () => this.showTime());
    app.on("playing", () => this.followPlaying());
    for (const event of ["document", "changed"] as const) app.on(event, () => this.refresh());
    app.on("preferences", (name) => {
      if (name === "timeUnit") this.refresh();
      else if (name === "theme") this.drawMarks();
    });
    onPixelRatio(() => this.drawMarks());
    this.loop.setAttribute("aria-pressed", "true");
    this.addCommands();
    this.refresh();
  }

  private addCommands(): void {
    const enabled = (): boolean => this.app.document !== undefined;
    const commands = [
      ["motion.play", "Play or pause", "Space", () => this.togglePlay()],
      ["motion.back", "One frame back", "ArrowLeft", () => this.stepFrames(-1)],
      ["motion.forward", "One frame forward", "ArrowRight", () => this.stepFrames(1)],
      ["motion.first", "Go to the first frame", "Home", () => this.goTo("start")],
      ["motion.last", "Go to the last frame", "End", () => this.goTo("stop")],
    ] as const;
    for (const [id, title, key, run] of commands) {
      this.app.commands.add({ id, title, group: "Playing", keys: [key], run, enabled });
    }
    const checked = (): boolean => this.isLooping;
    this.app.commands.add({ id: "motion.loop", title: "Loop", group: "Playing", checked, run: () => this.toggleLoop() });
  }

  private refresh(): void {
    const document = this.app.document;
    this.span = document?.span() ?? { start: 0, stop: 0 };
    this.element.inert = document === undefined;
    this.slider.min = String(document?.nearestFrame(this.span.start) ?? 0);
    this.slider.max = String(document?.nearestFrame(this.span.stop) ?? 0);
    this.end.textContent = document ? `/ ${this.app.formatTime(this.span.stop)}` : "";
    this.showTime();
    this.findContacts();
  }

  private showTime(): void {
    const text = this.app.formatTime(this.app.time);
    this.time.show(text);
    this.slider.value = String(this.app.document?.nearestFrame(this.app.time) ?? 0);
    this.slider.setAttribute("aria-valuetext", text);
  }

  private scrub(): void {
    this.app.setPlaying(false);
    this.app.setTime(this.app.document?.frameTime(Number(this.slider.value)) ?? 0);
  }

  /** The bar has no room for a message; it is told below, with the others. */
  private takeTyped(text: string): boolean {
    const time = this.app.parseTime(text);
    if (time === undefined) {
      this.app.status(`"${text}" is no time. Type frames (45f), seconds (1.5s) or a time code.`, "error");
      return false;
    }
    this.app.setPlaying(false);
    this.app.setTime(time);
    return true;
  }

  private goTo(end: "start" | "stop"): void {
    this.app.setTime(this.span[end]);
  }

  private stepFrames(frames: number): void {
    const document = this.app.document;
    if (!document) return;
    this.app.setPlaying(false);
    // From between two frames the first step leads to the next one on that side.
    const { time } = this.app;
    const nearest = document.nearestFrame(time);
    const kRounding = 2; // ticks
    const apart = document.frameTime(nearest) - time;
    const beside = Math.abs(apart) > kRounding ? Math.sign(apart) : 0;
    const isStep = beside !== 0 && beside === Math.sign(frames);
    this.app.setTime(document.frameTime(nearest + frames - (isStep ? beside : 0)));
  }

  private toggleLoop(): void {
    this.isLooping = !this.isLooping;
    this.loop.setAttribute("aria-pressed", String(this.isLooping));
  }

  private togglePlay(): void {
    if (!this.app.playing && !this.isLooping && this.app.time >= this.span.stop) this.goTo("start");
    this.app.setPlaying(!this.app.playing);
  }

  private followPlaying(): void {
    const { playing } = this.app;
    const title = playing ? "Pause" : "Play";
    this.play.setAttribute("aria-label", title);
    this.play.title = title;
    this.play.replaceChildren(icon(playing ? icons.pause : icons.play));
    cancelAnimationFrame(this.request);
    if (!playing) return;
    this.last = performance.now();
    this.request = requestAnimationFrame((now) => this.tick(now));
  }

  private tick(now: number): void {
    this.request = requestAnimationFrame((later) => this.tick(later));
    const passed = Math.max(0, now - this.last);
    this.last = now;
    const playing = { ...this.span, speed: Number(this.speed.value), loop: this.isLooping };
    const { time, goesOn } = advance(this.app.time, passed, playing);
    this.app.setTime(time);
    if (!goesOn) this.app.setPlaying(false);
  }

  private updateContacts(): void {
    const document = this.app.document;
    this.contacts = document && document.joints.length > 0 ? contactMarks(document, "current") : [];
    this.drawMarks();
  }

  /** A row for each foot, filled where it stands. */
  private drawMarks(): void {
    const { marks } = this;
    marks.width = Math.round(marks.clientWidth * devicePixelRatio);
    marks.height = Math.round(marks.clientHeight * devicePixelRatio);
    const context = marks.getContext("2d");
    const { start, stop } = this.span;
    if (!context || !(stop > start)) return;
    context.fillStyle = getComputedStyle(marks).color;
    const feet = [...new Set(this.contacts.map((contact) => contact.joint))];
    const row = marks.height / Math.max(2, feet.length);
    const x = (time: number): number => ((time - start) / (stop - start)) * marks.width;
    for (const contact of this.contacts) {
      const width = Math.max(devicePixelRatio, x(contact.stop) - x(contact.start));
      context.fillRect(x(contact.start), feet.indexOf(contact.joint) * row, width, Math.max(1, row - devicePixelRatio));
    }
  }
}
