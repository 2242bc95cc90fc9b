#!/usr/bin/env bash
# Downloads Debian packages that a test installs into the virtual gateway, with what they depend on and
# the gateway's disk does not have. The gateway has no network: a test brings them in as files. Needs no
# root, and scripts/gateway_image.sh first.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh

usage() {
    cat <<'TEXT'
Usage: gateway_packages.sh [--arch amd64|arm64] PACKAGE...
Downloads the packages with their dependencies, unless they are there, and prints their folder.
TEXT
}

# apt as it would run in the gateway, with this machine's sources and keys.
gatewaysApt() { # WORD...
    apt-get --quiet=2 --option "APT::Architecture=$architecture" \
        --option "APT::Architectures=$architecture" --option APT::Sandbox::User=root \
        --option APT::Install-Recommends=no --option Debug::NoLocking=yes \
        --option "Dir::State=$state" --option "Dir::State::status=$state/status" \
        --option "Dir::Cache=$state/cache" --option "Dir::Cache::archives=$draft" "$@"
}

download() {
    state=$draft/state
    mkdir -p "$state/lists/partial" "$state/cache" "$draft/partial"
    tar -xOf "$(echo build/gateway/packages-"$architecture"-*.tar)" ./var/lib/dpkg/status >"$state/status"
    gatewaysApt update
    gatewaysApt install --yes --download-only "$@"
    rm -rf "$state" "$draft/partial" "$draft/lock"
}

main() {
    architecture=
    local packages=()
    while (($#)); do
        case $1 in
        --arch) needValue "$@" && architecture=$2 && shift ;;
        -*) helpOrRefuse "$1" ;;
        *) packages+=("$1") ;;
        esac
        shift
    done
    if ((!${#packages[@]})); then
        usage >&2
        return 2
    fi
    [[ -n $architecture ]] || architecture=$(dpkg --print-architecture)
    local image target
    # What the disk has decides what is missing.
    image=$(scripts/gateway_image.sh --arch "$architecture")
    target=$PWD/build/gateway/$architecture/$(sha256sum <<<"${image##*/} ${packages[*]}" | cut -c 1-12)
    if [[ ! -d $target ]]; then
        draft=$target.new
        rm -rf "$draft"
        download "${packages[@]}" >&2
        mv "$draft" "$target"
    fi
    echo "$target"
}

main "$@"
