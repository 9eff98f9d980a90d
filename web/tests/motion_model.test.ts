import { Vector3 } from "three";
import { describe, expect, it } from "vitest";
import { parseParameter } from "../src/filters/parameters";
import { TICKS_PER_SECOND } from "../src/engine/engine";
import { advance } from "../src/motion/clock";
import { gridStep, measureFigure } from "../src/motion/figure";
import { placeLabels, type Label } from "../src/motion/labels";
import { Orbit } from "../src/motion/orbit";
import { pickJoint } from "../src/motion/picking";
import { Sharpness } from "../src/motion/sharpness";
import { random } from "./random";

describe("names of joints", () => {
  it("never overlap, stay in the picture, and are left out only where there is no room", () => {
    const next = random(7);
    for (let round = 0; round < 50; ++round) {
      const labels: Label[] = Array.from({ length: 80 }, (_, joint) => {
        return { joint, text: "", x: next() * 400 - 20, y: next() * 300 - 20, width: 20 + next() * 60, rank: Math.floor(next() * 3) };
      });
      const boxes = placeLabels(labels, 380, 280, 15).map(({ label, left, middle }) => [left, middle - 7.5, left + label.width, middle + 7.5, label.rank]);
      const meets = (a: number[], b: number[]): boolean => a[0]! < b[2]! && b[0]! < a[2]! && a[1]! < b[3]! && b[1]! < a[3]!;
      boxes.forEach((box, i) => {
        expect(box[0]! >= 0 && box[1]! >= 0 && box[2]! <= 380 && box[3]! <= 280).toBe(true);
        expect(boxes.slice(0, i).some((other) => meets(other, box))).toBe(false);
      });
      const placed = new Set(placeLabels(labels, 380, 280, 15).map(({ label }) => label.joint));
      for (const { joint, x, y, width, rank } of labels.filter((label) => !placed.has(label.joint))) {
        const right = [x + 9, y - 7.5, x + 9 + width, y + 7.5];
        const isOutside = right[0]! < 0 || right[1]! < 0 || right[2]! > 380 || right[3]! > 280;
        const blocker = boxes.find((box) => meets(box, right) && box[4]! <= rank);
        expect(isOutside || blocker !== undefined, `joint ${joint}`).toBe(true);
      }
    }
  });
});

describe("playing", () => {
  const second = TICKS_PER_SECOND;
  it.each([
    ["goes on in real time", 1, 500, { speed: 0.5, loop: true }, 1.25, true],
    ["loops by as much as it went too far", 2.9, 300, { speed: 1, loop: true }, 1.2, true],
    ["loops several times in a long pause", 1, 9000, { speed: 1, loop: true }, 2, true],
    ["ends at the last key", 2.9, 300, { speed: 1, loop: false }, 3, false],
    ["begins anew from behind the end", 5, 10, { speed: 1, loop: true }, 1, true],
    ["plays into the clip from before its beginning", 0, 500, { speed: 1, loop: false }, 0.5, true],
  ])("%s", (_, from, milliseconds, how, to, goesOn) => {
    const result = advance(from * second, milliseconds, { start: second, stop: 3 * second, ...how });
    expect(result.time / second).toBeCloseTo(to, 9);
    expect(result.goesOn).toBe(goesOn);
  });
  it("stays where there is nothing to play", () => {
    expect(advance(5, 100, { start: 7, stop: 7, speed: 1, loop: true })).toEqual({ time: 7, goesOn: false });
  });
});

describe("sharpness", () => {
  it("falls while a slow machine plays, and comes back when it stops", () => {
    const play = (milliseconds: number, frames: number, sharpness = new Sharpness()): number => {
      for (let frame = 0; frame < frames; ++frame) sharpness.next(frame * milliseconds, true);
      return sharpness.next(frames * milliseconds, true);
    };
    expect(play(17, 1000)).toBe(1);
    expect(play(90, 3)).toBe(1);
    expect(play(90, 1000)).toBe(0.4);
    const slow = new Sharpness();
    expect(play(90, 20, slow)).toBeLessThan(1);
    expect(slow.next(5000, false)).toBe(1);
  });
});

describe("the figure", () => {
  it("stands on a grid of round steps, whatever its unit", () => {
    for (let height = 1e-3; height < 1e4; height *= 1.07) {
      const step = gridStep(height);
      expect(["1", "2", "5"], String(step)).toContain(step.toExponential()[0]);
      expect(height / step).toBeGreaterThan(2.5);
      expect(height / step).toBeLessThan(8);
    }
  });
  it("has its ground where feet mostly are, and ignores places that are no numbers", () => {
    const positions = Float32Array.from([0, 10, 0, NaN, 99, 0, 4, 2, 6]);
    const lowest = [2, 2.1, 2, 30, 2.05, 2, 2, NaN, 2, 2, 2, -50, 2, 2, 2, 2, 2, 2, 2, 2, 2];
    const size = measureFigure(positions, "y", 0, lowest);
    expect(size.ground).toBe(2);
    expect(size.centre).toEqual([2, 6, 3]);
    expect(size.radius).toBeCloseTo(Math.hypot(4, 8, 6) / 2, 6);
    expect(measureFigure(new Float32Array([1, 1, 1]), "z", 0, []).radius).toBeGreaterThan(0);
  });
});

describe("clicks", () => {
  // x, y and distance: a root, its child to the right, another one behind the root, and one behind the camera.
  const points = Float32Array.from([100, 100, 10, 200, 100, 10, 102, 101, 20, NaN, NaN, 5]);
  const parents = [-1, 0, 0, 0];
  it.each([
    ["a joint, the one in front of several", 101, 101, 1, 0],
    ["a bone turns with the joint that it begins at", 150, 104, 1, 0],
    ["the end of a bone", 203, 96, 1, 1],
    ["beside everything", 150, 120, 1, -1],
    ["fingers reach farther", 150, 112, 2, 0],
  ])("%s", (_, x, y, reach, joint) => expect(pickJoint(points, parents, x, y, reach)).toBe(joint));
});

describe("the camera", () => {
  it("pans by parts of its height, keeps its distance as it turns, and scales it as it zooms", () => {
    const next = random(11);
    for (const up of ["y", "z"] as const) {
      const orbit = new Orbit();
      orbit.resize(640, 400);
      orbit.frame(new Vector3(1, 2, 3), 5, up);
      const distance = (): number => orbit.camera.position.distanceTo(orbit.target);
      for (let round = 0; round < 20; ++round) {
        const before = distance();
        orbit.turn(next() * 4 - 2, next() * 4 - 2);
        expect(distance()).toBeCloseTo(before, 9);
        const seen = orbit.target.clone();
        const [right, high] = [next() - 0.5, next() - 0.5];
        orbit.pan(right, high);
        seen.project(orbit.camera);
        // The picture is two units high, and 640/400 of that wide.
        expect([seen.x * 1.6, seen.y].map((place) => -place / 2)).toEqual([expect.closeTo(right, 6), expect.closeTo(high, 6)]);
        const factor = 0.8 + next() * 0.4;
        orbit.zoom(factor);
        expect(distance()).toBeCloseTo(before / factor, 9);
      }
    }
  });
});

describe("parameters of filters", () => {
  const kAboveZero = { minimum: 0, aboveMinimum: true } as const;
  const parseTime = (text: string): number | undefined => (/^\d+$/.test(text) ? Number(text) * 1000 : undefined);
  it.each([
    ["Double", kAboveZero, "0", undefined],
    ["Double", { minimum: 0, maximum: 180 }, "180,5", undefined],
    ["Double", { ...kAboveZero, maximum: 5 }, "5", "5"],
    ["Double", { ...kAboveZero, maximum: 5 }, "6", undefined],
    ["Double", {}, "much", undefined],
    ["Integer", { minimum: 1, maximum: 4096 }, "2.5", undefined],
    ["Integer", { minimum: 1, maximum: 4096 }, "8", "8"],
    ["Time", {}, "45", "@45000"],
    ["Time", {}, "-inf", "-inf"],
    ["Time", kAboveZero, "0", undefined],
    ["Time", { maximum: 1 }, "45", "@45000"], // bounds are in seconds
    ["Time", {}, "soon", undefined],
    ["Vector3D", {}, "0; 90; -2,5", "0,90,-2.5"],
    ["Vector3D", {}, "0 90 -2,5", "0,90,-2.5"],
    ["Vector3D", {}, "0, 90, -2.5", "0,90,-2.5"],
    ["Vector3D", {}, "1,2", undefined],
  ] as const)("%s %j takes %s", (type, range, typed, text) => {
    const parsed = parseParameter({ name: "P", type, default: "", unit: "", help: "", ...range }, typed, parseTime);
    expect("text" in parsed ? parsed.text : undefined).toBe(text);
  });
});
