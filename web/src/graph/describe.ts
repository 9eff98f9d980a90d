import type { App } from "../app/app";
import { trackTitle } from "../tree/treemodel";
import type { Viewport } from "./viewport";

const count = (number: number, one: string, many: string): string => `${number} ${number === 1 ? one : many}`;

/** How many keys are selected, on how many curves. */
export function selectedCount(app: App): { keys: number; tracks: number } {
  const selected = app.selection;
  return { keys: selected.reduce((sum, { indices }) => sum + indices.length, 0), tracks: selected.length };
}

/** The condition of a command that it needs a selected key. */
export function selectsSome(app: App): () => boolean {
  return () => selectedCount(app).keys > 0;
}

export function describeSelection(app: App): string {
  const { keys, tracks } = selectedCount(app);
  if (keys === 0) return "No key selected";
  return `${count(keys, "key", "keys")} selected on ${count(tracks, "curve", "curves")}`;
}

/** What the graph shows, in words. */
export function describeGraph(app: App, viewport: Viewport): string {
  if (!app.document) return "No file is open.";
  const shown = count(app.visibleTracks.length, "curve", "curves");
  const active = app.track(app.activeTrack);
  return [
    `${shown} shown from ${app.formatTime(viewport.start)} to ${app.formatTime(viewport.stop)}.`,
    active ? `Active: ${trackTitle(active)}.` : "",
    `${describeSelection(app)}.`,
  ].join(" ");
}
