#!/bin/sh
# SPDX-License-Identifier: MIT
# Fails when a shared library needs another library of ours at run time.
# usage: check_needed.sh LIBRARY
set -eu
needed=$(objdump -p "$1" | awk '$1 == "NEEDED" { print $2 }')
[ -n "$needed" ] || { echo "$1 needs nothing at all?" >&2; exit 1; }
for name in $needed; do
    case $name in libzv*) echo "$1 needs $name" >&2; exit 1 ;; esac
done
