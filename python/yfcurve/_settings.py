"""Settings of the process."""

from __future__ import annotations

from typing import Iterator, MutableMapping, NoReturn, Union

import numpy as np

from . import _core
from ._times import Ticks
from .errors import Refused


class Settings(MutableMapping[str, Union[bool, int, float]]):
    """The settings of the library, by their names: `yfcurve.settings["PlotOnFrame"] = False`.

    They are those of the whole process. Deleting one brings its default back, and `clear` those of all.
    """

    def _types(self) -> dict[str, str]:
        return {name: type for name, type, _, _ in _core.settings()}

    def __getitem__(self, name: str) -> Union[bool, int, float]:
        type = self._types()[name]
        text = _core.setting(name)
        if type == "Bool":
            return text == "true"
        return int(text) if type == "Integer" else float(text)

    def __setitem__(self, name: str, value: Union[bool, int, float]) -> None:
        if name not in self._types():
            raise KeyError(name)
        is_truth = self._types()[name] == "Bool"
        if isinstance(value, (str, bytes)) or is_truth != isinstance(value, (bool, np.bool_)):
            raise Refused(f"{value!r} is no value for {name}: {self.help(name)}")
        text = str(bool(value)).lower() if is_truth else str(value.seconds if isinstance(value, Ticks) else value)
        if not _core.set_setting(name, text):
            raise Refused(f"{value!r} is no value for {name}: {self.help(name)}")

    def __delitem__(self, name: str) -> None:
        _core.reset_setting(name)

    def clear(self) -> None:
        """Brings all defaults back."""
        for name in self:
            del self[name]

    def pop(self, name: str, default: object = None) -> NoReturn:
        """Settings stay where they are: raises `TypeError`."""
        raise TypeError("settings cannot be taken out; del brings a default back")

    def popitem(self) -> NoReturn:
        """Settings stay where they are: raises `TypeError`."""
        raise TypeError("settings cannot be taken out; clear() brings all defaults back")

    def __iter__(self) -> Iterator[str]:
        return iter(self._types())

    def __len__(self) -> int:
        return len(self._types())

    def help(self, name: str) -> str:
        """What a setting means."""
        return {each: help for each, _, _, help in _core.settings()}[name]

    def __repr__(self) -> str:
        return f"<Settings {dict(self)}>"


settings = Settings()
"""The settings of the process."""
