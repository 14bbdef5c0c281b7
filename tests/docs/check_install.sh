#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs a build and makes a host in each way that docs/INSTALL.md shows, by its own lines.
# usage: check_install.sh SOURCE_DIR BUILD_DIR
set -eu
source=$(cd "$1" && pwd)
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

cmake --install "$build" --prefix "$work/prefix" >/dev/null
lib=$(dirname "$(find "$work/prefix" -name libzvbitstream.so)")
export PKG_CONFIG_PATH="$lib/pkgconfig" LD_LIBRARY_PATH="$lib"
cp "$source/examples/host_c.c" "$work/host.c"
cp "$source/examples/installed/CMakeLists.txt" "$work"
cd "$work"

made=0
describes() { # program
    "$1" "$source/tests/media/single.ts" | grep -q 'h264\[0x100\]-cc\[0\],aac\[0x101\]-cc\[0\]'
    made=$((made + 1))
}
grep '^cc ' "$source/docs/INSTALL.md" >lines
while read -r line; do
    sh -c "$line"
    describes ./host
done <lines
cmake -S . -B own -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build own >/dev/null
describes own/host
echo "$made hosts made"
