#!/bin/sh
# SPDX-License-Identifier: MIT
# Runs the example hosts of the survey on every sample and on a damaged one: those in C, C++ and, where
# it is installed, Python tell the same, and each kind of damage is told.
# usage: survey_hosts_test.sh BIN_DIR LIBRARY SURVEY_PY [PYTHON]
set -eu
bin=$1
export ZVSURVEY_LIBRARY="$2"
script=$3
python=${4:-}
media=$(cd "$(dirname "$0")/../media" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

fail() { echo "survey_hosts_test: $*" >&2; exit 1; }

agree() { # host command...
    host=$1
    shift
    "$@" "$sample" >"$work/other" || fail "$sample: $host fails"
    diff "$work/c" "$work/other" >&2 || fail "${sample##*/}: $host tells otherwise"
}

# Packets 500 and 501 lost in noise, and a byte of the second PAT changed.
damaged=$work/damaged.ts
{ head -c 94000 "$media/single.ts"; printf noise; tail -c +94377 "$media/single.ts"; } >"$damaged"
printf x | dd of="$damaged" bs=1 seek=6212 conv=notrunc status=none

for sample in "$media"/*.ts "$media"/*.m2ts "$damaged"; do
    "$bin/survey_c" "$sample" >"$work/c"
    grep -q '^program ' "$work/c" || fail "$sample: no programme"
    agree C++ "$bin/survey_cpp"
    [ -z "$python" ] || agree python3 "$python" "$script"
done
for line in 'wrong CRC at byte' 'sync lost at byte 94000 for 5 bytes' 'PID 0x100: continuity errors 1, lost 2,' \
    'TS_sync_loss' 'CRC_error' 'Continuity_count_error'; do
    grep -q "$line" "$work/c" || fail "damaged.ts: nothing says '$line'"
done
