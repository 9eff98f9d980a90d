import type { App } from "../app/app";
import { h, iconButton, uniqueId } from "../app/dom";
import { messageOf } from "../app/errors";
import { TypedInput } from "../app/fields";
import { icons } from "../app/icons";
import { formatNumber, parseNumber } from "../app/numbers";
import type { EditorDocument, Layer } from "../engine/engine";

/** How much a layer counts: a slider and a number at the current time, a key for it, and its curve in the graph. */
export class WeightField {
  readonly element: HTMLElement;
  private readonly slider: HTMLInputElement;
  private readonly number: TypedInput;
  private readonly key = iconButton(icons.key, "Key the weight here", () => this.setKey());
  private readonly state = h("span", { class: "layer-weight-state" });
  private layer: Layer | undefined;
  /** The document in which a drag of the slider is a step that is not ended yet. */
  private dragged: EditorDocument | undefined;

  constructor(private readonly app: App) {
    const id = uniqueId("weight");
    this.slider = h("input", { type: "range", min: 0, max: 1, step: 0.01, "aria-label": "Weight" });
    const input = h("input", { type: "text", id, size: 5, autocomplete: "off" });
    this.number = new TypedInput(input, { commit: (text) => this.takeTyped(text) });
    const showCurve = iconButton(icons.curve, "Show the curve of the weight", () => this.showCurve());
    this.element = h(
      "div",
      { class: "layer-weight" },
      h("div", { class: "layer-weight-row" }, h("label", { for: id }, "Weight"), this.slider, input, this.key, showCurve),
      this.state,
      this.number.problem,
    );
    this.slider.addEventListener("input", () => this.drag());
    for (const event of ["change", "blur", "pointercancel"]) this.slider.addEventListener(event, () => this.endDrag());
    app.on("time", () => this.refresh());
    app.on("closing", () => this.endDrag());
  }

  /** Shows the weight of a layer; hidden for the base layer, which counts in full. */
  show(layer: Layer | undefined): void {
    if (layer?.id !== this.layer?.id) this.number.refuse(undefined);
    this.layer = layer;
    this.element.hidden = layer === undefined || layer.weightTrack < 0;
    this.refresh();
  }

  private refresh(): void {
    const { layer, app } = this;
    if (!layer || !app.document || layer.weightTrack < 0) return;
    const weight = app.document.layerWeight(layer.id, app.time);
    const keys = this.keyCount;
    if (!this.dragged) this.slider.value = String(weight);
    this.number.show(formatNumber(weight, 3));
    this.slider.setAttribute("aria-valuetext", formatNumber(weight, 2));
    const state = keys === 0 ? "constant" : `${keys} ${keys === 1 ? "key" : "keys"}; changes set a key at the current time`;
    if (this.state.textContent !== state) this.state.textContent = state;
  }

  private get keyCount(): number {
    const { layer, app } = this;
    return app.track(layer?.weightTrack ?? -1)?.keyCount ?? 0;
  }

  /** A weight without keys is the same throughout; one with keys gets another key. */
  private set(weight: number): void {
    const { layer, app } = this;
    if (!layer || !app.document) return;
    if (this.keyCount > 0) app.document.setLayerWeight(layer.id, weight, app.time);
    else app.document.setLayerWeight(layer.id, weight);
  }

  /** A drag of the slider is one step. */
  private drag(): void {
    const { document } = this.app;
    if (!document) return;
    try {
      if (!this.dragged) {
        this.app.setPreview(undefined);
        document.beginStep("Weight of layer");
        this.dragged = document;
      }
      this.set(Number(this.slider.value));
      this.number.refuse(undefined);
    } catch (error) {
      this.number.refuse(messageOf(error));
    }
    this.app.dragged();
    this.refresh();
  }

  private endDrag(): void {
    const document = this.dragged;
    this.dragged = undefined;
    if (!document || document !== this.app.document) return;
    try {
      document.endStep();
    } catch (error) {
      document.cancelStep();
      this.app.fail(error);
    }
    this.app.touch();
  }

  private takeTyped(text: string): boolean | string {
    const weight = parseNumber(text);
    if (weight === undefined || weight < 0 || weight > 1) return "A weight is a number from 0 to 1.";
    let problem = "";
    this.app.run("Weight of layer", () => this.set(weight), (error) => (problem = messageOf(error)));
    this.refresh();
    return problem || true;
  }

  private setKey(): void {
    const { layer, app } = this;
    const { document } = app;
    if (!layer || !document) return;
    app.run("Key of weight", () => document.setLayerWeight(layer.id, document.layerWeight(layer.id, app.time), app.time));
  }

  private showCurve(): void {
    if (this.layer) this.app.showTracks([this.layer.weightTrack], this.layer.weightTrack);
  }
}
