#!/usr/bin/env bash
# Installs what only the page of a gateway needs, as far as it is missing: to build it, and with --test
# to test it too. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

readonly BUILD=(
    libcrypt-dev
    libgnutls28-dev
    libmicrohttpd-dev
    pkg-config
)
readonly TEST=(
    chromium
    chromium-driver
    curl
    fonts-dejavu-core
    lighttpd
    nginx-light
    openssl
    prometheus
)

usage() {
    cat <<'TEXT'
Usage: setup_web.sh [--test]
Installs what building cellslot-web needs, as far as it is missing; as root or with sudo.
  --test  also what its tests need: Chromium, Prometheus, nginx and lighttpd
TEXT
}

# The tests start these themselves; the packages' services would only listen on the host.
stopServices() {
    if [[ -d /run/systemd/system ]]; then
        asRoot systemctl disable --now lighttpd.service nginx.service prometheus.service
    fi
}

main() {
    local packages wanted=("${BUILD[@]}")
    case ${1:-} in
    '') ;;
    --test) wanted+=("${TEST[@]}") ;;
    *) helpOrRefuse "$1" ;;
    esac
    # It may come with a node that is not Debian's.
    command -v npm >/dev/null || wanted+=(npm)
    mapfile -t packages < <(missingPackages "${wanted[@]}")
    ((${#packages[@]})) || return 0
    announceInstallation "${packages[@]}"
    installPackages "${packages[@]}"
    if [[ " ${packages[*]} " == *' prometheus '* ]]; then
        stopServices
    fi
}

main "$@"
