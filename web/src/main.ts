import "./app/theme.css";
import "./app/shell.css";
import "./graph/graph.css";
import "./tree/tree.css";
import type { App } from "./app/app";
import { messageOf } from "./app/errors";
import { findFileServer } from "./app/fileserver";
import { openWindow } from "./app/window";
import { loadEngine } from "./engine/load";

declare global {
  interface Window {
    /** The editor, for tests and for scripts at the browser's console. */
    yfcurve?: App;
  }
}

async function start(): Promise<void> {
  const host = document.getElementById("editor");
  if (!host) throw new Error("The page has no element for the editor.");
  try {
    window.yfcurve = await openWindow(host, await loadEngine(), findFileServer(window.location.href));
  } catch (error) {
    const reason = messageOf(error);
    host.textContent = `The editor could not be started: ${reason}`;
    host.setAttribute("role", "alert");
  }
}

void start();
