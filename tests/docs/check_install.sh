#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs a build and makes a host in each way that docs/INSTALL.md shows, by its own lines: of
# zvbitstream, and with that name replaced of zvsurvey.
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

made=0
describes() { # program pattern
    "$1" "$source/tests/media/single.ts" | grep -q "$2"
    made=$((made + 1))
}
make_hosts() { # library example pattern
    mkdir "$work/$1"
    cd "$work/$1"
    cp "$source/examples/$2" host.c
    sed "s/::zvbitstream/::$1/" "$source/examples/installed/CMakeLists.txt" >CMakeLists.txt
    sed -n "/^cc /s/zvbitstream/$1/gp" "$source/docs/INSTALL.md" >lines
    while read -r line; do
        sh -c "$line"
        describes ./host "$3"
    done <lines
    cmake -S . -B own -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
    cmake --build own >/dev/null
    describes own/host "$3"
}
make_hosts zvbitstream host_c.c 'h264\[0x100\]-cc\[0\],aac\[0x101\]-cc\[0\]'
make_hosts zvsurvey survey_c.c '0x101 audio aac'
echo "$made hosts made"
