#!/usr/bin/env bash
# Installs what only the page of a gateway needs, as far as it is missing: to build it, and with --test
# to test it too. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

BUILD=(
    libcrypt-dev
    libgnutls28-dev
    libmicrohttpd-dev
    pkg-config
)
# shellcheck disable=SC2034 # of packages.sh
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
# The tests start these themselves.
# shellcheck disable=SC2034 # of packages.sh
readonly SERVICES=(lighttpd:lighttpd nginx-light:nginx prometheus:prometheus)

usage() {
    cat <<'TEXT'
Usage: setup_web.sh [--test]
Installs what building cellslot-web needs beside what setup.sh installs,
as far as it is missing; as root or with sudo.
  --test  also what its tests need: Chromium, Prometheus, nginx and lighttpd
TEXT
}

main() {
    # It may come with a node that is not Debian's.
    command -v npm >/dev/null || BUILD+=(npm)
    setUpPackages "$@"
}

main "$@"
