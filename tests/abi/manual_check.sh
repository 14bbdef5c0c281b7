#!/bin/sh
# SPDX-License-Identifier: MIT
# Holds what `zvprobe --help` tells against a document (manual page or completion): every command
# and option of the tool occurs there, and every option there is one of the tool's.
# usage: manual_check.sh ZVPROBE DOCUMENT
set -eu
tool=$1
# troff escapes its hyphens; fish names options without them: `-l json-lines`.
text=$(sed -e 's/\\f[A-Z]//g; s/\\-/-/g' -e '/^ *set/!s/ -l \([a-z]\)/ --\1/g' "$2")
missing=0

# Names of the subcommands that a help text lists.
commands() {
    awk '/^Subcommands:/ { on = 1; next } /^[^ ]|^$/ { on = 0 } on && /^  [a-z]/ { print $1 }'
}
# Long options that a text names.
options() { grep -oE '(^|[^-[:alnum:]])--[a-z][-a-z]*' | sed 's/^[^-]//' | sort -u; }

all=$("$tool" --help)
names=$(printf '%s\n' "$all" | commands)
for command in $names; do
    help=$("$tool" "$command" --help)
    kinds=$(printf '%s\n' "$help" | commands)
    names="$names $kinds"
    all="$all
$help"
    for kind in $kinds; do
        all="$all
$("$tool" "$command" "$kind" --help)"
    done
done

for name in $names; do
    printf '%s\n' "$text" | grep -qw -- "$name" ||
        { echo "$2 lacks the command $name" >&2; missing=1; }
done
for option in $(printf '%s\n' "$all" | options); do
    printf '%s\n' "$text" | options | grep -qx -- "$option" ||
        { echo "$2 lacks the option $option" >&2; missing=1; }
done
for option in $(printf '%s\n' "$text" | options); do
    printf '%s\n' "$all" | options | grep -qx -- "$option" ||
        { echo "$2 names $option, which zvprobe does not have" >&2; missing=1; }
done
exit "$missing"
