#!/usr/bin/env bash
# Installs what the virtual gateway needs, as far as it is missing: the tools that make its disk and
# the emulator that boots it. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

usage() {
    cat <<'TEXT'
Usage: setup_gateway.sh [amd64|arm64|armhf]
Installs what scripts/test_gateway.sh needs for a gateway with that processor (amd64 unless given), as
far as it is missing; as root or with sudo.
TEXT
}

main() {
    local wanted=(cpio e2fsprogs fakeroot kmod mmdebstrap python3 qemu-utils
        uidmap util-linux) # without root the disk is made in a user namespace
    case ${1:-amd64} in
    amd64) wanted+=(qemu-system-x86) ;;
    arm64 | armhf) wanted+=(qemu-system-arm qemu-user-static) ;;
    *) helpOrRefuse "$1" ;;
    esac
    installMissing "${wanted[@]}"
}

main "$@"
