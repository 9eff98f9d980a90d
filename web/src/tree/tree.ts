import type { App } from "../app/app";
import { h, oncePerFrame } from "../app/dom";
import { openMenu } from "../app/menu";
import { kTreeKeys, type TreeAction } from "./treekeys";
import { buildTree, findNodes, type TreeNode, trackTitle, walk } from "./treemodel";
import { buildRow, type RowState } from "./treerow";

/** The tree of joints, properties and curves: what is chosen in it is drawn in the graph. */
class Tree {
  private roots: TreeNode[] = [];
  private readonly open = new Set<string>();
  private rows: TreeNode[] = [];
  private focusedKey = "";
  private anchorKey = "";
  private readonly list = h("div", { class: "tree", role: "tree", "aria-label": "Joints and curves", "aria-multiselectable": "true" });
  private readonly search = h("input", {
    type: "search",
    class: "tree-search",
    placeholder: "Search",
    "aria-label": "Search joints and curves",
    "data-first-focus": true,
  });
  private readonly layerChoice = h("select", { class: "tree-layer", "aria-label": "Layer that is edited" });
  private readonly refresh = oncePerFrame(() => this.render());

  constructor(
    host: HTMLElement,
    private readonly app: App,
  ) {
    host.append(h("div", { class: "tree-head" }, this.search, this.layerChoice), this.list);
    this.search.addEventListener("input", this.refresh);
    this.search.addEventListener("keydown", (event) => this.handleSearchKey(event));
    this.layerChoice.addEventListener("change", () => this.app.setLayer(Number(this.layerChoice.value)));
    this.list.addEventListener("click", (event) => this.handleClick(event));
    this.list.addEventListener("keydown", (event) => this.handleKey(event));
    this.list.addEventListener("contextmenu", (event) => this.handleMenu(event));
    this.list.addEventListener("focusin", (event) => this.handleFocus(event));
    app.on("document", () => this.reset());
    app.on("joints", () => this.revealJoints());
    for (const event of ["changed", "tracks", "layer"] as const) app.on(event, this.refresh);
  }

  private reset(): void {
    this.open.clear();
    this.search.value = "";
    this.load();
    for (const node of walk(this.roots)) {
      if (node.kind === "group" && node.level === 1) this.open.add(node.key);
    }
    this.showFirst();
    this.refresh();
  }

  private load(): void {
    const document = this.app.document;
    this.roots = document ? buildTree(document, this.app.tracks, this.app.layer) : [];
  }

  /** A new document shows the rotation of its root, or else its first property. */
  private showFirst(): void {
    const properties = [...walk(this.roots)].filter((node) => node.kind !== "group" && node.parent?.kind !== "property");
    const first = properties.find((node) => node.title === "Rotation") ?? properties[0];
    if (!first) return;
    this.focusedKey = first.key;
    this.reveal(first);
    this.app.showTracks(first.tracks);
  }

  private reveal(node: TreeNode): void {
    for (let above = node.parent; above; above = above.parent) this.open.add(above.key);
  }

  /** Leads to joints that were chosen elsewhere. */
  private revealJoints(): void {
    const focused = this.rows.find((row) => row.key === this.focusedKey);
    if (focused && this.app.joints.has(focused.jointIndex)) return this.refresh();
    for (const node of walk(this.roots)) {
      if (node.kind !== "group" || !this.app.joints.has(node.jointIndex)) continue;
      this.reveal(node);
      this.open.add(node.key);
      this.focusedKey = node.key;
    }
    this.render();
    this.rowElement(this.focusedKey)?.scrollIntoView({ block: "nearest" });
  }

  private render(): void {
    this.load();
    const found = findNodes(this.roots, this.search.value);
    this.rows = [];
    const add = (nodes: readonly TreeNode[]): void => {
      for (const node of nodes) {
        if (found && !found.has(node)) continue;
        this.rows.push(node);
        if (found || this.open.has(node.key)) add(node.children);
      }
    };
    add(this.roots);
    if (!this.rows.some((row) => row.key === this.focusedKey)) this.focusedKey = this.rows[0]?.key ?? "";
    const hadFocus = this.list.contains(document.activeElement);
    const visible = new Set(this.app.visibleTracks);
    const rows = this.rows.map((node) => buildRow(node, this.rowState(node, visible, found !== undefined)));
    const nothing = h("div", { class: "tree-empty", role: "treeitem", "aria-selected": "false" }, this.emptyText());
    this.list.replaceChildren(...(rows.length > 0 ? rows : [nothing]));
    if (hadFocus) this.rowElement(this.focusedKey)?.focus();
    this.renderLayers();
  }

  private emptyText(): string {
    if (!this.app.document) return "No file is open.";
    if (this.search.value) return "Nothing has this name.";
    return "There are no curves on this layer yet.";
  }

  private rowState(node: TreeNode, visible: ReadonlySet<number>, isFound: boolean): RowState {
    const shown = node.tracks.filter((track) => visible.has(track)).length;
    return {
      isOpen: node.children.length > 0 && (isFound || this.open.has(node.key)),
      visibility: shown === 0 ? "none" : shown === node.tracks.length ? "all" : "some",
      isFocusable: node.key === this.focusedKey,
      isActive: node.track !== undefined && node.track.id === this.app.activeTrack,
      isJointChosen: node.kind === "group" && this.app.joints.has(node.jointIndex),
    };
  }

  private renderLayers(): void {
    const layers = this.app.document?.layers() ?? [];
    this.layerChoice.hidden = layers.length < 2;
    this.layerChoice.replaceChildren(...layers.map((layer) => h("option", { value: layer.id }, layer.name)));
    this.layerChoice.value = String(this.app.layer);
  }

  private rowElement(key: string): HTMLElement | undefined {
    const index = this.rows.findIndex((row) => row.key === key);
    return this.list.children[index] as HTMLElement | undefined;
  }

  private nodeOf(event: Event): TreeNode | undefined {
    const row = (event.target as Element).closest(".tree-row");
    return row ? this.rows[[...this.list.children].indexOf(row)] : undefined;
  }

  private handleFocus(event: Event): void {
    const node = this.nodeOf(event);
    if (!node || node.key === this.focusedKey) return;
    this.rowElement(this.focusedKey)?.setAttribute("tabindex", "-1");
    this.focusedKey = node.key;
    this.rowElement(node.key)?.setAttribute("tabindex", "0");
  }

  private handleClick(event: MouseEvent): void {
    const node = this.nodeOf(event);
    if (!node) return;
    const target = event.target as Element;
    this.focus(node);
    if (target.closest(".tree-color")) return this.chooseColor(node);
    if (target.closest(".tree-expander")) this.act("toggleOpen", node);
    else if (event.shiftKey) this.showRange(node);
    else if (target.closest(".tree-eye") || event.ctrlKey || event.metaKey) this.act("toggleShown", node);
    else this.act("showOnly", node);
  }

  /** Opens the browser's colour dialog beside the row. */
  private chooseColor(node: TreeNode): void {
    const track = node.track;
    if (!track) return;
    const box = this.rowElement(node.key)?.getBoundingClientRect();
    const input = h("input", { type: "color", class: "tree-color-input", value: track.color, "aria-label": `Colour of ${trackTitle(track)}` });
    input.style.left = `${box?.left ?? 0}px`;
    input.style.top = `${box?.top ?? 0}px`;
    document.body.append(input);
    const choose = (): void => {
      this.app.run("Colour", () => this.app.document?.setColor(track.id, input.value));
      input.remove();
    };
    input.addEventListener("change", choose, { once: true });
    input.addEventListener("blur", () => window.setTimeout(() => input.remove()));
    input.focus();
    input.click();
  }

  private focus(node: TreeNode): void {
    this.focusedKey = node.key;
    this.rowElement(node.key)?.focus();
  }

  private act(action: TreeAction, node: TreeNode): void {
    const index = this.rows.indexOf(node);
    const isOpen = this.open.has(node.key) && node.children.length > 0;
    switch (action) {
      case "showOnly":
        this.anchorKey = node.key;
        this.app.showTracks(node.tracks, node.track?.id);
        if (node.jointIndex >= 0) this.app.chooseJoints([node.jointIndex]);
        return;
      case "toggleShown":
        this.anchorKey = node.key;
        return this.toggleShown(node);
      case "next":
        return this.focusRow(index + 1);
      case "previous":
        return this.focusRow(index - 1);
      case "first":
        return this.focusRow(0);
      case "last":
        return this.focusRow(this.rows.length - 1);
      case "open":
        if (isOpen || node.children.length === 0) return this.focusRow(index + (isOpen ? 1 : 0));
        return this.act("toggleOpen", node);
      case "close":
        if (isOpen) return this.act("toggleOpen", node);
        if (node.parent) this.focus(node.parent);
        return;
      case "toggleOpen":
        if (!this.open.delete(node.key)) this.open.add(node.key);
        return this.render();
      case "openAll":
        for (const below of walk([node])) this.open.add(below.key);
        return this.render();
    }
  }

  private focusRow(index: number): void {
    const node = this.rows[Math.max(0, Math.min(index, this.rows.length - 1))];
    if (node) this.focus(node);
  }

  private toggleShown(node: TreeNode): void {
    const visible = new Set(this.app.visibleTracks);
    const isShown = node.tracks.every((track) => visible.has(track));
    for (const track of node.tracks) {
      if (isShown) visible.delete(track);
      else visible.add(track);
    }
    this.showInOrder(visible, isShown ? undefined : node.track?.id);
  }

  /** Shows all rows between the one that was chosen last and this one. */
  private showRange(node: TreeNode): void {
    const from = Math.max(0, this.rows.findIndex((row) => row.key === this.anchorKey));
    const to = this.rows.indexOf(node);
    const between = this.rows.slice(Math.min(from, to), Math.max(from, to) + 1);
    this.showInOrder(new Set(between.flatMap((row) => row.tracks)), undefined);
  }

  private showInOrder(visible: ReadonlySet<number>, active: number | undefined): void {
    const order = this.roots.flatMap((root) => root.tracks);
    this.app.showTracks(order.filter((track) => visible.has(track)), active);
  }

  private handleKey(event: KeyboardEvent): void {
    const node = this.rows.find((row) => row.key === this.focusedKey);
    if (!node || event.altKey || event.ctrlKey || event.metaKey) return;
    if (event.key === "ContextMenu" || (event.key === "F10" && event.shiftKey)) return;
    const action = kTreeKeys[event.key];
    if (!action) return;
    event.preventDefault();
    event.stopPropagation();
    this.act(action, node);
  }

  private handleSearchKey(event: KeyboardEvent): void {
    if (event.key === "ArrowDown" || event.key === "Enter") this.focusRow(0);
    else if (event.key === "Escape" && this.search.value) this.search.value = "";
    else return;
    event.preventDefault();
    this.refresh();
  }

  private handleMenu(event: MouseEvent): void {
    const node = this.nodeOf(event);
    if (!node) return;
    event.preventDefault();
    this.focus(node);
    const box = this.rowElement(node.key)?.getBoundingClientRect();
    const isByKey = event.clientX === 0 && event.clientY === 0;
    const place = isByKey && box ? { x: box.left + 24, y: box.bottom } : { x: event.clientX, y: event.clientY };
    openMenu(
      this.app.commands,
      [
        { title: "Show these curves alone", run: () => this.act("showOnly", node), keys: "Enter" },
        { title: "Show or hide these curves", run: () => this.act("toggleShown", node), keys: "Space" },
        { title: "Show all curves of the layer", run: () => this.showInOrder(new Set(this.roots.flatMap((root) => root.tracks)), undefined) },
        { title: "Hide all curves", run: () => this.app.showTracks([]) },
        "-",
        { title: "Open everything below", run: () => this.act("openAll", node), enabled: node.children.length > 0, keys: "*" },
        {
          title: "Colour …",
          enabled: node.track !== undefined,
          run: () => this.chooseColor(node),
        },
      ],
      node.title,
      place,
    );
  }
}

export function mountTree(host: HTMLElement, app: App): void {
  new Tree(host, app);
}
