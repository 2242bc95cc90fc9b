#!/usr/bin/env bash
# Builds for another processor and runs the unit and flow tests under qemu-user: those of the daemon
# except the longest; with --all these too, and those of the operator's command and of the simulator.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly JOBS=2

# Tests that run natively only.
readonly NATIVE_ONLY=(
    # The emulator passes on four bytes of a terminal's settings (TCGETA) and keeps the rest.
    'OpenDevice.Terminal_*'
    'SendAtCommand.Terminal_*'
    # They start programs of the other processor, which this machine's kernel cannot run.
    'Skvs.Program_*'
    'HistoryProgram.Failure_*'
    'Le910simProgram.*'
    # The emulator has a thread of its own, and a process with threads gets no user namespace.
    'GetInterfaceInfo.InterfaceThatIsDown_*'
    # They trace a process; the emulator has no ptrace.
    'SmsKill.*'
    'SmsModel.*'
    # Hundreds of children that crash by intent: the emulator's own thread is not copied into a child,
    # and now and then one waits for it for ever.
    'KeyValueStore.FileCutWhileOpen_*'
    'KeyValueStore.DamagedPages_*'
    # Every reply cut at every byte, every octet of a PDU changed, megabytes of commas, thousands of
    # random lines: they only process text, and take minutes under the emulator.
    '*.DamagedReplies_*'
    'SmsRefusal.AnyOctetChanged_*'
    'ReplySize.*'
    'Le910simRobustness.Random*'
    # A month, a day, and a process for each of thousands of damaged files.
    'Month.*'
    'HistoryService.ADayOfTwoSlots_*'
    'DamagedStore.*Overwritten_*'
    'PowerCut.AnyPart*'
)

usage() {
    cat <<'TEXT'
Usage: test_cross.sh arm64|armhf [--all]
Builds for that processor and runs the daemon's unit and flow tests, except the longest, under
qemu-user. On arm64 also the packages of the history and of the page, and their unit tests.
  --all  also run the longest, and those of cellslot and the simulator
TEXT
}

filter() {
    local IFS=:
    echo "-${NATIVE_ONLY[*]}"
}

# Of two packages that not every gateway has.
testPackages() { # ARCHITECTURE
    local package
    cmake --build --preset "$1" -j "$JOBS" --target history_tests web_tests
    for package in history web; do
        "scripts/package_$package.sh" --preset "$1" --output "build/$1/packages"
    done
    GTEST_FILTER=$(filter) ctest --preset "$1" --no-tests=error -R '^unit\.(history|web)$'
}

main() {
    local architecture=${1:-} target=daemon_tests tests=(-L 'unit|flow' -LE tool)
    case $architecture in
    arm64 | armhf) ;;
    *) helpOrRefuse "$architecture" ;;
    esac
    # The build with a gateway's own libraries is tested with the native compiler.
    # Hostile text and the recordings take minutes under the emulator: with --all.
    tests+=(-E '^(unit\.platform_external|flow\.(hostile_text|recordings))$')
    case ${2:-} in
    '') ;;
    --all)
        target=unit_and_flow_tests
        tests=(-L 'unit|flow' -E '^unit\.platform_external$')
        ;;
    *) helpOrRefuse "$2" ;;
    esac
    if [[ $architecture == arm64 ]]; then
        scripts/setup_cross.sh arm64 --all
    else
        scripts/setup_cross.sh "$architecture"
    fi
    cmake --preset "$architecture"
    cmake --build --preset "$architecture" -j "$JOBS" --target "$target"
    # A child of the emulator may hang where nothing of ours does (see above): once more then.
    GTEST_FILTER=$(filter) ctest --preset "$architecture" -j "$JOBS" --no-tests=error \
        --repeat after-timeout:2 "${tests[@]}"
    [[ $architecture != arm64 ]] || testPackages arm64
}

main "$@"
