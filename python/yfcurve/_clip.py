"""The steps of `Scene.clip`."""

from __future__ import annotations

from typing import Iterator, Mapping

import numpy as np

from ._borders import expect
from ._filters import text_of
from ._times import rate_text


def clip_steps(steps: tuple[str, ...], tools: Mapping[str, object]) -> list[str]:
    """Steps as the program has them, "trim=1:3", those with keywords behind the others."""
    given = [expect(step, str, "a step is a text") for step in steps]
    return [*given, *(step for name, value in tools.items() for step in _steps_of(name.replace("_", "-"), value))]


def _steps_of(name: str, value: object) -> Iterator[str]:
    if isinstance(value, (bool, np.bool_)):
        if value:
            yield name
    elif isinstance(value, Mapping):
        for old, new in value.items():
            yield f"{name}={old}={new}"
    elif isinstance(value, list):
        for each in value:
            yield from _steps_of(name, each)
    elif value is not None:
        yield f"{name}={rate_text(value) if name == 'rate' else _text_of(value)}"


def _text_of(value: object) -> str:
    if isinstance(value, tuple):
        parts = ["" if part is None else text_of(part) for part in value]
        # Time codes have colons of their own.
        return (".." if any(":" in part for part in parts) else ":").join(parts)
    return text_of(value)
