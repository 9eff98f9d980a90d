"""Filters and what they report."""

from __future__ import annotations

import contextlib
import html
import importlib
import operator
import os
import re
from dataclasses import dataclass, field
from operator import attrgetter
from typing import Any, Callable, Iterator, Mapping, Sequence, SupportsIndex, Union

import numpy as np

from . import _core
from ._borders import expect, readable
from ._times import Ticks, timed
from .errors import NotFound, Refused

Progress = Union[bool, Callable[[int, int], object], None]


@dataclass(frozen=True)
class Parameter:
    """A parameter of a filter. `name` is the keyword; `range` and `default` are as a person would say them."""

    name: str
    type: str
    default: str
    range: str
    unit: str
    help: str
    is_needed: bool
    text_name: str
    """As the program calls it."""


@dataclass(frozen=True)
class Filter:
    """A filter that there is, with what it takes."""

    name: str
    summary: str
    parameters: tuple[Parameter, ...]

    def step(self, **parameters: object) -> str:
        """The filter with parameters as the program takes it: "butterworth:CutOffFreq=7".

        Raises
        ------
        Refused
            For parameters that it does not have.
        """
        known = {_plain(parameter.name): parameter.text_name for parameter in self.parameters}
        given = []
        for name, value in parameters.items():
            if _plain(name) not in known:
                names = ", ".join(parameter.name for parameter in self.parameters) or "none"
                raise Refused(f"the filter {self.name} has no parameter {name!r}; it has: {names}")
            given.append(f"{known[_plain(name)]}={text_of(value)}")
        return f"{self.name}:{','.join(given)}" if given else self.name

    def _repr_html_(self) -> str:
        rows = "".join(
            f"<tr><td>{p.name}</td><td>{html.escape(p.default)} {p.unit}</td><td>{html.escape(p.range)}</td>"
            f"<td>{html.escape(p.help)}</td></tr>" for p in self.parameters)
        return f"<b>{self.name}</b>: {html.escape(self.summary)}<table>{rows}</table>"


def _plain(name: str) -> str:
    return name.replace("_", "").lower()


def _keyword(name: str) -> str:
    """"CutOffFreq" as "cut_off_freq"."""
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", "_", name).lower()


def text_of(value: object) -> str:
    """A parameter as the program takes it."""
    if isinstance(value, (bool, np.bool_)):
        return "true" if value else "false"
    if isinstance(value, Ticks):
        return repr(value.seconds)
    if isinstance(value, str):
        return value
    if isinstance(value, (bytes, bytearray, memoryview)):
        raise TypeError(f"a parameter is a number, a text, a truth value or three numbers, not {value!r}")
    if isinstance(value, np.ndarray) and value.ndim == 0:
        return text_of(value.item())
    if isinstance(value, SupportsIndex) and not isinstance(value, np.ndarray):
        return str(operator.index(value))
    if isinstance(value, (Sequence, np.ndarray)):
        return ",".join(text_of(part) for part in value)
    try:
        return repr(float(value))  # type: ignore[arg-type]
    except TypeError:
        raise TypeError(f"a parameter is a number, a text, a truth value or three numbers, not {value!r}") from None


_known: dict[str, Filter] = {}


def filters() -> Mapping[str, Filter]:
    """The filters that there are, by their names.

    Examples
    --------
    >>> [parameter.name for parameter in filters()["unroll"].parameters][:2]
    ['start', 'stop']
    """
    if not _known:
        for name, summary, parameters in _core.filters():
            made = tuple(
                Parameter(**{**parameter, "text_name": parameter["name"], "name": _keyword(parameter["name"])})
                for parameter in parameters)
            _known[name] = Filter(name, summary, made)
    return dict(_known)


def step_of(text: str, parameters: Mapping[str, object]) -> str:
    """A filter as the program takes it. What is unknown is left to the program's own message."""
    expect(text, str, "a filter is named by a text")
    if not parameters:
        return text
    if ":" in text:
        raise Refused(f"{text!r} has parameters already; give all of them behind the name, or all as keywords")
    plain = _plain(text).replace("-", "")
    known = next((each for name, each in filters().items() if _plain(name).replace("-", "") == plain), None)
    if known is None:
        return text + ":" + ",".join(f"{name}={text_of(value)}" for name, value in parameters.items())
    return known.step(**parameters)


def _given(step: str) -> list[str]:
    """What parameters that a step gives take, in words."""
    name, _, values = step.partition(":")
    plain = _plain(name).replace("-", "")
    known = next((each for each in filters().values() if _plain(each.name).replace("-", "") == plain), None)
    said = {_plain(word) for word in re.findall(r"(\w+)=", values)}
    return [
        " ".join(filter(None, (p.name, "takes", p.range or "any", p.unit))) + f" ({p.help})"
        for p in (known.parameters if known else ()) if _plain(p.text_name) in said]


@contextlib.contextmanager
def explaining(steps: Sequence[str]) -> Iterator[None]:
    """Where filters refuse wherever they apply, adds what the parameters take that they were given."""
    try:
        yield
    except Refused as error:
        given = [text for step in steps for text in _given(step)]
        if "refused wherever it applies" not in str(error) or not given:
            raise
        raise Refused(f"{error}; {'; '.join(given)}") from None


@dataclass(frozen=True)
class Refusal:
    """Parts of a scene that a filter refused for one reason."""

    message: str
    count: int
    first: str
    """The path of the first of them."""


@dataclass(frozen=True)
class Step:
    """What one filter did, in places: curves, properties or joints, as it works on."""

    name: str
    changed: int
    unchanged: int
    refused: int
    locked: int
    skipped: int
    keys_before: int
    keys_after: int
    refusals: tuple[Refusal, ...]
    warning: str

    def told(self) -> str:
        """What was not done and why, in words; empty where all was."""
        left = [(self.locked, "locked"), (self.refused, "refused")]
        if not self.changed:
            left = [(self.unchanged, "as before"), (self.skipped, "skipped"), *left]
        counts = ", ".join(f"{count} {what}" for count, what in left if count)
        if not self.changed:
            counts = f"changed nothing: {counts}" if counts else "changed nothing"
        reasons = [f"{each.first}: {each.message}" for each in self.refusals]
        return readable("; ".join(filter(None, [counts, *reasons, self.warning])))


@dataclass(frozen=True)
class PropertyError:
    """How far a property is from what it was, at the times of its report: degrees between orientations, or units of its
    values."""

    path: str
    unit: str
    keys_before: int
    keys_after: int
    largest: float
    root_mean_square: float
    time: float
    """Of the largest error, in seconds."""

    def told(self) -> str:
        """The largest error with its unit, if it has one: "1.5 degrees"."""
        return f"{self.largest:.3g} {self.unit}".rstrip()


@dataclass(frozen=True)
class JointError:
    """How far a joint or an end site is in the world from where it was, in the file's own units."""

    name: str
    largest: float
    mean: float
    """Over the times that are compared, see `Report`."""
    time: float
    """Of the largest error, in seconds."""


@dataclass(frozen=True)
class Report:
    """What filters did to a scene.

    Indexing by a path gives the errors of that property; iterating goes through all of them. Errors are taken at the
    frames of the scene from its first key to its last one, those of `Scene.reduce` half-way between as well, and with
    more than 100,000 frames at every n-th: elsewhere they can be larger.
    """

    steps: tuple[Step, ...]
    properties: tuple[PropertyError, ...] = field(repr=False)
    joints: tuple[JointError, ...] = field(repr=False)
    """In the order of `Scene.joints`; none without a skeleton."""
    page: str | None = field(default=None, repr=False)
    """HTML, where it was asked for."""

    def to_html(self) -> str:
        """The report as a page that needs no other file: what was done, tables of errors, plots of before and after.

        Raises
        ------
        Refused
            Unless it was asked for by `page=True`: what was before is gone afterwards.
        """
        if self.page is None:
            raise Refused("the page was not made along with the work; give page=True to filter or reduce")
        return self.page

    def save(self, path: Union[str, "os.PathLike[str]"]) -> None:
        """Writes `to_html` into a file."""
        page = self.to_html().encode("utf-8", "surrogateescape")
        with open(path, "wb") as file:
            file.write(page)

    @property
    def keys_before(self) -> int:
        """The keys of all chosen curves before."""
        return sum(each.keys_before for each in self.properties)

    @property
    def keys_after(self) -> int:
        """The keys of all chosen curves afterwards."""
        return sum(each.keys_after for each in self.properties)

    @property
    def worst(self) -> PropertyError | None:
        """The property with the largest error; None when there is no property."""
        return max(self.properties, key=attrgetter("largest"), default=None)

    def __getitem__(self, path: str) -> PropertyError:
        for each in self.properties:
            if each.path == path:
                return each
        raise NotFound(f"the report has no property {path!r}; iterating over it gives those that it has")

    def __iter__(self) -> Iterator[PropertyError]:
        return iter(self.properties)

    def __len__(self) -> int:
        return len(self.properties)

    def __bool__(self) -> bool:
        return True

    def __str__(self) -> str:
        worst = self.worst
        names = ", ".join(step.name for step in self.steps)
        text = f"{names}: "
        told = "; ".join(filter(None, (step.told() for step in self.steps)))
        if all(step.changed == 0 for step in self.steps):
            return text + (told or "changed nothing")
        text += f"{self.keys_before} keys -> {self.keys_after}"
        if worst is not None and worst.largest > 0:
            text += f"; at most {worst.told()} off ({readable(worst.path)} at {worst.time:g} s)"
        return f"{text}; {told}" if told else text

    def _repr_html_(self) -> str:
        rows = "".join(
            f"<tr><td>{html.escape(readable(p.path))}</td><td>{p.keys_before}</td><td>{p.keys_after}</td>"
            f"<td>{p.told()}</td><td>{p.root_mean_square:.3g}</td></tr>" for p in self.properties)
        head = "<tr><th>property</th><th>keys</th><th>now</th><th>largest error</th><th>rms</th></tr>"
        return f"{html.escape(readable(str(self)))}<table>{head}{rows}</table>"


def report_of(
    steps: Sequence[dict[str, Any]], properties: Sequence[dict[str, Any]], joints: Sequence[dict[str, Any]],
    page: str | None,
) -> Report:
    """Made of what the compiled part tells."""
    for step in steps:
        step["refusals"] = tuple(Refusal(*each) for each in step["refusals"])
    return Report(
        tuple(Step(**step) for step in steps),
        tuple(timed(PropertyError, each) for each in properties),
        tuple(timed(JointError, each) for each in joints),
        page,
    )


def check_progress(progress: Progress) -> None:
    if not (progress is None or isinstance(progress, bool) or callable(progress)):
        raise TypeError("progress is a function of two numbers, True or None")


@contextlib.contextmanager
def progress_of(progress: Progress) -> Iterator[Callable[[int, int], object] | None]:
    """A function to be told; for True a bar of tqdm, where that is installed, which ends with the statement."""
    check_progress(progress)
    if progress is None or progress is False:
        yield None
        return
    if progress is not True:
        yield progress
        return
    try:
        bar = importlib.import_module("tqdm.auto").tqdm(unit="part")
    except ImportError:
        yield None
        return

    def tell(done: int, total: int) -> None:
        bar.total = total
        bar.update(done - bar.n)

    try:
        yield tell
    finally:
        bar.close()
