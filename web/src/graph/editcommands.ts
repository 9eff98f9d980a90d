import type { Command } from "../app/commands";
import { Clipboard } from "./clipboard";
import { selectsSome } from "./describe";
import type { Graph } from "./graph";
import { valueStep } from "./ticks";

/** Moves the selected keys by frames and by steps of the values. */
function nudge(graph: Graph, frames: number, steps: number): void {
  const { app, viewport } = graph;
  const document = app.document;
  if (!document) return;
  const first = document.selectionRange().start;
  const frame = document.nearestFrame(first);
  const time = document.frameTime(frame + frames) - document.frameTime(frame);
  const value = (steps * valueStep(viewport.low, viewport.high, viewport.height)) / 10;
  try {
    app.setPreview(undefined);
    const manipulation = document.beginManipulation({ mode: "move", ...graph.ripple });
    try {
      manipulation.offset(time, value, false);
    } catch (error) {
      manipulation.cancel();
      throw error;
    }
    manipulation.end(); // where that fails, it has put everything back itself
  } catch (error) {
    app.fail(error);
  }
  app.touch();
}

function nudgeCommands(graph: Graph): Command[] {
  const directions: readonly [string, string, string, number, number][] = [
    ["Left", "a frame earlier", "ten frames earlier", -1, 0],
    ["Right", "a frame later", "ten frames later", 1, 0],
    ["Up", "a little up", "up", 0, 1],
    ["Down", "a little down", "down", 0, -1],
  ];
  const hasSelection = selectsSome(graph.app);
  return directions.flatMap(([name, one, ten, frames, steps]) => [
    {
      id: `keys.nudge${name}`,
      title: `Move ${one}`,
      group: "Keys",
      keys: [`Alt+Arrow${name}`],
      enabled: hasSelection,
      run: () => nudge(graph, frames, steps),
    },
    {
      id: `keys.nudge${name}Far`,
      title: `Move ${ten}`,
      group: "Keys",
      keys: [`Alt+Shift+Arrow${name}`],
      enabled: hasSelection,
      run: () => nudge(graph, 10 * frames, 10 * steps),
    },
  ]);
}

/** Inserting, deleting, moving, and the clipboard. */
export function addEditCommands(graph: Graph): void {
  const { app } = graph;
  const clipboard = new Clipboard(app);
  const hasSelection = selectsSome(app);
  const hasCurves = (): boolean => app.visibleTracks.length > 0;
  const insert = (tracks: () => Int32Array) => (): void => {
    app.run("Insert key", () => {
      const keys = app.document?.insertKeys(tracks(), app.time) ?? [];
      app.document?.selectKeys("replace", keys);
    });
  };
  app.commands.addAll([
    {
      id: "keys.insert",
      title: "Insert on the shown curves",
      group: "Keys",
      keys: ["I", "Insert"],
      enabled: hasCurves,
      run: insert(() => app.visibleTracks),
    },
    {
      id: "keys.insertActive",
      title: "Insert on the active curve",
      group: "Keys",
      keys: ["Shift+I"],
      enabled: () => app.activeTrack >= 0,
      run: insert(() => Int32Array.of(app.activeTrack)),
    },
    {
      id: "keys.delete",
      title: "Delete",
      group: "Keys",
      keys: ["Delete", "Backspace"],
      enabled: hasSelection,
      run: () => app.run("Delete keys", () => app.document?.deleteKeys(app.document.selectedKeys())),
    },
    {
      id: "keys.snap",
      title: "Put on the nearest frames",
      group: "Keys",
      keys: ["Mod+Shift+F"],
      enabled: hasSelection,
      run: () => app.run("Snap to frames", () => app.document?.snapKeysToFrames(app.document.selectedKeys())),
    },
    ...nudgeCommands(graph),
    { id: "keys.cut", title: "Cut", group: "Edit", keys: ["Mod+X"], enabled: hasSelection, run: () => void clipboard.cut() },
    { id: "keys.copy", title: "Copy", group: "Edit", keys: ["Mod+C"], enabled: hasSelection, run: () => void clipboard.copy() },
    {
      id: "keys.paste",
      title: "Paste at the current time",
      group: "Edit",
      keys: ["Mod+V"],
      isNative: true,
      run: () => void clipboard.paste("same"),
    },
    {
      id: "keys.pasteHere",
      title: "Paste to the shown curves",
      group: "Edit",
      keys: ["Mod+Shift+V"],
      enabled: hasCurves,
      run: () => void clipboard.paste("shown"),
    },
  ]);
}
