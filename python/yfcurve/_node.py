"""The tree of curves."""

from __future__ import annotations

from typing import Any, Iterator, Sequence, Union

import numpy as np
import numpy.typing as npt

from . import _core
from ._borders import expect, numbers, shown_while_busy, truth
from ._curve import Curve, kinds_of
from ._keys import Interpolation, Tangents
from ._layers import Layer, layer_id
from ._times import Time, second_array, tick_array, ticks_of
from .errors import NotFound, Refused

ROTATION_ORDERS = ("XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX")
"""The orders in which three angles turn, the first letter first."""


class Node:
    """A joint, an animated property, or a component of one.

    A joint has its properties and its child joints as children; a property, such as a rotation, its components `X`,
    `Y` and `Z`; and a component a curve. A property of one number has the curve itself.

    Parameters
    ----------
    name : str
    type : str, optional
        A data type, such as "Lcl Rotation", "Lcl Translation" or "Number": the node is a property then, and has its
        components with a curve each. Without one it is a group.

    Examples
    --------
    >>> turn = Node("Turn", "Lcl Rotation")
    >>> [child.name for child in turn], len(turn.x)
    (['X', 'Y', 'Z'], 0)
    """

    __slots__ = ("_n",)

    def __init__(self, name: str, type: str = "") -> None:
        self._n = _core.Node(expect(name, str, "a name is a text"), expect(type, str, "a data type is a text"))

    @classmethod
    def _of(cls, core: _core.Node) -> Node:
        node = cls.__new__(cls)
        node._n = core
        return node

    # --- The tree --------------------------------------------------------------------------------------

    @property
    def name(self) -> str:
        """The name; bytes of files that are no UTF-8 are surrogates in it."""
        return self._n.name()

    @property
    def type(self) -> str:
        """The data type, empty for groups such as joints."""
        return self._n.type()

    @property
    def path(self) -> str:
        """The names from below the top down to this node, with slashes between them.

        On layers above the base, the names below the property.
        """
        return self._n.path()

    @property
    def parent(self) -> Node | None:
        """The node above; None at the top."""
        found = self._n.parent()
        return None if found is None else Node._of(found)

    @property
    def children(self) -> list[Node]:
        """The nodes right below."""
        return [Node._of(child) for child in self._n.children()]

    def __len__(self) -> int:
        return len(self._n.children())

    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[Node]:
        return iter(self.children)

    def __contains__(self, child: object) -> bool:
        if isinstance(child, Node):
            return child in self.children
        return isinstance(child, str) and self._below(child) is not None

    def _below(self, name: str) -> _core.Node | None:
        """The child of a name, or what is further below by names with slashes between them."""
        node = self._n.child(name)
        if node is None:
            node = self._n
            for part in name.split("/"):
                node = None if node is None else node.child(part)
        return node

    def __getitem__(self, child: Union[int, str]) -> Node:
        """A child by its number or its name, or one further below by names with slashes between them."""
        if isinstance(child, (int, np.integer)):
            return self.children[child]
        node = self._below(expect(child, str, "children are found by their numbers or names"))
        if node is None:
            names = ", ".join(repr(each.name) for each in self.children) or "none"
            raise NotFound(f"{self.name!r} has no child {child!r}; there are: {names}")
        return Node._of(node)

    def add(self, child: Node) -> Node:
        """Adds a copy of a node as last child, and returns it. The node itself stays where it is.

        Of one of another scene or tree it takes what `copy` does.

        Raises
        ------
        Refused
            For a tree that would have more than 1000 levels.
        """
        return Node._of(self._n.add(expect(child, Node, "a child is a node")._n))

    def remove(self, child: Union[Node, str]) -> None:
        """Removes a child, or the one of a name, with all that is below it. What is known of these then raises `Gone`.

        Raises
        ------
        Refused
            For joints of a skeleton, and what they move by.
        """
        self._n.remove(self[child]._n if isinstance(child, str) else expect(child, Node, "a child is a node")._n)

    # --- Curves ----------------------------------------------------------------------------------------

    @property
    def curve(self) -> Curve | None:
        """The node's own curve; None for nodes that have components or other children."""
        found = self._n.curve()
        return None if found is None else Curve._of(found)

    def _component(self, name: str) -> Curve:
        found = self[name].curve
        if found is None:
            raise NotFound(f"{self.name!r} has no curve {name!r}")
        return found

    @property
    def x(self) -> Curve:
        """The curve of the component `X`."""
        return self._component("X")

    @property
    def y(self) -> Curve:
        """The curve of the component `Y`."""
        return self._component("Y")

    @property
    def z(self) -> Curve:
        """The curve of the component `Z`."""
        return self._component("Z")

    def _property(self, types: Sequence[str]) -> Node:
        found = self._n.child_of_type(list(types))
        if found is None:
            raise NotFound(f"{self.name!r} has no {types[0]!r}")
        return Node._of(found)

    @property
    def translation(self) -> Node:
        """The translation of a joint, from its parent and in the parent's axes."""
        return self._property(["Lcl Translation", "Translation"])

    @property
    def rotation(self) -> Node:
        """The rotation of a joint, in degrees and in the order `rotation_order`."""
        return self._property(["Lcl Rotation", "Rotation"])

    @property
    def scaling(self) -> Node:
        """The scaling of a joint."""
        return self._property(["Lcl Scaling", "Scaling"])

    def create_curves(self) -> None:
        """Gives a curve to every node at the end of the tree that has none."""
        self._n.create_curves()

    # --- Rotations, layers, locks ----------------------------------------------------------------------

    def _turning(self) -> _core.Node:
        """The rotation that the node is or, as a joint, has."""
        found = self._n if self._n.is_rotation() else self._n.child_of_type(["Lcl Rotation", "Rotation"])
        if found is None:
            raise Refused(f"{self.name!r} is no rotation and has none; take the node of one")
        return found

    @property
    def rotation_order(self) -> str:
        """One of `ROTATION_ORDERS`: "XYZ" turns about X first. A joint has that of its rotation.

        The order of a skeleton's joint is that of its channels, and changed by `Scene.clip(order="ZYX")`; setting it
        here is refused. Files do not keep the order of other rotations, which `Scene.notes` tells when they are saved.
        """
        return ROTATION_ORDERS[self._turning().rotation_order()]

    @rotation_order.setter
    def rotation_order(self, order: str) -> None:
        if order not in ROTATION_ORDERS:
            raise ValueError(f"a rotation order is one of {', '.join(ROTATION_ORDERS)}")
        self._turning().set_rotation_order(ROTATION_ORDERS.index(order))

    @property
    def use_quaternion(self) -> bool:
        """Whether a rotation turns evenly from key to key, on the shortest way. A joint has that of its rotation."""
        return self._turning().use_quaternion()

    @use_quaternion.setter
    def use_quaternion(self, on: bool) -> None:
        self._turning().set_use_quaternion(truth(on, "whether it turns as quaternions"))

    @property
    def layers(self) -> dict[int, Node]:
        """The nodes of a property on its layers, by the ids of these; the lowest one is the property itself."""
        return {layer: Node._of(node) for layer, node in self._n.layers()}

    def on_layer(self, layer: Union[Layer, int, str]) -> Node:
        """The node of a property on a layer, which is made where it is missing.

        Parameters
        ----------
        layer : Layer, int or str
            The layer, its id or its name.

        Raises
        ------
        NotFound
            For a layer that there is not.
        Refused
            For joints and components: properties are on layers as a whole.
        """
        return Node._of(self._n.add_to_layer(self._layer(layer)))

    def _layer(self, layer: Union[Layer, int, str]) -> int:
        return layer_id(self._n.scene(), layer)

    @property
    def locked(self) -> bool:
        """A locked node and what is below it are read, but not edited: edits raise `Refused`, filters leave it alone.

        It is locked by itself or by its layer; setting it is about the node itself.
        """
        return self._n.is_locked()

    @locked.setter
    def locked(self, locked: bool) -> None:
        self._n.lock(truth(locked, "whether it is locked"))

    # --- Evaluation and keys ---------------------------------------------------------------------------

    def __call__(self, times: npt.ArrayLike, *, layers: bool = True) -> npt.NDArray[np.float64]:
        """What a property shows: its components at a time, or at each of many.

        Parameters
        ----------
        times : float, Ticks or array_like
            Seconds.
        layers : bool
            With all layers above it, weights and time warps; without them, what its own curves say.

        Returns
        -------
        ndarray of float64
            The shape of the times, and one axis more for the components.
        """
        ticks, missing = tick_array(times, self._n)
        values = self._n.evaluate(np.atleast_1d(ticks.ravel()), layers)
        shaped: npt.NDArray[np.float64] = values.reshape((*ticks.shape, values.shape[1]))
        if missing is not None:
            shaped[missing] = np.nan
        return shaped

    def key_times(self, *, layers: bool = False) -> npt.NDArray[np.float64]:
        """The times in seconds at which any curve below the node has a key, with or without the layers above."""
        return second_array(self._n.key_times(layers))

    def key_count(self, *, layers: bool = False) -> int:
        """How many keys the curves below the node have."""
        return self._n.key_count(layers)

    def add_keys(self, time: Time, values: npt.ArrayLike) -> None:
        """Adds a key to each curve below the node, or replaces those at that time.

        Raises
        ------
        Refused
            Where one of them is locked.
        """
        if not self._n.add_keys(ticks_of(time, self._n), numbers(values, np.float64).ravel()):
            raise Refused("the node has no curves; make them with create_curves()")

    def delete_keys(self, time: Time) -> bool:
        """Removes the keys at a time; returns whether there was one.

        Raises
        ------
        Refused
            Where a curve below the node is locked.
        """
        return self._n.delete_keys(ticks_of(time, self._n))

    # --- Candidates ------------------------------------------------------------------------------------

    def set_candidate(self, time: Time, values: npt.ArrayLike, *, layer: Union[Layer, int, str] = 0) -> None:
        """Holds what a property is to be at a time, without keys: `key_candidate` makes them.

        Raises
        ------
        Refused
            Where the layer is locked, or what the property has on it; for components, on layers above the base.
        """
        given = numbers(values, np.float64).ravel()
        if not self._n.set_candidate(ticks_of(time, self._n), given, self._layer(layer)):
            raise Refused("the node belongs to a layer; use the property itself, with layer=")

    def candidate(self, time: Time) -> npt.NDArray[np.float64]:
        """What a property shows at a time with its candidates."""
        return self._n.candidate_at(ticks_of(time, self._n))

    def clear_candidate(self) -> None:
        """Forgets the candidates of the node, and of what is below and above it."""
        self._n.clear_candidate()

    def key_candidate(
        self, *, layer: Union[Layer, int, str] = 0, interpolation: Interpolation = Interpolation.CUBIC,
        tangents: Tangents = Tangents.AUTO,
    ) -> None:
        """Makes keys of the candidate on a layer, such that all layers together come to it.

        Not every layer can lead there. It is keyed all the same then, and what plays differs from the candidate: below
        a layer that replaces what is under it and at weight 0, where nothing on the layer shows; for a scaling that
        would have to be negative, as layers that add to it give more than is wanted; for parts of turns longer than
        half a turn. Look at what plays afterwards, or key the layer that decides.

        Raises
        ------
        Refused
            Where the layer is locked, or what the property has on it; for components, on layers above the base.
        """
        if not self._n.key_candidate(self._layer(layer), *kinds_of(interpolation, tangents)):
            raise MemoryError

    # --- As a value ------------------------------------------------------------------------------------

    def copy(self) -> Node:
        """A tree of its own, with all that is below.

        Of a property it has what the base layer has: other layers belong to the scene. Nothing in it is locked.
        """
        return Node._of(self._n.copy())

    __copy__ = copy

    def __deepcopy__(self, memo: object) -> Node:
        return self.copy()

    def __reduce__(self) -> tuple[Any, ...]:
        raise TypeError("a node cannot be pickled; pickle its scene, or its curves")

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Node) and self._n.identity() == other._n.identity()

    def __hash__(self) -> int:
        return hash(self._n.identity())

    @shown_while_busy
    def __repr__(self) -> str:
        if not self._n.is_alive():
            return "<Node that was removed>"
        kind = self.type or "group"
        keys = self.key_count()
        return f"<Node {self.path or self.name!r} ({kind}), {keys} key{'' if keys == 1 else 's'}>"
