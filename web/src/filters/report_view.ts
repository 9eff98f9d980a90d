import type { App } from "../app/app";
import { h } from "../app/dom";
import { formatNumber } from "../app/numbers";
import type { EditorDocument, FilterReport } from "../engine/engine";

/** Rows of a table; the rest is summed up by their number. */
const kRows = 8;

function count(number: number): string {
  return number.toLocaleString("en-US");
}

/** A text for what the steps did: "keys 16,962 → 1,204". */
function keysText(report: FilterReport): string {
  const before = report.steps[0]?.keysBefore ?? 0;
  const after = report.steps[report.steps.length - 1]?.keysAfter ?? 0;
  return before === after ? `${count(before)} keys` : `${count(before)} keys → ${count(after)}`;
}

/** What did not go as asked: refusals, warnings, curves that are locked, and a filter that changed nothing. */
function problems(report: FilterReport): HTMLElement[] {
  const texts = report.steps.flatMap((step) => [
    ...(step.changed === 0 ? [`${step.name} changed nothing.`] : []),
    ...(step.warning ? [step.warning] : []),
    ...step.refusals.map(({ message, count: times, first }) => `${message} (${first}${times > 1 ? ` and ${times - 1} more` : ""})`),
    ...(step.locked > 0 ? [`${step.name} left ${count(step.locked)} alone, which are locked.`] : []),
  ]);
  return texts.map((text) => h("p", { class: "report-problem" }, text));
}

interface Row {
  name: string;
  cells: string[];
  go: () => void;
}

/** A table whose rows lead to the place and time that they tell of; nothing where there are none. */
function table(caption: string, heads: readonly string[], rows: readonly Row[]): HTMLElement[] {
  if (rows.length === 0) return [];
  const shown = rows.slice(0, kRows).map((row) =>
    h(
      "tr",
      {},
      h("th", { scope: "row" }, h("button", { type: "button", class: "report-link", title: "Go there", click: row.go }, row.name)),
      ...row.cells.map((cell) => h("td", {}, cell)),
    ),
  );
  const rest = rows.length - shown.length;
  return [
    h(
      "table",
      { class: "report-table" },
      h("caption", {}, caption),
      h("thead", {}, h("tr", {}, ...heads.map((head) => h("th", { scope: "col" }, head)))),
      h("tbody", {}, ...shown),
      rest > 0 && h("tfoot", {}, h("tr", {}, h("td", { colspan: heads.length }, `and ${rest} more`))),
    ),
  ];
}

/** The joints that moved, the farthest first. */
function movedTable(report: FilterReport, document: EditorDocument, app: App): HTMLElement[] {
  const moved = report.joints.filter((joint) => joint.largest > 0).sort((a, b) => b.largest - a.largest);
  const rows = moved.map(({ joint, largest, mean, time }) => ({
    name: document.joints[joint]?.title ?? "",
    cells: [formatNumber(largest, 3), formatNumber(mean, 3), app.formatTime(time)],
    go: () => showJoint(app, joint, time),
  }));
  return table("Joints in the world, units", ["joint", "largest", "mean", "at"], rows);
}

/** The properties that changed, the farthest first. */
function changedTable(report: FilterReport, document: EditorDocument, app: App): HTMLElement[] {
  const { layer } = app;
  const layerName = document.layers().find(({ id }) => id === layer)?.name;
  const changed = report.properties.filter((property) => property.largest > 0).sort((a, b) => b.largest - a.largest);
  const rows = changed.map(({ path, largest, unit, time }) => ({
    name: path,
    cells: [formatNumber(largest, 3), unit === "degrees" ? "°" : unit, app.formatTime(time)],
    go: () => showProperty(app, layer, path, time),
  }));
  const caption = layer === 0 ? "Properties" : `Properties on the layer ${layerName}, by themselves`;
  return table(caption, ["property", "largest", "unit", "at"], rows);
}

function feetTable(report: FilterReport, document: EditorDocument, app: App): HTMLElement[] {
  const rows = report.feet.map(({ joint, slideBefore, slideAfter, time }) => ({
    name: document.joints[joint]?.title ?? "",
    cells: [formatNumber(slideBefore, 3), formatNumber(slideAfter, 3), app.formatTime(time)],
    go: () => showJoint(app, joint, time),
  }));
  return table("Feet slide while they stand, units", ["foot", "before", "after", "worst at"], rows);
}

function showJoint(app: App, joint: number, time: number): void {
  app.chooseJoints([joint], true);
  app.setTime(time);
}

function showProperty(app: App, layer: number, path: string, time: number): void {
  const inside = app.tracks.filter((track) => track.layer === layer && (track.path === path || track.path.startsWith(`${path}/`)));
  app.showTracks(inside.map((track) => track.id));
  app.setTime(time);
}

/** The report of filters: what was changed, and how far off it is where it is seen. */
export function reportView(report: FilterReport, document: EditorDocument, app: App): HTMLElement[] {
  return [
    h("p", { class: "report-sum" }, keysText(report)),
    ...problems(report),
    ...movedTable(report, document, app),
    ...changedTable(report, document, app),
    ...feetTable(report, document, app),
  ];
}
