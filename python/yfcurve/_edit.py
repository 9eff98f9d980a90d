"""Editing selected keys."""

from __future__ import annotations

import math
from types import TracebackType
from typing import TYPE_CHECKING, Union

from . import _core
from ._borders import number, truths
from ._curve import Curve
from ._layers import Layer, layer_id
from ._times import Patterns, Time, finite, key_ticks, patterns_of, span_of
from .errors import Gone, Refused

if TYPE_CHECKING:
    from ._scene import Scene

_MODES = ("replace", "add", "remove", "toggle")
_LEAST, _MOST = -1.7976931348623157e308, 1.7976931348623157e308


def _nodes_of(scene: Scene, nodes: Patterns, layer: int) -> list[_core.Node]:
    """The nodes that hold the chosen curves, or their counterparts on a layer."""
    found = []
    for _, curve, owner in scene._s.curves(patterns_of(nodes)):
        on_layer = dict(owner.layers()).get(layer)
        if on_layer is None:
            continue
        for place, child in enumerate([owner, *owner.children()]):
            own = child.curve()
            if own is not None and own.identity() == curve.identity():
                node = on_layer if place == 0 else on_layer.child(child.name())
                if node is not None and node.curve() is not None:
                    found.append(node)
    return found


class Edit:
    """Moves selected keys of many curves, as `Scene.edit` gives it to a `with` statement.

    An exception in the statement gives the chosen curves back what they were. Locked curves are left alone and do not
    count; where there are no others, edits raise `Refused`. Keys that come to lie on others replace these. Outside of
    the statement nothing can be edited. Where edits are remembered, the statement is one step, of which an exception
    takes back all, also what was done to other curves; within `History.step` that is left to the step around it. See
    `Scene.history`.
    """

    def __init__(self, scene: Scene, nodes: Patterns = None, layer: Union[Layer, int, str] = 0) -> None:
        self._scene = scene._s
        self._is_open = False
        self._nodes = _nodes_of(scene, nodes, layer_id(scene._s, layer))
        if not self._nodes:
            raise Refused("no chosen property is on the layer; put one there with Node.on_layer")
        self._before: list[tuple[Curve, Curve]] = []
        self._is_step = False

    def __enter__(self) -> Edit:
        for node in self._nodes:
            core = node.curve()
            if core is not None:
                curve = Curve._of(core)
                self._before.append((curve, curve.copy()))
        self._is_step = _core.begin_step(self._scene, "edit")
        self._is_open = True
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        try:
            if kind is not None:
                self._take_back()
        finally:
            self._is_open = False
            self._before.clear()
            (_core.cancel_step if self._is_step and kind is not None else _core.end_step)(self._scene)

    def _take_back(self) -> None:
        for curve, before in self._before:
            try:
                curve._c.copy_from(before._c, True)
            except Gone:
                continue  # It was removed in the statement, and the others still get back what they were.

    def _check_open(self) -> None:
        if not self._is_open:
            raise Refused("keys are edited within the with statement, which can take everything back")

    def select(
        self, start: Time | None = None, stop: Time | None = None, low: float | None = None,
        high: float | None = None, mode: str = "replace",
    ) -> int:
        """Selects the keys in a span of time and of values, borders included.

        Parameters
        ----------
        start, stop : float or Ticks, optional
            Seconds; from the first, or to the last key.
        low, high : float, optional
            The least and the greatest value.
        mode : "replace", "add", "remove" or "toggle"
            What that does to the keys inside; "replace" also deselects all others.

        Returns
        -------
        int
            How many keys are selected then.
        """
        if mode not in _MODES:
            raise ValueError(f"a mode is one of {', '.join(_MODES)}")
        bounds = (_LEAST if low is None else number(low, "a bound"), _MOST if high is None else number(high, "a bound"))
        if any(math.isnan(bound) for bound in bounds):
            raise ValueError("a bound is not a number")
        start_ticks, stop_ticks = span_of(start, stop, self._scene)
        rectangle = (_MODES.index(mode), start_ticks, stop_ticks, *bounds)
        self._check_open()
        return _core.select(self._scene, self._nodes, rectangle)

    def _apply(self, kind: str, copy: bool = False, ripple: bool = False, **numbers: float) -> int:
        if not all(math.isfinite(number) for number in numbers.values()):
            raise ValueError("how far keys are moved has to be finite")
        move = _core.Move(kind)
        move.copy, move.ripple = truths(copy=copy, ripple=ripple)
        for name, number in numbers.items():
            setattr(move, name, number)
        self._check_open()
        return _core.manipulate(self._scene, self._nodes, move)

    def move(self, time: Time = 0.0, value: float = 0.0, *, copy: bool = False, ripple: bool = False) -> int:
        """Moves the selected keys in time and value; returns how many these are.

        With `copy` they also stay where they are, and with `ripple` what follows them in time moves along.
        """
        return self._apply("move", copy, ripple, time=key_ticks(time, self._scene), value=finite(value))

    def stretch(
        self, time: float = 1.0, value: float = 1.0, *, time_pivot: Time = 0.0, value_pivot: float = 0.0,
        copy: bool = False, ripple: bool = False,
    ) -> int:
        """Multiplies distances from a time and from a value; returns of how many keys. Slopes are stretched along."""
        pivot = key_ticks(time_pivot, self._scene)
        return self._apply("stretch", copy, ripple, time_factor=number(time, "a factor"), value_factor=finite(value),
                           time_pivot=pivot, value_pivot=finite(value_pivot))

    def scale(self, factor: float, *, pivot: float = 0.0) -> int:
        """Multiplies distances in value from one; returns of how many keys."""
        return self._apply("scale", value_factor=finite(factor), value_pivot=finite(pivot))

    def set(self, value: float) -> int:
        """Gives all selected keys one value; returns how many these are. Slopes stay."""
        return self._apply("set", value=finite(value))
