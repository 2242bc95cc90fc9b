#!/usr/bin/env bash
# Checks the includes of the product code (scripts/lib/includes.py: no circle, none upwards; a header and
# its source carry the same name) and that no six of its lines are repeated (scripts/lib/repeats.py), then
# runs cppcheck and clang-tidy on the programs of the gateway and on the simulator. Their findings are
# errors; .cppcheck-suppressions and .clang-tidy list the exceptions with their reasons. clang-tidy takes
# some seconds per file: it checks a clean file again only if the file, a header or the configuration has
# changed. --quick leaves clang-tidy out.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
readonly JOBS=2
readonly BUILD=build/release
readonly CACHE=build/lint
readonly FOLDERS=(agent atcmd cli config device fleet gps history http include le910sim main mqtt observed platform
    published recording sms statemachine web)

usage() {
    cat <<'TEXT'
Usage: lint.sh [--quick]
Checks the includes, looks for repeated lines, and runs cppcheck and clang-tidy on the programs. Every
finding is an error.
  --quick  without clang-tidy
TEXT
}

runCppcheck() {
    cppcheck --quiet --error-exitcode=1 -j "$JOBS" --std=c++17 -I . --inline-suppr \
        --enable=warning,style,performance,portability \
        --suppressions-list=.cppcheck-suppressions "${FOLDERS[@]}"
}

# The result of every file depends on headers, options and the tool's version.
commonState() {
    find "${FOLDERS[@]}" -name '*.h' -print0 | sort -z | xargs -0 cat .clang-tidy
    clang-tidy --version
}

tidyOne() { # COMMON-STATE FILE
    local stamp
    stamp=$CACHE/$({ echo "$1"; cat "$2"; } | sha256sum | cut -d ' ' -f 1)
    if [[ -e $stamp ]]; then
        return
    fi
    # Its counts for the system's headers go to standard error.
    clang-tidy --quiet -p "$BUILD" "$2" 2>/dev/null
    touch "$stamp"
}

runClangTidy() {
    local state
    cmake --preset release >/dev/null
    mkdir -p "$CACHE"
    state=$(commonState | sha256sum)
    # Only compiled files: the fallback for a gateway's own platform is not compiled here.
    find "${FOLDERS[@]}" -name '*.cpp' -not -path 'platform/external/*' -print0 | sort -z |
        xargs -0 -P "$JOBS" -n 1 scripts/lint.sh --file "$state"
}

main() {
    case ${1:-} in
    '' | --quick) ;;
    --file) # by this script itself
        tidyOne "$2" "$3"
        return
        ;;
    *) helpOrRefuse "$1" ;;
    esac
    python3 scripts/lib/includes.py
    python3 scripts/lib/repeats.py
    runCppcheck
    if [[ ${1:-} != --quick ]]; then
        runClangTidy
    fi
}

main "$@"
