import { addEditCommands } from "./editcommands";
import type { Graph } from "./graph";
import { addSelectCommands } from "./selectcommands";
import { addTangentCommands } from "./tangentcommands";
import { addViewCommands } from "./viewcommands";

/** All commands of the graph editor. */
export function addGraphCommands(graph: Graph): void {
  addSelectCommands(graph);
  addEditCommands(graph);
  addTangentCommands(graph);
  addViewCommands(graph);
}
