#!/bin/sh
# SPDX-License-Identifier: MIT
# Fails when a shared library shows other symbols than a list names.
# usage: check_exports.sh LIBRARY LIST   (the list in the order of bytes)
set -eu
export LC_ALL=C
shown=$(nm -D --defined-only "$1" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort)
if ! differences=$(printf '%s\n' "$shown" | diff "$2" -); then
    echo "symbols of $1 that differ from $2 (< listed, > shown):" >&2
    printf '%s\n' "$differences" >&2
    exit 1
fi
