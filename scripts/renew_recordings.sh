#!/usr/bin/env bash
# Writes again what the daemon publishes at the end of each recording of tests/recordings and shows
# the differences.
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh

usage() {
    cat <<'TEXT'
Usage: renew_recordings.sh [--make [NAME]...]
Replays each recording of tests/recordings and writes beside it what the daemon published at its end
(NAME.published), then shows the difference to what is committed. Check that each changed line is
intended. To add a recording, put it there as NAME.jsonl and run this script.
  --make      first makes the recordings of tests/recordings/sessions.json again with the simulated
              modem, all of them or those named
  -h, --help  show this text
TEXT
}

# New files too, which git diff leaves out.
showDifference() {
    local changes
    changes=$(git status --short -- tests/recordings)
    if [[ -z $changes ]]; then
        echo 'renew_recordings.sh: nothing is different from what is committed'
        return
    fi
    git --no-pager diff -- tests/recordings/*.published
    echo "$changes"
}

main() {
    local make=no
    case ${1:-} in
    "") ;;
    --make)
        make=yes
        shift
        ;;
    *) helpOrRefuse "$1" ;;
    esac
    cmake --preset debug >/dev/null
    cmake --build --preset debug -j 2 --target make_recordings recordings_flow_tests
    if [[ $make == yes ]]; then
        scripts/private_namespace.sh --keep "$PWD/build" build/debug/bin/make_recordings \
            tests/recordings/sessions.json "$PWD/tests/recordings" "$@"
    fi
    # One that was removed leaves nothing.
    local published
    for published in tests/recordings/*.published; do
        [[ -e ${published%.published}.jsonl ]] || rm -f "$published"
    done
    CELLSLOT_RENEW_RECORDINGS=1 scripts/private_namespace.sh --keep "$PWD/build" \
        build/debug/bin/recordings_flow_tests --gtest_brief=1 --gtest_filter='*AsRecorded*' ||
        echo 'renew_recordings.sh: see above: a recording is not replayed as it was recorded' >&2
    showDifference
}

main "$@"
