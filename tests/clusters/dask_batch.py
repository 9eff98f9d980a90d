#!/usr/bin/env python3
"""The part of the cluster tests that has Dask: dask_batch.py PROGRAM CLIPS, in a folder with clips below "in".

A scheduler with three workers, each a process, one of which is killed on the way.
"""

import glob
import json
import os
import signal
import sys
import threading
import time

import yfcurve as yf
from distributed import Client, LocalCluster

STEPS = ["unroll", "butterworth:CutOffFreq=6", "key-reducer:Precision=0.2"]


def records() -> int:
    return sum(1 for name in glob.glob("out/.yfcurve-batch/records*.jsonl") for line in open(name, encoding="utf-8")
               if line.strip())


def main() -> None:
    program, clips = sys.argv[1], int(sys.argv[2])
    with LocalCluster(n_workers=3, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        # The progress function ends the batch, and the next call goes on behind what was done.
        told: list[tuple[int, int]] = []
        stopped = None
        try:
            yf.batch("in/*.bvh", STEPS, "out", client=client, program=program,
                     progress=lambda *parts: told.append(parts) or len(told) < 3)
        except yf.Stopped as error:
            stopped = error
        assert stopped and len(told) == 3 and records() == 3, (stopped, told)
        killed: list[int] = []

        def kill() -> None:
            while records() < clips // 4:
                time.sleep(0.02)
            worker = next(iter(cluster.workers.values())).pid
            os.kill(worker, signal.SIGKILL)
            killed.append(worker)

        killer = threading.Thread(target=kill, daemon=True)
        killer.start()
        told.clear()
        started = time.monotonic()
        table = yf.batch("in/*.bvh", STEPS, "out", client=client, report="report.html", program=program,
                         progress=lambda done, total: told.append((done, total)))
        print(f"Dask: {clips / (time.monotonic() - started):.0f} clips a second", flush=True)
        killer.join(10)
        assert killed, "no worker was killed"
        assert told[-1][0] == told[-1][1] and len(told) == clips - 3, told[-1]
        assert len(table) == clips
        assert {row.state for row in table.failed} == {"failed"}, table.failed
        assert all("expected a number" in row.message for row in table.failed)
        before = records()
        yf.batch("in/*.bvh", STEPS, "out", client=client, program=program)
        assert records() == before + len(table.failed), "only what failed is tried again"
    # The program's own report is what is compared.
    import subprocess
    words = [program, "batch", "--merge", "--list", "list", "--out", "out", "--json"]
    steps = [word for step in STEPS for word in ("--apply", step)]
    subprocess.run([program, "batch", "in/*.bvh", "--out", "out", *steps, "--make-list", "list"], check=True)
    with open("report.json", "wb") as file:
        subprocess.run([*words, *steps], stdout=file, stderr=subprocess.DEVNULL, check=False)
    json.load(open("report.json", encoding="utf-8"))


if __name__ == "__main__":
    main()
