import { roundStep } from "../app/numbers";
import type { UpAxis } from "./orbit";

/** How large a figure is and how it stands, in the file's own unit. */
export interface FigureSize {
  up: UpAxis;
  /** From the lowest joint to the highest, at the time that was looked at; never 0. */
  height: number;
  /** Where the ground is along the axis that points up. */
  ground: number;
  centre: [number, number, number];
  /** Of a ball around the centre that all joints are in; never 0. */
  radius: number;
}

/** Least and greatest coordinates. Joints whose place is not finite do not count. */
export function boundsOf(positions: Float32Array): [[number, number, number], [number, number, number]] {
  const low: [number, number, number] = [Infinity, Infinity, Infinity];
  const high: [number, number, number] = [-Infinity, -Infinity, -Infinity];
  for (let i = 0; i + 2 < positions.length; i += 3) {
    if (!isPlaced(positions, i / 3)) continue;
    for (const axis of [0, 1, 2] as const) {
      low[axis] = Math.min(low[axis], positions[i + axis] as number);
      high[axis] = Math.max(high[axis], positions[i + axis] as number);
    }
  }
  return low[0] <= high[0] ? [low, high] : [[0, 0, 0], [0, 0, 0]];
}

/** Whether all coordinates of a joint are numbers. */
export function isPlaced(positions: Float32Array, joint: number): boolean {
  const at = 3 * joint;
  return Number.isFinite(positions[at]) && Number.isFinite(positions[at + 1]) && Number.isFinite(positions[at + 2]);
}

/**
 * Measures a figure.
 * @param positions  of its joints, at the time that the camera looks at first
 * @param height     as the library has found it; 0 where it does not know
 * @param lowest     the height of the lowest joint, along the axis that points up, at times all over the clip
 */
export function measureFigure(positions: Float32Array, up: UpAxis, height: number, lowest: readonly number[]): FigureSize {
  const [low, high] = boundsOf(positions);
  const centre: FigureSize["centre"] = [(low[0] + high[0]) / 2, (low[1] + high[1]) / 2, (low[2] + high[2]) / 2];
  const diagonal = Math.hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
  const radius = diagonal > 0 ? diagonal / 2 : 1;
  // A jump does not raise the ground, and a single bad frame below it does not lower it.
  const heights = lowest.filter(Number.isFinite).sort((a, b) => a - b);
  const ground = heights[Math.floor(heights.length / 10)] ?? low[up === "y" ? 1 : 2];
  return { up, height: height > 0 ? height : 2 * radius, ground, centre, radius };
}

/**
 * The distance between the lines of a ground grid: 1, 2 or 5 times a power of ten of the file's unit, a seventh of the
 * figure's height or more. The unit itself is not known: files count in centimetres, metres or inches.
 */
export function gridStep(height: number): number {
  return roundStep(height / 7);
}
