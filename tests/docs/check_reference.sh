#!/bin/sh
# SPDX-License-Identifier: MIT
# Writes the reference anew: without a warning, and with a full entry for every exported name.
# usage: check_reference.sh DOXYGEN DOXYFILE SYMBOLS [SETTING...]
set -eu
doxygen=$1 doxyfile=$2 symbols=$3
shift 3
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

{ cat "$doxyfile"; printf '%s\n' "OUTPUT_DIRECTORY=$out" "$@"; } | "$doxygen" - >"$out/said" 2>&1 ||
    echo "doxygen failed" >>"$out/said"
# A name gets a title of its own only where its comment was found.
cat "$out"/html/*.html | sed -n 's/.*class="memtitle">.*<\/span>\([A-Za-z_0-9]*\).*/\1/p' \
    >"$out/documented"
while read -r name; do
    grep -qx "$name" "$out/documented" || echo "not documented: $name" >>"$out/said"
done <"$symbols"
cat "$out/said"
[ ! -s "$out/said" ]
