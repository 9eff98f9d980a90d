import type { EditorDocument, Track } from "../engine/engine";

/** A row of the tree: a joint or group, a property with several components, or a curve. */
export interface TreeNode {
  /** The same for as long as the document is open. */
  readonly key: string;
  readonly title: string;
  readonly kind: "group" | "property" | "track";
  readonly level: number;
  readonly parent: TreeNode | undefined;
  readonly children: TreeNode[];
  /** Of the curves in it and below. */
  readonly tracks: number[];
  /** The joint whose curves these are; -1 for none. */
  readonly jointIndex: number;
  /** The curve of this row, where it is one. */
  readonly track: Track | undefined;
  /** What searching looks through, in small letters. */
  readonly text: string;
}

/** "Lcl Rotation" is "Rotation" to the user. */
export function propertyTitle(property: string): string {
  return property.replace(/^Lcl /, "");
}

/** What to call a curve where its joint is not seen: "Spine Rotation X". */
export function trackTitle(track: Track): string {
  const joint = track.joint.split("/").at(-1) ?? "";
  return [joint, propertyTitle(track.property), track.component].filter(Boolean).join(" ");
}

class TreeBuilder {
  readonly roots: TreeNode[] = [];
  private readonly byKey = new Map<string, TreeNode>();
  private readonly joints: ReadonlyMap<string, number>;

  constructor(private readonly document: EditorDocument) {
    this.joints = new Map(document.joints.map((joint, index) => [joint.path, index]));
  }

  add(track: Track): void {
    const isWeight = track.isWeight && track.joint === "";
    const group = isWeight ? this.node("weights", "Layer weights", "group", undefined, -1, undefined) : this.group(track.joint);
    const title = isWeight ? track.path.slice(0, track.path.lastIndexOf("/")) : propertyTitle(track.property);
    const key = `${group?.key ?? ""}|${isWeight ? track.path : track.property}`;
    const holder = track.component === "" ? group : this.node(key, title, "property", group, track.jointIndex, undefined);
    const shown = track.component === "" ? title : track.component;
    const leaf = this.node(`${key}|${track.component}|${track.id}`, shown, "track", holder, track.jointIndex, track);
    for (let node: TreeNode | undefined = leaf; node; node = node.parent) node.tracks.push(track.id);
  }

  private group(path: string): TreeNode | undefined {
    if (path === "") return undefined;
    const slash = path.lastIndexOf("/");
    const parent = slash < 0 ? undefined : this.group(path.slice(0, slash));
    const joint = this.joints.get(path) ?? -1;
    const title = joint < 0 ? path.slice(slash + 1) : (this.document.joints[joint]?.title ?? path);
    return this.node(`group:${path}`, title, "group", parent, joint, undefined);
  }

  private node(
    key: string,
    title: string,
    kind: TreeNode["kind"],
    parent: TreeNode | undefined,
    jointIndex: number,
    track: Track | undefined,
  ): TreeNode {
    const known = this.byKey.get(key);
    if (known) return known;
    const text = `${parent?.text ?? ""} ${title.toLowerCase()}`;
    const level = (parent?.level ?? 0) + 1;
    const node: TreeNode = { key, title, kind, level, parent, children: [], tracks: [], jointIndex, track, text };
    this.byKey.set(key, node);
    (parent?.children ?? this.roots).push(node);
    return node;
  }
}

/** The tree of the curves on a layer. */
export function buildTree(document: EditorDocument, tracks: readonly Track[], layer: number): TreeNode[] {
  const builder = new TreeBuilder(document);
  for (const track of tracks) {
    if (track.layer === layer) builder.add(track);
  }
  return builder.roots;
}

/** All nodes, parents before their children. */
export function* walk(nodes: readonly TreeNode[]): Generator<TreeNode> {
  for (const node of nodes) {
    yield node;
    yield* walk(node.children);
  }
}

/** The nodes that a search finds, with what is above and below them; all words have to be found. */
export function findNodes(roots: readonly TreeNode[], search: string): Set<TreeNode> | undefined {
  const words = search.toLowerCase().split(/\s+/).filter(Boolean);
  if (words.length === 0) return undefined;
  const found = new Set<TreeNode>();
  for (const node of walk(roots)) {
    const isMatch = words.every((word) => node.text.includes(word));
    if (!isMatch) continue;
    for (let above: TreeNode | undefined = node; above && !found.has(above); above = above.parent) found.add(above);
  }
  return found;
}
