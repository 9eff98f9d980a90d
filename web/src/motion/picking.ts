import { lineDistance } from "../app/finding";

/** Points of the picture in CSS pixels: x, y and the distance from the camera; not finite where nothing is seen. */
export type ScreenPoints = Float32Array;

const kJointReach = 11;
const kBoneReach = 7;

/**
 * The joint under the pointer: the nearest to the camera of those within reach, or the one that turns the bone under
 * the pointer; -1 for none. Touch reaches farther.
 */
export function pickJoint(points: ScreenPoints, parents: readonly number[], x: number, y: number, reach = 1): number {
  const joint = nearest(parents.length, kJointReach * reach, (i) => Math.hypot(points[3 * i]! - x, points[3 * i + 1]! - y), points);
  if (joint >= 0) return joint;
  const bone = nearest(parents.length, kBoneReach * reach, (i) => distanceToBone(points, parents[i]!, i, x, y), points);
  return bone >= 0 ? parents[bone]! : -1;
}

/** The one nearest to the pointer; of those within 3 pixels of it, the one in front. */
function nearest(count: number, reach: number, distance: (i: number) => number, points: ScreenPoints): number {
  let best = -1;
  let bestDistance = reach;
  for (let i = 0; i < count; ++i) {
    const here = distance(i);
    if (!(here <= reach)) continue;
    const isNearer = here < bestDistance - 3;
    const isInFront = here < bestDistance + 3 && (best < 0 || points[3 * i + 2]! < points[3 * best + 2]!);
    if (best >= 0 && !isNearer && !isInFront) continue;
    best = i;
    bestDistance = here;
  }
  return best;
}

function distanceToBone(points: ScreenPoints, from: number, to: number, x: number, y: number): number {
  if (from < 0) return Infinity;
  return lineDistance(x, y, points[3 * from]!, points[3 * from + 1]!, points[3 * to]!, points[3 * to + 1]!);
}
