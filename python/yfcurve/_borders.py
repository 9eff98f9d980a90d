"""What is checked and told alike everywhere in the package."""

from __future__ import annotations

import functools
from typing import Any, Callable, Generic, TypeVar, overload

import numpy as np
import numpy.typing as npt

from .errors import Busy

Got = TypeVar("Got")
Given = TypeVar("Given")
Kind = TypeVar("Kind")


@overload
def expect(value: object, kind: type[Kind], what: str) -> Kind: ...
@overload
def expect(value: object, kind: tuple[type, ...], what: str) -> Any: ...
def expect(value: object, kind: Any, what: str) -> Any:
    """The value, where it is of a kind; `what` begins the message where it is not: "a name is a text"."""
    if not isinstance(value, kind):
        raise TypeError(f"{what}, not {value!r}")
    return value


def number(value: object, what: str) -> float:
    """A value as a float, where it is a number."""
    if isinstance(value, (str, bytes)) or not hasattr(value, "__float__"):
        raise TypeError(f"{what} is a number, not {value!r}")
    return float(value)


def truth(value: object, what: str) -> bool:
    """A value as a bool, where it is one."""
    return bool(expect(value, (bool, np.bool_), f"{what} is True or False"))


def truths(**given: object) -> list[bool]:
    """The values of arguments that are True or False."""
    return [truth(value, name) for name, value in given.items()]


def readable(text: str) -> str:
    """A text without the surrogates that stand for bytes which are no UTF-8."""
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "replace")


def unmasked(values: np.ma.MaskedArray[Any, Any]) -> npt.NDArray[np.float64]:
    """The numbers of an array, not-a-number where they are masked."""
    kept = np.array(values.data, dtype=np.float64)
    kept[np.broadcast_to(values.mask, kept.shape)] = np.nan
    return kept


def numbers(values: npt.ArrayLike, dtype: npt.DTypeLike) -> npt.NDArray[Any]:
    """An array of numbers in a row; what is masked, or too large for the type, is not finite in it."""
    if isinstance(values, np.ma.MaskedArray):
        values = unmasked(values)
    given = np.asarray(values).dtype
    if given.kind not in "biufO":
        raise TypeError(f"values are real numbers, not an array of the type {given}")
    with np.errstate(all="ignore"):
        return np.ascontiguousarray(values, dtype=dtype)


def shown_while_busy(tell: Callable[[Any], str]) -> Callable[[Any], str]:
    """A `__repr__` that tells something also where a scene is used from its own progress function."""

    @functools.wraps(tell)
    def told(self: Any) -> str:
        try:
            return tell(self)
        except Busy:
            return f"<{type(self).__name__} of a scene that is being worked on>"

    return told


class Assigned(Generic[Got, Given]):
    """A property that takes more than it gives, such as an array that is assigned as a list."""

    def __init__(self, get: Callable[[Any], Got], set: Callable[[Any, Given], None]) -> None:
        self._get, self._set = get, set
        self.__doc__ = get.__doc__

    @overload
    def __get__(self, of: None, kind: type) -> Assigned[Got, Given]: ...
    @overload
    def __get__(self, of: object, kind: type | None = None) -> Got: ...
    def __get__(self, of: object | None, kind: type | None = None) -> Got | Assigned[Got, Given]:
        return self if of is None else self._get(of)

    def __set__(self, of: object, value: Given) -> None:
        self._set(of, value)
