#!/usr/bin/env bash
# Puts a page's files together, each compressed: with --fleet those of fleet/page and the modules that it
# shares, in build/web/fleet-page; otherwise, in build/web/page, those of web/page, and uPlot from
# the npm registry in the version and with the checksum that web/page/package-lock.json names.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly SOURCE=web/page
readonly WORK=build/web
readonly NEW=$WORK/page.new
readonly FLEET_SHARES=(page.css icon.svg dom.js frame.js live.js overview.js signal.js tone.js)
readonly SIZE_MAX=$((80 * 1024)) # of all files together, compressed

usage() {
    cat <<'TEXT'
Usage: web_page.sh [--test | --fleet]
Puts the page's files together in build/web/page, compressed.
  --test  also fetches what tests use, to build/web/npm: axe-core in the page, AsyncAPI's schema
  --fleet the page of a fleet instead, in build/web/fleet-page
TEXT
}

# Only if the list has changed: the registry may be far away. What the tests need includes the rest.
fetchModules() { # page|test [NPM-OPTION]...
    local stamp found
    stamp=$(sha256sum <"$SOURCE/package-lock.json")
    for found in "$1" test; do
        if [[ -e $WORK/npm/.$found && $(<"$WORK/npm/.$found") == "$stamp" ]]; then
            return
        fi
    done
    found=$1
    shift
    rm -rf "$WORK/npm"
    mkdir -p "$WORK/npm"
    cp "$SOURCE"/package.json "$SOURCE"/package-lock.json "$SOURCE"/.npmrc "$WORK/npm/"
    (cd "$WORK/npm" && npm ci --ignore-scripts --no-fund --no-audit --loglevel error "$@") >&2
    echo "$stamp" >"$WORK/npm/.$found"
}

compress() { # SOURCE NAME
    gzip -9n <"$1" >"$NEW/$2.gz"
    chmod 644 "$NEW/$2.gz"
}

startPage() {
    rm -rf "$NEW"
    mkdir -p "$NEW"
}

finishPage() { # FOLDER
    local size
    size=$(cat "$NEW"/*.gz | wc -c)
    if ((size > SIZE_MAX)); then
        echo "web_page.sh: the page has $size bytes, compressed; at most $SIZE_MAX are allowed" >&2
        return 1
    fi
    rm -rf "$1"
    mv "$NEW" "$1"
    echo "$1: $size bytes"
}

putFleetPage() {
    local file
    startPage
    for file in fleet/page/* "${FLEET_SHARES[@]/#/$SOURCE/}"; do
        compress "$file" "${file##*/}"
    done
    finishPage "$WORK/fleet-page"
}

main() {
    local modules=(page --omit=dev) file
    umask 022
    case ${1:-} in
    '') ;;
    --test) modules=(test) ;;
    --fleet)
        putFleetPage
        return
        ;;
    *) helpOrRefuse "$1" ;;
    esac
    fetchModules "${modules[@]}"
    startPage
    for file in "$SOURCE"/*.html "$SOURCE"/*.css "$SOURCE"/*.js "$SOURCE"/*.svg; do
        compress "$file" "${file##*/}"
    done
    compress "$WORK/npm/node_modules/uplot/dist/uPlot.esm.js" uplot.js
    compress "$WORK/npm/node_modules/uplot/dist/uPlot.min.css" uplot.css
    finishPage "$WORK/page"
}

main "$@"
