# What the scripts share. To be sourced; goes to the top of the source tree.
# shellcheck shell=bash

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
export LC_ALL=C

# quietly WHAT COMMAND...: one line where all is well, with the count of tests, all the output where it is not.
quietly() {
    local what=$1 log begin=$SECONDS status=0
    shift
    log=$(mktemp)
    printf '%-58s ' "$what"
    "$@" >"$log" 2>&1 || status=$?
    if [[ $status == 0 ]]; then
        echo "ok, $((SECONDS - begin)) s"
        grep 'tests passed' "$log" || true
    else
        echo "FAILED, $((SECONDS - begin)) s"
        cat "$log"
    fi
    rm -f "$log"
    return "$status"
}

# The names of all sources, one per line.
sources() {
    local folders=() folder
    for folder in foundation platform vmem vfile hostfile tests examples bench; do
        if [[ -d $folder ]]; then folders+=("$folder"); fi
    done
    find "${folders[@]}" -name '*.h' -o -name '*.cpp' -o -name '*.inc' | sort
}
