import { h, uniqueId } from "../app/dom";
import type { App } from "../app/app";
import type { Filter, FilterParameter } from "../engine/engine";
import { filterStep, parseParameter, rangeWords, type Parsed } from "./parameters";

/** A parameter with its label, its help, and what is wrong with what was typed. */
class ParameterField {
  readonly element: HTMLElement;
  private readonly input: HTMLInputElement | HTMLSelectElement;
  private readonly problem: HTMLElement;
  private readonly unit = h("span", { class: "parameter-unit" });
  /** The time that was typed, in ticks, and the text that stands for it. */
  private typedTime: { text: string; ticks: number } | undefined;

  constructor(
    readonly parameter: FilterParameter,
    private readonly app: App,
    changed: () => void,
  ) {
    const id = uniqueId("parameter");
    const helpId = `${id}-help`;
    this.input = inputFor(parameter, app);
    this.input.id = id;
    this.input.setAttribute("aria-describedby", helpId);
    this.problem = h("span", { class: "parameter-problem" });
    const range = rangeWords(parameter);
    const help = h("span", { class: "parameter-help", id: helpId }, parameter.help, range && ` (${range})`, this.problem);
    const label = h("label", { for: id }, wordsOf(parameter.name), parameter.needed && h("span", { class: "parameter-needed" }, " needed"));
    this.element = h(
      "div",
      { class: parameter.type === "Bool" ? "parameter parameter-flag" : "parameter" },
      label,
      this.input,
      this.unit,
      help,
    );
    this.showUnit();
    this.input.addEventListener("input", () => {
      this.rememberTime();
      this.check();
      changed();
    });
  }

  /** The text for the engine; undefined where the default holds. */
  value(): Parsed | undefined {
    const typed = this.input instanceof HTMLInputElement && this.input.type === "checkbox" ? String(this.input.checked) : this.input.value;
    if (typed.trim() === "" || typed === this.parameter.default) return undefined;
    return parseParameter(this.parameter, typed, (text) => this.ticksOf(text));
  }

  /** Shows times in the unit and at the frame rate of now; what was typed means the same time as before. */
  showUnit(): void {
    this.unit.textContent = unitOf(this.parameter, this.app);
    if (this.parameter.type !== "Time" || !(this.input instanceof HTMLInputElement)) return;
    this.input.placeholder = shownDefault(this.parameter, this.app);
    if (!this.typedTime) return;
    const text = this.app.formatTime(this.typedTime.ticks);
    this.typedTime = { text, ticks: this.typedTime.ticks };
    this.input.value = text;
  }

  private rememberTime(): void {
    if (this.parameter.type !== "Time") return;
    const text = this.input.value;
    const ticks = this.app.parseTime(text);
    this.typedTime = ticks === undefined ? undefined : { text, ticks };
  }

  private ticksOf(text: string): number | undefined {
    return text === this.typedTime?.text ? this.typedTime.ticks : this.app.parseTime(text);
  }

  /** Shows what is wrong with what is typed; gives whether it is right. */
  check(): boolean {
    const value = this.value();
    return this.mark(value && "problem" in value ? value.problem : "");
  }

  /** Marks the field with what is wrong; an empty text takes the mark away. Gives whether it is right. */
  mark(problem: string): boolean {
    this.problem.textContent = problem;
    if (problem) this.input.setAttribute("aria-invalid", "true");
    else this.input.removeAttribute("aria-invalid");
    return problem === "";
  }

  focus(): void {
    this.input.focus();
  }
}

/** "CutOffFreq" as "Cut off freq". */
export function wordsOf(name: string): string {
  const words = name.replace(/([a-z0-9])([A-Z])/g, "$1 $2").replace(/([A-Z])([A-Z][a-z])/g, "$1 $2");
  return words.replace(/ [A-Z][a-z]/g, (start) => start.toLowerCase());
}

function inputFor(parameter: FilterParameter, app: App): HTMLInputElement | HTMLSelectElement {
  const { type, default: usual, names = [] } = parameter;
  if (type === "Bool") return h("input", { type: "checkbox", checked: usual === "true" });
  if (type === "Enum") {
    return h("select", {}, ...names.map((name) => h("option", { value: name, selected: name === usual }, name)));
  }
  return h("input", { type: "text", autocomplete: "off", spellcheck: "false", placeholder: shownDefault(parameter, app) });
}

function shownDefault({ type, default: usual }: FilterParameter, app: App): string {
  if (usual === "-inf") return "first key";
  if (usual === "inf") return "last key";
  const ticks = type === "Time" ? app.document?.parseTime.bind(app.document) : undefined;
  if (!ticks || !/^[0-9.]+$/.test(usual)) return usual;
  return app.formatTime(ticks(usual));
}

function unitOf({ type, unit }: FilterParameter, app: App): string {
  if (type !== "Time") return unit === "degrees" ? "°" : unit;
  const kUnits = { frames: "frames", seconds: "s", timecode: "" } as const;
  return kUnits[app.preferences.get("timeUnit")];
}

/** The fields of a filter's parameters. */
export class ParameterForm {
  readonly element = h("div", { class: "parameters" });
  private readonly fields: ParameterField[];

  constructor(
    readonly filter: Filter,
    app: App,
    changed: () => void,
  ) {
    this.fields = filter.parameters.map((parameter) => new ParameterField(parameter, app, changed));
    const isSpan = ({ parameter }: ParameterField): boolean => parameter.name === "Start" || parameter.name === "Stop";
    const ordered = [...this.fields.filter((field) => !isSpan(field)), ...this.fields.filter(isSpan)];
    this.element.append(...ordered.map((field) => field.element));
  }

  showUnit(): void {
    for (const field of this.fields) field.showUnit();
  }

  /** The filter as the engine takes it; undefined where a field is wrong, which has the keyboard then. */
  step(takeFocus: boolean): string | undefined {
    const wrong = this.fields.filter((field) => !field.check());
    if (takeFocus) wrong[0]?.focus();
    if (wrong.length > 0) return undefined;
    const values = this.fields.flatMap((field) => {
      const value = field.value();
      return value && "text" in value ? [[field.parameter.name, value.text] as const] : [];
    });
    return filterStep(this.filter.name, values);
  }

  /** Shows the engine's message beside the parameter that it speaks of; gives whether there is one. */
  showProblem(message: string): boolean {
    const field = this.fields.find(({ parameter }) => new RegExp(`\\b${parameter.name}\\b`).test(message));
    if (!field) return false;
    field.mark(message);
    return true;
  }
}
