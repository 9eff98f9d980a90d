import type { Engine } from "../engine/engine";
import { mountFilters } from "../filters/filters";
import { kGraphGestures } from "../graph/gestures";
import { mountGraph } from "../graph/graph";
import { mountKeyPanel } from "../graph/keypanel";
import { mountLayers } from "../layers/layers";
import { kMotionGestures } from "../motion/gestures";
import { mountMotion } from "../motion/motion";
import { mountTransport } from "../motion/transport";
import { mountTree } from "../tree/tree";
import { h } from "./dom";
import type { FileServer } from "./fileserver";
import { mountHead } from "./head";
import { addMainCommands } from "./maincommands";
import { Session } from "./session";
import { buildShell, type Shell } from "./shell";
import { AppState } from "./state";
import { StatusLine } from "./status";

function followTheme(app: AppState): void {
  const apply = (): void => {
    const theme = app.preferences.get("theme");
    if (theme === "system") delete document.documentElement.dataset["theme"];
    else document.documentElement.dataset["theme"] = theme;
  };
  app.on("preferences", apply);
  apply();
}

/** What is seen in the place of the motion view until a file is open. */
function mountWelcome(host: HTMLElement, app: AppState): void {
  const open = h("button", { type: "button", class: "main-button", click: () => app.commands.run("file.open") }, "Open a file …");
  const text = h("p", {}, "Open a motion (BVH, glTF or a scene), or drop it here.");
  const welcome = h("div", { class: "welcome" }, text, open);
  host.append(welcome);
  app.on("document", () => welcome.remove());
}

/** Builds the editor into an element and opens the file that the server holds, if there is one. */
export async function openWindow(host: HTMLElement, engine: Engine, server: FileServer | undefined): Promise<AppState> {
  const status = new StatusLine();
  let shell: Shell | undefined;
  const app = new AppState(engine, status.show, (panel) => shell?.focus(panel));
  shell = buildShell(app);
  const session = new Session(app, server);
  addMainCommands(app, session, [...kGraphGestures, ...kMotionGestures]);
  followTheme(app);
  host.replaceChildren(shell.element);

  mountTree(shell.hosts.tree, app);
  const graph = mountGraph(shell.hosts.graph, app);
  mountKeyPanel(shell.hosts.keys, app, graph.tables);
  mountMotion(shell.hosts.motion, app);
  mountTransport(shell.hosts.transport, app);
  mountLayers(shell.hosts.layers, app);
  mountFilters(shell.hosts.filters, app);
  mountWelcome(shell.hosts.motion, app);
  mountHead(shell.head, app);
  shell.foot.append(status.element, h("div", { class: "foot-facts" }, `yfcurve ${engine.version} · ? for keys`));

  window.addEventListener("keydown", (event) => app.commands.handleKey(event));
  await session.openFirst();
  return app;
}
