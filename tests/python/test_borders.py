"""What the package takes, refuses and keeps: faults that once passed silently."""

import copy
import gc
import pickle
import re
from pathlib import Path

import numpy as np
import pytest

import yfcurve as yf
from conftest import SMALL, raises


def test_copies_play_and_are_filtered_as_the_scene(small: yf.Scene) -> None:
    grown = small.root.add(yf.Node("Grown", "Lcl Scaling"))
    grown.x.keys = [(0, 2), (1, 3)]
    flat = yf.Node("Flat", "Lcl Scaling")
    flat.remove("Z")
    flat = small.root.add(flat)
    flat.x.keys = [(0, 5)]
    turn = small.root.add(yf.Node("Turn", "Lcl Rotation"))
    turn.x.keys = [(0, 10), (1, 20), (2, 40)]
    turn.rotation_order = "ZYX"
    turn.x.select()
    small["Arm"].rotation.locked = True
    layer = small.layers.add("Lean")
    small["Hips"].rotation.on_layer("Lean").y.keys = [(0, 0), (1, 30)]
    small["Hips"].rotation.on_layer(layer).y.locked = True
    before = small.to_bytes("ytalo")
    assert any("'Turn'" in note for note in small.notes), "a file does not keep the order"
    for other in (small.copy(), copy.deepcopy(small), pickle.loads(pickle.dumps(small))):
        assert other["Grown"].type == "Lcl Scaling" and [node.name for node in other.root] == ["Hips", "Grown", "Flat", "Turn"]
        assert other["Flat"].x.values == [5]
        assert other["Turn"].rotation_order == "ZYX" and all(key.selected for key in other["Turn"].x)
        assert other["Arm"].rotation.locked and other["Arm"].rotation.x.locked
        lean = other["Hips"].rotation.on_layer(layer.id)
        assert lean.y.locked and not lean.x.locked
        assert other.to_bytes("ytalo") == before and not yf.diff(small, other)
        other["Turn"].rotation_order = "XYZ"
        assert [each.what for each in yf.diff(small, other).settings] == ["rotation order of 'Turn'"]
        assert other.filter("unroll").steps[0].locked == small.copy().filter("unroll").steps[0].locked == 1


def test_orders_belong_to_rotations(small: yf.Scene) -> None:
    joint = small["Arm"]
    assert joint.rotation_order == joint.rotation.rotation_order == "XZY"
    joint.use_quaternion = True
    assert joint.rotation.use_quaternion
    raises(yf.Refused, lambda: setattr(joint.rotation, "rotation_order", "ZYX"),
           lambda: setattr(joint, "rotation_order", "XYZ"), lambda: small["Hips"].translation.rotation_order)
    assert joint.rotation_order == "XZY"
    aim = joint.add(yf.Node("Aim", "Lcl Rotation"))  # turns nothing
    aim.rotation_order = "ZYX"


def test_layers_are_named_by_themselves_ids_and_names(small: yf.Scene) -> None:
    turn, layer = small["Hips"].rotation, small.layers.add("Lean")
    assert turn.on_layer(layer) == turn.on_layer("Lean") == turn.on_layer(layer.id) != turn.on_layer(0)
    uses = (turn.on_layer, lambda each: turn.key_candidate(layer=each), lambda each: small.edit(layer=each),
            lambda each: small.layers[each], small.layers.remove, lambda each: small.layers.merge(0, into=each),
            small.plot_into_layer, lambda each: small.export_keys(layers=[each]))
    for unknown in (7, -1, "None"):
        for use in uses:
            raises(yf.NotFound, lambda: use(unknown), match="there are")
    raises(TypeError, lambda: small.layers[1.0], lambda: small.layers[True], lambda: small.layers[0:1])
    raises(yf.Refused, lambda: turn.on_layer(small.copy().layers["Lean"]), match="another scene")
    turn.on_layer(layer).x.keys = [(0, 1)]
    with small.edit("Hips", layer="Lean") as edit:
        assert edit.move(value=1) == 0 and edit.select() == 1 and edit.move(value=1) == 1
    assert turn.on_layer(layer).x.values == [2]
    raises(yf.Refused, edit.select, match="with statement")
    small.layers.remove(layer)
    assert "removed" in repr(layer)
    raises(yf.Gone, lambda: layer.weight)
    raises(TypeError, lambda: copy.deepcopy(layer), match="copy or pickle the scene")


def test_components_and_joints_are_on_no_layer_of_their_own(small: yf.Scene) -> None:
    layer, joint, before = small.layers.add("Lean"), small["Hips"], small.to_bytes("ytalo")
    x = joint.translation["X"]
    raises(yf.Refused, lambda: x.on_layer(layer), lambda: x.set_candidate(0.5, [3], layer=layer),
           lambda: x.key_candidate(layer=layer), match=r"component of 'Lcl Translation'.*\.on_layer\(layer\)\['X'\]")
    raises(yf.Refused, lambda: joint.on_layer(layer), lambda: small.root.on_layer(layer), match="is no property")
    assert x.on_layer(0) == x and small.to_bytes("ytalo") == before
    # Where components have properties of their own, there is nothing to plot as a whole.
    joint.translation.add(yf.Node("Aim", "Lcl Rotation")).x.keys = [(0, 1), (1, 2)]
    before = small.to_bytes("ytalo")
    raises(yf.Refused, lambda: small.plot_into_layer(layer), match="Hips/Lcl Translation: it lacks a curve, or has comp")
    assert small.to_bytes("ytalo") == before


def test_a_whole_number_is_the_id_of_a_layer_wherever_it_stands_in_the_stack(small: yf.Scene) -> None:
    turn, layers = small["Hips"].rotation, small.layers
    for name in "ABC":
        turn.on_layer(layers.add(name)).x.keys = [(0, ord(name))]
    layers.remove(1)  # the ids of B and C stay 2 and 3, in the places 1 and 2
    assert [layer.name for layer in reversed(layers)] == ["C", "B", "BaseAnimation"] and len(layers) == 3
    assert layers[2].name == "B" and 2 in layers and 1 not in layers and np.int64(3) in layers and layers["B"] in layers
    text = small.export_keys(layers=[2])
    assert '"B"' in text and '"C"' not in text
    moved = small.copy()
    moved["Hips"].translation.x.move(value=3)
    small.plot_into_layer(2, moved, nodes="Hips/Lcl Translation")
    small.filter("offset", offset=5, layer=2, nodes="Hips/Lcl Rotation/X")
    assert list(small["Hips"].translation.layers) == [0, 2] and turn.on_layer(2).x.values == [ord("B") + 5]
    with small.edit("Hips/Lcl Rotation/X", layer=2) as edit:
        assert edit.select() == 1 and edit.set(7) == 1 and turn.on_layer("B").x.values == [7]
    layers.merge(3, 2, into=3)
    assert [layer.name for layer in layers] == ["BaseAnimation", "C"]
    layers.remove(3)
    assert len(layers) == 1


def test_a_node_stands_for_itself_alone(small: yf.Scene) -> None:
    leaf = "OFFSET 0 1 0\nCHANNELS 3 Xposition Yposition Zposition\n"
    names = ("A", "A", "a", "A*", "*")
    scene = yf.load_bytes(("HIERARCHY\nROOT Hips\n{\n" + leaf + "".join(f"JOINT {name}\n{{\n{leaf}}}\n" for name in names)
                           + "}\nMOTION\nFrames: 2\nFrame Time: 1\n" + 2 * (" ".join(map(str, range(18))) + "\n")).encode())
    for place, node in enumerate(scene):
        assert scene.find(node) == [node] and scene.find(node.translation["Y"]) == [node.translation["Y"]]
        assert scene.sample(nodes=[node]).values.tolist() == [[3 * place, 3 * place + 1, 3 * place + 2]] * 2
        assert scene.positions(nodes=node).shape == scene.rotations(nodes=node)[..., :3].shape == (2, 1, 3)
        assert [scene.to_table(nodes=node, world=world).count("/X") for world in (False, True)] == [1, 2]
        assert scene.export_keys(node).count('"path"') == 3 and node.name in str(scene.plot(node))
        # Whatever changes the node changes nothing else.
        moved = scene.copy()
        moved.set_samples([[100, 100, 100]], nodes=list(moved)[place], times=[0], whole=True)
        scene.layers.add("Up")
        scene.plot_into_layer("Up", moved, nodes=node)
        assert [len(each.translation.layers) == 2 for each in scene] == [each == node for each in scene]
        assert [plotted.path for plotted in scene.layers.merge(nodes=node.translation)] == [f"{node.path}/Lcl Translation"]
        with scene.edit(node) as edit:
            assert edit.select() == edit.set(7) == 3
        assert scene.filter("offset", offset=-7, nodes=node, page=True).steps[0].changed == 3
        assert [bool(each.translation(0).any()) for each in scene] == [number > place for number in range(6)]
    assert len(scene.find(scene.root)) == len(scene.find()) and len(scene.find("A")) == 3
    up = small["Arm"].rotation.on_layer(small.layers.add("Up"))
    assert small.find(up["X"], small["Hips"]) == [small["Hips"], small["Arm"].rotation[0]]
    other = scene["Hips"]
    raises(yf.Refused, lambda: small.find(other), lambda: small.sample(nodes=other), lambda: small.edit(other),
           lambda: small.filter("unroll", nodes=other), lambda: small.plot_into_layer("Up", scene, nodes=other),
           match="another scene; give its path")
    gone = small.root.add(yf.Node("Gone", "Number"))
    small.root.remove(gone)
    raises(yf.Gone, lambda: small.sample(nodes=gone))


EDITS_OF_A_CURVE = (
    lambda c: setattr(c, "keys", [(0, 1)]), lambda c: c.add(0.3, 1), lambda c: c.insert([0.3]), lambda c: c.remove(0),
    lambda c: c.move_key(0, 0.1), lambda c: c.remove_span(0, 1), lambda c: c.clear(), lambda c: c.move(value=1),
    lambda c: c.scale(2), lambda c: c.set_interpolation(yf.Interpolation.LINEAR), lambda c: setattr(c, "default", 3),
    lambda c: c.set_tangents(yf.Tangents.USER), lambda c: c.replace(yf.Curve([(0, 1)])), lambda c: c.key_candidate(),
    lambda c: c.insert_curve(yf.Curve([(0, 1)]), 0.3, 1), lambda c: setattr(c, "after", yf.Extrapolation.REPEAT),
    lambda c: setattr(c, "candidate", (0.5, 1)), lambda c: c.turn_key(0, yf.Tangents.TCB),
)
EDITS_OF_A_NODE = (
    lambda n: n.add_keys(0, [1, 2, 3]), lambda n: n.delete_keys(0), lambda n: n.remove("X"),
    lambda n: setattr(n, "use_quaternion", True), lambda n: setattr(n, "rotation_order", "ZYX"),
    lambda n: n.create_curves(), lambda n: n.add(yf.Node("W", "Number")),
)


@pytest.mark.parametrize("on_layer", [0, 1])
@pytest.mark.parametrize("lock", ["layer", "node", "curve"])
def test_what_is_locked_is_read_but_not_edited(small: yf.Scene, lock: str, on_layer: int) -> None:
    small.layers.add("Up")
    aim = small.root.add(yf.Node("Aim", "Lcl Rotation"))
    node = aim.on_layer(on_layer)
    node.x.keys = [(0, 1), (1, 2)]
    node.x.candidate = (0.5, 5)
    locked = {"layer": small.layers[on_layer], "node": node, "curve": node.x}[lock]
    locked.locked = True
    names = {"layer": f"layer '{small.layers[on_layer].name}'", "node": "'Aim(/X)?'", "curve": "'Aim/X'"}
    refused, before = f"{names[lock]} is locked; unlock it by [a-z]+.locked = False", small.to_bytes("ytalo")
    raises(yf.Refused, *(lambda act=act: act(node.x) for act in EDITS_OF_A_CURVE), match=refused)
    below = EDITS_OF_A_NODE[:-2] if lock == "curve" else EDITS_OF_A_NODE
    raises(yf.Refused, *(lambda act=act: act(node) for act in below), match=refused)
    raises(yf.Refused, lambda: aim.key_candidate(layer=on_layer), lambda: aim.set_candidate(0, [1, 2, 3], layer=on_layer),
           match=refused)
    assert node.x.candidate == (0.5, 5)
    for edits in (yf.Edit.select, lambda edit: edit.move(0, 5)):
        with pytest.raises(yf.Refused, match=refused), small.edit("Aim/X", layer=on_layer) as edit:
            edits(edit)
    if on_layer == 0:
        raises(yf.Refused, lambda: small.set_samples([[1]], nodes="Aim/X", times=[0]), match=refused)
    assert small.to_bytes("ytalo") == before
    assert aim.on_layer(on_layer).x(0) == 1 and node.copy().x.copy()(1) == 2 and len(node.x.keys) == 2
    # Of several curves the locked ones are left alone, and do not count.
    if lock == "curve":
        with small.edit("Aim", layer=on_layer) as edit:
            assert edit.select() == 0
            node.y.keys = [(0, 1)]
            assert edit.select() == edit.move(0, 5) == 1 and node.y.values == [6] and list(node.x.values) == [1, 2]
    if lock == "layer" and on_layer == 1:
        raises(yf.Refused, lambda: small["Hips"].rotation.on_layer("Up"), match=refused)
    locked.locked = False
    for act in EDITS_OF_A_CURVE:
        node.x.keys = [(0, 1), (1, 2)]
        act(node.x)


def test_texts_of_time_are_those_of_the_scene(small: yf.Scene) -> None:
    small.rate = 4
    x = small["Hips"].translation.x
    assert x("2f") == x(0.5) and x(["2f", 1.0])[1] == x(1.0) and x("00:00:00:02") == x(0.5)
    assert np.array_equal(small.sample(start="1f", stop="3f").ticks, small.sample(start=0.25, stop=0.75).ticks)
    x.keys = [("1f", 1), ("3f", 2)]
    assert x.times.tolist() == [0.25, 0.75] and x.add("2f", 5) == 1 and x.remove_span("2f", "2f")
    with small.edit("Hips/Lcl Translation/X") as edit:
        assert edit.select("3f", "3f") == 1
        edit.move("1f")
    assert x.times.tolist() == [0.25, 1]
    raises(yf.Refused, lambda: x("soon"), lambda: yf.Curve([(0, 1)])("2f"), lambda: small.plot(start="x"),
           lambda: yf.Ticks.of("2f"))


@pytest.mark.parametrize("field, value", [
    ("left_slope", np.nan), ("right_slope", np.inf), ("left_weight", 5), ("right_weight", -3), ("interpolation", 264),
    ("interpolation", 3), ("tangents", 0x40000), ("tangents", 0x300), ("tangents", 0x500), ("tangents", 0x600),
    ("tangents", np.nan), ("value", np.nan),
])
def test_keys_that_make_no_sense_are_refused(field: str, value: float) -> None:
    curve = yf.Curve([(0, 1)])
    kinds = {name: "f8" for name in ("time", "value", "interpolation", "tangents", "left_slope", "right_slope")}
    keys = np.zeros(1, [*({**kinds, field: "f8"}).items()])
    keys["interpolation"], keys["tangents"] = 8, yf.Tangents.USER
    curve.keys = keys
    keys[field] = value
    with pytest.raises(ValueError):
        curve.keys = keys
    assert len(curve) == 1 and curve.values == [0]


def edited(scene: yf.Scene, act) -> None:  # type: ignore[no-untyped-def]
    """Leaves the statement as if nothing were wrong, so that it takes nothing back itself."""
    refused = None
    with scene.edit("P") as edit:
        try:
            act(edit)
        except yf.Refused as error:
            refused = error
    if refused is not None:
        raise refused


@pytest.mark.parametrize("act", [
    lambda s, c: s["P"].add_keys(0, [1e39]), lambda s, c: s["P"].set_candidate(0.5, [1e39]), lambda s, c: c.scale(1e10),
    lambda s, c: c.insert(ticks=[-2**63]), lambda s, c: s.set_samples([[1]], ticks=[-2**63]), lambda s, c: c.move(np.inf),
    lambda s, c: c.move(value=3e38), lambda s, c: s.filter("offset", offset=1e39), lambda s, c: s.filter("scale", scale=1e10),
    lambda s, c: edited(s, lambda edit: edit.move(time=1.9e8)), lambda s, c: edited(s, lambda edit: edit.stretch(1e300)),
    lambda s, c: edited(s, lambda edit: edit.move(value=1e38)), lambda s, c: edited(s, lambda edit: edit.scale(2)),
    lambda s, c: edited(s, lambda edit: edit.stretch(value=2)), lambda s, c: edited(s, lambda edit: edit.stretch(1e-9)),
])
def test_what_keys_cannot_hold_changes_nothing(act) -> None:  # type: ignore[no-untyped-def]
    scene = yf.Scene()
    curve = scene.root.add(yf.Node("P", "Number")).curve
    curve.keys = [(0, 1), (1.8e8, 3e38)]
    curve.set_tangents(yf.Tangents.USER)
    curve.select()
    before, history = curve.keys, scene.history
    raises(ValueError, lambda: act(scene, curve))
    assert repr(curve.keys.tolist()) == repr(before.tolist()) and curve.candidate is None
    with scene.edit("P") as edit:
        edit.move(time=1, value=-1e38)
    assert curve.times.tolist() == [1, 1.8e8 + 1] and history.undo_names


@pytest.mark.filterwarnings("error")
def test_what_is_no_such_thing_is_told_in_own_words(small: yf.Scene, tmp_path: Path) -> None:
    hips, curve = small["Hips"], small["Hips"].translation.x
    same = small.sample(nodes="Hips").names
    assert small.sample(nodes=hips).names == same == small.sample(nodes=[hips]).names and small.find(hips) == [hips]
    assert hips in small and small.copy()["Hips"] not in small
    nested = hips.add(yf.Node("Hips"))
    assert small["Hips"] == hips != nested
    hips.remove("Hips")
    for bad in (lambda: small.find(5), lambda: small.layers.add(None), lambda: yf.Node(None), lambda: curve.remove("a"),
                lambda: hips[0:1], lambda: small.plot(width="a"), lambda: yf.diff(small, "b.bvh"),
                lambda: hips.remove(5), lambda: curve.replace(None), lambda: small.sample(rate=True),
                lambda: small.sample(nodes=5), lambda: curve.add(0, "3"), lambda: curve(True), lambda: small.clip(rate=b"3"),
                lambda: yf.settings.pop("PlotOnFrame"), lambda: yf.settings.popitem(),
                lambda: setattr(small.layers[0], "name", 5), lambda: setattr(small.layers[0], "muted", "no"),
                lambda: small.reduce(1, contacts="no"), lambda: setattr(curve, "before", (2, 1.5)),
                lambda: small.set_samples([[1j]], nodes="Hips/Lcl Translation/X"), lambda: yf.Curve.from_samples(["1"]),
                lambda: curve.select("x"), lambda: small.to_table(frames="no"), lambda: small.clip(3),
                lambda: small.to_bytes(3), lambda: small.history.step(None).__enter__(), lambda: yf.load_bytes(3),
                lambda: setattr(hips, "use_quaternion", "no"), lambda: small.clip(loop=b"3"),
                lambda: small.export_keys(layers="BaseAnimation"), lambda: small.edit().__enter__().move(copy="x"),
                lambda: yf.batch([], [], "out", progress=5)):
        with pytest.raises(TypeError) as told:
            bad()
        assert not re.search("incompatible|NoneType|_core|float\\(\\)", str(told.value))
    raises(ValueError, lambda: curve.add(0, 1, tangents=0xFFFF), lambda: curve.add(0, 1, 99),
           lambda: curve.set_tangents(0xFFFF), lambda: curve.add(0, 1, tangents=0x300),
           lambda: curve.key_candidate(tangents=0x600), lambda: hips.rotation.key_candidate(tangents=0x300),
           lambda: setattr(curve, "color", (5, np.nan, -1)),
           lambda: small.plot(width=1e9), lambda: curve.replace(curve, 1, 0),
           lambda: yf.settings.__setitem__("PlotOnFrame", "false"), lambda: yf.Curve.from_samples([1e300]),
           lambda: small.set_samples(np.ma.masked_equal(small.sample().values, 0)), lambda: small.sample(times=np.nan),
           lambda: small.to_bytes("glb", tolerance=0), lambda: curve.set_tangents(2**70),
           lambda: yf.Curve.from_samples(3.0), lambda: small.layers.add("Lean", weight=5),
           lambda: yf.settings.__setitem__("PlotPeriod", np.inf))
    raises(yf.Refused, lambda: small.sample(start=3), lambda: small.sample(stop=np.inf),
           lambda: yf.Scene().save_table(tmp_path / "a.csv", world=True))
    assert hips[np.int64(0)] == hips[0]
    with small.edit("Hips") as edit, pytest.raises(ValueError):
        edit.set(1e300)
    assert isinstance(curve(np.float32(1)), float) and small.sample(ticks=[]).shape == (0, 9)
    with pytest.raises(yf.FileError) as failed:
        small.save(tmp_path / "none" / "a.bvh")
    for error in (failed.value, pickle.loads(pickle.dumps(failed.value))):
        assert error.filename == str(tmp_path / "none" / "a.bvh") and error.errno == 2 and str(error) == str(failed.value)
    yf.settings["PlotOnFrame"] = False
    yf.settings.clear()
    assert yf.settings["PlotOnFrame"] is True


def test_reports_and_notes_tell_what_was_not_done(small: yf.Scene) -> None:
    assert str(small.filter("unroll", nodes="Lcl Translation")).startswith("unroll: changed nothing: ")
    assert small.filter("Key_Reducer", precision=0.1).steps[0].name == "key-reducer"
    assert small.filter("smooth", sample_count=np.int64(3), stop=np.array(9.0)).steps[0].changed
    assert "form of whole rotations" in small.copy().filter("euler-to-quat", stop=-1).steps[0].warning
    assert "keeps 0 to 0.5 s" in small.copy().clip(trim=("00:00:00:00", "00:00:00:01"))[0]
    raises(yf.Refused, lambda: small.filter("butterworth:CutOffFreq=0.5", order=8), match="parameters already")
    small["Hips"].add(yf.Node("Lcl Scaling", "Lcl Scaling")).x.default = 2
    small.rate = 1.5
    small.to_bytes("bvh")
    assert any("no scale" in note for note in small.notes) and any("between two frames" in note for note in small.notes)
    keys = small["Hips"].translation.x.keys
    keys["right_weight"] = 0.9
    small["Hips"].translation.x.keys = keys
    small.to_bytes("ytalo")
    assert any("no weights of auto and TCB keys, so that 2 segments play" in note for note in small.notes)
    small.history
    small.filter("key-reducer", precision=90)
    assert small.history.undo_names == ["key-reducer"]
    odd = yf.load_bytes(SMALL.replace(b"Arm", b"\xc4rm"))
    refused = yf.Step("x", 0, 0, 1, 0, 0, 0, 0, (yf.Refusal("refused", 1, "\udcc4rm"),), "")
    for text in (odd._repr_html_(), str(odd.copy().filter("offset", offset=1)), *odd.copy().clip(drop=["\udcc4rm"]),
                 refused.told()):
        assert "\ufffd" in text and text.encode(), text
    shown: list[str] = []
    small.filter("unroll", progress=lambda done, total: shown.append(repr(small)))
    assert "being worked on" in shown[0]


def test_glb_is_written_and_read_as_wanted(small: yf.Scene, tmp_path: Path) -> None:
    small.save(tmp_path / "bones.glb")
    small.save(tmp_path / "plain.glb", mesh=False, sampled=True)
    assert (tmp_path / "plain.glb").stat().st_size < (tmp_path / "bones.glb").stat().st_size
    names = yf.animations(tmp_path / "plain.glb")
    again = yf.load(tmp_path / "plain.glb", animation=1, order="ZYX")
    assert len(names) == 1 and again["Arm"].rotation_order == "ZYX"
    for bad in ({"animation": 2}, {"order": "XXX"}, {"tolerance": -1}):
        raises(ValueError, lambda: yf.load(tmp_path / "plain.glb", **bad))


def test_copies_of_nodes_do_without_the_layers_of_their_scene(small: yf.Scene) -> None:
    other, layer = small.copy(), small.layers.add("Up")
    turn = small["Arm"].rotation
    own = turn(0.5)
    turn.on_layer(layer).x.keys = [(0, 50)]
    layer.locked = True
    copies = [turn.copy(), turn.on_layer(layer).copy(), other.root.add(turn)]
    del small, layer, turn
    gc.collect()
    assert [copy.locked for copy in copies] == [False] * 3
    assert (copies[0](0.5) == own).all() and copies[1].x(0.5) == 50 and (copies[2](0.5) == own).all()
