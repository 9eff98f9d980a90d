import { type EditorDocument, type Engine, GREATEST_TIME, type Track, type TrackKeys } from "../engine/engine";
import type { App, AppEvents, MessageKind, PanelName } from "./app";
import { Commands } from "./commands";
import { messageOf } from "./errors";
import { Emitter } from "./events";
import { Preferences } from "./preferences";
import * as timetext from "./timetext";

/** The state of the editor that is in no document, and the one way through which documents are changed. */
export class AppState implements App {
  private readonly events = new Emitter<AppEvents>();
  readonly on = this.events.on;
  readonly commands = new Commands();
  readonly preferences = new Preferences((name) => this.events.emit("preferences", name));

  document: EditorDocument | undefined;
  time = 0;
  playing = false;
  visibleTracks: Int32Array = new Int32Array();
  activeTrack = -1;
  joints: ReadonlySet<number> = new Set();
  layer = 0;
  preview: string | undefined;
  private knownTracks: readonly Track[] | undefined;
  private knownTrackMap: ReadonlyMap<number, Track> | undefined;
  private knownSelection: readonly TrackKeys[] | undefined;

  constructor(
    readonly engine: Engine,
    private readonly showMessage: (message: string, kind: MessageKind) => void,
    private readonly showPanel: (panel: PanelName) => void,
  ) {}

  /** Puts another document in the place of the one that is open, and frees that. */
  setDocument(document: EditorDocument): void {
    this.setPlaying(false);
    this.setPreview(undefined);
    this.events.emit("closing", undefined);
    this.document?.close();
    this.document = document;
    this.forget();
    this.layer = 0;
    this.joints = new Set();
    this.visibleTracks = new Int32Array();
    this.activeTrack = -1;
    this.time = document.span()?.start ?? 0;
    this.events.emit("document", undefined);
    this.touch();
    this.events.emit("time", this.time);
  }

  setTime(time: number): void {
    const whole = Math.round(Math.min(Math.max(time, -GREATEST_TIME), GREATEST_TIME));
    if (whole === this.time || Number.isNaN(whole)) return;
    this.time = whole;
    this.events.emit("time", whole);
  }

  setPlaying(playing: boolean): void {
    if (playing === this.playing || (playing && !this.document)) return;
    this.playing = playing;
    this.events.emit("playing", playing);
  }

  get tracks(): readonly Track[] {
    this.knownTracks ??= this.document?.tracks() ?? [];
    return this.knownTracks;
  }

  track(id: number): Track | undefined {
    this.knownTrackMap ??= new Map(this.tracks.map((track) => [track.id, track]));
    return this.knownTrackMap.get(id);
  }

  get selection(): readonly TrackKeys[] {
    this.knownSelection ??= this.document?.selectedKeys() ?? [];
    return this.knownSelection;
  }

  showTracks(tracks: Iterable<number>, active?: number): void {
    this.visibleTracks = Int32Array.from(tracks);
    const wanted = active ?? this.activeTrack;
    this.activeTrack = this.visibleTracks.includes(wanted) ? wanted : (this.visibleTracks[0] ?? -1);
    this.events.emit("tracks", undefined);
    this.deselectHidden();
  }

  /** What is not seen is not edited. */
  private deselectHidden(): void {
    const hidden = this.document?.selectedKeys().filter(({ track }) => !this.visibleTracks.includes(track)) ?? [];
    if (hidden.length === 0) return;
    this.document?.selectKeys("remove", hidden);
    this.selectionChanged();
  }

  chooseJoints(joints: Iterable<number>, showCurves = false): void {
    this.joints = new Set(joints);
    this.events.emit("joints", undefined);
    if (!showCurves || !this.document) return;
    const tracks = this.tracks.filter((track) => track.layer === this.layer && this.joints.has(track.jointIndex));
    this.showTracks(tracks.map((track) => track.id));
  }

  setLayer(layer: number): void {
    if (layer === this.layer) return;
    const tracks = this.tracks;
    const paths = new Set([...this.visibleTracks].map((id) => this.track(id)?.path));
    this.layer = layer;
    this.events.emit("layer", undefined);
    this.showTracks(tracks.filter((track) => track.layer === layer && paths.has(track.path)).map((track) => track.id));
  }

  setPreview(title: string | undefined): void {
    if (title === undefined) {
      if (this.preview === undefined) return;
      this.document?.closePreview();
    }
    this.preview = title;
    this.events.emit("preview", undefined);
  }

  run<T>(name: string, act: () => T, failed = (error: unknown): void => this.fail(error)): T | undefined {
    const document = this.document;
    if (!document) return undefined;
    this.setPreview(undefined);
    let result: T | undefined;
    try {
      document.beginStep(name);
      try {
        result = act();
        document.endStep();
      } catch (error) {
        document.cancelStep();
        throw error;
      }
    } catch (error) {
      failed(error);
    }
    this.touch();
    return result;
  }

  /** What is kept of the document is out of date. */
  private forget(): void {
    this.knownTracks = undefined;
    this.knownTrackMap = undefined;
    this.knownSelection = undefined;
  }

  touch(): void {
    this.forget();
    this.dropLostTracks();
    this.deselectHidden();
    this.events.emit("changed", undefined);
    this.events.emit("selection", undefined);
  }

  /** An undo may take away a layer and its tracks. */
  private dropLostTracks(): void {
    if (!this.document) return;
    const layers = this.document.layers();
    if (!layers.some((layer) => layer.id === this.layer)) this.setLayer(0);
    const kept = this.visibleTracks.filter((track) => this.track(track) !== undefined);
    if (kept.length !== this.visibleTracks.length) this.showTracks(kept);
  }

  /** Tells that the document was marked as saved. */
  saved(): void {
    this.events.emit("saved", undefined);
  }

  dragged(): void {
    this.knownSelection = undefined;
    this.events.emit("dragging", undefined);
  }

  selectionChanged(): void {
    this.knownSelection = undefined;
    this.events.emit("selection", undefined);
  }

  undo(): void {
    this.travel("undo", "Nothing to undo.");
  }

  redo(): void {
    this.travel("redo", "Nothing to do again.");
  }

  private travel(way: "undo" | "redo", nothing: string): void {
    const document = this.document;
    const state = document?.undoState();
    if (!document || !state || state.isStepOpen) return;
    const name = state[way];
    if (name === undefined) return this.status(nothing);
    this.setPreview(undefined);
    try {
      if (document[way]()) this.status(way === "undo" ? `Undone: ${name}` : `Done again: ${name}`);
      else this.status(`There is no memory left to bring this back: ${name}`, "error");
    } catch (error) {
      this.fail(error);
    }
    this.touch();
  }

  status(message: string, kind: MessageKind = "info"): void {
    this.showMessage(message, kind);
  }

  fail(error: unknown): void {
    this.status(messageOf(error), "error");
  }

  formatTime(time: number): string {
    return timetext.formatTime(this.document, time, this.preferences.get("timeUnit"));
  }

  parseTime(text: string): number | undefined {
    return timetext.parseTime(this.document, text, this.preferences.get("timeUnit"));
  }

  focusPanel(panel: PanelName): void {
    this.showPanel(panel);
  }
}
