# shellcheck shell=bash
# Steps that ./demo and ./test share; bash reads it with `source`.

# Runs a command whose output is shown only when it fails.
quietly() {
    local log
    log=$(mktemp)
    if ! "$@" >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        echo "failed: $*" >&2
        return 1
    fi
    rm -f "$log"
}

# Hands on what it reads, save for lines that count what went well ("[7/90] ..." of ninja, " 7/90
# Test ..." of ctest). Of those it shows the count: on a terminal in one line that is written over,
# elsewhere every half minute.
counting() {
    local what=$1 line shown='' next=$((SECONDS + 30))
    while IFS= read -r line; do
        if [[ $line =~ ^\ *Start\ +[0-9]+: ]]; then
            continue
        fi
        if [[ $line =~ ^[\ \[]*([0-9]+/[0-9]+)(\] |\ Test) && $line != *'***'* ]]; then
            if [ -t 1 ]; then
                printf '\r%s %s ' "$what" "${BASH_REMATCH[1]}"
                shown=yes
            elif [ "$SECONDS" -ge "$next" ]; then
                echo "$what ${BASH_REMATCH[1]}"
                next=$((SECONDS + 30))
            fi
            continue
        fi
        if [ -n "$shown" ]; then
            printf '\r\e[K'
            shown=''
        fi
        printf '%s\n' "$line"
    done
    if [ -n "$shown" ]; then
        printf '\r\e[K'
    fi
}

# Configures a preset and builds it, or the targets that are named.
build() {
    local preset=$1
    shift
    quietly cmake --preset "$preset"
    cmake --build --preset "$preset" ${1+--target "$@"} 2>&1 |
        { grep --line-buffered -v '^ninja: no work to do' || true; } | counting "building $preset"
}
