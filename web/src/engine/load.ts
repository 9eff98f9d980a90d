/** The engine of engine.ts on the WebAssembly module that web/engine/bindings.cpp makes. */

import {
  EXTRAPOLATIONS,
  EngineError,
  INTERPOLATIONS,
  TANGENT_MODES,
  type CurveDrawing,
  type CurvePicture,
  type EditorDocument,
  type Engine,
  type ExtrapolationSettings,
  type FileFormat,
  type Filter,
  type FilterReport,
  type FilterRequest,
  type FootContacts,
  type Format,
  type FrameRate,
  type Joint,
  type KeyChange,
  type KeyDrawing,
  type KeyRange,
  type KeyTable,
  type Layer,
  type LayerChange,
  type LayerMode,
  type Manipulation,
  type ManipulationMode,
  type ManipulationOptions,
  type MergeOptions,
  type PlottedProperty,
  type SelectionMode,
  type Side,
  type Span,
  type TangentDrag,
  type Track,
  type TrackKeys,
  type UndoState,
  type Version,
  type Window,
} from "./engine.js";
import { isGzip, packed, unpacked } from "./gzip.js";
import createModule from "./module/engine.js";
import type { EngineModule, PageDocument } from "./module.js";

const SELECTION_MODES: readonly SelectionMode[] = ["replace", "add", "remove", "toggle"];
const SIDES: readonly Side[] = ["left", "right"];
const VERSIONS: readonly Version[] = ["current", "preview", "original"];
/** In the library these count from 1, 0 being none. */
const MANIPULATION_MODES: readonly ManipulationMode[] = [
  "move",
  "stretch-time",
  "stretch-value",
  "stretch",
  "scale",
  "set-value",
];

interface Description {
  /** Not packed. */
  format: Format;
  notes: string[];
  joints: Joint[];
  up: "Y" | "Z";
  height: number;
}

interface ExtrapolationNumbers {
  before: number;
  after: number;
  beforeCount: number;
  afterCount: number;
}

/** A value by its index in a list, which is complete. */
function at<Value>(list: readonly Value[], index: number): Value {
  return list[Math.min(Math.max(index, 0), list.length - 1)] as Value;
}

/** The track, how many indices, and these; then the next one. */
function flat(keys: readonly TrackKeys[]): Int32Array {
  const numbers: number[] = [];
  for (const { track, indices } of keys) {
    numbers.push(track, indices.length);
    for (let i = 0; i < indices.length; ++i) numbers.push(indices[i] as number);
  }
  return Int32Array.from(numbers);
}

function keysOf(numbers: Int32Array): TrackKeys[] {
  const keys: TrackKeys[] = [];
  for (let i = 0; i + 1 < numbers.length; ) {
    const count = numbers[i + 1] as number;
    keys.push({ track: numbers[i] as number, indices: numbers.slice(i + 2, i + 2 + count) });
    i += count + 2;
  }
  return keys;
}

function windowNumbers(window: Window): number[] {
  return [window.start, window.stop, window.low, window.high, window.width, window.height];
}

function versionNumber(version: Version | undefined): number {
  return VERSIONS.indexOf(version ?? "current");
}

class WasmDocument implements EditorDocument {
  readonly format: Format;
  readonly notes: readonly string[];
  readonly joints: readonly Joint[];
  readonly up: "Y" | "Z";
  readonly height: number;

  constructor(
    private readonly module: EngineModule,
    private readonly inner: PageDocument,
    readonly name: string,
    isPacked: boolean,
  ) {
    const description = JSON.parse(this.call((inner) => inner.describe())) as Description;
    this.format = isPacked ? `${description.format}.gz` : description.format;
    this.notes = description.notes;
    this.joints = description.joints;
    this.up = description.up;
    this.height = description.height;
  }

  /** The result, or the failure that the engine has noted. */
  private call<Result>(act: (inner: PageDocument) => Result): Result {
    return checked(this.module, () => act(this.inner));
  }

  private json<Result>(act: (inner: PageDocument) => string): Result {
    return JSON.parse(this.call(act)) as Result;
  }

  /** The same for measures: JSON has null for those that are infinite. */
  private measures<Result>(act: (inner: PageDocument) => string): Result {
    const infinite = (_name: string, value: unknown): unknown => (value === null ? Infinity : value);
    return JSON.parse(this.call(act), infinite) as Result;
  }

  get revision(): number {
    return this.inner.revision();
  }

  get isDirty(): boolean {
    return this.inner.isDirty();
  }

  markSaved(): void {
    this.inner.markSaved();
  }

  frameRate(): FrameRate {
    return this.json((inner) => inner.frameRate());
  }

  setFrameRate(text: string): void {
    this.call((inner) => inner.setFrameRate(text.trim().replace(",", ".")));
  }

  span(): Span | null {
    return this.json((inner) => inner.span());
  }

  frameTime(frame: number): number {
    return this.call((inner) => inner.frameTime(frame));
  }

  nearestFrame(time: number): number {
    return this.call((inner) => inner.nearestFrame(time));
  }

  snapToFrame(time: number): number {
    return this.frameTime(this.nearestFrame(time));
  }

  parseTime(text: string): number {
    return this.call((inner) => inner.parseTime(text.trim().replace(",", ".")));
  }

  framesText(time: number): string {
    return this.call((inner) => inner.framesText(time));
  }

  timeCode(time: number): string {
    return this.call((inner) => inner.timeCode(time));
  }

  async save(format?: Format): Promise<Uint8Array> {
    const wanted = format ?? this.format;
    const isPacked = wanted.endsWith(".gz");
    const plain = isPacked ? wanted.slice(0, -3) : wanted;
    const bytes = this.call((inner) => inner.save(plain));
    return isPacked ? packed(bytes) : bytes;
  }

  saveNotes(): string[] {
    return this.json((inner) => inner.saveNotes());
  }

  close(): void {
    this.inner.delete();
  }

  tracks(): Track[] {
    return this.json((inner) => inner.tracks());
  }

  trackRevisions(tracks: ArrayLike<number>): Float64Array {
    return this.call((inner) => inner.trackRevisions(tracks));
  }

  setColor(track: number, color: string): void {
    this.call((inner) => inner.setColor(track, color));
  }

  keys(track: number): KeyTable {
    return this.call((inner) => inner.keys(track));
  }

  evaluate(track: number, times: ArrayLike<number>, played = false): Float32Array {
    return this.call((inner) => inner.evaluate(track, times, played));
  }

  drawCurves(tracks: ArrayLike<number>, window: Window, version?: Version): CurveDrawing {
    return this.call((inner) => inner.drawCurves(tracks, windowNumbers(window), versionNumber(version)));
  }

  drawPlayed(tracks: ArrayLike<number>, window: Window, version?: Version): CurveDrawing {
    return this.call((inner) => inner.drawPlayed(tracks, windowNumbers(window), versionNumber(version)));
  }

  paintCurves(tracks: ArrayLike<number>, window: Window, colors: ArrayLike<number>, version?: Version): CurvePicture | undefined {
    return this.call((inner) => inner.paintCurves(tracks, windowNumbers(window), colors, versionNumber(version)));
  }

  drawKeys(tracks: ArrayLike<number>, window: Window, leastGap = 0): KeyDrawing {
    return this.call((inner) => inner.drawKeys(tracks, windowNumbers(window), leastGap));
  }

  range(tracks: ArrayLike<number>, start = -Infinity, stop = Infinity): KeyRange {
    return this.json((inner) => inner.range(tracks, start, stop));
  }

  selectKeys(mode: SelectionMode, keys: TrackKeys[]): void {
    this.call((inner) => inner.select(SELECTION_MODES.indexOf(mode), flat(keys)));
  }

  selectBox(mode: SelectionMode, tracks: ArrayLike<number>, box: Span & { low: number; high: number }): void {
    this.call((inner) =>
      inner.selectBox(SELECTION_MODES.indexOf(mode), tracks, box.start, box.stop, box.low, box.high),
    );
  }

  selectAll(tracks: ArrayLike<number>): void {
    this.call((inner) => inner.selectAll(tracks));
  }

  clearSelection(): void {
    this.call((inner) => inner.clearSelection());
  }

  selectedKeys(): TrackKeys[] {
    return keysOf(this.call((inner) => inner.selectedKeys()));
  }

  selectionRange(): KeyRange {
    return this.json((inner) => inner.selectionRange());
  }

  insertKeys(tracks: ArrayLike<number>, time: number): TrackKeys[] {
    return keysOf(this.call((inner) => inner.insertKeys(tracks, time)));
  }

  addKey(track: number, time: number, value: number): number {
    return this.call((inner) => inner.addKey(track, time, value));
  }

  deleteKeys(keys: TrackKeys[]): void {
    this.call((inner) => inner.deleteKeys(flat(keys)));
  }

  setKeys(keys: TrackKeys[], change: KeyChange): void {
    const { interpolation, tangent, ...numbers } = change;
    const text = JSON.stringify({
      ...numbers,
      ...(interpolation && { interpolation: INTERPOLATIONS.indexOf(interpolation) }),
      ...(tangent && { tangent: TANGENT_MODES.indexOf(tangent) }),
    });
    this.call((inner) => inner.setKeys(flat(keys), text));
  }

  setKeyTime(track: number, index: number, time: number): void {
    this.call((inner) => inner.setKeyTime(track, index, time));
  }

  setValues(track: number, indices: ArrayLike<number>, values: ArrayLike<number>): void {
    this.call((inner) => inner.setValues(track, indices, values));
  }

  extrapolation(track: number): ExtrapolationSettings {
    const numbers = this.json<ExtrapolationNumbers>((inner) => inner.extrapolation(track));
    return {
      ...numbers,
      before: at(EXTRAPOLATIONS, numbers.before - 1),
      after: at(EXTRAPOLATIONS, numbers.after - 1),
    };
  }

  setExtrapolation(tracks: ArrayLike<number>, settings: Partial<ExtrapolationSettings>): void {
    const { before, after, ...counts } = settings;
    const text = JSON.stringify({
      ...counts,
      ...(before && { before: EXTRAPOLATIONS.indexOf(before) + 1 }),
      ...(after && { after: EXTRAPOLATIONS.indexOf(after) + 1 }),
    });
    this.call((inner) => inner.setExtrapolation(tracks, text));
  }

  snapKeysToFrames(keys: TrackKeys[]): void {
    this.call((inner) => inner.snapKeysToFrames(flat(keys)));
  }

  beginManipulation(options: ManipulationOptions): Manipulation {
    const text = JSON.stringify({ ...options, mode: MANIPULATION_MODES.indexOf(options.mode) + 1 });
    this.call((inner) => inner.beginDrag(text));
    return {
      offset: (time, value, snapToFrames = false) =>
        this.call((inner) => inner.dragOffset(time, value, snapToFrames)),
      stretch: (timeFactor, valueFactor, timePivot, valuePivot) =>
        this.call((inner) => inner.dragStretch(timeFactor, valueFactor, timePivot, valuePivot)),
      scale: (factor) => this.call((inner) => inner.dragScale(factor)),
      setValue: (value) => this.call((inner) => inner.dragSetValue(value)),
      snapValueOffset: (offset, tolerance) => this.call((inner) => inner.dragSnapValue(offset, tolerance)),
      range: () => this.json((inner) => inner.dragRange()),
      end: () => this.call((inner) => inner.endDrag()),
      cancel: () => this.call((inner) => inner.cancelDrag()),
    };
  }

  beginTangents({ track, index, side }: { track: number; index: number; side: Side }): TangentDrag {
    this.call((inner) => inner.beginTangents(JSON.stringify({ track, index, side: SIDES.indexOf(side) })));
    return {
      moveTo: (target) => this.call((inner) => inner.dragTangents(JSON.stringify(target))),
      end: () => this.call((inner) => inner.endTangents()),
      cancel: () => this.call((inner) => inner.cancelTangents()),
    };
  }

  copyKeys(keys: TrackKeys[]): string {
    return this.call((inner) => inner.copyKeys(flat(keys)));
  }

  pasteKeys(json: string, time: number, tracks?: ArrayLike<number>): void {
    this.call((inner) => inner.pasteKeys(json, time, tracks ?? []));
  }

  beginStep(name: string): void {
    this.call((inner) => inner.beginStep(name));
  }

  endStep(): void {
    this.call((inner) => inner.endStep());
  }

  cancelStep(): void {
    this.call((inner) => inner.cancelStep());
  }

  undo(): boolean {
    return this.call((inner) => inner.undo());
  }

  redo(): boolean {
    return this.call((inner) => inner.redo());
  }

  undoState(): UndoState {
    return this.json((inner) => inner.undoState());
  }

  layers(): Layer[] {
    return this.json((inner) => inner.layers());
  }

  addLayer(name: string, nodes: string[] = []): number {
    return this.call((inner) => inner.addLayer(name, JSON.stringify(nodes)));
  }

  addToLayer(layer: number, nodes: string[]): void {
    this.call((inner) => inner.addToLayer(layer, JSON.stringify(nodes)));
  }

  removeLayer(layer: number): void {
    this.call((inner) => inner.removeLayer(layer));
  }

  setLayer(layer: number, change: LayerChange): void {
    this.call((inner) => inner.setLayer(layer, JSON.stringify(change)));
  }

  setLayerWeight(layer: number, weight: number, time?: number): void {
    this.call((inner) => inner.setLayerWeight(layer, weight, time !== undefined, time ?? 0));
  }

  layerWeight(layer: number, time: number): number {
    return this.call((inner) => inner.layerWeight(layer, time));
  }

  mergeLayers(options: MergeOptions = {}): PlottedProperty[] {
    return this.measures((inner) => inner.mergeLayers(JSON.stringify(options)));
  }

  bakeIntoLayer(
    layer: number,
    options: { nodes?: string[]; tolerance?: number; everyFrame?: boolean } = {},
  ): PlottedProperty[] {
    return this.measures((inner) => inner.bakeIntoLayer(JSON.stringify({ ...options, target: layer })));
  }

  applyFilters(request: FilterRequest): FilterReport {
    return this.measures((inner) => inner.applyFilters(JSON.stringify(request)));
  }

  previewFilters(request: FilterRequest): FilterReport {
    return this.measures((inner) => inner.previewFilters(JSON.stringify(request)));
  }

  closePreview(): void {
    this.inner.closePreview();
  }

  patterns(tracks: ArrayLike<number>): string[] {
    return this.json((inner) => inner.patterns(tracks));
  }

  positions(time: number, version?: Version): Float32Array {
    return this.call((inner) => inner.positions(time, versionNumber(version)));
  }

  trail(joint: number, times: ArrayLike<number>, version?: Version): Float32Array {
    return this.call((inner) => inner.trail(joint, times, versionNumber(version)));
  }

  footContacts(version?: Version): FootContacts[] {
    return this.json((inner) => inner.footContacts(versionNumber(version)));
  }
}

function checked<Result>(module: EngineModule, act: () => Result): Result {
  const result = act();
  const failure = module.takeError();
  if (failure !== "") throw new EngineError(failure);
  return result;
}

class WasmEngine implements Engine {
  readonly version: string;
  readonly formats: readonly FileFormat[];
  readonly layerModes: readonly LayerMode[];

  constructor(private readonly module: EngineModule) {
    this.version = module.version();
    this.formats = JSON.parse(checked(module, () => module.formats())) as FileFormat[];
    this.layerModes = JSON.parse(checked(module, () => module.layerModes())) as LayerMode[];
  }

  async open(bytes: Uint8Array, name: string): Promise<EditorDocument> {
    const isPacked = isGzip(bytes);
    const plain = isPacked ? await unpacked(bytes) : bytes;
    const inner = checked(this.module, () => this.module.open(plain, name));
    if (inner === null) throw new EngineError(`${name}: cannot be opened; try another file`);
    try {
      return new WasmDocument(this.module, inner, name, isPacked);
    } catch (failure) {
      inner.delete();
      throw failure;
    }
  }

  filters(): Filter[] {
    return JSON.parse(checked(this.module, () => this.module.filters())) as Filter[];
  }

  memory(): number {
    return this.module.memory();
  }
}

let loaded: Promise<Engine> | undefined;

/** Loads the WebAssembly module once; later calls give the same engine. */
export function loadEngine(): Promise<Engine> {
  loaded ??= createModule().then((module) => new WasmEngine(module));
  return loaded;
}
