"""Scenes in files and texts."""

from __future__ import annotations

import os
from typing import Iterable, Union

from . import _core
from ._borders import expect, number, truth, truths
from ._exchange import ImportedKeys, table_row
from ._layers import Layer, layer_id
from ._times import Patterns, Rate, Time, patterns_of
from .errors import FileError

Path = Union[str, "os.PathLike[str]"]


def bytes_of(path: Path) -> bytes:
    """A path as the system takes it."""
    encoded = os.fsencode(path)
    if b"\0" in encoded:
        raise ValueError("a path cannot hold a null character")
    return encoded


def _checked(format: str | None) -> str | None:
    if format is not None and "\0" in expect(format, str, "a format is a text"):
        raise ValueError("a format cannot hold a null character")
    return format


class SceneFiles:
    """What a `Scene` writes, and the keys that it takes from a text."""

    __slots__ = ()

    _s: _core.Scene

    def save(
        self, path: Path, *, format: str | None = None, repair: bool = False, sampled: bool = False, mesh: bool = True,
        tolerance: float = 0.01,
    ) -> None:
        """Writes a file, whole or not at all: what was there stays until all is on the disk.

        Parameters
        ----------
        path : str or path-like
            What ends in .bvh, .glb, .gltf or .ytalo, or with .gz behind that for a packed file. What ends in .yclip is
            a clip: what plays, for `load_clip` and for programs that play it.
        format : str, optional
            "bvh", "glb", "gltf", "ytalo" or "yclip", or with ".gz", whatever the path ends in.
        repair : bool
            Allows that the file is replaced of which something damaged was left out.
        sampled : bool
            Gives a glTF file a linear key for each frame, in place of few cubic ones.
        mesh : bool
            Gives a glTF file bones to look at.
        tolerance : float
            How many degrees the motion of a glTF file may be off.

        Raises
        ------
        FileError
            When it cannot be written, or does not hold what the scene has.
        Refused
            For a format that there is not, and for a tolerance that is not above 0.

        Notes
        -----
        No format keeps locks of nodes and curves, which keys are selected, candidates, data types of nodes that are not
        called like them, velocities of keys, and rotation orders outside of skeletons; `copy` and pickling do, but for
        candidates. Scene files keep weights and breaks of `USER` keys and of `AUTO` keys with an auto parameter, not
        those of other `AUTO` keys and of `TCB` keys; `notes` tells where a segment plays without its weights then.
        """
        try:
            self._s.save(bytes_of(path), _checked(format), truth(repair, "repair"), _writing(sampled, mesh, tolerance))
        except FileError as error:
            error.filename = os.fspath(path)
            raise

    def to_bytes(
        self, format: str | None = None, *, sampled: bool = False, mesh: bool = True, tolerance: float = 0.01
    ) -> bytes:
        """The content of the file that `save` would write; None for the format that was loaded."""
        return self._s.to_bytes(_checked(format), _writing(sampled, mesh, tolerance))

    def save_table(
        self, path: Path, *, nodes: Patterns = None, rate: Rate | None = None, start: Time | None = None,
        stop: Time | None = None, frames: bool = False, layers: bool = False, world: bool = False, euler: bool = False,
    ) -> None:
        """Writes what plays as a table for other programs: a row for each time, a column for each curve.

        Parameters
        ----------
        path : str or path-like
            What ends in .csv, .tsv or .json. It appears whole or not at all.
        nodes : str or list of str, optional
            Patterns; see `Scene.curves`. In the world they mean the joints that have these curves.
        rate, start, stop : float, optional
            As for `sample`.
        frames : bool
            Rows are at whole frames from time 0 on, and a column has their numbers.
        layers : bool
            Each layer of a property has columns, and so have the weights, before what plays.
        world : bool
            Where joints are in the world and how they are turned, as quaternions, in place of curves.
        euler : bool
            These as degrees, in the order of each joint.

        Raises
        ------
        FileError
            When it cannot be written.
        Refused
            For an ending that there is not, and in the world for a scene without a skeleton.
        """
        row = table_row(self._s, nodes, rate, start, stop, frames, layers, world, euler)
        try:
            _core.save_table(self._s, bytes_of(path), row)
        except FileError as error:
            error.filename = os.fspath(path)
            raise

    def to_table(
        self, format: str = "csv", *, nodes: Patterns = None, rate: Rate | None = None, start: Time | None = None,
        stop: Time | None = None, frames: bool = False, layers: bool = False, world: bool = False, euler: bool = False,
    ) -> str:
        """The content of the file that `save_table` would write: "csv", "tsv" or "json"."""
        row = table_row(self._s, nodes, rate, start, stop, frames, layers, world, euler)
        return _core.table_text(self._s, expect(format, str, "a format is a text"), row)

    def export_keys(
        self, nodes: Patterns = None, *, layers: Iterable[Union[Layer, int, str]] | None = None
    ) -> str:
        """All that the chosen curves have of their keys as JSON, digit for digit, for scripts that edit it.

        docs/keys.schema.json describes it; `yfcurve keys` takes and gives the same.

        Parameters
        ----------
        nodes : str or list of str, optional
            Patterns; see `Scene.curves`.
        layers : iterable of Layer, int or str, optional
            Whose keys: `scene.layers` for all; the base layer.
        """
        if isinstance(layers, (str, Layer)):
            raise TypeError("the layers to export are a list, such as ['Lean']")
        ids = [layer_id(self._s, layer) for layer in layers] if layers is not None else []
        return _core.keys_text(self._s, patterns_of(nodes), ids)

    def import_keys(self, text: str, name: str = "keys") -> ImportedKeys:
        """Gives the curves that such a text names its keys in place of theirs; other curves stay.

        Parameters
        ----------
        text : str
            JSON as `export_keys` gives it.
        name : str
            What messages call it.

        Raises
        ------
        FormatError
            For what is no such text, and for curves that the scene does not have or that are locked. Nothing was
            changed.
        """
        expect(text, str, "keys are imported from a text")
        return ImportedKeys(*_core.load_keys(self._s, text, expect(name, str, "a name is a text")))


def _writing(sampled: bool, mesh: bool, tolerance: float) -> tuple[bool, bool, float]:
    """How a file is written, as the compiled part takes it."""
    truths(sampled=sampled, mesh=mesh)
    return sampled, mesh, number(tolerance, "a tolerance")
