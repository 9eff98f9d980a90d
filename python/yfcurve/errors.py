"""What goes wrong, with the messages of the program `yfcurve`: what, where, and what to do."""

from __future__ import annotations

import re

__all__ = ["Busy", "Error", "FileError", "FormatError", "Gone", "NotFound", "Refused", "Stopped"]


class Error(Exception):
    """What all errors of this package have in common."""


class FileError(Error, OSError):
    """A file cannot be written. What was there before is still there."""

    def __init__(self, message: str) -> None:
        super().__init__(message)
        self.message = message

    def __str__(self) -> str:
        return self.message


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
    """A node or a curve was used after it was removed from its scene."""


class Busy(Error, RuntimeError):
    """A scene was used while it is worked on, as from the progress function of a filter."""


class Stopped(Error):
    """A progress function said that the work should end. Nothing was changed."""
