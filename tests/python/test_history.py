"""Edits are undone and redone, and scenes are cut, joined and reduced as a whole."""

import random
from fractions import Fraction

import numpy as np
import pytest

import yfcurve as yf
from conftest import raises

# What can happen to a scene; each kind of edit comes from another part of the package.
EDITS = (
    lambda s, r: s["Arm"].rotation.x.add(r.random(), r.random()),
    lambda s, r: setattr(s["Hips"].translation.y, "keys", [(r.random(), 1), (2, r.random())]),
    lambda s, r: setattr(s["Arm"].rotation.z, "after", yf.Extrapolation.REPEAT),
    lambda s, r: setattr(s["Arm"].rotation.z, "default", r.random()),
    lambda s, r: setattr(s["Arm"].rotation.z, "color", (r.random(), 0, 1)),
    lambda s, r: setattr(s["Hips"].rotation, "use_quaternion", r.random() < 0.5),
    lambda s, r: s["Hips"].rotation.x.move(value=r.random()),
    lambda s, r: s["Arm"].rotation.add_keys(r.random(), [1, 2, r.random()]),
    lambda s, r: s["Arm"].rotation.y.clear(),
    lambda s, r: s.filter("scale", scale=1 + r.random()),
    lambda s, r: s.set_samples(s.sample(r.randrange(3, 9)), base=True),
    lambda s, r: s["Arm"].rotation.on_layer(s.layers["Top"].id).y.add(r.random(), r.random()),
    lambda s, r: s.plot_into_layer("Top", tolerance=0.1),
    lambda s, r: s["Extra"].curve.add(r.random(), r.random()),
    lambda s, r: setattr(s.layers["Top"], "rotation_mode", r.choice(list(yf.RotationMode))),
)


@pytest.mark.parametrize("seed", range(8))
def test_every_edit_goes_back_and_forth(small: yf.Scene, seed: int) -> None:
    numbers = random.Random(seed)
    small.layers.add("Top")
    history = small.history
    small.root.add(yf.Node("Extra", "Number"))
    states = [small.to_bytes("ytalo")]
    for number in range(16):
        with history.step(f"step {number}"):
            for act in numbers.choices(EDITS, k=numbers.randrange(1, 3)):
                act(small, numbers)
        states.append(small.to_bytes("ytalo"))
    changed = [number for number in range(16) if states[number] != states[number + 1]]
    assert len(changed) > 6 and history.undo_names == [f"step {number}" for number in reversed(changed)]
    for _ in range(2):
        for number in reversed(changed):
            small.undo()
            assert small.to_bytes("ytalo") == states[number]
        for number in changed:
            small.redo()
            assert small.to_bytes("ytalo") == states[number + 1]
    assert not history.redo_names


def test_steps_hold_together_and_are_taken_back_by_exceptions(small: yf.Scene) -> None:
    curve, before = small["Arm"].rotation.x, small.to_bytes("ytalo")
    raises(yf.Refused, small.undo, match="Scene.history")
    history = small.history
    with history.step("outer"):
        curve.add(0.1, 1)
        with pytest.raises(LookupError), history.step("inner"):
            curve.add(0.2, 1)
            raise LookupError
        raises(yf.Refused, small.undo, match="open")
        with small.edit("Arm") as edit:
            edit.select()
            edit.move(value=3)
            edit.scale(2)
    assert history.undo_names == ["outer"] and len(curve) == 5
    curve.add(0.3, 1)
    small.prepare()
    assert history.undo_names == ["", "outer"] and small.sample(times=[0.3], nodes="Arm").values[0, 0] == 1
    small.undo()
    assert small.sample(times=[0.3], nodes="Arm").values[0, 0] != 1 and history.redo_names == [""]
    with pytest.raises(LookupError), history.step("fails"):
        curve.clear()
        small["Hips"].translation.x.clear()
        raise LookupError
    small.undo()
    assert small.to_bytes("ytalo") == before and history.undo_names == []
    with pytest.raises(LookupError), small.edit("Arm") as edit:
        edit.select()
        edit.move(value=3)
        small["Hips"].translation.x.clear()
        raise LookupError
    assert small.to_bytes("ytalo") == before and history.undo_names == []
    history.clear()
    raises(yf.Refused, small.redo)


@pytest.mark.parametrize("act", [
    lambda s: s.clip("reverse"), lambda s: s.join(s.copy()), lambda s: s.layers.remove("Top"),
    lambda s: s.layers.merge(tolerance=1), lambda s: s.root.remove(s.root["Extra"]),
])
def test_steps_end_with_what_they_stand_on(small: yf.Scene, act) -> None:  # type: ignore[no-untyped-def]
    top = small.layers.add("Top")
    small.root.add(yf.Node("Extra", "Number"))
    history, curve = small.history, small["Arm"].rotation.x
    held = small["Arm"].rotation.on_layer(top.id).x
    held.add(0, 5)
    small["Extra"].curve.add(0, 1)
    before, names = small.to_bytes("ytalo"), history.undo_names
    with pytest.raises((yf.Refused, LookupError), match="step is open|removed"), history.step("around"):
        curve.add(0.25, 7)
        act(small)
        raise LookupError("removed")
    if "Extra" in small:
        assert small.to_bytes("ytalo") == before and history.undo_names == names
        small.layers.merge(tolerance=1)
    assert repr(held) and repr(history) and history.undo_names == [] and not small["Arm"].rotation.x(0.25) == 7
    with history.step("after"):
        small["Arm"].rotation.y.clear()
    assert history.undo_names == ["after"]
    small.undo()
    assert len(small["Arm"].rotation.y) > 0


def test_clips_by_words_and_by_keywords(walk: yf.Scene) -> None:
    held, before = walk["Hips"].rotation.x, walk.positions()
    words, keywords = walk.copy(), walk.copy()
    told = words.clip("trim=0.5:", "rename=Hips=Pelvis", "drop=LeftHand", "drop=RightHand", "loop=2", "mirror",
                      "blend=0.1")
    assert told == keywords.clip(trim=(yf.Ticks.of(0.5), None), rename={"Hips": "Pelvis"}, drop=["LeftHand", "RightHand"],
                                 loop=2, mirror=np.bool_(True), reverse=False, blend=0.1)
    assert words.to_bytes("ytalo") == keywords.to_bytes("ytalo") and len(told) == 6 and "Pelvis" in words
    walk.clip("trim=0.25:0.75", speed=Fraction(1, 2), rate=np.float32(59.94))
    assert np.allclose(walk.positions(60), before[30:91], atol=1e-3) and walk.duration == 1
    assert walk.exact_rate == Fraction(60000, 1001)
    raises(yf.Gone, lambda: held.values)
    state = walk.to_bytes("ytalo")
    for bad in ({"no_tool": 1}, {"speed": 0}, {"speed": True}, {"trim": "x"}, {"blend": 0.1}, {}):
        raises(yf.Refused, lambda: walk.clip(**bad))
    assert walk.to_bytes("ytalo") == state


def test_scenes_are_joined_and_reduced(walk: yf.Scene, small: yf.Scene) -> None:
    alone = walk.positions(30, 0, 2)
    walk.join(walk.copy(), blend=0.0)
    both = walk.positions(30)
    gap = walk.duration - 256 / 120
    assert np.allclose(walk.positions(30, 0, 2), alone, atol=1e-4) and np.isclose(gap, 256 / 120)
    assert np.allclose(walk.positions(30, gap, gap + 2), alone, atol=1e-3) and len(both) == 129
    for bad in ({"other": small}, {"other": walk, "blend": 50}, {"other": walk, "blend": -1}):
        raises(yf.Refused, lambda: walk.join(**bad))
    raises(yf.Stopped, lambda: walk.reduce(0.5, progress=lambda done, total: False))


def test_joints_are_compared_in_the_world(small: yf.Scene) -> None:
    other = small.copy()
    assert not yf.diff(small, other, world=True)
    other["Arm"].rotation.y.move(value=30)
    found = small.diff(other, world=True)
    (tip,) = found.joints
    apart = np.linalg.norm(small.positions(100)[:, 2] - other.positions(100)[:, 2], axis=1)
    assert tip.path.startswith("Hips/Arm") and tip.largest == found.largest == pytest.approx(apart.max(), abs=1e-3)
    assert apart[round(tip.time * 100)] == pytest.approx(tip.largest, abs=1e-3) and found.joints_compared == 3
    assert not small.diff(other, tolerance=apart.max() + 0.01, world=True)
    other.clip("rename=Arm=Wing")
    renamed = small.diff(other, world=True)
    assert renamed and "Hips/Arm" in renamed.only_here and "Hips/Wing" in renamed.only_there
    with pytest.raises(TypeError):
        yf.diff(small, other, world=True, orientation=True)  # type: ignore[call-overload]
    raises(yf.Refused, lambda: small.diff(yf.Scene(), world=True))
