#!/usr/bin/env bash
# Shows which lines and branches the tests run, by folder and in total, and every line of the daemon
# and its libraries that no test runs. Runs unit and flow tests; with --all the system tests too. Fails
# if a test fails. Table and lines are also in build/coverage/coverage.txt.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly BUILD=build/coverage
readonly JOBS=2

usage() {
    cat <<'TEXT'
Usage: coverage.sh [--all]
Runs the unit and flow tests and shows the covered lines and branches by folder, and every line of
the daemon that no test runs. build/coverage/coverage.txt contains the same.
  --all  also run the system tests
TEXT
}

main() {
    local levels='unit|flow' failed=0
    case ${1:-} in
    '') ;;
    --all) levels='unit|flow|system' ;;
    *) helpOrRefuse "$1" ;;
    esac
    cmake --preset coverage
    cmake --build --preset coverage -j "$JOBS"
    find "$BUILD" -name '*.gcda' -delete
    ctest --preset coverage -L "$levels" -j "$JOBS" --no-tests=error || failed=1
    gcovr --root . --object-directory "$BUILD" --exclude 'tests/.*' --exclude 'build/.*' \
        --exclude-throw-branches --json "$BUILD/coverage.json" "$BUILD"
    python3 scripts/lib/coverage_table.py "$BUILD/coverage.json" | tee "$BUILD/coverage.txt"
    return "$failed"
}

main "$@"
