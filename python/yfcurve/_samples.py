"""Values of many curves at many times."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Iterator

import numpy as np
import numpy.typing as npt

from ._times import second_array
from .errors import NotFound


@dataclass(frozen=True, eq=False)
class Samples:
    """The values of curves at times, as an array with named columns.

    Numpy takes it as the array `values` itself, which has arithmetic; indices and iteration are those of the array,
    but that the path of a curve gives its column.
    """

    values: npt.NDArray[np.float32]
    """Shape (frames, channels)."""
    names: list[str]
    """The paths of the curves, one for each column."""
    ticks: npt.NDArray[np.int64]
    """The exact times of the rows."""

    @property
    def times(self) -> npt.NDArray[np.float64]:
        """The times of the rows in seconds."""
        return second_array(self.ticks)

    @property
    def shape(self) -> tuple[int, int]:
        """Frames and channels."""
        rows, columns = self.values.shape
        return rows, columns

    def __array__(self, dtype: npt.DTypeLike = None, copy: bool | None = None) -> npt.NDArray[Any]:
        array: npt.NDArray[Any] = np.asarray(self.values, dtype=dtype)
        return array.copy() if copy else array

    def __len__(self) -> int:
        return len(self.values)

    def __iter__(self) -> Iterator[npt.NDArray[np.float32]]:
        """The rows, one for each time."""
        return iter(self.values)

    def __contains__(self, column: object) -> bool:
        return column in self.names

    def __getitem__(self, column: Any) -> Any:
        """The column of a curve, by its path; anything else is an index into the array `values`."""
        if not isinstance(column, str):
            return self.values[column]
        if column not in self.names:
            raise NotFound(f"there is no column {column!r}; the attribute names lists those that there are")
        return self.values[:, self.names.index(column)]

    def __repr__(self) -> str:
        return f"<Samples of {self.shape[0]} frames and {self.shape[1]} channels>"
