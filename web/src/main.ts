import "./app/theme.css";
import "./app/shell.css";
import "./graph/graph.css";
import "./tree/tree.css";
import type { App } from "./app/app";
import { findFileServer } from "./app/fileserver";
import { openWindow } from "./app/window";
import { loadEngine } from "./engine/engine";

declare global {
  interface Window {
    /** The editor, for tests and for the curious at the browser's console. */
    yfcurve?: App;
  }
}

async function start(): Promise<void> {
  const host = document.getElementById("editor");
  if (!host) throw new Error("The page has no element for the editor.");
  try {
    window.yfcurve = await openWindow(host, await loadEngine(), findFileServer(window.location.href));
  } catch (error) {
    const reason = error instanceof Error ? error.message : String(error);
    host.textContent = `The editor could not be started: ${reason}`;
    host.setAttribute("role", "alert");
  }
}

void start();
