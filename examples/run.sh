#!/bin/sh
# Shows what the program makes of a motion-capture file: a report, a table of values, plots, and a clean copy with
# few keys.
#
#   run.sh PROGRAM FILE.bvh OUTPUT-DIRECTORY
set -eu
program=$1
motion=$2
out=$3
made=

# note NAME DESCRIPTION
note()
{
    made="$made$(printf '  %-24s %s' "$out/$1" "$2")
"
}

# produce NAME DESCRIPTION COMMAND [OPTION]...
# Runs a command of the program on the motion file, which writes NAME, and notes what that is.
produce()
{
    name=$1
    description=$2
    command=$3
    shift 3
    "$program" "$command" "$motion" "$@"
    note "$name" "$description"
}

mkdir -p "$out"
produce walk.txt "the report above" info >"$out/walk.txt"
produce walk.json "the same for other programs" info --json >"$out/walk.json"
produce walk.csv "every curve, 30 rows a second" eval --rate 30 -o "$out/walk.csv"
produce walk.svg "where the walk moves most" plot -o "$out/walk.svg"
produce left-leg.svg "hip, knee and ankle" \
    plot --node LeftUpLeg --node LeftLeg --node LeftFoot -o "$out/left-leg.svg"
produce knee.svg "keys and tangents of one curve" \
    plot --node 'LeftLeg/Lcl Rotation/X' --start 0.5 --stop 0.7 -o "$out/knee.svg"
produce walk.ytalo "the same motion as a scene file" convert "$out/walk.ytalo"
produce diff.txt "how the two differ: not at all" diff "$out/walk.ytalo" >"$out/diff.txt"
produce clean.ytalo "smoothed, with few keys" filter "$out/clean.ytalo" --report "$out/clean.html" \
    --apply unroll --apply butterworth:CutOffFreq=7 --apply key-reducer:Precision=0.1 >"$out/clean.txt"
note clean.html "before and after, with the errors"
"$program" plot "$out/clean.ytalo" --node LeftLeg --node LeftFoot -o "$out/clean-leg.svg"
note clean-leg.svg "the keys and tangents that are left"

cat "$out/walk.txt"
printf '\nCleaned up:\n'
cat "$out/clean.txt"
printf '\nMade from %s:\n%s' "$motion" "$made"
