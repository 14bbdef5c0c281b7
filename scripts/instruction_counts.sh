#!/bin/sh
# SPDX-License-Identifier: MIT
# Counts the instructions of fixed inputs with callgrind and compares them with
# bench/instruction_counts.txt: more than 3% growth fails.
# usage: scripts/instruction_counts.sh [--accept] [build directory]
#   --accept  write the new counts into the file instead
set -eu
cd "$(dirname "$0")/.."
accept=no
if [ "${1:-}" = --accept ]; then
    accept=yes
    shift
fi
build=${1:-build-release}
file=bench/instruction_counts.txt

counts=$(mktemp)
trap 'rm -f "$counts"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above
for input in one thirty single survey survey_single flv mp3 tool_flv tool_mp3; do
    count=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null --collect-atstart=no \
        --toggle-collect='*counted*' "$build/bin/zvcount" "$input" 2>&1 |
        sed -n 's/.*Collected : *//p')
    if [ -z "$count" ]; then
        echo "instruction_counts.sh: nothing counted; it takes valgrind and $build/bin/zvcount" >&2
        exit 1
    fi
    echo "$input $count" >>"$counts"
done

if [ "$accept" = yes ]; then
    { echo "# instructions by input; accept new ones with scripts/instruction_counts.sh --accept"
      cat "$counts"; } >"$file"
    cat "$file"
    exit 0
fi
awk 'NR == FNR { if ($1 != "#") old[$1] = $2; next }
     { change = 100 * ($2 / old[$1] - 1)
       printf "%-14s %12d instructions, %+.2f%%\n", $1, $2, change
       if (change > 3) { worse = 1 } }
     END { if (worse) { print "more than 3% growth"; exit 1 } }' "$file" "$counts"
