"""Edits that can be undone and redone."""

from __future__ import annotations

import contextlib
from typing import Iterator

from . import _core
from ._borders import expect


class History:
    """The edits of a scene, as `Scene.history` gives them, to be undone and redone.

    It remembers keys and what else curves have (default values, extrapolation, colours), which properties have curves,
    which are on which layers, the quaternion form and the rotation order of rotations, from the first use of
    `Scene.history` on, and how rotations and scalings of layers add up (`Layer.rotation_mode`, `Layer.scaling_mode`).
    Each call that changes these is a step, and so is all in a `with` statement on `step`; selecting keys alone is none.
    What else a scene has (names, locks, other settings and weights of layers, its rate) is not remembered. Steps are
    forgotten by `Scene.clip` and `Scene.join`, and where nodes or layers are removed; beyond 64 MiB the oldest go first.
    Copies of a scene have a history of their own.

    Within a `with` statement on `step`, `Scene.clip`, `Scene.join`, `Layers.remove` and `Layers.merge` raise `Refused`.
    """

    __slots__ = ("_s",)

    def __init__(self, scene: _core.Scene) -> None:
        _core.remember(scene)
        self._s = scene

    @contextlib.contextmanager
    def step(self, name: str) -> Iterator[None]:
        """Makes one step of all edits in a `with` statement; an exception takes them back.

        Steps within others are parts of these. An exception that leaves only an inner one takes nothing back: the
        outermost step takes back all of its edits, also those of inner steps, when an exception leaves it. After a
        step that added a node, later steps can edit that node too.
        """
        is_outermost = _core.begin_step(self._s, expect(name, str, "the name of a step is a text"))
        try:
            yield
        except BaseException:
            (_core.cancel_step if is_outermost else _core.end_step)(self._s)
            raise
        _core.end_step(self._s)

    def undo(self) -> None:
        """Takes the last step back: every key is what it was, to the bit.

        Raises
        ------
        Refused
            Where there is none, and within `step`.
        """
        _core.undo(self._s)

    def redo(self) -> None:
        """Makes the step again that was taken back last. What is edited in between ends that.

        Raises
        ------
        Refused
            Where there is none, and within `step`.
        """
        _core.redo(self._s)

    @property
    def undo_names(self) -> list[str]:
        """The names of the steps that can be taken back, the last one first; empty for those without a name."""
        return _core.step_names(self._s)[0]

    @property
    def redo_names(self) -> list[str]:
        """The names of the steps that can be made again, the next one first."""
        return _core.step_names(self._s)[1]

    def clear(self) -> None:
        """Forgets all steps, and goes on remembering."""
        _core.forget_steps(self._s)

    def __repr__(self) -> str:
        return f"<History of {len(self.undo_names)} steps to undo and {len(self.redo_names)} to redo>"
