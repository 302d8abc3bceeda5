# Bash completion of huevance. It asks the program, so that it knows every command, option and choice that there is.
_huevance() {
    local program=${COMP_WORDS[0]} current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local path=() word help known
    help=$("$program" --help 2>/dev/null) || return
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        known=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\).*/\1/p' <<<"$help")
        grep -qxF -e "$word" <<<"$known" || break
        path+=("$word")
        help=$("$program" "${path[@]}" --help 2>/dev/null) || return
    done

    local choices
    if [[ $previous == -* && $previous != - ]]; then
        # The option's line, for example "  -m,--mode TEXT:{photo,frame}=photo"; one without a type takes no value.
        local line
        line=$(grep -E -e "^ +([^ ]*,)?$previous( |,|$)" <<<"$help" | head -n 1)
        if [[ $line =~ \{([^}]*)\} ]]; then
            choices=${BASH_REMATCH[1]//,/ }
        elif [[ $line =~ ^\ +[^\ ]+\ [A-Z] && ! $line =~ ^\ +[^\ ]+\ \ + ]]; then
            return 0 # a file, which Bash completes itself
        fi
    fi
    if [[ -z ${choices-} ]]; then
        if [[ $current == -* ]]; then
            choices=$(sed -n 's/^  \(-[A-Za-z],\)\{0,1\}\(--[a-z0-9-]*\).*/\2/p' <<<"$help")
        else
            choices=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\).*/\1/p' <<<"$help")
        fi
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}
complete -o default -F _huevance huevance
