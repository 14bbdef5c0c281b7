# SPDX-License-Identifier: MIT
# Completion of zvprobe for bash: options by command, files everywhere else.

# Prints the first word of the line that is one of the arguments and not the value of --log.
_zvprobe_first_of() {
    local word previous=""
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word != "=" ]] || continue # "--log=p" comes as three words
        if [[ $previous != --log && " $* " == *" $word "* ]]; then
            echo "$word"
            return
        fi
        previous=$word
    done
}

_zvprobe() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local common="--help --version --verbose --quiet --log"
    local limits="--limits --limit"
    local probe="--json --history --html --resolver --stats --strict --pace --jobs --indicators --json-lines --files-from --null $limits" options="" words="" files=yes
    local commands="probe monitor extract rtp pace remap flv-meta mp3-fix build" kinds="pat pmt sdt null"
    COMPREPLY=()

    # "--by=p" comes as three words.
    if [[ $current == "=" ]]; then
        current="" previous+="="
    elif [[ $previous == "=" ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}=
    fi
    case $previous in
        --log | --log= | --limits | --limits= | --html | --html= | --config | --config= | --files-from | --files-from=)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            compopt -o filenames 2>/dev/null
            return
            ;;
        --by | --by= | --pace=)
            mapfile -t COMPREPLY < <(compgen -W "pcr pts" -- "$current")
            return
            ;;
        --to | --to=)
            mapfile -t COMPREPLY < <(compgen -W "udp:// rtp:// tcp://" -- "$current")
            return
            ;;
        --indicators | --jobs | --listen | --allow-host | --limit | --interval | --pid | --program | --pmt | --pcr | --es | --from | --stream | --service | --provider \
            | --name | --count | --reorder-packets | --reorder-ms | *=) return ;;
    esac

    # The lists are meant to be split.
    # shellcheck disable=SC2086
    case $(_zvprobe_first_of $commands) in
        "") options=$probe words=$commands ;;
        probe) options=$probe ;;
        monitor) options="--allow-host --config --interval --json-lines --history --listen --plain --resolver --stats $limits" ;;
        extract) options="--pid --program --sections" ;;
        rtp) options="--reorder-packets --reorder-ms" ;;
        pace) options="--to --by --loop" ;;
        remap) options="--from --program --map --pmt --pcr --es --drop --drop-nulls" ;;
        flv-meta) options="--update --rebase" ;;
        build)
            case $(_zvprobe_first_of $kinds) in
                "") words=$kinds files=no ;;
                pat) options="--program" ;;
                pmt) options="--program --pmt --pcr --stream" ;;
                sdt) options="--service --provider --name" ;;
                null) options="--count" ;;
            esac
            ;;
    esac

    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options $common" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current"
            [[ $files == no ]] || compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
    fi
}

complete -F _zvprobe zvprobe
