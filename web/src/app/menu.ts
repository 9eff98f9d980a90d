import { type Command, type Commands, shownKey } from "./commands";
import { h } from "./dom";

/** A line of a menu: a command by its id, a line of its own, a menu inside the menu, or a dividing line. */
export type MenuEntry =
  | string
  | "-"
  | { title: string; run: () => void; checked?: boolean; enabled?: boolean; keys?: string }
  | { title: string; entries: MenuEntry[] };

interface Place {
  x: number;
  y: number;
  /** The menu opens to the left of it where there is no room to the right. */
  otherX?: number;
}

let closeOpen: (() => void) | undefined;

/** Closes the menu that is open. */
export function closeMenu(): void {
  closeOpen?.();
}

function commandLine(commands: Commands, command: Command): HTMLElement {
  const checked = command.checked?.();
  const keys = command.keys?.[0];
  return h(
    "div",
    {
      class: "menu-line",
      role: checked === undefined ? "menuitem" : "menuitemcheckbox",
      "aria-checked": checked === undefined ? undefined : String(checked),
      "aria-disabled": commands.isEnabled(command) ? undefined : "true",
      tabindex: -1,
    },
    h("span", { class: "menu-check", "aria-hidden": "true" }, checked ? "✓" : ""),
    h("span", { class: "menu-title" }, command.title),
    h("kbd", {}, keys ? shownKey(keys) : ""),
  );
}

class Menu {
  readonly element = h("div", { class: "menu", role: "menu", tabindex: -1 });
  private child: Menu | undefined;

  constructor(
    private readonly commands: Commands,
    entries: readonly MenuEntry[],
    label: string,
    private readonly parent: Menu | undefined,
  ) {
    this.element.setAttribute("aria-label", label);
    for (const entry of entries) this.addEntry(entry);
    this.element.addEventListener("keydown", (event) => this.handleKey(event));
    this.element.addEventListener("contextmenu", (event) => event.preventDefault());
  }

  private addEntry(entry: MenuEntry): void {
    if (entry === "-") {
      this.element.append(h("div", { class: "menu-divider", role: "separator" }));
      return;
    }
    if (typeof entry !== "string" && "entries" in entry) {
      this.addSubmenu(entry.title, entry.entries);
      return;
    }
    const command = typeof entry === "string" ? this.commands.get(entry) : this.asCommand(entry);
    if (!command) return;
    const line = commandLine(this.commands, command);
    line.addEventListener("click", () => {
      if (!this.commands.isEnabled(command)) return;
      closeMenu();
      command.run();
    });
    line.addEventListener("pointerenter", () => {
      this.closeChild();
      line.focus();
    });
    this.element.append(line);
  }

  private asCommand(entry: Exclude<MenuEntry, string | { entries: MenuEntry[] }>): Command {
    const { title, run, checked, enabled, keys } = entry;
    return {
      id: title,
      title,
      group: "",
      run,
      ...(keys ? { keys: [keys] } : {}),
      ...(checked === undefined ? {} : { checked: () => checked }),
      ...(enabled === undefined ? {} : { enabled: () => enabled }),
    };
  }

  private addSubmenu(title: string, entries: MenuEntry[]): void {
    const line = h(
      "div",
      { class: "menu-line", role: "menuitem", "aria-haspopup": "menu", "aria-expanded": "false", tabindex: -1 },
      h("span", { class: "menu-check" }),
      h("span", { class: "menu-title" }, title),
      h("span", { class: "menu-arrow", "aria-hidden": "true" }, "▸"),
    );
    const open = (isByKey: boolean): void => {
      this.closeChild();
      const child = new Menu(this.commands, entries, title, this);
      this.child = child;
      line.setAttribute("aria-expanded", "true");
      const box = line.getBoundingClientRect();
      child.show({ x: box.right - 2, y: box.top - 4, otherX: box.left + 2 }, isByKey);
    };
    line.addEventListener("click", () => open(true));
    line.addEventListener("pointerenter", () => {
      line.focus();
      open(false);
    });
    line.addEventListener("keydown", (event) => {
      if (event.key === "ArrowRight") open(true);
    });
    this.element.append(line);
  }

  show(place: Place, focusFirst: boolean): void {
    document.body.append(this.element);
    const { width, height } = this.element.getBoundingClientRect();
    const fits = place.x + width <= window.innerWidth;
    const x = fits ? place.x : (place.otherX ?? place.x) - width;
    this.element.style.left = `${Math.max(0, x)}px`;
    this.element.style.top = `${Math.max(0, Math.min(place.y, window.innerHeight - height))}px`;
    if (focusFirst) this.lines()[0]?.focus();
  }

  close(): void {
    this.closeChild();
    this.element.remove();
  }

  private closeChild(): void {
    this.child?.close();
    this.child = undefined;
    for (const line of this.element.querySelectorAll('[aria-expanded="true"]')) line.setAttribute("aria-expanded", "false");
  }

  private lines(): HTMLElement[] {
    return [...this.element.querySelectorAll<HTMLElement>(":scope > .menu-line")];
  }

  private handleKey(event: KeyboardEvent): void {
    const lines = this.lines();
    const at = lines.indexOf(document.activeElement as HTMLElement);
    const focusAt = (index: number): void => lines[(index + lines.length) % lines.length]?.focus();
    switch (event.key) {
      case "ArrowDown":
        focusAt(at + 1);
        break;
      case "ArrowUp":
        focusAt(at < 0 ? -1 : at - 1);
        break;
      case "Home":
        focusAt(0);
        break;
      case "End":
        focusAt(-1);
        break;
      case "Enter":
      case " ":
        lines[at]?.click();
        break;
      case "ArrowLeft":
        if (!this.parent) return;
        this.returnToParent();
        break;
      case "Escape":
      case "Tab":
        if (this.parent && event.key === "Escape") this.returnToParent();
        else closeMenu();
        break;
      case "ArrowRight":
        if (lines[at]?.getAttribute("aria-haspopup") !== "menu") return;
        break;
      default:
        if (event.key.length === 1) this.focusByLetter(lines, at, event.key.toLowerCase());
    }
    event.preventDefault();
    event.stopPropagation();
  }

  private focusByLetter(lines: HTMLElement[], at: number, letter: string): void {
    const inTurn = [...lines.slice(at + 1), ...lines.slice(0, at + 1)];
    inTurn.find((line) => line.querySelector(".menu-title")?.textContent?.toLowerCase().startsWith(letter))?.focus();
  }

  private returnToParent(): void {
    const opener = this.parent?.element.querySelector<HTMLElement>('[aria-expanded="true"]');
    this.parent?.closeChild();
    opener?.focus();
  }
}

/** Opens a menu at a place of the window. The keyboard returns to where it was when the menu closes. */
export function openMenu(commands: Commands, entries: readonly MenuEntry[], label: string, place: Place, closed?: () => void): Menu {
  closeMenu();
  const focused = document.activeElement as HTMLElement | null;
  const menu = new Menu(commands, entries, label, undefined);
  const outside = (event: Event): void => {
    if (!(event.target as Element | null)?.closest?.(".menu")) closeMenu();
  };
  closeOpen = () => {
    closeOpen = undefined;
    const hadFocus = document.activeElement?.closest(".menu") !== null;
    menu.close();
    document.removeEventListener("pointerdown", outside, true);
    window.removeEventListener("blur", closeMenu);
    if (hadFocus) focused?.focus();
    closed?.();
  };
  document.addEventListener("pointerdown", outside, true);
  window.addEventListener("blur", closeMenu);
  menu.show(place, true);
  return menu;
}
