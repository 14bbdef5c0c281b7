#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# How long zvprobe takes for large files beside dd, which only copies them out of the page cache:
# medians of alternating runs. MPEG audio is also given to mp3val, where that is installed. Needs
# about 1.2 GB of temporary files, and dd.
# usage: scripts/bench_tool.sh [ZVPROBE [PAIRS]]
set -euo pipefail
cd "$(dirname "$0")/.."
zvprobe=${1:-build-release/bin/zvprobe}
pairs=${2:-9}
[ -x "$zvprobe" ] || { echo "bench_tool.sh: no $zvprobe; build it first" >&2; exit 2; }

folder=$(mktemp -d "${TMPDIR:-/tmp}/zvbench.XXXXXX")
trap 'rm -rf "$folder"' EXIT
trap 'exit 1' HUP INT TERM

# repeated IN SKIP MEGABYTES: the bytes of a file from SKIP on, again and again.
repeated() {
    tail -c +"$(($2 + 1))" "$1" > "$folder/piece"
    local bytes=$(($3 * 1000000)) piece
    piece=$(wc -c < "$folder/piece")
    while [ "$piece" -lt 4000000 ]; do
        cat "$folder/piece" "$folder/piece" > "$folder/twice"
        mv "$folder/twice" "$folder/piece"
        piece=$((piece * 2))
    done
    for ((written = 0; written < bytes; written += piece)); do cat "$folder/piece"; done
}

repeated tests/media/single.ts 0 600 > "$folder/single.ts"
{ head -c 13 tests/media/h264-aac.flv; repeated tests/media/h264-aac.flv 13 317; } > "$folder/h264-aac.flv"
repeated tests/media/mpeg1-layer3.mp3 0 196 > "$folder/mpeg1-layer3.mp3"

# milliseconds COMMAND...: how long it takes
milliseconds() {
    local begin end
    begin=$(date +%s%N)
    "$@" > "$folder/out" 2> "$folder/err" || { cat "$folder/err" >&2; exit 1; }
    end=$(date +%s%N)
    echo $(((end - begin) / 10000)) | sed 's/..$/.&/; s/^\./0./'
}

median() { sort -n | sed -n "$(((pairs + 1) / 2))p"; }

# other_ms FILE: of another program that reads it; "-" without one
other_ms() {
    case $1 in
    *.mp3) if command -v mp3val > /dev/null; then milliseconds mp3val "$1"; else echo -; fi ;;
    *) echo - ;;
    esac
}

printf '%-18s %8s %8s %8s %10s\n' file 'dd ms' 'tool ms' ratio 'mp3val ms'
for name in single.ts h264-aac.flv mpeg1-layer3.mp3; do
    file=$folder/$name
    milliseconds cat "$file" > /dev/null # into the page cache
    : > "$folder/dd"; : > "$folder/tool"; : > "$folder/ratio"; : > "$folder/other"
    for ((pair = 0; pair < pairs; ++pair)); do
        dd_ms=$(milliseconds dd if="$file" of=/dev/null bs=256k)
        tool_ms=$(milliseconds "$zvprobe" "$file")
        echo "$dd_ms" >> "$folder/dd"
        echo "$tool_ms" >> "$folder/tool"
        other_ms "$file" >> "$folder/other"
        awk -v t="$tool_ms" -v d="$dd_ms" 'BEGIN { printf "%.2f\n", t / d }' >> "$folder/ratio"
    done
    printf '%-18s %8s %8s %8s %10s\n' "$name" "$(median < "$folder/dd")" "$(median < "$folder/tool")" \
        "$(median < "$folder/ratio")" "$(median < "$folder/other")"
done
