#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs what is missing, builds everything, and runs all tests.
# usage: scripts/test.sh [PRESET [CMAKE_OPTION...]]   (release, debug, asan or tsan)
set -eu
cd "$(dirname "$0")/.."
preset=${1:-release}
[ $# -eq 0 ] || shift

scripts/setup.sh
cmake --preset "$preset" -DZV_BUILD_TESTS=ON -DZV_BUILD_FUZZERS=ON -DZV_WERROR=ON "$@"
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)"
