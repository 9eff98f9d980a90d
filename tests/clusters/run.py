#!/usr/bin/env python3
"""Batches on a real Slurm and a real Dask, while nodes and workers die, files are broken and disks are full.

    run.py PROGRAM SCRATCH [--clips 200] [--package FOLDER] [--only slurm|dask]

Every way to run a batch has to come to the report, to the byte, that the processors of this machine come to alone.
Needs root, for Slurm's daemons and a small disk.
"""

import argparse
import collections
import filecmp
import glob
import json
import os
import pty
import select
import shutil
import signal
import subprocess
import sys
import time
from typing import Callable, Sequence

from clips import make_clips
from slurm_cluster import SlurmCluster

STEPS = ("--apply", "unroll", "--apply", "butterworth:CutOffFreq=6", "--apply", "key-reducer:Precision=0.2")
FRAMES = 300


class Site:
    """A working folder with clips below "in", so that commands and reports are the same in all of them."""

    def __init__(self, scratch: str, name: str, program: str, clips: str) -> None:
        self.folder = os.path.join(scratch, name)
        self.program = program
        os.makedirs(self.folder)
        os.symlink(clips, self.path("in"))

    def path(self, name: str) -> str:
        return os.path.join(self.folder, name)

    def command(self, *more: str) -> list[str]:
        return [self.program, "batch", "in/*.bvh", "--out", "out", *STEPS, "--report", "report.html", *more]

    def run(self, *more: str, environment: "dict[str, str] | None" = None) -> "subprocess.CompletedProcess[str]":
        return subprocess.run(self.command(*more), cwd=self.folder, env=environment, capture_output=True, text=True,
                              check=False)

    def lines(self) -> list[str]:
        """All records so far, but for one that is being written."""
        texts = []
        for name in glob.glob(self.path("out/.yfcurve-batch/records*.jsonl")):
            with open(name, encoding="utf-8") as file:
                texts += [line for line in file if line.endswith("\n") and line.strip()]
        return texts


def check(is_true: object, what: str) -> None:
    if not is_true:
        raise AssertionError(what)
    print(f"  ok: {what}", flush=True)


def wait_until(is_true: Callable[[], bool], what: str, seconds: float = 120) -> None:
    end = time.monotonic() + seconds
    while not is_true():
        if time.monotonic() > end:
            raise AssertionError(f"this did not come about: {what}")
        time.sleep(0.05)


def check_equal(site: Site, reference: Site, names: Sequence[str]) -> None:
    for name in names:
        check(filecmp.cmp(site.path(name), reference.path(name), shallow=False),
              f"{name} is that of one machine to the byte")
    outputs = sorted(os.path.basename(name) for name in glob.glob(site.path("out/*")))
    expected = sorted(os.path.basename(name) for name in glob.glob(reference.path("out/*")))
    check(outputs == expected, f"{len(outputs)} outputs, none lost")
    _, different, unread = filecmp.cmpfiles(site.path("out"), reference.path("out"), outputs, shallow=False)
    check(not different and not unread, "all outputs are those of one machine to the byte")
    check(not glob.glob(site.path("out/.*save*")), "nothing half written is left")


def check_done_once(site: Site, in_flight: int) -> None:
    """What was being made at a kill is made again, and nothing else. Files that failed may be tried as often as wanted."""
    lines = map(json.loads, site.lines())
    times = collections.Counter(line["name"] for line in lines if line["state"] == "filtered")
    again = sum(times.values()) - len(times)
    check(again <= in_flight, f"{again} files were filtered twice, of {in_flight} that were in work at the kills")


def with_kills(site: Site, cluster: SlurmCluster, clips: int) -> None:
    print("Slurm, while a program, a task with its script, and a node are killed", flush=True)
    with open(site.path("output"), "wb") as output:
        batch = subprocess.Popen(
            site.command("--slurm", "--tasks", "12", "--json"), cwd=site.folder, env=cluster.environment,
            stdout=output, stderr=subprocess.PIPE)
        wait_until(lambda: len(site.lines()) >= clips // 20, "a twentieth of the batch")
        victims = cluster.processes(part="--shard")
        check(victims, "programs run on the nodes")
        os.kill(victims[0], signal.SIGKILL)
        wait_until(lambda: len(site.lines()) >= clips // 10, "a tenth of the batch")
        tasks = cluster.run("squeue", "-h", "--states=RUNNING", "--name=yfcurve-batch", "-o", "%i").split()
        cluster.run("scancel", "--full", "--signal=KILL", tasks[0])
        wait_until(lambda: len(site.lines()) >= clips // 8, "an eighth of the batch")
        node = next(node for node in ("n1", "n2", "n3") if cluster.processes(node, "--shard"))
        cluster.kill_node(node)
        done = len(site.lines())
        check(done < clips, f"{node} was killed after {done} of {clips} clips")
        errors = batch.communicate(timeout=600 + clips)[1].decode()
    check(batch.returncode == 1, "the exit status tells of the broken files")
    check("000050.bvh:" in errors, "the broken file is named")
    check("slurm" not in errors.lower(), "nothing else went wrong")
    cluster.start_node(node)
    os.rename(site.path("output"), site.path("report.json"))


def on_a_full_disk(site: Site, cluster: SlurmCluster, reference: Site, clips: int) -> None:
    print("Slurm, on a disk that becomes full", flush=True)
    os.makedirs(site.path("out"))
    needed = sum(os.path.getsize(name) for name in glob.glob(reference.path("out/*.bvh")))
    subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={needed // 2}", "tmpfs", site.path("out")], check=True)
    try:
        full = site.run("--slurm", "--tasks", "3", "--json", environment=cluster.environment)
        check(full.returncode == 1, "the exit status tells of it")
        rows = json.loads(full.stdout)
        made = [row for row in rows if row["state"] == "filtered"]
        unfit = [row for row in rows if "No space left on device" in row.get("message", "")]
        broken = [row for row in rows if "expected a number" in row.get("message", "")]
        check(len(rows) == clips == len(made) + len(unfit) + len(broken) and len(made) > 0 and len(unfit) > 0,
              f"of {clips} clips, {len(made)} were made, {len(unfit)} found no space, {len(broken)} are broken")
        check(all(row["output"] in row["message"] and row["message"] in full.stderr for row in unfit),
              "each that found no space is named")
        outputs = {name: os.stat(name).st_mtime_ns for name in glob.glob(site.path("out/*.bvh"))}
        whole = [filecmp.cmp(name, reference.path("out/" + os.path.basename(name)), shallow=False) for name in outputs]
        check(all(whole) and len(whole) == len(made), "what was made is there and whole, and nothing else")
        subprocess.run(["mount", "-o", f"remount,size={4 * needed + 2 ** 24}", site.path("out")], check=True)
        again = site.run("--slurm", "--tasks", "3", "--json", environment=cluster.environment)
        with open(site.path("report.json"), "w", encoding="utf-8") as file:
            file.write(again.stdout)
        check_equal(site, reference, ("report.json", "report.html"))
        check(all(os.stat(name).st_mtime_ns == time for name, time in outputs.items()),
              "with room, the rest is made, and nothing twice")
        # Room for records is given back.
        records = [os.stat(name) for name in glob.glob(site.path("out/.yfcurve-batch/records*.jsonl"))]
        check(all(each.st_blocks * 512 < each.st_size + 8192 for each in records), "records take no more than they have")
    finally:
        subprocess.run(["umount", site.path("out")], check=True)


def read_until(terminal: int, words: bytes) -> None:
    said = b""
    while words not in said:
        if not select.select([terminal], [], [], 60)[0]:
            raise AssertionError(f"{words!r} is not said within a minute, but {said!r}")
        said += os.read(terminal, 4096)


def cancelled(site: Site, cluster: SlurmCluster) -> None:
    print("Slurm, cancelled by Ctrl-C", flush=True)
    user, terminal = pty.openpty()
    batch = subprocess.Popen(
        site.command("--slurm", "--slurm-option=--begin=now+1hour"), cwd=site.folder, env=cluster.environment,
        stdin=terminal, stdout=subprocess.DEVNULL, stderr=terminal,
        # Whoever starts the tests in the background has Ctrl-C ignored, which a program would inherit.
        preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
    wait_until(lambda: cluster.run("squeue", "-h", "-o", "%i").count("\n") >= 2, "jobs in the queue")
    read_until(user, b"merged by job")
    time.sleep(0.5)
    batch.send_signal(signal.SIGINT)
    read_until(user, b"Cancel the jobs")
    os.write(user, b"y\n")
    check(batch.wait(60) == 130, "the exit status is that of Ctrl-C")
    wait_until(lambda: not cluster.run("squeue", "-h").strip(), "an empty queue")
    check(not site.lines(), "the queue is empty, and nothing was filtered")


def slurm(arguments: argparse.Namespace, reference: Site, clips: str) -> None:
    def site(name: str, folder: str = clips) -> Site:
        return Site(arguments.scratch, name, arguments.program, folder)

    with SlurmCluster(os.path.join(arguments.scratch, "slurm")) as cluster:
        killed = site("killed")
        with_kills(killed, cluster, arguments.clips)
        check_equal(killed, reference, ("report.json", "report.html"))
        check(filecmp.cmp(killed.path("out/.yfcurve-batch/report.json"), reference.path("report.json"), shallow=False),
              "the merging job's report is that of one machine to the byte")
        with open(killed.path("out/.yfcurve-batch/slurm-jobs"), encoding="ascii") as jobs:
            check(len(jobs.readlines()) == 2, "what was left of the killed task was given out once more")
        check_done_once(killed, in_flight=4)
        few = os.path.join(arguments.scratch, "few-clips")
        make_clips(few, 30, FRAMES)
        on_a_full_disk(site("full"), cluster, reference, arguments.clips)
        cancelled(site("cancelled", few), cluster)


def run_alone(site: Site) -> Site:
    """What all the others are compared with."""
    started = time.monotonic()
    with open(site.path("report.json"), "wb") as file:
        subprocess.run(site.command("--json"), cwd=site.folder, stdout=file, stderr=subprocess.DEVNULL, check=False)
    count = len(site.lines())
    print(f"one machine: {count} clips, {count / (time.monotonic() - started):.0f} a second", flush=True)
    return site


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", type=os.path.abspath)
    parser.add_argument("scratch", type=os.path.abspath)
    parser.add_argument("--clips", type=int, default=200)
    parser.add_argument("--package", type=os.path.abspath, help="folder of the Python package, for Dask")
    parser.add_argument("--only", choices=("slurm", "dask"))
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # the daemons are ended then as well
    shutil.rmtree(arguments.scratch, ignore_errors=True)
    clips = os.path.join(arguments.scratch, "clips")
    make_clips(clips, arguments.clips, FRAMES)
    reference = run_alone(Site(arguments.scratch, "alone", arguments.program, clips))
    if arguments.only != "dask":
        slurm(arguments, reference, clips)
    if arguments.only != "slurm" and arguments.package:
        site = Site(arguments.scratch, "dask", arguments.program, clips)
        environment = {**os.environ, "PYTHONPATH": arguments.package}
        here = os.path.dirname(os.path.abspath(__file__))
        subprocess.run([sys.executable, os.path.join(here, "dask_batch.py"), arguments.program, str(arguments.clips)],
                       cwd=site.folder, env=environment, check=True)
        check_equal(site, reference, ("report.json", "report.html"))
        check_done_once(site, in_flight=6)
    print("all as on one machine", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
