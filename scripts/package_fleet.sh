#!/usr/bin/env bash
# Builds the Debian package of the operator's desk: cellslot-fleet with its page. At the end prints the package's path.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/deb.sh
. scripts/lib/deb.sh
readonly NAME=cellslot-fleet PROGRAMS=(cellslot-fleet) PLACE=/usr/bin

usage() {
    cat <<'TEXT'
Usage: package_fleet.sh [--preset release|arm64|armhf] [--version VERSION] [--output FOLDER] [--no-build]
Builds the package FOLDER/cellslot-fleet_VERSION_ARCHITECTURE.deb. Defaults: folder build/packages, version
from CMakeLists.txt. --no-build packs the program already built. scripts/setup_mqtt.sh installs what the
build needs.
TEXT
}

# What is below FOLDER, with the same modes.
putFolder() { # FOLDER PLACE
    local file mode
    while read -r file; do
        mode=644
        [[ ! -x $1/$file ]] || mode=755
        put "$mode" "$1/$file" "$2/$file"
    done < <(cd "$1" && find . -type f -printf '%P\n' | sort)
}

putPage() {
    local file
    scripts/web_page.sh --fleet >&2
    for file in build/web/fleet-page/*.gz; do
        put 644 "$file" "/usr/share/cellslot-fleet/${file##*/}"
    done
    put 644 packaging/fleet/cellslot-fleet.service /lib/systemd/system/cellslot-fleet.service
    put 644 packaging/fleet/sysusers.conf /usr/lib/sysusers.d/cellslot-fleet.conf
}

putFiles() {
    local doc=/usr/share/doc/$NAME
    putProgram cellslot-fleet "$PLACE/cellslot-fleet"
    putPage
    put 644 packaging/fleet/fleet.conf /etc/cellslot/fleet.conf
    putConffiles
    put 644 fleet/cellslot-fleet.bash-completion /usr/share/bash-completion/completions/cellslot-fleet
    putZipped docs/man/cellslot-fleet.1 /usr/share/man/man1/cellslot-fleet.1
    put 644 docs/fleet.md "$doc/fleet.md"
    putFolder docs/fleet "$doc/fleet"
    putFolder contrib "$doc/examples"
    putRecords "$NAME"
}

main() {
    local depends
    packPrograms "$@"
    putControl "$NAME" packaging/fleet/deb <<TEXT
Depends: $depends
Suggests: mosquitto | nats-server, openssl
Description: all gateways of cellslot over an MQTT broker
 For the operator's desk: shows the gateways whose cellslot-agent is at the same
 broker, the worst first, with what is wrong in words, and asks one, some or all
 of them to do something, in waves. It keeps no data of its own: the broker's
 retained messages are the state. A service, which the operator enables, shows
 the same as a page and as metrics for Prometheus. Configurations for mosquitto and for a cluster
 of nats-server are in the package's examples.
TEXT
    finishPackage "$NAME"
}

main "$@"
