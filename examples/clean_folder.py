#!/usr/bin/env python3
"""Cleans a folder of recordings: unrolls rotations, smooths them, and keeps as few keys as the tolerance allows.

    clean_folder.py IN OUT [--cut-off HZ] [--tolerance DEGREES] [--format bvh|glb|ytalo] [--jobs N]

Every file that can be read is written to OUT under its name; broken ones are told and passed over, and make the exit
status 1.
"""

from __future__ import annotations

import argparse
import os
import sys
from concurrent.futures import ProcessPoolExecutor
from functools import partial
from pathlib import Path

import yfcurve as yf


def clean(source: Path, out: Path, cut_off: float, tolerance: float, format: str) -> tuple[str, str]:
    """Writes one file; returns what to tell of it, and what was wrong with it."""
    try:
        scene = yf.load(source)
        scene.filter("unroll")
        scene.filter("butterworth", cut_off_freq=cut_off)
        report = scene.filter("key-reducer", precision=tolerance)
        scene.save(out / f"{source.stem}.{format}")
    except (yf.Error, OSError) as error:
        return "", f"{source.name}: {error}"
    return f"{source.name}: {report}", ""


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=Path, metavar="IN")
    parser.add_argument("out", type=Path, metavar="OUT")
    parser.add_argument("--cut-off", type=float, default=7.0, metavar="HZ")
    parser.add_argument("--tolerance", type=float, default=0.1, metavar="DEGREES")
    parser.add_argument("--format", choices=("bvh", "glb", "ytalo"), default="ytalo")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N")
    options = parser.parse_args()
    sources = sorted(path for path in options.folder.iterdir() if path.suffix.lower() in (".bvh", ".glb", ".ytalo"))
    if not sources:
        parser.error(f"{options.folder} has no .bvh, .glb or .ytalo file; name another folder")
    options.out.mkdir(parents=True, exist_ok=True)
    work = partial(clean, out=options.out, cut_off=options.cut_off, tolerance=options.tolerance, format=options.format)
    failures = 0
    with ProcessPoolExecutor(options.jobs) as pool:
        for said, wrong in pool.map(work, sources):
            failures += bool(wrong)
            print(wrong or said, file=sys.stderr if wrong else sys.stdout)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
