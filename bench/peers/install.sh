#!/usr/bin/env bash
# Installs the programs that scripts/bench.sh --peers compares the daemon with, as root or with sudo.
# No service of theirs starts, neither now nor at the next boot. A program that is already installed is
# left as it is.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/../.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/packages.sh
. scripts/lib/packages.sh

readonly POLICY=/usr/sbin/policy-rc.d
# Package and the service that it brings.
readonly SERVICES=(
    'modemmanager ModemManager'
    'gammu-smsd gammu-smsd'
    'smstools smstools'
)
# A message bus of its own for ModemManager, and what reads from it.
readonly HELPERS=(dbus-bin dbus-daemon)

usage() {
    cat <<'TEXT'
Usage: install.sh
Installs ModemManager, gammu-smsd and smstools from Debian's archive, without starting or enabling
their services.
TEXT
}

# While packages are installed, no service starts: the maintainer scripts ask this program.
forbidStarts() {
    [[ ! -e $POLICY ]] || return 0
    printf '#!/bin/sh\nexit 101\n' | asRoot tee "$POLICY" >/dev/null
    asRoot chmod 755 "$POLICY"
    trap 'asRoot rm -f "$POLICY"' EXIT
}

disableServices() { # PACKAGE...
    local row package service
    for row in "${SERVICES[@]}"; do
        read -r package service <<<"$row"
        [[ " $* " == *" $package "* ]] || continue
        if command -v systemctl >/dev/null; then
            asRoot systemctl disable "$service.service"
        elif [[ -e /etc/init.d/$service ]]; then
            asRoot update-rc.d "$service" disable
        fi
    done
}

main() {
    (($# == 0)) || helpOrRefuse "$1"
    local packages
    mapfile -t packages < <(missingPackages "${SERVICES[@]%% *}" "${HELPERS[@]}")
    ((${#packages[@]})) || return 0
    announceInstallation "${packages[@]}"
    forbidStarts
    installPackages "${packages[@]}"
    disableServices "${packages[@]}"
}

main "$@"
