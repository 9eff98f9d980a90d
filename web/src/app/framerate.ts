import type { App } from "./app";
import { openDialog } from "./dialog";
import { messageOf } from "./errors";
import { h } from "./dom";

/** Asks for another frame rate; keys stay at their times. */
export function openFrameRate(app: App): void {
  const document = app.document;
  if (!document) return;
  const dialog = openDialog("Frame rate", { class: "question" });
  const shown = document.frameRate().text;
  const input = h("input", { type: "text", id: "frame-rate", value: shown, autocomplete: "off" });
  // The status line is behind the dialog.
  const problem = h("span", { class: "field-problem", role: "alert" });
  const refuse = (error: unknown): void => {
    problem.textContent = messageOf(error);
    input.setAttribute("aria-invalid", "true");
  };
  const form = h(
    "form",
    { class: "frame-rate" },
    h("p", {}, "Keys stay at their times; frames are counted by the new rate. 30, 29,97 and 24000/1001 are rates."),
    h("div", { class: "field" }, h("label", { for: "frame-rate" }, "Frames a second"), input, problem),
    h(
      "div",
      { class: "dialog-buttons" },
      h("button", { type: "button", class: "plain-button", click: () => dialog.close() }, "Cancel"),
      h("button", { class: "main-button" }, "Set"),
    ),
  );
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    const rate = input.value.trim();
    // The text may be rounded: what was not typed is not set.
    if (rate === shown) return dialog.close();
    const set = (): boolean => {
      document.setFrameRate(rate);
      return true;
    };
    if (app.run("Frame rate", set, refuse)) dialog.close();
  });
  dialog.body.append(form);
  input.focus();
  input.select();
}
