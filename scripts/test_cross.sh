#!/usr/bin/env bash
# Builds for another processor and runs the unit and flow tests under qemu-user: with --all every test,
# else those of the daemon's lowest layers, where a processor makes a difference.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly JOBS=2
readonly LOWEST_LAYERS=(main device config)

# What runs natively only.
readonly NATIVE_ONLY=(
    # The emulator passes on four bytes of a terminal's settings (TCGETA) and keeps the rest.
    'OpenDevice.Terminal_*'
    'SendAtCommand.Terminal_*'
    # They start programs of the other processor, which this machine's kernel does not know.
    'Skvs.Program_*'
    'SimProgram.*'
    # The emulator has a thread of its own, and a process with threads gets no user namespace.
    'GetInterfaceInfo.InterfaceThatIsDown_*'
    # They trace a process; the emulator has no ptrace.
    'SmsKill.*'
    # Every reply cut at every byte: text only, and minutes under the emulator.
    '*.DamagedReplies_*'
)

filter() {
    local IFS=:
    echo "-${NATIVE_ONLY[*]}"
}

main() {
    local architecture=${1:-} targets=() tests
    case ${2:-} in
    '')
        targets=("${LOWEST_LAYERS[@]/%/_tests}")
        tests="^unit\\.($(IFS='|' && echo "${LOWEST_LAYERS[*]}"))\$"
        ;;
    --all) tests='^(unit|flow)\.' ;;
    *)
        echo 'Usage: test_cross.sh arm64|armhf [--all]' >&2
        return 2
        ;;
    esac
    scripts/setup_cross.sh "$architecture"
    cmake --preset "$architecture"
    cmake --build --preset "$architecture" -j "$JOBS" --target "${targets[@]:-all}"
    # The platform's configuration for a gateway's own libraries is tried with the native compiler.
    GTEST_FILTER=$(filter) ctest --preset "$architecture" -j "$JOBS" --no-tests=error -R "$tests" \
        -E '^unit\.platform_external$' --timeout 600
}

main "$@"
