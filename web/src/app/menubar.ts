import type { Commands } from "./commands";
import { h } from "./dom";
import { closeMenu, type MenuEntry, openMenu } from "./menu";

export interface MenuOfBar {
  title: string;
  entries: () => MenuEntry[];
}

function barButton(title: string, isFirst: boolean): HTMLButtonElement {
  const expanded = { "aria-haspopup": "menu", "aria-expanded": "false" } as const;
  return h("button", { type: "button", class: "menu-button", role: "menuitem", ...expanded, tabindex: isFirst ? 0 : -1 }, title);
}

/** A bar of menus: opened by click, by Enter or arrow down; with one open, the pointer and the arrow keys go along the bar. */
export function menuBar(commands: Commands, menus: readonly MenuOfBar[]): HTMLElement {
  return new MenuBar(commands, menus).element;
}

class MenuBar {
  readonly element = h("div", { class: "menu-bar", role: "menubar", "aria-label": "Menus" });
  private readonly buttons: readonly HTMLButtonElement[];
  private openIndex = -1;

  constructor(
    private readonly commands: Commands,
    private readonly menus: readonly MenuOfBar[],
  ) {
    this.buttons = menus.map((menu, index) => barButton(menu.title, index === 0));
    this.buttons.forEach((button, index) => this.listen(button, index));
    this.element.append(...this.buttons);
  }

  private listen(button: HTMLButtonElement, index: number): void {
    button.addEventListener("pointerdown", (event) => {
      event.preventDefault();
      event.stopPropagation();
      if (this.openIndex === index) closeMenu();
      else this.open(index);
    });
    button.addEventListener("pointerenter", () => {
      if (this.openIndex >= 0 && this.openIndex !== index) this.open(index);
    });
    button.addEventListener("keydown", (event) => this.handleKey(event, index));
  }

  private at(index: number): number {
    return (index + this.menus.length) % this.menus.length;
  }

  private open(wanted: number): void {
    const index = this.at(wanted);
    const menu = this.menus[index];
    const button = this.buttons[index];
    if (!menu || !button) return;
    closeMenu();
    button.focus();
    this.openIndex = index;
    button.setAttribute("aria-expanded", "true");
    const box = button.getBoundingClientRect();
    const opened = openMenu(this.commands, menu.entries(), menu.title, { x: box.left, y: box.bottom }, () => {
      this.openIndex = -1;
      button.setAttribute("aria-expanded", "false");
    });
    opened.element.addEventListener("keydown", (event) => this.goAlong(event, index), true);
  }

  /** Keys while no menu is open. */
  private handleKey(event: KeyboardEvent, index: number): void {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (step !== undefined) this.buttons[this.at(index + step)]?.focus();
    else if (["ArrowDown", "Enter", " "].includes(event.key)) this.open(index);
    else return;
    event.preventDefault();
    event.stopPropagation();
  }

  /** Keys while a menu is open. */
  private goAlong(event: KeyboardEvent, index: number): void {
    const opensSubmenu = document.activeElement?.getAttribute("aria-haspopup") === "menu";
    if (event.key === "ArrowLeft") this.open(index - 1);
    else if (event.key === "ArrowRight" && !opensSubmenu) this.open(index + 1);
    else return;
    event.preventDefault();
    event.stopPropagation();
  }
}
