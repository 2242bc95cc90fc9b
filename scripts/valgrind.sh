#!/usr/bin/env bash
# The daemon of the release build under valgrind's memcheck, through system tests: bring-up, session,
# clean stop, files. Fails when a test does or when memcheck has anything to say; what it says lies
# in build/valgrind. Slow: scripts/test.sh has it under --all only.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly BUILD=build/release
readonly OUT=build/valgrind
readonly TESTS=(BringUp CleanStop Session Files)
readonly PROGRAMS=(le910sim skvs)

# Programs of tests are looked for in one folder; there the daemon is a script.
makeFolder() {
    local program
    rm -rf "$OUT"
    mkdir -p "$OUT/bin" "$OUT/logs"
    for program in "${PROGRAMS[@]}"; do
        ln -s "$PWD/$BUILD/bin/$program" "$OUT/bin/$program"
    done
    # Leaks are blocks that nothing points to any more. What the shell is run in is not followed:
    # it is no program of ours.
    cat >"$OUT/bin/cellslotd" <<TEXT
#!/bin/sh
exec valgrind --quiet --leak-check=full --show-leak-kinds=definite \\
    --errors-for-leak-kinds=definite --error-exitcode=99 \\
    --suppressions=$PWD/scripts/lib/valgrind.supp \\
    --log-file=$PWD/$OUT/logs/%p $PWD/$BUILD/bin/cellslotd "\$@"
TEXT
    chmod +x "$OUT/bin/cellslotd"
}

main() {
    local class failed=0 log runs
    cmake --preset release
    cmake --build --preset release -j 2 --target cellslotd "${PROGRAMS[@]}"
    makeFolder
    for class in "${TESTS[@]}"; do
        echo "== $class"
        CELLSLOT_BIN=$PWD/$OUT/bin CELLSLOT_HOST=$PWD/host CELLSLOT_SLOW=1 \
            scripts/private_namespace.sh --keep "$PWD/build" \
            python3 tests/system/daemon_test.py "$class" || failed=1
    done
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
