#!/usr/bin/env python3
"""Measures the Python package against the library alone, and against numpy and the text of the file.

    package_bench.py BASELINE        the program scene_baseline; rows go to the file in YFCURVE_BENCH_ROWS
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path
from typing import Callable

import numpy as np

import yfcurve as yf

FRAMES, JOINTS, REPETITIONS = 1000, 23, 30


def recording() -> str:
    """A file of 1,000 frames and 72 channels."""
    head = ["HIERARCHY", "ROOT j0 {", "OFFSET 0 0 0",
            "CHANNELS 6 Xposition Yposition Zposition Zrotation Xrotation Yrotation"]
    for joint in range(1, JOINTS):
        head += [f"JOINT j{joint} {{", "OFFSET 0 5 0", "CHANNELS 3 Zrotation Xrotation Yrotation"]
    head += ["}"] * JOINTS
    time_, channel = np.meshgrid(np.arange(FRAMES) / 120, np.arange(JOINTS * 3 + 3), indexing="ij")
    values = 40 * np.sin(time_ * (1 + channel % 7) + channel)
    rows = [" ".join(f"{value:.6f}" for value in row) for row in values]
    return "\n".join([*head, "MOTION", f"Frames: {FRAMES}", "Frame Time: 0.00833333", *rows, ""])


def fastest(act: Callable[[], object]) -> float:
    """Nanoseconds of the processor in the fastest of many runs."""
    best = float("inf")
    for _ in range(REPETITIONS):
        start = time.process_time_ns()
        act()
        best = min(best, time.process_time_ns() - start)
    return best


def plain(path: Path) -> np.ndarray:
    """The same samples by numpy alone, from the text."""
    return np.loadtxt(path.read_text().split("Frame Time:")[1].splitlines()[1:], dtype=np.float32)


def two_threads(path: Path) -> float:
    """How many times the work of one thread two do in the same time, on scenes of their own."""

    def work() -> None:
        scene = yf.load(path)
        for _ in range(4):
            scene.filter("butterworth", cut_off_freq=7)
            scene.positions()

    def both() -> None:
        threads = [threading.Thread(target=work) for _ in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()

    runs = range(3)
    return 2 * min(timed(work) for _ in runs) / min(timed(both) for _ in runs)


def timed(act: Callable[[], object]) -> float:
    start = time.perf_counter()
    act()
    return time.perf_counter() - start


def main() -> None:
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "recording.bvh"
        path.write_text(recording())
        done = subprocess.run([sys.argv[1], path], capture_output=True, text=True, check=True)
        library_load, library_sample = map(float, done.stdout.split())
        scene = yf.load(path)
        load, direct = fastest(lambda: yf.load(path)), fastest(scene.sample)
        sample = fastest(scene.prepare().sample)
        whole = fastest(lambda: yf.load(path).sample())
        scaling = two_threads(path)
        for name, value in (("python: load", load), ("python: sample", direct),
                            ("python: sample of a prepared scene", sample), ("python: load and sample", whole)):
            print(f"{name}: {value / 1e6:.2f} ms")
            rows.append({"kind": "time", "name": name, "value": value, "median": value, "unit": "ns"})
        goals = [("python: load / library", load / library_load, 1.1),
                 ("python: sample of a prepared scene / player", sample / library_sample, 1.3),
                 ("python: load and sample / numpy from text", whole / fastest(lambda: plain(path)), 0.1),
                 ("python: time of two threads / one", 2 / scaling, 2 / 1.8)]
    for name, value, goal in goals:
        print(f"{name}: {value:.3f}, at most {goal:.3g}")
        rows.append({"kind": "goal", "name": name, "value": value, "goal": goal, "unit": "", "met": value <= goal})
    if "YFCURVE_BENCH_ROWS" in os.environ:
        with open(os.environ["YFCURVE_BENCH_ROWS"], "a") as file:
            file.writelines(json.dumps(row) + "\n" for row in rows)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main()
