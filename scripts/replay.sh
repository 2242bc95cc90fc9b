#!/usr/bin/env bash
# Runs the daemon on a recording, in a private namespace, and shows what it published at the end and
# how that differs from what the recorded daemon had published. It changes nothing on the host.
set -euo pipefail

caller=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly TARGETS=(cellslotd le910sim)

usage() {
    cat <<'TEXT'
Usage: replay.sh [OPTION]... FILE
Runs the daemon on a recording (docs/recordings.md): le910sim answers as the recorded modem did, host
commands end as they ended. The daemon gets the recorded configuration and signals, and stand-ins for
the PIN and the password. Then shows what the daemon published at the end, and what of it differs from
the recording.
  --speed N       N times faster than recorded; the daemon's own pauses stay
  --strict        stop at the first command that is not the recorded one
  --verbose       show the daemon's log
  --with COMMAND  run the daemon under this command, for example --with 'gdb --args'
  --bin DIR       use the programs of this folder (default: build the release ones)
  -h, --help      show this text
Exit status: 0 the same was published, 1 something differs or failed, 2 wrong usage.
TEXT
}

absolute() { # PATH, as the caller means it
    case $1 in
    /*) echo "$1" ;;
    *) echo "$caller/$1" ;;
    esac
}

build() {
    scripts/setup.sh && cmake --preset release &&
        cmake --build --preset release --target "${TARGETS[@]}"
}

main() {
    local options=() bin='' file=''
    while (($#)); do
        case $1 in
        --speed | --with)
            needValue "$@"
            options+=("$1=$2")
            shift
            ;;
        --bin)
            needValue "$@"
            bin=$(absolute "$2")
            shift
            ;;
        --strict | --verbose) options+=("$1") ;;
        -*) helpOrRefuse "$1" ;;
        *)
            [[ -z $file ]] || helpOrRefuse "$1"
            [[ -n $1 ]] || helpOrRefuse "$1"
            file=$(absolute "$1")
            ;;
        esac
        shift
    done
    [[ -n $file ]] || helpOrRefuse ''
    if [[ ! -f $file || ! -r $file ]]; then
        echo "replay.sh: $file is not a file that can be read" >&2
        return 2
    fi
    if [[ -z $bin ]]; then
        mkdir -p build
        bin=$PWD/build/release/bin
        if ! build >build/replay.log 2>&1 </dev/null; then
            tail -n 20 build/replay.log >&2
            echo "replay.sh: cannot build the programs; the output is in build/replay.log" >&2
            return 1
        fi
    fi
    exec scripts/private_namespace.sh --keep "$(dirname "$file")" --keep "$bin" \
        python3 scripts/lib/replay.py --bin "$bin" "${options[@]}" "$file"
}

main "$@"
