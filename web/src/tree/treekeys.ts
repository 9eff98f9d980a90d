/** What the keys do in the tree, by the rules that screen readers know for trees. */
export type TreeAction =
  | "showOnly"
  | "toggleShown"
  | "next"
  | "previous"
  | "first"
  | "last"
  | "open"
  | "close"
  | "toggleOpen"
  | "openAll";

export const kTreeKeys: Readonly<Record<string, TreeAction>> = {
  Enter: "showOnly",
  " ": "toggleShown",
  ArrowDown: "next",
  ArrowUp: "previous",
  Home: "first",
  End: "last",
  ArrowRight: "open",
  ArrowLeft: "close",
  "*": "openAll",
};
