#!/usr/bin/env bash
# Runs each fuzz target for so many seconds, from the seed corpus in fuzz/corpus and what earlier
# runs found in build/fuzz/corpus. Fails on a finding; the input then lies in build/fuzz/findings.
# The seed, which is printed, repeats a run's choices where the corpus is the same.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly BUILD=build/fuzz
readonly TARGETS=(decode_pdu_fuzz decode_3gpp2_pdu_fuzz)
readonly MAX_INPUT_OCTETS=300

usage() {
    echo 'Usage: fuzz.sh SECONDS [SEED]   (SECONDS for each target)'
}

runTarget() { # TARGET SECONDS SEED
    local target=$1 found=$BUILD/corpus/$1
    mkdir -p "$found" "$BUILD/findings"
    echo "== $target for $2 s with seed $3"
    # Its lines about every input that it keeps, and the dictionary it recommends, are left out.
    "$BUILD/bin/$target" -max_total_time="$2" -seed="$3" -max_len="$MAX_INPUT_OCTETS" \
        -timeout=10 -print_final_stats=1 -artifact_prefix="$BUILD/findings/$target-" \
        "$found" "fuzz/corpus/$target" 2>&1 |
        grep -vE '^(#[0-9]+[[:space:]]+(NEW|REDUCE|RELOAD|pulse)|"|###### )'
}

main() {
    local target seed=${2:-$((RANDOM * 32768 + RANDOM + 1))} failed=0
    if ! [[ ${1:-} =~ ^[1-9][0-9]*$ && $seed =~ ^[1-9][0-9]*$ ]]; then
        usage >&2
        return 2
    fi
    cmake --preset fuzz
    cmake --build "$BUILD" -j 2 --target "${TARGETS[@]}"
    for target in "${TARGETS[@]}"; do
        if ! runTarget "$target" "$1" "$seed"; then
            echo "fuzz.sh: $target found something, see $BUILD/findings" >&2
            failed=1
        fi
    done
    return "$failed"
}

main "$@"
