import type { Command } from "../app/commands";
import { firstIndex } from "../app/finding";
import { trackTitle } from "../tree/treemodel";
import type { Graph } from "./graph";
import { describeSelection, selectsSome } from "./describe";

/** Selects the key of the active track before (-1) or after (1) the current time, alone or besides others, and goes to it. */
function stepToKey(graph: Graph, direction: -1 | 1, mode: "replace" | "add"): void {
  const { app } = graph;
  const document = app.document;
  if (!document || app.activeTrack < 0) return;
  const times = graph.tables.get(document, app.activeTrack).time;
  const firstBehind = (least: number): number => firstIndex(0, times.length, (at) => (times[at] ?? 0) >= least);
  const index = direction > 0 ? firstBehind(app.time + 1) : firstBehind(app.time) - 1;
  const time = times[index];
  if (time === undefined) return app.status(direction > 0 ? "There is no later key on this curve." : "There is no earlier key on this curve.");
  document.selectKeys(mode, [{ track: app.activeTrack, indices: [index] }]);
  app.setTime(time);
  if (graph.viewport.reveal(time)) graph.redraw();
  app.selectionChanged();
  const track = app.track(app.activeTrack);
  if (track) app.status(`${trackTitle(track)}: key ${index + 1} of ${times.length}, at ${app.formatTime(time)}.`);
}

/** Makes the next or the previous of the visible tracks the active one. */
function stepToTrack(graph: Graph, direction: -1 | 1): void {
  const { app } = graph;
  const tracks = app.visibleTracks;
  const at = tracks.indexOf(app.activeTrack);
  app.showTracks(tracks, tracks[(at + direction + tracks.length) % tracks.length]);
}

/** A box in which all keys are: all times that the editor knows, and all values of single precision. */
const kEverything = { start: -Number.MAX_SAFE_INTEGER, stop: Number.MAX_SAFE_INTEGER, low: -3.4028234663852886e38, high: 3.4028234663852886e38 };

export function addSelectCommands(graph: Graph): void {
  const { app } = graph;
  const change = (act: () => void) => (): void => {
    act();
    app.selectionChanged();
    app.status(`${describeSelection(app)}.`);
  };
  const hasCurves = (): boolean => app.visibleTracks.length > 0;
  const hasSelection = selectsSome(app);
  const commands: Omit<Command, "group">[] = [
    {
      id: "select.all",
      title: "Select all keys",
      keys: ["Mod+A"],
      enabled: hasCurves,
      run: change(() => app.document?.selectAll(app.visibleTracks)),
    },
    {
      id: "select.none",
      title: "Select nothing",
      keys: ["Escape", "Mod+Shift+A"],
      enabled: hasSelection,
      run: change(() => app.document?.clearSelection()),
    },
    {
      id: "select.invert",
      title: "Invert the selection",
      keys: ["Mod+I"],
      enabled: hasCurves,
      run: change(() => app.document?.selectBox("toggle", app.visibleTracks, kEverything)),
    },
    {
      id: "select.active",
      title: "Select all keys of the active curve",
      keys: ["Shift+A"],
      enabled: () => app.activeTrack >= 0,
      run: change(() => {
        app.document?.clearSelection();
        app.document?.selectAll([app.activeTrack]);
      }),
    },
    { id: "select.previousKey", title: "Previous key", keys: [","], enabled: hasCurves, run: () => stepToKey(graph, -1, "replace") },
    { id: "select.nextKey", title: "Next key", keys: ["."], enabled: hasCurves, run: () => stepToKey(graph, 1, "replace") },
    { id: "select.alsoPreviousKey", title: "Add the previous key", keys: ["Mod+,"], enabled: hasCurves, run: () => stepToKey(graph, -1, "add") },
    { id: "select.alsoNextKey", title: "Add the next key", keys: ["Mod+."], enabled: hasCurves, run: () => stepToKey(graph, 1, "add") },
    { id: "select.previousCurve", title: "Previous curve", keys: ["PageUp"], enabled: hasCurves, run: () => stepToTrack(graph, -1) },
    { id: "select.nextCurve", title: "Next curve", keys: ["PageDown"], enabled: hasCurves, run: () => stepToTrack(graph, 1) },
  ];
  app.commands.addAll(commands.map((command) => ({ ...command, group: "Select" })));
}
