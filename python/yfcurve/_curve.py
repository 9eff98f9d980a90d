"""The function curve."""

from __future__ import annotations

import operator
from typing import Any, Iterator, NamedTuple, Sequence, SupportsIndex, Union, overload

import numpy as np
import numpy.typing as npt

from . import _core
from ._borders import Assigned, expect, numbers, shown_while_busy, truth
from ._keys import (
    UNLIMITED, Extrapolation, Interpolation, Key, Outside, Tangents, key_of, rows_of, seconds_of_rows,
)
from ._times import (
    Rate, Time, exact_array, finite, fraction_of, given_ticks, key_ticks, second_array, seconds_of, span_of, tick_array,
    ticks_of,
)
from .errors import Refused


class Candidate(NamedTuple):
    """A value at one time that is no key yet."""

    time: float
    value: float


class Curve:
    """A value over time, given by keys.

    Parameters
    ----------
    keys : array_like, optional
        As for `Curve.keys`: a structured array, or rows of a time and a value.

    Examples
    --------
    >>> curve = Curve([(0.0, 0.0), (1.0, 10.0)])
    >>> len(curve), round(curve(0.5), 3)
    (2, 5.0)
    """

    __slots__ = ("_c",)

    def __init__(self, keys: npt.ArrayLike | None = None) -> None:
        self._c = _core.Curve()
        if keys is not None:
            self.keys = keys

    @classmethod
    def _of(cls, core: _core.Curve) -> Curve:
        curve = cls.__new__(cls)
        curve._c = core
        return curve

    @classmethod
    def from_samples(cls, values: npt.ArrayLike, rate: Rate = 30.0, start: Time = 0.0) -> Curve:
        """A curve with a cubic key for each of many values.

        Parameters
        ----------
        values : array_like, shape (n,)
            Finite numbers.
        rate : float or Fraction
            How many of them are a second.
        start : float or Ticks
            The time of the first one, in seconds.

        Raises
        ------
        ValueError
            For values that are not finite, or no list, and for a rate that is not above 0.
        """
        samples = numbers(values, np.float32)
        if np.ndim(values) != 1:
            raise ValueError("samples of a curve are a list of numbers")
        curve = cls()
        if len(samples):
            curve._c.set_plain_keys(_core.frame_times(fraction_of(rate), ticks_of(start), len(samples)), samples)
        return curve

    # --- Keys ------------------------------------------------------------------------------------------

    @property
    def times(self) -> npt.NDArray[np.float64]:
        """The times of the keys in seconds, ascending: shape (n,)."""
        return second_array(self._c.ticks())

    @property
    def ticks(self) -> npt.NDArray[np.int64]:
        """The exact times of the keys: shape (n,)."""
        return self._c.ticks()

    @property
    def values(self) -> npt.NDArray[np.float32]:
        """The values of the keys: shape (n,)."""
        return self._c.values()

    def _keys(self) -> npt.NDArray[np.void]:
        """The keys as a structured array of the type `yfcurve.KEY`: shape (n,).

        Assigning takes an array with the fields `time` and `value` and any others of `yfcurve.KEY`, or rows of a time
        and a value; other keys go. What a field does not say is as in a new key: cubic, with auto tangents. Slopes
        count where the tangents are `USER`, auto parameters where they are `AUTO`, and tension, continuity and bias
        where they are `TCB`. Constant keys hold their value unless `NEXT` is among their tangents, of which nothing
        else counts then. A change of the array alone changes no curve.

        Raises
        ------
        ValueError
            For times that do not ascend, for what is not finite where it counts, for weights beyond 0 and 1, and for
            words of `Interpolation` and `Tangents` that there are not. The keys are as they were then.
        TypeError
            For fields that keys do not have.
        """
        return seconds_of_rows(self._c.keys())

    def _set_keys(self, keys: npt.ArrayLike) -> None:
        self._c.set_keys(rows_of(keys, self._c))

    keys = Assigned(_keys, _set_keys)

    @property
    def exact_keys(self) -> npt.NDArray[np.void]:
        """As `keys`, of the type `yfcurve.EXACT_KEY`: with ticks in place of seconds."""
        return self._c.keys()

    def __len__(self) -> int:
        return self._c.count()

    def __bool__(self) -> bool:
        return True

    def __getitem__(self, index: SupportsIndex) -> Key:
        """One key, counted from the first one, or with a negative number from the last."""
        return key_of(self._c.key(_number_of_key(index)))

    def __iter__(self) -> Iterator[Key]:
        return iter([key_of(row) for row in self._c.keys()])

    def add(
        self, time: Time, value: float, interpolation: Interpolation = Interpolation.CUBIC,
        tangents: Tangents = Tangents.AUTO,
    ) -> int:
        """Adds a key, or replaces the one at that time; returns its number.

        A constant key holds its value, or with the tangents `NEXT` shows that of the next key.
        """
        return self._c.add_key(ticks_of(time, self._c), finite(value), *kinds_of(interpolation, tangents))

    def insert(self, times: npt.ArrayLike | None = None, *, ticks: npt.ArrayLike | None = None) -> int:
        """Adds keys that leave the shape of the curve as it is; returns how many that adds.

        Takes seconds, or exact times by the name `ticks`. A key beyond the others makes what a curve repeats longer.
        """
        return self._c.insert_keys(given_ticks(times, ticks, self._c))

    def move_key(self, index: int, time: Time) -> int:
        """Moves a key in time, past others if need be; returns its new number.

        Raises
        ------
        Refused
            Where another key has that time.
        """
        moved = self._c.move_key(_number_of_key(index), ticks_of(time, self._c))
        if moved < 0:
            raise Refused("another key has that time; remove it first, or choose another time")
        return moved

    def turn_key(self, index: int, tangents: Tangents) -> None:
        """Sets the tangents of one key, as `set_tangents` does of many."""
        self._c.turn_key(_number_of_key(index), kinds_of(Interpolation.CUBIC, tangents)[1])

    def remove(self, index: int) -> None:
        """Removes a key."""
        self._c.remove_key(_number_of_key(index))

    def remove_span(self, start: Time | None = None, stop: Time | None = None) -> bool:
        """Removes the keys from one time to another, both included; returns whether there were any."""
        return self._c.remove_span(*span_of(start, stop, self._c))

    def clear(self) -> None:
        """Removes all keys. The default value stays what it is; `remove_span` makes it that of the last key."""
        self._c.clear()

    def select(self, selected: bool = True) -> None:
        """Selects all keys, or none."""
        self._c.select(truth(selected, "whether they are selected"))

    def move(self, time: Time = 0.0, value: float = 0.0, *, selected: bool = False) -> None:
        """Moves all keys, or the selected ones, in time and value.

        Raises
        ------
        Refused
            Where a moved key would come to lie on one that stays, or out of time.
        """
        if not self._c.move(selected, key_ticks(time, self._c), finite(value)):
            raise Refused("a moved key would lie on one that stays, or out of time; choose another distance")

    def scale(self, factor: float, *, selected: bool = False) -> None:
        """Multiplies values and slopes of all keys, or of the selected ones."""
        self._c.scale(selected, finite(factor))

    def set_interpolation(self, interpolation: Interpolation, *, selected: bool = False) -> None:
        """Sets the interpolation of all keys, or of the selected ones.

        Keys that become constant hold their value: `set_tangents` with `NEXT` lets them show that of the next key.
        """
        self._c.set_interpolation(selected, kinds_of(interpolation, 0)[0])

    def set_tangents(self, tangents: Tangents, *, selected: bool = False) -> None:
        """Sets the tangents of all keys, or of the selected ones. Those that become `USER` keep their slopes.

        Of constant keys it sets `NEXT` alone, where that is given.
        """
        self._c.set_tangents(selected, kinds_of(Interpolation.CUBIC, tangents)[1])

    def replace(
        self, source: Curve, start: Time | None = None, stop: Time | None = None, *, exact_span: bool = True,
        key_at_ends: bool = True, offset: Time = 0.0,
    ) -> None:
        """Replaces the curve over a span by what another one shows `offset` seconds earlier, where that has keys.

        Beyond the keys of the source, what it goes on to show there is not taken.
        With `key_at_ends` everything outside of the span stays what it is. Without `exact_span`, the span is narrowed
        to the keys of the source in it.

        Raises
        ------
        Refused
            For a span that ends before it starts.
        """
        from_ = expect(source, Curve, "the source is a curve")._c
        span = span_of(start, stop, self._c)
        self._c.replace(from_, *span, exact_span, key_at_ends, key_ticks(offset, self._c))

    def insert_curve(self, source: Curve, time: Time, gap: Time = 0.0) -> None:
        """Makes room at a time, and puts the keys of another curve there.

        Raises
        ------
        Refused
            For a source without keys, a gap below 0, and one of 0 at the very time of a key.
        """
        from_ = expect(source, Curve, "the source is a curve")._c
        if not self._c.insert_curve(from_, key_ticks(time, self._c), key_ticks(gap, self._c)):
            raise Refused("the keys cannot be put there; take a larger gap, or a curve that has keys")

    # --- Evaluation ------------------------------------------------------------------------------------

    @overload
    def __call__(self, times: Union[float, str, np.floating[Any], np.integer[Any]]) -> float: ...
    @overload
    def __call__(
        self, times: npt.NDArray[Any] | Sequence[float] | list[str] | list[float | str] | tuple[float | str, ...]
    ) -> npt.NDArray[np.float32]: ...

    def __call__(self, times: Any) -> Any:
        """The value at a time, or at each of many.

        Parameters
        ----------
        times : float, Ticks or array_like
            Seconds, in any order. At what is not a number, the value is none either.

        Returns
        -------
        float or ndarray of float32
            An array of the same shape for an array. Its values are those of single times but for the last digit.
        """
        if isinstance(times, (float, int, str, np.floating, np.integer)):
            return float("nan") if times != times else self._c.evaluate_at(ticks_of(times, self._c))
        ticks, missing = tick_array(times, self._c)
        values = self._c.evaluate(ticks.ravel()).reshape(ticks.shape)
        if missing is not None:
            values[missing] = np.nan
        return values

    def at_ticks(self, ticks: npt.ArrayLike) -> npt.NDArray[np.float32]:
        """The values at exact times: an array of whole numbers, which gives one of the same shape."""
        exact = exact_array(ticks)
        return self._c.evaluate(exact.ravel()).reshape(exact.shape)

    def slopes(self, times: npt.ArrayLike, *, side: str = "right") -> npt.NDArray[np.float32]:
        """The slopes at times, in units per second, on the "right" or on the "left"."""
        if side not in ("left", "right"):
            raise ValueError("a side is 'left' or 'right'")
        ticks, missing = tick_array(times, self._c)
        slopes = self._c.slopes(ticks.ravel(), side == "right").reshape(ticks.shape)
        if missing is not None:
            slopes[missing] = np.nan
        return slopes

    # --- Settings --------------------------------------------------------------------------------------

    @property
    def default(self) -> float:
        """The value of a curve without keys."""
        return self._c.default()

    @default.setter
    def default(self, value: float) -> None:
        self._c.set_default(finite(value))

    def _before(self) -> Outside:
        """What the curve does before its first key. Takes an `Extrapolation`, or one with a count."""
        mode, count, _, _ = self._c.extrapolation()
        return _outside(mode, count)

    def _set_before(self, outside: Union[Extrapolation, tuple[Extrapolation, int]]) -> None:
        _, _, mode, count = self._c.extrapolation()
        self._c.set_extrapolation((*_numbers(outside), mode, count))

    before = Assigned(_before, _set_before)

    def _after(self) -> Outside:
        """What the curve does after its last key. Takes an `Extrapolation`, or one with a count."""
        _, _, mode, count = self._c.extrapolation()
        return _outside(mode, count)

    def _set_after(self, outside: Union[Extrapolation, tuple[Extrapolation, int]]) -> None:
        mode, count, _, _ = self._c.extrapolation()
        self._c.set_extrapolation((mode, count, *_numbers(outside)))

    after = Assigned(_after, _set_after)

    def _color(self) -> tuple[float, float, float]:
        """Red, green and blue, 0 to 1, for display."""
        red, green, blue = self._c.color()
        return red, green, blue

    def _set_color(self, color: Sequence[float]) -> None:
        red, green, blue = (float(part) for part in color)
        if not all(0 <= part <= 1 for part in (red, green, blue)):
            raise ValueError("a color is red, green and blue, each from 0 to 1")
        self._c.set_color((red, green, blue))

    color = Assigned(_color, _set_color)

    @property
    def locked(self) -> bool:
        """A locked curve is read, but not edited: edits raise `Refused`, and filters leave it alone.

        It is locked by itself, with its property or by its layer; setting it is about the curve itself. Its keys can be
        selected, and its color set.
        """
        return self._c.is_locked()

    @locked.setter
    def locked(self, locked: bool) -> None:
        self._c.lock(truth(locked, "whether it is locked"))

    @property
    def update_id(self) -> int:
        """A number that is another one after each change of keys, selection, default value and extrapolation."""
        return self._c.update_id()

    # --- Candidate -------------------------------------------------------------------------------------

    def _candidate(self) -> Candidate | None:
        """A value at one time that is no key yet; None without one. Takes a pair of time and value, or None."""
        found = self._c.candidate()
        return None if found is None else Candidate(seconds_of(found[0]), found[1])

    def _set_candidate(self, candidate: tuple[Time, float] | None) -> None:
        if candidate is None:
            self._c.clear_candidate()
        else:
            self._c.set_candidate(key_ticks(candidate[0], self._c), finite(candidate[1]))

    candidate = Assigned(_candidate, _set_candidate)

    def key_candidate(
        self, interpolation: Interpolation = Interpolation.CUBIC, tangents: Tangents = Tangents.AUTO
    ) -> int | None:
        """Makes a key of the candidate; returns its number, None without a candidate."""
        index = self._c.key_candidate(*kinds_of(interpolation, tangents))
        return None if index < 0 else index

    # --- As a value ------------------------------------------------------------------------------------

    def copy(self, start: Time | None = None, stop: Time | None = None) -> Curve:
        """A curve of its own with the same settings and keys, or those of a span. It is not locked."""
        if start is None and stop is None:
            whole = Curve()
            whole._c.copy_from(self._c, True)
            return whole
        return Curve._of(self._c.copy(*span_of(start, stop, self._c)))

    __copy__ = copy

    def __deepcopy__(self, memo: object) -> Curve:
        return self.copy()

    def __reduce__(self) -> tuple[Any, ...]:
        state = (
            self._c.raw_keys(), self._c.default(), self._c.extrapolation(), self.color, self._c.sample_rate(),
        )
        return _from_state, state

    def __eq__(self, other: object) -> bool:
        """Whether both are the same curve of the same scene, not whether they have the same keys."""
        return isinstance(other, Curve) and self._c.identity() == other._c.identity()

    def __hash__(self) -> int:
        return hash(self._c.identity())

    @shown_while_busy
    def __repr__(self) -> str:
        if not self._c.is_alive():
            return "<Curve that was removed>"
        ticks = self._c.ticks()
        if not len(ticks):
            return f"<Curve without keys, {self.default:g}>"
        values = self._c.values()
        keys = "1 key" if len(ticks) == 1 else f"{len(ticks)} keys"
        return (
            f"<Curve of {keys}, {seconds_of(int(ticks[0])):g} to {seconds_of(int(ticks[-1])):g} s, "
            f"{values.min():g} to {values.max():g}>"
        )


def _number_of_key(index: SupportsIndex) -> int:
    if not hasattr(index, "__index__"):
        raise TypeError(f"keys are numbered; {index!r} is no number of one")
    place = operator.index(index)
    if not -(1 << 31) <= place < 1 << 31:
        raise IndexError("there is no key of that number")
    return place


def kinds_of(interpolation: int, tangents: int) -> tuple[int, int]:
    """The numbers of both, of which the compiled part knows whether there are such."""
    given = operator.index(tangents)
    if not 0 <= given < 1 << 32:
        raise ValueError("there are no such tangents; take some of Tangents")
    return operator.index(Interpolation(interpolation)), given


def _outside(mode: int, count: int) -> Outside:
    known = mode in Extrapolation._value2member_map_
    return Outside(Extrapolation(mode) if known else Extrapolation.CONSTANT, count)


def _numbers(outside: Union[Extrapolation, tuple[Extrapolation, int]]) -> tuple[int, int]:
    mode, count = outside if isinstance(outside, tuple) else (outside, UNLIMITED)
    if not hasattr(count, "__index__"):
        raise TypeError(f"a count of key ranges is a whole number, not {count!r}")
    if not 0 <= count <= UNLIMITED:
        raise ValueError("a count of key ranges is from 0 to UNLIMITED")
    return int(Extrapolation(mode)), operator.index(count)


def _from_state(
    raw: npt.NDArray[np.void], default: float, extrapolation: tuple[int, int, int, int],
    color: tuple[float, float, float], rate: int,
) -> Curve:
    curve = Curve()
    curve._c.set_default(default)
    curve._c.set_extrapolation(extrapolation)
    curve._c.set_color(color)
    curve._c.set_sample_rate(rate)
    curve._c.set_raw_keys(raw)
    return curve
