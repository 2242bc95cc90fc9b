#!/usr/bin/env bash
# Installs what only the agent of a gateway and the operator's fleet command need, as far as it is missing:
# to build them, and with --test to test them too. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"
# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/packages.sh"

# shellcheck disable=SC2034 # of packages.sh
readonly BUILD=(
    libcrypt-dev
    libgnutls28-dev
    libmicrohttpd-dev
    libmosquitto-dev
    pkg-config
)
# shellcheck disable=SC2034 # of packages.sh
readonly TEST=(
    mosquitto
    mosquitto-clients
    nats-server
    openssl
    python3-jsonschema
    python3-paho-mqtt
    python3-yaml
)
# The tests start these themselves.
# shellcheck disable=SC2034 # of packages.sh
readonly SERVICES=(mosquitto:mosquitto nats-server:nats-server)

usage() {
    cat <<'TEXT'
Usage: setup_mqtt.sh [--test]
Installs what building cellslot-agent and cellslot-fleet needs beside what setup.sh installs,
as far as it is missing; as root or with sudo.
  --test  also what their tests need: brokers, and what checks the messages' descriptions
TEXT
}

setUpPackages "$@"
