#!/usr/bin/env bash
# Builds the agent of a gateway and its Debian package: agent, what works as root for it, operator's
# subcommand. At the end prints the package's path.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/deb.sh
. scripts/lib/deb.sh
readonly NAME=cellslot-agent
readonly PLACE=/usr/lib/cellslot
readonly PROGRAMS=(cellslot-agent cellslot-agent-root cellslot-agent-command)
readonly UNITS=(cellslot-agent.service cellslot-agent-commands.socket cellslot-agent-commands@.service
    cellslot-agent-change.path cellslot-agent-change.service)

usage() {
    cat <<'TEXT'
Usage: package_agent.sh [--preset release|arm64|armhf] [--version VERSION] [--output FOLDER] [--no-build]
Builds the agent of a gateway and the package FOLDER/cellslot-agent_VERSION_ARCHITECTURE.deb. Defaults:
folder build/packages, version from CMakeLists.txt. --no-build packs the programs already built.
scripts/setup_agent.sh installs what the build needs.
TEXT
}

putFiles() {
    local name
    putRecords "$NAME"
    for name in "${PROGRAMS[@]}"; do
        putProgram "$name" "$PLACE/$name"
    done
    put 644 agent/cellslot-agent.bash-completion "$PLACE/cellslot-agent.bash-completion"
    for name in "${UNITS[@]}"; do
        put 644 "packaging/agent/$name" "/lib/systemd/system/$name"
    done
    put 644 packaging/agent/sysusers.conf /usr/lib/sysusers.d/cellslot-agent.conf
    put 644 packaging/agent/agent.conf /etc/cellslot/agent.conf
    putConffiles
    putZipped docs/man/cellslot-agent.8 /usr/share/man/man8/cellslot-agent.8
    put 644 docs/fleet.md "/usr/share/doc/$NAME/fleet.md"
    for name in docs/fleet/asyncapi.yaml docs/fleet/schemas/*; do
        put 644 "$name" "/usr/share/doc/$NAME/${name#docs/}"
    done
}

main() {
    local depends
    packPrograms "$@"
    putControl "$NAME" packaging/agent/deb <<TEXT
Depends: $depends, cellslot
Recommends: cellslot-history
Description: agent of a gateway's modems at the operator's MQTT broker
 Says to a broker whether the gateway is there, how its modems are and what
 happened, and loses nothing while there is no line. Executes the commands that
 the gateway's operator lists in /etc/cellslot/agent.conf: none without that. A
 new configuration stays in force only if the gateway comes back with it.
TEXT
    finishPackage "$NAME"
}

main "$@"
