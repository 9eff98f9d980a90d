"""Small clips for batches: a walker of nine joints, each with motion of its own."""

import math
import os
import random

TURN = "CHANNELS 3 Zrotation Xrotation Yrotation"
SKELETON = f"""HIERARCHY
ROOT Hips {{ OFFSET 0 90 0 CHANNELS 6 Xposition Yposition Zposition Zrotation Xrotation Yrotation
  JOINT Spine {{ OFFSET 0 20 0 {TURN}
    JOINT Head {{ OFFSET 0 40 0 {TURN} End Site {{ OFFSET 0 20 0 }} }} }}
"""


def leg(side: str, x: int) -> str:
    return f"""  JOINT {side}UpLeg {{ OFFSET {x} -5 0 {TURN}
    JOINT {side}Leg {{ OFFSET 0 -42 0 {TURN}
      JOINT {side}Foot {{ OFFSET 0 -40 0 {TURN} End Site {{ OFFSET 0 -5 14 }} }} }} }}
"""


def clip(seed: int, frames: int) -> str:
    """A BVH file, the same for the same seed."""
    generator = random.Random(seed)
    waves = [(generator.uniform(3, 30), generator.uniform(0.5, 2.5), generator.uniform(0, 6)) for _ in range(27)]
    lines = [SKELETON + leg("Left", 9) + leg("Right", -9) + "}", "MOTION", f"Frames: {frames}", "Frame Time: 0.0333333"]
    for frame in range(frames):
        time = frame / 30
        angles = [size * math.sin(6.2832 * rate * time + phase) + generator.gauss(0, 0.2)
                  for size, rate, phase in waves]
        values = [0.0, 90 + generator.gauss(0, 0.1), 110 * time, *angles]
        lines.append(" ".join(f"{value:.3f}" for value in values))
    return "\n".join(lines) + "\n"


def make_clips(folder: str, count: int, frames: int) -> None:
    """Fills a folder, in which every hundredth file is broken, and one has a name that is no UTF-8."""
    os.makedirs(folder)
    for seed in range(count):
        name = os.fsencode(f"{seed:06}") + (b"\xff" if seed == 7 else b"") + b".bvh"
        with open(os.path.join(os.fsencode(folder), name), "w", encoding="ascii") as file:
            text = clip(seed, frames)
            file.write(text if seed % 100 != 50 else text[:len(text) // 2] + "\nno number\n")
