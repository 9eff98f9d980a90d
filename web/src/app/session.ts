import type { EditorDocument, Format } from "../engine/engine";
import { kTypedAttribute } from "./commands";
import { ask } from "./dialog";
import { h } from "./dom";
import type { FileServer } from "./fileserver";
import { fileNameFor, holdsLayers, openEndings } from "./fileformats";
import type { AppState } from "./state";

/** Gives a file to the browser to be stored among the downloads. */
function download(bytes: Uint8Array, name: string): void {
  const address = URL.createObjectURL(new Blob([bytes.slice()], { type: "application/octet-stream" }));
  const link = h("a", { href: address, download: name });
  link.click();
  window.setTimeout(() => URL.revokeObjectURL(address), 60_000);
}

/** Opens and saves files: from the server of `yfcurve edit` where the page comes from one, else by picker and download. */
export class Session {
  /** The open document is the file that the server holds. */
  private isFromServer = false;
  /** A save that is under way. */
  private saving: Promise<boolean> | undefined;

  /** Part of the page, since one without a place could be gone before its choice is made. */
  private readonly picker: HTMLInputElement;

  constructor(
    private readonly app: AppState,
    private readonly server: FileServer | undefined,
  ) {
    this.picker = h("input", { type: "file", accept: openEndings(app.engine.formats), hidden: true });
    document.body.append(this.picker);
    this.picker.addEventListener("change", () => {
      const file = this.picker.files?.[0];
      this.picker.value = ""; // so that the same one can be chosen again
      if (file) void this.openFile(file);
    });
    window.addEventListener("beforeunload", (event) => {
      const isTyping = document.querySelector(`[${kTypedAttribute}]`) !== null;
      if (this.app.document?.isDirty || isTyping) event.preventDefault();
    });
    this.listenToDrops();
  }

  /** Opens the file of the server, if there is one. */
  async openFirst(): Promise<void> {
    if (!this.server) return;
    try {
      const file = await this.server.read();
      const document = await this.read(file.bytes, file.name);
      if (this.app.document) this.leave(document); // another file was opened meanwhile
      else this.show(document, true);
    } catch (error) {
      this.app.fail(error);
    }
  }

  pick(): void {
    this.picker.click();
  }

  async openFile(file: File): Promise<void> {
    try {
      const document = await this.read(new Uint8Array(await file.arrayBuffer()), file.name);
      // Asked last: what is edited while the file is read counts.
      if (await this.mayClose()) this.show(document, false);
      else this.leave(document);
    } catch (error) {
      this.app.fail(error);
    }
  }

  private read(bytes: Uint8Array, name: string): Promise<EditorDocument> {
    this.app.status(`Opening ${name} …`);
    return this.app.engine.open(bytes, name);
  }

  private leave(document: EditorDocument): void {
    this.app.status(`${document.name} was not opened.`);
    document.close();
  }

  private show(document: EditorDocument, isFromServer: boolean): void {
    this.app.setDocument(document);
    this.isFromServer = isFromServer;
    const { name, notes } = document;
    if (notes.length > 0) this.app.status(`${name}: ${notes.join(" ")}`, "warning");
    else this.app.status(`Opened ${name}.`, "success");
  }

  /** Whether a document saved in this format would lack its layers. */
  private losesLayers(document: EditorDocument, format: Format): boolean {
    return !holdsLayers(this.app.engine.formats, format) && document.layers().length > 1;
  }

  /** Asks what shall become of unsaved changes. */
  private async mayClose(): Promise<boolean> {
    const document = this.app.document;
    if (!document?.isDirty) return true;
    const isLossy = this.losesLayers(document, document.format);
    const question = isLossy
      ? `${document.name} holds no layers: those of this motion are gone unless you save a copy as a scene.`
      : `${document.name} has changes that are not saved.`;
    const answer = await ask("Unsaved changes", question, [
      { title: "Keep editing", value: "stay" },
      { title: "Discard them", value: "discard" },
      { title: isLossy ? "Save a copy as a scene" : "Save first", value: "save", isMain: true },
    ]);
    const scene = this.app.engine.formats.find((format) => format.holdsLayers);
    if (answer === "save" && isLossy && scene) return this.saveAs(scene.ending);
    if (answer === "save") return (await this.save()) && this.mayClose(); // edits during the save are unsaved again
    return answer === "discard";
  }

  /** Saves to where the document comes from, once at a time. Whether it is saved. */
  save(): Promise<boolean> {
    this.saving ??= this.saveOnce().finally(() => (this.saving = undefined));
    return this.saving;
  }

  private async saveOnce(): Promise<boolean> {
    const document = this.app.document;
    if (!document) return false;
    if (!this.isFromServer || !this.server) return this.saveAs(document.format);
    try {
      const { name, revision, format } = document;
      const isWhole = !this.losesLayers(document, format);
      const bytes = await document.save();
      const notes = document.saveNotes();
      if (!(await this.writeToServer(this.server, bytes))) return false;
      if (isWhole) this.markSaved(document, revision);
      this.tellSaved(`Saved ${name}`, isWhole, notes);
      return true;
    } catch (error) {
      this.app.fail(error);
      return false;
    }
  }

  /** Tells what was saved, and what the file does not hold. */
  private tellSaved(what: string, isWhole: boolean, notes: readonly string[]): void {
    const isLossy = !isWhole || notes.length > 0;
    const layers = isWhole ? "." : " without its layers: save a copy as a scene to keep them.";
    this.app.status([`${what}${layers}`, ...notes.map((note) => `${note}.`)].join(" "), isLossy ? "warning" : "success");
  }

  /** What was saved is the document, unless that was changed or another one opened meanwhile. */
  private markSaved(document: EditorDocument, revision: number): void {
    if (this.app.document !== document || document.revision !== revision) return;
    document.markSaved();
    this.app.saved();
  }

  private async writeToServer(server: FileServer, bytes: Uint8Array): Promise<boolean> {
    if ((await server.write(bytes, false)) === "written") return true;
    const answer = await ask("The file has changed", "Another program has changed or removed the file on disk since it was opened.", [
      { title: "Keep the file on disk", value: false, isMain: true },
      { title: "Write over it", value: true },
    ]);
    if (!answer) {
      this.app.status("Not saved: the file on disk has changed. Use Save a copy to keep both.", "warning");
      return false;
    }
    await server.write(bytes, true);
    return true;
  }

  /** Saves a copy among the downloads. Whether it is saved. */
  async saveAs(format: Format): Promise<boolean> {
    const document = this.app.document;
    if (!document) return false;
    try {
      const name = fileNameFor(this.app.engine.formats, document.name, format);
      const revision = document.revision;
      const isWhole = !this.losesLayers(document, format);
      const bytes = await document.save(format);
      const notes = document.saveNotes();
      download(bytes, name);
      if (isWhole && !this.isFromServer && format === document.format) this.markSaved(document, revision);
      this.tellSaved(`Saved ${name} to the downloads`, isWhole, notes);
      return true;
    } catch (error) {
      this.app.fail(error);
      return false;
    }
  }

  private listenToDrops(): void {
    const target = h("div", { class: "drop-target", hidden: true }, "Drop to open");
    document.body.append(target);
    const hasFiles = (event: DragEvent): boolean => event.dataTransfer?.types.includes("Files") ?? false;
    window.addEventListener("dragover", (event) => {
      if (!hasFiles(event)) return;
      event.preventDefault();
      target.hidden = false;
    });
    window.addEventListener("dragleave", (event) => {
      if (event.relatedTarget === null) target.hidden = true;
    });
    window.addEventListener("drop", (event) => {
      target.hidden = true;
      if (!hasFiles(event)) return;
      event.preventDefault();
      const file = event.dataTransfer?.files[0];
      if (file) void this.openFile(file);
    });
  }
}
