#!/bin/sh
# Prints the python3 that the Python package is built for: the first one with numpy, pybind11 and Python's own headers,
# of $PYTHON, a virtual environment, those on the PATH and Debian's. The first on the PATH is often one that lacks them.
set -eu

probe='
import os, sys, sysconfig, numpy, pybind11
headers = os.path.join(sysconfig.get_path("include"), "Python.h")
package = os.path.join(pybind11.get_cmake_dir(), "pybind11Config.cmake")
sys.exit(sys.version_info < (3, 9) or not os.path.exists(headers) or not os.path.exists(package))
'

has_all()
{
    "$1" -c "$probe" >/dev/null 2>&1
}

candidates()
{
    [ -z "${PYTHON:-}" ] || printf '%s\n' "$PYTHON"
    [ -z "${VIRTUAL_ENV:-}" ] || printf '%s\n' "$VIRTUAL_ENV/bin/python3"
    printf '%s\n' "$PATH" | tr ':' '\n' | sed 's,$,/python3,'
    printf '/usr/bin/python3\n'
}

tried=
for python in $(candidates); do
    [ -x "$python" ] || command -v "$python" >/dev/null 2>&1 || continue
    if has_all "$python"; then
        command -v "$python"
        exit 0
    fi
    tried="$tried $python"
done
echo "No python3 has numpy, pybind11 and headers (tried:${tried:- none}); install these, or name another in PYTHON." >&2
exit 1
