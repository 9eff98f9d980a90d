"""Copies of the sources in which faults live, each with a build of its own."""

import collections
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"

# Folder of the sources, and whose tests are run, the most likely to notice first; not those of rooms below it.
ROOMS = {
    "ybaselib": "ybaselib curve node ymotion program algorithms filters manipulator undo player memory",
    "yfcurve": "curve node filters algorithms manipulator undo player ymotion program memory",
    "yfcurve/curve": "curve node algorithms filters manipulator player ymotion program memory",
    "yfcurve/fitting": "filters algorithms ymotion program memory",
    "yfcurve/node": "node player algorithms filters ymotion program manipulator memory",
    "yfcurve/player": "player ymotion program memory",
    "yfcurve/algorithms": "algorithms filters ymotion program manipulator node memory",
    "yfcurve/filters": "filters ymotion program algorithms node memory",
    "yfcurve/manipulator": "manipulator ymotion program node memory",
    "yfcurve/undo": "undo node memory",
    "ymotion": "ymotion program",
    "program": "program",
}
TEST_PROGRAMS = ROOMS["ybaselib"].split()
EVERYTHING = [f"{name}_tests" for name in TEST_PROGRAMS] + ["yfcurve_program"]
# What is linked again when an object below these folders of the build changes.
LINKED = {
    "ybaselib/": ["ybaselib/libybaselib.so.*.*"],
    "yfcurve/": ["yfcurve/libyfcurve.so.*.*"],
    "ymotion/": ["ymotion/libymotion_parts.a", "ymotion/libymotion.so.*.*", "tests/ymotion/ymotion_tests",
                 "tests/program/program_tests", "program/yfcurve"],
    "program/": ["program/libprogram_parts.a", "tests/program/program_tests", "program/yfcurve"],
    **{f"tests/{name}/": [f"tests/{name}/{name}_tests"] for name in TEST_PROGRAMS},
}


def files_of_the_tree(*folders):
    return subprocess.run(["git", "ls-files", "-co", "--exclude-standard", *folders], cwd=ROOT, check=True,
                          capture_output=True, text=True).stdout.splitlines()


class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, place):
        self.place = place
        self.source, self.temporary = place / "source", place / "tmp"
        self.build = self.source / "build" / "release"

    def make(self, targets, *settings):
        self.bring_sources()
        self.temporary.mkdir(parents=True, exist_ok=True)
        log = self.place / "build.log"
        with log.open("w") as out:
            configure = ["cmake", "--preset", "release", *settings]
            build = ["ninja", "-C", self.build, *targets]
            if any(subprocess.run(command, cwd=self.source, stdout=out, stderr=out, env=self.environment()).returncode
                   for command in (configure, build)):
                sys.exit(f"The sources do not build, see {log}")

    def environment(self):
        """What another tree of the same sources has compiled is not compiled again where ccache is there."""
        if shutil.which("ccache") is None:
            return os.environ
        return {**os.environ, "CMAKE_CXX_COMPILER_LAUNCHER": "ccache", "CCACHE_BASEDIR": str(self.source),
                "CCACHE_NOHASHDIR": "1",
                "CCACHE_SLOPPINESS": "pch_defines,time_macros,include_file_mtime,include_file_ctime"}

    def test_program(self, name):
        return self.build / "tests" / name / f"{name}_tests"

    def bring_sources(self):
        listed = files_of_the_tree()
        wanted = {name for name in listed if (ROOT / name).is_file()}
        for path in list(self.source.rglob("*")) if self.source.exists() else []:
            name = path.relative_to(self.source).as_posix()
            if not name.startswith("build/") and path.is_file() and name not in wanted:
                path.unlink()
        for name in wanted:
            to = self.source / name
            if not to.exists() or to.read_bytes() != (ROOT / name).read_bytes():
                to.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(ROOT / name, to)


class Copy(Tree):
    """A copy in which one mutant at a time lives."""

    def __init__(self, number, jobs):
        super().__init__(WORK / str(number))
        self.kept = self.place / "kept"
        self.threads = max(1, (os.cpu_count() or 2) // jobs)
        self.commands, self.dependents, self.times = {}, collections.defaultdict(list), {}

    def prepare(self):
        self.make(EVERYTHING)
        self.find_commands()
        shutil.rmtree(self.kept, ignore_errors=True)
        for path in self.products():
            self.times[path] = os.lstat(path).st_mtime_ns
            to = self.kept / path.relative_to(self.build)
            to.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, to, follow_symlinks=False)

    def seconds_of_tests(self):
        """How long each test program takes without any fault."""
        seconds = {}
        for name in TEST_PROGRAMS:
            before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
            failure = self.failure(name, None, 600)
            if failure:
                sys.exit(f"Without any fault, {name}_tests fails: {failure}")
            seconds[name] = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
        return seconds

    def find_commands(self):
        """How each object is compiled, and which ones belong to a source or include a header."""
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            made = re.search(r" -o (\S+)", entry["command"]).group(1)
            # Each is compiled once, and warnings, of which mutants have many, are no concern.
            self.commands[made] = f"CCACHE_DISABLE=1 {entry['command']} -w"
        made = None
        listing = subprocess.run(["ninja", "-C", self.build, "-t", "deps"], check=True,
                                 capture_output=True, text=True)
        for line in listing.stdout.splitlines():
            if line and not line.startswith(" "):
                made = line.split(": ")[0]
            elif line and made in self.commands and made.startswith(tuple(LINKED)):
                path = Path(os.path.normpath(self.build / line.strip()))
                if path.is_relative_to(self.source):
                    self.dependents[path.relative_to(self.source).as_posix()].append(made)

    def products(self):
        for folder, _, names in os.walk(self.build):
            for name in names:
                yield Path(folder) / name

    def put_back(self):
        for path in list(self.products()):
            if path not in self.times:
                path.unlink()
            elif os.lstat(path).st_mtime_ns != self.times[path]:
                shutil.copy2(self.kept / path.relative_to(self.build), path, follow_symlinks=False)

    def remake(self, changed):
        """Compiles what a file is part of, and links that; says what keeps the tests from being run."""
        objects = self.dependents[changed]
        links = [link for folder in LINKED if any(made.startswith(folder) for made in objects)
                 for link in LINKED[folder]]
        with (self.place / "compile.log").open("w") as out, ThreadPoolExecutor(self.threads) as pool:
            def run(command):
                return subprocess.run(command, shell=True, cwd=self.build, stdout=out, stderr=out).returncode == 0

            if not all(pool.map(run, [self.commands[made] for made in objects])):
                return "does not compile"
            if all((self.build / made).read_bytes() == (self.kept / made).read_bytes() for made in objects):
                return "changes nothing"
            return None if all(run(self.link_command(link)) for link in dict.fromkeys(links)) else "does not compile"

    def link_command(self, pattern):
        if pattern not in self.commands:
            made = next(path for path in self.build.glob(pattern) if not path.is_symlink())
            self.commands[pattern] = subprocess.run(
                ["ninja", "-C", self.build, "-t", "commands", "-s", made.relative_to(self.build)], check=True,
                capture_output=True, text=True).stdout.strip().splitlines()[-1]
        return self.commands[pattern]

    def failure(self, name, tests, seconds):
        """Runs a test program, or some tests of it, until the first failure, and says which."""
        seconds = int(seconds)
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
            resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
            resource.setrlimit(resource.RLIMIT_FSIZE, (256 << 20, 256 << 20))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            signal.signal(signal.SIGINT, signal.SIG_DFL)  # shells ignore it for what runs in the background

        log = self.place / "test.log"
        with log.open("w") as out:
            run = subprocess.Popen(
                [self.test_program(name), "--gtest_fail_fast", "--gtest_brief=1",
                 f"--gtest_filter={':'.join(tests or '*')}"],
                stdin=subprocess.DEVNULL, stdout=out, stderr=out, preexec_fn=limit, start_new_session=True,
                cwd=self.temporary, env={**os.environ, "TMPDIR": str(self.temporary)})
            try:
                # The processor's time is what is limited; this is for those that wait for ever.
                status = run.wait(timeout=60 + 10 * seconds)
            except subprocess.TimeoutExpired:
                status = None
            run.kill()
            run.wait()
            self.end_programs()
        if status == 0:
            return None
        failed = re.findall(r"^\[  FAILED  \] ([\w/.]+)", log.read_text(errors="replace"), re.MULTILINE)
        if failed:
            return f"{name}: {failed[0]}"
        return f"{name}: " + ("hangs" if status in (None, -signal.SIGXCPU, -signal.SIGKILL) else f"ends with {status}")

    def end_programs(self):
        """What a test started may be in a group of its own, and go on for ever."""
        for process in Path("/proc").glob("[0-9]*"):
            try:
                if os.readlink(process / "exe").startswith(str(self.build)):
                    os.kill(int(process.name), signal.SIGKILL)
            except OSError:
                pass  # it has ended, or is another user's

    def judge(self, mutant, callers, seconds):
        """What becomes of the mutant, and which test notices it."""
        path = self.source / mutant.path
        text, stat = path.read_text(), path.stat()
        lines = text.split("\n")
        assert lines[mutant.number] == mutant.old
        lines[mutant.number] = mutant.new
        path.write_text("\n".join(lines))
        try:
            untested = self.remake(mutant.path)
            if untested:
                return untested, None
            calling = callers.of(mutant.path, mutant.number, text)
            for name in ROOMS[mutant.room].split():
                tests = None if calling is None else calling.get(name)
                if tests is None and calling is not None:
                    continue
                failure = self.failure(name, tests, 10 + 5 * (sum(tests.values()) if tests else seconds[name]))
                if failure:
                    return "caught", failure
            return "survived", None
        finally:
            path.write_text(text)
            os.utime(path, ns=(stat.st_atime_ns, stat.st_mtime_ns))
            self.put_back()
