#!/bin/sh
# Builds a wheel of the Python package, installs it in a virtual environment, moves the folder that it is in, and works
# with it from there, where nothing of the repository or of its build is in reach.
#
#   wheel.sh [WHEEL]      a wheel that is there already is taken instead
set -eu

root=$(cd "$(dirname "$0")/../.." && pwd)
python=$("$root/cmake/find-python.sh")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

wheel=${1:-}
if [ -z "$wheel" ]; then
    "$python" -m pip wheel --quiet --no-deps --no-build-isolation --no-index --wheel-dir "$scratch" "$root"
    wheel=$(ls "$scratch"/yfcurve-*.whl)
fi

"$python" -m venv --system-site-packages "$scratch/environment"
"$scratch/environment/bin/python" -m pip install --quiet --no-deps --no-index "$wheel"
installed=$("$scratch/environment/bin/python" -c 'import yfcurve, os; print(os.path.dirname(yfcurve.__file__))')
case $installed in "$scratch"/*) ;; *) echo "it was not installed: $installed" >&2; exit 1 ;; esac
mkdir "$scratch/moved"
mv "$installed" "$scratch/moved/"

cp "$root/examples/walk.bvh" "$scratch/"
cd "$scratch"
if ldd moved/yfcurve/_core*.so | grep -E 'not found|yfcurve|ybaselib|ymotion|libfmt'; then
    echo "the wheel needs libraries that other machines do not have" >&2
    exit 1
fi
PYTHONPATH=$scratch/moved environment/bin/python - <<'END'
import yfcurve as yf
scene = yf.load("walk.bvh")
assert scene.filter("key-reducer", precision=0.1).keys_after < 10000
scene.save("out.ytalo")
assert not yf.diff(scene, yf.load("out.ytalo")) and len(yf.filters()) > 15 and scene.positions().shape[2] == 3
print("yfcurve", yf.__version__, "works from", yf.__file__)
END
