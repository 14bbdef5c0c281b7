#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs what is missing, builds, and describes a sample stream (or the files named).
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)

(
    cd "$root"
    scripts/setup.sh
    cmake --preset release >/dev/null
    cmake --build --preset release --target zvprobe
)
if [ $# -eq 0 ]; then
    cd "$root"
    set -- tests/media/single.ts
fi
exec "$root/build-release/bin/zvprobe" "$@"
