#!/bin/sh
# SPDX-License-Identifier: MIT
# Makes the picture of `zvprobe monitor` on a terminal: a sample with a hole in it, as tmux shows it,
# drawn by a browser.
# usage: scripts/picture_monitor.sh [OUT.png]   (docs/pictures/monitor.png)
#   BIN      where zvprobe is (build-release/bin)
#   BROWSER  chromium
#   PORT     of the loopback interface, for the stream (5004)
set -eu
cd "$(dirname "$0")/.."
out=${1:-docs/pictures/monitor.png}
bin=$(cd "${BIN:-build-release/bin}" && pwd)
columns=100
lines=31
for tool in tmux python3 "${BROWSER:=chromium}"; do
    command -v "$tool" >/dev/null || { echo "picture_monitor.sh: $tool is not installed" >&2; exit 1; }
done
work=$(mktemp -d)
terminal() { tmux -u -S "$work/socket" -f /dev/null "$@"; }
trap 'terminal kill-server 2>/dev/null; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

sample=tests/media/eight-streams.ts
{ head -c 94000 "$sample"; tail -c +94377 "$sample"; } >"$work/holed.ts"
url=udp://127.0.0.1:${PORT:-5004}
terminal new-session -d -x "$columns" -y "$lines" "cd '$work'
    '$bin/zvprobe' pace --loop --to $url holed.ts &
    TERM=xterm-256color LC_ALL=C.UTF-8 '$bin/zvprobe' monitor $url"
sleep 7
terminal send-keys s
sleep 1
terminal capture-pane -e -p >"$work/screen"

python3 - "$work/screen" "$lines" >"$work/screen.html" <<'PYTHON'
import html, re, sys
looks = {"1": "font-weight:bold", "2": "opacity:.6", "31": "color:#ff7b72", "32": "color:#7ee787",
         "36": "color:#79c0ff"}
print("""<!DOCTYPE html><meta charset="utf-8"><style>
body { margin: 0; background: #0d1117; color: #e6edf3 }
pre { margin: 12px 14px; font: 15px/19px "DejaVu Sans Mono", monospace }</style><pre>""", end="")
active = {}
for piece in re.split(r"(\x1b\[[0-9;]*m)", open(sys.argv[1], encoding="utf-8").read()):
    code = re.fullmatch(r"\x1b\[([0-9;]*)m", piece)
    if not code:
        style = ";".join(looks[c] for c in active if c in looks)
        print(f'<span style="{style}">{html.escape(piece)}</span>', end="")
        continue
    for number in code[1].split(";"):
        if number in ("", "0"):
            active = {}
        elif number == "39":
            active = {c: 1 for c in active if not c.startswith("3")}
        else:
            active[number] = 1
print("</pre>")
PYTHON

# Chromium refuses its sandbox to root.
sandbox=""
[ "$(id -u)" -ne 0 ] || sandbox="--no-sandbox"
mkdir -p "$(dirname "$out")"
"$BROWSER" --headless=new $sandbox --hide-scrollbars --disable-gpu --user-data-dir="$work/profile" \
    --window-size=$((columns * 9 + 31)),$((lines * 19 + 24)) --screenshot="$work/screen.png" \
    "file://$work/screen.html" >"$work/browser.log" 2>&1 || { cat "$work/browser.log" >&2; exit 1; }
mv "$work/screen.png" "$out"
