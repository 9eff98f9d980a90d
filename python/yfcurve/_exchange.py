"""What scenes tell of themselves, and take, in other forms than files of motion."""

from __future__ import annotations

import html
import operator
from dataclasses import dataclass
from typing import Any, List, NamedTuple, Sequence, Union

from . import _core
from ._borders import expect, number, readable, truth, truths
from ._times import FOREVER, Patterns, Rate, Time, fraction_of, patterns_of, seconds_of, ticks_or
from .errors import Refused


@dataclass(frozen=True)
class Finding:
    """Something that a person should know of a scene, and where it is for the first time."""

    is_wrong: bool
    """Something is damaged or contradicts itself; otherwise it is just worth knowing."""
    what: str
    """Of which kind, in words that stay the same: "not finite", "between frames"."""
    text: str
    count: int
    """How often; 0 for what is not counted."""
    path: str
    """Of a curve, a property or a joint, or the name of a layer; may be empty."""
    time: float | None
    """In seconds."""
    line: int | None
    """Of the file, from 1."""

    def __str__(self) -> str:
        return f"{'wrong' if self.is_wrong else 'worth knowing'}: {self.text}"


class Findings(List[Finding]):
    """A list of findings, which is shown as a table."""

    @property
    def wrong(self) -> list[Finding]:
        """Those that say that something is wrong."""
        return [each for each in self if each.is_wrong]

    def __repr__(self) -> str:
        return "\n".join(str(each) for each in self) or "nothing to report"

    __str__ = __repr__

    def _repr_html_(self) -> str:
        rows = "".join(
            f"<tr><td>{'wrong' if each.is_wrong else 'worth knowing'}</td><td>{html.escape(readable(each.text))}</td>"
            f"<td>{html.escape(readable(each.path))}</td><td>{'' if each.time is None else f'{each.time:g} s'}</td></tr>"
            for each in self)
        return f"<table><tr><th></th><th>finding</th><th>first at</th><th>time</th></tr>{rows}</table>"


def findings_of(rows: Sequence[dict[str, Any]]) -> Findings:
    """Made of what the compiled part tells."""
    return Findings(
        Finding(row["is_wrong"], row["what"], row["text"], row["count"], row["path"],
                None if row["ticks"] is None else seconds_of(row["ticks"]), row["line"] or None)
        for row in rows)


class ImportedKeys(NamedTuple):
    """How much was imported."""

    curves: int
    keys: int


def table_row(
    scene: _core.Scene, nodes: Patterns, rate: Rate | None, start: Time | None, stop: Time | None, frames: bool,
    layers: bool, world: bool, euler: bool,
) -> _core.TableRow:
    """What a table is to hold, as the compiled part takes it."""
    fraction = None if rate is None else fraction_of(rate)
    span = ticks_or(start, -FOREVER, scene), ticks_or(stop, FOREVER, scene)
    truths(frames=frames, layers=layers, world=world, euler=euler)
    return patterns_of(nodes), fraction, *span, frames, layers, world, euler


def _words(amount: Union[float, str, None], what: str) -> str:
    if amount is None:
        return ""
    return amount if isinstance(amount, str) else repr(number(amount, what))


def reduction_row(
    tolerance: Union[float, str, None], ratio: Union[float, str, None], keys: int | None, contacts: bool, tangents: str,
    height: float | None,
) -> _core.ReductionRow:
    """How few keys are to be left, as the compiled part takes it."""
    count = 0 if keys is None else operator.index(keys)
    if keys is not None and count < 1:
        raise Refused("the number of keys to leave is not above 0; choose a larger one")
    metres = 0.0 if height is None else number(height, "a height")
    if height is not None and not 0 < metres < float("inf"):
        raise Refused("the figure's height is no number of metres above 0; choose another one")
    name, feet = expect(tangents, str, "tangents are named by a text"), truth(contacts, "whether contacts count")
    return _words(tolerance, "a tolerance"), _words(ratio, "a ratio"), min(count, FOREVER), feet, name, metres
