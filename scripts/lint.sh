#!/bin/sh
# SPDX-License-Identifier: MIT
# Checks the layout of C, C++ and the page's JavaScript with clang-format, which changes nothing, and
# the code of the libraries, the tool and the examples with clang-tidy.
# usage: scripts/lint.sh
set -eu
cd "$(dirname "$0")/.."
for tool in clang-format run-clang-tidy; do
    if ! command -v "$tool" >/dev/null; then
        echo "lint.sh: $tool is not installed; scripts/setup.sh checks installs it" >&2
        exit 1
    fi
done

git ls-files -z '*.c' '*.cpp' '*.h' 'tools/*.js' | xargs -0 clang-format --dry-run -Werror

# A build folder of its own: what tests and fuzzers compile a second time would be checked twice.
cmake --preset release -B build-lint -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DZV_BUILD_TESTS=OFF -DZV_BUILD_FUZZERS=OFF -DZV_BUILD_BENCH=OFF
log=build-lint/clang-tidy.log

# tidy FILES [option...]: clang-tidy over the files whose paths match
tidy() {
    files=$1
    shift
    run-clang-tidy -quiet -j "$(nproc)" -p build-lint "$@" "$PWD/$files" >"$log" 2>&1 && return
    grep -E -A 3 '(error|warning):' "$log" || tail -n 20 "$log"
    echo "lint.sh: clang-tidy objects; all of it is in $log" >&2
    exit 1
}
tidy '(src|platform|examples)/'
# On files that include the JSON library the analyzer takes three times as long as all the rest.
tidy 'tools/' -checks='-clang-analyzer-*'
echo "layout and code are as .clang-format and .clang-tidy ask"
