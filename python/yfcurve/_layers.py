"""Animation layers."""

from __future__ import annotations

import enum
from typing import Iterator, Union

from . import _core
from ._curve import Curve
from .errors import NotFound


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


class Layer:
    """A layer of a scene. All that is assigned here changes the scene."""

    __slots__ = ("_s", "_id")

    def __init__(self, scene: _core.Scene, id: int) -> None:
        self._s, self._id = scene, id

    def _row(self) -> _core.LayerRow:
        for row in _core.layers(self._s):
            if row[0] == self._id:
                return row
        raise NotFound("the layer was removed from its scene")

    def _change(self, place: int, value: Union[str, int, bool]) -> None:
        row: list[object] = list(self._row())
        row[place] = value
        _core.set_layer(self._s, tuple(row))  # type: ignore[arg-type]

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
        self._change(1, name)

    @property
    def muted(self) -> bool:
        """The mute button. A layer that is not muted is silent as well while another one is solo."""
        return self._row()[2]

    @muted.setter
    def muted(self, on: bool) -> None:
        self._change(2, on)

    @property
    def solo(self) -> bool:
        """Several layers may be solo."""
        return self._row()[3]

    @solo.setter
    def solo(self, on: bool) -> None:
        self._change(3, on)

    @property
    def locked(self) -> bool:
        """A locked layer takes no keys."""
        return self._row()[4]

    @locked.setter
    def locked(self, on: bool) -> None:
        self._change(4, on)

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

    @property
    def weight(self) -> Curve | None:
        """How much of the layer counts over time, 0 to 1; None for the base layer. Takes a number, without keys."""
        found = _core.layer_weight(self._s, self._id)
        return None if found is None else Curve._of(found)

    @weight.setter
    def weight(self, weight: float) -> None:
        curve = self.weight
        if curve is None:
            raise NotFound("the base layer has no weight, as it counts in full")
        curve.clear()
        curve.default = float(weight)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Layer) and (self._s, self._id) == (other._s, other._id)

    def __hash__(self) -> int:
        return hash((self._s, self._id))

    def __repr__(self) -> str:
        return f"<Layer {self._id} {self.name!r}, {self.mode.name.lower().replace('_', ' ')}>"


class Layers:
    """The layers of a scene, the base layer first."""

    __slots__ = ("_s",)

    def __init__(self, scene: _core.Scene) -> None:
        self._s = scene

    def __len__(self) -> int:
        return len(_core.layers(self._s))

    def __iter__(self) -> Iterator[Layer]:
        return iter([Layer(self._s, row[0]) for row in _core.layers(self._s)])

    def __getitem__(self, layer: Union[int, str]) -> Layer:
        """A layer by its place in the stack, or by its name."""
        if isinstance(layer, int):
            return list(self)[layer]
        for row in _core.layers(self._s):
            if row[1] == layer:
                return Layer(self._s, row[0])
        names = ", ".join(repr(row[1]) for row in _core.layers(self._s))
        raise NotFound(f"there is no layer {layer!r}; there are: {names}")

    def __contains__(self, layer: object) -> bool:
        return any(layer in (row[1], Layer(self._s, row[0])) for row in _core.layers(self._s))

    def add(self, name: str, mode: LayerMode = LayerMode.ADDITIVE, weight: float = 1.0) -> Layer:
        """A new layer on top. No property is on it yet: see `Node.on_layer` and `Scene.plot_into_layer`.

        Raises
        ------
        Refused
            For a name that is empty or taken.
        """
        layer = Layer(self._s, _core.add_layer(self._s, name))
        layer.mode = mode
        layer.weight = weight  # type: ignore[assignment]
        return layer

    def remove(self, layer: Union[Layer, int, str]) -> None:
        """Removes a layer with its keys. Refused for the base layer."""
        _core.remove_layer(self._s, (layer if isinstance(layer, Layer) else self[layer]).id)

    def __repr__(self) -> str:
        return f"<Layers {', '.join(repr(layer.name) for layer in self)}>"
