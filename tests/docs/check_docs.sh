#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds documents against what they speak of: code is an excerpt of a tested file, a console session
# runs and answers as shown, and what instructions, links and names refer to exists.
# usage: check_docs.sh [--accept] SOURCE_DIR BIN_DIR [DOCUMENT...]   (all of the source tree)
#   --accept  write the answers of today into the console sessions
set -eu
accept=no
if [ "$1" = --accept ]; then
    accept=yes
    shift
fi
source=$(cd "$1" && pwd)
bin=$(cd "$2" && pwd)
shift 2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above

# Sessions run in a place that looks like a source tree with a release build, and may write there.
tree=$work/tree
mkdir -p "$tree/build-release"
for entry in "$source"/*; do
    case ${entry##*/} in build*) ;; *) ln -s "$entry" "$tree" ;; esac
done
ln -s "$bin" "$tree/build-release/bin"
export PATH="$bin:$PATH" NO_COLOR=1

fault() { echo "$document: $*" | tee -a "$work/faults"; }

# session FILE: runs the lines after "$ " -> the session as it goes today
session() {
    sed -n 's/^\$ //p' "$1" | while IFS= read -r command; do
        printf '$ %s\n' "$command"
        (cd "$tree" && sh -c "$command" 2>&1 </dev/null | tr -d '\r') || true
    done
}

check_console() {
    # Not needed by anything else, so it may be missing.
    if grep -q '| jq' "$1" && ! command -v jq >/dev/null; then return; fi
    session "$1" >"$work/today"
    if [ "$accept" = yes ]; then
        cp "$work/today" "$1"
    else
        diff -u --label shown --label today "$1" "$work/today" >"$work/diff" ||
            fault "line $line: $(cat "$work/diff")"
    fi
}

# Settings of other programs are checked by these, where they are installed.
check_setting() {
    case $1 in
    *.caddy) set -- caddy adapt --adapter caddyfile --config "$1" ;;
    *.nginx)
        # A test has no certificates, no port that is not for everyone, no place for nginx's own files.
        { echo 'events {} http { access_log off;'
          for what in client_body proxy fastcgi uwsgi scgi; do
              echo "${what}_temp_path $work/$what;"
          done
          sed '/ssl_certificate/d; s/listen .*;/listen 127.0.0.1:44443;/' "$1"
          echo '}'; } >"$work/nginx.conf"
        set -- nginx -t -q -e stderr -c "$work/nginx.conf" -g "pid $work/nginx.pid;" ;;
    *) if grep -q '^groups:' "$1"; then set -- rules "$1"; else set -- config "$1"; fi
       set -- promtool check "$@" ;;
    esac
    command -v "$1" >/dev/null || return 0
    "$@" >"$work/said" 2>&1 || fault "line $line: $(cat "$work/said")"
}

# Files, presets, targets and options that instructions name.
check_instructions() {
    tr '=>' '  ' <"$1" | awk '{
        for (i = 1; i <= NF; ++i) {
            if ($i ~ /^(\.ci|bench|fuzz|scripts|tests|tools)\//) print "path", $i
            if ($i ~ /^--(preset|target)$/) print substr($i, 3), $(i + 1)
            if ($i ~ /^-DZV_/) print "option", substr($i, 3)
        }
    }' | while read -r what name; do
        case $what in
        path) [ -e "$source/$name" ] ;;
        preset) grep -q "\"name\": \"$name\"" "$source/CMakePresets.json" ;;
        target) grep -rqE --include=CMakeLists.txt \
            "add_(custom_target|executable|library)\($name( |\)|\$)" "$source" ;;
        option) grep -rqE "(option|set)\($name " "$source/CMakeLists.txt" "$source/cmake" \
            "$source/platform" "$source/tools" ;;
        esac || fault "line $line: no $what $name"
    done
}

check_snippet() {
    case $1 in
    *.c | *.cpp | *.cmake | *.python)
        find "$source/examples" -type f -exec awk -f "$here/excerpt.awk" "$1" {} + ||
            fault "line $line: this code stands in no example" ;;
    *.console) check_console "$1" ;;
    *.sh) check_instructions "$1" ;;
    *.yaml | *.nginx | *.caddy) check_setting "$1" ;;
    *) fault "line $line: cannot check this kind of snippet" ;;
    esac
}

check_reference() { # what name
    case $1 in
    link) [ -e "$(dirname "$document")/$2" ] ;;
    path) [ -e "$source/$2" ] ;;
    name) grep -rqw -- "$2" "$source/include" "$source/platform/include" "$source/src" ;;
    esac || fault "no $1 $2"
}

# With the sessions of today in place of the ones shown.
rewrite() {
    awk -v out="$work/snippets" '
        /^```console$/ {
            print
            file = sprintf("%s/%05d.console", out, FNR)
            while ((getline line < file) > 0) print line
            skip = 1
            next
        }
        /^```/ { skip = 0 }
        !skip' "$document" >"$work/rewritten"
    cmp -s "$work/rewritten" "$document" || cat "$work/rewritten" >"$document"
}

if [ $# -eq 0 ]; then
    find "$source" -name 'build*' -prune -o -name .git -prune -o -name '*.md' -print
else
    printf '%s\n' "$@"
fi >"$work/documents"
: >"$work/faults"
while IFS= read -r document <&3; do
    rm -rf "$work/snippets"
    mkdir "$work/snippets"
    awk -v out="$work/snippets" -f "$here/snippets.awk" "$document" >"$work/references"
    for snippet in "$work"/snippets/*; do
        [ -e "$snippet" ] || continue
        line=$(basename "$snippet" | sed 's/^0*//; s/\..*//')
        check_snippet "$snippet"
    done
    while read -r what name; do check_reference "$what" "$name"; done <"$work/references"
    [ "$accept" = no ] || rewrite
done 3<"$work/documents"
[ ! -s "$work/faults" ]
