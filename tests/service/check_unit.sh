#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds the unit of the service against what systemd knows: it says nothing of it, and finds it well
# shut in. Its files of this build stand for the installed ones.
# usage: check_unit.sh UNIT ZVPROBE   (status 77: systemd-analyze is not installed)
set -eu
command -v systemd-analyze >/dev/null || exit 77
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

sed "s|^ExecStart=[^ ]*|ExecStart=$2|" "$1" >"$work/zvprobe-monitor.service"
systemd-analyze verify --man=no "$work/zvprobe-monitor.service" >"$work/said" 2>&1 ||
    { cat "$work/said"; exit 1; }
# Other units of the machine are none of ours.
! grep 'zvprobe-monitor' "$work/said" || exit 1

# 10 is bare, 0 a box without a network.
systemd-analyze security --offline=true --threshold=12 --no-pager "$work/zvprobe-monitor.service" \
    >"$work/said" 2>&1 || { grep '^✗\|Overall\|supported' "$work/said"; exit 1; }
