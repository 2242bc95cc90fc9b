#!/usr/bin/env bash
# Every script shows its help within a second of processor time and does nothing else; an unknown option is refused and
# nothing is done either. The scripts run in a copy of the folder, with recorders in place of the
# programs that build, install and change.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/../.."
readonly CPU_S=1
readonly LIMIT_S=300  # bounds a failure only
readonly RECORDED=(apt-get ccache cmake cppcheck ctest dpkg dpkg-deb dpkg-query gcovr git mkdir mktemp
    mmdebstrap mount ninja python3 rm shellcheck sudo touch unshare valgrind)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() { # TEXT
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

prepare() {
    local program
    mkdir "$work/checkout" "$work/tools"
    cp -r scripts "$work/checkout/"
    # shellcheck disable=SC2016  # the recorder's own variables
    for program in "${RECORDED[@]}"; do
        printf '#!/bin/bash\necho "${0##*/} $*" >>%s/calls\nexit 1\n' "$work" >"$work/tools/$program"
        chmod +x "$work/tools/$program"
    done
}

listing() {
    find "$work/checkout" -printf '%p %s %T@\n' | sort
}

# Runs a script in the copy; its exit status is in status, 124 or a signal if it took too long.
runScript() { # SCRIPT OPTION
    status=0
    (cd "$work/checkout" && ulimit -t "$CPU_S" && HOME=$work/checkout PATH=$work/tools:$PATH \
        timeout "$LIMIT_S" "scripts/$1" "$2" </dev/null >"$work/out" 2>"$work/err") || status=$?
}

expectNothingDone() { # WHAT
    [[ $(listing) == "$before" ]] || fail "$1 created or changed files"
    [[ ! -e $work/calls ]] || fail "$1 called: $(head -3 "$work/calls")"
    rm -f "$work/calls"
}

checkHelp() { # SCRIPT OPTION
    runScript "$1" "$2"
    ((status == 0)) || fail "$1 $2 ended with $status: $(head -3 "$work/err")"
    [[ $(head -c 7 "$work/out") == Usage:* ]] || fail "$1 $2 starts with: $(head -1 "$work/out")"
    (($(wc -l <"$work/out") >= 2)) || fail "$1 $2 does not say what the script does"
    [[ ! -s $work/err ]] || fail "$1 $2 writes to standard error: $(head -1 "$work/err")"
    expectNothingDone "$1 $2"
}

checkUnknownOption() { # SCRIPT
    runScript "$1" --no-such-option
    ((status != 0 && status != 124 && status < 128)) || fail "$1 --no-such-option ended with $status"
    [[ -s $work/err ]] || fail "$1 --no-such-option says nothing"
    expectNothingDone "$1 --no-such-option"
}

main() {
    local script count=0
    prepare
    before=$(listing)
    for script in scripts/*.sh; do
        checkHelp "${script##*/}" --help
        checkHelp "${script##*/}" -h
        checkUnknownOption "${script##*/}"
        count=$((count + 1))
    done
    ((count >= 13)) || fail "only $count scripts were found"
    ((failures == 0)) || exit 1
    echo "$count scripts, ok"
}

main
