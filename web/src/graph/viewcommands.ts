import type { Command } from "../app/commands";
import type { Graph, Tool } from "./graph";

const kZoom = 1.25;
const kPanPixels = 60;

function zoomCommands(graph: Graph): Command[] {
  const zoom = (time: number, value: number) => (): void => {
    const { viewport } = graph;
    const now = viewport.xAt(graph.app.time);
    const x = now >= 0 && now <= viewport.width ? now : viewport.width / 2;
    viewport.zoom(x, viewport.height / 2, time, value);
    graph.redraw();
  };
  const pan = (x: number, y: number) => (): void => {
    graph.viewport.pan(x * kPanPixels, y * kPanPixels);
    graph.redraw();
  };
  const command = (name: string, title: string, keys: string[], run: () => void): Command => {
    return { id: `graph.${name}`, title, group: "Zoom and pan in the graph", keys, scope: "graph", run };
  };
  return [
    command("zoomIn", "Zoom in", ["+", "="], zoom(1 / kZoom, 1 / kZoom)),
    command("zoomOut", "Zoom out", ["-"], zoom(kZoom, kZoom)),
    command("zoomInTime", "Zoom in, time alone", ["]"], zoom(1 / kZoom, 1)),
    command("zoomOutTime", "Zoom out, time alone", ["["], zoom(kZoom, 1)),
    command("zoomInValue", "Zoom in, values alone", ["}"], zoom(1, 1 / kZoom)),
    command("zoomOutValue", "Zoom out, values alone", ["{"], zoom(1, kZoom)),
    command("panLeft", "Pan left", ["Shift+ArrowLeft"], pan(1, 0)),
    command("panRight", "Pan right", ["Shift+ArrowRight"], pan(-1, 0)),
    command("panUp", "Pan up", ["Shift+ArrowUp"], pan(0, 1)),
    command("panDown", "Pan down", ["Shift+ArrowDown"], pan(0, -1)),
  ];
}

function toolCommands(graph: Graph): Command[] {
  const tools: readonly [Tool, string, string][] = [
    ["select", "Select and move", "Q"],
    ["lasso", "Lasso", "L"],
    ["stretch", "Stretch box", "T"],
    ["scale", "Scale values", "E"],
    ["setValue", "Bring to one value", "Y"],
  ];
  return tools.map(([tool, title, key]) => ({
    id: `graph.tool.${tool}`,
    title,
    group: "Tools",
    keys: [key],
    checked: () => graph.tool === tool,
    run: () => graph.setTool(tool),
  }));
}

function toggleCommands(graph: Graph): Command[] {
  const { preferences } = graph.app;
  const ripple = (name: keyof Graph["ripple"], title: string): Command => ({
    id: `graph.${name}`,
    title,
    group: "Moving keys",
    enabled: () => graph.tool === "select" || graph.tool === "lasso",
    checked: () => graph.ripple[name],
    run: () => graph.setRipple({ [name]: !graph.ripple[name] }),
  });
  const snap = (name: "snapToFrames" | "snapToValues", title: string, key: string): Command => ({
    id: `graph.${name}`,
    title,
    group: "Moving keys",
    keys: [key],
    checked: () => preferences.get(name),
    run: () => preferences.set(name, !preferences.get(name)),
  });
  const backdrop = (name: "original" | "played", title: string): Command => ({
    id: `graph.${name}`,
    title,
    group: "View",
    checked: () => graph.backdrops[name],
    run: () => graph.setBackdrops({ [name]: !graph.backdrops[name] }),
  });
  return [
    snap("snapToFrames", "Snap to frames", "S"),
    snap("snapToValues", "Snap to values of neighbours", "Shift+S"),
    ripple("rippleTime", "Later keys follow in time"),
    ripple("rippleValue", "Later keys follow in value"),
    ripple("rippleAllValues", "All keys follow in value"),
    backdrop("original", "Curves as they were opened"),
    backdrop("played", "What all layers together play"),
  ];
}

/** Framing, zooming, tools and what is drawn. */
export function addViewCommands(graph: Graph): void {
  graph.app.commands.addAll([
    { id: "graph.frameAll", title: "Frame all curves", group: "View", keys: ["A"], run: () => graph.frameAll() },
    { id: "graph.frameSelection", title: "Frame selected keys", group: "View", keys: ["F"], run: () => graph.frameSelection() },
    { id: "graph.frameValues", title: "Frame values in these times", group: "View", keys: ["V"], run: () => graph.frameValues() },
    ...zoomCommands(graph),
    ...toolCommands(graph),
    ...toggleCommands(graph),
  ]);
}
