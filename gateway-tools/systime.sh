#!/bin/sh
# Sets the system clock to the network's time. cellslotd runs
# systime.sh --set "MONTH/DAY/YEAR HOUR:MINUTE:SECOND" with the time of the modem's clock: numbers
# without leading zeros, a year of two digits, local time.
set -u

PROGRAM=systime.sh

usage() {
    cat <<'TEXT'
Usage: systime.sh --set "M/D/YY H:M:S"
Sets the system clock. The text is taken as local time of this host's time zone; years are 20 to 69
(2020 to 2069), because modems start at 1980 or 2000 until they get the time from the network.
Exit status: 0 set, 1 the clock could not be set, 2 the text is no such time or wrong usage.
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
    *) usageError "'$1' is not of the form M/D/YY H:M:S" ;;
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
        usageError "'$1' is no time between 1/1/20 0:0:0 and 12/31/69 23:59:59"
    fi
    # date of GNU and of busybox both accept this form. A day that the month does not have is refused
    # by GNU and moved into the next month by busybox.
    if ! setTime "20$year-$month-$day $hour:$minute:$second"; then
        echo "$PROGRAM: the clock could not be set" >&2
        exit 1
    fi
}

case ${1:-} in
--set)
    [ $# -eq 2 ] || usageError "--set needs one text"
    setClock "$2"
    ;;
-h | --help) usage ;;
*) usageError "unknown or missing option (--help shows the usage)" ;;
esac
