#!/bin/sh
# Prints the python3 that the Python package is built for: $PYTHON where that is given, else the first one with numpy,
# pybind11 and Python's own headers of a virtual environment, those on the PATH and Debian's. The first on the PATH is
# often one that lacks them. One that can also run the tests of the package, with pytest and hypothesis, is preferred.
set -eu

probe='
import os, sys, sysconfig, numpy, pybind11
headers = os.path.join(sysconfig.get_path("include"), "Python.h")
package = os.path.join(pybind11.get_cmake_dir(), "pybind11Config.cmake")
sys.exit(sys.version_info < (3, 9) or not os.path.exists(headers) or not os.path.exists(package))
'

has_all()
{
    "$1" -c "$2$probe" >/dev/null 2>&1
}

candidates()
{
    [ -z "${VIRTUAL_ENV:-}" ] || printf '%s\n' "$VIRTUAL_ENV/bin/python3"
    printf '%s\n' "$PATH" | tr ':' '\n' | sed 's,$,/python3,'
    printf '/usr/bin/python3\n'
}

if [ -n "${PYTHON:-}" ]; then
    if has_all "$PYTHON" ''; then
        command -v "$PYTHON"
        exit 0
    fi
    echo "$PYTHON, which PYTHON names, is no python3 of 3.9 or newer with numpy, pybind11 and headers; install these" \
        "for it, or name another." >&2
    exit 1
fi
for more in 'import pytest, hypothesis' ''; do
    found=$(candidates | while IFS= read -r python; do
        [ -x "$python" ] && has_all "$python" "$more" && printf '%s\n' "$python" && break
    done) || true
    if [ -n "$found" ]; then
        printf '%s\n' "$found"
        exit 0
    fi
done
tried=$(candidates | while IFS= read -r python; do [ ! -x "$python" ] || printf ' %s' "$python"; done)
echo "No python3 has numpy, pybind11 and headers (tried:${tried:- none}); install these, or name another in PYTHON." >&2
exit 1
