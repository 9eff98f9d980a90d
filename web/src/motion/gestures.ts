import type { Gesture } from "../app/help";

const gesture = (title: string, how: string): Gesture => ({ group: "Mouse in the motion view", title, how });

/** What the mouse does in the motion view, for the help sheet. */
export const kMotionGestures: readonly Gesture[] = [
  gesture("Turn the camera", "drag"),
  gesture("Move the camera", "Shift+drag, middle drag"),
  gesture("Zoom", "wheel"),
  gesture("Turn, move and zoom by touch", "one finger, two fingers"),
  gesture("Choose a joint and show its curves", "click"),
  gesture("Choose another joint besides", "Shift+click"),
];
