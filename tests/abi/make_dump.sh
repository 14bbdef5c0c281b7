#!/bin/sh
# SPDX-License-Identifier: MIT
# Writes the description of the library's binary interface that later builds are compared with.
# Run it with a RelWithDebInfo build when the interface was changed on purpose.
# usage: make_dump.sh build-release/lib/libzvbitstream.so >tests/abi/zvbitstream.abi
set -eu
source=$(cd "$(dirname "$0")/../.." && pwd)
dump=$(abidw --no-corpus-path --no-comp-dir-path --no-show-locs --drop-private-types \
    --headers-dir "$source/include" "$1")
printf '%s\n' "$dump" | sed "s|path='$source/|path='|"
