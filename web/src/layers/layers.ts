import type { App } from "../app/app";
import { h, icon, iconButton, uniqueId } from "../app/dom";
import { messageOf } from "../app/errors";
import { type SelectField, selectField, textField } from "../app/fields";
import { icons } from "../app/icons";
import { formatNumber, parseNumber } from "../app/numbers";
import type { EditorDocument, Layer, LayerChange, LayerMode, PlottedProperty } from "../engine/engine";
import "./layers.css";
import { WeightField } from "./weight_field";

/** What modes do; one that is not here goes by its own name. */
const kModeTitles: Readonly<Record<LayerMode, string>> = {
  additive: "adds to the layers below",
  override: "replaces the layers below",
  "weighted-override": "replaces them by its weight",
};
const kRotationModes: readonly { value: Layer["rotationMode"]; title: string }[] = [
  { value: "by-layer", title: "as a whole" },
  { value: "by-channel", title: "angle by angle" },
];
const kScalingModes: readonly { value: Layer["scalingMode"]; title: string }[] = [
  { value: "multiply", title: "multiply" },
  { value: "add", title: "add up" },
];

type Button = "muted" | "solo" | "locked";
const kButtons: Readonly<Record<Button, { on: string; off: string; icon: string }>> = {
  muted: { on: "Mute", off: "Unmute", icon: icons.mute },
  solo: { on: "Solo", off: "Unsolo", icon: icons.solo },
  locked: { on: "Lock", off: "Unlock", icon: icons.lock },
};

const kTolerance = 0.001;

/** Puts the panel of layers into an element of the page. */
export function mountLayers(host: HTMLElement, app: App): void {
  host.append(new LayerPanel(app).element);
}

class LayerPanel {
  readonly element: HTMLElement;
  private readonly list = h("ul", { class: "layer-list", "aria-label": "Layers, the top one first" });
  private readonly details = h("div", { class: "layer-details" });
  private readonly name = textField({ label: "Name", commit: (name) => this.change({ name }, "Name of layer") });
  private readonly mode: SelectField;
  private readonly rotations = selectField("Rotations", kRotationModes, (mode) => {
    this.change({ rotationMode: mode as Layer["rotationMode"] }, "Rotations of layer");
  });
  private readonly scalings = selectField("Scalings", kScalingModes, (mode) => {
    this.change({ scalingMode: mode as Layer["scalingMode"] }, "Scalings of layer");
  });
  private readonly weight: WeightField;
  private readonly properties = h("p", { class: "layer-properties" });
  private readonly remove = iconButton(icons.remove, "Remove the layer", () => this.removeLayer());
  private readonly mergeChoice = h("div", { class: "layer-merge", role: "group", "aria-label": "Layers to merge" });
  private readonly merge = this.mergeForm();
  private readonly bake = this.bakeForm();
  private readonly report = h("p", { class: "layer-report", role: "status" });
  private shown = "";
  /** Layers that the user has left out, by their ids; they stay so while others change. */
  private readonly notToMerge = new Set<number>();

  constructor(private readonly app: App) {
    this.weight = new WeightField(app);
    const modes = app.engine.layerModes.map((mode) => ({ value: mode, title: kModeTitles[mode] ?? mode }));
    this.mode = selectField("Mode", modes, (mode) => void this.change({ mode }, "Mode of layer"));
    const add = iconButton(icons.add, "Add a layer", () => this.addLayer());
    const putOn = h("button", { type: "button", class: "plain-button", click: () => this.addProperties() }, "Add chosen joints");
    putOn.title = "Puts the properties of the chosen joints on this layer";
    this.details.append(
      this.name.element,
      this.mode.element,
      this.rotations.element,
      this.scalings.element,
      this.weight.element,
      h("div", { class: "layer-row" }, this.properties, putOn),
    );
    this.element = h(
      "div",
      { class: "layers" },
      h("div", { class: "layer-tools", role: "toolbar", "aria-label": "Layers" }, add, this.remove),
      this.list,
      this.details,
      this.bake,
      this.merge,
      this.report,
    );
    app.on("document", () => {
      this.notToMerge.clear();
      this.shown = "";
    });
    for (const event of ["document", "changed", "layer"] as const) app.on(event, () => this.refresh());
    app.on("changed", () => (this.report.textContent = ""));
    this.addCommands();
    this.refresh();
  }

  private addCommands(): void {
    const hasDocument = (): boolean => this.app.document !== undefined;
    const isUpper = (): boolean => (this.layer?.id ?? 0) > 0;
    const commands: [string, string, string | undefined, () => boolean, () => void][] = [
      ["add", "Add a layer", undefined, hasDocument, () => this.addLayer()],
      ["remove", "Remove the layer", "Delete", isUpper, () => this.removeLayer()],
      ["mute", "Mute or unmute the layer", "M", hasDocument, () => this.toggle("muted")],
      ["solo", "Let the layer play alone", "S", hasDocument, () => this.toggle("solo")],
      ["lock", "Lock or unlock the layer", "L", hasDocument, () => this.toggle("locked")],
      ["rename", "Rename the layer", "F2", hasDocument, () => this.rename()],
      ["up", "Edit the layer above", "ArrowUp", hasDocument, () => this.step(1)],
      ["down", "Edit the layer below", "ArrowDown", hasDocument, () => this.step(-1)],
    ];
    for (const [id, title, key, enabled, run] of commands) {
      const keys = key === undefined ? {} : { keys: [key] };
      this.app.commands.add({ id: `layers.${id}`, title, group: "Layers", scope: "layers", enabled, run, ...keys });
    }
  }

  private get layers(): Layer[] {
    return this.app.document?.layers() ?? [];
  }

  private get layer(): Layer | undefined {
    return this.layers.find((layer) => layer.id === this.app.layer);
  }

  /** Shows the layers as they are, unless they are shown already. */
  private refresh(): void {
    const { layers } = this;
    const { document, layer: edited } = this.app;
    this.element.inert = document === undefined;
    const tracks = this.app.tracks.filter((track) => track.layer === edited && !track.isWeight);
    const properties = new Set(tracks.map((track) => `${track.joint}/${track.property}`)).size;
    const state = JSON.stringify([layers, edited, properties]);
    this.weight.show(this.layer);
    if (state === this.shown) return;
    this.shown = state;
    this.showList(layers);
    this.showDetails(properties);
    this.showMergeChoice(layers);
  }

  private showList(layers: readonly Layer[]): void {
    const focused = this.list.contains(document.activeElement) ? (document.activeElement as HTMLElement).id : "";
    const isAnySolo = layers.some((layer) => layer.solo);
    const rows = [...layers].reverse().map((layer) => {
      const isSilent = layer.muted || (isAnySolo && !layer.solo);
      const isEdited = layer.id === this.app.layer;
      const choose = h(
        "button",
        { type: "button", class: "layer-name", id: `layer-${layer.id}-name`, "aria-current": isEdited && "true", click: () => this.app.setLayer(layer.id) },
        layer.name,
        h("span", { class: "layer-mode" }, layer.id === 0 ? "base" : layer.mode),
      );
      choose.addEventListener("dblclick", () => this.rename());
      const buttons = (Object.keys(kButtons) as Button[]).map((name) => this.rowButton(layer, name));
      return h("li", { class: `layer${isEdited ? " layer-edited" : ""}${isSilent ? " layer-silent" : ""}` }, choose, ...buttons);
    });
    this.list.replaceChildren(...rows);
    if (focused) document.getElementById(focused)?.focus();
  }

  private rowButton(layer: Layer, name: Button): HTMLButtonElement {
    const { on, icon: path } = kButtons[name];
    const button = h("button", { type: "button", class: "icon-button", id: `layer-${layer.id}-${name}` }, icon(path));
    button.title = `${on} ${layer.name}`;
    button.setAttribute("aria-label", button.title);
    button.setAttribute("aria-pressed", String(layer[name]));
    button.addEventListener("click", () => this.toggle(name, layer));
    return button;
  }

  private showDetails(properties: number): void {
    const { layer } = this;
    this.details.hidden = layer === undefined;
    if (!layer) return;
    const isBase = layer.id === 0;
    this.name.show(layer.name);
    this.mode.show(layer.mode);
    this.rotations.show(layer.rotationMode);
    this.scalings.show(layer.scalingMode);
    this.remove.disabled = isBase;
    for (const { element } of [this.mode, this.rotations, this.scalings]) element.hidden = isBase;
    this.properties.textContent = `${properties} ${properties === 1 ? "property" : "properties"}`;
    (this.properties.nextElementSibling as HTMLElement).hidden = isBase;
  }

  /** True where it was done; otherwise why not, which is told below too. */
  private change(change: LayerChange, name: string): boolean | string {
    const { layer } = this;
    if (!layer) return true;
    let problem = "";
    this.app.run(name, () => this.app.document?.setLayer(layer.id, change), (error) => {
      problem = messageOf(error);
      this.app.fail(error);
    });
    this.shown = ""; // a refused choice goes back to what it was
    this.refresh();
    return problem || true;
  }

  private rename(): void {
    this.name.input.focus();
    this.name.input.select();
  }

  private toggle(button: Button, layer = this.layer): void {
    if (!layer) return;
    const word = kButtons[button][layer[button] ? "off" : "on"];
    this.app.run(`${word} ${layer.name}`, () => this.app.document?.setLayer(layer.id, { [button]: !layer[button] }));
  }

  private step(by: number): void {
    const at = this.layers.findIndex((layer) => layer.id === this.app.layer);
    const next = this.layers[at + by];
    if (next) this.app.setLayer(next.id);
  }

  private addLayer(): void {
    const { document } = this.app;
    if (!document) return;
    const names = new Set(this.layers.map((layer) => layer.name));
    let number = 1;
    while (names.has(`Layer ${number}`)) ++number;
    const id = this.app.run("Add a layer", () => document.addLayer(`Layer ${number}`, this.chosenNodes(document)));
    if (id !== undefined) this.app.setLayer(id);
  }

  private removeLayer(): void {
    const { layer } = this;
    const { document } = this.app;
    if (layer && document && layer.id !== 0) this.app.run(`Remove ${layer.name}`, () => document.removeLayer(layer.id));
  }

  /** Patterns of the properties of the chosen joints; without any, of the shown curves. */
  private chosenNodes(document: EditorDocument): string[] {
    const visible = new Set(this.app.visibleTracks);
    const tracks = this.app.tracks.filter((track) => !track.isWeight);
    const paths = new Set(tracks.filter((track) => visible.has(track.id)).map((track) => track.path));
    const isChosen = this.app.joints.size > 0 ? (joint: number) => this.app.joints.has(joint) : undefined;
    const chosen = tracks.filter((track) => track.layer === 0 && (isChosen?.(track.jointIndex) ?? paths.has(track.path)));
    return chosen.length === 0 ? [] : document.patterns(chosen.map((track) => track.id));
  }

  private addProperties(): void {
    const { layer } = this;
    const { document } = this.app;
    if (!layer || !document) return;
    const nodes = this.chosenNodes(document);
    if (nodes.length === 0) {
      this.report.textContent = "No joint is chosen. Choose some in the tree or in the motion view.";
      return;
    }
    this.app.run(`Add to ${layer.name}`, () => document.addToLayer(layer.id, nodes));
    this.app.chooseJoints(this.app.joints, this.app.joints.size > 0);
  }

  private bakeForm(): HTMLElement {
    const tolerance = toleranceField();
    const everyFrame = h("input", { type: "checkbox" });
    const run = (): void => {
      const { layer } = this;
      const { document } = this.app;
      const amount = tolerance.read();
      if (!layer || !document || amount === undefined) return;
      const options = { tolerance: amount, everyFrame: everyFrame.checked };
      this.tell(this.app.run(`Bake into ${layer.name}`, () => document.bakeIntoLayer(layer.id, options)), "baked");
    };
    return foldedForm(
      "Bake",
      "Gives the layer keys with which all layers together show what they show now.",
      [tolerance.element, h("label", { class: "layer-check" }, everyFrame, "a key at every frame")],
      icons.bake,
      "Bake into the layer",
      run,
    );
  }

  private mergeForm(): HTMLElement {
    const tolerance = toleranceField();
    const run = (): void => {
      const { document } = this.app;
      const amount = tolerance.read();
      const boxes = [...this.mergeChoice.querySelectorAll<HTMLInputElement>("input:checked")];
      if (!document || amount === undefined) return;
      if (boxes.length < 2) {
        this.report.textContent = "Merging takes two layers or more.";
        return;
      }
      const layers = boxes.map((box) => Number(box.value)).sort((a, b) => a - b);
      this.tell(this.app.run("Merge layers", () => document.mergeLayers({ layers, tolerance: amount })), "merged");
    };
    return foldedForm(
      "Merge",
      "Makes one layer of several; all layers together play as before.",
      [this.mergeChoice, tolerance.element],
      icons.merge,
      "Merge the layers",
      run,
    );
  }

  private showMergeChoice(layers: readonly Layer[]): void {
    const isAnySolo = layers.some((layer) => layer.solo);
    const rows = [...layers].reverse().map((layer) => {
      const plays = !layer.muted && (!isAnySolo || layer.solo);
      const box = h("input", { type: "checkbox", value: layer.id, checked: plays && !this.notToMerge.has(layer.id), disabled: !plays });
      box.addEventListener("change", () => this.notToMerge[box.checked ? "delete" : "add"](layer.id));
      return h("label", { class: "layer-check" }, box, layer.name);
    });
    this.mergeChoice.replaceChildren(...rows);
  }

  private tell(properties: PlottedProperty[] | undefined, done: string): void {
    this.report.textContent = properties ? plottedText(properties, done) : "";
  }
}

/** "12 properties merged, 3 of them resampled; at most 0.0009 degrees off (Hips/Lcl Rotation)". */
export function plottedText(properties: readonly PlottedProperty[], done: string): string {
  const [worst] = [...properties].sort((a, b) => b.largest - a.largest);
  if (!worst) return `No property was ${done}.`;
  const resampled = properties.filter((property) => property.isResampled).length;
  const count = `${properties.length} ${properties.length === 1 ? "property" : "properties"} ${done}`;
  const sampled = resampled > 0 && resampled < properties.length ? `, ${resampled} of them resampled` : "";
  const exact = worst.largest === 0 ? "exactly" : `at most ${formatNumber(worst.largest, 6)} ${worst.unit} off (${worst.path})`;
  return `${count}${sampled}; ${exact}.`;
}

function field(label: string, input: HTMLElement): HTMLElement {
  input.id = uniqueId("layer-field");
  return h("div", { class: "field" }, h("label", { for: input.id }, label), input);
}

function foldedForm(title: string, help: string, fields: HTMLElement[], path: string, action: string, run: () => void): HTMLElement {
  const submit = h("button", { type: "submit", class: "plain-button layer-action" }, icon(path), action);
  const form = h("form", { class: "layer-form" }, h("p", {}, help), ...fields, submit);
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    run();
  });
  return h("details", { class: "layer-fold" }, h("summary", {}, title), form);
}

/** How far off the result may be; a number above 0. */
function toleranceField(): { element: HTMLElement; read: () => number | undefined } {
  const input = h("input", { type: "text", value: String(kTolerance), autocomplete: "off" });
  const problem = h("span", { class: "parameter-problem", role: "alert" });
  const read = (): number | undefined => {
    const value = parseNumber(input.value);
    const isRight = value !== undefined && value > 0;
    problem.textContent = isRight ? "" : "A tolerance is a number above 0, in units or degrees.";
    input.removeAttribute("aria-invalid");
    if (isRight) return value;
    input.setAttribute("aria-invalid", "true");
    input.focus();
    return undefined;
  };
  const element = h("div", {}, field("Tolerance", input), problem);
  return { element, read };
}
