#!/usr/bin/env bash
# Installs the missing packages that cross builds need: compiler, libraries of the other architecture
# beside the native ones, and the emulator for the tests. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

usage() {
    cat <<'TEXT'
Usage: setup_cross.sh arm64|armhf [--all]
Installs what is missing to build for that processor, as root or with sudo: compiler, libraries, and
the emulator for the tests.
  --all  also the libraries of the history and of the page: about 70 packages
TEXT
}

main() {
    local architecture=${1:-} packages wanted
    case $architecture in
    arm64 | armhf) ;;
    *) helpOrRefuse "$architecture" ;;
    esac
    wanted=("crossbuild-essential-$architecture" qemu-user-static
        "libgmock-dev:$architecture" "libgtest-dev:$architecture"
        "liblmdb-dev:$architecture" "libssl-dev:$architecture" "libstdc++6:$architecture")
    case ${2:-} in
    '') ;;
    --all)
        wanted+=("libcrypt-dev:$architecture" "libgnutls28-dev:$architecture"
            "libmicrohttpd-dev:$architecture" "librrd-dev:$architecture" pkg-config)
        ;;
    *) helpOrRefuse "$2" ;;
    esac
    mapfile -t packages < <(missingPackages "${wanted[@]}")
    ((${#packages[@]})) || return 0
    announceInstallation "${packages[@]}"
    dpkg --print-foreign-architectures | grep -qx "$architecture" ||
        asRoot dpkg --add-architecture "$architecture"
    # Some libraries cannot be installed beside the native ones: better none than to lose those.
    installPackages --no-remove "${packages[@]}"
}

main "$@"
