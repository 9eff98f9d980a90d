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

/** A table whose rows lead to the place and time that they tell of. */
function table(caption: string, heads: readonly string[], rows: readonly Row[]): HTMLElement {
  const shown = rows.slice(0, kRows).map((row) =>
    h(
      "tr",
      {},
      h("th", { scope: "row" }, h("button", { type: "button", class: "report-link", title: "Go there", click: row.go }, row.name)),
      ...row.cells.map((cell) => h("td", {}, cell)),
    ),
  );
  const rest = rows.length - shown.length;
  return h(
    "table",
    { class: "report-table" },
    h("caption", {}, caption),
    h("thead", {}, h("tr", {}, ...heads.map((head) => h("th", { scope: "col" }, head)))),
    h("tbody", {}, ...shown),
    rest > 0 && h("tfoot", {}, h("tr", {}, h("td", { colspan: heads.length }, `and ${rest} more`))),
  );
}

/** The report of filters: what was changed, and how far off it is where it is seen. */
export function reportView(report: FilterReport, document: EditorDocument, app: App): HTMLElement[] {
  const joints = document.joints;
  const { layer } = app;
  const layerName = document.layers().find(({ id }) => id === layer)?.name;
  const goTo = (joint: number, time: number) => (): void => {
    app.chooseJoints([joint], true);
    app.setTime(time);
  };
  const moved = report.joints.filter((joint) => joint.largest > 0).sort((a, b) => b.largest - a.largest);
  const turned = report.properties.filter((property) => property.largest > 0).sort((a, b) => b.largest - a.largest);
  const showProperty = (path: string, time: number) => (): void => {
    const inside = app.tracks.filter((track) => track.layer === layer && (track.path === path || track.path.startsWith(`${path}/`)));
    app.showTracks(inside.map((track) => track.id));
    app.setTime(time);
  };
  return [
    h("p", { class: "report-sum" }, keysText(report)),
    ...problems(report),
    ...(moved.length === 0
      ? []
      : [
          table(
            "Joints in the world, units",
            ["joint", "largest", "mean", "at"],
            moved.map(({ joint, largest, mean, time }) => ({
              name: joints[joint]?.title ?? "",
              cells: [formatNumber(largest, 3), formatNumber(mean, 3), app.formatTime(time)],
              go: goTo(joint, time),
            })),
          ),
        ]),
    ...(turned.length === 0
      ? []
      : [
          table(
            layer === 0 ? "Properties" : `Properties on the layer ${layerName}, by themselves`,
            ["property", "largest", "unit", "at"],
            turned.map(({ path, largest, unit, time }) => ({
              name: path,
              cells: [formatNumber(largest, 3), unit === "degrees" ? "°" : unit, app.formatTime(time)],
              go: showProperty(path, time),
            })),
          ),
        ]),
    ...(report.feet.length === 0
      ? []
      : [
          table(
            "Feet slide while they stand, units",
            ["foot", "before", "after", "worst at"],
            report.feet.map(({ joint, slideBefore, slideAfter, time }) => ({
              name: joints[joint]?.title ?? "",
              cells: [formatNumber(slideBefore, 3), formatNumber(slideAfter, 3), app.formatTime(time)],
              go: goTo(joint, time),
            })),
          ),
        ]),
  ];
}
