import type { Engine } from "./engine.js";

/** Loads the WebAssembly module once; later calls give the same engine. */
export function loadEngine(): Promise<Engine> {
  throw new Error("The engine is not there yet.");
}
