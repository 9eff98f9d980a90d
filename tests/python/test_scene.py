"""Scenes: files, names, samples, layers, and what fails."""

import copy
import gzip
import os
import pickle
from fractions import Fraction
from pathlib import Path

import numpy as np
import pytest

import yfcurve as yf
from conftest import SMALL, WALK, raises


def test_names_lead_to_nodes_and_curves(walk: yf.Scene) -> None:
    assert len(walk) == 21 and [node.name for node in walk][:2] == ["Hips", "Spine"]
    leg = walk["LeftLeg"]
    assert leg.path == "Hips/LeftUpLeg/LeftLeg" and leg.parent == walk["LeftUpLeg"] and "Lcl Rotation" in leg
    assert "Lcl Rotation/X" in leg and "Lcl Rotation/W" not in leg
    assert leg.rotation.x == walk["leftleg/Lcl Rotation/X"].curve == walk.curves()[leg.path + "/Lcl Rotation/X"]
    assert leg["Lcl Rotation/X"].curve == leg.rotation[0].curve and leg.rotation.rotation_order in yf.ROTATION_ORDERS
    assert {curve.update_id for curve in walk.curves("*Arm").values()} and len(walk.curves("LeftLeg")) == 3
    assert "LeftLeg" in walk and "NoJoint" not in walk and "*Leg" in walk
    for bad in ("NoJoint", "*Leg", ""):
        raises(yf.NotFound, lambda: walk[bad])
    up = walk.layers.add("Up")
    raises(yf.NotFound, lambda: walk.curves("LeftLag"), lambda: walk.filter("unroll", nodes="LeftLag"),
           lambda: walk.export_keys("LeftLag"), lambda: walk.plot("LeftLag"), lambda: walk.to_table(nodes="LeftLag"),
           lambda: walk.save_table("none.csv", nodes="LeftLag"), lambda: walk.layers.merge(nodes="LeftLag"),
           lambda: walk.plot_into_layer(up, nodes="LeftLag"), lambda: walk.sample(nodes="LeftLag"), match="did you mean")
    raises(yf.NotFound, lambda: leg.rotation["W"], match="no child 'W'; there are: 'X', 'Y', 'Z'")
    raises(yf.NotFound, lambda: leg.scaling)
    assert "21 joints" in repr(walk) and "257 keys" in repr(leg.rotation.x) and "<table>" in walk._repr_html_()


def test_files_of_every_format_come_back(walk: yf.Scene, tmp_path: Path) -> None:
    for name in ("a.bvh", "a.ytalo", "a.glb", "a.gltf", "a.bvh.gz", "a.ytalo.gz"):
        walk.save(tmp_path / name)
        again = yf.load(tmp_path / name)
        assert np.abs(again.positions(times=[0.5, 1]) - walk.positions(times=[0.5, 1])).max() < 0.1, name
    (tmp_path / "odd.name").write_bytes(gzip.compress(WALK.read_bytes()))
    assert not yf.diff(yf.load(str(tmp_path / "odd.name")), walk)
    assert yf.load_bytes(walk.to_bytes("glb")).exact_rate == walk.exact_rate
    assert walk.to_bytes().startswith(b"HIERARCHY")


def test_what_is_wrong_with_files_is_told(walk: yf.Scene, tmp_path: Path) -> None:
    raises(FileNotFoundError, lambda: yf.load(tmp_path / "none.bvh"))
    raises(IsADirectoryError, lambda: yf.load(tmp_path))
    broken = tmp_path / "broken.bvh"
    broken.write_bytes(SMALL.replace(b"1 1 0 90", b"1 1 0 ninety"))
    with pytest.raises(yf.FormatError) as caught:
        yf.load(broken)
    assert caught.value.file == str(broken) and caught.value.line == 13 and "ninety" in str(caught.value)
    kept = tmp_path / "kept.bvh"
    kept.write_text("kept")
    for path, kind in ((tmp_path / "no" / "a.bvh", OSError), (tmp_path / "a.mp4", yf.Error)):
        raises(kind, lambda: walk.save(path))
    raises(yf.Error, lambda: walk.save(kept, format="mp4"))
    assert kept.read_text() == "kept" and len(os.listdir(tmp_path)) == 2
    for bad in (b"", b"\0" * 100, SMALL[:150], b"HIERARCHY\n\xff\xfe"):
        raises(yf.FormatError, lambda: yf.load_bytes(bad))
    raises(ValueError, lambda: yf.load(f"{kept}\0b"), lambda: walk.save(f"{kept}\0.bvh"),
           lambda: walk.to_bytes("bvh\0"), match="null")
    assert kept.read_text() == "kept"
    # Names in another encoding are told and written as they are.
    odd = yf.load_bytes(SMALL.replace(b"Arm", b"\xc4rm"))
    assert odd["\udcc4rm"].name == "\udcc4rm" and b"\xc4rm" in odd.to_bytes("bvh")


def test_copies_guard_damaged_files_as_the_original_does(small: yf.Scene, tmp_path: Path) -> None:
    path = tmp_path / "damaged.ytalo"
    content = small.to_bytes("ytalo").rstrip()
    path.write_bytes(content[:content.rindex(b"\n")])
    damaged, scene = path.read_bytes(), yf.load(path)
    assert scene.notes
    for other in (scene, scene.copy(), copy.deepcopy(scene), pickle.loads(pickle.dumps(scene)), scene.copy().copy()):
        raises(yf.Error, lambda: other.save(path), match="damaged.ytalo: is damaged")
        assert path.read_bytes() == damaged
    for name in ("walk.bvh", "walk.glb"):
        small.save(tmp_path / name)
        other = yf.load(tmp_path / name)
        assert pickle.loads(pickle.dumps(other)).to_bytes()[:4] == other.copy().to_bytes()[:4] == other.to_bytes()[:4]
    scene.copy().save(path, repair=True)
    assert not yf.diff(yf.load(path), small)


def test_samples_are_what_the_file_says_and_go_back(small: yf.Scene) -> None:
    samples = small.sample()
    rows = np.array([line.split() for line in SMALL.decode().split("Frame Time: 0.5\n")[1].splitlines()], float)
    order = ["Hips/Lcl Translation/X", "Hips/Lcl Translation/Y", "Hips/Lcl Translation/Z", "Hips/Lcl Rotation/Z",
             "Hips/Lcl Rotation/X", "Hips/Lcl Rotation/Y", "Hips/Arm/Lcl Rotation/Y", "Hips/Arm/Lcl Rotation/Z",
             "Hips/Arm/Lcl Rotation/X"]
    assert samples.shape == (3, 9) and samples.values.dtype == np.float32
    for column, name in enumerate(order):
        assert np.allclose(samples[name], rows[:, column]), name
    assert samples.times.tolist() == [0, 0.5, 1] and np.asarray(samples) is samples.values and len(list(samples)) == 3
    assert np.array_equal(samples[:, 0], samples.values[:, 0]) and samples.names[0] in samples
    arm = small.sample(4, 0.25, 1, nodes="Arm")
    assert arm.shape == (4, 3) and arm.names[0] == "Hips/Arm/Lcl Rotation/X"
    for name in arm.names:
        assert np.allclose(arm[name], small.curves()[name](arm.times), atol=1e-4)
    assert np.array_equal(small.sample(times=[1, 0.5]).values, samples.values[[2, 1]])

    for nodes in (None, "Arm", ["Lcl Translation/Y", "Arm/Lcl Rotation/Z"]):
        direct = small.sample(7, nodes=nodes)
        ready = small.copy().prepare().sample(7, nodes=nodes)
        assert ready.names == direct.names and np.allclose(ready.values, direct.values, rtol=1e-6, atol=1e-5)
    small.prepare()["Arm"].rotation.x.move(value=1)
    assert np.allclose(small.sample(nodes="Arm").values[:, 0], rows[:, 8] + 1), "an edit ends what was prepared"
    small["Arm"].rotation.x.move(value=-1)

    moved = small.sample(10)
    moved.values[:] += 1
    small.set_samples(moved)
    assert np.allclose(small.sample(10).values, moved.values, atol=1e-4) and len(small["Arm"].rotation.x) == 11
    small.set_samples(np.zeros((2, 3)), nodes="Arm", rate=2, start=0.1)
    assert len(small["Arm"].rotation.x) == 11 - 6 + 2 + 2 and not small["Arm"].rotation.x([0.1, 0.4, 0.6]).any()
    small.set_samples([[1, 2, 3]], nodes="Arm", times=[5], whole=True)
    assert small["Arm"].rotation([0, 9]).tolist() == [[1, 2, 3]] * 2
    assert small.rate == 2 and small.span == (0, 5) and small.duration == 5
    bare = small.copy()
    bare.set_samples(np.zeros((0, 9)), whole=True)
    assert bare.root.key_count() == 0
    for curve in small.curves().values():
        curve.move(time=1)
    samples = small.sample()
    small.set_samples(samples.values)
    assert small.span == (1, 6) and np.array_equal(small.sample().values, samples.values)
    small.rate = np.float32(23.976)
    assert small.exact_rate == Fraction(24000, 1001)


@pytest.mark.parametrize(("start", "stop"), [(0.6, 0.9), (0.5, 1.5), (-1, 0.7), (1.2, 3), (-1, 3), (3, 4), (-2, -1)])
@pytest.mark.parametrize("by", [0, 7])
@pytest.mark.parametrize("outside", yf.Extrapolation)
def test_samples_leave_the_rest_as_it_was(
    small: yf.Scene, start: float, stop: float, by: float, outside: yf.Extrapolation
) -> None:
    curve, times = small["Arm"].rotation.x, np.linspace(start, stop, 6)
    curve.keys = [(0, 0), (0.5, 30), (1, 10), (1.5, 60), (2, 0)]
    curve.before = curve.after = outside
    rest = np.array([time for time in np.linspace(0, 2, 201) if not start - 1e-6 < time < stop + 1e-6])
    kept, row = curve(rest), curve(times) + by
    small.set_samples(row[:, None], nodes="Arm/Lcl Rotation/X", times=times)
    assert np.abs(curve(rest) - kept).max(initial=0) < 1e-4 and np.array_equal(curve(times), row)


@pytest.mark.parametrize("act", [
    lambda s: s.sample(0), lambda s: s.sample(-1), lambda s: s.sample(float("nan")), lambda s: s.sample("x"),
    lambda s: s.sample(start=2, stop=1), lambda s: s.sample(stop=float("inf")), lambda s: s.sample(1e6, 0, 1e6),
    lambda s: s.sample(times=[[1]]), lambda s: s.sample(times=[float("nan")]), lambda s: s.sample(nodes=[]),
    lambda s: s.set_samples(np.zeros((2, 8))), lambda s: s.set_samples([[np.nan] * 9]), lambda s: s.set_samples([1]),
    lambda s: s.set_samples(np.zeros((2, 9)), times=[1, 1]), lambda s: s.set_samples(np.zeros((2, 9)), times=[1]),
    lambda s: s.set_samples(yf.Samples(np.zeros((1, 1), "f4"), ["None"], np.zeros(1, "i8"))),
    lambda s: s.set_samples(s.sample(), start=1), lambda s: s.set_samples(s.sample(), rate=30, nodes="Arm"),
    lambda s: s.set_samples(np.zeros((1, 9)), times=[1], start=0), lambda s: s.set_samples(s.sample(), times=[1]),
    lambda s: setattr(s, "rate", 0), lambda s: setattr(s, "rate", 1e300), lambda s: setattr(s, "rate", "1/0"),
])
def test_samples_that_make_no_sense_change_nothing(small: yf.Scene, act) -> None:  # type: ignore[no-untyped-def]
    before = small.to_bytes("ytalo")
    raises((TypeError, ValueError, yf.NotFound), lambda: act(small))
    assert small.to_bytes("ytalo") == before


def test_layers_add_up(small: yf.Scene) -> None:
    lean = small.layers.add("Lean", weight=0.5)
    node = small["Hips"].translation.on_layer(lean.id)
    node.x.keys = [(0, 4), (1, 4)]
    assert np.allclose(small.sample()["Hips/Lcl Translation/X"], [2, 3, 4])
    assert np.allclose(small["Hips"].translation(0.5), [3, 1, 0])
    assert np.allclose(small["Hips"].translation([0.5], layers=False), [[1, 1, 0]])
    assert np.isclose(small.positions()[0, 0, 0], 2)
    lean.mode = yf.LayerMode.OVERRIDE
    lean.weight.keys = [(0, 1), (1, 0)]
    lean.weight.set_interpolation(yf.Interpolation.LINEAR)
    assert np.allclose(small.sample()["Hips/Lcl Translation/X"], [4, 2, 0])
    lean.muted = True
    assert np.allclose(small.sample()["Hips/Lcl Translation/X"], [0, 1, 2])
    lean.name = "Bend"
    assert [layer.name for layer in small.layers] == ["BaseAnimation", "Bend"] and "Bend" in small.layers
    assert small.layers[1] == small.layers["Bend"] and list(small["Hips"].translation.layers) == [0, lean.id]
    raises(yf.Refused, lambda: small.layers.add("Bend"), lambda: small.layers.add(""), lambda: small.layers.remove(0),
           lambda: setattr(small.layers[0], "mode", yf.LayerMode.OVERRIDE))
    small.layers.remove("Bend")
    raises(yf.Gone, lambda: lean.name, lambda: node.x.values)


def test_trees_without_a_skeleton(tmp_path: Path) -> None:
    scene = yf.Scene()
    light = scene.root.add(yf.Node("Light"))
    power = light.add(yf.Node("Power", "Intensity"))
    turn = light.add(yf.Node("Turn", "Lcl Rotation"))
    power.curve.keys = [(0, 1), (1, 3)]
    turn.rotation_order = "ZXY"
    turn.add_keys(0.5, [10, 20, 30])
    assert [node.name for node in scene] == ["Light"] and len(scene.curves()) == 4 and turn.key_times() == [0.5]
    assert scene.sample(2).names == ["Light/Power", "Light/Turn/X", "Light/Turn/Y", "Light/Turn/Z"]
    scene.save(tmp_path / "a.ytalo")
    again = yf.load(tmp_path / "a.ytalo")
    lost = yf.diff(scene, again)
    assert lost.settings == (("rotation order of 'Light/Turn'", "ZXY", "XYZ"),) and not lost.values and scene.notes
    assert not yf.diff(scene, scene.copy()) and np.allclose(again["Turn"](0.5), [10, 20, 30])
    turn.set_candidate(0.75, [1, 2, 3])
    assert np.allclose(turn.candidate(0.75), [1, 2, 3]) and np.allclose(turn(0.75), [10, 20, 30])
    turn.key_candidate()
    assert np.allclose(turn(0.75), [1, 2, 3]) and turn.delete_keys(0.75) and not turn.delete_keys(0.75)
    lone = turn.copy()
    light.remove(turn)
    assert len(scene.curves()) == 1 and lone.key_count() == 3 and "removed" in repr(turn)
    raises(yf.Gone, lambda: turn.name)
    raises(ValueError, lambda: yf.Node("a", "No Type"))
