#!/usr/bin/env bash
# Installs what only the agent of a gateway needs, as far as it is missing: what setup_mqtt.sh installs, and
# with --test what its tests need too. As root or with sudo.
set -euo pipefail

# shellcheck source=scripts/lib/options.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib/options.sh"

usage() {
    cat <<'TEXT'
Usage: setup_agent.sh [--test]
Installs what building cellslot-agent needs beside what setup.sh installs,
as far as it is missing; as root or with sudo.
  --test  also what its tests need: a broker and its client for Python
TEXT
}

main() {
    case ${1:-} in
    '' | --test) ;;
    *) helpOrRefuse "$1" ;;
    esac
    "$(dirname "${BASH_SOURCE[0]}")/setup_mqtt.sh" "$@"
}

main "$@"
