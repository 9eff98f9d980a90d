"""Curves and their keys, against what a few lines of numpy say."""

import copy
import pickle

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st

import yfcurve as yf
from conftest import raises

VALUES = st.floats(-1000, 1000, width=32)


@st.composite
def key_arrays(draw: st.DrawFn) -> np.ndarray:
    """Keys of every kind at whole tenths of a second."""
    places = sorted(draw(st.sets(st.integers(-50, 50), max_size=12)))
    keys = np.zeros(len(places), yf.KEY)
    keys["time"] = np.array(places) / 10
    for name in ("value", "left_slope", "right_slope"):
        keys[name] = draw(st.lists(VALUES, min_size=len(places), max_size=len(places)))
    for name in ("left_weight", "right_weight", "tension", "continuity", "bias", "left_auto", "right_auto"):
        keys[name] = draw(st.one_of(st.just(np.nan), st.floats(0.125, 0.875, width=16)))
    keys["left_velocity"] = keys["right_velocity"] = np.nan
    kinds = [(2, 0), (2, yf.Tangents.NEXT), (4, 0), (8, yf.Tangents.AUTO), (8, yf.Tangents.TCB), (8, yf.Tangents.USER),
             (8, yf.Tangents.USER | yf.Tangents.BREAK), (8, yf.Tangents.AUTO | yf.Tangents.CLAMP),
             (8, yf.Tangents.AUTO | yf.Tangents.BREAK)]
    for key in keys:
        key["interpolation"], key["tangents"] = draw(st.sampled_from(kinds))
        if key["tangents"] == yf.Tangents.TCB:
            key["left_weight"] = key["right_weight"] = np.nan
    return keys


@given(key_arrays())
def test_keys_are_the_same_after_the_way_through_an_array_and_every_copy(keys: np.ndarray) -> None:
    curve = yf.Curve(keys)
    assert np.array_equal(curve.times, keys["time"]) and np.array_equal(curve.values, keys["value"])
    times = np.linspace(-6, 6, 241)
    shown = curve(times)
    again = yf.Curve(curve.keys)
    assert np.allclose(again(times), shown, rtol=1e-5, atol=1e-3)
    assert np.array_equal(yf.Curve(curve.exact_keys).ticks, curve.ticks)
    scene = yf.Scene()
    scene.root.add(yf.Node("P", "Number")).curve.keys = curve.exact_keys
    scene.layers.add("Up", weight=curve.default).weight.keys = curve.exact_keys
    played = pickle.loads(pickle.dumps(scene))
    assert np.array_equal(scene["P"].curve(times), shown) and yf.diff(scene, played).curves_compared
    for other in (copy.copy(curve), copy.deepcopy(curve), pickle.loads(pickle.dumps(curve)), scene["P"].curve,
                  played["P"].curve, played.layers["Up"].weight):
        assert np.array_equal(other(times), shown, equal_nan=True)
        assert repr(other.exact_keys.tolist()) == repr(curve.exact_keys.tolist()) and other != curve
    # One time at once and many are the same curve, but for the last digits.
    single = np.array([curve(float(time)) for time in times])
    assert np.allclose(single, shown, rtol=1e-5, atol=2e-3)


def test_segments_are_what_their_formulas_say() -> None:
    keys = np.zeros(2, yf.KEY)
    keys["time"], keys["value"], keys["interpolation"], keys["tangents"] = [1, 3], [2, 8], 8, yf.Tangents.USER
    keys["left_slope"], keys["right_slope"] = [0, -1], [4, 0]
    for name in ("left_weight", "right_weight"):
        keys[name] = np.nan
    keys["left_velocity"] = -32768 / 9999  # the lowest that is stored
    curve = yf.Curve(keys)
    assert yf.Curve(curve.keys).keys["left_velocity"][1] == keys["left_velocity"][1]
    s = np.linspace(0, 1, 11)
    hermite = (2*s**3 - 3*s**2 + 1)*2 + (s**3 - 2*s**2 + s)*2*4 + (3*s**2 - 2*s**3)*8 + (s**3 - s**2)*2*(-1)
    assert np.allclose(curve(1 + 2*s), hermite, atol=1e-5)
    assert curve.slopes([1.0], side="right") == 4 and curve.slopes([3.0], side="left") == -1
    curve.set_interpolation(yf.Interpolation.LINEAR)
    assert np.allclose(curve(1 + 2*s), 2 + 6*s)
    curve.after = yf.Extrapolation.REPEAT
    assert np.isclose(curve(5.5), 3.5) and curve.after == (yf.Extrapolation.REPEAT, yf.UNLIMITED)
    curve.after = (yf.Extrapolation.CONSTANT, 0)
    assert curve(50) == 8 and curve.before.mode == yf.Extrapolation.CONSTANT


def test_samples_become_keys_at_exact_times() -> None:
    curve = yf.Curve.from_samples([1, 2, 4], rate=29.97, start=1)
    frame = int(yf.TICKS_PER_SECOND) * 1001 / 30000
    assert [int(tick) for tick in curve.ticks] == [yf.TICKS_PER_SECOND + round(i * frame) for i in range(3)]
    assert curve[-1].value == 4 and len(yf.Curve.from_samples([])) == 0
    exact = yf.Ticks(int(curve.ticks[1]) + 1)
    assert curve.add(exact, 7.0) == 2 and curve.ticks[2] == exact and curve.at_ticks([int(exact)])[0] == 7


def test_edits_of_keys() -> None:
    curve = yf.Curve([(0, 0), (1, 10), (2, 0)])
    before = curve(np.linspace(0, 2, 50))
    assert curve.insert([0.5, 1.5, 1.0]) == 2 and np.allclose(curve(np.linspace(0, 2, 50)), before, atol=1e-4)
    curve.move(time=1, value=-10)
    curve.scale(2)
    assert np.allclose(curve.times, [1, 1.5, 2, 2.5, 3]) and curve.values[2] == 0 and curve[0].value == -20
    raises(yf.Refused, lambda: curve.move_key(0, 2))
    assert curve.move_key(0, 1.75) == 1 and curve.remove_span(1.7, 2) and len(curve) == 3
    curve.replace(yf.Curve([(0, 5), (9, 5)]), 1.6, 2.4)
    assert np.allclose(curve([1.7, 2.3]), 5)
    curve.candidate = (0.25, 3)
    assert curve.candidate == (0.25, 3) and curve.key_candidate() == 0 and curve.candidate is None
    curve.clear()
    assert len(curve) == 0 and curve(3) == curve.default


CONSTANT, NEXT = yf.Interpolation.CONSTANT, yf.Tangents.NEXT


def constant_rows(keys: np.ndarray, tangents: int | None) -> np.ndarray:
    keys["interpolation"] = CONSTANT
    if tangents is not None:
        keys["tangents"] = tangents
    return keys


def constant_candidates(node: yf.Node, kinds: dict[str, yf.Tangents]) -> None:
    for at in (0, 1):
        node.x.candidate = (at, at + 1)
        node.x.key_candidate(CONSTANT, **kinds)
        node.set_candidate(at, [at + 1] * 3)
        node.key_candidate(interpolation=CONSTANT, **kinds)


@pytest.mark.parametrize("make", [
    lambda node, kinds: [node.x.add(at, at + 1, CONSTANT, **kinds) for at in (0, 1)], constant_candidates,
    lambda node, kinds: setattr(node.x, "keys", constant_rows(node.y.keys, kinds.get("tangents"))),
    lambda node, kinds: setattr(node.x, "keys", np.array(
        [(at, at + 1, 2, *kinds.values()) for at in (0, 1)],
        [("time", "f8"), ("value", "f4"), ("interpolation", "u1"), ("tangents", "u2")][:3 + len(kinds)])),
    lambda node, kinds: (setattr(node.x, "keys", node.y.keys), node.x.set_interpolation(CONSTANT),
                         [node.x.turn_key(at, **kinds) for at in (0, 1)] if kinds else None),
])
def test_constant_keys_hold_their_value_unless_next_is_asked_for(make) -> None:  # type: ignore[no-untyped-def]
    for kinds, shown in (({}, 1), ({"tangents": NEXT}, 2)):
        node = yf.Node("Turn", "Lcl Rotation")
        node.y.keys = [(0, 1), (1, 2)]
        make(node, kinds)
        assert node.x([0, 0.5, 1]).tolist() == [1, shown, 2]
        assert [(key.interpolation, key.tangents) for key in node.x] == [(CONSTANT, kinds.get("tangents", 0))] * 2
        for keys in (node.x.keys, node.x.exact_keys):
            assert yf.Curve(keys)(0.5) == shown
        # Constant keys that are so already stay as they are, and those that become cubic have tangents.
        node.x.set_interpolation(CONSTANT)
        node.x.set_tangents(yf.Tangents.AUTO)
        assert node.x(0.5) == shown
        node.x.set_interpolation(yf.Interpolation.CUBIC)
        node.x.set_tangents(NEXT)
        assert node.x[0].tangents & ~yf.Tangents.TIME_INDEPENDENT == yf.Tangents.AUTO and node.x(0.25) == node.y(0.25)
    for tangents in (yf.Tangents.AUTO | yf.Tangents.BREAK, yf.Tangents.TCB, yf.Tangents.USER):
        node.x.set_tangents(tangents)
        node.x.set_interpolation(CONSTANT)
        assert node.x(0.5) == 1
        node.x.set_interpolation(yf.Interpolation.CUBIC)
        assert {key.tangents & ~yf.Tangents.TIME_INDEPENDENT for key in node.x} == {tangents}
        node.y.turn_key(-1, tangents)
        assert [key.tangents & ~yf.Tangents.TIME_INDEPENDENT for key in node.y] == [yf.Tangents.AUTO, tangents]


@pytest.mark.parametrize("bad, error", [
    ([(1, 0), (1, 2)], ValueError), ([(2, 0), (1, 2)], ValueError), ([(0, float("nan"))], ValueError),
    ([(float("nan"), 0)], ValueError), ([(float("inf"), 0)], ValueError), ([1, 2, 3], TypeError),
    (np.zeros(2, [("time", "f8")]), TypeError),
    (np.zeros(1, [("time", "f8"), ("value", "f8"), ("x", "f8")]), TypeError),
    (np.array(["a"]), TypeError), (np.zeros((2, 2), yf.KEY), TypeError), (np.zeros(1, yf.KEY), ValueError),
    (np.zeros(1, [("ticks", "f8"), ("value", "f8")]), TypeError), ([(1e300, 0), (2, 0)], ValueError),
    (np.array([(2**63 + 5, 0)], [("ticks", "u8"), ("value", "f8")]), ValueError),
    (np.array([(0, 4)], [("time", "f8"), ("value", "c8")]), TypeError),
    *((np.array([(0, 1, by), (1, 2, by)], [("time", "f8"), ("value", "f8"), (name, "f8")]), ValueError)
      for name, by in (("left_velocity", -3.3), ("right_velocity", 4), ("left_auto", 1e30), ("right_auto", -1e30))),
])
def test_bad_keys_leave_the_curve_as_it_was(bad: object, error: type) -> None:
    curve = yf.Curve([(0, 1), (1, 2)])
    with pytest.raises(error):
        curve.keys = bad
    assert list(curve.values) == [1, 2]


def test_times_of_every_shape_and_kind() -> None:
    curve = yf.Curve([(0, 0), (1, 1)])
    curve.set_interpolation(yf.Interpolation.LINEAR)
    grid = np.linspace(0, 1, 6).reshape(2, 3)
    for times in (grid, grid.T, grid.astype("f4"), np.asfortranarray(grid), grid[:, ::-1]):
        assert np.allclose(curve(times), times, atol=1e-6) and curve(times).dtype == np.float32
    assert curve([0, 1]).tolist() == [0, 1] and curve(np.array(1)) == 1 and curve([]).shape == (0,)
    assert np.isnan(curve([np.nan, 0.5])).tolist() == [True, False] and np.isnan(curve(float("nan")))
    assert curve([np.inf, -np.inf]).tolist() == [1, 0]
    for bad in ("a", [["a"]], [1j], None):
        raises((TypeError, ValueError), lambda: curve(bad))
    # Texts of seconds take no frame rate.
    assert curve("0.5") == curve(["0.5"])[0] == 0.5 and curve.add("1e-1", 5) == 1
    raises(yf.Refused, lambda: curve("15f"), match="takes the frame rate of a scene")


def test_exact_times_stay_exact_wherever_times_go(small: yf.Scene) -> None:
    curve, tick, second = yf.Curve([(0.0, 0.0), (1.0, 8.0)]), yf.Ticks(12345678901), yf.TICKS_PER_SECOND
    at = curve(tick)
    assert list(curve([tick, 1.0])) == [at, 8] and curve.slopes([tick]) == curve.slopes(tick.seconds)
    assert yf.Curve([(tick, 5), (yf.Ticks(second), 6)]).ticks.tolist() == [tick, second]
    assert np.isnan(curve(np.array([tick, np.nan], object))[1]) and curve.insert([tick, 0.5]) == 2
    assert curve.insert(ticks=np.array([7, tick])) == 1 and curve.ticks.tolist() == [0, 7, tick, second // 2, second]
    channel = small["Arm"].rotation
    assert np.array_equal(channel([tick]), channel(curve.times[2:3]))
    exact = small.sample(ticks=curve.ticks)
    assert small.sample(times=[tick]).ticks.tolist() == [tick] and np.array_equal(exact.ticks, curve.ticks)
    raises(TypeError, lambda: small.sample(times=exact.ticks), lambda: curve(exact.ticks),
           lambda: curve.insert(exact.ticks), lambda: curve.insert(ticks=[0.5]), lambda: small.sample(30, ticks=[1]),
           curve.insert)
    # What is worked out with exact times is exact, but for plain quotients; numbers of seconds do not mix with them.
    for result, expected in ((tick + tick, 2 * int(tick)), (tick - 3, int(tick) - 3), (3 - tick, 3 - int(tick)),
                             (tick + np.int64(4), int(tick) + 4), (tick * 0.5, 6172839450), (3 * tick, 3 * int(tick)),
                             (tick * np.float32(2), 2 * int(tick)), (tick / 4, 3086419725), (tick % 1000, 901),
                             (tick // 10, 1234567890), (-tick, -int(tick)), (+abs(-tick), int(tick)),
                             (sum([tick, tick]), 2 * int(tick)), (divmod(tick, 1000)[0], 12345678),
                             (divmod(tick, second)[1], int(tick)), (round(tick), int(tick)),
                             (round(tick, -3), 12345679000)):
        assert type(result) is yf.Ticks and result == expected
    assert tick / (2 * tick) == 0.5 and type(2 * tick // tick) is type(divmod(tick, tick)[0]) is int
    assert np.array_equal(tick + curve.ticks, curve.ticks + int(tick))
    raises(TypeError, lambda: tick + 0.5, lambda: tick - np.float32(1), lambda: divmod(tick, 0.5), match="Ticks.of")
    with pytest.raises(TypeError):
        tick * tick  # type: ignore[operator]
    yf.settings["PlotPeriod"] = tick
    assert yf.settings["PlotPeriod"] == pytest.approx(tick.seconds, abs=1e-12)
    yf.settings.clear()
    resample = yf.filters()["resample"]
    assert float(resample.step(period=tick).rpartition("=")[2]) == pytest.approx(tick / second, abs=1e-12)
