# Completes what --help of a program, or of its command, lists.
_zentara() {
    local current=${COMP_WORDS[COMP_CWORD]} command=("${COMP_WORDS[0]}") words help
    help=$("${command[@]}" --help 2>/dev/null)
    local commands
    commands=$(awk '/^Subcommands:/ { inside = 1; next } /^[^ ]|^$/ { inside = 0 } inside && /^  [a-z]/ { print $1 }' <<<"$help")
    if [[ -n $commands ]]; then
        if ((COMP_CWORD > 1)); then
            if grep -qxF -- "${COMP_WORDS[1]}" <<<"$commands"; then
                help=$("${command[@]}" "${COMP_WORDS[1]}" --help 2>/dev/null)
            fi
        elif [[ $current != -* ]]; then
            words=$commands
        fi
    fi
    if [[ $current == -* ]]; then words=$(grep -oE -- '(^ +|,)--[a-z][a-z-]*' <<<"$help" | tr -d ' ,'); fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _zentara zentara-collector zentara-schemas zentara-track
