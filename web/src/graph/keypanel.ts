import { EXTRAPOLATION_UNLIMITED, type Extrapolation, INTERPOLATIONS, type Interpolation, type KeyChange, TANGENT_MODES, type TangentMode } from "../engine/engine";
import type { App } from "../app/app";
import { h, oncePerFrame, uniqueId } from "../app/dom";
import { type SelectField, selectField, type TextField, textField } from "../app/fields";
import { exactFloat, formatNumber, type NumberEdit, parseNumber, parseNumberEdit } from "../app/numbers";
import { trackTitle } from "../tree/treemodel";
import { describeSelection, selectedCount } from "./describe";
import type { KeyTables } from "./handles";
import { type CommonKeys, commonKeys } from "./keyvalues";
import { changeExtrapolation, changeSelected, commonExtrapolation, extrapolatedTracks, kExtrapolations, kInterpolations, kTangents } from "./tangentcommands";

type NumberName = "leftSlope" | "rightSlope" | "leftWeight" | "rightWeight" | "tension" | "continuity" | "bias";

const kNumbers: readonly { name: NumberName; label: string; title: string; step: number; group: "slopes" | "tcb"; isWeight?: true }[] = [
  { name: "leftSlope", label: "Left slope", title: "Value units a second, before the key", step: 1, group: "slopes" },
  { name: "rightSlope", label: "Right slope", title: "Value units a second, behind the key", step: 1, group: "slopes" },
  { name: "leftWeight", label: "Left weight", title: "Part of the segment, above 0 to 1; 0 for the default", step: 0.05, group: "slopes", isWeight: true },
  { name: "rightWeight", label: "Right weight", title: "Part of the segment, above 0 to 1; 0 for the default", step: 0.05, group: "slopes", isWeight: true },
  { name: "tension", label: "Tension", title: "Of TCB keys", step: 0.1, group: "tcb" },
  { name: "continuity", label: "Continuity", title: "Of TCB keys", step: 0.1, group: "tcb" },
  { name: "bias", label: "Bias", title: "Of TCB keys", step: 0.1, group: "tcb" },
];

const kNoWeight = "A weight is above 0 to 1; 0 stands for the default.";
const kSmallestWeight = 0.01;

const kNoNumber = "Type a number, or a change such as +=5 or *=2.";

/** The fields follow a drag of at most so many keys; those of more are read when it ends. */
const kMostFollowed = 2000;

/** Fields for what the selected keys have, and for what their curves, or else the active one, do outside their keys. */
class KeyPanel {
  private readonly summary = h("p", { class: "key-summary" });
  private readonly time: TextField;
  private readonly value: TextField;
  private readonly numbers: ReadonlyMap<NumberName, TextField>;
  private readonly interpolation: SelectField;
  private readonly tangent: SelectField;
  private readonly clamped = h("input", { type: "checkbox", id: uniqueId("clamped") });
  private readonly extrapolations: Record<"before" | "after", { kind: SelectField; count: TextField }>;
  private readonly refresh = oncePerFrame(() => this.show());

  constructor(
    private readonly host: HTMLElement,
    private readonly app: App,
    private readonly tables: KeyTables,
  ) {
    this.time = textField({
      label: "Time",
      title: "Of the first selected key; the others move along",
      commit: (text) => this.commitTime(text),
      step: (steps) => this.stepTime(steps),
    });
    this.value = textField({
      label: "Value",
      title: "A number, or a change: +=5, -=5, *=2, /=2",
      commit: (text) => this.commitValue(text),
      step: (steps) => this.editValues((old) => old + steps),
    });
    this.time.input.dataset["firstFocus"] = "";
    this.numbers = new Map(kNumbers.map((number) => [number.name, this.numberField(number)]));
    this.interpolation = selectField("Interpolation", kInterpolations, (value) =>
      changeSelected(app, "Interpolation", { interpolation: value as Interpolation }),
    );
    this.tangent = selectField("Tangents", kTangents, (value) => changeSelected(app, "Tangent", { tangent: value as TangentMode }));
    this.clamped.addEventListener("change", () => changeSelected(app, "Clamped tangents", { clamped: this.clamped.checked }));
    this.extrapolations = { before: this.extrapolation("before", "Before"), after: this.extrapolation("after", "After") };
    this.build();
    for (const event of ["changed", "selection", "tracks", "document"] as const) app.on(event, this.refresh);
    app.on("preferences", (name) => {
      if (name === "timeUnit") this.refresh();
    });
    app.on("dragging", () => {
      if (selectedCount(app).keys <= kMostFollowed) this.refresh();
    });
    this.show();
  }

  private build(): void {
    const numbersOf = (group: string): HTMLElement[] =>
      kNumbers.filter((number) => number.group === group).map((number) => this.numbers.get(number.name)?.element ?? h("div"));
    const { before, after } = this.extrapolations;
    this.host.append(
      h(
        "div",
        { class: "key-panel" },
        this.summary,
        this.time.element,
        this.value.element,
        h("h2", {}, "Shape"),
        this.interpolation.element,
        this.tangent.element,
        h("div", { class: "key-check" }, this.clamped, h("label", { for: this.clamped.id }, "Clamped at neighbours and extremes")),
        ...numbersOf("slopes"),
        h("h2", {}, "TCB"),
        ...numbersOf("tcb"),
        h("h2", {}, "Outside the keys"),
        before.kind.element,
        before.count.element,
        after.kind.element,
        after.count.element,
      ),
    );
  }

  private numberField({ name, label, title, step, isWeight }: (typeof kNumbers)[number]): TextField {
    const set = (change: NumberEdit): void => this.editNumber(name, change);
    return textField({
      label,
      title,
      commit: (text) => {
        const change = parseNumberEdit(text);
        if (change && isWeight && !this.areWeights(name, change)) return kNoWeight;
        if (change) set(change);
        return change !== undefined || kNoNumber;
      },
      step: (steps) => {
        const [least, most] = isWeight ? [kSmallestWeight, 1] : [-Infinity, Infinity];
        set((old) => Math.min(most, Math.max(least, old + steps * step)));
      },
    });
  }

  private extrapolation(side: "before" | "after", label: string): { kind: SelectField; count: TextField } {
    const { app } = this;
    const kind = selectField(label, kExtrapolations, (value) => changeExtrapolation(app, side, value as Extrapolation));
    const count = textField({
      label: "Times",
      title: "How often the keys are repeated; nothing means without end",
      commit: (text) => {
        const number = text.trim() === "" || text.trim() === "∞" ? EXTRAPOLATION_UNLIMITED : parseNumber(text);
        if (number === undefined || !Number.isInteger(number) || number < 0 || number > EXTRAPOLATION_UNLIMITED) return "Type a whole number, or nothing for no end.";
        app.run("Extrapolation", () => app.document?.setExtrapolation(extrapolatedTracks(app), { [`${side}Count`]: number }));
        return true;
      },
    });
    count.input.setAttribute("aria-label", `${label}: times`);
    return { kind, count };
  }

  private commitTime(text: string): boolean | string {
    const time = this.app.parseTime(text);
    if (time === undefined) return "Type frames (45f), seconds (1.5s) or a time code.";
    this.moveTo(time);
    return true;
  }

  private stepTime(frames: number): void {
    const document = this.app.document;
    const common = this.readCommon();
    if (!document || !common) return;
    const frame = document.nearestFrame(common.firstTime);
    this.moveTo(common.firstTime + document.frameTime(frame + frames) - document.frameTime(frame));
  }

  /** Moves the selected keys in time so that the first is there. A single key stays between its neighbours. */
  private moveTo(time: number): void {
    const { app } = this;
    const document = app.document;
    const common = this.readCommon();
    if (!document || !common || common.count === 0) return;
    if (common.count === 1) {
      const [key] = document.selectedKeys();
      if (key) app.run("Time", () => document.setKeyTime(key.track, key.indices[0] ?? 0, time));
      return;
    }
    app.run("Time", () => {
      const manipulation = document.beginManipulation({ mode: "move" });
      manipulation.offset(time - common.firstTime, 0, false);
      manipulation.end();
    });
  }

  private commitValue(text: string): boolean | string {
    const change = parseNumberEdit(text);
    if (change) this.editValues(change);
    return change !== undefined || kNoNumber;
  }

  private editValues(change: NumberEdit): void {
    const document = this.app.document;
    if (!document) return;
    this.app.run("Value", () => {
      for (const { track, indices } of document.selectedKeys()) {
        const { value } = this.tables.get(document, track);
        document.setValues(track, indices, Array.from(indices, (index) => change(value[index] ?? 0)));
      }
    });
  }

  /** Whether a change makes weights of those of all selected keys. */
  private areWeights(name: NumberName, change: NumberEdit): boolean {
    const document = this.app.document;
    if (!document) return true;
    return document.selectedKeys().every(({ track, indices }) => {
      const values = this.tables.get(document, track)[name];
      return Array.from(indices).every((index) => {
        const weight = change(values[index] ?? 0);
        return weight >= 0 && weight <= 1;
      });
    });
  }

  /** Changes a slope, a weight or a TCB number: once for keys that have the same, else key by key. */
  private editNumber(name: NumberName, change: NumberEdit): void {
    const { app } = this;
    const document = app.document;
    if (!document) return;
    const common = this.readCommon()?.[name];
    const title = kNumbers.find((number) => number.name === name)?.label ?? name;
    if (common !== undefined) return changeSelected(app, title, { [name]: change(common) } satisfies KeyChange);
    app.run(title, () => {
      for (const { track, indices } of document.selectedKeys()) {
        const values = this.tables.get(document, track)[name];
        for (const index of Array.from(indices)) document.setKeys([{ track, indices: [index] }], { [name]: change(values[index] ?? 0) });
      }
    });
  }

  /** What the selected keys have in common now. The fields show it a frame later; edits do not go by what they show. */
  private readCommon(): CommonKeys | undefined {
    const { document, selection } = this.app;
    return document && commonKeys(document, selection, this.tables);
  }

  private show(): void {
    const { app } = this;
    const common = this.readCommon();
    const active = app.track(app.activeTrack);
    this.summary.textContent = common?.count ? describeSelection(app) : active ? `${trackTitle(active)}: no key selected` : "No key selected";
    const hasKeys = (common?.count ?? 0) > 0;
    this.time.show(hasKeys ? app.formatTime(common?.firstTime ?? 0) : "", hasKeys);
    const text = (value: number | undefined): string | undefined => (value === undefined ? undefined : exactFloat(value));
    this.value.show(hasKeys ? text(common?.value) : "", hasKeys);
    for (const [name, field] of this.numbers) {
      const value = common?.[name];
      // Where others have that weight, TCB keys have their bias.
      const has = hasKeys && !(name === "rightWeight" && TANGENT_MODES[common?.tangent ?? -1] === "tcb");
      field.show(has ? (value === undefined ? undefined : formatNumber(value, 4)) : "", has);
    }
    this.interpolation.show(INTERPOLATIONS[common?.interpolation ?? -1], hasKeys);
    this.tangent.show(TANGENT_MODES[common?.tangent ?? -1], hasKeys);
    this.clamped.disabled = !hasKeys;
    this.clamped.indeterminate = hasKeys && common?.clamped === undefined;
    this.clamped.checked = common?.clamped === 1;
    this.showExtrapolation();
  }

  private showExtrapolation(): void {
    const settings = commonExtrapolation(this.app);
    for (const side of ["before", "after"] as const) {
      const { kind, count } = this.extrapolations[side];
      const isRepeated = settings?.[side] === "repetition" || settings?.[side] === "mirror";
      const times = settings?.[`${side}Count`];
      kind.show(settings?.[side], settings !== undefined);
      const shown = times === EXTRAPOLATION_UNLIMITED ? "∞" : times?.toString();
      count.show(isRepeated ? shown : "", isRepeated);
    }
  }
}

export function mountKeyPanel(host: HTMLElement, app: App, tables: KeyTables): void {
  new KeyPanel(host, app, tables);
}
