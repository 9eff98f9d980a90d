import { kTypedAttribute } from "./commands";
import { h, uniqueId } from "./dom";

/** Fields with a label; each tells what was typed once, when it is committed by Enter or by leaving the field. */

export interface TextField {
  readonly element: HTMLElement;
  readonly input: HTMLInputElement;
  /** Shows a text unless the user is typing one. An undefined text means several different ones. */
  show(text: string | undefined, isEnabled: boolean): void;
}

export interface TextFieldOptions {
  label: string;
  /** A longer name or an explanation, as a tip. */
  title?: string;
  unit?: string;
  /** Takes the text; false for one that means nothing, which the field marks until it is changed. */
  commit: (text: string) => boolean;
  /** One step up or down, by arrow key; ten at once with Shift. */
  step?: (steps: number) => void;
}

export function textField(options: TextFieldOptions): TextField {
  const id = uniqueId("field");
  const input = h("input", { type: "text", id, autocomplete: "off", spellcheck: "false", inputmode: "text", title: options.title });
  const element = h(
    "div",
    { class: "field" },
    h("label", { for: id, title: options.title }, options.label),
    input,
    options.unit !== undefined && h("span", { class: "field-unit" }, options.unit),
  );
  let shown = "";
  const take = (): void => {
    input.value = shown;
    input.removeAttribute(kTypedAttribute);
  };
  const restore = (): void => {
    take();
    input.removeAttribute("aria-invalid");
  };
  const commit = (): void => {
    if (input.value === shown) return;
    if (options.commit(input.value)) input.removeAttribute("aria-invalid");
    else input.setAttribute("aria-invalid", "true");
  };
  input.addEventListener("focus", () => input.select());
  input.addEventListener("input", () => {
    input.removeAttribute("aria-invalid");
    input.setAttribute(kTypedAttribute, "");
  });
  input.addEventListener("blur", () => {
    commit();
    restore();
  });
  input.addEventListener("keydown", (event) => {
    const direction = { ArrowUp: 1, ArrowDown: -1 }[event.key];
    if (event.key === "Enter") {
      commit();
      if (!input.hasAttribute("aria-invalid")) take();
      input.select();
    } else if (event.key === "Escape") {
      restore();
      input.select();
    } else if (direction !== undefined && options.step) {
      if (input.hasAttribute(kTypedAttribute)) commit();
      take();
      options.step(event.shiftKey ? direction * 10 : direction);
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  });
  const show = (text: string | undefined, isEnabled: boolean): void => {
    shown = text ?? "";
    input.placeholder = text === undefined ? "mixed" : "";
    input.disabled = !isEnabled;
    if (!input.hasAttribute(kTypedAttribute)) input.value = shown;
  };
  return { element, input, show };
}

export interface SelectField {
  readonly element: HTMLElement;
  readonly select: HTMLSelectElement;
  /** An undefined choice means several different ones. */
  show(choice: string | undefined, isEnabled: boolean): void;
}

/** A choice of one among a few. */
export function selectField(
  label: string,
  choices: readonly { value: string; title: string }[],
  commit: (value: string) => void,
): SelectField {
  const id = uniqueId("field");
  const mixed = h("option", { value: "", hidden: true }, "mixed");
  const options = choices.map((choice) => h("option", { value: choice.value }, choice.title));
  const select = h("select", { id, change: () => commit(select.value) }, mixed, ...options);
  const element = h("div", { class: "field" }, h("label", { for: id }, label), select);
  const show = (choice: string | undefined, isEnabled: boolean): void => {
    select.disabled = !isEnabled;
    if (isEnabled) select.value = choice ?? "";
    else select.selectedIndex = -1;
  };
  return { element, select, show };
}
