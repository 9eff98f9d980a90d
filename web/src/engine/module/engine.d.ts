import type { EngineModule } from "../module.js";

/** Made by Emscripten and put here by `make editor`, with the module itself beside it. */
export default function createModule(): Promise<EngineModule>;
