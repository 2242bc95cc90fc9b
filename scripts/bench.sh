#!/usr/bin/env bash
# Measures the daemon: bring-up, idle cost, memory, messages, single functions and how they grow.
# Prints a table and writes bench.json and a drawing of each curve. Use an idle machine; instruction
# counts are the same on a busy one.
set -euo pipefail

readonly CALLED_IN=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly BUILD=$PWD/build/release  # measure the programs that ship
readonly BENCH=$PWD/build/bench
readonly JOBS=2

usage() {
    cat <<'TEXT'
Usage: bench.sh [--quick] [--out DIR]
       bench.sh --instructions | --renew-instructions
       bench.sh --peers [OPTION]...
  --quick                short runs: about five minutes instead of twelve
  --out DIR              folder of the results (build/bench/results)
  --instructions         only compare the instruction counts of the fixed workloads
  --renew-instructions   record the counts of this build as the new ones
  --peers                installs Debian's ModemManager, gammu-smsd and smstools, without their services,
                         and measures each and the daemon in turn, which takes an hour. Options:
                         --idle SECONDS (600, scaled to an hour), --starts N, --messages N, --unplugs N,
                         --seed N, --reply-ms MS, --only NAME[,NAME]
TEXT
}

build() { # TARGET...
    cmake --preset bench >/dev/null
    cmake --build --preset bench -j "$JOBS" --target "$@"
}

inNamespace() {
    CELLSLOT_BIN=$BUILD/bin CELLSLOT_HOST=$PWD/gateway-tools \
        scripts/private_namespace.sh --keep "$PWD/build" "$@"
}

# instructions [--renew]
instructions() {
    build fixed_workloads
    scripts/private_namespace.sh --keep "$PWD/build" python3 bench/instruction_guard.py \
        --bin "$BUILD/bin" "$@"
}

measure() { # OUT QUICK(yes/no)
    local out=$1 results=$BENCH/raw shortest=0.2 processOptions=()
    if [[ $2 == yes ]]; then
        shortest=0.05
        processOptions=(--quick)
    fi
    build cellslotd le910sim skvs functions_bench pacing_floor host_command_timer
    mkdir -p "$results" "$out"
    inNamespace "$BUILD/bin/functions_bench" --benchmark_min_time="$shortest" \
        --benchmark_out="$results/functions.json" --benchmark_out_format=json >/dev/null
    inNamespace python3 bench/processes.py "${processOptions[@]}" --out "$results/processes.json"
    python3 bench/report.py --functions "$results/functions.json" \
        --processes "$results/processes.json" --out "$out"
}

peers() { # OPTION...
    build cellslotd le910sim skvs
    mkdir -p "$BENCH/results"
    inNamespace python3 bench/peers/peers.py --out "$BENCH/results/peers.json" "$@"
}

main() {
    local out=$BENCH/results quick=no
    while (($#)); do
        case $1 in
        --quick) quick=yes ;;
        --out)
            out=$(cd "$CALLED_IN" && realpath -m -- "${2:?--out needs a folder}")
            shift
            ;;
        --instructions)
            scripts/setup.sh --test
            instructions
            return
            ;;
        --renew-instructions)
            scripts/setup.sh --test
            instructions --renew
            return
            ;;
        --peers)
            shift
            scripts/setup.sh --test
            bench/peers/install.sh
            peers "$@"
            return
            ;;
        *) helpOrRefuse "$1" ;;
        esac
        shift
    done
    scripts/setup.sh --test
    measure "$out" "$quick"
}

main "$@"
