/** What web/engine/bindings.cpp offers. Texts with structure are JSON; flat keys are: track, count, indices, and so on. */

import type { CurveDrawing, CurvePicture, KeyDrawing, KeyTable } from "./engine.js";

type Numbers = ArrayLike<number>;

export interface PageDocument {
  delete(): void;
  describe(): string;
  save(extension: string): Uint8Array;
  saveNotes(): string;
  revision(): number;
  isDirty(): boolean;
  markSaved(): void;
  frameRate(): string;
  setFrameRate(text: string): void;
  span(): string;
  frameTime(frame: number): number;
  nearestFrame(time: number): number;
  parseTime(text: string): number;
  framesText(time: number): string;
  timeCode(time: number): string;
  tracks(): string;
  trackRevisions(tracks: Numbers): Float64Array;
  setColor(track: number, color: string): void;
  keys(track: number): KeyTable;
  evaluate(track: number, times: Numbers, played: boolean): Float32Array;
  drawCurves(tracks: Numbers, window: Numbers, version: number): CurveDrawing;
  drawPlayed(tracks: Numbers, window: Numbers, version: number): CurveDrawing;
  paintCurves(tracks: Numbers, window: Numbers, colors: Numbers, version: number): CurvePicture | undefined;
  drawKeys(tracks: Numbers, window: Numbers, leastGap: number): KeyDrawing;
  range(tracks: Numbers, start: number, stop: number): string;
  select(mode: number, keys: Numbers): void;
  selectBox(mode: number, tracks: Numbers, start: number, stop: number, low: number, high: number): void;
  selectAll(tracks: Numbers): void;
  clearSelection(): void;
  selectedKeys(): Int32Array;
  selectionRange(): string;
  insertKeys(tracks: Numbers, time: number): Int32Array;
  addKey(track: number, time: number, value: number): number;
  deleteKeys(keys: Numbers): void;
  setKeys(keys: Numbers, change: string): void;
  setKeyTime(track: number, index: number, time: number): void;
  setValues(track: number, indices: Numbers, values: Numbers): void;
  extrapolation(track: number): string;
  setExtrapolation(tracks: Numbers, settings: string): void;
  snapKeysToFrames(keys: Numbers): void;
  copyKeys(keys: Numbers): string;
  pasteKeys(json: string, time: number, tracks: Numbers): void;
  beginDrag(options: string): void;
  dragOffset(time: number, value: number, snap: boolean): void;
  dragStretch(timeFactor: number, valueFactor: number, timePivot: number, valuePivot: number): void;
  dragScale(factor: number): void;
  dragSetValue(value: number): void;
  dragSnapValue(offset: number, tolerance: number): number;
  dragRange(): string;
  endDrag(): void;
  cancelDrag(): void;
  beginTangents(handle: string): void;
  dragTangents(target: string): void;
  endTangents(): void;
  cancelTangents(): void;
  beginStep(name: string): void;
  endStep(): void;
  cancelStep(): void;
  undo(): boolean;
  redo(): boolean;
  undoState(): string;
  layers(): string;
  addLayer(name: string, nodes: string): number;
  addToLayer(layer: number, nodes: string): void;
  removeLayer(layer: number): void;
  setLayer(layer: number, change: string): void;
  setLayerWeight(layer: number, weight: number, atTime: boolean, time: number): void;
  layerWeight(layer: number, time: number): number;
  mergeLayers(options: string): string;
  bakeIntoLayer(options: string): string;
  applyFilters(request: string): string;
  previewFilters(request: string): string;
  closePreview(): void;
  patterns(tracks: Numbers): string;
  positions(time: number, version: number): Float32Array;
  trail(joint: number, times: Numbers, version: number): Float32Array;
  footContacts(version: number): string;
}

export interface EngineModule {
  /** The message of the last call, if it failed; empty otherwise. */
  takeError(): string;
  open(bytes: Uint8Array, name: string): PageDocument | null;
  filters(): string;
  formats(): string;
  layerModes(): string;
  version(): string;
  memory(): number;
}
