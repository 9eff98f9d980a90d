"""Comparing two scenes."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, NamedTuple

from ._times import seconds_of


@dataclass(frozen=True)
class ValueDifference:
    """A curve that both scenes have, or a rotation, where their values differ most."""

    path: str
    layer: str
    is_orientation: bool
    """The difference is an angle in degrees between two orientations then."""
    difference: float
    here: float
    there: float
    time: float


class CurveName(NamedTuple):
    """A curve, by its path and the name of its layer, which is empty for the base layer."""

    path: str
    layer: str


class SettingDifference(NamedTuple):
    """Something else in which two scenes differ, empty on the side that lacks it."""

    what: str
    here: str
    there: str


@dataclass(frozen=True)
class Difference:
    """How two scenes differ: false where they play and look alike."""

    curves_compared: int
    keys_compared: int
    values: tuple[ValueDifference, ...]
    only_here: tuple[CurveName, ...]
    only_there: tuple[CurveName, ...]
    settings: tuple[SettingDifference, ...]

    def __bool__(self) -> bool:
        return bool(self.values or self.only_here or self.only_there or self.settings)

    @property
    def largest(self) -> float:
        """The largest difference of a value; 0 without any."""
        return max((value.difference for value in self.values), default=0.0)


def difference_of(found: dict[str, Any]) -> Difference:
    """Made of what the compiled part tells."""
    values = tuple(
        ValueDifference(time=seconds_of(value["ticks"]), **{k: v for k, v in value.items() if k != "ticks"})
        for value in found["values"])
    return Difference(
        found["curves_compared"], found["keys_compared"], values,
        tuple(CurveName(*name) for name in found["only_here"]),
        tuple(CurveName(*name) for name in found["only_there"]),
        tuple(SettingDifference(*setting) for setting in found["settings"]),
    )
