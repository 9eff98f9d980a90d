import type { App, PanelName } from "./app";
import { h } from "./dom";
import { splitter } from "./splitter";

/** The elements into which the parts of the editor are mounted. */
export interface Shell {
  readonly element: HTMLElement;
  readonly head: HTMLElement;
  readonly foot: HTMLElement;
  readonly hosts: Readonly<Record<PanelName | "transport", HTMLElement>>;
  focus(panel: PanelName): void;
}

function panel(name: PanelName | "transport", label: string): HTMLElement {
  return h("section", { class: `panel panel-${name}`, "aria-label": label, "data-scope": name, tabindex: -1 });
}

interface Tab {
  name: PanelName;
  title: string;
  host: HTMLElement;
}

/** Panels in one place, of which one is shown. */
function tabs(all: readonly Tab[]): { element: HTMLElement; show: (name: PanelName) => void } {
  const list = h("div", { class: "tab-list", role: "tablist", "aria-label": "Panels" });
  const show = (name: PanelName): void => {
    all.forEach((tab, index) => {
      const isShown = tab.name === name;
      tab.host.hidden = !isShown;
      buttons[index]?.setAttribute("aria-selected", String(isShown));
      buttons[index]?.setAttribute("tabindex", isShown ? "0" : "-1");
    });
  };
  const buttons = all.map((tab, index) => {
    const id = `tab-${tab.name}`;
    tab.host.id = `panel-${tab.name}`;
    tab.host.setAttribute("role", "tabpanel");
    tab.host.setAttribute("aria-labelledby", id);
    const button = h(
      "button",
      { type: "button", class: "tab", role: "tab", id, "aria-controls": tab.host.id, click: () => show(tab.name) },
      tab.title,
    );
    button.addEventListener("keydown", (event) => {
      const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
      const next = step === undefined ? undefined : all[(index + step + all.length) % all.length];
      if (!next) return;
      event.preventDefault();
      event.stopPropagation();
      show(next.name);
      document.getElementById(`tab-${next.name}`)?.focus();
    });
    return button;
  });
  list.append(...buttons);
  const first = all[0];
  if (first) show(first.name);
  return { element: h("div", { class: "tabs" }, list, ...all.map((tab) => tab.host)), show };
}

/** Builds the window: tree at the left, motion view above the graph, panels at the right, transport and status below. */
export function buildShell(app: App): Shell {
  const hosts = {
    tree: panel("tree", "Joints and curves"),
    motion: panel("motion", "Motion view"),
    graph: panel("graph", "Graph editor"),
    keys: panel("keys", "Selected keys"),
    layers: panel("layers", "Layers"),
    filters: panel("filters", "Filters"),
    transport: panel("transport", "Playback"),
  };
  const side = tabs([
    { name: "keys", title: "Keys", host: hosts.keys },
    { name: "layers", title: "Layers", host: hosts.layers },
    { name: "filters", title: "Filters", host: hosts.filters },
  ]);
  side.element.classList.add("side");

  const bar = (name: string, label: string, panelElement: HTMLElement, place: "left" | "right" | "top", initial: number, least: number) =>
    splitter(app.preferences, { name, label, panel: panelElement, side: place, initial, least });
  const centre = h(
    "div",
    { class: "centre" },
    hosts.motion,
    bar("motion", "Height of the motion view", hosts.motion, "top", 0.4, 80),
    hosts.graph,
    hosts.transport,
  );
  const main = h(
    "main",
    { class: "main" },
    hosts.tree,
    bar("tree", "Width of the tree", hosts.tree, "left", 240, 140),
    centre,
    bar("side", "Width of the panels", side.element, "right", 272, 220),
    side.element,
  );
  const head = h("header", { class: "head" });
  const foot = h("footer", { class: "foot" });
  const element = h("div", { class: "editor" }, head, main, foot);

  const focus = (name: PanelName): void => {
    if (name === "keys" || name === "layers" || name === "filters") side.show(name);
    const host = hosts[name];
    const first = host.querySelector<HTMLElement>("[data-first-focus]:not(:disabled)") ?? host;
    first.focus();
  };
  return { element, head, foot, hosts, focus };
}
