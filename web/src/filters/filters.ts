import type { App } from "../app/app";
import { afterRest, h, uniqueId } from "../app/dom";
import { messageOf } from "../app/errors";
import type { EditorDocument, FilterReport } from "../engine/engine";
import "./filters.css";
import { ParameterForm } from "./parameter_form";
import { reportView } from "./report_view";

/** What a filter goes to. */
type Scope = "shown" | "joints" | "all";

const kScopes: Readonly<Record<Scope, string>> = {
  shown: "shown curves",
  joints: "chosen joints",
  all: "everything",
};

/** A preview is made anew when typing has rested for so long, in milliseconds. */
const kRest = 250;

/** Puts the panel that applies filters into an element of the page. */
export function mountFilters(host: HTMLElement, app: App): void {
  host.append(new FilterPanel(app).element);
}

class FilterPanel {
  readonly element: HTMLElement;
  private readonly choice: HTMLSelectElement;
  private readonly scope: HTMLSelectElement;
  private readonly unroll = h("input", { type: "checkbox" });
  private readonly summary = h("p", { class: "filter-summary" });
  private readonly fields = h("div");
  private readonly preview = h("button", { type: "button", class: "plain-button", "aria-pressed": "false" }, "Preview");
  private readonly apply = h("button", { type: "submit", class: "main-button" }, "Apply");
  private readonly problem = h("p", { class: "filter-problem", role: "alert" });
  private readonly report = h("div", { class: "report", role: "region", "aria-label": "Report of the filter" });
  private readonly form: HTMLFormElement;
  private parameters: ParameterForm;
  private readonly previewAgain = afterRest(kRest, () => {
    if (this.isPreviewing) this.previewNow(false);
  });

  constructor(private readonly app: App) {
    const filters = [...app.engine.filters()].sort((a, b) => a.name.localeCompare(b.name));
    const choiceId = uniqueId("filter");
    const scopeId = uniqueId("scope");
    this.choice = h("select", { id: choiceId }, ...filters.map(({ name }) => h("option", { value: name }, name)));
    if (filters.some(({ name }) => name === "butterworth")) this.choice.value = "butterworth";
    const scopes = Object.entries(kScopes).map(([value, title]) => h("option", { value }, title));
    this.scope = h("select", { id: scopeId }, ...scopes);
    this.parameters = this.makeParameters();
    this.form = h(
      "form",
      { class: "filter-form", novalidate: true },
      h("div", { class: "parameter" }, h("label", { for: choiceId }, "Filter"), this.choice),
      this.summary,
      h("div", { class: "parameter" }, h("label", { for: scopeId }, "Applies to"), this.scope),
      h("label", { class: "filter-unroll" }, this.unroll, "Unroll rotations first"),
      this.fields,
      h("div", { class: "filter-buttons" }, this.preview, this.apply),
      this.problem,
    );
    this.element = h("div", { class: "filters" }, this.form, this.report);
    this.choice.addEventListener("change", () => this.choose());
    for (const input of [this.scope, this.unroll]) input.addEventListener("change", () => this.edited());
    this.preview.addEventListener("click", () => this.togglePreview());
    this.form.addEventListener("submit", (event) => {
      event.preventDefault();
      this.applyNow();
    });
    for (const event of ["joints", "tracks"] as const) app.on(event, () => this.edited());
    app.on("preview", () => this.showPreview());
    app.on("document", () => this.reset());
    app.on("changed", () => this.report.replaceChildren());
    app.on("preferences", () => this.parameters.showUnit());
    this.addCommands();
    this.reset();
  }

  private addCommands(): void {
    const enabled = (): boolean => this.app.document !== undefined;
    const group = "Filters";
    this.app.commands.add({
      id: "filters.preview",
      title: "Preview the filter",
      group,
      keys: ["P"],
      scope: "filters",
      enabled,
      checked: () => this.isPreviewing,
      run: () => this.togglePreview(),
    });
    this.app.commands.add({
      id: "filters.apply",
      title: "Apply the filter",
      group,
      keys: ["Mod+Enter"],
      scope: "filters",
      inFields: true,
      enabled,
      run: () => this.applyNow(),
    });
  }

  private get isPreviewing(): boolean {
    return this.app.preview !== undefined;
  }

  private makeParameters(): ParameterForm {
    const filter = this.app.engine.filters().find(({ name }) => name === this.choice.value);
    if (!filter) throw new Error("There is no filter.");
    const form = new ParameterForm(filter, this.app, () => this.edited());
    this.summary.textContent = `${filter.summary.charAt(0).toUpperCase()}${filter.summary.slice(1)}.`;
    this.fields.replaceChildren(form.element);
    return form;
  }

  private choose(): void {
    this.renew();
    this.edited();
  }

  private renew(): void {
    this.parameters = this.makeParameters();
    this.say("");
  }

  private reset(): void {
    this.form.inert = this.app.document === undefined;
    this.report.replaceChildren();
    this.renew();
  }

  /** The preview is made again with what is asked for now. */
  private edited(): void {
    this.say("");
    if (this.isPreviewing) this.previewAgain();
  }

  private say(problem: string): void {
    this.problem.textContent = problem;
  }

  private togglePreview(): void {
    if (this.isPreviewing) this.app.setPreview(undefined);
    else this.previewNow(true);
  }

  private previewNow(takeFocus: boolean): void {
    const name = this.choice.value;
    const report = this.work(takeFocus, (document, steps, nodes) => document.previewFilters(steps, nodes));
    if (report) this.app.setPreview(name);
    else if (this.isPreviewing) this.app.setPreview(undefined);
  }

  private applyNow(): void {
    const name = this.choice.value;
    const report = this.work(true, (document, steps, nodes) =>
      this.app.run(name, () => document.applyFilters(steps, nodes), (error) => this.refuse(error)),
    );
    if (report) this.app.status(report.steps.some((step) => step.changed > 0) ? `${name} applied.` : `${name} changed nothing.`);
  }

  /** Does something with the filter as it is set, and shows the report, or what is wrong beside what it is about. */
  private work(
    takeFocus: boolean,
    act: (document: EditorDocument, steps: string[], nodes: string[]) => FilterReport | undefined,
  ): FilterReport | undefined {
    const document = this.app.document;
    const step = this.parameters.step(takeFocus);
    if (!document || step === undefined) return undefined;
    this.say("");
    try {
      const nodes = this.nodes(document);
      const report = act(document, this.unroll.checked ? ["unroll", step] : [step], nodes);
      this.report.replaceChildren(...(report ? reportView(report, document, this.app) : []));
      return report;
    } catch (error) {
      this.refuse(error);
      return undefined;
    }
  }

  private refuse(error: unknown): void {
    const message = messageOf(error);
    this.report.replaceChildren();
    if (!this.parameters.showProblem(message)) this.say(message);
  }

  /** The patterns of what the filter goes to; none mean everything. */
  private nodes(document: EditorDocument): string[] {
    switch (this.scope.value as Scope) {
      case "all":
        return [];
      case "shown":
        if (this.app.visibleTracks.length === 0) throw new Error("No curve is shown. Show some in the tree, or apply the filter to everything.");
        return document.patterns(this.app.visibleTracks);
      case "joints": {
        const tracks = this.app.tracks.filter((track) => track.layer === 0 && this.app.joints.has(track.jointIndex));
        if (tracks.length === 0) throw new Error("No joint is chosen. Choose some in the tree or in the motion view.");
        return document.patterns(tracks.map((track) => track.id));
      }
    }
  }

  private showPreview(): void {
    this.preview.setAttribute("aria-pressed", String(this.isPreviewing));
    this.preview.textContent = this.isPreviewing ? "Close preview" : "Preview";
  }
}
