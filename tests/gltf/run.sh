#!/bin/sh
# Reads the glTF files that yfcurve writes with the validator of the format's makers and with three.js.
#
#   run.sh YFCURVE FOLDER
#
# What npm installs stays in the folder. Where npm or its packages cannot be had, nothing is tested, and a line says
# so. The example walk is tested, and the .bvh files of the folder that YFCURVE_RECORDINGS names.
set -eu
program=$(realpath "$1")
source=$(realpath "$(dirname "$0")")
root=$(dirname "$(dirname "$source")")
mkdir -p "$2"
cd "$2"

skip()
{
    echo "glTF files with other programs: skipped, $1"
    exit 0
}

command -v node >/dev/null 2>&1 && command -v npm >/dev/null 2>&1 || skip "there is no npm"
cp "$source/package.json" "$source/package-lock.json" "$source/.npmrc" "$source/written.test.js" .
if ! cmp -s package-lock.json node_modules/installed; then
    npm ci --no-audit --no-fund >npm.log 2>&1 || skip "npm cannot install what it needs ($(pwd)/npm.log)"
    cp package-lock.json node_modules/installed
fi
MOTIONS=$root/examples/walk.bvh
for file in ${YFCURVE_RECORDINGS:+"$YFCURVE_RECORDINGS"/*.bvh}; do
    [ ! -f "$file" ] || MOTIONS=$MOTIONS:$file
done
YFCURVE=$program MOTIONS=$MOTIONS node --test written.test.js
