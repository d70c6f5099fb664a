# shellcheck shell=bash
# Completes ./dev with what "./dev help" says, for the tree whose ./dev is on the command line.

# _vell_dev_words NAME FOLDER: the words that an argument of "./dev help" stands for.
_vell_dev_words() {
    case $1 in
    preset) (cd "$2" && cmake --list-presets 2>/dev/null | sed -n 's/^  "\([^"]*\)".*/\1/p') ;;
    target) (cd "$2/fuzz/corpus" 2>/dev/null && printf '%s\n' *) ;;
    *) grep -oE -e '--[a-z-]+' <<<"$1" ;;
    esac
}

_vell_dev_complete() {
    local dev=$1 word=${COMP_WORDS[COMP_CWORD]} help arguments name words=""
    [[ $dev == */* ]] || dev=$(command -v "$dev")
    help=$("$dev" help 2>/dev/null | sed -n 's,^  \./dev ,,p')
    COMPREPLY=()
    if [[ $COMP_CWORD -eq 1 ]]; then
        words=$(cut -d ' ' -f 1 <<<"$help")
    else
        arguments=$(sed -n "s/^${COMP_WORDS[1]} \[\(.*\)\] .*/\1/p" <<<"$help")
        while read -r name; do
            # All but options and lists come right after the command.
            [[ $COMP_CWORD -eq 2 || $name == -* || $name == *... ]] || continue
            case $name in
            prefix | file...)
                compopt -o filenames 2>/dev/null
                mapfile -t COMPREPLY < <(compgen -f -- "$word")
                ;;
            *) words+=$(_vell_dev_words "$name" "${dev%/*}")$'\n' ;;
            esac
        done <<<"${arguments//] \[/$'\n'}"
    fi
    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -F _vell_dev_complete dev
