#!/bin/sh
# Runs clang-tidy with the checks of .clang-tidy over the libraries, the program and the fuzz targets.
#
#   tidy.sh BUILD-DIRECTORY [REVISION [SECONDS]]
#
# With a revision, over the sources alone that changed since then, what changed last first; with a time, over as many
# of them as can be begun within it.
set -eu
build=$1
since=${2:-}
seconds=${3:-0}

if [ -n "$since" ]; then
    git rev-parse --quiet --verify "$since^{commit}" >/dev/null || { echo "there is no revision $since" >&2; exit 1; }
    sources=$({ git diff --name-only HEAD; git log --name-only --format= "$since"..HEAD; } | awk '!seen[$0]++' |
        grep -E '^(ybaselib|yfcurve|ymotion|program|fuzz)/.*\.cpp$' |
        while read -r source; do [ ! -f "$source" ] || echo "$source"; done)
else
    sources=$(find ybaselib yfcurve ymotion program fuzz -name '*.cpp' | sort)
fi
[ -n "$sources" ] || exit 0

deadline=0
[ "$seconds" -eq 0 ] || deadline=$(($(date +%s) + seconds))
# shellcheck disable=SC2016  # expanded by the inner shell
printf '%s\n' "$sources" | xargs -P "$(nproc)" -n 1 sh -c '
    if [ "$1" -ne 0 ] && [ "$(date +%s)" -ge "$1" ]; then
        echo "$3: not looked at, the time is over"
    else
        clang-tidy -p "$2" --quiet "$3"
    fi' tidy "$deadline" "$build"
