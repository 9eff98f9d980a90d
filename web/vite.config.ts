import { defineConfig } from "vitest/config";

// The site is static and may be served from any folder, so its addresses are relative.
export default defineConfig({
  base: "./",
  build: {
    outDir: "dist",
    target: "es2022",
    assetsInlineLimit: 0,
    chunkSizeWarningLimit: 1500,
  },
  server: { host: "127.0.0.1" },
  test: {
    include: ["tests/**/*.test.ts"],
    testTimeout: 120_000,
    hookTimeout: 120_000,
    fileParallelism: false,
  },
});
