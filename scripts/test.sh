#!/usr/bin/env bash
# Everything that has to pass: shell scripts and formatting checked, presets release and asan built
# and tested. Goes on after a failure, tells all of them at the end, and fails if there was one.
# Without --all each test runs once: system tests on release, unit and flow tests under the
# sanitizers. With --all every test runs on both, clang-tidy looks at everything and the daemon runs
# under valgrind (slow).
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly JOBS=2
readonly FUZZ_S=20  # for each target
readonly FOLDERS=(.ci atcmd bench cli config device fuzz gps host include main platform scripts sim
    sms statemachine tests)

# Unit and flow tests run under the sanitizers, system tests with the programs as they ship.
releaseTargets=(cellslotd le910sim skvs platform_tests)
releaseTests=(-L 'system|processes')
asanTests=(-L 'unit|flow')
lintOptions=(--quick)
summary=
failed=0

record() { # WHAT RESULT
    summary+=$(printf '%-16s %s' "$1" "$2")$'\n'
}

# check WHAT COMMAND...: runs it and notes how it went.
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
    filesOf | xargs -0 awk 'FNR == 1 && /^#!.*[\/ ](ba)?sh$/ { print FILENAME }' |
        xargs -d '\n' shellcheck
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

# ctest's closing line stands in its output, and again in the summary.
runTests() { # PRESET CTEST-OPTION...
    local preset=$1 log=build/$1/test.log line
    echo "== $preset tests"
    if ! ctest --preset "$@" -j "$JOBS" --no-tests=error 2>&1 | tee "$log"; then
        failed=1
    fi
    line=$(grep -E '^[0-9]+% tests passed' "$log") || line='FAILED: no test was run'
    record "$preset tests" "$line"
}

main() {
    local start=$SECONDS
    case ${1:-} in
    '') ;;
    --all)
        releaseTargets=() releaseTests=() asanTests=() lintOptions=()
        ;;
    -h | --help)
        echo 'Usage: test.sh [--all]   (--all: every test on both builds, and slower checks)'
        return
        ;;
    *)
        echo "test.sh: unknown option '$1' (--all or none)" >&2
        return 2
        ;;
    esac
    scripts/setup.sh
    check 'shell scripts' checkShell || true
    check formatting checkFormat || true
    check lint scripts/lint.sh "${lintOptions[@]}" || true
    if check 'release build' build release "${releaseTargets[@]}"; then
        runTests release "${releaseTests[@]}"
    fi
    if check 'asan build' build asan; then
        runTests asan "${asanTests[@]}"
    fi
    if [[ ${1:-} == --all ]]; then
        check valgrind scripts/valgrind.sh || true
    fi
    check fuzzing scripts/fuzz.sh "$FUZZ_S" || true
    printf '\n== summary after %d s\n%s' "$((SECONDS - start))" "$summary"
    return "$failed"
}

main "$@"
