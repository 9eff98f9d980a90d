import type { KeyRange, ManipulationOptions, Version } from "../engine/engine";
import type { App } from "../app/app";
import { h, onPixelRatio, oncePerFrame } from "../app/dom";
import { formatNumber } from "../app/numbers";
import { openMenu } from "../app/menu";
import { colorNumber, type GraphColors, readColors } from "./colors";
import { addGraphCommands } from "./commands";
import { contextMenu } from "./contextmenu";
import { visibleHandles, type Handle, KeyTables } from "./handles";
import { curveAt, Drawn, keyAt, keyCounts, type KeyHit } from "./hits";
import { GraphInput } from "./input";
import { kCoveredGap, kGutter, kRuler, paintCurves, paintGrid, paintKeys, lastOf, paintPicture, type Painter } from "./paint";
import { paintHandles, paintScaleBox, paintShape, paintTime, type Shape } from "./paintoverlay";
import { ScaleBox } from "./scalebox";
import { Sharpness } from "./sharpness";
import { describeGraph } from "./describe";
import { trackTitle } from "../tree/treemodel";
import { buildToolbar } from "./toolbar";
import { Viewport } from "./viewport";

/** What a drag does: selects with a box or a lasso and moves keys, or stretches, scales or levels the selected ones. */
export type Tool = "select" | "lasso" | "stretch" | "scale" | "setValue";
/** What else is drawn behind the curves. */
export interface Backdrops {
  original: boolean;
  played: boolean;
}

const kKeyReach = 7;
const kHandleReach = 8;
const kCurveReach = 6;

/** The graph editor: it draws the visible curves and knows what is where; tools and commands act through it. */
export class Graph {
  readonly viewport = new Viewport();
  readonly tables = new KeyTables();
  tool: Tool = "select";
  ripple: Required<Pick<ManipulationOptions, "rippleTime" | "rippleValue" | "rippleAllValues">> = {
    rippleTime: false,
    rippleValue: false,
    rippleAllValues: false,
  };
  backdrops: Backdrops = { original: false, played: false };

  /** Takes the keyboard; the canvases are in it. */
  readonly area: HTMLElement;
  private readonly base = h("canvas", { "aria-hidden": "true" });
  private readonly overlay = h("canvas", { "aria-hidden": "true" });
  private readonly description = h("p", { class: "visually-hidden", id: "graph-description" });
  private readonly readout = h("div", { class: "graph-readout", "aria-hidden": "true" });
  private readonly legend = h("div", { class: "graph-legend" });
  private colors: GraphColors;
  private drawn: Drawn | undefined;
  private handles: Handle[] = [];
  private shape: Shape | undefined;
  private shownTracks: ReadonlySet<number> = new Set();
  /** Kept until other keys are selected or they move. */
  private selectionRange: KeyRange | undefined;
  private readonly toolbar: { element: HTMLElement; refresh: () => void };

  readonly redraw = oncePerFrame(() => this.paintAll());
  private readonly sharpness = new Sharpness(this.redraw);
  readonly redrawOverlay = oncePerFrame(() => this.paintOverlay());

  constructor(
    host: HTMLElement,
    readonly app: App,
  ) {
    this.area = h(
      "div",
      {
        class: "graph-area",
        role: "application",
        "aria-roledescription": "graph",
        "aria-label": "Curves",
        "aria-describedby": "graph-description",
        tabindex: 0,
        "data-first-focus": true,
        "data-scope": "graph",
      },
      this.base,
      this.overlay,
      this.readout,
      this.legend,
    );
    addGraphCommands(this);
    this.toolbar = buildToolbar(this);
    host.append(this.toolbar.element, this.area, this.description);
    this.colors = readColors(host);
    new GraphInput(this);
    new ResizeObserver(() => this.resize()).observe(this.area);
    onPixelRatio(() => this.resize());
    this.listen();
  }

  private listen(): void {
    const { app } = this;
    const recolor = (): void => {
      this.colors = readColors(this.area);
      this.redraw();
    };
    const forgetRange = (): void => {
      this.selectionRange = undefined;
    };
    window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", recolor);
    app.on("preferences", (name) => {
      if (name === "theme") recolor();
      else if (name === "timeUnit") this.redraw();
    });
    for (const event of ["document", "changed", "selection", "dragging"] as const) app.on(event, forgetRange);
    app.on("document", () => {
      this.tables.clear();
      this.drawn = undefined;
      this.shownTracks = new Set();
    });
    app.on("preview", () => {
      this.legend.textContent = app.preview === undefined ? "" : `after ${app.preview}; dashed: as it is`;
    });
    app.on("tracks", () => this.frameNewTracks());
    for (const event of ["changed", "selection", "dragging", "preview", "layer"] as const) app.on(event, this.redraw);
    for (const event of ["changed", "selection", "tracks", "preferences"] as const) app.on(event, () => this.toolbar.refresh());
    app.on("time", (time) => {
      if (app.playing && this.viewport.reveal(time)) this.redraw();
      this.redrawOverlay();
    });
  }

  /** Curves of which none was seen before are brought into sight; adding one to others leaves the view alone. */
  private frameNewTracks(): void {
    const tracks = [...this.app.visibleTracks];
    const isNew = tracks.length > 0 && !tracks.some((track) => this.shownTracks.has(track));
    if (isNew && this.shownTracks.size === 0) this.frameAll();
    else if (isNew) this.frameValues();
    this.shownTracks = new Set(tracks);
    this.redraw();
  }

  frameAll(): void {
    const range = this.app.document?.range(this.app.visibleTracks);
    if (!range || range.count === 0) return;
    this.viewport.frame(range);
    this.redraw();
  }

  /** Brings the values of the curves into sight, with the times that are seen. */
  frameValues(): void {
    const { start, stop } = this.viewport;
    const range = this.app.document?.range(this.app.visibleTracks, start, stop);
    if (!range || range.count === 0) return this.frameAll();
    const middle = (start + stop) / 2;
    this.viewport.frame({ ...range, start: middle, stop: middle });
    this.redraw();
  }

  frameSelection(): void {
    const range = this.app.document?.selectionRange();
    if (!range || range.count === 0) return this.frameAll();
    this.viewport.frame(range);
    this.redraw();
  }

  showShape(shape: Shape | undefined): void {
    this.shape = shape;
    this.redrawOverlay();
  }

  /** Shows in the corner where keys are that are being dragged. */
  showRange(range: KeyRange | undefined): void {
    this.readout.textContent = range ? this.rangeText(range) : "";
  }

  /** Shows in the corner where the pointer is, and on which curve. */
  showPlace(place: { x: number; y: number } | undefined, curve: number): void {
    if (!place || place.x < 0 || place.y < 0) {
      this.readout.textContent = "";
      return;
    }
    const track = this.app.track(curve);
    const time = this.app.formatTime(Math.round(this.viewport.timeAt(place.x)));
    const texts = [time, formatNumber(this.viewport.valueAt(place.y), 3), track ? trackTitle(track) : ""];
    this.readout.textContent = texts.filter(Boolean).join("   ");
  }

  private rangeText(range: KeyRange): string {
    const { app } = this;
    const value = (number: number): string => formatNumber(number, 3);
    const times = range.start === range.stop ? app.formatTime(range.start) : `${app.formatTime(range.start)} … ${app.formatTime(range.stop)}`;
    const values = range.least === range.greatest ? value(range.least) : `${value(range.least)} … ${value(range.greatest)}`;
    return `${times}   ${values}`;
  }

  keyAt(place: { x: number; y: number }): KeyHit | undefined {
    const drawn = this.touchable;
    return drawn && keyAt(drawn, place.x, place.y, kKeyReach, this.app.activeTrack);
  }

  curveAt(place: { x: number; y: number }): number {
    const drawn = this.touchable;
    return drawn ? curveAt(drawn, place.x, place.y, kCurveReach, this.app.activeTrack) : -1;
  }

  /** What was drawn last, unless a track of it has gone since. */
  private get touchable(): Drawn | undefined {
    return this.drawn?.tracks.every((track) => this.app.track(track)) ? this.drawn : undefined;
  }

  handleAt(place: { x: number; y: number }): Handle | undefined {
    return this.handles.find((handle) => Math.hypot(handle.x - place.x, handle.y - place.y) <= kHandleReach);
  }

  /** The box with grips, while its tool is in use and several keys are selected. */
  scaleBox(): ScaleBox | undefined {
    if (this.tool !== "stretch") return undefined;
    this.selectionRange ??= this.app.document?.selectionRange();
    const range = this.selectionRange;
    return range && range.count > 1 ? new ScaleBox(this.viewport, range) : undefined;
  }

  setTool(tool: Tool): void {
    this.tool = tool;
    this.toolbar.refresh();
    this.redrawOverlay();
  }

  setRipple(change: Partial<Graph["ripple"]>): void {
    this.ripple = { ...this.ripple, ...change };
    this.toolbar.refresh();
  }

  setBackdrops(change: Partial<Backdrops>): void {
    this.backdrops = { ...this.backdrops, ...change };
    this.toolbar.refresh();
    this.redraw();
  }

  openContextMenu(x: number, y: number): void {
    openMenu(this.app.commands, contextMenu(), "Keys and curves", { x, y });
  }

  private resize(): void {
    const box = this.area.getBoundingClientRect();
    this.viewport.width = Math.max(1, box.width - kGutter);
    this.viewport.height = Math.max(1, box.height - kRuler);
    for (const canvas of [this.base, this.overlay]) {
      canvas.width = Math.max(1, Math.round(box.width * this.ratio));
      canvas.height = Math.max(1, Math.round(box.height * this.ratio));
    }
    this.paintAll();
  }

  private get ratio(): number {
    return window.devicePixelRatio || 1;
  }

  private painter(canvas: HTMLCanvasElement): Painter | undefined {
    const context = canvas.getContext("2d");
    if (!context) return undefined;
    return { context, ratio: this.ratio, viewport: this.viewport, colors: this.colors };
  }

  private paintAll(): void {
    const painter = this.painter(this.base);
    if (!painter) return;
    const { app } = this;
    paintGrid(painter, app.document, app.preferences.get("timeUnit"));
    if (app.document) this.paintTracks(painter);
    this.describe();
    this.paintOverlay();
  }

  private paintTracks(painter: Painter): void {
    const { app } = this;
    const document = app.document;
    const tracks = app.visibleTracks;
    if (!document || tracks.length === 0) {
      this.drawn = undefined;
      this.handles = [];
      return;
    }
    const window = this.viewport.window(this.ratio);
    const colors = [...tracks].map((track) => this.colors.curve(app.track(track)?.color ?? "#808080"));
    const faint = colors.map(() => this.colors.before);
    const style = { colors, width: 1.25, strong: tracks.indexOf(app.activeTrack), alpha: 1, dash: [] };
    if (this.backdrops.original) {
      paintCurves(painter, document.drawCurves(tracks, window, "original"), { ...style, colors: faint, strong: -1, dash: [4, 3] });
    }
    if (this.backdrops.played) {
      paintCurves(painter, document.drawPlayed(tracks, window), { ...style, strong: -1, alpha: 0.6, dash: [1.5, 2.5] });
    }
    this.drawn = new Drawn(document, tracks, window, this.ratio);
    if (app.preview !== undefined) {
      paintCurves(painter, this.drawn.curves, { ...style, colors: faint, strong: -1, dash: [4, 3] });
      this.paintSolid(painter, tracks, colors, "preview");
      this.handles = [];
      return;
    }
    this.paintSolid(painter, tracks, colors, "current");
    const keys = document.drawKeys(tracks, window, kCoveredGap * this.ratio);
    paintKeys(painter, keys, colors);
    this.handles = visibleHandles(document, app.selection, this.tables, this.viewport, keyCounts(tracks, keys));
  }

  /** Paints curves as a picture where they are too dense for lines, the active one on top. */
  private paintSolid(painter: Painter, tracks: Int32Array, colors: readonly string[], version: Version): void {
    const document = this.app.document;
    if (!document) return;
    const strong = tracks.indexOf(this.app.activeTrack);
    const order = lastOf(tracks.length, strong);
    const sorted = order.map((curve) => tracks[curve] ?? -1);
    const numbers = order.map((curve) => colorNumber(colors[curve] ?? ""));
    const isPainted = this.sharpness.paint(this.base.width * this.base.height, (scale) => {
      const picture = document.paintCurves(sorted, this.viewport.window(scale * this.ratio), numbers, version);
      if (picture) paintPicture(painter, picture, 1 / scale);
      return picture !== undefined;
    });
    if (isPainted) return;
    const window = this.viewport.window(this.ratio);
    const curves = version === "current" && this.drawn ? this.drawn.curves : document.drawCurves(tracks, window, version);
    paintCurves(painter, curves, { colors, width: 1.25, strong, alpha: 1, dash: [] });
  }

  private paintOverlay(): void {
    const painter = this.painter(this.overlay);
    if (!painter) return;
    const { context, ratio } = painter;
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.overlay.width, this.overlay.height);
    if (!this.app.document) return;
    context.setTransform(ratio, 0, 0, ratio, kGutter * ratio, kRuler * ratio);
    paintTime(painter, this.app.time, this.app.formatTime(this.app.time));
    paintHandles(painter, this.handles);
    const box = this.scaleBox();
    if (box) paintScaleBox(painter, box);
    if (this.shape) paintShape(painter, this.shape);
  }

  /** Says in words what is drawn, and where: for screen readers. */
  private describe(): void {
    const { start, stop, low, high } = this.viewport;
    this.area.dataset["window"] = [start, stop, low, high].join(" ");
    this.description.textContent = describeGraph(this.app, this.viewport);
  }
}

export function mountGraph(host: HTMLElement, app: App): Graph {
  return new Graph(host, app);
}
