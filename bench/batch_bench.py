#!/usr/bin/env python3
"""What docs/batch.md says of speed and memory: batch_bench.py PROGRAM SCRATCH [--clips 200] [--frames 300] [--package FOLDER]

Three runs of each engine in turn, with two processors each, and how batches grow. Needs root, for Slurm. Processor time
is that of all that was started, Slurm's and Dask's own processes with it.
"""

import argparse
import ctypes
import json
import os
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path
from typing import Callable, Iterator

sys.path.insert(0, str(Path(__file__).parents[1] / "tests" / "clusters"))
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
PR_SET_CHILD_SUBREAPER = 36


def descendants() -> "Iterator[tuple[int, list[str]]]":
    """Numbers and fields of /proc/N/stat behind the name, of all that this process started."""
    fields = {}
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{name}/stat", encoding="utf-8") as file:
                fields[int(name)] = file.read().rpartition(")")[2].split()
        except OSError:
            pass
    for process in fields:
        above = process
        while above in fields and above != os.getpid():
            above = int(fields[above][1])
        if above == os.getpid() and process != above:
            yield process, fields[process]


def processor_time() -> float:
    """Seconds so far of all that this process started."""
    for process, fields in descendants():
        # An orphan that came to this process; the daemons themselves are waited for where they are ended.
        if fields[0] == "Z" and int(fields[1]) == os.getpid():
            os.waitpid(process, 0)
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    ticks = sum(int(tick) for _, fields in descendants() for tick in fields[11:15])
    return used.ru_utime + used.ru_stime + ticks / os.sysconf("SC_CLK_TCK")


def fresh(site: Site, run: "Callable[[], float]") -> "tuple[float, float]":
    """Wall time and processor time of a batch."""
    shutil.rmtree(site.path("out"), ignore_errors=True)
    before = processor_time()
    seconds = run()
    time.sleep(1)  # for what ends behind a batch
    return seconds, processor_time() - before


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


def engines(site: Site, clips: int, package: "str | None") -> None:
    runs = {"one process": lambda: timed(site, "--jobs", "1"), "two processes": lambda: timed(site, "--jobs", "2")}
    with SlurmCluster(os.path.join(os.path.dirname(site.folder), "slurm")) as cluster:
        runs["Slurm, two tasks"] = lambda: timed(site, "--slurm", "--tasks", "2", environment=cluster.environment)
        if package:
            runs["Dask, two workers"] = lambda: dask_time(site, site.program, package)
        # In turn, as other work on the machine comes and goes.
        rounds = [{name: fresh(site, run) for name, run in runs.items()} for _ in range(3)]
    for name in runs:
        seconds = min(each[name][0] for each in rounds)
        walls = sorted(each[name][0] / each["two processes"][0] for each in rounds)
        used = sorted(each[name][1] for each in rounds)[1]
        ratios = sorted(each[name][1] / each["one process"][1] for each in rounds)
        print(f"{name}: {clips / seconds:.1f} clips a second at best; medians: {walls[1]:.2f} times the time of two "
              f"processes, {1000 * used / clips:.1f} ms of processor time a clip, {ratios[1]:.2f} times that of one "
              "process", flush=True)


def run_measured(words: "list[str]", folder: str, output: str) -> "tuple[float, float]":
    """Processor time in seconds, with that of its children, and the most memory of itself in MiB."""
    with open(output, "wb") as file:
        process = subprocess.Popen(words, cwd=folder, stdout=file, stderr=subprocess.DEVNULL)
        _, process.returncode, used = os.wait4(process.pid, 0)
    return used.ru_utime + used.ru_stime, used.ru_maxrss / 1024


def growth(scratch: str, program: str) -> None:
    """Batches of short clips, two at a time, then what it takes to make the list and the report."""
    for count in (200, 2_000, 20_000):
        clips = os.path.join(scratch, f"clips-{count}")
        make_clips(clips, count, 10)
        site = Site(scratch, f"grown-{count}", program, clips)
        words = [program, "batch", "in/*.bvh", "--out", "out", *STEPS]
        started = time.monotonic()
        batch, memory = run_measured([*words, "--jobs", "2", "--json"], site.folder, site.path("batch.json"))
        seconds = time.monotonic() - started
        planning, _ = run_measured([*words, "--make-list", "list"], site.folder, os.devnull)
        merge, _ = run_measured([*words, "--merge", "--json"], site.folder, site.path("report.json"))
        record = sum(map(len, site.lines())) / count
        report = os.path.getsize(site.path("report.json")) / count
        print(f"{count}: {1000 * batch / count:.2f} ms of processor time a file ({seconds:.1f} s in all), list "
              f"{planning:.3f} s, report {merge:.3f} s; {record:.0f} bytes of records and {report:.0f} of JSON a file; "
              f"largest process {memory:.0f} MiB", flush=True)
        shutil.rmtree(clips)
        shutil.rmtree(site.folder)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=os.path.abspath)
    parser.add_argument("scratch", type=os.path.abspath)
    parser.add_argument("--clips", type=int, default=200)
    parser.add_argument("--frames", type=int, default=FRAMES)
    parser.add_argument("--package", type=os.path.abspath)
    arguments = parser.parse_args()
    # What Slurm leaves to itself comes to this process, so that its time can be counted.
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    shutil.rmtree(arguments.scratch, ignore_errors=True)
    clips = os.path.join(arguments.scratch, "clips")
    make_clips(clips, arguments.clips, arguments.frames)
    engines(Site(arguments.scratch, "site", arguments.program, clips), arguments.clips, arguments.package)
    growth(arguments.scratch, arguments.program)


if __name__ == "__main__":
    main()
