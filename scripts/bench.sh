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
Usage: bench.sh [--quick] [--goals] [--out DIR]
       bench.sh --flash [--quick]
       bench.sh --replay
       bench.sh --instructions | --renew-instructions
       bench.sh --fleet [--counts N,N...] [--brokers mosquitto,cluster] | --fleet --desk N
       bench.sh --peers [OPTION]...
  --quick                short runs: about half the time
  --goals                only what has a goal, each with "met" or "NOT MET": about twelve minutes
  --flash                what a year writes to flash, by folder: about 20 minutes, 10 with --quick; as root
  --replay               the processor time in which a recorded hour is replayed on a fake clock
  --out DIR              folder of the results (build/bench/results)
  --instructions         only compare the instruction counts of the fixed workloads
  --renew-instructions   record the counts of this build as the new ones
  --fleet                2,000 simulated agents at mosquitto and at a cluster of three nodes, with curves:
                         about fifteen minutes; --desk: how long cellslot-fleet takes with N gateways
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

# Measures on a file system that nothing else uses, so that its block device counts every write.
flash() ( # QUICK(yes/no)
    disk=$BENCH/flash
    seconds=120
    [[ $1 == yes ]] && seconds=30
    build cellslotd le910sim
    mkdir -p "$disk" "$BENCH/raw"
    image=$(mktemp "$BENCH/flash.XXXXXX")
    truncate -s 128M "$image"
    mkfs.ext4 -q -F "$image"
    mount -o loop "$image" "$disk"
    trap 'umount "$disk"' EXIT
    rm "$image"  # the mount keeps it
    inNamespace python3 bench/flash.py --disk "$disk" --seconds "$seconds" \
        --out "$BENCH/raw/flash.json"
)

# Processor time, because the replay waits for nothing.
replay() {
    build replay_flow_tests
    inNamespace "$BUILD/bin/replay_flow_tests" --gtest_brief=1 \
        --gtest_filter=ReplayFlow.HourOfAConnectedModem_IsReplayedToItsEnd
}

measure() { # OUT QUICK(yes/no) GOALS(yes/no)
    local out=$1 results=$BENCH/raw shortest=0.2
    local processOptions=() functionOptions=() reportOptions=() groups=()
    if [[ $2 == yes ]]; then
        shortest=0.05
        processOptions=(--quick)
    fi
    if [[ $3 == yes ]]; then
        functionOptions=(--benchmark_filter='StatusFiles|FourFiles')
        groups=(bring-up idle instructions memory)
        reportOptions=(--goals)
    fi
    build cellslotd le910sim skvs functions_bench pacing_floor host_command_timer
    mkdir -p "$results" "$out"
    inNamespace "$BUILD/bin/functions_bench" --benchmark_min_time="$shortest" "${functionOptions[@]}" \
        --benchmark_out="$results/functions.json" --benchmark_out_format=json >/dev/null
    inNamespace python3 bench/processes.py "${processOptions[@]}" --out "$results/processes.json" \
        "${groups[@]}"
    python3 bench/report.py --functions "$results/functions.json" \
        --processes "$results/processes.json" --out "$out" "${reportOptions[@]}"
}

peers() { # OPTION...
    build cellslotd le910sim skvs
    mkdir -p "$BENCH/results"
    inNamespace python3 bench/peers/peers.py --out "$BENCH/results/peers.json" "$@"
}

fleet() { # OPTION...
    build cellslot-fleet fleet_agents
    mkdir -p "$BENCH/results"
    inNamespace python3 bench/fleet/fleet.py --bin "$BUILD/bin" --keys "$BENCH/fleet-keys" \
        --out "$BENCH/results/fleet.json" "$@"
}

main() {
    local out=$BENCH/results quick=no goals=no what=measure
    while (($#)); do
        case $1 in
        --quick) quick=yes ;;
        --goals) goals=yes ;;
        --flash) what=flash ;;
        --replay) what=replay ;;
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
        --fleet)
            shift
            scripts/setup.sh --test
            scripts/setup_mqtt.sh --test
            fleet "$@"
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
    case $what in
    flash) flash "$quick" ;;
    replay) replay ;;
    *) measure "$out" "$quick" "$goals" ;;
    esac
}

main "$@"
