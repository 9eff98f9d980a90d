"""What Python code can do must not end the process: lifetimes, threads, signals, interpreters."""

import gc
import os
import subprocess
import sys
import threading
import time
from pathlib import Path

import numpy as np
import pytest

import yfcurve as yf
from conftest import ROOT, WALK, raises


def run(code: str, **options: object) -> "subprocess.CompletedProcess[str]":
    command = [sys.executable, "-c", code]
    return subprocess.run(command, capture_output=True, text=True, timeout=120, cwd=ROOT, **options)


def test_parts_keep_their_scene_alive() -> None:
    scene = yf.load(WALK)
    curve, node, layers = scene["LeftLeg"].rotation.x, scene["Spine"], scene.layers
    joints, samples, keys = scene.joints, scene.sample(), curve.keys
    weak = [scene["Head"].rotation.y for _ in range(100)]
    del scene
    gc.collect()
    assert len(curve) == 257 and node.name == "Spine" and len(layers) == 1 and joints[1].node == node
    fresh = yf.load(WALK)
    assert np.array_equal(samples.values, fresh.sample().values)
    assert np.array_equal(keys["value"], fresh["LeftLeg"].rotation.x.values)
    curve.clear()
    assert len(keys) == 257 and len({*weak}) == 1


def test_what_a_skeleton_stands_on_stays() -> None:
    scene = yf.load(WALK)
    leg = scene["LeftLeg"]
    for parent, child in ((leg.parent, leg), (leg, leg.rotation), (leg.rotation, leg.rotation[0]),
                          (scene.root, scene["Hips"])):
        raises(yf.Refused, lambda: parent.remove(child))
    raises(ValueError, lambda: scene.root.remove(leg), lambda: scene.root.remove(yf.load(WALK)["Hips"]))
    for _ in range(3):
        leg.add(leg)
    assert scene.root.add(scene.root) and scene.to_bytes("bvh")


def test_threads_share_scenes_in_turn() -> None:
    scene, errors, stop = yf.load(WALK), [], threading.Event()

    def watch() -> None:
        try:
            while not stop.is_set():
                nodes = [node.rotation.x for node in scene]
                assert all(len(ticks) > 0 and (np.diff(ticks) > 0).all() for ticks in [curve.ticks for curve in nodes])
                assert scene.sample(30).values.shape[1] == 66 and scene.positions(30).ndim == 3
        except Exception as error:
            errors.append(error)

    threads = [threading.Thread(target=watch) for _ in range(3)]
    for thread in threads:
        thread.start()
    for _ in range(3):
        scene.filter("butterworth", cut_off_freq=10)
        scene.filter("key-reducer", precision=0.1)
        scene.set_samples(scene.sample(60))
        yf.load(WALK).filter("unroll")
    stop.set()
    for thread in threads:
        thread.join()
    assert not errors


def test_progress_of_one_scene_may_use_others_but_not_itself() -> None:
    first, second = yf.load(WALK), yf.load(WALK)
    seen = []
    first.filter("unroll", progress=lambda done, total: seen.append(second.sample(10).shape))
    assert seen[0] == (22, 66)
    raises(yf.Busy, lambda: first.filter("unroll", progress=lambda done, total: first.diff(second)))


def test_interrupts_end_work_and_leave_all_as_it_was(tmp_path: Path) -> None:
    code = """
import os, signal, threading, time, yfcurve as yf
signal.signal(signal.SIGALRM, lambda *_: None)
walk = yf.load("examples/walk.bvh")
scene = walk.copy()
scene.clip(loop=20)
scene.layers.add("Top")
os.mkfifo("%s/pipe")
before, begin = scene.to_bytes("ytalo"), time.monotonic()
for act in (lambda: yf.load("%s/pipe"), lambda: scene.save("%s/a.glb"), lambda: scene.copy().reduce(0.001),
            lambda: scene.plot_into_layer("Top", smart=False, period=0.0005), lambda: walk.positions(50000),
            lambda: walk.sample(1e6), lambda: scene.copy().filter("butterworth", cut_off_freq=10),
            lambda: scene.clip(rate=5000, resample=True), lambda: scene.join(scene.copy(), blend=20),
            lambda: (os.open("%s/pipe", os.O_RDWR), scene.save("%s/pipe", format="ytalo"))):
    # Another signal comes shortly before, and is no reason to overlook the one that ends the work.
    signal.setitimer(signal.ITIMER_REAL, 0.05)
    threading.Timer(0.08, os.kill, (os.getpid(), signal.SIGINT)).start()
    try:
        while True:
            act()
    except KeyboardInterrupt:
        print(set(os.listdir("%s")) - {"pipe", "a.glb"}, scene.to_bytes("ytalo") == before)
if os.path.exists("%s/a.glb"):  # where saving is done before the signal comes
    yf.load("%s/a.glb")
print(time.monotonic() - begin < 60)
""".replace("%s", str(tmp_path))
    done = run(code)
    assert done.stdout == "set() True\n" * 10 + "True\n", done.stderr


def test_a_second_interpreter_is_refused() -> None:
    code = """
import yfcurve, _xxsubinterpreters as others
interpreter = others.create()
try:
    others.run_string(interpreter, "import sys; sys.path = %r; import yfcurve._core")
except others.RunFailedError as error:
    print("main interpreter alone" in str(error))
""" % (sys.path,)
    done = run(code, env={**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)})
    assert done.stdout == "True\n", done.stderr


def test_bytes_of_every_kind_are_taken_or_refused() -> None:
    data = WALK.read_bytes()
    for content in (data, bytearray(data), memoryview(data)):
        assert len(yf.load_bytes(content)) == 21  # type: ignore[arg-type]
    for bad in ("text", 5, None):
        with pytest.raises((TypeError, yf.FormatError)):
            yf.load_bytes(bad)  # type: ignore[arg-type]


def test_nothing_is_left_in_memory() -> None:
    code = """
import gc, resource, yfcurve as yf
def work():
    for _ in range(20):
        scene = yf.load("examples/walk.bvh")
        scene.filter("key-reducer", precision=0.1)
        [curve.keys for curve in scene.curves().values()]
        scene.copy().sample(30)
    gc.collect()
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
work(); first = work(); work(); print(work() - first)
"""
    assert int(run(code).stdout) < 4000


@pytest.mark.parametrize("act", [
    "scene.positions(3000)", "scene.filter('unroll', progress=lambda done, total: None)", "scene.sample(300)",
])
def test_an_interpreter_ends_while_daemons_work(act: str) -> None:
    code = f"""
import threading, time, yfcurve as yf
scene = yf.load("examples/walk.bvh")
def work():
    while True:
        {act}
for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
time.sleep(0.3)
"""
    begin = time.monotonic()
    done = run(code)
    assert done.returncode == 0 and not done.stderr, done.stderr
    assert time.monotonic() - begin < 4.5, "those that wait for the scene are not waited for"


def test_settings_wait_for_work_to_be_done() -> None:
    scene, seen = yf.load(WALK), []

    def change(done: int, total: int) -> None:
        try:
            yf.settings["PlotOnFrame"] = True
        except yf.Busy:
            seen.append(done)

    scene.filter("unroll", progress=change)
    assert seen
    yf.settings["PlotOnFrame"] = True
    del yf.settings["PlotOnFrame"]


def test_trees_are_no_deeper_than_the_library_goes() -> None:
    scene = yf.Scene()
    node = scene.root
    with pytest.raises(yf.Refused, match="1000 levels"):
        for _ in range(10**6):
            node = node.add(yf.Node("deeper"))
    assert len(scene.curves()) == 0 and yf.diff(scene, yf.Scene()) is not None and scene.copy().to_bytes("ytalo")
    assert node.path.count("/") == 998


def test_nodes_that_are_gone_equal_no_later_ones() -> None:
    top, known = yf.Node("Top"), []
    for _ in range(50):
        known.append(top.add(yf.Node("Child")))
        assert known[-1] == top[0] and hash(known[-1]) == hash(top[0])
        top.remove(known[-1])
    assert len(set(known)) == 50
