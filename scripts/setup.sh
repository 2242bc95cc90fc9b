#!/usr/bin/env bash
# Installs the missing packages that building and testing need on Debian 12. Needs root or sudo only if
# something is missing.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

readonly BUILD=(
    ccache
    cmake
    g++
    libcli11-dev
    libglib2.0-dev
    liblmdb-dev
    librrd-dev
    libssl-dev
    ninja-build
    nlohmann-json3-dev
    pkg-config
)
readonly TEST=(
    busybox
    clang
    clang-format-14
    clang-tidy
    cppcheck
    faketime
    gcovr
    gpsd
    iproute2
    iputils-ping
    jq
    libbenchmark-dev
    libgammu-dev
    libgmock-dev
    libgtest-dev
    lintian
    man-db
    mandoc
    mmdebstrap
    procps
    python3
    rrdtool
    shellcheck
    strace
    systemd
    util-linux
    valgrind
)

usage() {
    cat <<'TEXT'
Usage: setup.sh
Installs the missing packages for building and testing on Debian 12, as root or with sudo.
TEXT
}

# The tests start gpsd themselves; the package's service would only listen on the host.
stopGpsdService() {
    if [[ -d /run/systemd/system ]]; then
        asRoot systemctl disable --now gpsd.socket gpsd.service
    fi
}

main() {
    local packages
    case ${1:-} in
    '') ;;
    *) helpOrRefuse "$1" ;;
    esac
    if ! command -v dpkg >/dev/null || ! command -v apt-get >/dev/null; then
        echo "setup.sh: this is not Debian; install the equivalents of these packages by hand:" \
            "${BUILD[*]} ${TEST[*]}" >&2
        return 1
    fi
    mapfile -t packages < <(missingPackages "${BUILD[@]}" "${TEST[@]}")
    if ((${#packages[@]} == 0)); then
        return
    fi
    announceInstallation "${packages[@]}"
    installPackages "${packages[@]}"
    if [[ " ${packages[*]} " == *' gpsd '* ]]; then
        stopGpsdService
    fi
}

main "$@"
