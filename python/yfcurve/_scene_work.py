"""Work on whole scenes: filters, clip tools, plots."""

from __future__ import annotations

from typing import TYPE_CHECKING, Union

from . import _core
from ._borders import expect, number, readable, truths
from ._clip import clip_steps
from ._exchange import reduction_row
from ._filters import Progress, Report, explaining, progress_of, report_of, step_of
from ._layers import Layer, Plotted, layer_id, plotted_of, plotting_row
from ._times import Patterns, Time, key_ticks, patterns_of, span_of
from .errors import in_python

if TYPE_CHECKING:
    from ._scene import Scene


class Svg(str):
    """A picture as an SVG document, which notebooks show."""

    def _repr_svg_(self) -> str:
        return str(self)


class SceneWork:
    """What a `Scene` has done to all of it, and its picture."""

    __slots__ = ()

    _s: _core.Scene

    def filter(
        self, *filters: str, nodes: Patterns = None, layer: Union[Layer, int, str] = 0, progress: Progress = None,
        page: bool = False, **parameters: object
    ) -> Report:
        """Applies filters to the chosen curves of a layer, one after the other.

        Parameters
        ----------
        filters : str
            Names as in `yfcurve.filters`, or with parameters as the program takes them: "butterworth:CutOffFreq=7".
        nodes : str or list of str, optional
            Patterns; see `Scene.curves`.
        layer : Layer, int or str
            The base layer at first. On others, filters that work on whole joints or change the form of rotations
            are refused, and errors of properties are those of the layer's own curves.
        progress : callable or bool, optional
            Is told how much is done, and of how much; what it returns ends the work where it is false, other than None.
            True shows a bar of tqdm, where that is installed.
        page : bool
            Makes the page of `Report.to_html`.
        parameters
            Of the one filter: `scene.filter("key-reducer", precision=0.1)`. Times are seconds.

        Returns
        -------
        Report
            What was done, and how far each property is from what it was at the frames.

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
        truths(page=page)
        steps = [step_of(name, parameters) for name in filters]
        with progress_of(progress) as tell, explaining(steps):
            return report_of(*_core.filter(self._s, steps, patterns_of(nodes), layer_id(self._s, layer), tell, page))

    def reduce(
        self, tolerance: Union[float, str, None] = None, *, ratio: Union[float, str, None] = None,
        keys: int | None = None, contacts: bool = False, tangents: str = "smooth", height: float | None = None,
        page: bool = False, progress: Progress = None,
    ) -> Report:
        """Leaves the fewest keys with which no joint comes away from its place in the world by more than a distance.

        One of tolerance, ratio and keys is given.

        Parameters
        ----------
        tolerance : float or str
            The distance: a number in the file's own units, a length such as "2mm" ("cm", "m", "in"), or a part of the
            figure's height such as "0.5%".
        ratio : float or str
            Leaves at most that part of the keys that move joints, 0.05 or "5%", with the smallest distance.
        keys : int
            Leaves at most so many of them.
        contacts : bool
            Feet that stand stay within a tenth of the distance.
        tangents : "smooth", "broken" or "auto"
            One slope a key, two, or auto keys where they serve.
        height : float, optional
            How high the figure is in metres, for lengths such as "2mm"; 1.7.
        page : bool
            Makes the page of `Report.to_html`.
        progress : callable or bool, optional
            As for `filter`.

        Returns
        -------
        Report
            Its `joints` tell how far each is from where it was.

        Raises
        ------
        Refused
            Without a skeleton, and for what is no distance or part above 0.
        Stopped
            Where the progress function said so.
        """
        truths(page=page)
        row = reduction_row(tolerance, ratio, keys, contacts, tangents, height)
        with progress_of(progress) as tell:
            return report_of(*_core.reduce(self._s, row, tell, page))

    def clip(self, *steps: str, **tools: object) -> list[str]:
        """Cuts, retimes and changes all that plays: every curve on every layer, and the skeleton with it.

        Nodes and curves that are held raise `Gone` afterwards; get them from the scene anew.

        Parameters
        ----------
        steps : str
            The options of `yfcurve clip` without their dashes: "trim=1:3", "mirror". These are trim, keep-times, rate,
            resample, speed, reverse, shift, loop, blend, mirror, pairs, scale, root-origin, in-place, order, rename and
            drop. Where several joints have a name, a path means one of them: "drop=Neck/Head".
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
        return [readable(in_python(sentence)) for sentence in _core.clip(self._s, clip_steps(steps, tools))]

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
            For other skeletons, for scenes with properties on layers, and for a blend of more than half a scene. Nothing
            was changed.
        """
        truths(align=align)
        _core.join(self._s, expect(other, SceneWork, "what is joined is a scene")._s, key_ticks(blend, self._s), align)

    def plot_into_layer(
        self, layer: Union[Layer, int, str], source: Scene | None = None, *, nodes: Patterns = None,
        start: Time | None = None, stop: Time | None = None, tolerance: float = 0.001, period: Time | None = None,
        smart: bool = True,
    ) -> list[Plotted]:
        """Gives a layer keys with which all layers together show what they do already, or what another scene shows.

        Parameters
        ----------
        layer : Layer, int or str
            The layer, its id or its name.
        source : Scene, optional
            Its properties of the same paths are plotted; this scene's own without it.
        smart : bool
            As few keys as keep within the tolerance; otherwise a key at every period, and one for what does not move, unless
            the setting "UseConstantKeyReducer" is off. Neither gives keys to properties that an additive layer need not
            change.
        nodes, start, stop, tolerance, period
            As for `Layers.merge`. Without a span all keys of the layer are replaced; what repeats its keys or runs on
            beyond them is plotted as long as the scene plays.

        Raises
        ------
        Refused
            With nothing changed, for what cannot be plotted: why, and what can be done.
        """
        from_ = None if source is None else expect(source, SceneWork, "the source is a scene")._s
        row = plotting_row(self._s, patterns_of(nodes), start, stop, period, tolerance, smart)
        return plotted_of(_core.plot_into_layer(self._s, layer_id(self._s, layer), from_, row))

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
            In pixels, 300 to 10000.

        Returns
        -------
        Svg
            A string, which notebooks show as a picture.
        """
        truths(layers=layers)
        span = span_of(start, stop, self._s)
        return Svg(_core.plot(self._s, patterns_of(nodes), *span, layers, number(width, "a width")))
