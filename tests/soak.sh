#!/bin/bash
# Runs the tests with random input again and again, each time from another seed, as many at a time as there
# are processors. Shows how to repeat what fails, and fails if anything did.
#
#   soak.sh BUILD-DIRECTORY SECONDS
#
# The output of what failed stays in BUILD-DIRECTORY/soak.
set -euo pipefail
export LC_ALL=C
build=$1
deadline=$((EPOCHSECONDS + $2))
output=$build/soak

fresh_seed()
{
    od -An -N4 -tu4 /dev/urandom | tr -d ' '
}

# run_once PROGRAM FILTER SEED [OPTION...]
run_once()
{
    local program=$1 filter=$2 seed=$3 log test
    shift 3
    log=$output/${program##*/}-$seed.log
    if YFCURVE_TEST_SEED=$seed timeout 600 "$program" --gtest_filter="$filter" "$@" >"$log" 2>&1; then
        rm "$log"
        return
    fi
    # Every test that started and neither passed nor was skipped: the last one may have ended the program.
    awk '/^\[ RUN      \]/ { started[$4] = 1 }
         /^\[       OK \]/ { delete started[$4] }
         /^\[  SKIPPED \]/ { delete started[$4] }
         END { for (test in started) print test }' "$log" | while read -r test; do
        echo "FAILED: YFCURVE_TEST_SEED=$seed $program --gtest_filter='$test'"
    done
    echo "        see $log"
}

# The tests that ask for a seed say so in their results.
random_tests()
{
    awk -F '"' '$2 == "name" { name = $4 }
                $2 == "classname" { class = $4 }
                { gsub(/\\\//, "/", name); gsub(/\\\//, "/", class) }
                $2 == "seed" { tests = tests ":" class "." name }
                END { print substr(tests, 2) }' "$1"
}

survey()
{
    local results=$output/${1##*/}.json
    run_once "$1" '*' "$(fresh_seed)" --gtest_output="json:$results"
    if [ -e "$results" ]; then random_tests "$results" >"$output/${1##*/}.filter"; fi
}

keep_running()
{
    local program filter
    while [ "$EPOCHSECONDS" -lt "$deadline" ]; do
        for program in "$@"; do
            filter=$(cat "$output/${program##*/}.filter" 2>/dev/null) || continue
            [ -n "$filter" ] && run_once "$program" "$filter" "$(fresh_seed)"
        done
        echo "one round"
    done
}

rm -rf "$output"
mkdir -p "$output"
jobs=$(nproc 2>/dev/null || echo 2)
mapfile -t programs < <(find "$build/tests" -name '*_tests' -type f | sort)
export -f fresh_seed run_once random_tests survey keep_running
export output deadline

# By xargs, because what a script itself starts in the background takes no Ctrl-C.
printf '%s\0' "${programs[@]}" | xargs -0 -P "$jobs" -n 1 bash -c 'survey "$@"' soak | tee "$output/found"
seq "$jobs" | xargs -P "$jobs" -I {} bash -c 'keep_running "$@"' soak "${programs[@]}" |
    tee -a "$output/found" | grep --line-buffered -v '^one round$' || true

rounds=$(grep -c '^one round$' "$output/found" || true)
failures=$(grep -c '^FAILED' "$output/found" || true)
tests=$(cat "$output"/*.filter | tr ':' '\n' | grep -c .)
echo "$tests tests with random input, $((rounds + 1)) rounds, $failures failures"
[ "$failures" -eq 0 ]
