"""Random programs on scenes and curves: whatever is called with whatever, the answer is a value or an exception."""

import copy
import math
import pickle

import numpy as np
from hypothesis import given, settings
from hypothesis import strategies as st

import yfcurve as yf
from conftest import SMALL

NUMBERS = st.one_of(
    st.floats(width=64), st.integers(-10**20, 10**20), st.floats(-5, 5),
    st.sampled_from([0.0, 0.5, 1.0, -0.0, math.nan, math.inf, -math.inf, 1e300, yf.Ticks(1), yf.Ticks(-(1 << 63))]))
ARRAYS = st.one_of(
    st.lists(NUMBERS, max_size=6), NUMBERS,
    st.builds(
        lambda shape, kind, fill: np.full(shape, fill).astype(kind, casting="unsafe"),
        st.sampled_from([(0,), (3,), (2, 2), (3, 9), (1, 9), (3, 0), (2, 1, 3)]),
        st.sampled_from(["f8", "f4", "i8", "u1", "?", "f2", "O", ">f8"]), st.sampled_from([0, 1, 2])),
    st.sampled_from([None, "text", b"bytes", np.zeros(2, yf.KEY), np.zeros((3, 9))[::-1, ::-1], object()]))
NAMES = st.sampled_from(
    [None, "Hips", "Arm", "*", "Lcl Rotation/X", "nothing", "", "/", "Hips/Arm", ["Arm", "Hips"], [], 5])
ANY = st.one_of(NUMBERS, ARRAYS, NAMES, st.booleans())

# What can be called: a kind of object, an operation, and how many values it takes.
CURVE = {
    "call": lambda c, a: c(a), "keys": lambda c, a: setattr(c, "keys", a), "add": lambda c, a, b: c.add(a, b),
    "insert": lambda c, a: c.insert(a), "move_key": lambda c, a, b: c.move_key(a, b),
    "remove": lambda c, a: c.remove(a), "turn": lambda c, a, b: c.turn_key(a, b),
    "span": lambda c, a, b: c.remove_span(a, b), "move": lambda c, a, b: c.move(a, b), "scale": lambda c, a: c.scale(a),
    "clear": lambda c: c.clear(), "slopes": lambda c, a: c.slopes(a), "item": lambda c, a: c[a],
    "default": lambda c, a: setattr(c, "default", a), "candidate": lambda c, a, b: setattr(c, "candidate", (a, b)),
    "key": lambda c: c.key_candidate(), "after": lambda c, a: setattr(c, "after", a),
    "ticks": lambda c, a: c.at_ticks(a),
    "replace": lambda c, a, b, d: c.replace(c.copy(), a, b, offset=d), "self": lambda c, a: c.replace(c, a),
    "curve": lambda c, a, b: c.insert_curve(yf.Curve([(0, 1), (2, 3)]), a, b), "copy": lambda c: copy.deepcopy(c),
    "pickle": lambda c: pickle.loads(pickle.dumps(c)), "part": lambda c, a, b: c.copy(a, b), "repr": repr,
    "color": lambda c, a: setattr(c, "color", a), "mode": lambda c, a: c.set_interpolation(a),
    "again": lambda c: setattr(c, "keys", c.keys), "tangents": lambda c, a: c.set_tangents(a), "list": list,
}
SCENE = {
    "sample": lambda s, a, b, c: s.sample(a, b, c), "times": lambda s, a: s.sample(times=a),
    "names": lambda s, a: s.find(a), "prepare": lambda s: s.prepare(),
    "chosen": lambda s, a: s.sample(nodes=a), "set": lambda s, a: s.set_samples(a), "item": lambda s, a: s[a],
    "columns": lambda s, a, b: s.set_samples(a, nodes=b), "rate": lambda s, a: setattr(s, "rate", a),
    "places": lambda s, a, b: s.positions(times=a, nodes=b), "turns": lambda s, a: s.rotations(times=a, as_="euler"),
    "filter": lambda s, a: s.filter("key-reducer", precision=a), "unroll": lambda s, a: s.filter("unroll", nodes=a),
    "named": lambda s, a: s.filter(a), "copy": lambda s: copy.copy(s),
    "pickle": lambda s: pickle.loads(pickle.dumps(s)), "merge": lambda s, a: s.layers.merge(tolerance=a),
    "bake": lambda s, a, b: s.plot_into_layer(a, tolerance=b),
    "diff": lambda s, a: s.diff(s.copy(), tolerance=a), "plot": lambda s, a, b, c: s.plot(a, b, c), "repr": repr,
    "layer": lambda s, a: s.layers.add(a), "drop": lambda s, a: s.layers.remove(a), "html": lambda s: s._repr_html_(),
    "up": lambda s, a: s["Arm"].rotation.on_layer(a), "mode": lambda s, a: setattr(list(s.layers)[-1], "mode", a),
    "weight": lambda s, a: setattr(list(s.layers)[-1], "weight", a), "mute": lambda s: setattr(list(s.layers)[-1], "muted", True),
    "add": lambda s: s.root.add(s["Arm"]), "remove": lambda s: s.root.remove(s.root[-1]),
    "self": lambda s: s.root.add(s.root),
    "edit": lambda s, a, b: edit(s, a, b), "bytes": lambda s, a: s.to_bytes(a), "bvh": lambda s: s.to_bytes("bvh"),
    "hold": lambda s, a, b: s["Arm"].rotation.set_candidate(a, b), "key": lambda s: s["Arm"].rotation.key_candidate(),
    "joint": lambda s, a, b: s["Arm"].rotation.add_keys(a, b), "value": lambda s, a: s["Hips"].translation(a),
    "past": lambda s: s.history, "undo": lambda s: s.undo(), "redo": lambda s: s.redo(),
    "step": lambda s, a, b: step(s, a, b), "clip": lambda s, a, b: s.clip(trim=(a, b)), "tool": lambda s, a: s.clip(a),
    "join": lambda s, a: s.join(s.copy(), blend=a), "twice": lambda s: s.join(s), "reduce": lambda s, a: s.reduce(a),
    "check": lambda s: s.check(), "table": lambda s, a, b, c: s.to_table("csv", rate=a, start=b, nodes=c),
    "fewer": lambda s, a, b: s.reduce(ratio=a, height=b), "clip it": lambda s, a: yf.Clip(s.to_bytes("yclip"))(a),
    "keys": lambda s, a: s.import_keys(s.export_keys(a)), "text": lambda s, a, b: s.import_keys(a, b),
    "world": lambda s, a: s.diff(s.copy(), tolerance=a, world=True),
    "even": lambda s: setattr(s["Arm"].rotation, "use_quaternion", True),
}


def edit(scene: yf.Scene, time: float, value: float) -> None:
    with scene.edit() as edited:
        edited.select(stop=time)
        edited.move(time, value)
        edited.stretch(time, value)


def step(scene: yf.Scene, name: str, value: float) -> None:
    with scene.history.step(name):
        scene["Arm"].rotation.x.add(0.5, value)
        scene.root.add(yf.Node("More", "Number")).curve.add(0, value)  # type: ignore[union-attr]


def operations(table: dict) -> st.SearchStrategy:
    """Programs: names of operations, each with the values that it takes."""
    steps = [
        st.tuples(st.just(name), *[ANY] * (max(0, act.__code__.co_argcount - 1) if hasattr(act, "__code__") else 0))
        for name, act in table.items()]
    return st.lists(st.one_of(steps), max_size=12)


def check_order(curve: yf.Curve) -> None:
    assert (curve.ticks[1:] > curve.ticks[:-1]).all() and len(curve.keys) == len(curve) == len(curve.values)
    assert np.isfinite(curve.values).all()


@settings(max_examples=150)
@given(operations(CURVE))
def test_programs_on_a_curve(program: list) -> None:
    curve = yf.Curve([(0, 0), (1, 2), (3, -1)])
    for name, *values in program:
        try:
            CURVE[name](curve, *values)
        except (TypeError, ValueError, IndexError, OverflowError, yf.Error):
            pass
        check_order(curve)


@settings(max_examples=150)
@given(operations(SCENE))
def test_programs_on_a_scene(program: list) -> None:
    scene = yf.load_bytes(SMALL)
    held = [scene["Arm"].rotation.x, scene["Hips"], scene.layers]
    for name, *values in program:
        try:
            SCENE[name](scene, *values)
        except (TypeError, ValueError, IndexError, OverflowError, yf.Error):
            pass
        for curve in scene.curves().values():
            check_order(curve)
        assert repr(held) and repr(scene) and len(scene) >= 2
