#!/bin/sh
# Runs every fuzz target for a while, first of all on the corpus.
#
#   run.sh BUILD-DIRECTORY SECONDS
#
# What is found on the way stays below the build directory: inputs that reach new code in corpus/TARGET, an
# input that fails in failures/, to be given to the target as its argument.
set -eu
build=$1
seconds=$2
source=$(dirname "$0")

for file in "$source"/fuzz_*.cpp; do
    target=$(basename "${file#*/fuzz_}" .cpp)
    mkdir -p "$build/corpus/$target" "$build/failures"
    echo "fuzz_$target: $seconds s"
    log=$build/fuzz_$target.log
    "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=16384 -rss_limit_mb=1024 -timeout=20 \
        -dict="$source/$target.dict" -artifact_prefix="$build/failures/" -print_final_stats=1 \
        "$build/corpus/$target" "$source/corpus/$target" >"$log" 2>&1 || { tail -50 "$log"; exit 1; }
    grep -E '^(Done|stat::number_of_executed_units)' "$log"
done
