# shellcheck shell=bash
# Completion of Corvenna's programs. They are asked themselves: the options are those of --help, after
# a subcommand those of its --help, and of an option with fixed values these.

_corvenna_program() {
    local cur prev words cword
    _init_completion || return

    local command=("$1") word said
    said=$("$1" --help 2>/dev/null)
    local subcommands
    subcommands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$said")
    for word in "${words[@]:1:cword-1}"; do
        if [[ $word == [a-z]* && $'\n'$subcommands$'\n' == *$'\n'"$word"$'\n'* ]]; then
            command+=("$word")
            said=$("${command[@]}" --help 2>/dev/null)
            break
        fi
    done

    if [[ $prev == --* && $cur != -* ]]; then
        local described values
        described=$(grep -E -- "^  (-[a-z],)?$prev( |\$)" <<<"$said")
        values=$(sed -n 's/.*:{\([^}]*\)}.*/\1/p' <<<"$described")
        if [[ -n $values ]]; then
            mapfile -t COMPREPLY < <(compgen -W "${values//,/ }" -- "$cur")
            return
        fi
        # An option with a value has it written in capitals behind its name.
        if [[ $described =~ $prev\ [A-Z] ]]; then
            _filedir
            return
        fi
    fi
    local offered
    offered=$(grep -oE -- '^  (-[a-z],)?--[a-z][a-z-]*' <<<"$said" | grep -oE -- '--[a-z-]+')
    if [[ ${#command[@]} -eq 1 ]]; then
        offered+=$'\n'$subcommands
    fi
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$cur")
} && complete -F _corvenna_program corvenna-check corvenna-cloud corvenna-conform corvenna-gateway
