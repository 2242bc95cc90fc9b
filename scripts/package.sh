#!/usr/bin/env bash
# Builds the programs and a Debian package: daemon, operator's command, host tools, service, udev rules,
# documents. At the end prints the package's path.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/deb.sh
. scripts/lib/deb.sh
readonly NAME=cellslot
readonly PROGRAMS=(cellslotd cellslot skvs)
readonly TOOLS=(setup_cellint.sh systime.sh sledctl ResetCellular slot-of-port timeout)

usage() {
    cat <<'TEXT'
Usage: package.sh [--preset release|arm64|armhf] [--version VERSION] [--output FOLDER] [--no-build]
Builds the programs and the package FOLDER/cellslot_VERSION_ARCHITECTURE.deb. Defaults: folder
build/packages, version from CMakeLists.txt. --no-build packs the programs already built.
TEXT
}

putPrograms() {
    local tool
    putProgram cellslotd /usr/sbin/cellslotd
    putProgram cellslot /usr/bin/cellslot
    putProgram skvs /usr/bin/skvs
    for tool in "${TOOLS[@]}"; do
        put 755 "gateway-tools/$tool" "/usr/lib/cellslot/$tool"
    done
}

putServices() {
    local slot place
    put 644 packaging/cellslotd@.service /lib/systemd/system/cellslotd@.service
    put 644 packaging/cellslot-booted.service /lib/systemd/system/cellslot-booted.service
    put 644 packaging/cellslot-clock@.service /lib/systemd/system/cellslot-clock@.service
    put 644 packaging/cellslot-dns.path /lib/systemd/system/cellslot-dns.path
    put 644 packaging/cellslot-dns.service /lib/systemd/system/cellslot-dns.service
    put 644 packaging/tmpfiles.conf /usr/lib/tmpfiles.d/cellslot.conf
    put 644 packaging/60-cellslot.rules /lib/udev/rules.d/60-cellslot.rules
    put 644 packaging/00-cellslot.network /usr/lib/systemd/network/00-cellslot.network
    put 644 packaging/logrotate.conf /etc/logrotate.d/cellslot
    put 644 packaging/slots.conf /etc/cellslot/slots.conf
    install -d "$tree/etc/vuk" "$tree/etc/default"
    for slot in 1 2 3; do
        place=$tree/etc/default/cellslotd.$slot
        sed "s/@SLOT@/$slot/g; s/@INTERFACE@/wwan$((slot - 1))/g" packaging/cellslotd.default.in >"$place"
        chmod 644 "$place"
    done
    putConffiles
}

# Man pages and completion, as far as they exist; not those of other packages.
putDocuments() {
    local page document completion=cli/cellslot.bash-completion
    local doc=/usr/share/doc/$NAME
    for page in docs/man/*.[158]; do
        [[ ! -e $page || $page == */cellslot-*.[18] ]] ||
            putZipped "$page" "/usr/share/man/man${page##*.}/${page##*/}"
    done
    [[ ! -e $completion ]] || put 644 "$completion" /usr/share/bash-completion/completions/cellslot
    for document in docs/*.md; do
        [[ $document == */le910sim.md || $document == */web.md || $document == */history.md || $document == */fleet.md ]] ||
            put 644 "$document" "$doc/${document##*/}"
    done
    put 644 docs/cellslot.conf.example "$doc/examples/cellslot.conf.example"
    put 644 packaging/rsyslog.conf "$doc/examples/rsyslog.conf"
    putRecords "$NAME"
}

main() {
    local depends
    readPackageOptions "$@"
    buildPrograms "${PROGRAMS[@]}"
    startPackage
    putPrograms
    putServices
    putDocuments
    depends=$(sharedLibraries "$NAME" /usr/sbin/cellslotd /usr/bin/cellslot /usr/bin/skvs)
    putControl "$NAME" packaging/deb <<TEXT
Depends: $depends, iproute2, iputils-ping
Recommends: gpsd, logrotate, udev
Description: cellular modem manager for gateways with Telit LE910 modems
 One daemon owns one LTE modem in one of three slots. It unlocks the SIM,
 applies the configuration, starts the data session, sets up the host's
 network interface, polls the modem, publishes its state and recovers from
 faults. It also relays text messages, passes the modem's GPS receiver to
 gpsd and runs AT commands for other programs.
 .
 The package also contains the operator's command, the host tools that the
 daemon runs, a systemd service with watchdog and sandbox, and udev rules that
 name the modem's ports by slot.
TEXT
    finishPackage "$NAME"
}

main "$@"
