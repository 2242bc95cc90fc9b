#!/usr/bin/env bash
# To be sourced: building and testing a preset, for test.sh and test_more.sh. Needs steps.sh.

readonly JOBS=2

build() { # PRESET [TARGET]...
    local preset=$1
    shift
    cmake --preset "$preset" &&
        cmake --build --preset "$preset" -j "$JOBS" --target "${@:-all}"
}

# System tests run in real time: on a machine that stands still for a second one may fail. Up to
# three that failed run once more, alone, and the summary names them. Other tests have one run.
runAgain() { # PRESET: prints the names of tests that failed once and then passed
    local failures=build/$1/Testing/Temporary/LastTestsFailed.log names
    names=$(cut -d: -f2 "$failures" | paste -sd ' ')
    if grep -qv ':system\.' "$failures" || (($(wc -l <"$failures") > 3)); then
        return 1
    fi
    ctest --preset "$1" --rerun-failed --no-tests=error >&2 && echo "$names"
}

# ctest's closing line is in its output, and again in the summary.
runTests() { # PRESET JOBS CTEST-OPTION...
    local preset=$1 jobs=$2 log=build/$1/test.log line again='' status=0
    shift 2
    if ! ctest --preset "$preset" "$@" -j "$jobs" --no-tests=error 2>&1 | tee "$log"; then
        again=$(runAgain "$preset") || status=1
    fi
    line=$(grep -E '^[0-9]+% tests passed' "$log") || line='no test was run'
    echo "$line${again:+; passed on the second run: $again}" >"${stepNote:?}"
    return "$status"
}
