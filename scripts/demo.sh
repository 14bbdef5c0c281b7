#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs what is missing, builds, and describes a sample stream (or the files named).
set -eu
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release -DZV_BUILD_TESTS=OFF -DZV_BUILD_FUZZERS=OFF -DZV_BUILD_BENCH=OFF >/dev/null
cmake --build --preset release --target zvprobe
[ $# -gt 0 ] || set -- tests/media/single.ts
exec build-release/bin/zvprobe "$@"
