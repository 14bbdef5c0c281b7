#!/bin/sh
# SPDX-License-Identifier: MIT
# Surveys every file below a directory with GNU parallel. Started again after it was interrupted, it
# goes on with what is missing.
# usage: parallel.sh DIRECTORY LINES   (LINES.log tells which calls are done)
set -eu
find "$1" -type f -print0 | sort -z |
    parallel -0 -n 100 --joblog "$2.log" --resume zvprobe --json-lines --jobs 1 >>"$2"
