"""What scenes tell of themselves, and take, in other forms: findings, tables, keys, clips, pages, messages."""

import csv
import io
import json
import pickle
import re
from pathlib import Path

import numpy as np
import pytest

import yfcurve as yf
from conftest import SMALL, raises


def test_scenes_say_what_to_know_of_them(small: yf.Scene) -> None:
    assert [each.what for each in small.check()] == ["unusual rate"]
    small.rate = 30
    assert not small.check() and "nothing" in repr(small.check())
    small["Arm"].rotation.x.keys = [(0, 0), (0.25, 5), (1, 2e7)]
    (large, between) = small.check()
    assert (large.what, large.path, large.time, large.count) == ("large values", "Hips/Arm/Lcl Rotation/X", 1, 1)
    assert (between.what, between.time, between.is_wrong) == ("between frames", 0.25, False)
    assert repr(small.check()).count("worth knowing: ") == 2 and "<table>" in small.check()._repr_html_()
    damaged = small.to_bytes("ytalo").replace(b"@23093079000 1.0'U'", b"@23093079000 1.0'?'", 1)
    (wrong,) = yf.load_bytes(damaged).check().wrong
    old = yf.load_bytes(small.to_bytes("ytalo").replace(b"KeyVer: 4006", b"KeyVer: 4001"))
    assert "older keys" in [each.what for each in old.copy().check()]
    assert wrong.what == "left out" and b"'?'" in damaged.splitlines()[(wrong.line or 0) - 1]


def test_tables_hold_what_plays(small: yf.Scene, tmp_path: Path) -> None:
    small.save_table(tmp_path / "t.tsv", rate=4, stop=0.75, nodes="Hips")
    head, *rows = csv.reader(io.StringIO((tmp_path / "t.tsv").read_text()), delimiter="\t")
    samples = small.sample(4, stop=0.75, nodes="Hips")
    assert head == ["time", *samples.names]
    assert np.array_equal(np.array(rows, np.float32), np.column_stack([samples.times, samples.values]).astype(np.float32))
    world = json.loads(small.to_table("json", world=True, frames=True, start=0.5))
    assert world["columns"][:2] == ["frame", "time"] and [row[0] for row in world["rows"]] == [1, 2]
    places = np.array(world["rows"])[:, [world["columns"].index(f"Hips/Arm/World Position/{axis}") for axis in "XYZ"]]
    assert np.allclose(places, small.positions(start=0.5)[:, 1], atol=1e-5)
    small["Arm"].rotation.on_layer(small.layers.add("Up")).x.keys = [(0, 3)]
    for wish, column, there in (({"layers": True}, "Rotation/X [Up]", 1), ({"world": True}, "World Rotation/W", 2),
                                ({"world": True, "euler": True}, "World Rotation/W", 0)):
        assert small.to_table(**wish).splitlines()[0].count(column) == there
    before = (tmp_path / "t.tsv").read_bytes()
    for bad in ({"layers": True, "world": True}, {"euler": True}, {"start": 2, "stop": 1}, {"nodes": "None"}):
        raises((yf.Refused, yf.NotFound, yf.FileError), lambda: small.save_table(tmp_path / "t.tsv", **bad))
    raises(yf.Refused, lambda: small.to_table(rate=1e6, stop=3), match="1,000,000 rows")
    raises(yf.Refused, lambda: small.save_table(tmp_path / "t.tsv", rate=1e6, stop=200), match="100,000,000 rows")
    raises(yf.Error, lambda: small.save_table(tmp_path / "t.bvh"), match="csv")
    raises(yf.Error, lambda: small.save(tmp_path / "t.foo"), match=".yclip")
    assert (tmp_path / "t.tsv").read_bytes() == before


def test_keys_pass_through_json_or_nothing_changes(small: yf.Scene) -> None:
    layer = small.layers.add("Up")
    small["Arm"].rotation.on_layer(layer).y.keys = [(0.25, 7)]
    before, keys = small.to_bytes("ytalo"), json.loads(small.export_keys("Arm", layers=small.layers))
    texts = json.dumps(keys)
    assert [len(each["keys"]) for each in json.loads(small.export_keys("Arm"))["curves"]] == [3, 3, 3]
    small["Arm"].rotation.x.clear()
    small["Arm"].rotation.on_layer(layer).y.keys = [(0, 1), (1, 2)]
    assert small.import_keys(texts) == (6, 10) and small.to_bytes("ytalo") == before
    curves = keys["curves"]
    curves[0]["keys"][0]["value"] = 99
    curves[-1]["path"] = "None"
    for broken in (json.dumps(keys), texts[:-9], "[]"):
        raises(yf.FormatError, lambda: small.import_keys(broken, "mine"), match="mine")
        assert small.to_bytes("ytalo") == before
    small.history
    small["Arm"].rotation.z.clear()
    small.import_keys(texts)
    small.undo()
    assert len(small["Arm"].rotation.z) == 0


def test_clips_play_what_scenes_do(small: yf.Scene, tmp_path: Path) -> None:
    small["Arm"].rotation.on_layer(small.layers.add("Up", weight=0.5)).y.keys = [(0, 0), (1, 30)]
    small.save(tmp_path / "a.yclip")
    clip = yf.load_clip(tmp_path / "a.yclip")
    samples = small.sample(24)
    assert clip.span == small.span and clip.names == samples.names and "9 channels" in repr(clip)
    again = pickle.loads(pickle.dumps(clip)).sample(24)
    assert np.allclose(again.values, samples.values, atol=1e-4) and np.array_equal(again.ticks, samples.ticks)
    assert np.array_equal(clip(0.5), again.values[12]) and clip([0, 0.5]).shape == (2, 9)
    content = clip.to_bytes()
    for broken in (b"", content[:-8], SMALL, content[:64] + b"\xff" * 64 + content[128:]):
        raises(yf.FormatError, lambda: yf.Clip(broken))
    raises(yf.FormatError, lambda: yf.load(tmp_path / "a.yclip"), match="load_clip")


def test_reductions_keep_to_what_is_asked_for(walk: yf.Scene) -> None:
    walk.clip(trim=(0, 0.4))
    count = sum(len(curve) for curve in walk.curves().values())
    before = walk.positions()
    height = np.ptp(before[0, :, 1])

    def reduced(*tolerance: object, **wish: object) -> tuple[yf.Report, float]:
        scene = walk.copy()
        report = scene.reduce(*tolerance, **wish)
        apart = np.linalg.norm(scene.positions() - before, axis=2).max()
        assert apart <= max(joint.largest for joint in report.joints) + 1e-6
        return report, apart

    part, units = (reduced(wish)[1] for wish in ("1%", 0.01 * height))
    assert 0.25 * units < part < 4 * units and units <= 0.01 * height
    assert 1.5 < reduced("20mm")[1] / reduced("20mm", height=3.4)[1] < 2.5
    assert reduced(ratio="10%")[0].keys_after <= 0.1 * count and reduced(keys=500)[0].keys_after <= 500
    report, _ = reduced("1%", page=True, contacts=True)
    page = report.to_html()
    assert "reduce, tolerance 1%, contacts" in page and len(report.joints) == len(walk.joints)
    assert re.search(rf"{report.keys_after:,}|{report.keys_after}", page) and page.count("<svg") == 2
    raises(yf.Refused, lambda: reduced("1%")[0].to_html(), match="page=True")
    for tolerance, wish in ((None, {}), (0, {}), ("2ft", {}), (float("nan"), {}), (1, {"keys": 5}), (None, {"keys": 0}),
                            ("1%", {"height": 2}), (None, {"ratio": 1.5}), (1, {"tangents": "round"})):
        with pytest.raises(yf.Refused) as refused:
            walk.reduce(tolerance, **wish)
        assert "--" not in str(refused.value)


def test_messages_say_what_to_do_in_python(small: yf.Scene) -> None:
    with pytest.raises(yf.Refused, match=r"Bad Sampling Rate; cut_off_freq takes > 0 Hz ") as refused:
        small.filter("butterworth", cut_off_freq=1e9)
    assert "below half the internal rate" in str(refused.value)
    assert "pairs= does" in small.copy().clip("mirror")[0]
    raises(yf.FormatError, lambda: yf.load_bytes(b"", "my --node.bvh"), match="my --node.bvh:1: ")
    small.layers.add("Up")
    small["Arm"].rotation.on_layer("Up").x.keys = [(0, 1), (1, 2)]
    small.layers["Up"].locked = True
    for act, words in ((lambda: small.find("x--exact 5"), "'x--exact 5'"), (lambda: small.filter("nope"), "yfcurve.filters()"),
                       (lambda: small.clip("nope"), "help(yfcurve.Scene.clip)"), (lambda: small.find("Qqqqqqqq"), "scene.find()"),
                       (lambda: small.clip(resample=True), "rate="),
                       (lambda: small.clip(speed=2), "layer.locked = False")):
        with pytest.raises(yf.Error) as error:
            act()
        told = str(error.value)
        assert words in told and "--" not in told.replace(words, "") and "'yfcurve " not in told, told
