#!/usr/bin/env bash
# Makes the Debian package of the history and tests it. With --all also on a fresh host, beside the daemon's
# package: a root folder made with mmdebstrap from the mirror of this machine's apt. That takes some minutes
# and needs the network.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/package_test.sh
. scripts/lib/package_test.sh
readonly WORK=$PWD/build/history-package-test

usage() {
    cat <<'TEXT'
Usage: test_history.sh [--all]
Builds the Debian package of the history and tests its content.
  --all  also install, run, upgrade and remove it on a fresh host, made with mmdebstrap; takes some
         minutes and needs the network
TEXT
}

makePackages() {
    scripts/package_history.sh --output "$WORK/old"
    makeNewer package_history.sh cellslot-history
}

main() {
    case ${1:-} in
    '' | --all) ;;
    *) helpOrRefuse "$1" ;;
    esac
    scripts/setup.sh --test
    rm -rf "$WORK"
    makePackages
    runTests history_package_test Contents
    [[ ${1:-} == --all ]] || return 0
    scripts/package.sh --output "$WORK/old"
    makeRoot "$DEPENDENCIES,$(dependenciesOf "$WORK"/old/cellslot-history_*.deb)"
    runTests history_package_test Life
    rm -rf "$WORK/root"
}

main "$@"
