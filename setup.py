"""Builds the compiled part of the Python package with CMake. All else is in pyproject.toml."""

import os
import re
import shlex
import subprocess
import sys
from pathlib import Path
from shutil import which

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).parent.resolve()


def version() -> str:
    """That of the project, which CMakeLists.txt has."""
    found = re.search(r"project\(yfcurve VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())
    assert found is not None
    return found[1]


class CMakeBuild(build_ext):
    """Compiles for the interpreter that runs this, and puts the result where setuptools wants it."""

    def build_extension(self, extension: Extension) -> None:
        target = Path(self.get_ext_fullpath(extension.name)).resolve()
        folder = Path(self.build_temp).resolve()
        generator = ["-G", "Ninja"] if which("ninja") else []
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "Python_EXECUTABLE": sys.executable,
            "YFCURVE_BUILD_PYTHON": "ON",
            "YFCURVE_BUILD_PROGRAM": "OFF",
            "YFCURVE_BUILD_EXAMPLES": "OFF",
            "YFCURVE_BUILD_TESTS": "OFF",
            "YFCURVE_STATIC_FMT": "ON",
        }
        flags = [f"-D{name}={value}" for name, value in options.items()]
        flags += shlex.split(os.environ.get("CMAKE_ARGS", ""))
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(folder), *generator, *flags], check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 1)
        subprocess.run(["cmake", "--build", str(folder), "--parallel", jobs, "--target", "python_core"], check=True)
        target.parent.mkdir(parents=True, exist_ok=True)
        built = folder / "python" / "yfcurve" / target.name
        self.copy_file(str(built), str(target))


setup(version=version(), ext_modules=[Extension("yfcurve._core", [])], cmdclass={"build_ext": CMakeBuild})
