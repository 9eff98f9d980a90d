"""Animation curves and recorded motion: load, look, clean, compare and save.

    import yfcurve as yf

    scene = yf.load("walk.bvh")
    samples = scene.sample()                       # (frames, channels), with the names of the columns
    scene.filter("butterworth", cut_off_freq=7)
    scene.filter("key-reducer", precision=0.1, nodes="*Arm")
    scene.save("walk.ytalo")

Times are seconds as floats, or `Ticks` where the very tick counts. Angles of curves are degrees. What goes wrong
raises an exception of `yfcurve.errors` with one message: what is wrong, where, and what can be done. Arguments that make
no sense by themselves raise plain `ValueError` or `TypeError`.

Several threads may work at the same time, on scenes of their own; one that uses a scene which another thread is
working on waits for it.
"""

from ._core import __version__, refuse_subinterpreter

refuse_subinterpreter()

from ._batch import BatchRow, BatchTable, batch
from ._clips import Clip, load_clip
from ._curve import Candidate, Curve
from ._diff import CurveName, Difference, JointDifference, SettingDifference, ValueDifference, WorldDifference
from ._edit import Edit
from ._exchange import Finding, Findings, ImportedKeys
from ._filters import Filter, JointError, Parameter, PropertyError, Refusal, Report, Step, filters
from ._history import History
from ._keys import EXACT_KEY, KEY, UNLIMITED, Extrapolation, Interpolation, Key, Outside, Tangents
from ._layers import Layer, LayerMode, Layers, Plotted, RotationMode, ScalingMode
from ._load import animations, load, load_bytes
from ._node import ROTATION_ORDERS, Node
from ._samples import Samples
from ._scene import Joint, Scene, diff
from ._scene_work import Svg
from ._settings import Settings, settings
from ._times import TICKS_PER_SECOND, Ticks
from .errors import Busy, Error, FileError, FormatError, Gone, NotFound, Refused, Stopped

__all__ = [
    "BatchRow", "BatchTable", "Busy", "Candidate", "Clip", "Curve", "CurveName", "Difference", "EXACT_KEY", "Edit",
    "Error", "Extrapolation", "FileError", "Filter", "Finding", "Findings", "FormatError", "Gone", "History",
    "ImportedKeys", "Interpolation", "Joint",
    "JointDifference", "JointError", "KEY", "Key", "Layer", "LayerMode", "Layers", "Node", "NotFound",
    "Outside", "Parameter", "Plotted", "PropertyError", "ROTATION_ORDERS", "Refusal", "Refused", "Report",
    "RotationMode", "Samples", "ScalingMode", "Scene", "SettingDifference", "Settings", "Step", "Stopped",
    "Svg", "TICKS_PER_SECOND", "Tangents", "Ticks", "UNLIMITED", "ValueDifference", "WorldDifference",
    "__version__", "animations", "batch", "diff", "filters", "load", "load_bytes", "load_clip", "settings",
]
