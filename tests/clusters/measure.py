#!/usr/bin/env python3
"""What docs/batch.md says of speed: measure.py PROGRAM SCRATCH [--clips 400] [--package FOLDER]

Three runs of each engine, with two processors each, and how reports and lists grow. Needs root.
"""

import argparse
import json
import os
import resource
import shutil
import subprocess
import sys
import time
from typing import Callable

from clips import make_clips
from run import FRAMES, STEPS, Site
from slurm_cluster import SlurmCluster

DASK = """
import sys, time
import yfcurve as yf
from distributed import Client, LocalCluster
if __name__ == "__main__":
    with LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with Client(cluster) as client:
            started = time.monotonic()
            yf.batch("in/*.bvh", sys.argv[2:], "out", client=client, program=sys.argv[1])
            print(time.monotonic() - started)
"""


def fresh(site: Site, run: Callable[[], float]) -> float:
    shutil.rmtree(site.path("out"), ignore_errors=True)
    return run()


def timed(site: Site, *more: str, environment: "dict[str, str] | None" = None) -> float:
    started = time.monotonic()
    site.run(*more, environment=environment)
    return time.monotonic() - started


def dask_time(site: Site, program: str, package: str) -> float:
    with open(site.path("on_dask.py"), "w", encoding="utf-8") as file:
        file.write(DASK)
    done = subprocess.run([sys.executable, "on_dask.py", program, *STEPS[1::2]], cwd=site.folder, check=True, text=True,
                          stdout=subprocess.PIPE, env={**os.environ, "PYTHONPATH": package})
    return float(done.stdout)


def growth(site: Site, clips: int) -> None:
    """Copies the records of the batch under other names, and looks how long the plan and the report take."""
    with open(site.path("out/.yfcurve-batch/records.jsonl"), encoding="utf-8") as file:
        lines = [json.loads(line) for line in file]
    print(f"a record: {os.path.getsize(site.path('out/.yfcurve-batch/records.jsonl')) // clips} bytes")
    for count in (200, 2_000, 20_000):
        os.makedirs(site.path("many/.yfcurve-batch"), exist_ok=True)
        with open(site.path("list"), "w", encoding="ascii") as tasks, \
                open(site.path("many/.yfcurve-batch/records.jsonl"), "w", encoding="utf-8") as records:
            for i in range(count):
                line = dict(lines[i % clips])
                # The files behind them stay those of the batch.
                folder = str(i // clips)
                if i % clips == 0 and not os.path.islink(site.path(f"many/{folder}")):
                    os.symlink(site.path("out"), site.path(f"many/{folder}"))
                task = {"input": f"in/{line['name']}", "name": f"{folder}/{line['name']}", "bytes": 1}
                line["name"] = task["name"]
                records.write(json.dumps(line) + "\n")
                tasks.write(json.dumps(task) + "\n")
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        with open(site.path("grown.json"), "wb") as file:
            subprocess.run([site.program, "batch", "--merge", "--list", "list", "--out", "many", "--json", *STEPS],
                           cwd=site.folder, stdout=file, stderr=subprocess.DEVNULL, check=False)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        print(f"merging {count}: {after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime:.2f} s, "
              f"{os.path.getsize(site.path('grown.json')) / count:.0f} bytes of JSON a file", flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=os.path.abspath)
    parser.add_argument("scratch", type=os.path.abspath)
    parser.add_argument("--clips", type=int, default=400)
    parser.add_argument("--package", type=os.path.abspath)
    arguments = parser.parse_args()
    shutil.rmtree(arguments.scratch, ignore_errors=True)
    clips = os.path.join(arguments.scratch, "clips")
    make_clips(clips, arguments.clips, FRAMES)
    site = Site(arguments.scratch, "site", arguments.program, clips)
    engines = {"one process": lambda: timed(site, "--jobs", "1"), "two processes": lambda: timed(site, "--jobs", "2")}
    fresh(site, engines["two processes"])
    print(f"largest process: {resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024} MiB", flush=True)
    with SlurmCluster(os.path.join(arguments.scratch, "slurm")) as cluster:
        engines["Slurm, two tasks"] = lambda: timed(site, "--slurm", "--tasks", "2", environment=cluster.environment)
        if arguments.package:
            engines["Dask, two workers"] = lambda: dask_time(site, arguments.program, arguments.package)
        # In turn, as other work on the machine comes and goes.
        rounds = [{name: fresh(site, run) for name, run in engines.items()} for _ in range(3)]
    for name in engines:
        best = min(each[name] for each in rounds)
        ratios = sorted(each[name] / each["two processes"] for each in rounds)
        print(f"{name}: {arguments.clips / best:.1f} clips a second, {ratios[1]:.2f} times the time of two processes",
              flush=True)
    fresh(site, engines["two processes"])
    growth(site, arguments.clips)


if __name__ == "__main__":
    main()
