#!/bin/sh
# Sets the system clock to the network's time. cellslotd runs
# systime.sh --set "MONTH/DAY/YEAR HOUR:MINUTE:SECOND" with the time of the modem's clock: numbers
# without leading zeros, a year of two digits, local time.
set -u

PROGRAM=systime.sh

usage() {
    cat <<'TEXT'
Usage: systime.sh --set "M/D/YY H:M:S"
Sets the system clock. The time is local time in this host's time zone. Years are 20 to 69 (2020 to
2069): a modem without network time reports 1980 or 2000.
Exit status: 0 set, 1 the clock could not be set, 2 not a valid time or wrong usage.
TEXT
}

usageError() {
    echo "$PROGRAM: $*" >&2
    exit 2
}

# One or two digits within bounds.
isWithin() { # TEXT LOW HIGH
    case $1 in
    [0-9] | [0-9][0-9]) [ "$1" -ge "$2" ] && [ "$1" -le "$3" ] ;;
    *) return 1 ;;
    esac
}

# The sandbox of cellslotd's service does not let it set the clock: the service manager does.
setTime() { # DATE
    if [ -n "${INVOCATION_ID:-}" ] && seconds=$(date -d "$1" +%s) &&
        systemctl start "cellslot-clock@$seconds.service" 2>/dev/null; then
        return
    fi
    date -s "$1" >/dev/null
}

setClock() { # TEXT
    case $1 in
    */*/*\ *:*:*) ;;
    *) usageError "'$1' does not have the form M/D/YY H:M:S" ;;
    esac
    date=${1%% *}
    time=${1#* }
    month=${date%%/*}
    year=${date##*/}
    day=${date#*/}
    day=${day%%/*}
    hour=${time%%:*}
    second=${time##*:}
    minute=${time#*:}
    minute=${minute%%:*}
    if [ "$month/$day/$year $hour:$minute:$second" != "$1" ] || ! isWithin "$month" 1 12 ||
        ! isWithin "$day" 1 31 || ! isWithin "$year" 20 69 || ! isWithin "$hour" 0 23 ||
        ! isWithin "$minute" 0 59 || ! isWithin "$second" 0 59; then
        usageError "'$1' is not a time from 1/1/20 0:0:0 to 12/31/69 23:59:59"
    fi
    # GNU's and busybox's date both accept this form. For a day that the month does not have, GNU's
    # fails, and busybox's moves it into the next month.
    if ! setTime "20$year-$month-$day $hour:$minute:$second"; then
        echo "$PROGRAM: the clock could not be set" >&2
        exit 1
    fi
}

case ${1:-} in
--set)
    [ $# -eq 2 ] || usageError "--set needs one argument, \"M/D/YY H:M:S\""
    setClock "$2"
    ;;
-h | --help) usage ;;
*) usageError "unknown or missing option (see --help)" ;;
esac
