import type { App } from "../app/app";
import { afterRest, h, uniqueId } from "../app/dom";
import { messageOf } from "../app/errors";
import type { EditorDocument, Filter, FilterReport, FilterRequest, Layer } from "../engine/engine";
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
  private readonly filters: readonly Filter[];
  private readonly choice: HTMLSelectElement;
  private readonly layer: HTMLSelectElement;
  private readonly layerRow: HTMLElement;
  private readonly scope: HTMLSelectElement;
  private readonly unroll = h("input", { type: "checkbox" });
  private readonly summary = h("p", { class: "filter-summary" });
  private readonly fields = h("div");
  private readonly preview = h("button", { type: "button", class: "plain-button", "aria-pressed": "false" }, "Preview");
  private readonly apply = h("button", { type: "submit", class: "main-button" }, "Apply");
  /** Of what was asked for last; empty for nothing. */
  private wrong = "";
  private readonly problem = h("p", { class: "filter-problem", role: "alert" });
  private readonly report = h("div", { class: "report", role: "region", "aria-label": "Report of the filter" });
  private readonly form: HTMLFormElement;
  private parameters: ParameterForm;
  private rate: string | undefined;
  private readonly previewAgain = afterRest(kRest, () => {
    if (this.isPreviewing) this.previewNow(false);
  });

  constructor(private readonly app: App) {
    this.filters = [...app.engine.filters()].sort((a, b) => a.name.localeCompare(b.name));
    const choiceId = uniqueId("filter");
    const scopeId = uniqueId("scope");
    const layerId = uniqueId("filtered-layer");
    this.choice = h("select", { id: choiceId }, ...this.filters.map(({ name }) => h("option", { value: name }, name)));
    if (this.filters.some(({ name }) => name === "butterworth")) this.choice.value = "butterworth";
    this.layer = h("select", { id: layerId, change: () => app.setLayer(Number(this.layer.value)) });
    this.layerRow = h("div", { class: "parameter" }, h("label", { for: layerId }, "On the layer"), this.layer);
    const scopes = Object.entries(kScopes).map(([value, title]) => h("option", { value }, title));
    this.scope = h("select", { id: scopeId }, ...scopes);
    this.parameters = this.makeParameters();
    this.form = h(
      "form",
      { class: "filter-form", novalidate: true },
      h("div", { class: "parameter" }, h("label", { for: choiceId }, "Filter"), this.choice),
      this.summary,
      h("div", { class: "parameter" }, h("label", { for: scopeId }, "Applies to"), this.scope),
      this.layerRow,
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
    for (const event of ["joints", "tracks", "layer"] as const) app.on(event, () => this.edited());
    app.on("preview", () => this.showPreview());
    app.on("document", () => this.reset());
    app.on("changed", () => {
      this.report.replaceChildren();
      this.showRate();
      this.showProblem();
    });
    app.on("layer", () => this.report.replaceChildren());
    app.on("preferences", () => this.parameters.showUnit());
    this.addCommands();
    this.reset();
  }

  /** Times in frames are others at another frame rate. */
  private showRate(): void {
    const rate = this.app.document?.frameRate().text;
    if (rate === this.rate) return;
    this.rate = rate;
    this.parameters.showUnit();
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

  private get filter(): Filter {
    const filter = this.filters.find(({ name }) => name === this.choice.value);
    if (!filter) throw new Error("There is no filter.");
    return filter;
  }

  private makeParameters(): ParameterForm {
    const { filter } = this;
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
    this.wrong = problem;
    this.showProblem();
  }

  /** Shows what was wrong, or else what keeps the filter from the layer. */
  private showProblem(): void {
    const obstacle = this.showLayer();
    this.problem.textContent = this.wrong || obstacle;
    this.preview.disabled = obstacle !== "" && !this.isPreviewing;
    this.apply.disabled = obstacle !== "";
  }

  /** Shows which layer is filtered, and offers the filters that work on it. Gives why the chosen one cannot, if so. */
  private showLayer(): string {
    const layers = this.app.document?.layers() ?? [];
    const { layer: id } = this.app;
    this.layerRow.hidden = layers.length < 2;
    this.layer.replaceChildren(...layers.map((layer) => h("option", { value: layer.id }, layer.name)));
    this.layer.value = String(id);
    this.filters.forEach(({ name, whyBaseAlone }, index) => {
      const option = this.choice.options[index];
      if (!option) return;
      option.disabled = id !== 0 && whyBaseAlone !== "";
      option.textContent = option.disabled ? `${name} (base layer alone)` : name;
    });
    return obstacleOf(this.filter, layers.find((layer) => layer.id === id));
  }

  private togglePreview(): void {
    if (this.isPreviewing) this.app.setPreview(undefined);
    else this.previewNow(true);
  }

  private previewNow(takeFocus: boolean): void {
    const name = this.choice.value;
    const report = this.work(takeFocus, (document, request) => document.previewFilters(request));
    if (report) this.app.setPreview(name);
    else if (this.isPreviewing) this.app.setPreview(undefined);
  }

  private applyNow(): void {
    const name = this.choice.value;
    const report = this.work(true, (document, request) => this.app.run(name, () => document.applyFilters(request), (error) => this.refuse(error)));
    if (report) this.app.status(report.steps.some((step) => step.changed > 0) ? `${name} applied.` : `${name} changed nothing.`);
  }

  /** Does something with the filter as it is set, and shows the report, or what is wrong beside what it is about. */
  private work(
    takeFocus: boolean,
    act: (document: EditorDocument, request: FilterRequest) => FilterReport | undefined,
  ): FilterReport | undefined {
    const { document, layer } = this.app;
    this.say("");
    if (this.apply.disabled) return undefined;
    const step = this.parameters.step(takeFocus);
    if (!document || step === undefined) return undefined;
    this.say("");
    try {
      const steps = this.unroll.checked ? ["unroll", step] : [step];
      const report = act(document, { steps, nodes: this.nodes(document), layer });
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
    const { app } = this;
    const tracks = app.tracks.filter((track) => track.layer === app.layer && !track.isWeight);
    switch (this.scope.value as Scope) {
      case "all":
        return [];
      case "shown": {
        const shown = tracks.filter((track) => app.visibleTracks.includes(track.id));
        if (shown.length === 0) throw new Error("No curve is shown that filters go to. Show some in the tree, or apply the filter to everything.");
        return document.patterns(shown.map((track) => track.id));
      }
      case "joints": {
        if (app.joints.size === 0) throw new Error("No joint is chosen. Choose some in the tree or in the motion view.");
        const chosen = tracks.filter((track) => app.joints.has(track.jointIndex));
        if (chosen.length === 0) throw new Error("The chosen joints have no curves on this layer. Choose others, or put them on it in the panel Layers.");
        return document.patterns(chosen.map((track) => track.id));
      }
    }
  }

  private showPreview(): void {
    this.preview.setAttribute("aria-pressed", String(this.isPreviewing));
    this.preview.textContent = this.isPreviewing ? "Close preview" : "Preview";
    this.showProblem();
  }
}

/** Why a filter cannot go to a layer; empty where it can. */
function obstacleOf({ name, whyBaseAlone }: Filter, layer: Layer | undefined): string {
  if (layer?.locked) return `The layer ${layer.name} is locked. Unlock it in the panel Layers, or choose another one.`;
  if (layer && layer.id !== 0 && whyBaseAlone) return `${name} ${whyBaseAlone}. Choose the base layer, or another filter.`;
  return "";
}
