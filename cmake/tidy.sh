#!/bin/sh
# Runs clang-tidy with the checks of .clang-tidy over the libraries, the program and the fuzz targets.
#
#   tidy.sh BUILD-DIRECTORY [REVISION]      with a revision, over the sources alone that changed since then
set -eu
build=$1
since=${2:-}

if [ -n "$since" ]; then
    sources=$(git diff --name-only --diff-filter=d "$since" -- ybaselib yfcurve ymotion program fuzz | grep '\.cpp$' || true)
else
    sources=$(find ybaselib yfcurve ymotion program fuzz -name '*.cpp' | sort)
fi
[ -n "$sources" ] || exit 0
printf '%s\n' "$sources" | xargs -P "$(nproc)" -n 2 clang-tidy -p "$build" --quiet
