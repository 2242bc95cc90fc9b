#!/usr/bin/env bash
# Measures what the agent costs an idle gateway with TLS and client certificates: resident memory by what is
# mapped, processor time, writes, and bytes on the wire of a day and of a connection that broke, counted by the
# kernel at an interface from the IP header on. For the wire, the clocks of agent, daemon and broker run faster
# (faketime), so that a day takes 24 minutes. Takes half an hour.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh

usage() {
    cat <<'TEXT'
Usage: bench_agent.sh [HOURS]
Measures memory, processor time and bytes on the wire of the agent beside an idle modem. HOURS of the agent's
clock are measured (24); each takes a minute.
TEXT
}

main() {
    case ${1:-24} in
    *[!0-9]*) helpOrRefuse "$1" ;;
    esac
    scripts/setup.sh --test
    scripts/setup_agent.sh --test
    cmake --preset release >/dev/null
    cmake --build --preset release -j 2 --target cellslot cellslotd cellslot-agent le910sim skvs
    CELLSLOT_HOURS=${1:-24} CELLSLOT_BIN=$PWD/build/release/bin CELLSLOT_HOST=$PWD/gateway-tools \
        scripts/private_namespace.sh --keep "$PWD/build" /usr/bin/python3 tests/agent/measure.py
}

main "$@"
