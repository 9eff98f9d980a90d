"""Documentation and examples do what they say, and types are complete."""

import doctest
import importlib
import inspect
import os
import re
import subprocess
import sys
from pathlib import Path

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
    for snippet in snippets:
        exec(compile(snippet, "docs/python.md", "exec"), session)
    session["arms"].names  # type: ignore[attr-defined]


def test_examples_in_docstrings_are_true_and_nothing_public_lacks_one() -> None:
    for name in ("_curve", "_filters", "_node", "_times"):
        module = importlib.import_module(f"yfcurve.{name}")
        assert doctest.testmod(module).failed == 0
    for name in yf.__all__:
        thing = getattr(yf, name)
        if inspect.isclass(thing):
            assert thing.__doc__, name
            for member, value in vars(thing).items():
                described = inspect.isfunction(value) or isinstance(value, property)
                if described and not member.startswith("_"):
                    assert inspect.getdoc(value), f"{name}.{member}"


def test_types_are_complete(tmp_path: Path) -> None:
    pytest.importorskip("mypy")
    user = tmp_path / "user.py"
    user.write_text(
        "import numpy as np\nimport yfcurve as yf\n\nscene: yf.Scene = yf.load('walk.bvh')\n"
        "value: float = scene['Hips'].rotation.x(0.5)\nrate: float = scene.sample().values[0, 0] * scene.rate\n"
        "error: yf.PropertyError | None = scene.filter('unroll').worst\n")
    environment = {**os.environ, "MYPYPATH": str(ROOT / "python"), "MYPY_CACHE_DIR": str(tmp_path)}
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", "-p", "yfcurve", "--config-file", os.devnull],
                          capture_output=True, text=True, env=environment, cwd=tmp_path)
    assert done.returncode == 0, done.stdout
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", str(user), "--config-file", os.devnull],
                          capture_output=True, text=True, env=environment, cwd=tmp_path)
    assert done.returncode == 0, done.stdout


def test_a_folder_is_cleaned(tmp_path: Path) -> None:
    source = tmp_path / "in"
    source.mkdir()
    (source / "walk.bvh").symlink_to(WALK)
    (source / "broken.bvh").write_bytes(SMALL[:200])
    out = tmp_path / "out"
    done = subprocess.run([sys.executable, EXAMPLES / "clean_folder.py", source, out, "--jobs", "2"],
                          capture_output=True, text=True)
    assert done.returncode == 1 and done.stderr.startswith("broken.bvh: ") and "walk.bvh: key-reducer" in done.stdout
    assert os.listdir(out) == ["walk.ytalo"] and yf.load(out / "walk.ytalo").root.key_count() < 6000


def test_the_notebook_runs(tmp_path: Path) -> None:
    for module in ("nbconvert", "ipykernel", "matplotlib"):
        pytest.importorskip(module)
    target = tmp_path / "motion.ipynb"
    done = subprocess.run(
        [sys.executable, "-m", "nbconvert", "--to", "notebook", "--execute", "--output", target,
         EXAMPLES / "motion.ipynb"],
        capture_output=True, text=True, env={**os.environ, "JUPYTER_PLATFORM_DIRS": "1", "HOME": str(tmp_path)})
    assert done.returncode == 0, done.stderr
    told = target.read_text()
    assert told.count('"image/png"') == 2 and told.count('"image/svg+xml"') == 1 and "21 joints" in told
