import {
  EXTRAPOLATIONS,
  EXTRAPOLATION_UNLIMITED,
  type Extrapolation,
  type ExtrapolationSettings,
  INTERPOLATIONS,
  type Interpolation,
  type KeyChange,
  TANGENT_MODES,
  type TangentMode,
  type TrackKeys,
} from "../engine/engine";
import type { App } from "../app/app";
import type { Command } from "../app/commands";
import { selectsSome } from "./describe";
import type { Graph } from "./graph";

/** A choice as menus show it, with the key that makes it. */
interface Shown {
  title: string;
  key?: string;
}

const kShownInterpolations: Readonly<Record<Interpolation, Shown>> = {
  constant: { title: "Constant", key: "1" },
  "constant-next": { title: "Constant, next value", key: "2" },
  linear: { title: "Linear", key: "3" },
  cubic: { title: "Cubic", key: "4" },
};
export const kInterpolations = INTERPOLATIONS.map((value) => ({ value, ...kShownInterpolations[value] }));

const kShownTangents: Readonly<Record<TangentMode, Shown>> = {
  auto: { title: "Auto", key: "5" },
  "auto-break": { title: "Auto, broken" },
  tcb: { title: "TCB", key: "6" },
  user: { title: "User", key: "7" },
  "user-break": { title: "User, broken" },
};
export const kTangents = TANGENT_MODES.map((value) => ({ value, ...kShownTangents[value] }));

const kShownExtrapolations: Readonly<Record<Extrapolation, Shown>> = {
  constant: { title: "Constant" },
  repetition: { title: "Repetition" },
  mirror: { title: "Mirrored repetition" },
  "keep-slope": { title: "Keep the slope" },
};
export const kExtrapolations = EXTRAPOLATIONS.map((value) => ({ value, ...kShownExtrapolations[value] }));

/** The mode of a key whose sides are parted or joined. */
const kBroken: Readonly<Record<TangentMode, TangentMode>> = {
  auto: "auto-break",
  "auto-break": "auto-break",
  tcb: "user-break",
  user: "user-break",
  "user-break": "user-break",
};
const kUnified: Readonly<Record<TangentMode, TangentMode>> = {
  auto: "auto",
  "auto-break": "auto",
  tcb: "tcb",
  user: "user",
  "user-break": "user",
};

/** Changes all selected keys in one step. */
export function changeSelected(app: App, name: string, change: KeyChange): void {
  app.run(name, () => app.document?.setKeys(app.document.selectedKeys(), change));
}

/** The tracks whose extrapolation is changed: those with selected keys, or else the active one. */
export function extrapolatedTracks(app: App): number[] {
  const selected = app.selection.map(({ track }) => track);
  if (selected.length > 0) return selected;
  return app.activeTrack >= 0 ? [app.activeTrack] : [];
}

/** What their extrapolation has in common: a member is undefined where they differ, and all is where there are none. */
export function commonExtrapolation(app: App): Partial<ExtrapolationSettings> | undefined {
  const [first, ...others] = extrapolatedTracks(app).flatMap((track) => app.document?.extrapolation(track) ?? []);
  if (!first) return undefined;
  const common: Partial<ExtrapolationSettings> = { ...first };
  for (const name of ["before", "after", "beforeCount", "afterCount"] as const)
    if (others.some((other) => other[name] !== first[name])) delete common[name];
  return common;
}

interface SelectedMode {
  keys: TrackKeys;
  mode: TangentMode;
}

/** The selected keys, parted by their tangent mode. */
function selectedModes(graph: Graph): SelectedMode[] {
  const document = graph.app.document;
  if (!document) return [];
  return document.selectedKeys().flatMap(({ track, indices }) => {
    const table = graph.tables.get(document, track);
    return TANGENT_MODES.flatMap((mode, number) => {
      const having = Array.from(indices).filter((index) => table.tangent[index] === number);
      return having.length > 0 ? [{ keys: { track, indices: having }, mode }] : [];
    });
  });
}

/** Parts the sides of the selected keys, or joins them where one is parted already. */
function toggleBreak(graph: Graph): void {
  const selected = selectedModes(graph);
  const isBroken = selected.some(({ mode }) => mode.endsWith("-break"));
  const modes = isBroken ? kUnified : kBroken;
  graph.app.run(isBroken ? "Unify tangents" : "Break tangents", () => {
    for (const { keys, mode } of selected) graph.app.document?.setKeys([keys], { tangent: modes[mode] });
  });
}

/** True if one of the selected keys has this mark in its table. */
function anySelected(graph: Graph, mark: "clamped" | "leftWeighted" | "rightWeighted"): boolean {
  const document = graph.app.document;
  if (!document) return false;
  return document.selectedKeys().some(({ track, indices }) => {
    const marks = graph.tables.get(document, track)[mark];
    return Array.from(indices).some((index) => marks[index] === 1);
  });
}

/** Gives the selected keys weights of their own, which begin at the default, or takes them away. */
function toggleWeights(graph: Graph): void {
  const isWeighted = anySelected(graph, "leftWeighted") || anySelected(graph, "rightWeighted");
  const weight = isWeighted ? 0 : 1 / 3;
  changeSelected(graph.app, isWeighted ? "Default weights" : "Weights", { leftWeight: weight, rightWeight: weight });
}

/** Sets what curves do on one side of their keys. Repetitions that were given no count go on without end. */
export function changeExtrapolation(app: App, side: "before" | "after", value: Extrapolation): void {
  app.run("Extrapolation", () => {
    const document = app.document;
    for (const track of extrapolatedTracks(app)) {
      const isUncounted = document?.extrapolation(track)[`${side}Count`] === 0;
      const repeats = value === "repetition" || value === "mirror";
      const count = repeats && isUncounted ? { [`${side}Count`]: EXTRAPOLATION_UNLIMITED } : {};
      document?.setExtrapolation([track], { [side]: value, ...count });
    }
  });
}

function extrapolationCommands(app: App): Command[] {
  return (["before", "after"] as const).flatMap((side) =>
    kExtrapolations.map(({ value, title }) => ({
      id: `extrapolation.${side}.${value}`,
      title,
      group: side === "before" ? "Before the first key" : "After the last key",
      enabled: () => extrapolatedTracks(app).length > 0,
      checked: () => commonExtrapolation(app)?.[side] === value,
      run: () => changeExtrapolation(app, side, value),
    })),
  );
}

/** Interpolation, tangents and extrapolation. */
export function addTangentCommands(graph: Graph): void {
  const { app } = graph;
  const hasSelection = selectsSome(app);
  const command = (id: string, title: string, key: string | undefined, run: () => void): Command => ({
    id,
    title,
    group: "Tangents",
    ...(key ? { keys: [key] } : {}),
    enabled: hasSelection,
    run,
  });
  app.commands.addAll([
    ...kInterpolations.map(({ value, title, key }) =>
      command(`interpolation.${value}`, title, key, () => changeSelected(app, "Interpolation", { interpolation: value })),
    ),
    ...kTangents.map(({ value, title, key }) =>
      command(`tangent.${value}`, title, key, () => changeSelected(app, "Tangent", { tangent: value })),
    ),
    command("tangent.break", "Break or unify", "B", () => toggleBreak(graph)),
    command("tangent.flat", "Flat", "0", () => changeSelected(app, "Flat tangents", { leftSlope: 0, rightSlope: 0 })),
    command("tangent.weights", "Own weights or default ones", "W", () => toggleWeights(graph)),
    command("tangent.clamped", "Clamped at neighbours and extremes", "C", () =>
      changeSelected(app, "Clamped tangents", { clamped: !anySelected(graph, "clamped") }),
    ),
    ...extrapolationCommands(app),
  ]);
}
