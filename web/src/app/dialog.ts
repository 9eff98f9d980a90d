import { type Attributes, h, uniqueId } from "./dom";

export interface Dialog {
  readonly element: HTMLDialogElement;
  readonly body: HTMLElement;
  close(): void;
}

/** Opens a dialog over the page; Escape and the button at its top close it, and the keyboard returns to where it was. */
export function openDialog(title: string, attributes: Attributes = {}, closed?: () => void): Dialog {
  const id = uniqueId("dialog");
  const body = h("div", { class: "dialog-body" });
  const element = h("dialog", { ...attributes, "aria-labelledby": id });
  const close = (): void => element.close();
  element.append(
    h(
      "header",
      { class: "dialog-head" },
      h("h2", { id }, title),
      h("button", { type: "button", class: "plain-button", "aria-label": "Close", click: close }, "✕"),
    ),
    body,
  );
  element.addEventListener("close", () => {
    element.remove();
    closed?.();
  });
  element.addEventListener("click", (event) => {
    if (event.target === element) close();
  });
  document.body.append(element);
  element.showModal();
  return { element, body, close };
}

/** A choice in a question: what it says and what it stands for. */
export interface Choice<T> {
  title: string;
  value: T;
  /** The one that Enter takes. */
  isMain?: boolean;
}

/** Asks a question with a few buttons; undefined if the dialog is closed without one. */
export function ask<T>(title: string, question: string, choices: readonly Choice<T>[]): Promise<T | undefined> {
  return new Promise((resolve) => {
    let result: T | undefined;
    const dialog = openDialog(title, { class: "question" }, () => resolve(result));
    const buttons = choices.map((choice) =>
      h(
        "button",
        {
          type: "button",
          class: choice.isMain ? "main-button" : "plain-button",
          autofocus: choice.isMain ?? false,
          click: () => {
            result = choice.value;
            dialog.close();
          },
        },
        choice.title,
      ),
    );
    dialog.body.append(h("p", {}, question), h("div", { class: "dialog-buttons" }, ...buttons));
    buttons[choices.findIndex((choice) => choice.isMain)]?.focus();
  });
}
