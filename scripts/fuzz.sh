#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds the fuzz targets with libFuzzer and both sanitizers and runs each from its corpus, two at
# a time. New inputs go to a scratch folder; inputs that fail stay in build-fuzz/findings.
# With a seed, the same inputs come in the same order each time.
# usage: scripts/fuzz.sh SECONDS [SEED]
set -eu
cd "$(dirname "$0")/.."
case ${1:-none}${2:-0} in
*[!0-9]*)
    echo "usage: scripts/fuzz.sh SECONDS [SEED]" >&2
    exit 2
    ;;
esac
if ! command -v clang++ >/dev/null; then
    echo "fuzz.sh: clang++ is not installed; the fuzz targets need it" >&2
    exit 1
fi

cmake --preset fuzz -DZV_BUILD_FUZZERS=ON
cmake --build --preset fuzz --target fuzzers
SECONDS_EACH=$1
SEED=${2:-0} # 0: another one each time
FINDINGS=$PWD/build-fuzz/findings
SCRATCH=$(mktemp -d)
export SECONDS_EACH SEED FINDINGS SCRATCH
trap 'rm -rf "$SCRATCH"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above
mkdir -p "$FINDINGS"

# shellcheck disable=SC2016
basename -a fuzz/corpus/* | xargs -P 2 -I TARGET sh -c '
    mkdir -p "$SCRATCH/TARGET"
    if build-fuzz/bin/fuzz_TARGET -seed="$SEED" -max_total_time="$SECONDS_EACH" -print_final_stats=1 \
        -artifact_prefix="$FINDINGS/TARGET-" "$SCRATCH/TARGET" "fuzz/corpus/TARGET" \
        >"$SCRATCH/TARGET.log" 2>&1; then
        echo "TARGET: $(sed -n "s/^stat::number_of_executed_units: *//p" "$SCRATCH/TARGET.log") executions," \
            "$(sed -n "s/.*DONE *cov: \([0-9]*\).*/\1/p" "$SCRATCH/TARGET.log") edges"
    else
        echo "TARGET: FAILED"
        tail -n 60 "$SCRATCH/TARGET.log"
        exit 1
    fi'
