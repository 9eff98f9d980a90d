import type { MenuEntry } from "../app/menu";
import { kExtrapolations, kInterpolations, kTangents } from "./tangentcommands";

/** The menu over keys and curves. */
export function contextMenu(): MenuEntry[] {
  return [
    { title: "Interpolation", entries: kInterpolations.map(({ value }) => `interpolation.${value}`) },
    {
      title: "Tangents",
      entries: [
        ...kTangents.map(({ value }) => `tangent.${value}`),
        "-",
        "tangent.break",
        "tangent.flat",
        "tangent.weights",
        "tangent.clamped",
      ],
    },
    {
      title: "Extrapolation",
      entries: (["before", "after"] as const).map((side) => ({
        title: side === "before" ? "Before the first key" : "After the last key",
        entries: kExtrapolations.map(({ value }) => `extrapolation.${side}.${value}`),
      })),
    },
    "-",
    "keys.insert",
    "keys.insertActive",
    "keys.snap",
    "keys.delete",
    "-",
    "keys.cut",
    "keys.copy",
    "keys.paste",
    "keys.pasteHere",
    "-",
    "select.all",
    "select.active",
    "select.invert",
    "-",
    "graph.frameAll",
    "graph.frameSelection",
  ];
}
