#!/usr/bin/env bash
# What has to pass before a change lands: shell scripts, formatting and lint, system tests with the
# programs that ship, unit and flow tests and a smoke of the fault matrix under the sanitizers.
# Continues after a failure, lists all results at the end, and fails if there was a failure.
# System tests mostly sleep: the sanitizers' build runs beside them, in what they leave of the
# processors. scripts/test_more.sh runs what takes longer; with --all both run everything.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/steps.sh
. scripts/lib/steps.sh
# shellcheck source=scripts/lib/test_builds.sh
. scripts/lib/test_builds.sh
readonly SYSTEM_JOBS=10
readonly ASAN_JOBS=3  # some of them sleep
readonly ASAN_LOG=build/asan.log
readonly FOLDERS=(.ci agent atcmd bench cli config contrib device fleet fuzz gateway-tools gps history http
    include le910sim main mqtt observed packaging platform published recording scripts sms statemachine tests web)

# Unit and flow tests of the daemon, of cellslot and of the simulated modem run under the sanitizers,
# system tests with the programs that ship.
releaseTargets=(cellslot cellslot-history cellslot-historyd cellslot-web-history cellslotd gateway_day le910sim
    print_commands skvs platform_tests)
releaseTests=(-L 'system|processes')
asanTargets=(unit_and_flow_tests fault_matrix)
asanTests=(-L 'unit|flow|smoke' -LE packages)
lintOptions=(--quick)
asanBuild=  # pid

usage() {
    cat <<'TEXT'
Usage: test.sh [--all]
Builds and tests what must pass before a change lands. Ends with a summary.
  --all  everything: each test on both builds, slower checks, and then test_more.sh --all
TEXT
}

filesOf() { # FIND-EXPRESSION...
    local folder
    for folder in "${FOLDERS[@]}"; do
        [[ ! -d $folder ]] || find "$folder" -type f "$@" -print0
    done
}

checkShell() {
    filesOf | xargs -0 awk 'FNR == 1 && (/^#!.*[\/ ](ba)?sh$/ || FILENAME ~ /completion$/) { print FILENAME }' |
        xargs -d '\n' -n 12 -P "$JOBS" shellcheck --external-sources
}

checkFormat() {
    filesOf \( -name '*.cpp' -o -name '*.h' \) | xargs -0 -n 60 -P "$JOBS" clang-format-14 --dry-run -Werror
}

startAsanBuild() {
    mkdir -p "${ASAN_LOG%/*}"
    rm -f "$ASAN_LOG.done"
    set -m # a process group of its own, so that it can be ended as a whole
    (
        renice -n 19 "$BASHPID" >/dev/null
        chrt --idle --pid 0 "$BASHPID" || true # optional
        build asan "${asanTargets[@]}" && touch "$ASAN_LOG.done"
    ) >"$ASAN_LOG" 2>&1 &
    asanBuild=$!
    set +m
}

# Not with wait: the step may run in a process of its own.
finishAsanBuild() {
    tail -f --pid="$asanBuild" /dev/null
    [[ -e $ASAN_LOG.done ]] || ! cat "$ASAN_LOG"
}

endAsanBuild() {
    [[ -z $asanBuild ]] || kill -- "-$asanBuild" 2>/dev/null || true
}

main() {
    local all=no
    case ${1:-} in
    '') ;;
    --all)
        all=yes
        releaseTargets=() releaseTests=() asanTargets=() asanTests=() lintOptions=()
        export CELLSLOT_TEST_ALL=1  # tests that use a sample run everything
        ;;
    *) helpOrRefuse "$1" ;;
    esac
    plan packages 1
    plan 'shell scripts' 5
    plan formatting 5
    plan lint 10
    plan 'release build' 105
    plan 'release tests' 170
    plan 'asan build' 60
    plan 'asan tests' 90
    showPlan
    step scripts/setup.sh --test || true
    step checkShell || true
    step checkFormat || true
    step scripts/lint.sh "${lintOptions[@]}" || true
    trap endAsanBuild EXIT
    if step build release "${releaseTargets[@]}"; then
        startAsanBuild
        step runTests release "$SYSTEM_JOBS" "${releaseTests[@]}" || true
    else
        startAsanBuild
        skipStep 'not run'
    fi
    if progressLog=$ASAN_LOG step finishAsanBuild; then
        step runTests asan "$ASAN_JOBS" "${asanTests[@]}" || true
    else
        skipStep 'not run'
    fi
    finishSteps || stepsFailed=1
    if [[ $all == yes ]]; then
        scripts/test_more.sh --all || stepsFailed=1
    fi
    return "$stepsFailed"
}

main "$@"
