#!/usr/bin/env bash
# Shows the daemon at work with a simulated modem: builds both, runs them in a private namespace and
# shows the bring-up, the connection and the shutdown. It changes nothing on the host.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly LOG=build/demo.log
readonly TARGETS=(cellslotd cellslot le910sim skvs)
readonly PAGE=build/web/page/index.html.gz
readonly HISTORY_TARGETS=(cellslot-historyd cellslot-history)  # only where librrd is

usage() {
    cat <<'TEXT'
Usage: demo.sh [--seconds N] [--verbose] [-- SIMULATOR-OPTION...]
Shows the daemon at work with a simulated modem: a connection comes up, messages pass, a position
arrives, then the screens of the operator's command, a clean shutdown, and the history of all that
if librrd is installed. Takes about 45 s and changes nothing on this host.
  --seconds N  wait for no key, and end N seconds after everything was shown
  --verbose    show each AT command with its answer, and the daemon's log
If scripts/web_page.sh has put the page together, a browser on this host can look on; its address is shown.
Arguments after -- go to the simulated modem, for example -- --scenario FILE.
Needs root, or a user who may create namespaces and open /dev/net/tun. The first run builds the
programs and installs what is missing for that (scripts/setup.sh).
Exit status: 0 all of it worked, 1 a step failed, 2 wrong usage.
TEXT
}

# Shows the progress of the build; on a terminal in one line, which disappears at the end.
showProgress() {
    local line
    while IFS= read -r line; do
        echo "$line" >>"$LOG"
        if [[ -t 1 && $line =~ ^\[[0-9]+/[0-9]+\] ]]; then
            printf '\rbuilding the programs %s  ' "${BASH_REMATCH[0]}"
        fi
    done
    [[ ! -t 1 ]] || printf '\r%40s\r' ''
}

# Not optimised: that takes half of the time.
build() {
    local targets=("${TARGETS[@]}") known
    scripts/setup.sh && cmake --preset demo || return
    known=$(ninja -C build/demo -t targets all)
    if grep -q '^cellslot-historyd:' <<<"$known"; then
        targets+=("${HISTORY_TARGETS[@]}")
    fi
    if [[ -e $PAGE ]] && grep -q '^cellslot-web:' <<<"$known"; then
        targets+=(cellslot-web)
    fi
    cmake --build --preset demo --target "${targets[@]}"
}

buildQuietly() {
    mkdir -p build
    : >"$LOG"
    [[ ! -t 1 ]] || printf 'building the programs ...'
    if ! build 2>&1 </dev/null | showProgress; then
        tail -n 20 "$LOG" >&2
        echo "demo.sh: cannot build the programs; the output is in $LOG" >&2
        return 1
    fi
}

main() {
    local options=()
    while (($#)); do
        case $1 in
        --seconds)
            if ! [[ ${2:-} =~ ^[0-9]+$ ]]; then
                echo "demo.sh: --seconds needs a number" >&2
                return 2
            fi
            options+=(--seconds "$2")
            shift
            ;;
        --verbose) options+=(--verbose) ;;
        --)
            shift
            break
            ;;
        *) helpOrRefuse "$1" ;;
        esac
        shift
    done
    buildQuietly
    local withPage=()
    if [[ -e $PAGE && -x build/demo/bin/cellslot-web ]]; then
        withPage=(python3 scripts/lib/demo_page.py)
    fi
    exec "${withPage[@]}" scripts/private_namespace.sh python3 scripts/lib/demo.py \
        --bin "$PWD/build/demo/bin" --host "$PWD/gateway-tools" "${options[@]}" -- "$@"
}

main "$@"
