#!/usr/bin/env bash
# Makes the Debian package and tests it. With --all also on a fresh host: a root folder made with
# mmdebstrap from the mirror of this machine's apt. That takes about a minute and needs the network.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/package_test.sh
. scripts/lib/package_test.sh
readonly WORK=$PWD/build/package-test

usage() {
    cat <<'TEXT'
Usage: test_package.sh [--all]
Builds the Debian package and tests its content.
  --all  also install, run, upgrade and remove it on a fresh host, made with mmdebstrap; takes about a
         minute and needs the network
TEXT
}

makePackages() {
    scripts/package.sh --output "$WORK/old"
    makeNewer package.sh cellslot
}

main() {
    case ${1:-} in
    '' | --all) ;;
    *) helpOrRefuse "$1" ;;
    esac
    rm -rf "$WORK"
    makePackages
    runTests package_test Contents
    [[ ${1:-} == --all ]] || return 0
    makeRoot "$DEPENDENCIES"
    runTests package_test Life
    rm -rf "$WORK/root"
}

main "$@"
