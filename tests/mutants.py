#!/usr/bin/env python3
"""Applies one-line faults to the sources, one at a time, and lists those that no test notices.

    make mutants                                   400 faults, drawn from all rooms
    tests/mutants.py --count 50 --rooms filters    50 of one room (or of one file)
    tests/mutants.py --list                        what would be done
    tests/mutants.py --resume                      continues a run that was interrupted
    tests/mutants.py --survivors-of FILE           only what survived in an earlier run

All happens in a copy of the sources below build/mutants, one for each job, which has a build of its own. A
fault costs the compilation of one source, the link of one shared library (in program/ and ymotion/ also of the test
programs and the program), and the test programs of the room and then of the others until one fails. Afterwards the copy's
files are put back with their times, so that nothing is compiled twice.

The lines are put in an order that depends on the seed and on their text alone. So the first 100 of 400
are those of --count 100, and most faults stay the same when other lines change. A fault that does not compile
is replaced by the next one. A test program that crashes, hangs or fails has caught it. Faults that change
nothing that can be seen count as survivors, so that not even perfect tests reach 100 %.
"""

import argparse
import collections
import hashlib
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time
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

# ---------------------------------------------------------------------------------------------- sources

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\\n|\\.)*)
      | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*")
      | (?P<char>'(?:[^'\\\n]|\\.)+')
      | (?P<number>\.?[0-9](?:[eEpP][+-]|'[0-9]|[\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|<=>|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\w\s])""",
    re.MULTILINE | re.DOTALL | re.VERBOSE)


class Token:
    def __init__(self, match, line, column):
        self.kind = match.lastgroup if match.lastgroup != "mark" else "string"
        self.text = match.group()
        self.line, self.column = line, column
        self.end = column + len(self.text)
        self.scope = None


def tokens_of(text):
    """The tokens of a source, without comments and directives; `scope` says what kind of braces they are in."""
    tokens, line, start, last = [], 0, 0, 0
    for match in TOKEN.finditer(text):
        newlines = text.count("\n", last, match.start())
        if newlines:
            line += newlines
            start = text.rfind("\n", 0, match.start()) + 1
        last = match.start()
        token = Token(match, line, match.start() - start)
        if token.kind not in ("comment", "directive"):
            tokens.append(token)
    scopes, head = ["namespace"], []
    for token in tokens:
        token.scope = scopes[-1]
        if token.text == "{":
            scopes.append(kind_of_braces(scopes[-1], head))
        elif token.text == "}" and len(scopes) > 1:
            scopes.pop()
        if token.text in ("{", "}", ";"):
            head = []
        else:
            head.append(token.text)
    return tokens


def kind_of_braces(outer, head):
    if outer == "function" and not {"struct", "class", "enum"} & set(head[:1]):
        return "function"
    if "enum" in head:
        return "enum"
    if "namespace" in head or head[:1] == ["extern"]:
        return "namespace"
    if {"class", "struct", "union"} & set(head) and "(" not in head:
        return "class"
    if not head or ")" in head:
        return "function"
    return "data"


# Lines in which nothing can go wrong at run time. Room set aside beforehand (reserve, shrink_to_fit) changes
# nothing but time, as do pauses; names and templates only compile or do not.
NOTHING_TO_BREAK = re.compile(
    r"^\s*(static_assert|assert|using|typedef|template|friend|extern|namespace|class \w+;|struct \w+;)\b"
    r"|\b(assert|reserve|shrink_to_fit|sleep_for)\(")

SWAPPED_SIGNS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "&&": ["||"], "||": ["&&"],
    "&": ["|"], "|": ["&"], "^": ["|"], "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="],
    "|=": ["&="], "&=": ["|="], "<<": [">>"], ">>": ["<<"],
}
SWAPPED_WORDS = {
    "true": "false", "false": "true", "min": "max", "max": "min", "floor": "ceil", "ceil": "floor",
    "lower_bound": "upper_bound", "upper_bound": "lower_bound", "sin": "cos", "cos": "sin",
    "any_of": "all_of", "all_of": "any_of", "none_of": "any_of", "front": "back", "back": "front",
}
# Sizes of arrays: most that are larger change nothing, those that are smaller are for the sanitizers.
SIZE = re.compile(r"\w[>&*]? \w+((\[\w+\])+)(?= =|;|,|\)|\{)|\barray<.*?, \d+>")
# Functions whose arguments may stand in any order.
COMMUTATIVE = {"min", "max", "swap", "hypot", "gcd"}

BEFORE_A_SIGN = ("(", ",", "=", "return", "?", ":", "{", "*", "/", "+")
AFTER_A_WORD = ("(", ";", ")", ",", "", "}", ":", "?", "&&", "||", "==")

# What a statement that can be left out looks like: an assignment, a call, a jump, a step.
PLACE = r"\*?(?:this->)?[A-Za-z_][\w:]*(?:(?:\.|->)\w+|\[[^\]=]*\]|\([^()]*\)(?=\.|->|\[))*"
STATEMENT = re.compile(
    rf"^(?:{PLACE}\s+(?:[-+*/%&|^]|<<|>>)?=\s.*|{PLACE}(?:<[\w:, ]+>)?\(.*\)|(?:\+\+|--){PLACE}|{PLACE}(?:\+\+|--)"
    r"|break|continue|return);$")
NO_CALL = re.compile(r"^(if|for|while|switch|return|throw|delete|static_cast<void>|sizeof|catch)\b\s*\(")


def edit(line, *changes):
    """The line with (start, end, text) put in."""
    for start, end, text in sorted(changes, reverse=True):
        line = line[:start] + text + line[end:]
    return line


def number_changes(text):
    digits = text.rstrip("uUlLfF") if not text.startswith(("0x", "0X")) else text.rstrip("uUlL")
    suffix = text[len(digits):]
    try:
        if re.fullmatch(r"[0-9']+", digits):
            value = int(digits.replace("'", ""))
            return [str(value + 1) + suffix] + ([str(value - 1) + suffix] if value else [])
        if re.fullmatch(r"0[xX][0-9a-fA-F']+", digits):
            return [hex(int(digits.replace("'", ""), 16) ^ bit) + suffix for bit in (1, 4)]
        value = float(digits.replace("'", ""))
    except ValueError:
        return []
    if value in (0.0, 1.0):
        return [repr(1.0 - value) + suffix]
    # Limits that guard against rounding have to move far for anything to follow.
    return [repr(value * 1000 if value < 0.01 else value + 1) + suffix]


def depth_of(tokens):
    """How many more brackets are opened than closed."""
    return sum((token.text in "([{") - (token.text in ")]}") for token in tokens)


def closing(tokens, opening):
    ends = (end for end in range(opening, len(tokens)) if depth_of(tokens[opening:end + 1]) == 0)
    return next(ends, None)


def split(tokens, first, last, sign):
    """The parts of tokens[first:last] between top-level signs, as (first, last); none where <> make it unclear."""
    signs = [index for index in range(first, last)
             if tokens[index].text == sign and depth_of(tokens[first:index]) == 0]
    return list(zip([first, *(index + 1 for index in signs)], [*signs, last]))


def exchange(line, tokens, *parts):
    """The changes that put two parts of a line in each other's place."""
    one, other = [(tokens[first].column, tokens[last - 1].end) for first, last in parts]
    return (*one, line[slice(*other)]), (*other, line[slice(*one)])


def line_mutations(line, tokens, before):
    """All (kind, new line) for a line; `before` is the token in front of it."""
    found = []

    def add(kind, *changes):
        new = edit(line, *changes)
        if new != line:
            found.append((kind, new))

    text = line.strip()
    in_for = text.startswith("for ")
    sizes = [match.span() for match in SIZE.finditer(line)]
    has_string = any(token.kind == "string" for token in tokens)
    for index, token in enumerate(tokens):
        spaced = line[:token.column].endswith(" ") and line[token.end:token.end + 1] in (" ", "")
        previous = tokens[index - 1].text if index else before
        following = tokens[index + 1].text if index + 1 < len(tokens) else ""
        if token.kind == "sign" and spaced and token.text in SWAPPED_SIGNS:
            if has_string and token.text in ("+", "+=", "<<", ">>"):
                continue
            if token.text in ("<", ">") and "template" in text:
                continue
            for new in SWAPPED_SIGNS[token.text]:
                add("operator", (token.column, token.end, new))
        elif token.text == "!" and following not in ("=", ""):
            add("negation", (token.column, token.end, ""))
        elif token.text == "-" and not spaced and previous in BEFORE_A_SIGN:
            add("sign", (token.column, token.end, ""))
        elif token.text in ("++", "--") and not in_for:
            add("operator", (token.column, token.end, "--" if token.text == "++" else "++"))
        elif token.kind == "word" and token.text in SWAPPED_WORDS and following in AFTER_A_WORD:
            add("word", (token.column, token.end, SWAPPED_WORDS[token.text]))
        elif token.kind == "number" and not any(first <= token.column < last for first, last in sizes):
            for new in number_changes(token.text):
                add("constant", (token.column, token.end, new))
        elif token.text == "if" and following == "(":
            end = closing(tokens, index + 1)
            if end and not {";", "="} & {part.text for part in tokens[index + 1:end]}:
                first, last = tokens[index + 1].end, tokens[end].column
                add("condition", (first, first, "!("), (last, last, ")"))
        elif token.text == "?":
            rest = next((i for i in range(index + 1, len(tokens)) if depth_is_left(tokens, index + 1, i)), len(tokens))
            parts = split(tokens, index + 1, rest, ":")
            if len(parts) == 2 and all(first < last for first, last in parts):
                add("choice", *exchange(line, tokens, *parts))
        if token.text == "(" and token.scope == "function" and index and tokens[index - 1].kind == "word":
            if tokens[index - 1].text in COMMUTATIVE | {"if", "for", "while", "switch", "return"}:
                continue
            end = closing(tokens, index)
            parts = split(tokens, index + 1, end, ",") if end else []
            for left, right in zip(parts, parts[1:]):
                if left[0] < left[1] and right[0] < right[1]:
                    kinds = {tokens[first].kind == "string" for first, _ in (left, right)}
                    if len(kinds) == 2 or "[" in (tokens[left[0]].text, tokens[right[0]].text):
                        continue  # of different types
                    add("arguments", *exchange(line, tokens, left, right))
    if (tokens[0].scope == "function" and before in (";", "{", "}", ")", ":", "else") and STATEMENT.match(text)
            and not NO_CALL.match(text) and sum(token.text == ";" for token in tokens) == 1
            and depth_of(tokens) == 0):
        add("statement", (tokens[0].column, tokens[-1].end, ";"))
    return found


def depth_is_left(tokens, first, index):
    depth = depth_of(tokens[first:index + 1])
    return depth < 0 or (depth == 0 and tokens[index].text in (";", ","))


class Mutant(collections.namedtuple("Mutant", "room path number old kind new key")):
    def where(self):
        return f"{self.path}:{self.number + 1}"


def hashed(*parts):
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()


def mutants_of(room, path, text, seed):
    """One mutant for each line that has any, chosen by the seed and the line's text."""
    lines = text.split("\n")
    by_line, before, previous = collections.defaultdict(list), {}, ""
    for token in tokens_of(text):
        if token.line not in before:
            before[token.line] = previous
        by_line[token.line].append(token)
        previous = token.text
    seen = collections.Counter()
    for number, tokens in sorted(by_line.items()):
        line = lines[number]
        if tokens[0].scope == "enum" or NOTHING_TO_BREAK.search(line) or any(t.end > len(line) for t in tokens):
            continue
        found = line_mutations(line, tokens, before[number])
        if not found:
            continue
        seen[line.strip()] += 1
        key = hashed(seed, path, line.strip(), seen[line.strip()])
        # First the kind and then the place, or else most would be constants.
        kinds = sorted({kind for kind, _ in found})
        kind = kinds[int(key[:8], 16) % len(kinds)]
        choices = [new for one, new in found if one == kind]
        new = choices[int(key[8:16], 16) % len(choices)]
        yield Mutant(room, path, number, line, kind, new, hashed("order", key)[:16])


# A fault in these has all of the project compiled: minutes for each. They have one line in 25.
PUBLIC_HEADER = re.compile(r"ybaselib/[iy]\w*\.h|yfcurve/y\w*\.h")


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


# ------------------------------------------------------------------------------------------------- runs

def files_of_the_tree(*folders):
    return subprocess.run(["git", "ls-files", "-co", "--exclude-standard", *folders], cwd=ROOT, check=True,
                          capture_output=True, text=True).stdout.splitlines()


class Copy:
    """A copy of the sources with a build of its own, in which one mutant at a time lives."""

    def __init__(self, number, jobs):
        self.place = WORK / str(number)
        self.source, self.kept, self.temporary = self.place / "source", self.place / "kept", self.place / "tmp"
        self.build = self.source / "build" / "release"
        self.threads = max(1, (os.cpu_count() or 2) // jobs)
        self.limits, self.commands, self.dependents, self.times = {}, {}, collections.defaultdict(list), {}

    def prepare(self):
        self.bring_sources()
        self.temporary.mkdir(parents=True, exist_ok=True)
        log = self.place / "build.log"
        with log.open("w") as out:
            configure = ["cmake", "--preset", "release", "-DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON",
                         "-DCMAKE_UNITY_BUILD=OFF"]
            build = ["ninja", "-C", self.build, "-j", str(os.cpu_count() or 2), *EVERYTHING]  # copy by copy
            if any(subprocess.run(command, cwd=self.source, stdout=out, stderr=out).returncode
                   for command in (configure, build)):
                sys.exit(f"The sources do not build, see {log}")
        self.find_commands()
        shutil.rmtree(self.kept, ignore_errors=True)
        for path in self.products():
            self.times[path] = os.lstat(path).st_mtime_ns
            to = self.kept / path.relative_to(self.build)
            to.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(path, to, follow_symlinks=False)
        for name in TEST_PROGRAMS:
            before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
            failure = self.failure(name, 600)
            if failure:
                sys.exit(f"Without any fault, {name}_tests fails: {failure}")
            self.limits[name] = int(10 + 5 * (resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before))

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

    def find_commands(self):
        """How each object is compiled, and which ones belong to a source or include a header."""
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            # Quick to compile; and warnings, of which mutants have many, are no concern.
            made = re.search(r" -o (\S+)", entry["command"]).group(1)
            self.commands[made] = entry["command"].replace(" -O3 ", " -O1 ") + " -w"
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

    def make(self, changed):
        """Compiles what a file is part of, and links that."""
        objects = self.dependents[changed]
        links = [link for folder in LINKED if any(made.startswith(folder) for made in objects)
                 for link in LINKED[folder]]
        with (self.place / "compile.log").open("w") as out, ThreadPoolExecutor(self.threads) as pool:
            def run(command):
                return subprocess.run(command, shell=True, cwd=self.build, stdout=out, stderr=out).returncode == 0

            return (all(pool.map(run, [self.commands[made] for made in objects]))
                    and all(run(self.link_command(link)) for link in dict.fromkeys(links)))

    def link_command(self, pattern):
        if pattern not in self.commands:
            made = next(path for path in self.build.glob(pattern) if not path.is_symlink())
            self.commands[pattern] = subprocess.run(
                ["ninja", "-C", self.build, "-t", "commands", "-s", made.relative_to(self.build)], check=True,
                capture_output=True, text=True).stdout.strip().splitlines()[-1]
        return self.commands[pattern]

    def failure(self, name, seconds):
        """Runs a test program until the first failure, and says which."""
        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds + 1))
            resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
            resource.setrlimit(resource.RLIMIT_FSIZE, (256 << 20, 256 << 20))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            signal.signal(signal.SIGINT, signal.SIG_DFL)  # shells ignore it for what runs in the background

        log = self.place / "test.log"
        with log.open("w") as out:
            run = subprocess.Popen(
                [self.build / "tests" / name / f"{name}_tests", "--gtest_fail_fast", "--gtest_brief=1"],
                stdin=subprocess.DEVNULL, stdout=out, stderr=out, preexec_fn=limit, start_new_session=True,
                cwd=self.temporary, env={**os.environ, "TMPDIR": str(self.temporary)})
            try:
                # The processor's time is what is limited; this is for those that wait for ever.
                status = run.wait(timeout=60 + 10 * seconds)
            except subprocess.TimeoutExpired:
                status = None
            try:
                os.killpg(run.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            run.wait()
        if status == 0:
            return None
        failed = re.findall(r"^\[  FAILED  \] ([\w/.]+)", log.read_text(errors="replace"), re.MULTILINE)
        if failed:
            return f"{name}: {failed[0]}"
        return f"{name}: " + ("hangs" if status in (None, -signal.SIGXCPU, -signal.SIGKILL) else f"ends with {status}")

    def judge(self, mutant):
        """Whether the mutant compiles, and which test notices it."""
        path = self.source / mutant.path
        text, stat = path.read_text(), path.stat()
        lines = text.split("\n")
        assert lines[mutant.number] == mutant.old
        lines[mutant.number] = mutant.new
        path.write_text("\n".join(lines))
        try:
            if not self.make(mutant.path):
                return "does not compile", None
            for name in ROOMS[mutant.room].split():
                failure = self.failure(name, self.limits[name])
                if failure:
                    return "caught", failure
            return "survived", None
        finally:
            path.write_text(text)
            os.utime(path, ns=(stat.st_atime_ns, stat.st_mtime_ns))
            self.put_back()


class Run:
    """Hands out mutants in their order until `count` of them have compiled, and writes down what became of them."""

    def __init__(self, mutants, count, out, known):
        self.waiting, self.count, self.out = collections.deque(mutants), count, out
        self.taken, self.results, self.lock = 0, [], threading.Lock()
        self.known, self.in_a_row = known, 0

    def next(self):
        with self.lock:
            while self.waiting and self.taken < self.count:
                mutant = self.waiting.popleft()
                if mutant.key not in self.known:
                    self.taken += 1
                    return mutant
                if self.known[mutant.key]["result"] != "does not compile":
                    self.taken += 1
                    self.results.append((mutant, self.known[mutant.key]["result"]))
            return None

    def note(self, mutant, result, by, seconds):
        with self.lock:
            print(json.dumps({"key": mutant.key, "result": result, "by": by, "room": mutant.room,
                              "where": mutant.where(), "kind": mutant.kind, "old": mutant.old.strip(),
                              "new": mutant.new.strip(), "seconds": round(seconds, 1)}), file=self.out, flush=True)
            if result == "does not compile":
                self.taken -= 1
                self.in_a_row += 1
                if self.in_a_row == 30:
                    sys.exit("Thirty in a row do not compile: see compile.log below build/mutants")
                return
            self.in_a_row = 0
            self.results.append((mutant, result))
            caught = sum(result == "caught" for _, result in self.results)
            print(f"{len(self.results):4} of {self.count}, {100 * caught / len(self.results):.0f} % caught  "
                  f"{mutant.where()} {by or 'SURVIVED'}", flush=True)

    def work(self, copy):
        mutant = self.next()
        while mutant:
            start = time.monotonic()
            result, by = copy.judge(mutant)
            self.note(mutant, result, by, time.monotonic() - start)
            mutant = self.next()


def report(results):
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


def digest():
    """What the results depend on: sources and tests as they are now."""
    names = files_of_the_tree(*{room.split("/")[0] for room in ROOMS}, "tests")
    return hashed(*(name + "\0" + hashlib.sha256((ROOT / name).read_bytes()).hexdigest()
                    for name in sorted(names) if name != "tests/mutants.py" and (ROOT / name).is_file()))[:16]


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
    for copy in copies:
        copy.prepare()
    with options.out.open("a" if known else "w") as out:
        if not known:
            print(json.dumps(head), file=out, flush=True)
        run = Run(mutants, min(options.count, len(mutants)), out, known)
        threads = [threading.Thread(target=run.work, args=(copy,), daemon=True) for copy in copies]
        for thread in threads:
            thread.start()
        try:
            for thread in threads:
                thread.join()
        except KeyboardInterrupt:
            print("\nInterrupted; --resume continues")
        report(run.results)


if __name__ == "__main__":
    main()
