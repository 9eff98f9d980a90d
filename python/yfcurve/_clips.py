"""Clips: what plays of a scene, as files that programs play have it."""

from __future__ import annotations

import os
from typing import Any, SupportsFloat, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._borders import expect
from ._samples import Samples
from ._times import Rate, Time, fraction_of, given_ticks, seconds_of, ticks_or


class Clip:
    """What plays of a scene, with all layers, made ready to be sampled quickly; it cannot be edited.

    `scene.save("walk.yclip")` writes one, `load_clip` reads it, and `Clip(scene.to_bytes("yclip"))` makes one without
    a file. Any number of threads may sample one clip at the same time.

    Parameters
    ----------
    content : bytes
        What such a file holds.
    name : str
        What messages call it.

    Raises
    ------
    FormatError
        For what is no whole clip of this version.
    """

    __slots__ = ("_c", "_names", "__weakref__")

    def __init__(self, content: bytes, name: str = "clip") -> None:
        if not isinstance(content, (bytes, bytearray, memoryview)):
            raise TypeError(f"a clip is made of bytes, not {content!r}")
        self._c = _core.Clip.open(bytes(content), expect(name, str, "a name is a text"))
        self._names = self._c.names()

    @property
    def names(self) -> list[str]:
        """The paths of the channels."""
        return list(self._names)

    @property
    def span(self) -> tuple[float, float]:
        """The first and last time of a key in seconds, of channels that change; 0 and 0 where nothing moves."""
        start, stop = self._c.span()
        return seconds_of(start), seconds_of(stop)

    def __len__(self) -> int:
        """The channels."""
        return len(self._names)

    def __call__(self, times: Union[SupportsFloat, npt.ArrayLike]) -> npt.NDArray[np.float32]:
        """All channels at a time in seconds, or a row of them for each of several."""
        values = self._c.sample(given_ticks(times, None))  # type: ignore[arg-type]
        row: npt.NDArray[np.float32] = values[0] if np.ndim(times) == 0 else values  # type: ignore[arg-type]
        return row

    def sample(
        self, rate: Rate | None = None, start: Time | None = None, stop: Time | None = None, *,
        times: npt.ArrayLike | None = None, ticks: npt.ArrayLike | None = None,
    ) -> Samples:
        """What plays, at a rate of frames a second, or at times; as `Scene.sample` has it.

        A clip knows no rate, so that one is given, or times are.
        """
        if times is None and ticks is None:
            if rate is None:
                raise TypeError("a clip has no frame rate of its own; give a rate, or times")
            first, last = self._c.span()
            exact = _core.row_times(fraction_of(rate), ticks_or(start, first), ticks_or(stop, last))
        else:
            if rate is not None or start is not None or stop is not None:
                raise TypeError("give the times, or a rate and a span, not both")
            exact = given_ticks(times, ticks)
        return Samples(self._c.sample(exact), self.names, exact)

    def to_bytes(self) -> bytes:
        """The content of its file."""
        return self._c.to_bytes()

    def __reduce__(self) -> tuple[Any, ...]:
        return Clip, (self.to_bytes(),)

    def __repr__(self) -> str:
        start, stop = self.span
        return f"<Clip of {len(self)} channels, {start:g} to {stop:g} s>"


def load_clip(path: Union[str, "os.PathLike[str]"]) -> Clip:
    """Reads a clip (.yclip), to be played.

    Raises
    ------
    OSError
        When the file cannot be read.
    FormatError
        When it is no whole clip of this version.
    """
    with open(path, "rb") as file:
        return Clip(file.read(), os.fsdecode(path))
