import type { Gesture } from "../app/help";

const gesture = (title: string, how: string): Gesture => ({ group: "Mouse in the graph", title, how });

/** What the mouse does in the graph, for the help sheet. */
export const kGraphGestures: readonly Gesture[] = [
  gesture("Zoom at the pointer", "wheel"),
  gesture("Zoom in time alone", "Ctrl+wheel, wheel on the ruler"),
  gesture("Zoom in value alone", "Shift+wheel, wheel on the values"),
  gesture("Pan", "middle drag, Space+drag"),
  gesture("Pan and zoom by touch", "one finger, two fingers"),
  gesture("Set the time", "drag on the ruler"),
  gesture("Select keys", "drag, click"),
  gesture("Add to the selection", "Shift"),
  gesture("Take from the selection", "Ctrl"),
  gesture("Move keys", "drag"),
  gesture("Keep to one axis", "Shift while moving"),
  gesture("Snap to frames, or not", "Ctrl while moving"),
  gesture("Leave copies behind", "Alt+drag"),
  gesture("Stretch about centre, current time", "Ctrl, Alt while stretching"),
  gesture("Scale about the middle", "Ctrl while scaling"),
  gesture("Turn the tangents of all selected keys", "drag the handle of one"),
  gesture("Break a tangent", "Alt+drag its handle"),
  gesture("Give a tangent a weight", "Ctrl+drag its handle"),
  gesture("Change the weight alone", "Shift+drag its handle"),
  gesture("Insert a key", "double click a curve"),
  gesture("Take a drag back", "Esc while dragging"),
];
