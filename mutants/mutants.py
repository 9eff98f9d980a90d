#!/usr/bin/env python3
"""Applies one-line faults to the sources, one at a time, and lists those that no test notices.

    make mutants                                     400 faults, drawn from all rooms
    mutants/mutants.py --count 50 --rooms filters    50 of one room (or of one file)
    mutants/mutants.py --list                        what would be done
    mutants/mutants.py --resume                      continues a run that was interrupted
    mutants/mutants.py --survivors-of FILE           only what survived in an earlier run

All happens in a copy of the sources below build/mutants, one for each job, which has a build of its own. A
fault costs the compilation of one source, the link of one shared library (in program/ and ymotion/ also of the test
programs and the program), and the tests that call the function in which it is, those of its own room first, until one
fails. Afterwards the copy's files are put back with their times, so that nothing is compiled twice.

The lines are put in an order that depends on the seed and on their text alone. So the first 100 of 400
are those of --count 100, and most faults stay the same when other lines change. A fault that does not compile, or
compiles to what was there before, is replaced by the next one. A test program that crashes, hangs or fails has caught it.
Other faults that change nothing that can be seen count as survivors, so that not even perfect tests reach 100 %.
"""

import argparse
import collections
import hashlib
import json
import re
import sys
import threading
import time
import traceback
from pathlib import Path

from callers import Callers
from copies import ROOMS, ROOT, WORK, Copy, files_of_the_tree
from faults import hashed, mutants_of

JUDGED = ("caught", "survived")  # other results have a fault replaced by the next one

# A fault in these has all of the project compiled: minutes for each. They have one line in 25.
PUBLIC_HEADER = re.compile(r"(ybaselib/[iy]|yfcurve/y|ymotion/y)\w*\.h")


def room_of(name):
    return max((room for room in ROOMS if name.startswith(room + "/")), key=len)


def all_mutants(root, seed, only, public_headers):
    mutants = []
    for room in ROOMS:
        for path in sorted(list((root / room).rglob("*.cpp")) + list((root / room).rglob("*.h"))):
            name = path.relative_to(root).as_posix()
            if room_of(name) != room:
                continue
            if PUBLIC_HEADER.fullmatch(name) and not public_headers:
                continue
            if not only or any(name == o or room == o or name.startswith(f"{o}/") or room == f"yfcurve/{o}" for o in only):
                mutants += mutants_of(room, name, path.read_text(), seed)
    return sorted(mutants, key=lambda mutant: mutant.key)


class Run:
    """Hands out mutants in their order until `count` of them have compiled, and writes down what became of them."""

    def __init__(self, mutants, count, out, known):
        self.waiting, self.count, self.out = collections.deque(mutants), count, out
        self.taken, self.results, self.lock = 0, [], threading.Lock()
        self.known, self.replaced, self.in_a_row = known, collections.Counter(), 0
        self.failure = None  # what ended the run before its time

    def next(self):
        with self.lock:
            while self.waiting and self.taken < self.count and self.failure is None:
                mutant = self.waiting.popleft()
                if mutant.key not in self.known:
                    self.taken += 1
                    return mutant
                result = self.known[mutant.key]["result"]
                if result in JUDGED:
                    self.taken += 1
                    self.results.append((mutant, result))
                else:
                    self.replaced[result] += 1
            return None

    def note(self, mutant, result, by, seconds):
        with self.lock:
            print(json.dumps({"key": mutant.key, "result": result, "by": by, "room": mutant.room,
                              "where": mutant.where(), "kind": mutant.kind, "old": mutant.old.strip(),
                              "new": mutant.new.strip(), "seconds": round(seconds, 1)}), file=self.out, flush=True)
            if result not in JUDGED:
                self.taken -= 1
                self.replaced[result] += 1
                self.in_a_row += 1
                if self.in_a_row == 30:
                    self.failure = "Thirty in a row cannot be tried: see compile.log below build/mutants"
                return
            self.in_a_row = 0
            self.results.append((mutant, result))
            caught = sum(result == "caught" for _, result in self.results)
            print(f"{len(self.results):4} of {self.count}, {100 * caught / len(self.results):.0f} % caught  "
                  f"{mutant.where()} {by or 'SURVIVED'}", flush=True)

    def work(self, copy, callers, seconds):
        try:
            while mutant := self.next():
                start = time.monotonic()
                result, by = copy.judge(mutant, callers, seconds)
                self.note(mutant, result, by, time.monotonic() - start)
        except Exception:
            self.failure = traceback.format_exc()


def report(results, replaced):
    print("\nSurvivors:")
    for mutant, result in sorted(results, key=lambda each: (each[0].path, each[0].number)):
        if result == "survived":
            print(f"{mutant.where()}\n    - {mutant.old.strip()}\n    + {mutant.new.strip() or '(nothing)'}")
    print("\nCaught:")
    for room in [*ROOMS, None]:
        mine = [result for mutant, result in results if room in (None, mutant.room)]
        if mine:
            caught = mine.count("caught")
            print(f"  {room or 'in all':20} {caught:4} of {len(mine):4}  {100 * caught / len(mine):5.1f} %")
    for reason, number in replaced.items():
        print(f"Replaced by others: {number:4} {reason}")


def digest():
    """What the results depend on: sources and tests as they are now."""
    names = files_of_the_tree(*{room.split("/")[0] for room in ROOMS}, "tests")
    return hashed(*(name + "\0" + hashlib.sha256((ROOT / name).read_bytes()).hexdigest()
                    for name in sorted(names) if (ROOT / name).is_file()))[:16]


def read_results(path):
    entries = [json.loads(line) for line in path.read_text().splitlines()]
    return entries[0], {entry["key"]: entry for entry in entries[1:]}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=400, help="how many that compile (400)")
    parser.add_argument("--seed", type=int, default=1, help="another number draws other faults (1)")
    parser.add_argument("--jobs", type=int, default=1, help="copies that work at the same time (1)")
    parser.add_argument("--rooms", nargs="+", metavar="ROOM", help="such as curve or yfcurve/curve/edit/shape.cpp")
    parser.add_argument("--public-headers", action="store_true", help="draw from public headers, too; each takes minutes")
    parser.add_argument("--list", action="store_true", help="print the faults and do nothing")
    parser.add_argument("--out", type=Path, default=WORK / "results.jsonl", help="where results go, a JSON object a line")
    parser.add_argument("--resume", action="store_true", help="keep what is in the file of results, and go on")
    parser.add_argument("--survivors-of", type=Path, metavar="FILE", help="only those that survived in these results")
    options = parser.parse_args()

    mutants = all_mutants(ROOT, options.seed, options.rooms, options.public_headers)
    if options.survivors_of:
        _, earlier = read_results(options.survivors_of)
        mutants = [mutant for mutant in mutants if earlier.get(mutant.key, {}).get("result") == "survived"]
    if not mutants:
        sys.exit("There is nothing to change: see --rooms")
    if options.list:
        for mutant in mutants[:options.count]:
            print(f"{mutant.where()} {mutant.kind}\n    - {mutant.old.strip()}\n    + {mutant.new.strip()}")
        print(f"{min(options.count, len(mutants))} of {len(mutants)}; those that do not compile are replaced")
        return

    head, known = {"sources": digest(), "seed": options.seed}, {}
    if options.resume and options.out.exists():
        before, known = read_results(options.out)
        if before != head:
            sys.exit(f"{options.out} is of other sources, tests or seed: start anew without --resume")
    options.out.parent.mkdir(parents=True, exist_ok=True)
    copies = [Copy(number, options.jobs) for number in range(options.jobs)]
    callers = Callers(head["sources"])
    for copy in copies:
        copy.prepare()
    seconds = copies[0].seconds_of_tests()
    with options.out.open("a" if known else "w") as out:
        if not known:
            print(json.dumps(head), file=out, flush=True)
        run = Run(mutants, min(options.count, len(mutants)), out, known)
        threads = [threading.Thread(target=run.work, args=(copy, callers, seconds), daemon=True) for copy in copies]
        for thread in threads:
            thread.start()
        try:
            for thread in threads:
                thread.join()
        except KeyboardInterrupt:
            print("\nInterrupted; --resume continues")
        report(run.results, run.replaced)
        if run.failure:
            sys.exit(run.failure)


if __name__ == "__main__":
    main()
