#!/usr/bin/env bash
# Runs each fuzz target for a number of seconds, two (FUZZ_JOBS) at a time, from the seed corpus in
# fuzz/corpus and what earlier runs found in build/fuzz/corpus. Fails on a finding; its input is then
# in build/fuzz/findings. All output is in build/fuzz/logs. Ends with a table of what each target did.
# The printed seed repeats a run's choices if the corpus is the same.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly BUILD=build/fuzz
readonly AT_A_TIME=${FUZZ_JOBS:-2}
# Target, longest input in octets, dictionary.
readonly TABLE=(
    'decode_pdu_fuzz 300 -'
    'decode_3gpp2_pdu_fuzz 300 -'
    'reply_parsers_fuzz 2000 modem'
    'at_transaction_fuzz 1000 modem'
    'sms_listing_fuzz 2000 modem'
    'sms_files_fuzz 2000 files'
    'gps_fuzz 1000 modem'
    'config_fuzz 2000 config'
    'request_files_fuzz 1000 files'
    'text_fuzz 300 modem'
    'status_file_fuzz 2000 status'
    'recording_fuzz 100 modem'
    'replay_fuzz 3000 recording'
    'history_fuzz 1500 history'
    'agent_command_fuzz 2000 command'
    'fleet_fuzz 4000 -'
)

usage() {
    cat <<'TEXT'
Usage: fuzz.sh SECONDS [SEED]
Builds the fuzz targets and runs each for SECONDS, two (FUZZ_JOBS) at a time. Findings are in
build/fuzz/findings. SEED, which an earlier run printed, repeats that run's choices.
TEXT
}

runTarget() { # TARGET SECONDS SEED MAX-OCTETS DICTIONARY
    local target=$1 found=$BUILD/corpus/$1 options=()
    mkdir -p "$found"
    if [[ $5 != - ]]; then
        options+=("-dict=fuzz/dictionaries/$5.dict")
    fi
    # The daemon's standard output is closed: printing its errors would take most of the time.
    "$BUILD/bin/$target" -max_total_time="$2" -seed="$3" -max_len="$4" "${options[@]}" \
        -timeout=10 -close_fd_mask=1 -print_final_stats=1 \
        -artifact_prefix="$BUILD/findings/$target-" "$found" "fuzz/corpus/$target" \
        >"$BUILD/logs/$target.log" 2>&1
}

# Without the lines about every kept input and the recommended dictionary.
showFinding() { # TARGET
    echo "fuzz.sh: $1 found something, see $BUILD/findings:" >&2
    grep -vE '^(#[0-9]+[[:space:]]+(NEW|REDUCE|RELOAD|pulse|INITED|READ)|"|###### )' \
        "$BUILD/logs/$1.log" >&2
}

report() { # TARGET
    awk -v target="$1" '
        { for (i = 1; i < NF; i++) if ($i == "cov:") covered = $(i + 1) }
        { for (i = 1; i < NF; i++) if ($i == "ft:") features = $(i + 1) }
        /^stat::number_of_executed_units:/ { runs = $2 }
        /^stat::average_exec_per_sec:/ { speed = $2 }
        END { printf "%-24s %12d %8d %8d %9d\n", target, runs, speed, covered, features }
    ' "$BUILD/logs/$1.log"
}

main() {
    case ${1:-} in
    -h | --help)
        usage
        return
        ;;
    esac
    local row target seed=${2:-$((RANDOM * 32768 + RANDOM + 1))} failed=0 targets=()
    local -A running=()
    if ! [[ ${1:-} =~ ^[1-9][0-9]*$ && $seed =~ ^[1-9][0-9]*$ ]]; then
        usage >&2
        return 2
    fi
    for row in "${TABLE[@]}"; do
        targets+=("${row%% *}")
    done
    cmake --preset fuzz
    cmake --build "$BUILD" -j 2 --target "${targets[@]}"
    mkdir -p "$BUILD/findings" "$BUILD/logs" "$BUILD/tmp"
    export TMPDIR=$PWD/$BUILD/tmp
    echo "== ${#targets[@]} targets, $1 s each, seed $seed"
    for row in "${TABLE[@]}"; do
        if ((${#running[@]} == AT_A_TIME)); then
            waitForOne
        fi
        read -r -a row <<<"$row"
        runTarget "${row[0]}" "$1" "$seed" "${row[1]}" "${row[2]}" &
        running[$!]=${row[0]}
    done
    while ((${#running[@]} > 0)); do
        waitForOne
    done
    printf '%-24s %12s %8s %8s %9s\n' target executions 'per s' edges features
    for target in "${targets[@]}"; do
        report "$target"
    done
    return "$failed"
}

# Waits for the next target to end, removes it from running, and adds it to failed if it failed.
waitForOne() {
    local pid status=0
    wait -n -p pid || status=$?
    if ((status != 0)); then
        showFinding "${running[$pid]}"
        failed=1
    fi
    unset "running[$pid]"
}

main "$@"
