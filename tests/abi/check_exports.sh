#!/bin/sh
# SPDX-License-Identifier: MIT
# Fails when a shared library shows other symbols than a list names.
# usage: check_exports.sh LIBRARY LIST
set -eu
shown=$(nm -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort)
listed=$(sort "$2")
[ "$shown" = "$listed" ] && exit 0
echo "symbols of $1 that differ from $2 (< listed, > shown):" >&2
expected=$(mktemp)
printf '%s\n' "$listed" >"$expected"
printf '%s\n' "$shown" | diff "$expected" - >&2 || true
rm -f "$expected"
exit 1
