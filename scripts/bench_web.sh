#!/usr/bin/env bash
# Measures what the page of a gateway costs: start, memory, readers, how soon an outage is seen in
# Chromium. About four minutes. Each figure with a goal says "met" or "NOT MET".
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh

usage() {
    cat <<'TEXT'
Usage: bench_web.sh
Builds the page of a gateway and measures what it costs, on this machine as it is: times need a quiet one.
TEXT
}

main() {
    (($# == 0)) || helpOrRefuse "$1"
    scripts/setup.sh --test
    scripts/setup_web.sh --test
    scripts/web_page.sh
    cmake --preset release >/dev/null
    cmake --build --preset release -j 2 --target cellslot cellslotd cellslot-web le910sim skvs
    CELLSLOT_BIN=$PWD/build/release/bin CELLSLOT_HOST=$PWD/gateway-tools CELLSLOT_PAGES=$PWD/build/web/page \
        scripts/private_namespace.sh --keep "$PWD/build" python3 bench/web.py
}

main "$@"
