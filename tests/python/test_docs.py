"""Documentation and examples do what they say, and types are complete."""

import doctest
import gzip
import importlib
import inspect
import json
import os
import re
import shutil
import subprocess
import sys
from fractions import Fraction
from pathlib import Path

import numpy as np
import pytest

import yfcurve as yf
from conftest import ROOT, SMALL, WALK

EXAMPLES = ROOT / "examples"


def test_every_snippet_of_the_page_runs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    (tmp_path / "examples").mkdir()
    (tmp_path / "examples" / "walk.bvh").symlink_to(WALK)
    monkeypatch.chdir(tmp_path)
    page = (ROOT / "docs" / "python.md").read_text()
    snippets = re.findall(r"```python\n(.*?)```", page, re.DOTALL)
    assert len(snippets) > 5
    session: dict[str, object] = {}
    told: list[str] = []
    session["print"] = lambda *values: told.append(" ".join(map(str, values)))
    compared = 0
    for snippet in snippets:
        # Where a print stands on a line of its own, the comment behind it is what it prints, with "..." for any text.
        said = [line.partition("#")[2].strip() for line in snippet.splitlines() if line.startswith("print(")]
        told.clear()
        exec(compile(snippet, "docs/python.md", "exec"), session)
        for expected, printed in zip(said, told):
            if "..." in expected:
                compared += 1
                pattern = ".*".join(re.escape(part) for part in re.split(r"\.\.\.", expected))
                assert re.fullmatch(pattern, printed), f"{printed!r} is not {expected!r}"
    assert compared == 5
    session["arms"].names  # type: ignore[attr-defined]


def test_examples_in_docstrings_are_true_and_nothing_public_lacks_one() -> None:
    for name in ("_curve", "_filters", "_node", "_times"):
        module = importlib.import_module(f"yfcurve.{name}")
        assert doctest.testmod(module).failed == 0
    for name in yf.__all__:
        thing = getattr(yf, name)
        if inspect.isclass(thing):
            assert thing.__doc__, name
            for member, value in inspect.getmembers(thing):
                described = inspect.isfunction(value) or isinstance(value, property)
                if described and not member.startswith("_"):
                    assert inspect.getdoc(value), f"{name}.{member}"


def test_types_are_complete(tmp_path: Path) -> None:
    pytest.importorskip("mypy")
    user = tmp_path / "user.py"
    user.write_text(
        "import numpy as np\nimport yfcurve as yf\n\nscene: yf.Scene = yf.load('walk.bvh')\n"
        "value: float = scene['Hips'].rotation.x(0.5)\nrate: float = scene.sample().values[0, 0] * scene.rate\n"
        "error: yf.PropertyError | None = scene.filter('unroll').worst\ncurve: yf.Curve = scene['Hips'].rotation.x\n"
        "curve.keys = [(0.0, 0.0)]\ncurve.before = yf.Extrapolation.REPEAT\nscene.layers['Lean'].weight = 0.5\n"
        "scene.rate = '24000/1001'\nmode: yf.Extrapolation = curve.before.mode\nscene.sample(start='15f', nodes=scene['Hips'])\n"
        "flag: bool = bool(yf.diff(scene, scene, world=len(curve) > 1))\nvalues: float = curve(['15f', '16f']).max()\n"
        "value = curve(np.float64(0.5))\nscene.sample(nodes=(node for node in scene))\n")
    # What it learns of numpy takes it longest, and stays in a folder of a build.
    built = Path(yf.__file__).parents[1]
    cache = built.parent / "mypy" if ROOT in built.parents else tmp_path
    environment = {**os.environ, "MYPYPATH": str(ROOT / "python"), "MYPY_CACHE_DIR": str(cache)}
    mypy = [sys.executable, "-m", "mypy", "--strict", "--config-file", os.devnull]
    done = subprocess.run([*mypy, "-p", "yfcurve", "-m", "user"], capture_output=True, text=True, env=environment,
                          cwd=tmp_path)
    assert done.returncode == 0, done.stdout


def test_a_folder_is_cleaned(tmp_path: Path) -> None:
    source = tmp_path / "in"
    source.mkdir()
    (source / "walk.bvh").symlink_to(WALK)
    (source / "broken.bvh").write_bytes(SMALL[:200])
    Path(os.fsdecode(bytes(source) + b"/\xc4.bvh")).write_bytes(WALK.read_bytes().replace(b"Left", b"\xc4"))
    out = tmp_path / "out"
    done = subprocess.run([sys.executable, EXAMPLES / "clean_folder.py", source, out, "--jobs", "2"],
                          env={**os.environ, "PYTHONIOENCODING": "ascii:strict"}, capture_output=True, text=True)
    assert done.returncode == 1 and done.stderr.startswith("broken.bvh: ") and "walk.bvh: key-reducer" in done.stdout
    assert r"\udcc4.bvh: key-reducer" in done.stdout
    (out / "\udcc4.ytalo").unlink()
    assert os.listdir(out) == ["walk.ytalo"] and yf.load(out / "walk.ytalo").root.key_count() < 6000
    (source / "walk.BVH.gz").write_bytes(gzip.compress(SMALL))
    wrong = ((source, tmp_path / "two", "would both be written"), (tmp_path, out, "no recording"),
             (out, out / ".", "would be replaced"), (WALK, out, "is no folder"))
    for folder, to, message in wrong:
        done = subprocess.run([sys.executable, EXAMPLES / "clean_folder.py", folder, to],
                              capture_output=True, text=True)
        assert done.returncode == 2 and message in done.stderr, done.stderr
    assert os.listdir(out) == ["walk.ytalo"] and not (tmp_path / "two").exists()


def test_the_notebook_runs(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    for module in ("ipykernel", "matplotlib"):
        pytest.importorskip(module)
    notebook = pytest.importorskip("nbformat").read(EXAMPLES / "motion.ipynb", as_version=4)
    monkeypatch.setenv("JUPYTER_PLATFORM_DIRS", "1")
    monkeypatch.setenv("HOME", str(tmp_path))
    client = pytest.importorskip("nbclient").NotebookClient(notebook, resources={"metadata": {"path": EXAMPLES}})
    told = json.dumps(client.execute())
    assert told.count('"image/png"') == 2 and told.count('"image/svg+xml"') == 1 and "21 joints" in told


def test_the_addon_for_blender_makes_bones_and_scenes(walk: yf.Scene, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.syspath_prepend(EXAMPLES)
    module = importlib.import_module("blender_addon")
    ends = module.bone_ends(walk.joints)
    head = WALK.read_bytes().split(b"MOTION")[0]
    rest = yf.load_bytes(head + b"MOTION\nFrames: 1\nFrame Time: 1\n" + b"0 " * 66 + b"\n")
    places = rest.positions()[0] - rest.positions()[0, 0] + np.array(walk.joints[0].offset)
    assert np.allclose([head for head, _ in ends], places, atol=1e-4)
    assert min(np.linalg.norm(np.subtract(*end)) for end in ends) > 1e-3
    assert module.unique_names(["a", "", "a", "a.001", "joint"]) == ["a", "joint", "a.001", "a.001.001", "joint.001"]
    # A chain with a branch, whose first child comes last in the list.
    rows = [[0, 1, 2, 10, 20, 30, 0, 5, 0, 40, 0, 0, 3, 0, 0, 0, 50, 0]]
    scene = module.scene_of_tracks(["root", "left arm", "right"], [-1, 0, 0], [[0, 0, 0]] * 3, "XYZ", rows, 25)
    assert module.moving_joints(walk.joints) == {0} and len(module.moving_joints(scene.joints)) == 3
    assert scene.rate == 25 and np.allclose(scene["left_arm"].rotation(0), [40, 0, 0])
    assert np.allclose(scene["root"].rotation(0), [10, 20, 30]) and scene["root"].rotation.rotation_order == "XYZ"
    assert np.allclose(scene["right"].translation(0), [3, 0, 0])
    # Blender has the divisor in single precision.
    for rate in (Fraction(24000, 1001), Fraction(30000, 1001), Fraction(25, 2), Fraction(3, 10), Fraction(240)):
        frames, base = module.frames_of(float(rate))
        one = module.scene_of_tracks(["root"], [-1], [[0, 0, 0]], "XYZ", [[0] * 6], frames / float(np.float32(base)))
        assert one.exact_rate == rate


@pytest.mark.skipif(shutil.which("blender") is None, reason="there is no Blender")
def test_blender_imports_and_exports(tmp_path: Path) -> None:
    script = tmp_path / "script.py"
    script.write_text(f"""
import sys
sys.path[:0] = {[str(EXAMPLES), *sys.path]!r}
import bpy, blender_addon
blender_addon.register()
bpy.ops.import_anim.yfcurve(filepath={str(WALK)!r}, scale=0.01)
bpy.context.scene.frame_end = 257
bpy.ops.export_anim.yfcurve(filepath={str(tmp_path / "out.bvh")!r}, scale=100.0)
""")
    done = subprocess.run(["blender", "--background", "--python-exit-code", "1", "--python", script])
    assert done.returncode == 0 and len(yf.load(tmp_path / "out.bvh")) == 21
