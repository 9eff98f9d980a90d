import type { EditorDocument, Engine, Track, TrackKeys } from "../engine/engine";
import type { Commands } from "./commands";
import type { Listen } from "./events";
import type { Preferences, PreferenceValues } from "./preferences";

/**
 * What the parts of the editor know of each other: the open document, what is shown and chosen, the current time,
 * and the ways to change a document, to offer a command and to tell the user something. A part is mounted with
 * `mountX(host, app)` into the element that the shell gives it.
 */

/** What happened, and what comes with it. Listeners are called in the order in which they were added. */
export interface AppEvents {
  /** The open document is about to be freed: what holds something of it lets go. */
  closing: void;
  /** Another document is open. Everything that was known of the old one is out of date. */
  document: void;
  /** The document's contents changed: keys, layers, an undo. Comes once for a step. */
  changed: void;
  /** What the document holds is in a file now. */
  saved: void;
  /** Keys or handles are being dragged: the motion plays otherwise already. `changed` comes when the drag ends. */
  dragging: void;
  /** Other keys are selected. Comes with every change of the document, too. */
  selection: void;
  /** Other curves are shown, or another one is the active one. */
  tracks: void;
  /** Other joints are chosen. */
  joints: void;
  /** Another layer is the one that is edited. */
  layer: void;
  /** The current time, in ticks. Comes with every frame while playing. */
  time: number;
  /** Playing began or ended. */
  playing: boolean;
  /** A preview of filters was made, made anew or closed. */
  preview: void;
  /** Light or dark, the unit of times, or another preference changed. */
  preferences: keyof PreferenceValues;
}

export type MessageKind = "info" | "success" | "warning" | "error";

/** Parts of the window that a command can lead the keyboard to. */
export type PanelName = "tree" | "graph" | "keys" | "motion" | "layers" | "filters";

export interface App {
  readonly engine: Engine;
  /** What is open; undefined before the first file, and where one could not be read. */
  readonly document: EditorDocument | undefined;
  readonly commands: Commands;
  readonly preferences: Preferences;
  readonly on: Listen<AppEvents>;

  /** The current time in ticks. Set with `setTime`, which keeps it a whole number and within 54 hours. */
  readonly time: number;
  setTime(time: number): void;

  readonly playing: boolean;
  setPlaying(playing: boolean): void;

  /** All tracks of the document, kept until it changes. */
  readonly tracks: readonly Track[];
  /** The track with this id; undefined for one that is no more. */
  track(id: number): Track | undefined;
  /** The selected keys, kept until others are selected. */
  readonly selection: readonly TrackKeys[];
  /** The tracks whose curves are drawn, in the order of the tree. */
  readonly visibleTracks: Int32Array;
  /** The track that the key panel shows and that pasted keys go to; -1 for none. */
  readonly activeTrack: number;
  showTracks(tracks: Iterable<number>, active?: number): void;

  /** The chosen joints, by their index in the skeleton. */
  readonly joints: ReadonlySet<number>;
  /** Chooses joints. With `showCurves` the curves of these joints in the edited layer are shown instead of others. */
  chooseJoints(joints: Iterable<number>, showCurves?: boolean): void;

  /** The layer that is edited: its tracks are those in the tree. */
  readonly layer: number;
  setLayer(layer: number): void;

  /**
   * What the filters are whose result the document's version "preview" is: "butterworth". Undefined while there is no
   * preview. With one, graph and motion view show it beside what is there now.
   */
  readonly preview: string | undefined;
  /** To be called after `previewFilters`. Without a title it closes the preview, as every edit does first. */
  setPreview(title: string | undefined): void;

  /**
   * Does one step that can be undone. What `act` does to the document becomes one entry of the history under `name`;
   * if it throws, all of it is taken back and `failed` is called, which without one shows the error's message. Then
   * `changed` and `selection` are told. Gives what `act` gave, or undefined after an error.
   */
  run<T>(name: string, act: () => T, failed?: (error: unknown) => void): T | undefined;
  /** Tells that the document changed without a step of `run`: at the end of a drag, or after an undo. */
  touch(): void;
  /** Tells that what is dragged is somewhere else now. */
  dragged(): void;
  /** Tells that other keys are selected. The engine has the selection; this only tells it. */
  selectionChanged(): void;

  /** Shows a message in the status line; errors stay until the next message. */
  status(message: string, kind?: MessageKind): void;
  /** Shows what went wrong. */
  fail(error: unknown): void;

  /** A time as the user wants to read it: frames, seconds or time code. */
  formatTime(time: number): string;
  /** The time in ticks that the text means, with a comma or a point, or undefined if it means none. */
  parseTime(text: string): number | undefined;

  /** Brings a panel to the front and the keyboard to it. */
  focusPanel(panel: PanelName): void;
}
