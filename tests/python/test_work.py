"""Filters, comparisons, edits, pictures and settings."""

import dataclasses
import sys

import numpy as np
import pytest

import yfcurve as yf
from conftest import raises


def test_filters_are_those_of_the_registry() -> None:
    known = yf.filters()
    assert {"key-reducer", "butterworth", "unroll"} <= set(known)
    cut = next(p for p in known["butterworth"].parameters if p.name == "cut_off_freq")
    assert (cut.text_name, cut.unit, cut.type) == ("CutOffFreq", "Hz", "Double") and cut.help and cut.range
    for each in known.values():
        assert each.summary and each.name in each._repr_html_()
        for parameter in each.parameters:
            assert parameter.name.isidentifier() and parameter.name not in ("nodes", "progress", "self")
    assert known["trs"].step(t=(1, 0, -2.5), start=1) == "trs:T=1,0,-2.5,Start=1"


def test_filters_report_what_they_did(walk: yf.Scene) -> None:
    before = walk.copy()
    report = walk.filter("key-reducer", precision=0.5, nodes="LeftLeg")
    (step,), (error,) = report.steps, report.properties
    assert (step.name, step.changed) == ("key-reducer", 1) and step.keys_before == report.keys_before == 771
    raises(yf.NotFound, lambda: report["None"], match="no property 'None'")
    assert report.keys_after == walk["LeftLeg"].rotation.key_count() < 771 and report[error.path] is report.worst
    # The errors are those that can be measured: the angle between orientations at every frame.
    old, new = (scene.rotations(as_="matrix") for scene in (before, walk))
    number = [joint.name for joint in walk.joints].index("LeftLeg")
    turned = np.einsum("nji,njk->nik", old[:, number], new[:, number])
    angle = np.degrees(np.arccos(np.clip((np.trace(turned, axis1=1, axis2=2) - 1) / 2, -1, 1)))
    assert error.largest == pytest.approx(angle.max(), abs=0.01) and error.unit == "degrees"
    assert error.time == pytest.approx(angle.argmax() / 120, abs=1e-6)
    assert error.root_mean_square == pytest.approx(np.sqrt((angle**2).mean()), abs=0.01)
    bare = dataclasses.replace(report, properties=(dataclasses.replace(error, unit=""),))
    assert f"; at most {error.largest:.3g} off (" in str(bare) and f"<td>{error.largest:.3g}</td>" in bare._repr_html_()
    several = walk.filter("unroll", "butterworth:CutOffFreq=7")
    assert [each.name for each in several.steps] == ["unroll", "butterworth"] and "butterworth" in str(several)
    assert "<table>" in several._repr_html_() and len(several) == len(list(several))


@pytest.mark.parametrize("filters, parameters", [
    (("no-filter",), {}), (("key-reducer",), {"precisoin": 1}), (("key-reducer",), {"precision": -1}),
    (("key-reducer",), {"precision": float("nan")}), (("key-reducer",), {"precision": "much"}),
    (("unroll", "no-filter"), {}), (("butterworth",), {"cut_off_freq": 1e9}), (("key-reducer",), {"precision": [1, 2]}),
])
def test_filters_that_make_no_sense_change_nothing(small: yf.Scene, filters: tuple, parameters: dict) -> None:
    before = small.to_bytes("ytalo")
    raises(yf.Refused, lambda: small.filter(*filters, **parameters))
    assert small.to_bytes("ytalo") == before


def test_progress_is_told_and_ends_the_work(walk: yf.Scene) -> None:
    told: list[tuple[int, int]] = []
    walk.filter("unroll", progress=lambda done, total: told.append((done, total)))
    done = [each for each, _ in told]
    assert done[0] == 0 and done == sorted(done) and told[-1][0] == told[-1][1] and len({t for _, t in told}) == 1
    before = walk.to_bytes("ytalo")

    def fail(done: int, total: int) -> None:
        raise LookupError("mine")

    for progress, error in ((lambda done, total: done < 5, yf.Stopped), (fail, LookupError),
                            (lambda done, total: walk.rate, yf.Busy), (lambda done, total: np.zeros(2), ValueError)):
        raises(error, lambda: walk.filter("butterworth", cut_off_freq=3, progress=progress))
        assert walk.to_bytes("ytalo") == before
    walk.filter("unroll", progress=True)


def test_differences_are_found(small: yf.Scene) -> None:
    other = small.copy()
    assert not yf.diff(small, other) and not small.diff(small)
    other["Arm"].rotation.y.move(value=3)
    other.rate = 4
    found = small.diff(other)
    (value,) = found.values
    assert value.path == "Hips/Arm/Lcl Rotation/Y" and value.difference == found.largest == 3
    assert value.there - value.here == 3 and ("frame rate", "2/1", "4/1") in found.settings and found
    assert not small.diff(other, tolerance=3.5).values
    other["Arm"].rotation.y.move(value=357)
    assert small.diff(other, orientation=True).largest < 1e-3
    other["Arm"].rotation.x.clear()
    raises(yf.Refused, lambda: small.diff(other, tolerance=-1))


def test_edits_move_selected_keys(small: yf.Scene) -> None:
    x = small["Hips"].translation.x
    y = small["Hips"].translation.y.values.copy()
    with small.edit("Hips/Lcl Translation/X") as edit:
        assert edit.select(0.5, 1) == 2
        edit.move(time=0.25, value=10)
        assert x.times.tolist() == [0, 0.75, 1.25] and x.values.tolist() == [0, 11, 12]
        assert edit.select(low=12, mode="remove") == 1
        edit.stretch(time=2, value=3, time_pivot=0.5, value_pivot=10)
        assert x.times.tolist() == [0, 1, 1.25] and x.values.tolist() == [0, 13, 12]
        edit.scale(2, pivot=3)
        edit.move(time=-0.5, copy=True)
        assert x.times.tolist() == [0, 0.5, 1, 1.25] and x.values.tolist() == [0, 23, 23, 12]
        edit.select(0.5, 0.5)
        edit.move(time=0.125, ripple=True)
        assert x.times.tolist() == [0, 0.625, 1.125, 1.375]
        edit.set(-1)
    assert x.values.tolist() == [0, -1, 23, 12] and np.array_equal(small["Hips"].translation.y.values, y)
    raises(ValueError, lambda: edit.move(value=float("nan")), lambda: edit.select(mode="x"),
           lambda: edit.select(low=np.nan), lambda: edit.move(time=float("nan")),
           lambda: edit.stretch(2, time_pivot=-float("inf")))
    upper = small.layers.add("Upper")
    raises(yf.Refused, lambda: small.edit(layer=upper.id))


def test_pictures(walk: yf.Scene) -> None:
    svg = walk.plot("LeftLeg", 0, 1, width=400)
    assert svg.startswith("<svg") or svg.startswith("<?xml")
    assert svg._repr_svg_() == svg and 'width="400"' in svg
    for bad in ({"width": 1}, {"start": 2, "stop": 1}, {"width": float("nan")}):
        raises(yf.Refused, lambda: walk.plot(**bad))


def test_settings_of_the_process() -> None:
    assert yf.settings["RotationFilterUnrollQuality"] == 0.25 and yf.settings["PlotOnFrame"] is True
    yf.settings["PlotOnFrame"] = False
    yf.settings["RotationFilterUnrollQuality"] = 0.5
    assert yf.settings["RotationFilterUnrollQuality"] == 0.5 and yf.settings["PlotOnFrame"] is False
    with pytest.raises(yf.Refused):
        yf.settings["RotationFilterUnrollQuality"] = -5
    del yf.settings["PlotOnFrame"], yf.settings["RotationFilterUnrollQuality"]
    assert yf.settings["PlotOnFrame"] is True and len(yf.settings) == len(list(yf.settings)) > 10
    raises(KeyError, lambda: yf.settings["None"], lambda: yf.settings.__setitem__("None", 1))


def test_layers_are_merged_and_plotted_into(small: yf.Scene) -> None:
    played = small.sample(20).values
    lean = small.layers.add("Lean", weight=0.5)
    small["Hips"].translation.on_layer(lean.id).x.keys = [(0, 4), (1, 8)]
    small["Arm"].rotation.on_layer(lean.id).y.keys = [(0, 0), (1, 30)]
    with_lean, positions = small.sample(20), small.positions(20)
    assert np.allclose(small.prepare().sample(20).values, with_lean.values, atol=1e-4), "layers count in a clip too"
    assert np.allclose(with_lean["Hips/Lcl Translation/X"][[0, -1]] - played[[0, -1], 0], [2, 4])
    moved = small.copy()
    assert moved.filter("offset", offset=10, layer="Lean", nodes="Hips/Lcl Translation").keys_after == 2
    assert np.allclose(moved.sample(20)["Hips/Lcl Translation/X"] - with_lean["Hips/Lcl Translation/X"], 5)
    assert list(moved["Hips"].translation.x.values) == list(small["Hips"].translation.x.values)
    raises(yf.Refused, lambda: moved.filter("trs", t=(1, 0, 0), layer="Lean"), match="base layer")
    before = small.to_bytes("ytalo")
    raises(yf.Refused, lambda: small.layers.merge(exact=True), match="resampling")
    lean.locked = True
    raises(yf.Refused, small.layers.merge, lambda: small.layers.merge("Lean", into="Lean"),
           lambda: small.plot_into_layer("Lean"), lambda: small.layers.merge(tolerance=-1))
    lean.locked = False
    assert small.to_bytes("ytalo") == before, "what was merged before a refusal is taken back"
    other = small.copy()
    merged = small.layers.merge(tolerance=0.01)
    assert len(small.layers) == 1 and {(each.path, each.is_resampled) for each in merged} == {
        ("Hips/Lcl Translation", False), ("Hips/Arm/Lcl Rotation", True)}
    assert np.abs(small.positions(20) - positions).max() < 0.01
    small.layers.add("Bake")
    assert small.plot_into_layer("Bake", other.copy(), tolerance=0.01) == []
    other["Hips"].translation.y.move(value=5)
    (baked,) = small.plot_into_layer("Bake", other, nodes="Hips/Lcl Translation", tolerance=0.01)
    assert baked.largest <= 0.01 and np.abs(small.positions(20)[..., 1] - positions[..., 1] - 5).max() < 0.02


def test_edits_are_taken_back_also_past_a_curve_that_is_gone(small: yf.Scene) -> None:
    gone, kept = (small.root.add(yf.Node(name, "Number")) for name in ("Gone", "Kept"))
    for node in (gone, kept):
        node.curve.add(0, 1)  # type: ignore[union-attr]
    with pytest.raises(LookupError):
        with small.edit(["Gone", "Kept"]) as edit:
            edit.select()
            edit.move(value=5)
            small.root.remove(gone)
            raise LookupError
    assert kept.curve.values.tolist() == [1]  # type: ignore[union-attr]


def test_layers_take_what_makes_sense_or_stay(small: yf.Scene) -> None:
    for bad in ({"mode": 7}, {"weight": float("nan")}):
        raises(ValueError, lambda: small.layers.add("Bad", **bad))
    assert len(small.layers) == 1
    layer = small.layers.add("Lean", weight=0.5)
    layer.weight.add(0, 0.25)  # type: ignore[union-attr]
    with pytest.raises(ValueError):
        layer.weight = float("inf")
    assert len(layer.weight) == 1
    # What plays on the layer as well is not put below it, unless that is wanted.
    small["Arm"].rotation.on_layer(layer.id)
    samples = small.sample()
    before = small.to_bytes("ytalo")
    raises(yf.Refused, lambda: small.set_samples(samples), match="'Lean' plays on 'Hips/Arm/Lcl Rotation/X'")
    assert small.to_bytes("ytalo") == before
    small.set_samples(samples, base=True)
    small.set_samples(np.zeros((1, 6)), nodes="Hips", times=[0])
    layer.muted = True
    small.set_samples(samples)


def test_a_bar_of_progress_ends_with_the_work(small: yf.Scene, monkeypatch: pytest.MonkeyPatch) -> None:
    made = []

    class Bar:
        def __init__(self, unit: str) -> None:
            self.n, self.open = 0, True
            made.append(self)

        def update(self, more: int) -> None:
            self.n += more
            if len(made) == 2:
                raise KeyboardInterrupt

        def close(self) -> None:
            self.open = False

    monkeypatch.setitem(sys.modules, "tqdm.auto", type("Module", (), {"tqdm": Bar}))
    small.filter("unroll", progress=True)
    raises(KeyboardInterrupt, lambda: small.filter("unroll", progress=True))
    assert len(made) == 2 and made[0].n > 0 and not any(bar.open for bar in made)
