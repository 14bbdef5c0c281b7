#!/bin/sh
# SPDX-License-Identifier: MIT
# Makes the pictures of the documents from a sample that lacks packets. Needs Chromium.
# usage: scripts/make_pictures.sh [ZVPROBE]   (build-release/bin/zvprobe)
set -eu
cd "$(dirname "$0")/.."
probe=$(realpath "${1:-build-release/bin/zvprobe}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

{
    head -c 94000 tests/media/single.ts
    tail -c +120321 tests/media/single.ts
} >"$work/holed.ts"
(cd "$work" && "$probe" --html page.html holed.ts)
mkdir -p docs/pictures
PYTHONDONTWRITEBYTECODE=1 python3 tests/page/take_picture.py \
    "$work/page.html" docs/pictures/page.png 1000 1300
