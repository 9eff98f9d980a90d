"""Which tests call which functions, so that a fault is tried on the tests that can notice it.

Each test runs once by itself, in a build whose functions write down that they were called. That takes some minutes,
and is kept until a source or a test changes.
"""

import collections
import json
import os
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from copies import EVERYTHING, TEST_PROGRAMS, WORK, Tree
from faults import functions_of

HERE = Path(__file__).resolve().parent
SECONDS = 300  # after which a test is taken for one that hangs


class Callers:
    """`calls`: by file and line of a function, the numbers in `tests` of those that call it."""

    def __init__(self, digest):
        kept = WORK / "callers.json"
        known = json.loads(kept.read_text()) if kept.exists() else {}
        if known.get("digest") != digest:
            known = {"digest": digest, **self.find()}
            kept.write_text(json.dumps(known))
        self.tests, self.calls = known["tests"], known["calls"]
        self.functions = {}

    def find(self):
        tree = Tree(WORK / "callers")
        tree.make(EVERYTHING, "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -g1 -DNDEBUG -finstrument-functions "
                  "-finstrument-functions-exclude-file-list=/usr/")
        recorder = tree.place / "record_calls.so"
        subprocess.run(["gcc", "-O2", "-shared", "-fPIC", "-o", recorder, HERE / "record_calls.c"], check=True)
        tests = [(program, test) for program in TEST_PROGRAMS for test in tests_of(tree.test_program(program))]

        def run(number):
            program, test = tests[number]
            record = tree.temporary / f"{number}.calls"
            record.unlink(missing_ok=True)
            start = time.monotonic()
            try:
                code = subprocess.run(
                    [tree.test_program(program), f"--gtest_filter={test}"], cwd=tree.temporary, timeout=SECONDS,
                    stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                    env={**os.environ, "LD_PRELOAD": str(recorder), "RECORDED_CALLS": str(record),
                         "TMPDIR": str(tree.temporary)}).returncode
            except subprocess.TimeoutExpired:
                code = None
            if code != 0:
                print(f"Does not pass where its calls are recorded, of which some may be missing: {program}: {test}")
            lines = set(record.read_text().splitlines()) if record.exists() else set()
            return time.monotonic() - start, lines

        with ThreadPoolExecutor(os.cpu_count()) as pool:
            runs = list(pool.map(run, range(len(tests))))
        places = places_of({line for _, lines in runs for line in lines}, tree.source)
        calls = collections.defaultdict(lambda: collections.defaultdict(set))
        for number, (_, lines) in enumerate(runs):
            for path, line in {places[line] for line in lines if line in places}:
                calls[path][line].add(number)
        return {"tests": [(program, test, seconds) for (program, test), (seconds, _) in zip(tests, runs)],
                "calls": {path: {str(line): sorted(of) for line, of in lines.items()} for path, lines in calls.items()}}

    def of(self, path, number, text):
        """The tests that call the function around a line of a source, by program, with the seconds that they take; None
        for all tests, where the line is in no function or none is known to call it."""
        if path not in self.functions:
            self.functions[path] = functions_of(text)
        around = [(first, last) for first, last in self.functions[path] if first <= number <= last]
        callers = {caller for first, last in around for line, of in self.calls.get(path, {}).items()
                   if first <= int(line) - 1 <= last for caller in of}
        if not callers:
            return None
        found = collections.defaultdict(dict)
        for caller in sorted(callers):
            program, test, seconds = self.tests[caller]
            found[program][test] = seconds
        return found


def tests_of(program):
    """Full names of a test program's tests."""
    suite = ""
    listing = subprocess.run([program, "--gtest_list_tests"], check=True, capture_output=True, text=True)
    for line in listing.stdout.splitlines():
        name = line.split("#")[0].rstrip()
        if not line.startswith(" "):
            suite = name
        elif "DISABLED_" not in name:
            yield suite + name.strip()


def places_of(lines, source):
    """Where the functions stand that were written down as an address and its module: (path, line)."""
    by_module, places = collections.defaultdict(list), {}
    for line in lines:
        address, _, module = line.partition(" ")
        by_module[module].append(address)
    for module, addresses in by_module.items():
        if not Path(module).resolve().is_relative_to(source.resolve()):
            continue
        found = subprocess.run(["addr2line", "-e", module], input="\n".join(addresses), check=True,
                               capture_output=True, text=True).stdout.splitlines()
        for address, place in zip(addresses, found):
            name, _, line = place.split(" ")[0].rpartition(":")
            path = Path(os.path.normpath(source / "build" / "release" / name))
            if line.isdigit() and path.is_relative_to(source):
                places[f"{address} {module}"] = (path.relative_to(source).as_posix(), int(line))
    return places
