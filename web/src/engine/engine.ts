/**
 * The library in WebAssembly, as the editor sees it: one open document, its curves, edits with undo, and what is
 * needed to draw all that.
 *
 * Times are ticks as numbers: 46,186,158,000 a second, whole, exact up to 54 hours. Values are rounded to single
 * precision by the library. Slopes are value units a second, weights are fractions of the segment.
 *
 * Calls are synchronous and change nothing when they throw an `EngineError`. Each call that edits is one undo step
 * of its own unless it stands between `beginStep` and `endStep`. Typed arrays that are returned belong to the
 * caller.
 */

export const TICKS_PER_SECOND = 46_186_158_000;
/** The latest time in ticks, 54 hours; its negative is the earliest. */
export const GREATEST_TIME = 54 * 3600 * TICKS_PER_SECOND;

/** Why something could not be done, in a sentence of the library that can be shown as it is. */
export class EngineError extends Error {
  override readonly name = "EngineError";
}

/** The ending of its files without the point, as "bvh", or "bvh.gz" where they are packed. */
export type Format = string;

export interface FileFormat {
  /** "BVH", "scene file". */
  name: string;
  /** Of files that are not packed. */
  ending: Format;
  /** Others get what plays with all layers together. */
  holdsLayers: boolean;
}

export interface Span {
  start: number;
  stop: number;
}

/** Frames a second as a fraction. */
export interface FrameRate {
  numerator: number;
  denominator: number;
  /** As people write it: "30", "29.97". */
  text: string;
  /** How many frames a second of time code has: the rate rounded up. */
  framesInSecond: number;
}

export interface Joint {
  /** May be empty for an end site. */
  name: string;
  /** What to call it in lists: its name, or "Head/End Site". */
  title: string;
  /** "Hips/Spine", as `Track.joint`; empty for an end site. */
  path: string;
  /** Index of a joint before this one; -1 for a root. */
  parent: number;
  isEndSite: boolean;
}

/** The quaternion forms play other values than their curves alone; the curves can be edited all the same. */
export interface Track {
  /** For as long as the document is open; the same curve has the same id after undo and redo. */
  id: number;
  /** "Hips/Spine/Lcl Rotation/X"; "Breathing/Weight" for the weight of a layer. */
  path: string;
  /** "Hips/Spine": the groups above the property; empty for properties at the top and for weights. */
  joint: string;
  /** Index in `Document.joints`; -1 for none. */
  jointIndex: number;
  /** "Lcl Rotation", "Lcl Translation", "Weight" or any other. */
  property: string;
  /** "X", "Y", "Z"; empty where the property is a single number. */
  component: string;
  /** "degrees", "units" (of the file's own measure), "" for none. */
  unit: string;
  /** Id of the layer; 0 is the base layer. */
  layer: number;
  isWeight: boolean;
  /** "#rrggbb", by the library's colour manager unless the file has others. */
  color: string;
  /** By its layer or property: edits of it are refused. */
  locked: boolean;
  keyCount: number;
}

export const INTERPOLATIONS = ["constant", "constant-next", "linear", "cubic"] as const;
export type Interpolation = (typeof INTERPOLATIONS)[number];

/** `break` forms let both sides of a key have slopes of their own. */
export const TANGENT_MODES = ["auto", "auto-break", "tcb", "user", "user-break"] as const;
export type TangentMode = (typeof TANGENT_MODES)[number];

export const EXTRAPOLATIONS = ["constant", "repetition", "mirror", "keep-slope"] as const;
export type Extrapolation = (typeof EXTRAPOLATIONS)[number];
/** The count that means without limit. */
export const EXTRAPOLATION_UNLIMITED = 0xffff_ffff;

/** All keys of a track in the order of time; one element for each key in each array. */
export interface KeyTable {
  time: Float64Array;
  value: Float32Array;
  /** Index in `INTERPOLATIONS`, of the segment behind the key. */
  interpolation: Uint8Array;
  /** Index in `TANGENT_MODES`. */
  tangent: Uint8Array;
  /** 1: flat beside an equal neighbour and at an extreme. */
  clamped: Uint8Array;
  selected: Uint8Array;
  leftSlope: Float32Array;
  rightSlope: Float32Array;
  leftWeight: Float32Array;
  rightWeight: Float32Array;
  /** 1 where that side has a weight of its own; the default is a third. */
  leftWeighted: Uint8Array;
  rightWeighted: Uint8Array;
  /** 0 but for TCB keys. */
  tension: Float32Array;
  continuity: Float32Array;
  bias: Float32Array;
}

/** Keys of one track, by ascending indices. */
export interface TrackKeys {
  track: number;
  indices: ArrayLike<number>;
}

/** What a call of `setKeys` changes; what is not given stays. */
export interface KeyChange {
  value?: number;
  interpolation?: Interpolation;
  tangent?: TangentMode;
  clamped?: boolean;
  /** Turns keys into user keys; both sides together unless the key is a break key. */
  leftSlope?: number;
  rightSlope?: number;
  /** 0 is the default weight, else above 0 up to 1. */
  leftWeight?: number;
  rightWeight?: number;
  /** Turn keys into TCB keys. */
  tension?: number;
  continuity?: number;
  bias?: number;
}

export interface ExtrapolationSettings {
  before: Extrapolation;
  after: Extrapolation;
  beforeCount: number;
  afterCount: number;
}

export type SelectionMode = "replace" | "add" | "remove" | "toggle";

/** Times and values of keys, and of `range` what curves show between them; `count` 0 where there is nothing, and the rest is 0 then. */
export interface KeyRange {
  count: number;
  start: number;
  stop: number;
  least: number;
  greatest: number;
}

export type ManipulationMode = "move" | "stretch-time" | "stretch-value" | "stretch" | "scale" | "set-value";

export interface ManipulationOptions {
  mode: ManipulationMode;
  /** Leave copies of the keys where they were. */
  copy?: boolean;
  /** Keys after the last selected one move along in time. */
  rippleTime?: boolean;
  /** And in value. */
  rippleValue?: boolean;
  /** All keys of the curve follow in value. */
  rippleAllValues?: boolean;
  /** What stays in place under `scale`. */
  scaleCentre?: number;
}

/** Amounts count from where the keys were when the drag began: each call replaces the effect of the one before. */
export interface Manipulation {
  /** `snapToFrames` moves the keys so that the first selected one is on a frame. */
  offset(time: number, value: number, snapToFrames?: boolean): void;
  stretch(timeFactor: number, valueFactor: number, timePivot: number, valuePivot: number): void;
  scale(factor: number): void;
  setValue(value: number): void;
  /** An offset of values near this one that brings a selected key to the value of a neighbour; itself for none. */
  snapValueOffset(offset: number, tolerance: number): number;
  /** Where the keys that move are now. */
  range(): KeyRange;
  /** One undo step. */
  end(): void;
  /** Everything is as it was, and there is no step. */
  cancel(): void;
}

export type Side = "left" | "right";

/** What a handle that is dragged is to have. Its key gets that, and the other selected keys the same change. */
export interface TangentTarget {
  /** Value units a second; without it slopes stay. */
  slope?: number;
  /** Part of the segment, above 0 to 1; without it weights stay. */
  weight?: number;
  /** The weight goes to sides without one of their own, too. */
  givesWeights?: boolean;
  /** Keys are broken, so that their other sides stay. */
  breaks?: boolean;
}

/** Changes count from what the tangents were when the drag began. */
export interface TangentDrag {
  moveTo(target: TangentTarget): void;
  /** One undo step. */
  end(): void;
  /** Everything is as it was, and there is no step. */
  cancel(): void;
}

/** Which version of the motion: as it is, as filters would make it (`previewFilters`), as it was opened. */
export type Version = "current" | "preview" | "original";

/** What is in view: times of the left and right border, values of the lower and upper one, size in pixels. */
export interface Window {
  start: number;
  stop: number;
  low: number;
  high: number;
  width: number;
  height: number;
}

/**
 * Polylines in pixels of the window: x from 0 at the left, y from 0 at the top. Curve i is the points
 * `first[i]` to `first[i + 1] - 1`. Where keys are closer than pixels, each column has its least and greatest value.
 */
export interface CurveDrawing {
  first: Uint32Array;
  /** x, y, x, y, ... */
  points: Float32Array;
}

/**
 * A picture of curves, as pixels from left to right and from the top down: red, green, blue, opacity from the lowest byte on.
 * They are the engine's own, and stay only until it is called again.
 */
export interface CurvePicture {
  width: number;
  height: number;
  pixels: Uint32Array;
}

/** Keys in the window, thinned to one for each pixel; selected ones come last so that they are on top. */
export interface KeyDrawing {
  first: Uint32Array;
  /** x, y, x, y, ... */
  points: Float32Array;
  /** Of the key on its track. */
  index: Uint32Array;
  /** 1 for selected ones. */
  selected: Uint8Array;
  /** How many keys each track has in the window, drawn or not. */
  inSight: Uint32Array;
}

export interface Layer {
  /** 0 is the base layer; ids ascend with the stack and are for good. */
  id: number;
  name: string;
  muted: boolean;
  solo: boolean;
  locked: boolean;
  mode: LayerMode;
  rotationMode: "by-layer" | "by-channel";
  scalingMode: "multiply" | "add";
  /** Track of the weight; -1 for the base layer, which counts in full. */
  weightTrack: number;
}
/** One of `Engine.layerModes`, as "additive". */
export type LayerMode = string;
export type LayerChange = Partial<Omit<Layer, "id" | "weightTrack">>;

export interface MergeOptions {
  /** Of the layers; all that play where this is empty. */
  layers?: number[];
  /** Holds the result; the lowest of them unless given. */
  target?: number;
  tolerance?: number;
  /** Paths; everything unless given. */
  nodes?: string[];
}

export interface PlottedProperty {
  path: string;
  unit: string;
  isResampled: boolean;
  keysBefore: number;
  keysAfter: number;
  largest: number;
  time: number;
}

export interface FilterParameter {
  name: string;
  type: "Double" | "Time" | "Bool" | "Integer" | "Enum" | "Vector3D";
  /** Or words, where it goes by the frames of the scene: "the scene's rate". */
  default: string;
  /** One of those of which one has to be given. */
  needed?: true;
  /** Of numbers, and of times in seconds; each where there is a bound. */
  minimum?: number;
  maximum?: number;
  /** The minimum itself is out of range. */
  aboveMinimum?: true;
  /** Of an enumeration. */
  names?: readonly string[];
  /** "s", "Hz", "frames"; empty where there is none. */
  unit: string;
  help: string;
}

export interface Filter {
  name: string;
  summary: string;
  /** Why it works on no layer but the base, as "works on whole joints, ..."; empty where it works on all. */
  whyBaseAlone: string;
  parameters: FilterParameter[];
}

export interface FilterRequest {
  /** As "butterworth:CutOffFreq=7". */
  steps: string[];
  /** Patterns of paths; everything unless given. */
  nodes?: string[];
  /** The base layer unless given. Locked ones are refused. */
  layer?: number;
}

export interface FilterStepReport {
  name: string;
  changed: number;
  unchanged: number;
  refused: number;
  locked: number;
  skipped: number;
  keysBefore: number;
  keysAfter: number;
  refusals: { message: string; count: number; first: string }[];
  /** Why the motion makes the result no good; empty for nothing. */
  warning: string;
}

export interface FilterReport {
  steps: FilterStepReport[];
  properties: {
    path: string;
    unit: string;
    keysBefore: number;
    keysAfter: number;
    largest: number;
    rootMeanSquare: number;
    time: number;
  }[];
  /** Distances in the world, of every joint; none without a skeleton. */
  joints: { joint: number; largest: number; mean: number; time: number }[];
  feet: {
    joint: number;
    contacts: number;
    seconds: number;
    slideBefore: number;
    slideAfter: number;
    largestSlide: number;
    time: number;
  }[];
}

export interface FootContacts {
  /** Of `joints`: the ball of the foot. */
  joint: number;
  contacts: Span[];
}

export interface UndoState {
  /** The name of the step that would be next; none where there is no step. */
  undo?: string;
  redo?: string;
  undoCount: number;
  redoCount: number;
  isStepOpen: boolean;
}

export interface EditorDocument {
  readonly name: string;
  /** In which it was opened, and is saved unless another is asked for. */
  readonly format: Format;
  /** What was left out of a damaged file. */
  readonly notes: readonly string[];
  readonly joints: readonly Joint[];
  /** "Y" or "Z". */
  readonly up: "Y" | "Z";
  /** Height of the figure in the file's own units; 0 without a skeleton. */
  readonly height: number;

  /** Counts every change of what is saved, undo and redo too. */
  readonly revision: number;
  /** Whether it differs from what was opened or saved last (`markSaved`). */
  readonly isDirty: boolean;
  markSaved(): void;
  frameRate(): FrameRate;
  /** "30", "29.97", "24000/1001". */
  setFrameRate(text: string): void;
  /** First and last key of all curves on all layers; null without keys. */
  span(): Span | null;
  frameTime(frame: number): number;
  /** The frame nearest to a time; negative ones too. */
  nearestFrame(time: number): number;
  /** The time of that frame. */
  snapToFrame(time: number): number;
  /** As numbers are typed: "1.5", "1,5", "45f", "00:00:01:15". Seconds without a unit. */
  parseTime(text: string): number;
  /** "45f", "45.25f": as `parseTime` takes it, to a thousandth of a frame. */
  framesText(time: number): string;
  /** "00:00:01:15", "-00:00:01:15.25": as `parseTime` takes it, to a thousandth of a frame. */
  timeCode(time: number): string;

  /** The content of a file. A promise, as packing is the browser's. */
  save(format?: Format): Promise<Uint8Array>;
  /** What the last save could not keep as it is. */
  saveNotes(): string[];
  /** Frees the memory; nothing may be called afterwards. */
  close(): void;

  /** Every curve on every layer, weights last. Those of a layer are there once the property is on it. */
  tracks(): Track[];
  /** One number for each track; it changes when keys or settings of the track do. */
  trackRevisions(tracks: ArrayLike<number>): Float64Array;
  setColor(track: number, color: string): void;
  /** The table of a track. */
  keys(track: number): KeyTable;
  /** The track's own value, as `yfcurve eval` gives it for that layer; `played` is that of all layers together. */
  evaluate(track: number, times: ArrayLike<number>, played?: boolean): Float32Array;

  drawCurves(tracks: ArrayLike<number>, window: Window, version?: Version): CurveDrawing;
  /** Such a drawing of what plays: all layers together; a track of any layer stands for its component. */
  drawPlayed(tracks: ArrayLike<number>, window: Window, version?: Version): CurveDrawing;
  /**
   * A picture of the curves, the last one on top, where they have so many points that lines take long and show nothing
   * more; else undefined. Colours are 0xBBGGRR.
   */
  paintCurves(tracks: ArrayLike<number>, window: Window, colors: ArrayLike<number>, version?: Version): CurvePicture | undefined;
  /** Without the unselected keys of tracks whose keys are nearer to each other than `leastGap` on the average. */
  drawKeys(tracks: ArrayLike<number>, window: Window, leastGap?: number): KeyDrawing;
  /** Keys of these tracks between two times, and what the curves show there; without times from first key to last. */
  range(tracks: ArrayLike<number>, start?: number, stop?: number): KeyRange;

  /** Selection is no edit: it is no step, and counts no revision. Undo gives the keys that it puts back the selection that they had. */
  selectKeys(mode: SelectionMode, keys: TrackKeys[]): void;
  selectBox(mode: SelectionMode, tracks: ArrayLike<number>, box: Span & { low: number; high: number }): void;
  selectAll(tracks: ArrayLike<number>): void;
  clearSelection(): void;
  selectedKeys(): TrackKeys[];
  selectionRange(): KeyRange;

  /** A key at that time on each track, without bending the curve. Where there is one already it stays. */
  insertKeys(tracks: ArrayLike<number>, time: number): TrackKeys[];
  /** A key of that value, with the attributes that are default. */
  addKey(track: number, time: number, value: number): number;
  deleteKeys(keys: TrackKeys[]): void;
  setKeys(keys: TrackKeys[], change: KeyChange): void;
  /** Moves one key; refused for a time that is not between those of its neighbours. */
  setKeyTime(track: number, index: number, time: number): void;
  /** Each value to the key of that index; for scripts and tables. */
  setValues(track: number, indices: ArrayLike<number>, values: ArrayLike<number>): void;
  extrapolation(track: number): ExtrapolationSettings;
  setExtrapolation(tracks: ArrayLike<number>, settings: Partial<ExtrapolationSettings>): void;
  /** Snaps keys to the nearest frames; of several that come together the last remains. */
  snapKeysToFrames(keys: TrackKeys[]): void;

  /** Of the selected keys; refused where none is. Edits of other kinds have to wait for its end. */
  beginManipulation(options: ManipulationOptions): Manipulation;

  /** Of the selected keys, by the handle of one of them. Edits of other kinds have to wait for its end. */
  beginTangents(handle: { track: number; index: number; side: Side }): TangentDrag;

  /** The keys as JSON, the format of `yfcurve keys --export`: each track with these keys alone. */
  copyKeys(keys: TrackKeys[]): string;
  /**
   * Pastes so that the earliest key comes to `time`; keys in between are replaced. Goes to the tracks given, in
   * turn, or without them to those of the same paths and layers. The pasted keys are selected.
   */
  pasteKeys(json: string, time: number, tracks?: ArrayLike<number>): void;

  /** Several edits become one step. Steps inside others are parts of these. */
  beginStep(name: string): void;
  endStep(): void;
  /** Takes back what the step has changed. */
  cancelStep(): void;
  undo(): boolean;
  redo(): boolean;
  undoState(): UndoState;

  /** From the base layer up. */
  layers(): Layer[];
  /** On top, additive, weight 1; the properties of the nodes (paths; none: none yet) are put on it. */
  addLayer(name: string, nodes?: string[]): number;
  /** Puts properties on a layer, without keys. */
  addToLayer(layer: number, nodes: string[]): void;
  removeLayer(layer: number): void;
  setLayer(layer: number, change: LayerChange): void;
  /** The weight from 0 to 1; a key at that time where `time` is given, else the default value. */
  setLayerWeight(layer: number, weight: number, time?: number): void;
  layerWeight(layer: number, time: number): number;
  mergeLayers(options?: MergeOptions): PlottedProperty[];
  /** Gives a layer keys with which all layers together show what they show already. */
  bakeIntoLayer(layer: number, options?: { nodes?: string[]; tolerance?: number; everyFrame?: boolean }): PlottedProperty[];

  applyFilters(request: FilterRequest): FilterReport;
  /** Filters a copy, which is version "preview" from then on. */
  previewFilters(request: FilterRequest): FilterReport;
  closePreview(): void;
  /** The paths of these tracks as patterns for `nodes`, which match them alone. */
  patterns(tracks: ArrayLike<number>): string[];

  /** x, y and z of each joint, in the order of `joints`; empty without a skeleton. */
  positions(time: number, version?: Version): Float32Array;
  /** The same for one joint at many times: x, y, z for each time. */
  trail(joint: number, times: ArrayLike<number>, version?: Version): Float32Array;
  footContacts(version?: Version): FootContacts[];
}

export interface Engine {
  /** Of the library. */
  readonly version: string;
  /** In which files are read and written. */
  readonly formats: readonly FileFormat[];
  readonly layerModes: readonly LayerMode[];
  /** Every format that the library reads, also packed by gzip. The name is for messages and titles. */
  open(bytes: Uint8Array, name: string): Promise<EditorDocument>;
  filters(): Filter[];
  /** Bytes of memory that WebAssembly has now. */
  memory(): number;
}
