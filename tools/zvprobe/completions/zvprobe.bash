# SPDX-License-Identifier: MIT
# Completion of zvprobe for bash: options by command, files everywhere else.

_zvprobe_command() {
    local word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            probe | monitor | extract | rtp | pace | remap | flv-meta | build)
                echo "$word"
                return
                ;;
        esac
    done
}

_zvprobe_kind() {
    local word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            pat | pmt | sdt | null)
                echo "$word"
                return
                ;;
        esac
    done
}

_zvprobe() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local common="--help --version --verbose --quiet --log"
    local probe="--json --stats --strict --pace" options="" words="" files=yes
    COMPREPLY=()

    # "--by=p" comes as three words.
    if [[ $current == "=" ]]; then
        current="" previous+="="
    elif [[ $previous == "=" ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}=
    fi
    case $previous in
        --log | --log=)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            compopt -o filenames 2>/dev/null
            return
            ;;
        --by | --by= | --pace=) mapfile -t COMPREPLY < <(compgen -W "pcr pts" -- "$current"); return ;;
        --to | --to=) mapfile -t COMPREPLY < <(compgen -W "udp:// tcp://" -- "$current"); return ;;
        --interval | --program | --pmt | --pcr | --es | --from | --stream | --service | --provider \
            | --name | --count | *=) return ;;
    esac

    case $(_zvprobe_command) in
        "")
            options=$probe
            words="probe monitor extract rtp pace remap flv-meta build"
            ;;
        probe) options=$probe ;;
        monitor) options="--interval --json-lines --stats" ;;
        pace) options="--to --by" ;;
        remap) options="--program --pmt --pcr --es --from" ;;
        build)
            case $(_zvprobe_kind) in
                "") words="pat pmt sdt null" files=no ;;
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
