"""Scenes of recorded motion."""

from __future__ import annotations

import html
from dataclasses import dataclass
from fractions import Fraction
from typing import Any, Iterator, Literal, Sequence, Union, overload

import numpy as np
import numpy.typing as npt

from . import _core
from ._borders import Assigned, expect, number, numbers, readable, shown_while_busy, truths
from ._curve import Curve
from ._diff import Difference, WorldDifference, difference_of, world_difference_of
from ._edit import Edit
from ._exchange import Findings, findings_of
from ._history import History
from ._layers import Layer, Layers
from ._node import Node
from ._rotations import FORMS, rotations_as
from ._samples import Samples
from ._scene_files import SceneFiles
from ._scene_work import SceneWork
from ._times import Patterns, Rate, Time, fraction_of, given_ticks, pattern_of, patterns_of, seconds_of, ticks_or
from .errors import NotFound, Refused, in_python


@dataclass(frozen=True)
class Joint:
    """A joint of the skeleton, or an end site: the end of a chain, which moves with its parent alone."""

    name: str
    parent: int
    """The number of a joint before this one; -1 for a root."""
    is_end_site: bool
    offset: tuple[float, float, float]
    """From the parent at rest, in the parent's axes."""
    node: Node | None
    """None for an end site."""


class Scene(SceneFiles, SceneWork):
    """A skeleton or another tree of properties, with its curves, layers and frame rate.

    `load` gives one of a file; `Scene()` is empty, and `scene.root.add` puts nodes into it.
    """

    __slots__ = ("_s", "__weakref__")

    def __init__(self) -> None:
        self._s = _core.Scene()

    @classmethod
    def _of(cls, core: _core.Scene) -> Scene:
        scene = cls.__new__(cls)
        scene._s = core
        return scene

    def check(self) -> Findings:
        """What to know of the scene before it is used, what is wrong first.

        Wrong is what is damaged or contradicts itself: parts of the file that were left out, numbers that are not
        finite, two frame rates. Worth knowing is what may surprise: large values and times, keys between frames,
        channels without keys, names that stand for several joints, rotations that jump by whole turns, no motion, an
        unusual rate, and layers that are muted, locked, empty or without effect.

        The list is shown as a table; `scene.check().wrong` is what is wrong of it.
        """
        return findings_of(_core.check(self._s))

    @property
    def notes(self) -> list[str]:
        """What the last `load`, `save`, `to_bytes`, `filter` or `join` had to tell that is no failure."""
        return [readable(in_python(note)) for note in self._s.notes()]

    # --- What is in it ---------------------------------------------------------------------------------

    @property
    def root(self) -> Node:
        """The top of the tree."""
        return Node._of(self._s.root())

    @property
    def joints(self) -> list[Joint]:
        """The joints and end sites of the skeleton, parents before children; none without a skeleton."""
        return [
            Joint(name, parent, end, (offset[0], offset[1], offset[2]), None if node is None else Node._of(node))
            for name, parent, end, offset, node in self._s.joints()]

    def __iter__(self) -> Iterator[Node]:
        """The nodes of the joints in the order of the file, or without a skeleton those below the top."""
        joints = self.joints
        if not joints:
            return iter(self.root.children)
        return iter([joint.node for joint in joints if joint.node is not None])

    def __len__(self) -> int:
        return sum(1 for _ in self)

    def __bool__(self) -> bool:
        return True

    def __contains__(self, name: object) -> bool:
        """Whether there is what a pattern means, or a node is one of this scene."""
        if isinstance(name, Node):
            return name._n.is_alive() and name._n.scene() is self._s
        try:
            return isinstance(name, str) and bool(self.find(name))
        except NotFound:
            return False

    def __getitem__(self, name: str) -> Node:
        """The node of a name, a path or a pattern: `scene["LeftLeg"]`, `scene["LeftLeg/Lcl Rotation/X"]`.

        Raises
        ------
        NotFound
            Where there is none, and where there are several.
        """
        if not isinstance(name, str):
            raise TypeError("nodes are found by their names")
        found = self.find(name)
        if len(found) > 1:
            exact = [node for node in found if name == node.path] or [node for node in found if name == node.name]
            if len(exact) != 1:
                some = ", ".join(repr(node.path) for node in found[:3])
                raise NotFound(f"{len(found)} nodes match {name!r}, such as {some}; give more of the path, or use find")
            found = exact
        return found[0]

    def find(self, *nodes: Union[str, Node]) -> list[Node]:
        """The nodes that any of the patterns means by themselves, in the order of the tree; all without one.

        Raises
        ------
        NotFound
            For a pattern that matches nothing.
        """
        return [Node._of(node) for node in self._s.nodes([pattern_of(node) for node in nodes])]

    def curves(self, nodes: Patterns = None) -> dict[str, Curve]:
        """The chosen curves of the base layer by their paths. Of curves with one path the first counts."""
        chosen: dict[str, Curve] = {}
        for path, curve, _ in self._s.curves(patterns_of(nodes)):
            chosen.setdefault(path, Curve._of(curve))
        return chosen

    def _rate(self) -> float:
        """Frames a second. Takes a number or a `fractions.Fraction`; keys stay where they are."""
        return float(self.exact_rate)

    def _set_rate(self, rate: Rate) -> None:
        self._s.set_rate(fraction_of(rate))

    rate = Assigned(_rate, _set_rate)

    @property
    def exact_rate(self) -> Fraction:
        """Frames a second, exactly."""
        return Fraction(*self._s.rate())

    @property
    def span(self) -> tuple[float, float] | None:
        """The times of the first and the last key of all curves in seconds; None without keys.

        The weight of a layer belongs to them where it moves something.
        """
        found = self._s.span()
        return None if found is None else (seconds_of(found[0]), seconds_of(found[1]))

    @property
    def duration(self) -> float:
        """From the first to the last key, in seconds; 0 without keys."""
        start, stop = self.span or (0.0, 0.0)
        return stop - start

    @property
    def layers(self) -> Layers:
        """The animation layers."""
        return Layers(self._s)

    # --- Samples ---------------------------------------------------------------------------------------

    def _times(
        self, rate: Rate | None, start: Time | None, stop: Time | None, times: npt.ArrayLike | None,
        ticks: npt.ArrayLike | None,
    ) -> npt.NDArray[np.int64]:
        """The exact times of frames, or those that are given."""
        if times is not None or ticks is not None:
            if rate is not None or start is not None or stop is not None:
                raise TypeError("give the times, or a rate and a span, not both")
            return given_ticks(times, ticks, self._s)
        span = self._s.span() or (0, 0)
        fraction = self._s.rate() if rate is None else fraction_of(rate)
        return _core.row_times(fraction, ticks_or(start, span[0], self._s), ticks_or(stop, span[1], self._s))

    def prepare(self) -> Scene:
        """Makes the scene ready to be sampled many times, and returns it.

        `sample` takes a tenth of the time then, until something of the scene is edited. Values may differ in the last
        digits from those of a scene that is not ready. It takes the time of some dozens of samplings.
        """
        _core.prepare(self._s)
        return self

    def sample(
        self, rate: Rate | None = None, start: Time | None = None, stop: Time | None = None, *,
        nodes: Patterns = None, times: npt.ArrayLike | None = None, ticks: npt.ArrayLike | None = None,
    ) -> Samples:
        """What plays: the chosen curves, with all layers above them, at every frame.

        Parameters
        ----------
        rate : float or Fraction, optional
            Frames a second; the scene's own.
        start, stop : float or Ticks, optional
            Seconds; the first frame is at the start, which is the first key, and the last one not after the stop.
        nodes : str or list of str, optional
            Patterns; see `Scene.curves`.
        times : array_like, optional
            Seconds, in place of a rate and a span.
        ticks : array_like of int, optional
            Exact times, in place of seconds, such as `Samples.ticks` and `Curve.ticks`.

        Returns
        -------
        Samples
            Of the shape (frames, channels), single precision, with the paths of the curves as names.
        """
        exact = self._times(rate, start, stop, times, ticks)
        values, names = _core.sample(self._s, exact, patterns_of(nodes))
        return Samples(values, names, exact)

    def set_samples(
        self, samples: Union[Samples, npt.ArrayLike], *, nodes: Patterns = None, rate: Rate | None = None,
        start: Time | None = None, times: npt.ArrayLike | None = None, ticks: npt.ArrayLike | None = None,
        whole: bool = False, base: bool = False,
    ) -> None:
        """The way back: gives curves of the base layer a cubic key for each sample.

        What curves show between their first and last key stays before the first sample and behind the last one; beyond
        these keys a curve holds, or goes on from, what then is its outermost key. Where samples do not go on from what
        stays, a key one tick beside the first or the last of them keeps it apart. Of rotations in quaternion
        form, and with one sample alone, what is between the samples and the nearest keys leads from these to those.

        What `sample` gives has all layers in it. Layers above the base would change it once more when it plays, so that
        properties with such layers are refused; `plot_into_layer` makes the scene show what another one does.

        Parameters
        ----------
        samples : Samples or array_like, shape (frames, channels)
            Those of `sample` know their times and curves, and go without `nodes` and times. A plain
            array has a column for each of the curves that `nodes` means.
        nodes : str or list of str, optional
            Patterns, for a plain array.
        rate, start : float, optional
            When the rows of a plain array are: at the frames from a time in seconds on; the scene's rate, and from its
            first key on as in `sample`.
        times : array_like, optional
            Seconds, in place of a rate and a start.
        ticks : array_like of int, optional
            Exact times, in place of seconds.
        whole : bool
            Whether all keys of the curves go, and not just those between the first and the last sample.
        base : bool
            Sets the base layer of properties on which other layers play, too.

        Raises
        ------
        ValueError
            For an array of another shape, and for values that are not finite.
        Refused
            For locked curves, and for properties with other layers that play. Nothing was changed.
        """
        if isinstance(samples, Samples):
            if any(given is not None for given in (nodes, rate, start, times, ticks)):
                raise TypeError("samples know their curves and times; give their values for others")
            chosen = self._curves_named(samples.names)
            values, exact = samples.values, samples.ticks
        else:
            chosen = [curve for _, curve, _ in self._s.curves(patterns_of(nodes))]
            values = numbers(samples, np.float32)
            if values.ndim != 2:
                raise ValueError("samples are an array of frames and channels")
            if times is not None or ticks is not None:
                exact = self._times(rate, start, None, times, ticks)
            else:
                fraction = self._s.rate() if rate is None else fraction_of(rate)
                first = (self._s.span() or (0, 0))[0]
                exact = _core.frame_times(fraction, ticks_or(start, first, self._s), len(values))
        truths(whole=whole, base=base)
        if not base:
            self._refuse_layered(chosen)
        _core.set_samples(self._s, chosen, exact, numbers(values, np.float32), whole)

    def _refuse_layered(self, curves: list[_core.Curve]) -> None:
        """Raises where a layer above the base plays on a property of the curves."""
        layers = list(self.layers)
        any_solo = any(layer.solo for layer in layers)
        playing = {
            layer.id: layer.name for layer in layers
            if layer.id != 0 and not layer.muted and (layer.solo or not any_solo)}
        wanted = {curve.identity() for curve in curves} if playing else set()
        for path, curve, owner in self._s.curves([]) if playing else []:
            above = [playing[layer] for layer, _ in owner.layers() if layer in playing]
            if above and curve.identity() in wanted:
                raise Refused(f"the layer {above[0]!r} plays on {path!r} as well, and would count twice; use "
                              "plot_into_layer, or give base=True to set what is below it")

    def _curves_named(self, names: Sequence[str]) -> list[_core.Curve]:
        """Curves by their paths, the first one first where several have one path."""
        known: dict[str, list[_core.Curve]] = {}
        for path, curve, _ in self._s.curves([]):
            known.setdefault(path, []).append(curve)
        chosen = []
        for name in names:
            if not known.get(name):
                raise NotFound(f"the scene has no curve {name!r} for a column of the samples")
            chosen.append(known[name].pop(0))
        return chosen

    def _joint_numbers(self, nodes: Patterns) -> list[int] | None:
        """The numbers of the joints that patterns mean; None for all."""
        if nodes is None:
            return None
        wanted = {node.identity() for node in self._s.nodes(patterns_of(nodes))}
        numbers = [
            number for number, joint in enumerate(self._s.joints())
            if joint[4] is not None and joint[4].identity() in wanted]
        if not numbers:
            raise NotFound("no joint matches, but other nodes do; give the names of joints")
        return numbers

    def _poses(
        self, ticks: npt.NDArray[np.int64], nodes: Patterns
    ) -> tuple[npt.NDArray[np.float64], npt.NDArray[np.float64], list[int]]:
        numbers = self._joint_numbers(nodes)
        positions, rotations = _core.poses(self._s, ticks)
        if numbers is None:
            return positions, rotations, list(range(positions.shape[1]))
        return positions[:, numbers], rotations[:, numbers], numbers

    def positions(
        self, rate: Rate | None = None, start: Time | None = None, stop: Time | None = None, *,
        nodes: Patterns = None, times: npt.ArrayLike | None = None, ticks: npt.ArrayLike | None = None,
    ) -> npt.NDArray[np.float64]:
        """Where joints are in the world at every frame, with all layers.

        The parameters are those of `sample`; `nodes` means joints. Without it, the joints are those of `joints`, end
        sites included, in their order. With it, they are the joints among `find(*nodes)` without end sites, in the
        order of `joints` as well, not in that of the patterns.

        Returns
        -------
        ndarray of float64
            Shape (frames, joints, 3), in the file's own units.

        Raises
        ------
        Refused
            For a scene without a skeleton.
        """
        return self._poses(self._times(rate, start, stop, times, ticks), nodes)[0]

    def rotations(
        self, rate: Rate | None = None, start: Time | None = None, stop: Time | None = None, *,
        as_: str = "quaternion", nodes: Patterns = None, times: npt.ArrayLike | None = None,
        ticks: npt.ArrayLike | None = None,
    ) -> npt.NDArray[np.float64]:
        """How joints are turned in the world at every frame, with all layers.

        Parameters
        ----------
        as_ : "quaternion", "matrix", "euler" or "rotvec"
            Unit quaternions (x, y, z, w); matrices that turn columns; angles about x, y and z in degrees, in the
            order of each joint; or axes times angles in radians.
        rate, start, stop, nodes, times, ticks
            As for `positions`.

        Returns
        -------
        ndarray of float64
            Shape (frames, joints, 4), (frames, joints, 3, 3) or (frames, joints, 3).
        """
        if as_ not in FORMS:
            raise ValueError(f"rotations are given as one of {', '.join(FORMS)}")
        _, quaternions, numbers = self._poses(self._times(rate, start, stop, times, ticks), nodes)
        orders = self._orders() if as_ == "euler" else []
        return rotations_as(quaternions, as_, [orders[number] for number in numbers] if orders else [])

    def _orders(self) -> list[str]:
        """The rotation order of each joint; end sites are turned as their joints."""
        orders: list[str] = []
        for joint in self.joints:
            if joint.node is None:
                orders.append(orders[joint.parent])
                continue
            try:
                orders.append(joint.node.rotation.rotation_order)
            except NotFound:
                orders.append("XYZ")
        return orders

    # --- Edits and differences -------------------------------------------------------------------------

    def edit(self, nodes: Patterns = None, *, layer: Union[Layer, int, str] = 0) -> Edit:
        """Moves keys: `with scene.edit("LeftArm") as edit: edit.select(0, 1); edit.move(value=5)`."""
        return Edit(self, nodes, layer)

    @overload
    def diff(self, other: Scene, *, tolerance: float = 0.0, orientation: bool = False) -> Difference: ...
    @overload
    def diff(self, other: Scene, *, tolerance: float = 0.0, world: Literal[True]) -> WorldDifference: ...
    @overload
    def diff(
        self, other: Scene, *, tolerance: float = 0.0, orientation: bool = False, world: bool
    ) -> Union[Difference, WorldDifference]: ...
    def diff(
        self, other: Scene, *, tolerance: float = 0.0, orientation: bool = False, world: bool = False
    ) -> Union[Difference, WorldDifference]:
        """How another scene differs: see `yfcurve.diff`."""
        return _difference(self, other, tolerance, orientation, world)

    # --- Undo ------------------------------------------------------------------------------------------

    @property
    def history(self) -> History:
        """The edits from the first use of this on, to be undone and redone: `with scene.history.step("Raise"): ...`."""
        return History(self._s)

    def undo(self) -> None:
        """Takes the last step back: see `History.undo`."""
        _core.undo(self._s)

    def redo(self) -> None:
        """Makes the step again that was taken back last: see `History.redo`."""
        _core.redo(self._s)

    # --- As a value ------------------------------------------------------------------------------------

    def copy(self) -> Scene:
        """A scene of its own with the same content, which saves in the same format and guards the same damaged file.

        Locks, selected keys, data types and rotation orders are the same in it; candidates and the history are not.
        """
        return Scene._of(self._s.copy())

    __copy__ = copy

    def __deepcopy__(self, memo: object) -> Scene:
        return self.copy()

    def __reduce__(self) -> tuple[Any, ...]:
        return _of_state, self._s.state()

    @shown_while_busy
    def __repr__(self) -> str:
        joints = sum(1 for joint in self._s.joints() if not joint[2])
        curves = len(self._s.curves([]))
        return f"<Scene of {joints} joints and {curves} curves, {self.duration:g} s at {self.rate:g} frames a second>"

    def _repr_html_(self) -> str:
        rows = "".join(
            f"<tr><td>{html.escape(readable(node.path))}</td><td>{node.key_count()}</td></tr>"
            for node in list(self)[:50])
        return f"<b>{html.escape(repr(self)[1:-1])}</b><table><tr><th>joint</th><th>keys</th></tr>{rows}</table>"


def _of_state(*state: Any) -> Scene:
    return Scene._of(_core.Scene.of_state(state))


def _difference(
    here: Scene, there: Scene, tolerance: float, orientation: bool, world: bool
) -> Union[Difference, WorldDifference]:
    for scene in (here, there):
        expect(scene, Scene, "what is compared are scenes; load a file first")
    truths(orientation=orientation, world=world)
    tolerance = number(tolerance, "a tolerance")
    if not world:
        return difference_of(_core.compare(here._s, there._s, tolerance, orientation))
    if orientation:
        raise TypeError("give orientation or world, not both: orientations in the world are not compared")
    return world_difference_of(_core.compare_world(here._s, there._s, tolerance))


@overload
def diff(here: Scene, there: Scene, *, tolerance: float = 0.0, orientation: bool = False) -> Difference: ...
@overload
def diff(here: Scene, there: Scene, *, tolerance: float = 0.0, world: Literal[True]) -> WorldDifference: ...
@overload
def diff(
    here: Scene, there: Scene, *, tolerance: float = 0.0, orientation: bool = False, world: bool
) -> Union[Difference, WorldDifference]: ...
def diff(
    here: Scene, there: Scene, *, tolerance: float = 0.0, orientation: bool = False, world: bool = False
) -> Union[Difference, WorldDifference]:
    """Compares two scenes, curve by curve, or joint by joint.

    Curves are compared at the keys of both and at three times between two of these.

    Parameters
    ----------
    here, there : Scene
    tolerance : float
        Differences of values, or distances, up to this are none; from 0 up.
    orientation : bool
        Compares rotations as they play with all layers, by the angle between the orientations, at the keys of both and
        at the frames of the first.
    world : bool
        Compares where joints of the same paths are in the world, at the keys of both, at the frames of the first and
        half-way between these.

    Returns
    -------
    Difference or, in the world, WorldDifference
        Which is false where there is none.
    """
    return _difference(here, there, tolerance, orientation, world)
