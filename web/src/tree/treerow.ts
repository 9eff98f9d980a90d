import { h, icon } from "../app/dom";
import { icons } from "../app/icons";
import type { TreeNode } from "./treemodel";

export interface RowState {
  isOpen: boolean;
  visibility: "all" | "some" | "none";
  isFocusable: boolean;
  isActive: boolean;
  isJointChosen: boolean;
}

const kVisibilityTitles = { all: "Hide", some: "Show all", none: "Show" } as const;

/** The colour of a curve; a click on it opens the colour dialog. */
function swatch(color: string): HTMLElement {
  const element = h("span", { class: "tree-color", title: "Change the colour", "aria-hidden": "true" });
  element.style.backgroundColor = color;
  return element;
}

/** One row of the tree. */
export function buildRow(node: TreeNode, state: RowState): HTMLElement {
  const hasChildren = node.children.length > 0;
  const classes = ["tree-row", `tree-${node.kind}`];
  if (state.visibility !== "none") classes.push("is-shown");
  if (state.isActive) classes.push("is-active");
  if (state.isJointChosen) classes.push("is-chosen");
  const count = node.track?.keyCount;
  const name = [
    node.title,
    count === undefined ? "" : `${count} ${count === 1 ? "key" : "keys"}`,
    node.track?.locked === true ? "locked" : "",
    state.isActive ? "active" : "",
  ];
  const row = h(
    "div",
    {
      class: classes.join(" "),
      role: "treeitem",
      tabindex: state.isFocusable ? 0 : -1,
      "aria-level": node.level,
      "aria-expanded": hasChildren ? String(state.isOpen) : undefined,
      "aria-selected": String(state.visibility === "all"),
      "aria-label": name.filter(Boolean).join(", "),
    },
    h("span", { class: "tree-expander", "aria-hidden": "true" }, hasChildren ? (state.isOpen ? "▾" : "▸") : ""),
    h("span", { class: `tree-eye tree-eye-${state.visibility}`, title: kVisibilityTitles[state.visibility], "aria-hidden": "true" }),
    node.track && swatch(node.track.color),
    h("span", { class: "tree-title", title: node.title }, node.title),
    node.track?.locked === true && h("span", { class: "tree-lock", title: "Locked" }, icon(icons.lock)),
    count !== undefined && h("span", { class: "tree-count", "aria-hidden": "true" }, String(count)),
  );
  row.style.setProperty("--level", String(node.level - 1));
  return row;
}
