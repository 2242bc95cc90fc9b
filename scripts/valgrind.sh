#!/usr/bin/env bash
# Runs the daemon of the release build under valgrind's memcheck in system tests: bring-up, clean stop,
# session, files. Fails if a test fails or memcheck reports anything; its reports are in build/valgrind.
# Slow, so scripts/test_more.sh runs it only with --all.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly BUILD=build/release
readonly OUT=build/valgrind
# Without the second instance of a slot: memcheck's process does not have the expected name.
readonly TESTS=(
    BringUp
    RefusedStart.test_portThatIsNoSlot_printsTheUsageAndLogsNothing
    CleanStop.test_sigterm
    Changes.test_addressChange_restartsTheSession
    ModemAway.test_modemThatRestarts_isSetUpAgain
    Changes.test_reloadAfterAChange_setsTheInterfaceUpAgain
    Files.test_store_canBeReadWhileTheDaemonRuns
    Files.test_twoSlots_runSideBySide
)
readonly PROGRAMS=(le910sim skvs print_commands)

usage() {
    cat <<'TEXT'
Usage: valgrind.sh
Runs system tests with the release build's daemon under valgrind's memcheck. Fails if a test fails or
memcheck reports anything; its reports are in build/valgrind.
TEXT
}

# The tests search all programs in one folder; there the daemon is a script.
makeFolder() {
    local program
    rm -rf "$OUT"
    mkdir -p "$OUT/bin" "$OUT/logs"
    for program in "${PROGRAMS[@]}"; do
        ln -s "$PWD/$BUILD/bin/$program" "$OUT/bin/$program"
    done
    # Leaks are blocks that nothing points to any more. A process with the same number in another
    # test's namespace must not overwrite a log.
    cat >"$OUT/bin/cellslotd" <<TEXT
#!/bin/sh
exec valgrind --quiet --leak-check=full --show-leak-kinds=definite \\
    --errors-for-leak-kinds=definite --error-exitcode=99 \\
    --log-file=$PWD/$OUT/logs/\$(date +%s%N).%p $PWD/$BUILD/bin/cellslotd "\$@"
TEXT
    chmod +x "$OUT/bin/cellslotd"
}

main() {
    local failed=0 log runs
    case ${1:-} in
    '') ;;
    *) helpOrRefuse "$1" ;;
    esac
    cmake --preset release
    cmake --build --preset release -j 2 --target cellslotd "${PROGRAMS[@]}"
    makeFolder
    CELLSLOT_BIN=$PWD/$OUT/bin CELLSLOT_HOST=$PWD/gateway-tools CELLSLOT_SLOW=1 \
        scripts/private_namespace.sh --keep "$PWD/build" \
        python3 tests/system/daemon_test.py "${TESTS[@]}" || failed=1
    for log in "$OUT"/logs/*; do
        if [[ -s $log ]]; then
            echo "== $log" >&2
            cat "$log" >&2
            failed=1
        fi
    done
    runs=$(find "$OUT/logs" -type f | wc -l)
    echo "valgrind.sh: $runs processes under memcheck, $( ((failed)) && echo FAILED || echo clean)"
    ((runs > 0 && failed == 0))
}

main "$@"
