#!/usr/bin/env bash
# Installs what only the agent of a gateway and the operator's fleet command need, as far as it is missing:
# to build them, and with --test to test them too. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

readonly BUILD=(
    libcrypt-dev
    libgnutls28-dev
    libmicrohttpd-dev
    libmosquitto-dev
    pkg-config
)
readonly TEST=(
    mosquitto
    mosquitto-clients
    nats-server
    openssl
    python3-jsonschema
    python3-paho-mqtt
    python3-yaml
)

usage() {
    cat <<'TEXT'
Usage: setup_mqtt.sh [--test]
Installs what building cellslot-agent and cellslot-fleet needs, as far as it is missing; as root or with
sudo.
  --test  also what their tests need: brokers, and what checks the messages' descriptions
TEXT
}

# The tests start the brokers themselves; the packages' services would only listen on the host.
stopServices() {
    if [[ -d /run/systemd/system ]]; then
        asRoot systemctl disable --now mosquitto.service nats-server.service
    fi
}

main() {
    local packages wanted=("${BUILD[@]}")
    case ${1:-} in
    '') ;;
    --test) wanted+=("${TEST[@]}") ;;
    *) helpOrRefuse "$1" ;;
    esac
    mapfile -t packages < <(missingPackages "${wanted[@]}")
    ((${#packages[@]})) || return 0
    announceInstallation "${packages[@]}"
    installPackages "${packages[@]}"
    if [[ " ${packages[*]} " == *' mosquitto '* ]]; then
        stopServices
    fi
}

main "$@"
