import { execFileSync, spawnSync } from "node:child_process";
import { existsSync, mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createServer, type Server } from "node:http";
import type { AddressInfo } from "node:net";
import { tmpdir } from "node:os";
import { extname, join, normalize } from "node:path";
import { fileURLToPath } from "node:url";
import { chromium, type Browser, type BrowserContextOptions, type Page } from "playwright-core";
import { afterAll, beforeAll, expect } from "vitest";

/** The repository. */
export const kRoot = fileURLToPath(new URL("../..", import.meta.url));
export const kWalk = join(kRoot, "examples/walk.bvh");
/** The site under test, as `make editor` leaves it. */
export const kSite = process.env["YFCURVE_EDITOR"] ?? join(kRoot, "build/editor");
export const kProgram = process.env["YFCURVE_PROGRAM"] ?? join(kRoot, "build/release/program/yfcurve");
const kChromium = process.env["CHROMIUM"] ?? "/usr/bin/chromium";

const kTypes: Readonly<Record<string, string>> = {
  ".html": "text/html; charset=utf-8",
  ".js": "text/javascript",
  ".css": "text/css",
  ".wasm": "application/wasm",
};

/** Drawing in three dimensions without a graphics card. */
const kSoftwareGraphics = ["--use-angle=swiftshader", "--enable-unsafe-swiftshader"];
const kNoGraphics = ["--disable-gpu", "--disable-3d-apis", "--disable-software-rasterizer"];

function serve(folder: string): Promise<Server> {
  const server = createServer((request, reply) => {
    const path = normalize(decodeURIComponent(new URL(request.url ?? "/", "http://localhost").pathname));
    const file = join(folder, path.endsWith("/") ? `${path}index.html` : path);
    if (!file.startsWith(folder) || !existsSync(file)) {
      reply.writeHead(404).end();
      return;
    }
    reply.writeHead(200, { "Content-Type": kTypes[extname(file)] ?? "application/octet-stream" }).end(readFileSync(file));
  });
  return new Promise((ready) => server.listen(0, "127.0.0.1", () => ready(server)));
}

/** The editor in a browser. What the page throws, or tells the console as an error, is in `faults`. */
export interface Editor {
  page: Page;
  faults: string[];
  close(): Promise<void>;
}

export interface EditorOptions extends BrowserContextOptions {
  /** Opened by the file picker. */
  file?: string;
  /** Drawing in three dimensions; true unless given. */
  webgl?: boolean;
  /** Run in the page ahead of its own scripts. */
  before?: () => void;
  /** Of a page that is served already. */
  address?: string;
}

export async function openEditor({ file, webgl = true, before, address, ...context }: EditorOptions = {}): Promise<Editor> {
  const server = await serve(kSite);
  let browser: Browser | undefined;
  const close = async (): Promise<void> => {
    await browser?.close();
    server.close();
  };
  try {
    browser = await chromium.launch({
      executablePath: kChromium,
      args: ["--no-sandbox", "--js-flags=--expose-gc", "--enable-precise-memory-info", ...(webgl ? kSoftwareGraphics : kNoGraphics)],
    });
    const page = await browser.newPage({ viewport: { width: 1400, height: 860 }, ...context });
    const faults: string[] = [];
    page.on("pageerror", (error) => faults.push(error.message));
    page.on("console", (message) => {
      if (message.type() === "error") faults.push(message.text());
    });
    if (before) await page.addInitScript(before);
    await page.goto(address ?? `http://127.0.0.1:${(server.address() as AddressInfo).port}/`);
    await page.waitForFunction(() => window.yfcurve !== undefined);
    if (file) await openFile(page, file);
    return { page, faults, close };
  } catch (error) {
    await close();
    throw error;
  }
}

/** What went wrong in the page, but for the motion view's complaint where there is no drawing in three dimensions. */
export function faultsOf(editor: Editor): string[] {
  return editor.faults.filter((fault) => !fault.includes("WebGL"));
}

/** One editor for all tests of a file, in which nothing may go wrong. */
export function sharedEditor(options: EditorOptions = {}): Editor {
  const editor = {} as Editor;
  beforeAll(async () => {
    Object.assign(editor, await openEditor(options));
  });
  afterAll(async () => {
    expect(options.webgl === false ? faultsOf(editor) : editor.faults).toEqual([]);
    await editor.close();
  });
  return editor;
}

/** Opens a file as if it had been chosen in the picker. */
export async function openFile(page: Page, file: string): Promise<void> {
  const before = await page.evaluateHandle(() => window.yfcurve?.document);
  await page.setInputFiles("input[type=file]", file);
  await page.waitForFunction((old) => window.yfcurve?.document !== undefined && window.yfcurve.document !== old, before);
}

/** Opens the walk anew, whatever was changed. */
export async function openWalk({ page }: Editor): Promise<void> {
  await page.evaluate(() => window.yfcurve!.document?.markSaved());
  await openFile(page, kWalk);
}

/** The content that the page would save. */
export async function savedBytes(page: Page, format: "ytalo" | "bvh" = "ytalo"): Promise<Buffer> {
  const text = await page.evaluate(async (wanted) => {
    const bytes = await window.yfcurve!.document!.save(wanted);
    return Array.from(bytes, (byte) => String.fromCharCode(byte)).join("");
  }, format);
  return Buffer.from(text, "latin1");
}

/** Waits until the page has drawn what it was told. */
export async function settle(page: Page): Promise<void> {
  await page.evaluate(() => new Promise<void>((done) => requestAnimationFrame(() => requestAnimationFrame(() => done()))));
}

/** What the program prints; fails where the program does. */
export function yfcurve(...args: string[]): string {
  return execFileSync(kProgram, args, { encoding: "utf8", maxBuffer: 1 << 28 });
}

/** What `yfcurve diff` finds between two files; empty for nothing. */
export function difference(a: string, b: string, ...options: string[]): string {
  const result = spawnSync(kProgram, ["diff", ...options, a, b], { encoding: "utf8" });
  return result.status === 0 ? "" : `${result.stdout}${result.stderr}`;
}

/** A folder that is removed when the tests end. */
export function scratchFolder(): string {
  const folder = mkdtempSync(join(tmpdir(), "yfcurve-editor-"));
  process.on("exit", () => rmSync(folder, { recursive: true, force: true }));
  return folder;
}
