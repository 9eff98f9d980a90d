"""The words and the array of keys."""

from __future__ import annotations

import enum
from typing import Any, NamedTuple

import numpy as np
import numpy.typing as npt

from ._borders import numbers, unmasked
from ._times import FOREVER, TICKS_PER_SECOND, Clock, Ticks, exact_array, given_ticks, seconds_of, tick_array


class Interpolation(enum.IntEnum):
    """How a curve goes from one key to the next."""

    CONSTANT = 2
    LINEAR = 4
    CUBIC = 8


class Tangents(enum.IntFlag):
    """How the tangents of a cubic key are given: one of `AUTO`, `TCB` and `USER`, and what goes with it by `|`.

    Of constant keys, `NEXT` alone counts.
    """

    NONE = 0
    AUTO = 0x0100
    """An auto parameter blends the slopes to the neighbours."""
    NEXT = 0x4000
    """Of a constant key: it shows the value of the next key already. Without it, it holds its own."""
    TCB = 0x0200
    """Tension, continuity and bias."""
    USER = 0x0400
    """Slopes."""
    BREAK = 0x0800
    """With `AUTO` or `USER`: left and right are edited apart."""
    CLAMP = 0x1000
    """Flat beside an equal neighbour and at an extreme."""
    TIME_INDEPENDENT = 0x2000
    """An auto parameter of 0 means the chord of the neighbours."""


class Extrapolation(enum.IntEnum):
    """What a curve does outside of its keys."""

    CONSTANT = 1
    REPEAT = 2
    MIRROR = 3
    SLOPE = 4


class Outside(NamedTuple):
    """What a curve does on one side of its keys, and over how many key ranges (`UNLIMITED` for ever)."""

    mode: Extrapolation
    ranges: int


UNLIMITED = 0xFFFFFFFF

_FIELDS = [
    ("value", "f4"), ("interpolation", "u1"), ("selected", "?"), ("tangents", "u2"),
    ("left_slope", "f4"), ("right_slope", "f4"), ("left_weight", "f4"), ("right_weight", "f4"),
    ("left_velocity", "f4"), ("right_velocity", "f4"), ("left_auto", "f4"), ("right_auto", "f4"),
    ("tension", "f4"), ("continuity", "f4"), ("bias", "f4"),
]

KEY = np.dtype([("time", "f8"), *_FIELDS], align=True)
"""A row of `Curve.keys`. Times are seconds, slopes units per second, weights parts of the segment. What a key does not
have, as a weight of its own or the tension of a key that is no TCB key, is not-a-number."""

EXACT_KEY = np.dtype([("ticks", "i8"), *_FIELDS], align=True)
"""The same with exact times, as `Curve.exact_keys` has it."""


class Key(NamedTuple):
    """One key, as `Curve[i]` gives it. A value: a change of it changes no curve."""

    time: float
    value: float
    interpolation: Interpolation
    tangents: Tangents
    left_slope: float
    right_slope: float
    selected: bool


def key_of(row: np.void) -> Key:
    return Key(
        seconds_of(int(row["ticks"])), float(row["value"]), Interpolation(int(row["interpolation"])),
        Tangents(int(row["tangents"])), float(row["left_slope"]), float(row["right_slope"]), bool(row["selected"]),
    )


def seconds_of_rows(rows: npt.NDArray[np.void]) -> npt.NDArray[np.void]:
    """Rows with ticks as rows with seconds."""
    keys = np.empty(rows.shape, KEY)
    keys["time"] = rows["ticks"] / float(TICKS_PER_SECOND)
    for name, _ in _FIELDS:
        keys[name] = rows[name]
    return keys


def _named(keys: npt.ArrayLike, clock: Clock) -> npt.NDArray[np.void]:
    """An array with fields: a structured one, or rows of time and value."""
    given = np.asarray(keys)
    if isinstance(keys, np.ma.MaskedArray):
        if given.dtype.names is not None:
            raise TypeError("keys cannot be masked; give those that there are to be, such as keys.compressed()")
        given = unmasked(keys)
    if given.dtype.names is not None:
        return given
    if isinstance(keys, (list, tuple)) and given.ndim == 2 and given.shape[1] == 2:
        times = [row[0] for row in keys]
        if any(isinstance(time, (Ticks, str)) for time in times):
            named = np.empty(len(given), [("ticks", "i8"), ("value", "f8")])
            named["ticks"], named["value"] = given_ticks(times, None, clock), [float(row[1]) for row in keys]
            return named
    if given.size == 0:
        return np.empty(0, KEY)
    if given.dtype.kind not in "fiu" or given.ndim != 2 or given.shape[1] != 2:
        raise TypeError("keys are a structured array such as yfcurve.KEY, or rows of a time and a value")
    named = np.empty(len(given), [("time", "f8"), ("value", "f8")])
    named["time"], named["value"] = given[:, 0], given[:, 1]
    return named


def rows_of(keys: npt.ArrayLike, clock: Clock = None) -> npt.NDArray[np.void]:
    """Complete rows out of those fields that were given; the others are those of a cubic key with auto tangents."""
    given = _named(keys, clock)
    names = set(given.dtype.names or ())
    if given.ndim != 1 or "value" not in names or not names & {"time", "ticks"}:
        raise TypeError("keys have to be a list with the fields time (or ticks) and value")
    unknown = names - set(EXACT_KEY.names or ()) - {"time"}
    if unknown:
        raise TypeError(f"keys have no field {sorted(unknown)[0]!r}; yfcurve.KEY has those that there are")
    rows = np.zeros(given.shape, EXACT_KEY)
    for name, kind in _FIELDS:
        if kind == "f4":
            rows[name] = np.nan
    rows["interpolation"], rows["tangents"] = Interpolation.CUBIC, Tangents.AUTO
    for name, _ in _FIELDS:
        if name in names:
            rows[name] = _checked(name, given[name], rows[name].dtype)
    rows["ticks"] = _ticks_of_keys(given, "ticks" in names)
    return rows


def _checked(name: str, given: npt.NDArray[Any], dtype: npt.DTypeLike) -> npt.NDArray[Any]:
    """A field as keys have it, where it says the same then."""
    if name in ("interpolation", "tangents"):
        known = int(max(Interpolation)) if name == "interpolation" else 0xFFFF
        if given.size and not bool(((given >= 0) & (given <= known)).all()):
            raise ValueError(f"unknown {name}; take what yfcurve.{name.capitalize()} has")
        if bool((given != given.astype(np.int64)).any()):
            raise ValueError(f"unknown {name}; take what yfcurve.{name.capitalize()} has")
    return numbers(given, dtype)


def _ticks_of_keys(given: npt.NDArray[np.void], exact: bool) -> npt.NDArray[np.int64]:
    if exact:
        return exact_array(given["ticks"])
    ticks, missing = tick_array(given["time"])
    if missing is not None or bool((np.abs(ticks) == FOREVER).any()):
        raise ValueError("the times of keys have to be finite")
    return ticks
