/**
 * Commands: what the user can do by key, by menu and from the list of commands. A command has one definition; menus
 * and help sheet show its title and keys from there.
 */

export interface Command {
  /** A name that never changes, "graph.frameAll". */
  readonly id: string;
  /** What it does, as menus say it: "Frame all curves". */
  readonly title: string;
  /** The heading under which the help sheet lists it. */
  readonly group: string;
  /** Keys that run it: "A", "Shift+Delete", "Mod+Z" (Mod is Ctrl, on a Mac Command), "?" or "ArrowLeft". */
  readonly keys?: readonly string[];
  /** The keys work only while the keyboard is in this part of the page, which has the attribute data-scope. */
  readonly scope?: string;
  /**
   * The key also works in text fields: always, as long as nothing is typed that the field has not taken yet, or once the
   * field has taken it.
   */
  readonly inFields?: boolean | "untyped" | "taken";
  /** The browser tells of these keys in an event of its own; they are listed here for menus and help sheet alone. */
  readonly isNative?: boolean;
  /** False while there is nothing to do; menus show it greyed. */
  readonly enabled?: () => boolean;
  /** For a command that switches something on and off: whether it is on. */
  readonly checked?: () => boolean;
  readonly run: () => void;
}

const isMac = /Mac|iPhone|iPad/.test(globalThis.navigator?.platform ?? "");

/** What keys of a keyboard with Latin letters type beside these, without and with Shift. */
const kLatinSigns: Readonly<Record<string, readonly [string, string]>> = {
  Comma: [",", "<"],
  Period: [".", ">"],
  BracketLeft: ["[", "{"],
  BracketRight: ["]", "}"],
};

/** The key by what it types; by its place where that is a letter of another script, or what Alt makes of a digit. */
function typedKey({ key, code, shiftKey }: KeyboardEvent, hasAlt: boolean): string {
  if (key === " ") return "Space";
  const digit = /^Digit(\d)$/.exec(code)?.[1];
  if (hasAlt && digit) return digit;
  if (!/^\p{L}$/u.test(key) || /^\p{Script=Latin}$/u.test(key)) return key;
  return /^Key([A-Z])$/.exec(code)?.[1] ?? kLatinSigns[code]?.[shiftKey ? 1 : 0] ?? key;
}

/** The name of a pressed key with its modifiers, in the form that `Command.keys` uses. */
function keyName(event: KeyboardEvent): string {
  const parts: string[] = [];
  // AltGr, with which signs are typed, may come as Ctrl and Alt; on a Mac Option may come as AltGr.
  const isTyping = !isMac && event.getModifierState("AltGraph");
  if (!isTyping && (isMac ? event.metaKey : event.ctrlKey)) parts.push("Mod");
  const hasAlt = !isTyping && event.altKey;
  if (hasAlt) parts.push("Alt");
  const key = typedKey(event, hasAlt);
  const isLetter = /^\p{L}$/u.test(key);
  // A sign such as "?" has its Shift in it already; on other keyboards it may be without.
  if (event.shiftKey && (isLetter || key.length > 1)) parts.push("Shift");
  parts.push(isLetter ? key.toUpperCase() : key);
  return parts.join("+");
}

/**
 * The names by which a command of a pressed key is looked for, the first one first. Where digits are typed with Shift, as
 * on French keyboards, their keys have the name of the digit too, unless there is a command of what they type without.
 */
export function keyNames(event: KeyboardEvent): string[] {
  const name = keyName(event);
  const { code, shiftKey, ctrlKey, altKey, metaKey } = event;
  const isAlone = !shiftKey && !ctrlKey && !altKey && !metaKey && !event.getModifierState("AltGraph");
  const digit = isAlone ? /^Digit(\d)$/.exec(code)?.[1] : undefined;
  return digit === undefined || digit === name ? [name] : [name, digit];
}

const kShownKeys: Readonly<Record<string, string>> = {
  Mod: isMac ? "⌘" : "Ctrl",
  Shift: isMac ? "⇧" : "Shift",
  Alt: isMac ? "⌥" : "Alt",
  ArrowLeft: "←",
  ArrowRight: "→",
  ArrowUp: "↑",
  ArrowDown: "↓",
  Delete: "Del",
  Escape: "Esc",
};

/** A key as help sheet and menus show it. */
export function shownKey(key: string): string {
  return key.replace(/[A-Za-z]+/g, (part) => kShownKeys[part] ?? part);
}

/** Set on a field while there is text in it that it has not taken yet. */
export const kTypedAttribute = "data-typed";

/** Asks a field to take what is typed there; prevented by one to which it means nothing. */
export const kTakeEvent = "take-typed";

function takesTyped(field: Element | null): boolean {
  return !field?.hasAttribute(kTypedAttribute) || field.dispatchEvent(new Event(kTakeEvent, { cancelable: true }));
}

/** True where text is marked in the page that the browser itself copies. */
function isCopyOfText(key: string): boolean {
  return (key === "Mod+C" || key === "Mod+X") && globalThis.getSelection()?.isCollapsed === false;
}

/** True where typed keys are text. */
export function isField(target: EventTarget | null): boolean {
  if (!(target instanceof HTMLElement)) return false;
  if (target.isContentEditable || target instanceof HTMLTextAreaElement || target instanceof HTMLSelectElement) return true;
  const kText = ["text", "search", "number", ""];
  return target instanceof HTMLInputElement && kText.includes(target.getAttribute("type") ?? "");
}

const kActivating = 'button, a[href], summary, input, [role="button"], [role="option"], [role="menuitem"], [role="treeitem"], [role="tab"]';
const kMoving = 'select, input[type="range"], input[type="radio"], [role="slider"], [role="separator"], [role="listbox"], [role="tree"]';
const kMovingKeys = ["ArrowLeft", "ArrowRight", "ArrowUp", "ArrowDown", "Home", "End", "PageUp", "PageDown"];

/** True for keys with which the control that has the keyboard is operated itself. */
function belongsToControl(key: string, target: Element | null): boolean {
  if (key === "Space" || key === "Enter") return target?.matches(kActivating) ?? false;
  return kMovingKeys.includes(key) && (target?.matches(kMoving) ?? false);
}

export class Commands {
  private readonly byId = new Map<string, Command>();
  /** While something is dragged no command runs: it would change what the drag holds. */
  isHeld = false;

  /** Adds a command; a second one of the same id takes the place of the first. Returns a function that removes it. */
  add(command: Command): () => void {
    this.byId.set(command.id, command);
    return () => {
      if (this.byId.get(command.id) === command) this.byId.delete(command.id);
    };
  }

  addAll(commands: readonly Command[]): void {
    for (const command of commands) this.add(command);
  }

  get(id: string): Command | undefined {
    return this.byId.get(id);
  }

  all(): Command[] {
    return [...this.byId.values()];
  }

  /** Runs a command if there is something to do for it. */
  run(id: string): void {
    const command = this.byId.get(id);
    if (command && this.isEnabled(command)) command.run();
  }

  isEnabled(command: Command): boolean {
    return !this.isHeld && (command.enabled?.() ?? true);
  }

  /**
   * Runs the command of a pressed key. A command of the part of the page that the keyboard is in goes before one of
   * the whole page. Returns whether there was one.
   */
  handleKey(event: KeyboardEvent): boolean {
    const target = event.target instanceof Element ? event.target : null;
    if (target?.closest("dialog[open]")) return false;
    return keyNames(event).some((key) => this.handleNamed(key, event, target));
  }

  private handleNamed(key: string, event: KeyboardEvent, target: Element | null): boolean {
    const command = this.find(key, target);
    if (!command || belongsToControl(key, target)) return false;
    if (isCopyOfText(key)) return false;
    // Also without anything to do: the browser's own meaning of the key, such as going back, would be a surprise.
    event.preventDefault();
    if (command.inFields === "taken" && !takesTyped(target)) return true;
    if (this.isEnabled(command)) command.run();
    return true;
  }

  private find(key: string, target: Element | null): Command | undefined {
    const inField = isField(target);
    const isTyping = inField && target?.hasAttribute(kTypedAttribute);
    const works = ({ inFields }: Command): boolean => !inField || (inFields === "untyped" ? !isTyping : Boolean(inFields));
    const candidates = this.all().filter((command) => command.keys?.includes(key) && !command.isNative && works(command));
    const scoped = candidates.find((command) => command.scope && target?.closest(`[data-scope~="${command.scope}"]`));
    return scoped ?? candidates.find((command) => !command.scope);
  }
}
