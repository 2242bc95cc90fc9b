#!/usr/bin/env bash
# What takes longer than a change should wait for: unit tests of the packages beside the daemon's, larger
# samples of the fault matrix, lasting faults, instruction counts, the packages, the tests of another
# processor under its emulator, agent and fleet, the page, and fuzzing. .ci/run runs it after test.sh, whose
# builds it uses. Continues after a failure, lists all results at the end, and fails if there was a failure.
# With --all also the whole matrix, a day on a fake clock, valgrind, the packages on a fresh host, and the
# virtual gateway.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/steps.sh
. scripts/lib/steps.sh
# shellcheck source=scripts/lib/test_builds.sh
. scripts/lib/test_builds.sh
readonly FUZZ_S=20  # for each target
readonly UPTIME_H=590
readonly BESIDE=build/beside
besideTests= # pid

usage() {
    cat <<'TEXT'
Usage: test_more.sh [--all]
Tests what takes longer: units of the packages beside the daemon's, samples of the fault matrix, lasting faults,
instruction counts, the packages, the tests of another processor, agent and fleet, the page, fuzzing. Ends with a
summary.
  --all  also the whole fault matrix, a day on a fake clock, valgrind, the packages on a fresh host, and
         the virtual gateway (hours)
TEXT
}

matrixSample() {
    build asan fault_matrix && runTests asan "$JOBS" -L '^matrix$'
}

unitsOfPackages() {
    build asan package_tests && runTests asan "$JOBS" -L '^packages$'
}

lastingFaults() {
    build release gateway_day && runTests release 1 -L '^lasting$'
}

wholeMatrix() {
    build release fault_matrix gateway_day &&
        scripts/private_namespace.sh --keep "$PWD/build" build/release/bin/fault_matrix --suite all \
            --jobs "$JOBS"
}

aDay() {
    scripts/private_namespace.sh --keep "$PWD/build" build/release/bin/gateway_day 24 "$UPTIME_H"
}

# Compilers differ in the instructions they make of the same code: reported, but not a failure.
checkInstructions() {
    local status=0
    scripts/bench.sh --instructions || status=$?
    ((status != 77)) || echo 'the numbers are for another compiler or C library' >"$stepNote"
    return "$status"
}

# Agent and fleet mostly wait for each other: they run beside the tests of another processor, one after the
# other, since both build in the same folder.
startBrokerTests() { # ARGUMENT...
    mkdir -p "$BESIDE"
    rm -f "$BESIDE"/*
    set -m # a process group of its own, so that it can be ended as a whole
    (
        for name in agent fleet; do
            "scripts/test_$name.sh" "$@" >"$BESIDE/$name.log" 2>&1 && touch "$BESIDE/$name.done"
        done
    ) &
    besideTests=$!
    set +m
}

endBrokerTests() {
    [[ -z $besideTests ]] || kill -- "-$besideTests" 2>/dev/null || true
}

# Not with wait: the step may run in a process of its own.
finishBrokerTests() { # NAME
    tail -f --pid="$besideTests" /dev/null
    [[ -e $BESIDE/$1.done ]] || ! cat "$BESIDE/$1.log"
}
finishAgent() { finishBrokerTests agent; }
finishFleet() { finishBrokerTests fleet; }

# All that the steps need: two of them at once could not install.
setUp() {
    scripts/setup.sh --test && scripts/setup_mqtt.sh --test && scripts/setup_agent.sh --test &&
        scripts/setup_web.sh --test
}

fuzz() {
    FUZZ_JOBS=3 scripts/fuzz.sh "$FUZZ_S"
}

main() {
    local all=no
    case ${1:-} in
    '') ;;
    --all)
        all=yes
        export CELLSLOT_TEST_ALL=1  # tests that use a sample run everything
        ;;
    *) helpOrRefuse "$1" ;;
    esac
    plan packages 1
    plan "packages' units" 120
    plan 'matrix sample' 120
    plan 'lasting faults' 130
    plan instructions 90
    plan package 30
    plan 'history package' 30
    plan arm64 420
    plan agent 1
    plan fleet 1
    plan page 180
    plan fuzzing 240
    if [[ $all == yes ]]; then
        plan 'whole matrix' 1200
        plan 'a day' 120
        plan valgrind 200
        plan gateway 7200
    fi
    showPlan
    step setUp || true
    step unitsOfPackages || true
    step matrixSample || true
    step lastingFaults || true
    step checkInstructions || true
    step scripts/test_package.sh "$@" || true
    step scripts/test_history.sh "$@" || true
    trap endBrokerTests EXIT
    startBrokerTests "$@"
    step scripts/test_cross.sh arm64 "$@" || true
    progressLog=$BESIDE/agent.log step finishAgent || true
    progressLog=$BESIDE/fleet.log step finishFleet || true
    step scripts/test_web.sh "$@" || true
    step fuzz || true
    if [[ $all == yes ]]; then
        step wholeMatrix || true
        step aDay || true
        step scripts/valgrind.sh || true
        step scripts/test_gateway.sh || true
    fi
    finishSteps
}

main "$@"
