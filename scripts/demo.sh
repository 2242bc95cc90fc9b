#!/usr/bin/env bash
# Shows the daemon at work with a simulated modem: builds both, runs them in a private namespace and
# follows the bring-up, the connection and the shutdown. Nothing of the host is changed.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
    cat <<'TEXT'
Usage: demo.sh [--seconds N] [-- SIMULATOR-OPTION...]
  --seconds N  end by itself N seconds after the connection is up; otherwise Ctrl-C ends it
What follows -- goes to the simulated modem, for example -- --scenario FILE.
Exit status 0 when the connection came up and the shutdown was clean.
TEXT
}

main() {
    local seconds=()
    while (($#)); do
        case $1 in
        --seconds)
            if ! [[ ${2:-} =~ ^[0-9]+$ ]]; then
                echo "demo.sh: --seconds needs a number" >&2
                return 2
            fi
            seconds=(--seconds "$2")
            shift 2
            ;;
        -h | --help)
            usage
            return
            ;;
        --)
            shift
            break
            ;;
        *)
            echo "demo.sh: unknown option '$1' (--help tells the options)" >&2
            return 2
            ;;
        esac
    done
    scripts/setup.sh
    cmake --preset release
    cmake --build --preset release --target cellslotd le910sim skvs
    exec scripts/private_namespace.sh python3 scripts/lib/demo.py \
        --bin "$PWD/build/release/bin" --host "$PWD/host" "${seconds[@]}" -- "$@"
}

main "$@"
