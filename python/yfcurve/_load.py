"""Reading files."""

from __future__ import annotations

from typing import Union

from . import _core
from ._borders import expect, number
from ._node import ROTATION_ORDERS
from ._scene import Scene
from ._scene_files import Path, bytes_of
from .errors import FormatError


def _reading(animation: Union[str, int, None], order: str, tolerance: float) -> tuple[str, int, float]:
    """What is chosen of a glTF file, as the compiled part takes it."""
    if order not in ROTATION_ORDERS:
        raise ValueError(f"a rotation order is one of {', '.join(ROTATION_ORDERS)}")
    if isinstance(animation, bool) or not isinstance(animation, (str, int, type(None))):
        raise TypeError(f"an animation is named by its name or its number from 1, not by {animation!r}")
    chosen = "" if animation is None else str(animation)
    return chosen, ROTATION_ORDERS.index(order), number(tolerance, "a tolerance")


def load(
    path: Path, *, animation: Union[str, int, None] = None, order: str = "XYZ", tolerance: float = 0.01
) -> Scene:
    """Reads a file in the format that its content shows: BVH, glTF or a scene file, packed by gzip or not.

    Parameters
    ----------
    path : str or path-like
    animation : str or int, optional
        Which one of a glTF file, by its name or its number from 1; the first. See `animations`.
    order : str
        One of `ROTATION_ORDERS`, for the rotations of a glTF file.
    tolerance : float
        How many degrees curves may be off the orientations of a glTF file.

    Raises
    ------
    OSError
        When the file cannot be read: `FileNotFoundError` and so on.
    FormatError
        When it is broken, with the line of the fault.
    """
    try:
        return Scene._of(_core.Scene.load(bytes_of(path), _reading(animation, order, tolerance)))
    except FormatError:
        with open(path, "rb"):
            pass
        raise


def load_bytes(
    content: bytes, name: str = "bytes", *, animation: Union[str, int, None] = None, order: str = "XYZ",
    tolerance: float = 0.01,
) -> Scene:
    """Reads what a file holds, as `load` does. The name is for messages."""
    given = bytes(expect(content, (bytes, bytearray, memoryview), "what a file holds is bytes"))
    expect(name, str, "a name is a text")
    return Scene._of(_core.Scene.load_bytes(given, name, _reading(animation, order, tolerance)))


def animations(path: Path) -> list[str]:
    """The names of the animations of a glTF file, in its order; none of another file.

    One without a name is there as "animation 2" and is loaded by that number.

    Raises
    ------
    OSError, FormatError
        As `load`.
    """
    return load(path)._s.animations()
