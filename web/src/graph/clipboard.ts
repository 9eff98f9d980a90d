import type { App } from "../app/app";
import { isField } from "../app/commands";
import { selectedCount } from "./describe";

/** Where pasted keys go: to the curves of the same names, or to those that are shown, in turn. */
export type PasteTarget = "same" | "shown";

/** Cut, copy and paste of keys, as the JSON in which the program exports them. */
export class Clipboard {
  /** What was copied last, for browsers that do not give their clipboard. */
  private copied = "";
  /** The browser did not take it, so that it has something older. */
  private isOwnNewer = false;

  constructor(private readonly app: App) {
    document.addEventListener("paste", (event) => this.handlePaste(event));
    // What is copied elsewhere is newer.
    window.addEventListener("blur", () => (this.isOwnNewer = false));
  }

  async copy(): Promise<void> {
    if (this.remember()) await this.give(this.copied);
  }

  /** The keys are taken out at once, since other keys may be selected by the time that the browser has its clipboard. */
  async cut(): Promise<void> {
    if (!this.remember()) return;
    this.app.run("Cut keys", () => this.app.document?.deleteKeys(this.app.document.selectedKeys()));
    await this.give(this.copied);
  }

  private remember(): boolean {
    const open = this.app.document;
    if (!open) return false;
    const { keys } = selectedCount(this.app);
    try {
      this.copied = open.copyKeys(open.selectedKeys());
    } catch (error) {
      this.app.fail(error);
      return false;
    }
    this.app.status(keys === 1 ? "1 key copied." : `${keys} keys copied.`);
    return true;
  }

  async paste(target: PasteTarget): Promise<void> {
    this.pasteText(await this.take(), target);
  }

  private async give(text: string): Promise<void> {
    this.isOwnNewer = true; // until the browser has it
    try {
      await navigator.clipboard.writeText(text);
      if (text === this.copied) this.isOwnNewer = false;
    } catch {
      // The keys can still be pasted in this window.
    }
  }

  private async take(): Promise<string> {
    if (this.isOwnNewer) return this.copied;
    try {
      return (await navigator.clipboard.readText()) || this.copied;
    } catch {
      return this.copied;
    }
  }

  /** The browser's own paste needs no permission. */
  private handlePaste(event: ClipboardEvent): void {
    const isInDialog = event.target instanceof Element && event.target.closest("dialog[open]") !== null;
    if (isInDialog || isField(event.target)) return;
    event.preventDefault();
    const theirs = this.isOwnNewer ? "" : event.clipboardData?.getData("text/plain");
    this.pasteText(theirs || this.copied, "same");
  }

  private pasteText(text: string, target: PasteTarget): void {
    const { app } = this;
    if (!app.document) return;
    if (!text.trim()) return app.status("There are no keys to paste: copy some first.", "warning");
    if (!text.includes('"yfcurve-keys"')) return app.status("What was copied last are no keys: copy some first.", "warning");
    const isPasted = app.run("Paste keys", () => {
      app.document?.pasteKeys(text, app.time, target === "shown" ? app.visibleTracks : undefined);
      return true;
    });
    if (isPasted) app.showTracks(new Set([...app.visibleTracks, ...app.selection.map(({ track }) => track)]));
  }
}
