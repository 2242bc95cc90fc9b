#!/usr/bin/env bash
# Builds the history of the slots and its Debian package: service, operator's subcommand, what the page
# reads with. At the end prints the package's path.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/deb.sh
. scripts/lib/deb.sh
readonly NAME=cellslot-history
readonly PLACE=/usr/lib/cellslot
readonly PROGRAMS=(cellslot-historyd cellslot-history cellslot-web-history)

usage() {
    cat <<'TEXT'
Usage: package_history.sh [--preset release|arm64] [--version VERSION] [--output FOLDER] [--no-build]
Builds the history of the slots and the package FOLDER/cellslot-history_VERSION_ARCHITECTURE.deb.
Defaults: folder build/packages, version from CMakeLists.txt. --no-build packs the programs already
built. scripts/setup.sh --test installs what the build needs.
TEXT
}

putFiles() {
    local program
    putRecords "$NAME"
    for program in "${PROGRAMS[@]}"; do
        putProgram "$program" "$PLACE/$program"
    done
    put 644 history/cellslot-history.bash-completion "$PLACE/cellslot-history.bash-completion"
    put 644 packaging/history/cellslot-history.service /lib/systemd/system/cellslot-history.service
    put 644 packaging/history/sysusers.conf /usr/lib/sysusers.d/cellslot-history.conf
    putZipped docs/man/cellslot-historyd.8 /usr/share/man/man8/cellslot-historyd.8
    put 644 docs/history.md "/usr/share/doc/$NAME/history.md"
}

main() {
    local depends
    packPrograms "$@"
    putControl "$NAME" packaging/history/deb <<TEXT
Depends: $depends, cellslot
Description: history of the modems that cellslot manages
 A small service follows the state of each slot and keeps signal, connection,
 outages with their cause, events and data used in files that never grow. The
 subcommand "cellslot history" shows them in the terminal, as JSON, as CSV or as
 a picture; the page of cellslot-web shows them too.
TEXT
    finishPackage "$NAME"
}

main "$@"
