#!/usr/bin/env bash
# Tests our package on a gateway in a virtual machine: the kernel's own USB and modem drivers, udev,
# systemd and gpsd, with simulated modems on its USB. Only making the disk and installing what is
# missing need the network.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly WORK=$PWD/build/gateway
readonly TESTS=tests/gateway

usage() {
    cat <<'TEXT'
Usage: test_gateway.sh [--arch amd64|arm64|armhf] [--shell] [TEST]...
Builds the package, boots a virtual gateway and runs the tests of tests/gateway on it: all, or those
named, as in "first_start_test" or "first_start_test.FirstStart". What a machine leaves behind (console,
journal, logs) is in build/gateway/results, by processor.
  --arch   the gateway's processor; this machine's unless given
  --shell  boots a gateway and leaves you at its console, instead of testing. Ctrl-A X ends it.
TEXT
}

buildPackage() {
    local preset=release
    if [[ $architecture != "$(dpkg --print-architecture)" ]]; then
        scripts/setup_cross.sh "$architecture"
        preset=$architecture
    fi
    rm -rf "$work/package"
    scripts/package.sh --preset "$preset" --output "$work/package" >/dev/null
    cmake --build --preset "$preset" -j 2 --target le910sim
    bin=build/$preset/bin
}

# Packs the programs of the tests into an archive that the kernel unpacks beside the initrd: they are in
# memory, not on the gateway's disk.
packBench() {
    local bench=$work/tree/bench
    rm -rf "$work/tree"
    mkdir -p "$bench/system/sysinit.target.wants"
    install -m 755 "$TESTS/agent.py" "$TESTS/modem.py" "$bin/le910sim" "$bench/"
    install -m 644 "$TESTS/modems.json" "$work"/package/cellslot_*.deb "$bench/"
    install -m 644 "$TESTS/agent.service" "$bench/system/test-bench.service"
    ln -s ../test-bench.service "$bench/system/sysinit.target.wants/"
    makeWatchdogPatient "$bench/system/cellslotd@.service.d"
    (cd "$work/tree" && find . | cpio --quiet -o -H newc) >"$work/bench.cpio"
}

# The daemon gives no heartbeat while the interface's script runs. That takes a second, but on an emulated
# processor that hardly gets time it took 90, and the watchdog ended each start of the daemon.
makeWatchdogPatient() { # DROP-IN-FOLDER
    local patience=${CELLSLOT_PATIENCE:-1} watchdogS
    ((patience > 1)) || return 0
    watchdogS=$(sed -n 's/^WatchdogSec=//p' packaging/cellslotd@.service)
    mkdir -p "$1"
    printf '[Service]\nWatchdogSec=%d\n' $((watchdogS * patience)) >"$1/patience.conf"
}

readOptions() {
    architecture=
    shell=no
    while (($#)); do
        case $1 in
        --arch) needValue "$@" && architecture=$2 && shift ;;
        --shell) shell=yes ;;
        -*) helpOrRefuse "$1" ;;
        *) tests+=("$1") ;;
        esac
        shift
    done
    [[ -n $architecture ]] || architecture=$(dpkg --print-architecture)
}

main() {
    tests=()
    readOptions "$@"
    scripts/setup_gateway.sh "$architecture"
    work=$WORK/$architecture
    results=$WORK/results/$architecture
    rm -rf "$results"
    mkdir -p "$work" "$results"
    image=$(scripts/gateway_image.sh --arch "$architecture")
    buildPackage
    packBench
    export CELLSLOT_IMAGE=$image CELLSLOT_BENCH=$work/bench.cpio CELLSLOT_RESULTS=$results \
        CELLSLOT_ARCHITECTURE=$architecture PYTHONPATH=$TESTS PYTHONDONTWRITEBYTECODE=1
    if [[ $shell == yes ]]; then
        exec python3 "$TESTS/machine.py" shell
    fi
    ((${#tests[@]})) || mapfile -t tests < <(cd "$TESTS" && printf '%s\n' *_test.py | sed 's/\.py$//')
    python3 -m unittest --verbose "${tests[@]}"
}

main "$@"
