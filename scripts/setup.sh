#!/usr/bin/env bash
# Installs the missing packages that building and the demonstration need on Debian 12; with --test also
# those that the tests, the checks and the benchmarks need. Needs root or sudo only if something is
# missing.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

# The last four are for the demonstration.
readonly BUILD=(
    cmake
    g++
    libcli11-dev
    liblmdb-dev
    libssl-dev
    ninja-build
    nlohmann-json3-dev
    gpsd
    iproute2
    iputils-ping
    python3
)
readonly TEST=(
    busybox
    ccache
    clang
    clang-format-14
    clang-tidy
    cppcheck
    dpkg-dev
    faketime
    gcovr
    jq
    libbenchmark-dev
    libcrypt-dev
    libgammu-dev
    libglib2.0-dev
    libgmock-dev
    libgnutls28-dev
    libgtest-dev
    libmicrohttpd-dev
    libmosquitto-dev
    librrd-dev
    lintian
    man-db
    mandoc
    mmdebstrap
    pkg-config
    procps
    python3-jsonschema
    python3-yaml
    rrdtool
    shellcheck
    strace
    systemd
    util-linux
    valgrind
)

usage() {
    cat <<'TEXT'
Usage: setup.sh [--test]
Installs the missing packages for building on Debian 12, as root or with sudo.
  --test  also those for the tests, the checks and the benchmarks
TEXT
}

# The tests start gpsd themselves; the package's service would only listen on the host.
stopGpsdService() {
    if [[ -d /run/systemd/system ]]; then
        asRoot systemctl disable --now gpsd.socket gpsd.service
    fi
}

main() {
    local packages wanted=("${BUILD[@]}")
    case ${1:-} in
    '') ;;
    --test) wanted+=("${TEST[@]}") ;;
    *) helpOrRefuse "$1" ;;
    esac
    if ! command -v dpkg >/dev/null || ! command -v apt-get >/dev/null; then
        echo "setup.sh: this is not Debian; install the equivalents of these packages by hand:" \
            "${wanted[*]}" >&2
        return 1
    fi
    mapfile -t packages < <(missingPackages "${wanted[@]}")
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
