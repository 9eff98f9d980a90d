"""Scenes of recorded motion."""

from __future__ import annotations

import html
import os
from dataclasses import dataclass
from fractions import Fraction
from typing import Any, Iterator, Literal, Sequence, Union, overload

import numpy as np
import numpy.typing as npt

from . import _core
from ._clip import clip_steps
from ._curve import Curve
from ._diff import Difference, WorldDifference, difference_of, world_difference_of
from ._edit import Edit
from ._filters import Progress, Report, progress_of, report_of, step_of
from ._history import History
from ._layers import Layer, Layers, Plotted, plotted_of, plotting_row
from ._node import Node
from ._rotations import FORMS, rotations_as
from ._times import (
    FOREVER, Patterns, Rate, Time, fraction_of, given_ticks, key_ticks, patterns_of, second_array, seconds_of, ticks_or,
)
from .errors import FormatError, NotFound, Refused

Path = Union[str, "os.PathLike[str]"]


def _bytes_of(path: Path) -> bytes:
    """A path as the system takes it."""
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError("a path cannot hold a null character")
    return encoded


def _checked(format: str | None) -> str | None:
    if format is not None and "\0" in format:
        raise ValueError("a format cannot hold a null character")
    return format


class Svg(str):
    """A picture as an SVG document, which notebooks show."""

    def _repr_svg_(self) -> str:
        return str(self)


@dataclass(frozen=True)
class Joint:
    """A joint of the skeleton, or an end site: the end of a chain, which never moves."""

    name: str
    parent: int
    """The number of a joint before this one; -1 for a root."""
    is_end_site: bool
    offset: tuple[float, float, float]
    """From the parent at rest, in the parent's axes."""
    node: Node | None
    """None for an end site."""


@dataclass(frozen=True, eq=False)
class Samples:
    """The values of curves at times, as an array with named columns.

    Numpy takes it as the array `values` itself.
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

    def __getitem__(self, column: str) -> npt.NDArray[np.float32]:
        """The column of a curve, by its path."""
        if column not in self.names:
            raise NotFound(f"there is no column {column!r}; the attribute names lists those that there are")
        return self.values[:, self.names.index(column)]

    def __repr__(self) -> str:
        return f"<Samples of {self.shape[0]} frames and {self.shape[1]} channels>"


class Scene:
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

    # --- Files -----------------------------------------------------------------------------------------

    def save(self, path: Path, *, format: str | None = None, repair: bool = False) -> None:
        """Writes a file, whole or not at all: what was there stays until all is on the disk.

        Parameters
        ----------
        path : str or path-like
            What ends in .bvh, .glb, .gltf or .ytalo, or with .gz behind that for a packed file.
        format : str, optional
            "bvh", "glb", "gltf" or "ytalo", or with ".gz", whatever the path ends in.
        repair : bool
            Allows that the file is replaced of which something damaged was left out.

        Raises
        ------
        FileError
            When it cannot be written, or does not hold what the scene has.
        Refused
            For a format that there is not.
        """
        self._s.save(_bytes_of(path), _checked(format), repair)

    def to_bytes(self, format: str | None = None) -> bytes:
        """The content of the file that `save` would write; None for the format that was loaded."""
        return self._s.to_bytes(_checked(format))

    @property
    def notes(self) -> list[str]:
        """What the last loading, saving or filtering had to tell that is no failure."""
        return self._s.notes()

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
            exact = [node for node in found if name in (node.name, node.path)]
            if len(exact) != 1:
                some = ", ".join(repr(node.path) for node in found[:3])
                raise NotFound(f"{len(found)} nodes match {name!r}, such as {some}; give more of the path, or use find")
            found = exact
        return found[0]

    def find(self, *nodes: str) -> list[Node]:
        """The nodes that any of the patterns means by themselves, in the order of the tree; all without one.

        Raises
        ------
        NotFound
            For a pattern that matches nothing.
        """
        return [Node._of(node) for node in self._s.nodes(list(nodes))]

    def curves(self, nodes: Patterns = None) -> dict[str, Curve]:
        """The chosen curves of the base layer by their paths. Of curves with one path the first counts."""
        chosen: dict[str, Curve] = {}
        for path, curve, _ in self._s.curves(patterns_of(nodes)):
            chosen.setdefault(path, Curve._of(curve))
        return chosen

    @property
    def rate(self) -> float:
        """Frames a second. Takes a number or a `fractions.Fraction`; keys stay where they are."""
        return float(self.exact_rate)

    @rate.setter
    def rate(self, rate: Rate) -> None:
        self._s.set_rate(fraction_of(rate))

    @property
    def exact_rate(self) -> Fraction:
        """Frames a second, exactly."""
        return Fraction(*self._s.rate())

    @property
    def span(self) -> tuple[float, float] | None:
        """The times of the first and the last key of all curves in seconds; None without keys."""
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
            return given_ticks(times, ticks)
        span = self._s.span() or (0, 0)
        fraction = self._s.rate() if rate is None else fraction_of(rate)
        return _core.row_times(fraction, ticks_or(start, span[0]), ticks_or(stop, span[1]))

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
            When the rows of a plain array are: at the frames from a time in seconds on; the scene's rate, from 0 on.
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
            values = np.asarray(samples, dtype=np.float32)
            if values.ndim != 2:
                raise ValueError("samples are an array of frames and channels")
            if times is not None or ticks is not None:
                exact = self._times(rate, start, None, times, ticks)
            else:
                fraction = self._s.rate() if rate is None else fraction_of(rate)
                exact = _core.frame_times(fraction, ticks_or(start, 0), len(values))
        if not base:
            self._refuse_layered(chosen)
        _core.set_samples(self._s, chosen, exact, np.ascontiguousarray(values, dtype=np.float32), whole)

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
        sites included.

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

    # --- Work ------------------------------------------------------------------------------------------

    def filter(
        self, *filters: str, nodes: Patterns = None, progress: Progress = None, **parameters: object
    ) -> Report:
        """Applies filters to the chosen curves of the base layer, one after the other.

        Parameters
        ----------
        filters : str
            Names as in `yfcurve.filters`, or with parameters as the program takes them: "butterworth:CutOffFreq=7".
        nodes : str or list of str, optional
            Patterns; see `Scene.curves`.
        progress : callable or bool, optional
            Is told how much is done, and of how much; what it returns ends the work where it is false. True shows a
            bar of tqdm, where that is installed.
        parameters
            Of the one filter: `scene.filter("key-reducer", precision=0.1)`. Times are seconds.

        Returns
        -------
        Report
            What was done, and how far each property is from what it was.

        Raises
        ------
        Refused
            For unknown filters and parameters, and where a filter refuses wherever it applies.
        Stopped
            Where the progress function said so. In every case of these the curves are as they were.
        """
        if not filters:
            raise TypeError("no filter is given; yfcurve.filters() lists them")
        if parameters and len(filters) > 1:
            raise TypeError("parameters belong to one filter; with several, write them behind the names")
        steps = [step_of(name, parameters) for name in filters]
        with progress_of(progress) as tell:
            return report_of(*_core.filter(self._s, steps, patterns_of(nodes), tell))

    def reduce(self, tolerance: float, *, contacts: bool = False, progress: Progress = None) -> Report:
        """Leaves the fewest keys with which no joint comes away from its place in the world by more than a distance.

        Parameters
        ----------
        tolerance : float
            The distance, in the file's own units.
        contacts : bool
            Feet that stand stay within a tenth of it.
        progress : callable or bool, optional
            As for `filter`.

        Returns
        -------
        Report
            Its `joints` tell how far each is from where it was.

        Raises
        ------
        Refused
            Without a skeleton, and for a tolerance that is not above 0.
        Stopped
            Where the progress function said so.
        """
        with progress_of(progress) as tell:
            return report_of(*_core.reduce(self._s, float(tolerance), contacts, tell))

    def clip(self, *steps: str, **tools: object) -> list[str]:
        """Cuts, retimes and changes all that plays: every curve on every layer, and the skeleton with it.

        Nodes and curves that are held raise `Gone` afterwards; get them from the scene anew.

        Parameters
        ----------
        steps : str
            The options of `yfcurve clip` without their dashes: "trim=1:3", "mirror".
        tools
            The same as keywords, done in the order given, after the steps: `scene.clip(trim=(1, 3), loop=4,
            blend=0.2, mirror=True, rename={"Hips": "Pelvis"}, drop=["Head", "Neck"])`. Times are seconds or `Ticks`.

        Returns
        -------
        list of str
            For each step, what was done.

        Raises
        ------
        Refused
            With nothing changed, for steps that there are not, and for what cannot be done to the scene.
        """
        return _core.clip(self._s, clip_steps(steps, tools))

    def join(self, other: Scene, *, blend: Time = 0.0, align: bool = False) -> None:
        """Lets another scene of the same skeleton play behind this one, which keeps its frame rate.

        Nodes and curves that are held raise `Gone` afterwards, as with `clip`.

        Parameters
        ----------
        other : Scene
        blend : float or Ticks
            For how many seconds this one fades into the other, which starts so much earlier.
        align : bool
            Moves the other one over the ground and turns it, so that its root goes on from where this one's is.

        Raises
        ------
        Refused
            For other skeletons, for scenes with layers, and for a blend of more than half a scene. Nothing was changed.
        """
        _core.join(self._s, other._s, key_ticks(blend), align)

    def edit(self, nodes: Patterns = None, *, layer: int = 0) -> Edit:
        """Moves keys: `with scene.edit("LeftArm") as edit: edit.select(0, 1); edit.move(value=5)`."""
        return Edit(self, nodes, layer)

    def plot_into_layer(
        self, layer: Union[Layer, int, str], source: Scene | None = None, *, nodes: Patterns = None,
        start: Time | None = None, stop: Time | None = None, tolerance: float = 0.001, period: Time | None = None,
        smart: bool = True,
    ) -> list[Plotted]:
        """Gives a layer keys with which all layers together show what they do already, or what another scene shows.

        Parameters
        ----------
        layer : Layer, int or str
        source : Scene, optional
            Its properties of the same paths are plotted; this scene's own without it.
        smart : bool
            As few keys as keep within the tolerance; otherwise a key at every period.
        nodes, start, stop, tolerance, period
            As for `Layers.merge`.

        Raises
        ------
        Refused
            With nothing changed, for what cannot be plotted: why, and what can be done.
        """
        chosen = layer if isinstance(layer, Layer) else self.layers[layer]
        row = plotting_row(patterns_of(nodes), start, stop, period, tolerance, smart)
        return plotted_of(_core.plot_into_layer(self._s, chosen.id, None if source is None else source._s, row))

    def plot(
        self, nodes: Patterns = None, start: Time | None = None, stop: Time | None = None, *, layers: bool = False,
        width: float = 1120.0,
    ) -> Svg:
        """Draws curves, one panel for each property above the other.

        Parameters
        ----------
        nodes : str or list of str, optional
            Patterns; without them the translation of the root and the rotations with the largest motion.
        start, stop : float or Ticks, optional
            Seconds; from the first key to the last one.
        layers : bool
            A panel for each component, with the keys of every layer.
        width : float
            In pixels, 300 at least.

        Returns
        -------
        Svg
            A string, which notebooks show as a picture.
        """
        span = (ticks_or(start, -FOREVER), ticks_or(stop, FOREVER))
        return Svg(_core.plot(self._s, patterns_of(nodes), *span, layers, width))

    @overload
    def diff(self, other: Scene, *, tolerance: float = 0.0, orientation: bool = False) -> Difference: ...
    @overload
    def diff(self, other: Scene, *, tolerance: float = 0.0, world: Literal[True]) -> WorldDifference: ...
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
        """A scene of its own with the same content, which saves in the same format and guards the same damaged file."""
        return _of_state(*self._s.state())

    __copy__ = copy

    def __deepcopy__(self, memo: object) -> Scene:
        return self.copy()

    def __reduce__(self) -> tuple[Any, ...]:
        return _of_state, self._s.state()

    def __repr__(self) -> str:
        joints = sum(1 for joint in self._s.joints() if not joint[2])
        curves = len(self._s.curves([]))
        return f"<Scene of {joints} joints and {curves} curves, {self.duration:g} s at {self.rate:g} frames a second>"

    def _repr_html_(self) -> str:
        rows = "".join(
            f"<tr><td>{html.escape(node.path)}</td><td>{node.key_count()}</td></tr>" for node in list(self)[:50])
        return f"<b>{html.escape(repr(self)[1:-1])}</b><table><tr><th>joint</th><th>keys</th></tr>{rows}</table>"


def _of_state(*state: Any) -> Scene:
    return Scene._of(_core.Scene.of_state(state))


def load(path: Path) -> Scene:
    """Reads a file in the format that its content shows: BVH, glTF or a scene file, packed by gzip or not.

    Raises
    ------
    OSError
        When the file cannot be read: `FileNotFoundError` and so on.
    FormatError
        When it is broken, with the line of the fault.
    """
    try:
        return Scene._of(_core.Scene.load(_bytes_of(path)))
    except FormatError:
        with open(path, "rb"):
            pass
        raise


def load_bytes(content: bytes, name: str = "bytes") -> Scene:
    """Reads what a file holds. The name is for messages."""
    return Scene._of(_core.Scene.load_bytes(bytes(content), name))


def _difference(
    here: Scene, there: Scene, tolerance: float, orientation: bool, world: bool
) -> Union[Difference, WorldDifference]:
    if not world:
        return difference_of(_core.compare(here._s, there._s, tolerance, orientation))
    if orientation:
        raise TypeError("give orientation or world, not both: orientations in the world are not compared")
    return world_difference_of(_core.compare_world(here._s, there._s, tolerance))


@overload
def diff(here: Scene, there: Scene, *, tolerance: float = 0.0, orientation: bool = False) -> Difference: ...
@overload
def diff(here: Scene, there: Scene, *, tolerance: float = 0.0, world: Literal[True]) -> WorldDifference: ...
def diff(
    here: Scene, there: Scene, *, tolerance: float = 0.0, orientation: bool = False, world: bool = False
) -> Union[Difference, WorldDifference]:
    """Compares two scenes, curve by curve, or joint by joint.

    Parameters
    ----------
    here, there : Scene
    tolerance : float
        Differences of values, or distances, up to this are none; from 0 up.
    orientation : bool
        Compares rotations as they play, by the angle between the orientations.
    world : bool
        Compares where joints of the same paths are in the world, at the keys of both and at the frames of the first.

    Returns
    -------
    Difference or, in the world, WorldDifference
        Which is false where there is none.
    """
    return _difference(here, there, tolerance, orientation, world)


__all__ = ["Joint", "Samples", "Scene", "Svg", "diff", "load", "load_bytes"]
