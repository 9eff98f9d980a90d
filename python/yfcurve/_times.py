"""Times: seconds as floats, and exact ticks; and the patterns that choose curves."""

from __future__ import annotations

import math
import re
from collections.abc import Iterable
from fractions import Fraction
from typing import TYPE_CHECKING, Any, Callable, SupportsFloat, SupportsIndex, TypeVar, Union, overload

import numpy as np
import numpy.typing as npt

from . import _core
from ._borders import number, unmasked
from .errors import Refused

if TYPE_CHECKING:
    from ._node import Node

Made = TypeVar("Made")

FOREVER = (1 << 63) - 1
_MOST_SECONDS = FOREVER // _core.TICKS_PER_SECOND


class Ticks(int):
    """An exact time: a number of ticks, of which 46,186,158,000 are a second.

    Every function that takes a time takes seconds as a float, or this where the very tick counts, also as elements of
    a list of times. Arrays of ticks are given by the argument `ticks` of functions that have it.

    Exact times stay so in sums and differences, with whole numbers as ticks, and in multiples and parts, which are
    rounded to the nearest tick. The quotient of two is a number, and there is no product of two. Adding a float raises
    `TypeError`, as it is seconds: `Ticks.of` makes an exact time of one. With a float on the left, Python itself works with floats.

    Examples
    --------
    >>> second = Ticks.of(1)
    >>> (second + second / 4 - 2 * second).seconds, second / Ticks.of(0.25)
    (-0.75, 4.0)
    """

    __slots__ = ()

    @classmethod
    def of(cls, time: Time) -> Ticks:
        """The tick that is nearest to a time in seconds.

        Raises
        ------
        ValueError
            For what is not a number.
        """
        return cls(ticks_of(time))

    @property
    def seconds(self) -> float:
        """The same time in seconds."""
        return int(self) / TICKS_PER_SECOND

    def __add__(self, other: int) -> Ticks:
        if _is_no_time(other):
            return NotImplemented
        return Ticks(int(self) + int(other))

    __radd__ = __add__

    def __sub__(self, other: int) -> Ticks:
        if _is_no_time(other):
            return NotImplemented
        return Ticks(int(self) - int(other))

    def __rsub__(self, other: int) -> Ticks:
        return -(self - other)

    def __mul__(self, factor: float) -> Ticks:
        if isinstance(factor, Ticks):
            raise TypeError("the product of two times is no time; multiply by a number, such as Ticks.seconds")
        if _is_no_number(factor):
            return NotImplemented
        return Ticks(round(int(self) * _exact(factor)))

    __rmul__ = __mul__

    @overload  # type: ignore[override]
    def __truediv__(self, other: Ticks) -> float: ...
    @overload
    def __truediv__(self, other: float) -> Ticks: ...
    def __truediv__(self, other: float) -> float | Ticks:
        if isinstance(other, Ticks):
            return int(self) / int(other)
        if _is_no_number(other):
            return NotImplemented
        return Ticks(round(int(self) / _exact(other)))

    def __floordiv__(self, other: int) -> int:
        if _is_no_time(other):
            return NotImplemented
        whole = int(self) // int(other)
        return whole if isinstance(other, Ticks) else Ticks(whole)

    def __mod__(self, other: int) -> Ticks:
        if _is_no_time(other):
            return NotImplemented
        return Ticks(int(self) % int(other))

    def __divmod__(self, other: int) -> tuple[int, Ticks]:
        if _is_no_time(other):
            return NotImplemented
        return self // other, self % other

    def __round__(self, digits: SupportsIndex = 0) -> Ticks:
        return Ticks(round(int(self), digits))

    def __neg__(self) -> Ticks:
        return Ticks(-int(self))

    def __pos__(self) -> Ticks:
        return self

    def __abs__(self) -> Ticks:
        return Ticks(abs(int(self)))


def _is_no_time(other: object) -> bool:
    """What is left to the other side of a sum, such as an array. Raises for seconds."""
    if isinstance(other, (float, np.floating)):
        raise TypeError("a float is seconds, which are no exact time; make one with Ticks.of")
    return not isinstance(other, (int, np.integer))


def _is_no_number(other: object) -> bool:
    return not isinstance(other, (int, float, Fraction, np.integer, np.floating))


def _exact(factor: Any) -> Fraction:
    return Fraction(factor.item() if isinstance(factor, np.generic) else factor)


TICKS_PER_SECOND = Ticks(_core.TICKS_PER_SECOND)
"""A second, exactly: `ticks / TICKS_PER_SECOND` are seconds."""

Patterns = Union[str, "Node", Iterable[Union[str, "Node"]], None]
"""Which curves: names, paths or patterns as the program takes them, "LeftLeg", "Lcl Rotation/X" or "*Arm", or nodes,
which mean themselves alone whatever others are called; None for all. A joint stands for its properties, not for its
child joints, a node on a layer for what it is a layer of, and the top of the tree for everything."""

Time = Union[float, Ticks, str]
"""Seconds, exact ticks, or a text: seconds ("1.5"), frames ("45f") or a time code ("00:00:01:15") at the rate of the
scene. Seconds alone are understood where there is no scene."""

Clock = Union[_core.Scene, _core.Node, _core.Curve, None]
"""Whose frames a time is counted in: a scene, or what belongs to one."""
Rate = Union[float, Fraction, str]
"""Frames a second: 30, 29.97, `Fraction(24000, 1001)` or "24000/1001"."""


_SECONDS = re.compile(r"[+-]?(\d+\.?\d*|\.\d+)(e[+-]?\d+)?", re.ASCII | re.IGNORECASE)


def _ticks_of_text(time: str, clock: Clock) -> int:
    scene = clock if clock is None or isinstance(clock, _core.Scene) else clock.scene()
    if scene is not None:
        return scene.time_of(time)
    if not _SECONDS.fullmatch(time):
        raise Refused(f"{time!r} takes the frame rate of a scene, and there is none here; give seconds")
    return ticks_of(float(time))


def ticks_of(time: Union[SupportsFloat, str], clock: Clock = None) -> int:
    """A time as ticks, infinities as the first and the last one."""
    if isinstance(time, str):
        return _ticks_of_text(time, clock)
    if isinstance(time, Ticks):
        if not -FOREVER <= time <= FOREVER:
            raise ValueError("a time has more ticks than fit into 64 bits")
        return int(time)
    if isinstance(time, (bool, np.bool_)):
        raise TypeError(f"a time is a number of seconds, not {time!r}")
    seconds = number(time, "a time")
    if math.isnan(seconds):
        raise ValueError("a time is not a number")
    return int(_core.ticks_of_seconds(np.float64(seconds)))


_LARGEST = float(np.finfo(np.float32).max)


def finite(value: SupportsFloat) -> float:
    """A number that single precision can hold."""
    value = number(value, "a value")
    if not abs(value) <= _LARGEST:
        raise ValueError("values have to be finite, and within single precision")
    return value


def key_ticks(time: Union[SupportsFloat, str], clock: Clock = None) -> int:
    """A time at which there can be a key."""
    ticks = ticks_of(time, clock)
    if abs(ticks) == FOREVER:
        raise ValueError("the times of keys have to be finite")
    return ticks


def ticks_or(time: Union[SupportsFloat, str, None], otherwise: int, clock: Clock = None) -> int:
    return otherwise if time is None else ticks_of(time, clock)


def span_of(start: Time | None, stop: Time | None, clock: Clock) -> tuple[int, int]:
    """A span of time as ticks, open where nothing is given."""
    span = ticks_or(start, -FOREVER, clock), ticks_or(stop, FOREVER, clock)
    if span[1] < span[0]:
        raise Refused("the span ends before it starts; choose another")
    return span


def seconds_of(ticks: int) -> float:
    """Ticks as seconds; the first and the last one are the infinities."""
    if abs(ticks) == FOREVER:
        return math.copysign(math.inf, ticks)
    return ticks / TICKS_PER_SECOND


def timed(kind: Callable[..., Made], row: dict[str, Any]) -> Made:
    """Makes something that has a time in seconds of what the compiled part tells with ticks."""
    return kind(time=seconds_of(row["ticks"]), **{name: value for name, value in row.items() if name != "ticks"})


def tick_array(
    times: npt.ArrayLike, clock: Clock = None
) -> tuple[npt.NDArray[np.int64], npt.NDArray[np.bool_] | None]:
    """Seconds as ticks, and where they are not numbers; None for nowhere. Elements that are `Ticks` stay exact."""
    if isinstance(times, (int, str, list, tuple)) or getattr(times, "dtype", None) == object:
        # Before numpy makes plain numbers of exact times.
        single = np.asarray(times, dtype=object)
        if any(isinstance(time, (Ticks, str)) for time in single.flat):
            return _ticks_one_by_one(single, clock)
    if isinstance(times, np.ma.MaskedArray):
        times = unmasked(times)
    given = np.asarray(times)
    if given.dtype.kind == "O":
        given = np.array([float(time) for time in given.ravel()]).reshape(given.shape)
    if given.dtype.kind not in "fiu":
        raise TypeError("times are numbers of seconds")
    if given.dtype.kind in "iu" and given.size and max(int(given.max()), -int(given.min())) > _MOST_SECONDS:
        raise TypeError("these whole numbers are too large for seconds; give ticks by the argument ticks, or as Ticks")
    # Of at least one axis without this.
    seconds = np.ascontiguousarray(given, dtype=np.float64).reshape(given.shape)
    missing = np.isnan(seconds)
    return _core.ticks_of_seconds(seconds), missing if missing.any() else None


def _ticks_one_by_one(
    times: npt.NDArray[np.object_], clock: Clock
) -> tuple[npt.NDArray[np.int64], npt.NDArray[np.bool_] | None]:
    missing = np.array([time != time for time in times.flat]).reshape(times.shape)
    ticks = np.array([0 if time != time else ticks_of(time, clock) for time in times.flat], np.int64)
    return ticks.reshape(times.shape), missing if missing.any() else None


def exact_array(ticks: npt.ArrayLike) -> npt.NDArray[np.int64]:
    """An array of whole numbers as exact times."""
    given = np.asarray(ticks)
    if not given.size:
        return np.zeros(given.shape, np.int64)
    if given.dtype.kind not in "iu":
        raise TypeError("ticks are whole numbers")
    if int(given.max()) > FOREVER or int(given.min()) < -FOREVER:
        raise ValueError("a time has more ticks than fit into 64 bits")
    return np.ascontiguousarray(given, dtype=np.int64).reshape(given.shape)


def given_ticks(
    times: npt.ArrayLike | None, ticks: npt.ArrayLike | None, clock: Clock = None
) -> npt.NDArray[np.int64]:
    """A list of exact times out of seconds or ticks, of which one is given."""
    if (times is None) == (ticks is None):
        raise TypeError("give the times in seconds, or as ticks")
    if ticks is not None:
        exact, missing = exact_array(ticks), None
    else:
        exact, missing = tick_array(times, clock)  # type: ignore[arg-type]
    if missing is not None:
        raise ValueError("a time is not a number")
    if exact.ndim > 1:
        raise ValueError("times are one list of numbers, not an array of several axes")
    return np.atleast_1d(exact)


def second_array(ticks: npt.NDArray[np.int64]) -> npt.NDArray[np.float64]:
    return ticks / float(TICKS_PER_SECOND)


def rate_text(rate: object) -> str:
    """A rate as the program takes it."""
    if isinstance(rate, (bool, np.bool_)):
        raise TypeError(f"a rate is frames a second, not {rate!r}")
    if isinstance(rate, (int, np.integer)):
        return str(int(rate))
    # As a double, 29.97 of a lesser precision would have more digits, and be another rate.
    is_text = isinstance(rate, (Fraction, str, np.float32, np.float16))
    return str(rate) if is_text else repr(number(rate, "a rate"))


def fraction_of(rate: Rate) -> tuple[int, int]:
    """A rate as a fraction of whole numbers; 29.97 and the like mean the rates of video that they are short for."""
    fraction = _core.rate_of(rate_text(rate))
    if fraction is None:
        raise ValueError(f"{rate!r} is no rate; take frames a second, above 0 and no more than a million")
    return fraction


def patterns_of(nodes: Patterns) -> _core.Choices:
    """Patterns and nodes as a list, empty for all."""
    if nodes is None:
        return []
    if isinstance(nodes, str) or _core_node(nodes) is not None:
        return [pattern_of(nodes)]
    if not isinstance(nodes, Iterable):
        raise TypeError(f"nodes are chosen by patterns such as 'LeftLeg', or are nodes, not {nodes!r}")
    patterns = [pattern_of(node) for node in nodes]
    if not patterns:
        raise ValueError("no patterns are given; take None for everything")
    return patterns


def pattern_of(node: object) -> str | _core.Node:
    """A pattern, or what the compiled part knows a node by."""
    if isinstance(node, str):
        return node
    core = _core_node(node)
    if core is None:
        raise TypeError(f"nodes are chosen by patterns such as 'LeftLeg', or are nodes, not {node!r}")
    return core


def _core_node(node: object) -> _core.Node | None:
    core = getattr(node, "_n", None)
    return core if isinstance(core, _core.Node) else None
