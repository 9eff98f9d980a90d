"""Animation layers."""

from __future__ import annotations

import enum
from dataclasses import dataclass
from typing import Any, Iterator, NoReturn, Union

import numpy as np

from . import _core
from ._curve import Curve
from ._times import FOREVER, Clock, Patterns, Time, patterns_of, ticks_or, timed
from ._borders import Assigned, expect, number, shown_while_busy, truth
from .errors import Gone, NotFound, Refused


class LayerMode(enum.IntEnum):
    """How a layer of the weight w and the value s changes the total d of those below."""

    ADDITIVE = 0
    """d + w s"""
    OVERRIDE = 1
    """w s"""
    WEIGHTED_OVERRIDE = 2
    """w s + (1 - w) d"""


class RotationMode(enum.IntEnum):
    """How the rotations of a layer add up."""

    BY_LAYER = 0
    BY_CHANNEL = 1


class ScalingMode(enum.IntEnum):
    """How the scalings of a layer add up."""

    MULTIPLY = 0
    ADD = 1


@dataclass(frozen=True)
class Plotted:
    """A property that was merged or plotted, and how far it is from what was wanted."""

    path: str
    unit: str
    is_resampled: bool
    """False where keys were combined as they are."""
    keys_before: int
    keys_after: int
    largest: float
    """In the unit, at the samples that were compared: between two of them it can be more."""
    time: float
    """Of the largest distance, in seconds."""


def plotted_of(found: list[dict[str, Any]]) -> list[Plotted]:
    """Made of what the compiled part tells."""
    return [timed(Plotted, each) for each in found]


def plotting_row(
    clock: Clock, nodes: _core.Choices, start: Time | None, stop: Time | None, period: Time | None, tolerance: float,
    smart: bool = True, exact: bool = False, keep_layers: bool = False,
) -> _core.PlottingRow:
    """What the compiled part takes."""
    times = (ticks_or(start, -FOREVER, clock), ticks_or(stop, FOREVER, clock), ticks_or(period, 0, clock))
    return (nodes, *times, number(tolerance, "a tolerance"), smart, exact, keep_layers)


class Layer:
    """A layer of a scene. All that is assigned here changes the scene."""

    __slots__ = ("_s", "_id")

    def __init__(self, scene: _core.Scene, id: int) -> None:
        self._s, self._id = scene, id

    def _row(self) -> _core.LayerRow:
        for row in _core.layers(self._s):
            if row[0] == self._id:
                return row
        raise Gone("the layer was removed from its scene")

    def _change(self, place: int, value: Union[str, int, bool]) -> None:
        change: list[object] = [self._id, *[None] * 7]
        change[place] = value
        _core.set_layer(self._s, tuple(change))

    @property
    def id(self) -> int:
        """Ids ascend with the stack; the base layer has 0."""
        return self._id

    @property
    def name(self) -> str:
        """Of its own, and not empty."""
        return self._row()[1]

    @name.setter
    def name(self, name: str) -> None:
        self._change(1, expect(name, str, "the name of a layer is a text"))

    @property
    def muted(self) -> bool:
        """The mute button. A layer that is not muted is silent as well while another one is solo."""
        return self._row()[2]

    @muted.setter
    def muted(self, on: bool) -> None:
        self._change(2, truth(on, "whether it is muted"))

    @property
    def solo(self) -> bool:
        """Several layers may be solo."""
        return self._row()[3]

    @solo.setter
    def solo(self, on: bool) -> None:
        self._change(3, truth(on, "whether it is solo"))

    @property
    def locked(self) -> bool:
        """A locked layer takes no keys: edits of what is on it raise `Refused`, and filters leave it alone."""
        return self._row()[4]

    @locked.setter
    def locked(self, on: bool) -> None:
        self._change(4, truth(on, "whether it is locked"))

    @property
    def mode(self) -> LayerMode:
        """The base layer is additive."""
        return LayerMode(self._row()[5])

    @mode.setter
    def mode(self, mode: LayerMode) -> None:
        self._change(5, int(LayerMode(mode)))

    @property
    def rotation_mode(self) -> RotationMode:
        """How its rotations add up."""
        return RotationMode(self._row()[6])

    @rotation_mode.setter
    def rotation_mode(self, mode: RotationMode) -> None:
        self._change(6, int(RotationMode(mode)))

    @property
    def scaling_mode(self) -> ScalingMode:
        """How its scalings add up."""
        return ScalingMode(self._row()[7])

    @scaling_mode.setter
    def scaling_mode(self, mode: ScalingMode) -> None:
        self._change(7, int(ScalingMode(mode)))

    def _weight(self) -> Curve | None:
        """How much of the layer counts over time, 0 to 1; None for the base layer. Takes a number, without keys."""
        self._row()
        found = _core.layer_weight(self._s, self._id)
        return None if found is None else Curve._of(found)

    def _set_weight(self, weight: float) -> None:
        curve = self.weight
        if curve is None:
            raise NotFound("the base layer has no weight, as it counts in full")
        value = _share(weight)
        curve.clear()
        curve.default = value

    weight = Assigned(_weight, _set_weight)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Layer) and (self._s, self._id) == (other._s, other._id)

    def __hash__(self) -> int:
        return hash((self._s, self._id))

    def _refuse_copy(self, *given: object) -> NoReturn:
        raise TypeError("a layer belongs to its scene; copy or pickle the scene")

    __copy__ = __deepcopy__ = __reduce__ = _refuse_copy

    @shown_while_busy
    def __repr__(self) -> str:
        if self not in Layers(self._s):
            return "<Layer that was removed>"
        return f"<Layer {self._id} {self.name!r}, {self.mode.name.lower().replace('_', ' ')}>"


def _share(weight: float) -> float:
    """The weight of a layer."""
    share = number(weight, "a weight")
    if not 0 <= share <= 1:
        raise ValueError("the weight of a layer is from 0 to 1")
    return share


def layer_id(scene: _core.Scene | None, layer: Union[Layer, int, str]) -> int:
    """The id of a layer of a scene, by the layer itself, its id or its name.

    Raises
    ------
    NotFound
        For ids and names that there are not.
    Refused
        For a layer of another scene, and for nodes without one.
    """
    if isinstance(layer, Layer):
        if layer._s is not scene:
            raise Refused("the layer belongs to another scene")
        layer._row()
        return layer.id
    rows = [] if scene is None else _core.layers(scene)
    if isinstance(layer, str):
        if scene is None:
            raise Refused("the node belongs to no scene, and only these have layers with names")
        for row in rows:
            if row[1] == layer:
                return row[0]
        raise NotFound(f"there is no layer {layer!r}; there are: {', '.join(repr(row[1]) for row in rows)}")
    if isinstance(layer, bool) or not isinstance(layer, (int, np.integer)):
        raise TypeError(f"a layer of the scene is named by itself, its id or its name, not by {layer!r}")
    ids = [row[0] for row in rows] or [0]
    if layer not in ids:
        raise NotFound(f"there is no layer of the id {layer}; there are: {', '.join(map(str, ids))}")
    return int(layer)


class Layers:
    """The layers of a scene, the base layer first.

    As everywhere, a whole number is the id of a layer and not its place: ids stay what they are when another layer is
    removed. `list(scene.layers)[-1]` is the topmost one.
    """

    __slots__ = ("_s",)

    def __init__(self, scene: _core.Scene) -> None:
        self._s = scene

    def __len__(self) -> int:
        return len(_core.layers(self._s))

    def __iter__(self) -> Iterator[Layer]:
        return iter([Layer(self._s, row[0]) for row in _core.layers(self._s)])

    def __reversed__(self) -> Iterator[Layer]:
        return reversed(list(self))

    def __getitem__(self, layer: Union[Layer, int, str]) -> Layer:
        """A layer by its id or its name."""
        return Layer(self._s, layer_id(self._s, layer))

    def __contains__(self, layer: object) -> bool:
        """Whether there is a layer, also by its id or its name."""
        return any(layer in (row[0], row[1], Layer(self._s, row[0])) for row in _core.layers(self._s))

    def add(self, name: str, mode: LayerMode = LayerMode.ADDITIVE, weight: float = 1.0) -> Layer:
        """A new layer on top. No property is on it yet: see `Node.on_layer` and `Scene.plot_into_layer`.

        Raises
        ------
        Refused
            For a name that is empty or taken.
        ValueError
            For a mode that there is not, and a weight that is not from 0 to 1.
        """
        mode, weight = LayerMode(mode), _share(weight)
        layer = Layer(self._s, _core.add_layer(self._s, expect(name, str, "the name of a layer is a text")))
        layer.mode = mode
        layer.weight = weight
        return layer

    def remove(self, layer: Union[Layer, int, str]) -> None:
        """Removes a layer with its keys. Refused for the base layer and for locked ones."""
        _core.remove_layer(self._s, layer_id(self._s, layer))

    def merge(
        self, *layers: Union[Layer, int, str], into: Union[Layer, int, str, None] = None,
        nodes: Patterns = None, start: Time | None = None, stop: Time | None = None, tolerance: float = 0.001,
        period: Time | None = None, exact: bool = False, keep_layers: bool = False,
    ) -> list[Plotted]:
        """Makes one layer of several, such that all layers together play as before.

        Parameters
        ----------
        layers : Layer, int or str
            Which, by themselves, their ids or their names; all that play without any.
        into : Layer, int or str, optional
            The layer that holds the result; the lowest of them.
        nodes : str or list of str, optional
            Patterns of properties; see `Scene.curves`.
        start, stop : float or Ticks, optional
            A span in seconds; layers are neutral in it afterwards, and stay what they are outside.
        tolerance : float
            How far the result may be off where motion has to be sampled, in units or degrees.
        period : float or Ticks, optional
            Motion is sampled at tenths of it; a frame.
        exact : bool
            Refuses what takes sampling.
        keep_layers : bool
            Keeps merged layers in the scene, emptied.

        Returns
        -------
        list of Plotted
            The properties that were merged.

        Raises
        ------
        Refused
            With nothing changed, for what cannot be merged: why, and what can be done.
        """
        ids = [layer_id(self._s, layer) for layer in layers]
        target = -1 if into is None else layer_id(self._s, into)
        row = plotting_row(self._s, patterns_of(nodes), start, stop, period, tolerance, True, exact, keep_layers)
        return plotted_of(_core.merge_layers(self._s, ids, target, row))

    @shown_while_busy
    def __repr__(self) -> str:
        return f"<Layers {', '.join(repr(layer.name) for layer in self)}>"
