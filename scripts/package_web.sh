#!/usr/bin/env bash
# Builds the page of a gateway and its Debian package: server, page, services. Fetches uPlot from the npm
# registry. At the end prints the package's path.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/deb.sh
. scripts/lib/deb.sh
readonly NAME=cellslot-web PROGRAMS=(cellslot-web) PLACE=/usr/sbin
readonly UNITS=(cellslot-web.service cellslot-web.socket cellslot-web-lan.socket
    cellslot-web-messages.socket cellslot-web-messages@.service)

usage() {
    cat <<'TEXT'
Usage: package_web.sh [--preset release|arm64|armhf] [--version VERSION] [--output FOLDER] [--no-build]
Builds the page of a gateway and the package FOLDER/cellslot-web_VERSION_ARCHITECTURE.deb. Defaults:
folder build/packages, version from CMakeLists.txt. --no-build packs the programs already built.
scripts/setup_web.sh installs what the build needs.
TEXT
}

putPage() {
    local file
    scripts/web_page.sh >&2
    for file in build/web/page/*.gz; do
        put 644 "$file" "/usr/share/cellslot-web/${file##*/}"
    done
    put 644 build/web/npm/node_modules/uplot/LICENSE "/usr/share/doc/$NAME/copyright.uplot"
}

putServices() {
    local unit
    for unit in "${UNITS[@]}"; do
        put 644 "packaging/web/$unit" "/lib/systemd/system/$unit"
    done
    put 644 packaging/web/sysusers.conf /usr/lib/sysusers.d/cellslot-web.conf
    put 644 packaging/web/web.conf /etc/cellslot/web.conf
    putConffiles
}

putDocuments() {
    local file doc=/usr/share/doc/$NAME
    put 644 docs/web.md "$doc/web.md"
    putZipped docs/man/cellslot-web.8 /usr/share/man/man8/cellslot-web.8
    for file in docs/monitoring/* docs/web/*; do
        [[ ! -f $file ]] || put 644 "$file" "$doc/examples/${file##*/}"
    done
    putRecords "$NAME"
}

putFiles() {
    putProgram cellslot-web "$PLACE/cellslot-web"
    putPage
    putServices
    putDocuments
}

main() {
    local depends
    packPrograms "$@"
    putControl "$NAME" packaging/web/deb <<TEXT
Depends: $depends, cellslot
Recommends: cellslot-history
Description: page with the state of the modems that cellslot manages
 A small server that systemd starts when a browser asks and that ends when
 nobody looks any more. The page says what is wrong and what to do first, shows
 the signal live for whoever turns an antenna, and the history. Programs get the
 state as JSON and as Prometheus metrics.
 .
 It only reads. Without further configuration only this host can reach it; for
 browsers in the LAN it needs a certificate and a password.
TEXT
    finishPackage "$NAME"
}

main "$@"
