#!/bin/sh
# SPDX-License-Identifier: MIT
# Completes command lines in each shell that is installed and compares what it offers.
# usage: completions_test.sh DIRECTORY   (of the completions)
# shellcheck disable=SC2317 # in_bash, in_fish and in_zsh are called as in_$shell
set -eu
completions=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM # on these dash would not run the line above
export HOME="$work" completions
mkdir "$work/files"
cd "$work/files"
touch sample.ts other.flv

# The line so far => what may come next.
cat >"$work/expected" <<'CASES'
zvprobe mon => monitor
zvprobe sample.ts o => other.flv
zvprobe sample.ts --st => --stats --strict
zvprobe --pace=p => pcr pts
zvprobe --ind => --indicators
zvprobe --limits sam => sample.ts
zvprobe --files-from oth => other.flv
zvprobe --js => --json --json-lines
zvprobe --html oth => other.flv
zvprobe monitor --li => --limit --limits --listen
zvprobe -q extract sam => sample.ts
zvprobe pace --by p => pcr pts
zvprobe rtp --re => --reorder-ms --reorder-packets
zvprobe --log probe mon => monitor
zvprobe --log=build -q build --log pat pm => pmt
zvprobe build p => pat pmt
zvprobe build pmt --p => --pcr --pmt --program
zvprobe build pmt o => other.flv
CASES
sed 's/ => .*//' "$work/expected" >"$work/lines"

# "--pace=p" comes as three words.
in_bash() { # line
    # shellcheck disable=SC2016
    echo "$1" | sed 's/=/ = /' | bash --norc -c '. "$completions/zvprobe.bash"
        read -ra COMP_WORDS && COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
        _zvprobe; printf "%s\n" "${COMPREPLY[@]}"'
}

in_fish() { # line
    # shellcheck disable=SC2016
    LINE=$1 fish --no-config -c 'source $completions/zvprobe.fish; complete -C $LINE' | cut -f 1
}

# On a terminal; a key puts everything that is offered into the line, another one tells the line.
in_zsh() { # line
    # shellcheck disable=SC2016
    LINE=$1 zsh -f -c 'zmodload zsh/zpty
        zpty -b shell zsh -f -i
        zpty -w shell "PROMPT= fpath=(${(q)completions} \$fpath)
            autoload -Uz compinit; compinit -D -u
            zle -C offers complete-word _generic; bindkey ^T offers
            zstyle :completion:offers:\* completer _all_matches _complete
            zstyle :completion:\* insert yes
            tell() { print -r -- \"<\$BUFFER>\"; }; zle -N tell; bindkey ^G tell; print REA\"\"DY"
        zpty -r shell said "*READY*"
        zpty -w -n shell "$LINE"$'"'\\C-t\\C-g'"'
        zpty -r shell said "*<*>*"
        before="<${LINE% *} "
        print -rl -- ${=${${said##*"$before"}%%>*}}'
}

status=0
for shell in bash zsh fish; do
    command -v $shell >/dev/null || continue
    if [ $shell = zsh ] && ! zsh -f -c 'zmodload zsh/zpty && zpty terminal true' 2>/dev/null; then
        echo "not tried: zsh, for want of a terminal"
        continue
    fi
    while IFS= read -r line; do
        offers=$("in_$shell" "$line" </dev/null | sed 's/^--[a-z]*=//' | sort -u | xargs)
        echo "$line => $offers"
    done <"$work/lines" >"$work/$shell"
    diff -u --label expected --label "offered by $shell" "$work/expected" "$work/$shell" || status=1
    echo "tried: $shell"
done
exit $status
