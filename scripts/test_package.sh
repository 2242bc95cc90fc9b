#!/usr/bin/env bash
# Makes the Debian package and tests it. With --all also on a fresh host: a root folder made with
# mmdebstrap from the mirror of this machine's apt. That takes about a minute and needs the network.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/packages.sh
. scripts/lib/packages.sh
readonly WORK=$PWD/build/package-test
# Besides a minimal host: the dependencies of the package, and the programs that read its rules for
# devices and logs.
readonly DEPENDENCIES=libstdc++6,iproute2,iputils-ping,udev,logrotate

usage() {
    cat <<'TEXT'
Usage: test_package.sh [--all]
Builds the Debian package and tests its content.
  --all  also install, run, upgrade and remove it on a fresh host, made with mmdebstrap; takes about a
         minute and needs the network
TEXT
}

makePackages() {
    local version
    scripts/package.sh --output "$WORK/old"
    version=$(dpkg-deb --field "$WORK"/old/*.deb Version)
    scripts/package.sh --no-build --version "$version+1" --output "$WORK/new"
    cmake --build --preset release --target le910sim
}

makeRoot() {
    local suite address
    read -r suite address < <(findMirror)
    mkdir -p "$WORK/root"
    mmdebstrap --quiet --mode=root --variant=minbase --include="$DEPENDENCIES" \
        --skip=cleanup/tmp "$suite" - "$address" | tar -C "$WORK/root" -x --exclude='./dev/*'
}

runTests() { # CLASS
    CELLSLOT_BIN=$PWD/build/release/bin CELLSLOT_HOST=$PWD/gateway-tools CELLSLOT_PACKAGES=$WORK \
        CELLSLOT_ROOT=$WORK/root scripts/private_namespace.sh --keep "$PWD/build" \
        python3 tests/package/package_test.py -v "$1"
}

main() {
    case ${1:-} in
    '' | --all) ;;
    *) helpOrRefuse "$1" ;;
    esac
    rm -rf "$WORK"
    makePackages
    runTests Contents
    [[ ${1:-} == --all ]] || return 0
    makeRoot
    runTests Life
    rm -rf "$WORK/root"
}

main "$@"
