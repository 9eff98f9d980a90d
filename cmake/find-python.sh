#!/bin/sh
# Prints the python3 that the Python package is built for: the first one with numpy and pybind11, of $PYTHON, a virtual
# environment, those on the PATH and Debian's. The first on the PATH is often one that has neither.
set -eu

has_all()
{
    "$1" -c 'import sys, numpy, pybind11; sys.exit(sys.version_info < (3, 9))' >/dev/null 2>&1
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
echo "No python3 has numpy and pybind11 (tried:${tried:- none}); install these, or name an interpreter in PYTHON." >&2
exit 1
