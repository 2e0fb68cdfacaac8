# bash completion for netrondo
_netrondo() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local subcommand='' word options
    local subcommands='analyze frames classify expert circle decode follow convert interfaces capture receive filter'
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            analyze | frames | classify | expert | circle | decode | follow | convert | interfaces | capture | receive | filter)
                subcommand=$word
                break
                ;;
        esac
    done

    case $previous in
        --mode) mapfile -t COMPREPLY < <(compgen -W 'l3IP l2MAC' -- "$current") && return ;;
        --strictness) mapfile -t COMPREPLY < <(compgen -W 'lenient balanced strict' -- "$current") && return ;;
        --min-severity | --fail-on) mapfile -t COMPREPLY < <(compgen -W 'info note warning error' -- "$current") && return ;;
        --layer) mapfile -t COMPREPLY < <(compgen -W 'capture L1 L2 L3 L4 L7' -- "$current") && return ;;
        --view) mapfile -t COMPREPLY < <(compgen -W 'hosts byProtocol' -- "$current") && return ;;
        --color) mapfile -t COMPREPLY < <(compgen -W 'protocol quality' -- "$current") && return ;;
        --theme) mapfile -t COMPREPLY < <(compgen -W 'light dark' -- "$current") && return ;;
        -i | --interface)
            mapfile -t COMPREPLY < <(compgen -W "$(printf '%s ' any /sys/class/net/* | sed 's,/sys/class/net/,,g')" -- "$current") && return
            ;;
        -f | --capture-filter | --ring | --duration | --snaplen) return ;;
        --size | --inset | --from | --count | --interval | --pulls | --limit | --filter) return ;;
        filter) mapfile -t COMPREPLY < <(compgen -W 'check tree complete fields' -- "$current") && return ;;
    esac

    options='--help'
    case $subcommand in
        '') options+=' --version' ;;
        analyze) options+=' --mode --strictness --filter --json' ;;
        classify) options+=' --mode' ;;
        expert) options+=' --json --min-severity --layer --preferences --fail-on' ;;
        circle)
            options+=' --mode --strictness --filter --json --svg --png --pdf --size --bytes --thickness --limit --inset'
            options+=' --names --optimize --view --color --theme'
            ;;
        decode) options+=' --filter --from --count --json' ;;
        follow) options+=' --mode --strictness --json --interval --pulls' ;;
        convert) options+=' --filter' ;;
        interfaces) options+=' --json' ;;
        capture)
            options+=' --interface --capture-filter --write --ring --duration --count --snaplen --no-promiscuous'
            ;;
        receive) options+=' --write --reconnect' ;;
        filter) options+=' --limit' ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi
    compopt -o filenames 2> /dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    if [[ -z $subcommand ]]; then
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$subcommands" -- "$current")
    fi
}
complete -F _netrondo netrondo
