"""Many files at a time, on the processors of this machine or on a Dask cluster."""

from __future__ import annotations

import errno
import html
import importlib
import json
import math
import operator
import os
import shutil
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path as FilePath
from typing import Any, Callable, Iterable, Iterator, Mapping, Sequence, Union
from urllib.parse import unquote_to_bytes

from ._filters import Progress, check_progress, progress_of
from .errors import Error, FileError, Refused, Stopped

Path = Union[str, "os.PathLike[str]"]

_DONE = ("filtered", "nothing to do")  # states of files whose outputs were made
_MOST_LOOKS = 600  # at an output that another process is making, a second each, as the program does


@dataclass(frozen=True)
class BatchRow:
    """What came of one file."""

    input: str
    output: str
    state: str
    """"filtered", "nothing to do", "refused", "failed" or "not done"."""
    message: str
    """Why it failed or was refused."""
    keys_before: int
    keys_after: int
    largest: float
    """The largest distance of a joint from where it was, in the file's own units; infinite where a joint has no place
    any more, and NaN without joints."""
    report: Mapping[str, Any] | None = field(repr=False)
    """All that `yfcurve batch --json` tells of it."""

    @property
    def is_done(self) -> bool:
        """Whether the output was made."""
        return self.state in _DONE


class BatchTable(Sequence[BatchRow]):
    """The files of a batch, the worst first: what failed, what was refused, then by error."""

    def __init__(self, rows: Iterable[BatchRow]) -> None:
        self._rows = tuple(rows)

    @property
    def failed(self) -> list[BatchRow]:
        """Those that have no output."""
        return [row for row in self if not row.is_done]

    def to_dict(self) -> dict[str, list[Any]]:
        """Columns by name, as `pandas.DataFrame` takes them."""
        names = ("input", "output", "state", "message", "keys_before", "keys_after", "largest")
        return {name: [getattr(row, name) for row in self] for name in names}

    def __getitem__(self, index: Any) -> Any:
        return self._rows[index]

    def __len__(self) -> int:
        return len(self._rows)

    def __iter__(self) -> Iterator[BatchRow]:
        return iter(self._rows)

    def __repr__(self) -> str:
        return f"<BatchTable of {len(self)} files, {len(self.failed)} of them without output>"

    def _repr_html_(self) -> str:
        columns = self.to_dict()
        head = "".join(f"<th>{name}</th>" for name in columns)
        rows = "".join("<tr>" + "".join(f"<td>{html.escape(str(cell))}</td>" for cell in row) + "</tr>"
                       for row in zip(*columns.values()))
        return f"{html.escape(repr(self))}<table><tr>{head}</tr>{rows}</table>"


def batch(
    files: Path | Sequence[Path],
    steps: str | Sequence[str],
    out: Path,
    *,
    client: Any = None,
    jobs: int | None = None,
    nodes: str | Sequence[str] = (),
    to: str | None = None,
    recursive: bool = False,
    retries: int = 2,
    report: Path | None = None,
    progress: Progress = None,
    program: str | None = None,
) -> BatchTable:
    """Filter many files into a folder, each in a process of its own, and go on where an earlier call stopped.

    Parameters
    ----------
    files
        Files, folders (with `recursive`) or patterns such as "captures/*.bvh".
    steps
        Filters as the program takes them: "butterworth:CutOffFreq=7"; `Filter.step` makes them of keywords.
    out
        The folder for the outputs. With a client, workers reach it and the files under the same paths.
    client
        A `dask.distributed.Client`. Without one the files are filtered on this machine.
    jobs
        Files at a time on this machine; one for each processor unless given.
    nodes
        Patterns of the curves to filter; all of them without.
    to
        The format to write, such as "ytalo"; that of each file unless given.
    recursive
        Go through the folders among the files.
    retries
        How often a file is tried again whose process or worker was killed.
    report
        A page of all files to write.
    progress
        Is told how many bytes of the files are done, and of how many, and ends the batch by returning False; True for
        a bar of tqdm. With a client alone.
    program
        The program `yfcurve`, which is on the PATH unless given; on the workers too.

    Returns
    -------
    BatchTable
        A row for each file, also for those that failed.

    Raises
    ------
    Refused
        For filters or files that make no sense together; nothing is filtered then.
    FileError
        Where the program is not there.
    Stopped
        Where the progress function or a signal said so. What is done until then stays; the same call goes on.
    """
    check_progress(progress)
    if jobs is not None and operator.index(jobs) < 1:
        raise Refused("the number of jobs is not above 0; choose a larger one, or leave it out")
    work = _Work(_program(program), os.fsdecode(out), [*_each("--apply", steps), *_each("--node", nodes)], retries)
    names = [os.fsdecode(each) for each in ([files] if isinstance(files, (str, os.PathLike)) else files)]
    if not names or not steps:
        raise Refused(f"no {'filters' if names else 'files'} are given; name one at least")
    with tempfile.TemporaryDirectory() as scratch:
        tasks = os.path.join(scratch, "tasks")
        work.list_tasks(names, to, recursive, tasks)
        failures: dict[str, str] = {}
        if client is not None:
            with progress_of(progress) as tell:
                failures = _on_cluster(client, work, tasks, tell)
        told = work.report(tasks, client is not None, jobs, report)
    return _table(told, failures)


@dataclass(frozen=True)
class _Work:
    """What is done to every file, as runs of the program."""

    program: str
    folder: str
    """For the outputs."""
    options: list[str]
    """Those that say what is done."""
    retries: int

    def list_tasks(self, names: Sequence[str], to: str | None, recursive: bool, tasks: str) -> None:
        """Writes a list of the files and their outputs."""
        more = [*(["--to", to] if to else []), *(["--recursive"] if recursive else [])]
        _run([self.program, "batch", *names, "--out", self.folder, *self.options, *more, "--make-list", tasks])

    def report(self, tasks: str, merges: bool, jobs: int | None = None, page: Path | None = None) -> str:
        """What came of each file of a list, as JSON. With `merges` from the records alone; otherwise what is not done
        is filtered on this machine first."""
        here = ["--retries", str(self.retries), *(["--jobs", str(jobs)] if jobs else [])]
        return _run([self.program, "batch", "--list", tasks, "--out", self.folder, *self.options, "--json",
                     *(["--merge"] if merges else here), *(["--report", os.fsdecode(page)] if page else [])],
                    allowed=(0, 1))

    def one(self, file: str, output: str) -> list[str]:
        """The words that filter one file."""
        return [self.program, "batch", file, "--one", output, "--out", self.folder, "--retries", str(self.retries),
                *self.options]


def _program(given: str | None) -> str:
    found = shutil.which(given or "yfcurve")
    if found is None:
        raise FileError(f"{given or 'yfcurve'}: there is no such program; install it, or name it with program=")
    return os.path.abspath(found)


def _each(option: str, values: str | Sequence[str]) -> list[str]:
    return [word for value in ([values] if isinstance(values, str) else values) for word in (option, value)]


def _run(words: Sequence[str], allowed: Sequence[int] = (0,)) -> str:
    """What the program prints, whose messages become exceptions."""
    done = subprocess.run(words, capture_output=True, encoding="utf-8", errors="replace", check=False)
    # A report is there also where some files failed.
    if done.returncode in allowed and (done.returncode == 0 or done.stdout):
        return done.stdout
    message = done.stderr.strip().rpartition("yfcurve: ")[2] or f"the program ended with {done.returncode}"
    raise Stopped(message) if done.returncode >= 128 or done.returncode < 0 else Refused(message)


def _table(text: str, failures: Mapping[str, str] = {}) -> BatchTable:
    """
    failures
        Why files that are not done are not, by the names of their outputs.
    """
    def row(each: dict[str, Any]) -> BatchRow:
        report = each.get("report")
        return BatchRow(
            each["input"], each["output"], each["state"], each.get("message", failures.get(each["name"], "")),
            report["keysBefore"] if report else 0, report["keysAfter"] if report else 0, _largest(report or {}), report)

    return BatchTable(row(each) for each in json.loads(text))


def _largest(report: Mapping[str, Any]) -> float:
    world = report.get("world")
    if world is None:
        return math.nan
    # JSON has no infinity.
    return math.inf if world["largest"] is None else float(world["largest"])


def _on_cluster(client: Any, work: _Work, tasks: str, progress: Callable[[int, int], object] | None) -> dict[str, str]:
    """Has the workers filter what is not done, and adds their results to the records.

    Returns why there is no result of an output, by its name as lists and reports write it.
    """
    as_completed = importlib.import_module("distributed").as_completed
    done = {row["name"] for row in json.loads(work.report(tasks, merges=True)) if row["state"] in _DONE}
    futures, names = {}, {}
    failures: dict[str, str] = {}
    for line in FilePath(tasks).read_text("ascii").splitlines():
        task = json.loads(line)
        output = os.path.join(work.folder, os.fsdecode(unquote_to_bytes(task["name"])))
        if task["name"] not in done:
            words = work.one(os.fsdecode(unquote_to_bytes(task["input"])), output)
            future = client.submit(filter_one, words, os.getcwd(), retries=work.retries, pure=False)
            futures[future], names[future] = task["bytes"] + 1, task["name"]
    total = sum(futures.values())
    so_far = 0
    records = FilePath(work.folder, ".yfcurve-batch", "records-dask.jsonl")
    try:
        with records.open("ab", buffering=0) as file:
            for future in as_completed(list(futures)):
                # A result that was lost with its worker is made again while this waits.
                try:
                    entry = f"\n{future.result()}\n".encode()  # the line before may have been cut off
                    if file.write(entry) < len(entry):
                        raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC), str(records))
                except Exception as error:  # whatever a worker may come to
                    failures[names[future]] = str(error)
                so_far += futures[future]
                future.release()
                if progress is not None and progress(so_far, total) is False:
                    raise Stopped("the progress function ended the batch; the same call goes on")
    except BaseException:
        client.cancel(list(futures))
        raise
    return failures


def filter_one(words: list[str], folder: str) -> str:
    """The unit of work on a Dask worker: the line of results of one file. Raises where another try may do better."""
    for _ in range(_MOST_LOOKS):
        done = subprocess.run(words, cwd=folder, capture_output=True, encoding="utf-8", errors="replace", check=False)
        if done.returncode == -signal.SIGKILL or not done.stdout:
            raise Error(done.stderr.strip() or f"the program ended with {done.returncode}")
        line = done.stdout.strip()
        if json.loads(line)["state"] != "busy":
            return line
        # A worker that was killed left its process, which comes to its end.
        time.sleep(1)
    raise Error(f"{words[2]}: another process has been making this file for too long; end it")
