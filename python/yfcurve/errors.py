"""What goes wrong, with the messages of the program `yfcurve`: what, where, and what to do."""

from __future__ import annotations

import errno as _errno
import os
import re
from typing import Any

__all__ = ["Busy", "Error", "FileError", "FormatError", "Gone", "NotFound", "Refused", "Stopped"]


# Commands of the program, and what to do in place of them.
_COMMANDS = [(re.compile(pattern), words) for pattern, words in (
    (r"'yfcurve filters ([\w-]+)'", r"yfcurve.filters()['\1']"),
    (r"'yfcurve filters'", "yfcurve.filters()"),
    (r"(?<=animation)(.*)'yfcurve info'", r"\1yfcurve.animations(path)"),
    (r"'yfcurve info .*' lists what there is", "scene.find() lists what there is"),
    (r"'yfcurve info'", "scene.joints"),
    (r"'yfcurve clip --help'", "help(yfcurve.Scene.clip)"),
    (r"run 'yfcurve clip .* --rate (\S+) --resample'", r"call scene.clip(rate=\1, resample=True)"),
    (r"'yfcurve clip'", "scene.clip"),
    (r"'yfcurve clip --trim'", "scene.clip(trim=...)"),
    (r"'yfcurve convert .* OUT.bvh' makes a motion of what plays at each frame, which holds still beyond",
     "call scene.clip(rate=scene.rate, resample=True) and set before and after of its curves to Extrapolation.CONSTANT"),
    (r"'yfcurve filter .* --apply ([\w-]+)'", r"scene.filter('\1')"),
    (r"'yfcurve eval'", "scene.sample()"),
    (r"'yfcurve layer merge'", "scene.layers.merge()"),
    (r"with 'yfcurve layer lock .* off'", "by layer.locked = False"),
    (r"'yfcurve filter --apply fit:Tolerance=...'", "scene.filter('fit', tolerance=...)"),
    (r"use the scene that it was made from(?!, or yfcurve)", "use the scene that it was made from, or yfcurve.load_clip"),
    (r"a file that --export wrote", "a text that export_keys gave"),
    (r"; choose another --max-size", ""),
)]
# Its options, the special before the general.
_OPTIONS = [(re.compile(r"(?<![\w-])" + pattern), words) for pattern, words in (
    (r"--rate(?=, which is missing)", "rate="),
    (r"--rate", "scene.rate"),
    (r"--node\b", "nodes="),
    (r"--(repair|exact)\b", r"\1=True"),
    (r"--([a-z]+) (\d+)(?![\w.%])", r"\1=\2"),
    (r"--([a-z]+) (\d[\w.]*%?|[^\s,;]+=[^\s,;]+)", r'\1="\2"'),
    (r"--([a-z]+)-([a-z]+)\b", r"\1_\2="),
    (r"--([a-z]+)\b", r"\1="),
)]


def in_python(message: str) -> str:
    """A message with the words of this package where it names options and commands of the program."""
    # Names of files stand in front, and options in what can be done about it.
    place, colon, rest = message.partition(": ")
    if not colon or re.fullmatch("--[a-z-]+", place):
        place, colon, rest = "", "", message
    for pattern, words in _COMMANDS:
        rest = pattern.sub(words, rest)
    # Text in quotes is left as it is: these are names that the user chose.
    parts = re.split(r"('[^']*')", rest)
    for pattern, words in _OPTIONS:
        parts[::2] = [pattern.sub(words, part) for part in parts[::2]]
    return place + colon + "".join(parts)


class Error(Exception):
    """What all errors of this package have in common."""

    def __init__(self, message: str) -> None:
        super().__init__(in_python(message))


class FileError(Error, OSError):
    """A file cannot be written. What was there before is still there.

    Attributes
    ----------
    errno : int or None
        The system's number of the fault, where it has one.
    filename : str, bytes or None
        The path that was to be written.
    """

    def __init__(self, message: str) -> None:
        super().__init__(message)
        self.message = in_python(message)
        # The system's own words for what went wrong, where there are any; some are the beginning of others.
        found = [code for code in _errno.errorcode if os.strerror(code) in message]
        if found:
            self.errno = max(found, key=lambda code: len(os.strerror(code)))

    def __str__(self) -> str:
        return self.message

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), self.args, {"errno": self.errno, "filename": self.filename}


class FormatError(Error, ValueError):
    """A file is broken, or is none that can be read.

    Attributes
    ----------
    file : str or None
        The name of the file, as the message has it.
    line : int or None
        The line of the fault, from 1, where the file has lines.
    """

    def __init__(self, message: str) -> None:
        super().__init__(message)
        place = re.match(r"(?P<file>.+?):(?:(?P<line>\d+):)? ", message, re.DOTALL)
        self.file: str | None = place["file"] if place else None
        self.line: int | None = int(place["line"]) if place and place["line"] else None


class Refused(Error, ValueError):
    """What was asked for makes no sense for the scene, or for any. Nothing was changed."""


class NotFound(Error, KeyError):
    """There is nothing of that name, or nothing that a pattern matches."""

    def __str__(self) -> str:
        return str(self.args[0])


class Gone(Error, ReferenceError):
    """A node, a curve or a layer was used after it was removed from its scene."""


class Busy(Error, RuntimeError):
    """A scene was used while it is worked on, as from the progress function of a filter."""


class Stopped(Error):
    """A progress function said that the work should end. Nothing was changed; of a batch, what is done stays."""
