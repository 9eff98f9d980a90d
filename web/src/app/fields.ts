import { kTakeEvent, kTypedAttribute } from "./commands";
import { h, uniqueId } from "./dom";

/** Fields that tell what was typed once, when it is committed by Enter or by leaving the field. */

/** What a field of text is connected to. */
export interface Typing {
  /** Takes the text; false, or a message that says why, for one that means nothing. The field marks it until it is changed. */
  commit: (text: string) => boolean | string;
  /** One step up or down, by arrow key; ten at once with Shift. */
  step?: (steps: number) => void;
}

/** Connects an input: Enter and leaving commit, Escape brings back what was there, typed text stays until then. */
export class TypedInput {
  /** Why the text was not taken; the owner of a bare input puts it into the page. */
  readonly problem = h("span", { class: "field-problem", role: "alert" });
  private shown = "";

  constructor(
    readonly input: HTMLInputElement,
    private readonly typing: Typing,
  ) {
    input.addEventListener("focus", () => input.select());
    input.addEventListener("input", () => {
      this.refuse(undefined);
      input.setAttribute(kTypedAttribute, "");
    });
    input.addEventListener("blur", () => {
      this.commit();
      this.take();
      input.removeAttribute("aria-invalid");
    });
    input.addEventListener(kTakeEvent, (event) => {
      if (this.commit()) this.take();
      else event.preventDefault();
    });
    input.addEventListener("keydown", (event) => {
      if (!this.pressed(event)) return;
      event.preventDefault();
      event.stopPropagation();
    });
  }

  /** Shows a text unless the user is typing one. An undefined text means several different ones. */
  show(text: string | undefined, isEnabled = true): void {
    const { input } = this;
    if ((text ?? "") !== this.shown) this.refuse(undefined);
    this.shown = text ?? "";
    input.placeholder = text === undefined ? "mixed" : "";
    input.disabled = !isEnabled;
    if (input.hasAttribute(kTypedAttribute) || input.value === this.shown) return;
    input.value = this.shown;
    if (document.activeElement === input) input.select(); // what is typed next takes the place of the text
  }

  /** Marks the text as wrong, for a reason if there is a text; undefined takes the mark away. */
  refuse(problem: string | undefined): void {
    this.problem.textContent = problem ?? "";
    if (problem === undefined) this.input.removeAttribute("aria-invalid");
    else this.input.setAttribute("aria-invalid", "true");
  }

  private take(): void {
    this.input.value = this.shown;
    this.input.removeAttribute(kTypedAttribute);
  }

  private commit(): boolean {
    if (this.input.value === this.shown) return true;
    const result = this.typing.commit(this.input.value);
    if (result === true) this.refuse(undefined);
    else this.refuse(result === false ? "" : result);
    return result === true;
  }

  /** Whether the key means something here. */
  private pressed(event: KeyboardEvent): boolean {
    const { input, typing } = this;
    const direction = { ArrowUp: 1, ArrowDown: -1 }[event.key];
    if (event.key === "Enter") {
      if (this.commit()) this.take();
      input.select();
    } else if (event.key === "Escape") {
      this.take();
      this.refuse(undefined);
      input.select();
    } else if (direction !== undefined && typing.step) {
      if (input.hasAttribute(kTypedAttribute)) this.commit();
      this.take();
      this.refuse(undefined);
      typing.step(event.shiftKey ? direction * 10 : direction);
    } else {
      return false;
    }
    return true;
  }
}

/** A typed input with its label. */
export interface TextField {
  readonly element: HTMLElement;
  readonly input: HTMLInputElement;
  show(text: string | undefined, isEnabled?: boolean): void;
}

export interface TextFieldOptions extends Typing {
  label: string;
  /** A longer name or an explanation, as a tip. */
  title?: string;
}

export function textField(options: TextFieldOptions): TextField {
  const id = uniqueId("field");
  const input = h("input", { type: "text", id, autocomplete: "off", spellcheck: "false", inputmode: "text", title: options.title });
  const typed = new TypedInput(input, options);
  const label = h("label", { for: id, title: options.title }, options.label);
  const element = h("div", { class: "field" }, label, input, typed.problem);
  return { element, input, show: (text, isEnabled) => typed.show(text, isEnabled) };
}

export interface SelectField {
  readonly element: HTMLElement;
  readonly select: HTMLSelectElement;
  /** An undefined choice means several different ones. */
  show(choice: string | undefined, isEnabled?: boolean): void;
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
  const show = (choice: string | undefined, isEnabled = true): void => {
    select.disabled = !isEnabled;
    if (isEnabled) select.value = choice ?? "";
    else select.selectedIndex = -1;
  };
  return { element, select, show };
}
