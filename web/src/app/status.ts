import type { MessageKind } from "./app";
import { h } from "./dom";

const kShownMilliseconds = 8000;

/**
 * The line at the bottom in which messages are told. Screen readers hear them. Errors and warnings stay, the others go
 * after a few seconds.
 */
export class StatusLine {
  private readonly text = h("span", { class: "status-text" });
  readonly element = h("div", { class: "status-message", role: "status", "aria-live": "polite" }, this.text);
  private timer = 0;

  readonly show = (message: string, kind: MessageKind): void => {
    window.clearTimeout(this.timer);
    this.text.textContent = message;
    this.text.title = message;
    this.element.dataset["kind"] = kind;
    if (kind === "error" || kind === "warning") return;
    this.timer = window.setTimeout(() => {
      this.text.textContent = "";
      delete this.element.dataset["kind"];
    }, kShownMilliseconds);
  };
}
