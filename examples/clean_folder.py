#!/usr/bin/env python3
"""Cleans a folder of recordings: unrolls rotations, smooths them, and keeps as few keys as the tolerance allows.

    clean_folder.py IN OUT [--cut-off HZ] [--tolerance DEGREES] [--format bvh|glb|ytalo] [--jobs N]

Every file that can be read, packed by gzip or not, is written to OUT under its name; broken ones are told and passed
over, and make the exit status 1.
"""

from __future__ import annotations

import argparse
import os
import sys
from concurrent.futures import ProcessPoolExecutor
from functools import partial
from pathlib import Path

import yfcurve as yf


ENDINGS = (".bvh", ".glb", ".gltf", ".ytalo")


def target_of(source: Path, out: Path, format: str) -> Path | None:
    """The file that is written for a recording; None for what is none."""
    plain = source.with_suffix("") if source.suffix.lower() == ".gz" else source
    return out / f"{plain.stem}.{format}" if plain.suffix.lower() in ENDINGS else None


def clean(work: tuple[Path, Path], cut_off: float, tolerance: float) -> tuple[str, str]:
    """Writes one file; returns what to tell of it, and what was wrong with it."""
    source, target = work
    try:
        scene = yf.load(source)
        scene.filter("unroll")
        scene.filter("butterworth", cut_off_freq=cut_off)
        report = scene.filter("key-reducer", precision=tolerance)
        scene.save(target)
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
    sys.stdout.reconfigure(errors="backslashreplace")  # names of files and joints may be none that it can write
    if not options.folder.is_dir():
        parser.error(f"{options.folder} is no folder; name one with recordings")
    sources: dict[Path, Path] = {}
    for source in sorted(options.folder.iterdir()):
        target = target_of(source, options.out, options.format)
        if target in sources:
            parser.error(f"{source} and {sources[target]} would both be written to {target}; rename one of them")
        if target is not None:
            sources[target] = source
    if not sources:
        parser.error(f"{options.folder} has no recording ({', '.join(ENDINGS)}, or with .gz); name another folder")
    options.out.mkdir(parents=True, exist_ok=True)
    if options.out.samefile(options.folder):
        parser.error("OUT is the folder of the recordings, which would be replaced; name another one")
    work = partial(clean, cut_off=options.cut_off, tolerance=options.tolerance)
    pairs = [(source, target) for target, source in sources.items()]
    failures = 0
    with ProcessPoolExecutor(options.jobs) as pool:
        for said, wrong in pool.map(work, pairs):
            failures += bool(wrong)
            print(wrong or said, file=sys.stderr if wrong else sys.stdout)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
