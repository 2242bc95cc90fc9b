#!/usr/bin/env bash
# Makes the recorded status files and screens in tests/data again and shows the differences.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh

usage() {
    cat <<'TEXT'
Usage: renew_status_data.sh
Builds the tests that own the files of tests/data/status and tests/data/status_file, makes them write
the files again, and shows the difference to the committed ones. Check that each changed line is
intended, then run the tests.
  -h, --help  show this text
TEXT
}

# record PROGRAM FILTER: the tests that FILTER chooses write their files.
record() {
    CELLSLOT_RENEW_RECORDINGS=1 scripts/private_namespace.sh --keep "$PWD/build" \
        "build/debug/bin/$1" --gtest_brief=1 --gtest_filter="$2"
}

# New files too, which git diff leaves out.
showDifference() {
    local changes
    changes=$(git status --short -- tests/data)
    if [[ -z $changes ]]; then
        echo 'renew_status_data.sh: nothing is different from what is committed'
        return
    fi
    git --no-pager diff -- tests/data
    echo "$changes"
}

main() {
    case ${1:-} in
    "") ;;
    *) helpOrRefuse "$1" ;;
    esac
    cmake --preset debug >/dev/null
    cmake --build --preset debug -j 2 \
        --target status_flow_tests status_recordings_flow_tests cli_tests
    # A file that no test makes any more is removed.
    rm -f tests/data/status/*.status tests/data/status/*.screen
    record status_flow_tests 'StatusFile.Connected*:Status.Keys*'
    record status_recordings_flow_tests 'Each/StatusRecording.*'
    # The screens after the recordings, because they show them.
    record cli_tests 'StatusScreen.*:WatchScreen.*'
    showDifference
}

main "$@"
