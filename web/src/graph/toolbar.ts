import { shownKey } from "../app/commands";
import { h, icon } from "../app/dom";
import type { Graph } from "./graph";

/** Path data of the icons, on a field of 16 by 16. */
const kIcons: Readonly<Record<string, string>> = {
  "graph.tool.select": "M4 2l8.5 6-4 .7L11 13l-1.8.9L7 9.5 4 12z",
  "graph.tool.lasso": "M8 3c3.3 0 5.5 1.5 5.5 3.8S11.2 10.5 8 10.5 2.5 9 2.5 6.8 4.7 3 8 3zM5.5 10.2c-1 .3-1.5 1-1 1.7s1.5.2 1.5-.7c0-1.5-2-.5-2 2.3",
  "graph.tool.stretch": "M3.5 3.5h9v9h-9zM2.5 2.5h2v2h-2zM11.5 2.5h2v2h-2zM2.5 11.5h2v2h-2zM11.5 11.5h2v2h-2z",
  "graph.tool.scale": "M3 13.5h10M8 11V2.5M5.5 5 8 2.5 10.5 5M5.5 8.5 8 11l2.5-2.5",
  "graph.tool.setValue": "M2.5 8h11M4 3v3M4 10v3M12 3v2.5M12 10.5V13M8 4v2M8 10v2",
  "graph.frameAll": "M2.5 5.5v-3h3M10.5 2.5h3v3M13.5 10.5v3h-3M5.5 13.5h-3v-3M4.5 9.5c2 0 2-4 3.5-4s1.5 5 3.5 5",
  "graph.frameSelection": "M2.5 5.5v-3h3M10.5 2.5h3v3M13.5 10.5v3h-3M5.5 13.5h-3v-3M6.5 6.5h3v3h-3z",
  "graph.snapToFrames": "M4 2.5v11M8 2.5v11M12 2.5v11M6.5 8h3",
  "graph.snapToValues": "M2.5 4h11M2.5 8h11M2.5 12h11M8 6.5v3",
  "graph.rippleTime": "M3 4v8M6 8h7M10.5 5.5 13 8l-2.5 2.5",
  "graph.rippleValue": "M4 12h8M8 9V3M5.5 5.5 8 3l2.5 2.5",
  "keys.insert": "M2 11.5c4 0 4-6 7-6M12 8.5v5M9.5 11h5",
  "keys.delete": "M2 11.5c4 0 4-6 7-6M9.8 9.3l3.6 3.6M13.4 9.3 9.8 12.9",
  "interpolation.constant": "M2 11.5h6v-7h6",
  "interpolation.linear": "M2 12l6-7 6 4",
  "interpolation.cubic": "M2 12C6 12 6 4 14 4",
  "tangent.auto": "M2 12c3 0 3-7 6-7s3 4 6 4M4.5 5h7",
  "tangent.flat": "M2 8h12M2 12c3-4 9-4 12 0",
  "tangent.break": "M2 4l5 5M9 9l5-5M8 11.5v.01",
  "tangent.weights": "M2 11 14 5M2 11a1.3 1.3 0 1 0 .1 0M14 5a1.3 1.3 0 1 0 .1 0",
};

const kGroups: readonly (readonly string[])[] = [
  ["graph.tool.select", "graph.tool.lasso", "graph.tool.stretch", "graph.tool.scale", "graph.tool.setValue"],
  ["graph.frameAll", "graph.frameSelection"],
  ["graph.snapToFrames", "graph.snapToValues", "graph.rippleTime", "graph.rippleValue"],
  ["keys.insert", "keys.delete"],
  ["interpolation.constant", "interpolation.linear", "interpolation.cubic"],
  ["tangent.auto", "tangent.flat", "tangent.break", "tangent.weights"],
];

/**
 * One of the buttons is reached by Tab, the others from it by the arrow keys. Gives what is to be called when buttons were
 * enabled or disabled.
 */
function moveByArrows(toolbar: HTMLElement, buttons: readonly HTMLButtonElement[]): () => void {
  const focusable = (button: HTMLButtonElement | undefined): void => {
    for (const other of buttons) other.tabIndex = other === button ? 0 : -1;
  };
  toolbar.addEventListener("focusin", (event) => focusable(event.target as HTMLButtonElement));
  toolbar.addEventListener("keydown", (event) => {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (step === undefined) return;
    const enabled = buttons.filter((button) => !button.disabled);
    const at = enabled.indexOf(document.activeElement as HTMLButtonElement);
    enabled[(at + step + enabled.length) % enabled.length]?.focus();
    event.preventDefault();
    event.stopPropagation();
  });
  return () => {
    if (buttons.find((button) => button.tabIndex === 0)?.disabled !== false) focusable(buttons.find((button) => !button.disabled));
  };
}

/** The row of buttons above the graph. Each does what the command of the same name does. */
export function buildToolbar(graph: Graph): { element: HTMLElement; refresh: () => void } {
  const { commands } = graph.app;
  const buttons = new Map<string, HTMLButtonElement>();
  const element = h("div", { class: "graph-toolbar", role: "toolbar", "aria-label": "Graph tools" });
  for (const group of kGroups) {
    const holder = h("div", { class: "graph-tools" });
    for (const id of group) {
      const command = commands.get(id);
      if (!command) continue;
      const key = command.keys?.[0];
      const title = key ? `${command.title} (${shownKey(key)})` : command.title;
      const button = h(
        "button",
        { type: "button", class: "icon-button", title, "aria-label": command.title, click: () => commands.run(id) },
        icon(kIcons[id] ?? ""),
      );
      buttons.set(id, button);
      holder.append(button);
    }
    element.append(holder);
  }
  const keepReachable = moveByArrows(element, [...buttons.values()]);
  const refresh = (): void => {
    for (const [id, button] of buttons) {
      const command = commands.get(id);
      if (!command) continue;
      button.disabled = !commands.isEnabled(command);
      if (command.checked) button.setAttribute("aria-pressed", String(command.checked()));
    }
    keepReachable();
  };
  refresh();
  return { element, refresh };
}
