import type { Commands } from "./commands";
import { h } from "./dom";
import { closeMenu, type MenuEntry, openMenu } from "./menu";

export interface MenuOfBar {
  title: string;
  entries: () => MenuEntry[];
}

/** A bar of menus: opened by click, by Enter or arrow down; with one open, the pointer and the arrow keys go along the bar. */
export function menuBar(commands: Commands, menus: readonly MenuOfBar[]): HTMLElement {
  const bar = h("div", { class: "menu-bar", role: "menubar", "aria-label": "Menus" });
  let openIndex = -1;

  const open = (index: number): void => {
    const at = (index + menus.length) % menus.length;
    const menu = menus[at];
    const button = buttons[at];
    if (!menu || !button) return;
    closeMenu();
    button.focus();
    openIndex = at;
    button.setAttribute("aria-expanded", "true");
    const box = button.getBoundingClientRect();
    const opened = openMenu(commands, menu.entries(), menu.title, { x: box.left, y: box.bottom }, () => {
      openIndex = -1;
      button.setAttribute("aria-expanded", "false");
    });
    opened.element.addEventListener("keydown", (event) => goAlong(event, at), true);
  };
  const goAlong = (event: KeyboardEvent, at: number): void => {
    const opensSubmenu = document.activeElement?.getAttribute("aria-haspopup") === "menu";
    if (event.key === "ArrowLeft") open(at - 1);
    else if (event.key === "ArrowRight" && !opensSubmenu) open(at + 1);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };

  const buttons = menus.map((menu, index) => {
    const button = h(
      "button",
      {
        type: "button",
        class: "menu-button",
        role: "menuitem",
        "aria-haspopup": "menu",
        "aria-expanded": "false",
        tabindex: index === 0 ? 0 : -1,
      },
      menu.title,
    );
    button.addEventListener("pointerdown", (event) => {
      event.preventDefault();
      event.stopPropagation();
      if (openIndex === index) closeMenu();
      else open(index);
    });
    button.addEventListener("pointerenter", () => {
      if (openIndex >= 0 && openIndex !== index) open(index);
    });
    button.addEventListener("keydown", (event) => {
      const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
      if (step !== undefined) buttons[(index + step + menus.length) % menus.length]?.focus();
      else if (["ArrowDown", "Enter", " "].includes(event.key)) open(index);
      else return;
      event.preventDefault();
      event.stopPropagation();
    });
    return button;
  });
  bar.append(...buttons);
  return bar;
}
