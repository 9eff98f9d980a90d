"""Batches on this machine; tests/clusters has those on others."""

import math
import os
import shutil
from pathlib import Path

import pytest

import yfcurve as yf
from conftest import SMALL, raises

PROGRAM = shutil.which(os.environ.get("YFCURVE_PROGRAM", "yfcurve"))


@pytest.mark.skipif(PROGRAM is None, reason="the program is neither on the PATH nor named by YFCURVE_PROGRAM")
def test_a_table_has_what_was_made_and_why_the_rest_was_not(tmp_path: Path) -> None:
    out = tmp_path / "out"
    (tmp_path / "good.bvh").write_bytes(SMALL)
    (tmp_path / "broken.bvh").write_bytes(SMALL[:-20] + b"\nx\n")

    def run() -> yf.BatchTable:
        return yf.batch(tmp_path / "*.bvh", "offset:Offset=10", out, nodes="Arm", to="ytalo", program=PROGRAM)

    table = run()
    assert [Path(row.input).name for row in table] == ["broken.bvh", "good.bvh"]
    assert [row.state for row in table] == ["failed", "filtered"]
    assert table.failed == [table[0]] and "broken.bvh:" in table[0].message
    assert math.isnan(table[0].largest) and table[1].largest > 0
    assert table.to_dict()["output"][1] == os.fspath(out / "good.ytalo")
    before, after = yf.load(tmp_path / "good.bvh").sample(), yf.load(out / "good.ytalo").sample()
    moved = {name for name in before.names if abs(after[name] - before[name]).max() > 1}
    assert moved and all(name.startswith("Hips/Arm/") for name in moved)
    made = (out / "good.ytalo").stat().st_mtime_ns
    assert run()[1].state == "filtered" and (out / "good.ytalo").stat().st_mtime_ns == made
    raises(yf.Refused, lambda: yf.batch(tmp_path / "good.bvh", "no-such", out, program=PROGRAM), match="no-such")
