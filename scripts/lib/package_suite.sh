#!/usr/bin/env bash
# To be sourced by the test script of a package beside the daemon's, after it has set
#   JOBS           compilers side by side
#   TARGETS        what its tests need
#   SUITE          folder of its tests in Python
#   UNITS          its unit tests, a program
#   SUITE_PYTHON   the interpreter
#   SUITE_SETTINGS array of NAME=VALUE for the tests' environment

# Of the script itself: nothing, --all or a test.
checkSuiteArgument() { # ARGUMENT
    case $1 in
    '' | --all | *_test) ;;
    *) helpOrRefuse "$1" ;;
    esac
}

buildSuite() { # PRESET
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" -j "$JOBS" --target "${TARGETS[@]}"
}

runSuiteTest() { # PRESET TEST [CLASS]...
    local preset=$1 test=$2
    shift 2
    echo "== $test ($preset)"
    env "CELLSLOT_BIN=$PWD/build/$preset/bin" "CELLSLOT_HOST=$PWD/gateway-tools" "${SUITE_SETTINGS[@]}" \
        scripts/private_namespace.sh --keep "$PWD/build" "$SUITE_PYTHON" "$SUITE/$test.py" "$@"
}

# Every commit of a store waits for the disk: in memory that costs nothing.
runSuite() { # PRESET "TEST [CLASS]"...
    local preset=$1 test words failed=0
    shift
    TMPDIR=/dev/shm "build/$preset/bin/$UNITS" --gtest_brief=1 || failed=1
    for test in "$@"; do
        read -ra words <<<"$test"
        runSuiteTest "$preset" "${words[@]}" || failed=1
    done
    return "$failed"
}
