import { Group } from "three";
import { Line2 } from "three/examples/jsm/lines/Line2.js";
import { LineGeometry } from "three/examples/jsm/lines/LineGeometry.js";
import { LineMaterial } from "three/examples/jsm/lines/LineMaterial.js";
import { firstIndex } from "../app/finding";
import { isPlaced } from "./figure";

/** The way of a joint: x, y and z at each of the times, in ticks and ascending. */
export interface Trail {
  times: Float64Array;
  places: Float32Array;
}

/** A trail as it is drawn: all of it faint, and the part that is past on top. */
interface Drawn {
  times: number[];
  whole: LineGeometry;
  past: LineGeometry;
}

/** The ways of some joints through the world, over the whole clip. */
export class Trails {
  readonly group = new Group();
  private readonly wholeMaterial = new LineMaterial({ linewidth: 1.5, transparent: true, opacity: 0.45 });
  private readonly pastMaterial = new LineMaterial({ linewidth: 2.5, transparent: true });
  private drawn: Drawn[] = [];

  show(trails: readonly Trail[]): void {
    this.clear();
    for (const trail of trails) this.add(trail);
  }

  /** Draws what is before a time, in ticks, stronger than the rest. */
  at(time: number): void {
    for (const { times, past } of this.drawn) {
      past.instanceCount = Math.max(0, firstIndex(0, times.length, (index) => times[index]! > time) - 1);
    }
  }

  colour(past: number, whole: number): void {
    this.pastMaterial.color.setHex(past);
    this.wholeMaterial.color.setHex(whole);
  }

  resize(width: number, height: number): void {
    this.wholeMaterial.resolution.set(width, height);
    this.pastMaterial.resolution.set(width, height);
  }

  clear(): void {
    for (const { whole, past } of this.drawn) {
      whole.dispose();
      past.dispose();
    }
    this.group.clear();
    this.drawn = [];
  }

  private add({ times, places }: Trail): void {
    const points: number[] = [];
    const kept: number[] = [];
    times.forEach((time, i) => {
      if (!isPlaced(places, i)) return;
      points.push(...places.subarray(3 * i, 3 * i + 3));
      kept.push(time);
    });
    if (kept.length < 2) return;
    const whole = new LineGeometry().setPositions(points);
    const past = new LineGeometry().setPositions(points);
    for (const [geometry, material] of [[whole, this.wholeMaterial], [past, this.pastMaterial]] as const) {
      const line = new Line2(geometry, material);
      line.frustumCulled = false;
      this.group.add(line);
    }
    this.drawn.push({ times: kept, whole, past });
  }
}
