# shellcheck shell=bash
# Completes the commands, options and values of vellsim and vellfeed. It asks the program itself, by
# --help, so that it always fits the program that is completed.

# _vell_entries COMMAND...: one line per entry of its help: the kind (command, option or argument), the
# name, what it takes, and the words that this may be, with bars between them.
_vell_entries() {
    "$@" --help 2>/dev/null | awk '
        function print_entry() {
            words = ""
            gsub(/ *\([^)]*\)/, "", text)
            if (match(text, /as for --[a-z-]+/)) {
                words = words_of[substr(text, RSTART + 7, RLENGTH - 7)]
            } else if (argument ~ /^(MODE|SINK|TABLE,\.\.\.|ROLE)$/ &&
                       match(text, /[a-zA-Z:]+(, [a-z]+)+( or [a-z]+)?/)) {
                words = substr(text, RSTART, RLENGTH)
                gsub(/, | or /, " ", words)
                gsub(/[A-Z]/, "", words)
            }
            words_of[name] = words
            if (name != "") printf "%s|%s|%s|%s\n", kind, name, argument, words
            name = ""
        }
        /^[^ ]/ || /^$/ || /^  [^ ]/ { print_entry() }
        /^[^ ].*:$/ { group = $0 }
        /^          / { sub(/^ */, ""); text = text " " $0 }
        /^  [^ ]/ {
            kind = group == "Subcommands:" ? "command" : group == "Positionals:" ? "argument" : "option"
            if (kind == "option" && !/^  (-h,)?--/) next
            if (sub(/-h,/, "")) print "option|-h||"
            sub(/^  /, "")
            head = $0
            sub(/  .*/, "", head)
            text = substr($0, length(head) + 1)
            name = $1
            argument = head ~ / / && $2 !~ /^(REQUIRED|Excludes:)$/ ? $2 : kind == "argument" ? $1 : ""
        }
        END { print_entry() }'
}

# _vell_offer WORD ARGUMENT WORDS: what an argument may be.
_vell_offer() {
    case $2 in
    DIR*)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$1")
        ;;
    *,...)
        local before=${1%"${1##*,}"}
        compopt -o nospace 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -P "$before" -W "$3" -- "${1##*,}")
        ;;
    *)
        [[ $3 != *:* ]] || compopt -o nospace 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -W "$3" -- "$1")
        ;;
    esac
}

_vell_complete() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # Bash cuts --option=value at the equals sign.
    if [[ $word == = ]]; then
        word=""
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    local command=("$1") entries given kind name argument words
    entries=$(_vell_entries "${command[@]}")
    for given in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if grep -qF "command|$given|" <<<"$entries"; then
            command+=("$given")
            entries=$(_vell_entries "${command[@]}")
        fi
    done

    # An option that takes several values goes on to take them.
    local option=$previous i
    for ((i = COMP_CWORD - 1; i > 0; --i)); do
        [[ ${COMP_WORDS[i]} != -* ]] || break
    done
    COMPREPLY=()
    local options=() commands=() positional="" positional_words=""
    while IFS='|' read -r kind name argument words; do
        case $kind in
        option)
            options+=("$name")
            [[ $argument != DIR... || $name != "${COMP_WORDS[i]}" ]] || option=$name
            if [[ $name == "$option" && -n $argument ]]; then
                _vell_offer "$word" "$argument" "$words"
                return
            fi
            ;;
        command) commands+=("$name") ;;
        argument)
            positional=${positional:-$argument}
            positional_words=${positional_words:-$words}
            ;;
        esac
    done <<<"$entries"
    if [[ $word == -* || -z $positional && ${#commands[@]} -eq 0 ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${options[*]}" -- "$word")
    else
        _vell_offer "$word" "$positional" "${commands[*]} $positional_words"
    fi
}

complete -F _vell_complete vellsim vellfeed
