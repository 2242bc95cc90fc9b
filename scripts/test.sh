#!/usr/bin/env bash
# Everything that has to pass: shell scripts and formatting checked, presets release and asan built
# and tested. Continues after a failure, lists all failures at the end, and fails if there was one.
# System tests mostly sleep: asan is built beside them, in what they leave of the processors.
# Without --all each test runs once: system tests on release, unit and flow tests and a sample of the
# fault matrix under the sanitizers. With --all every test runs on both, the whole matrix is run,
# clang-tidy checks everything, and the daemon runs under valgrind (slow).
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly JOBS=2
readonly SYSTEM_JOBS=6
readonly FUZZ_S=20  # for each target
readonly ASAN_LOG=build/asan.log
readonly FOLDERS=(.ci atcmd bench cli config device fuzz gateway-tools gps include le910sim main
    packaging platform published recording scripts sms statemachine tests)

# Unit and flow tests run under the sanitizers, system tests with the programs that ship.
releaseTargets=(cellslot cellslotd gateway_day le910sim print_commands skvs platform_tests)
releaseTests=(-L 'system|processes')
asanTests=(-L 'unit|flow|matrix')
lintOptions=(--quick)
summary=
stepStart=$SECONDS
failed=0
asanBuild=  # pid

usage() {
    cat <<'TEXT'
Usage: test.sh [--all]
Builds and tests everything. It must pass before a change lands. Ends with a summary.
  --all  every test on both builds, slower checks, the package on a fresh host and on a virtual
         gateway
TEXT
}

# Each line of the summary shows the duration of its step.
record() { # WHAT RESULT
    summary+=$(printf '%-16s %4d s  %s' "$1" "$((SECONDS - stepStart))" "$2")$'\n'
    stepStart=$SECONDS
}

# check WHAT COMMAND...: runs the command and records its result.
check() {
    local what=$1
    shift
    echo "== $what"
    if "$@"; then
        record "$what" ok
    else
        record "$what" FAILED
        failed=1
        return 1
    fi
}

filesOf() { # FIND-EXPRESSION...
    local folder
    for folder in "${FOLDERS[@]}"; do
        [[ ! -d $folder ]] || find "$folder" -type f "$@" -print0
    done
}

checkShell() {
    filesOf | xargs -0 awk 'FNR == 1 && (/^#!.*[\/ ](ba)?sh$/ || FILENAME ~ /completion$/) { print FILENAME }' |
        xargs -d '\n' shellcheck --external-sources
}

checkFormat() {
    filesOf \( -name '*.cpp' -o -name '*.h' \) | xargs -0 clang-format-14 --dry-run -Werror
}

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
    local preset=$1 jobs=$2 log=build/$1/test.log line again=
    shift 2
    echo "== $preset tests"
    if ! ctest --preset "$preset" "$@" -j "$jobs" --no-tests=error 2>&1 | tee "$log"; then
        again=$(runAgain "$preset") || failed=1
    fi
    line=$(grep -E '^[0-9]+% tests passed' "$log") || line='FAILED: no test was run'
    record "$preset tests" "$line${again:+; passed on the second run: $again}"
}

# Compilers differ in the instructions they make of the same code: reported, but not a failure.
checkInstructions() {
    local status=0
    echo '== instructions'
    scripts/bench.sh --instructions || status=$?
    case $status in
    0) record instructions ok ;;
    77) record instructions 'not compared: the numbers are for another compiler or C library' ;;
    *)
        record instructions FAILED
        failed=1
        ;;
    esac
}

startAsanBuild() {
    mkdir -p build
    set -m # a process group of its own, so that it can be ended as a whole
    (
        renice -n 19 "$BASHPID" >/dev/null
        chrt --idle --pid 0 "$BASHPID" || true # optional
        build asan
    ) >"$ASAN_LOG" 2>&1 &
    asanBuild=$!
    set +m
}

finishAsanBuild() {
    local status=0
    wait "$asanBuild" || status=$?
    asanBuild=
    ((status == 0)) || cat "$ASAN_LOG"
    return "$status"
}

endAsanBuild() {
    [[ -z $asanBuild ]] || kill -- "-$asanBuild" || true
}

main() {
    local start=$SECONDS
    case ${1:-} in
    '') ;;
    --all)
        releaseTargets=() releaseTests=() asanTests=() lintOptions=()
        export CELLSLOT_TEST_ALL=1  # tests that use a sample run everything
        ;;
    *) helpOrRefuse "$1" ;;
    esac
    scripts/setup.sh
    check 'shell scripts' checkShell || true
    check formatting checkFormat || true
    check lint scripts/lint.sh "${lintOptions[@]}" || true
    trap endAsanBuild EXIT
    if check 'release build' build release "${releaseTargets[@]}"; then
        startAsanBuild
        runTests release "$SYSTEM_JOBS" "${releaseTests[@]}"
    else
        startAsanBuild
    fi
    if check 'asan build' finishAsanBuild; then
        runTests asan "$JOBS" "${asanTests[@]}"
    fi
    if [[ ${1:-} == --all ]]; then
        check valgrind scripts/valgrind.sh || true
        check 'fault matrix' scripts/private_namespace.sh --keep "$PWD/build" \
            build/release/bin/fault_matrix --suite all --jobs "$JOBS" || true
        check 'a day' scripts/private_namespace.sh --keep "$PWD/build" \
            build/release/bin/gateway_day 24 590 || true
    fi
    checkInstructions
    check package scripts/test_package.sh "$@" || true
    check arm64 scripts/test_cross.sh arm64 "$@" || true
    if [[ ${1:-} == --all ]]; then
        check gateway scripts/test_gateway.sh || true
    fi
    FUZZ_JOBS=3 check fuzzing scripts/fuzz.sh "$FUZZ_S" || true
    printf '\n== summary after %d s\n%s' "$((SECONDS - start))" "$summary"
    return "$failed"
}

main "$@"
