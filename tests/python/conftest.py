"""What the tests of the package have in common."""

from collections.abc import Callable
from pathlib import Path

import hypothesis
import pytest

import yfcurve as yf

ROOT = Path(__file__).parents[2]
WALK = ROOT / "examples" / "walk.bvh"


def raises(error: type[BaseException] | tuple[type[BaseException], ...], *acts: Callable[[], object],
           match: str | None = None) -> None:
    """That each of the acts ends in this error."""
    for act in acts:
        with pytest.raises(error, match=match):
            act()


# Every run is the same, for everybody.
hypothesis.settings.register_profile("same", derandomize=True, deadline=None, print_blob=False, database=None,
                                     max_examples=50)
hypothesis.settings.load_profile("same")


@pytest.fixture
def walk() -> yf.Scene:
    return yf.load(WALK)


SMALL = b"""HIERARCHY
ROOT Hips {
  OFFSET 1 2 3
  CHANNELS 6 Xposition Yposition Zposition Zrotation Xrotation Yrotation
  JOINT Arm {
    OFFSET 0 5 0
    CHANNELS 3 Yrotation Zrotation Xrotation
    End Site { OFFSET 2 0 0 } } }
MOTION
Frames: 3
Frame Time: 0.5
0 1 0 0 0 0 0 0 0
1 1 0 90 0 10 0 90 0
2 1 0 180 20 20 40 170 -60
"""


@pytest.fixture
def small() -> yf.Scene:
    return yf.load_bytes(SMALL, "small")
