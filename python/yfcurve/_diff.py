"""Comparing two scenes."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, NamedTuple

from ._times import timed


@dataclass(frozen=True)
class ValueDifference:
    """A curve that both scenes have, or a rotation, where their values differ most."""

    path: str
    layer: str
    is_orientation: bool
    """The difference is an angle in degrees between two orientations then, and the two values are 0."""
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


@dataclass(frozen=True)
class JointDifference:
    """A joint or end site that both scenes have, and how far it is apart in the world."""

    path: str
    """The names from the root down: "Hips/Spine/Head"."""
    largest: float
    """In the files' own units, at the times that `yfcurve.diff` compares."""
    mean: float
    time: float
    """Of the largest distance, in seconds."""


@dataclass(frozen=True)
class WorldDifference:
    """Where the joints of two scenes are apart in the world: false where nowhere."""

    joints_compared: int
    joints: tuple[JointDifference, ...]
    """Those that are apart."""
    only_here: tuple[str, ...]
    only_there: tuple[str, ...]

    def __bool__(self) -> bool:
        return bool(self.joints or self.only_here or self.only_there)

    @property
    def largest(self) -> float:
        """The largest distance; 0 without any."""
        return max((joint.largest for joint in self.joints), default=0.0)


def difference_of(found: dict[str, Any]) -> Difference:
    """Made of what the compiled part tells."""
    return Difference(
        found["curves_compared"], found["keys_compared"],
        tuple(timed(ValueDifference, value) for value in found["values"]),
        tuple(CurveName(*name) for name in found["only_here"]),
        tuple(CurveName(*name) for name in found["only_there"]),
        tuple(SettingDifference(*setting) for setting in found["settings"]),
    )


def world_difference_of(found: dict[str, Any]) -> WorldDifference:
    """The same of a comparison in the world."""
    return WorldDifference(
        found["joints_compared"], tuple(timed(JointDifference, joint) for joint in found["joints"]),
        tuple(found["only_here"]), tuple(found["only_there"]),
    )
