#!/usr/bin/env bash
# To be sourced: the steps of a long script, each announced with its expected time and recorded with
# the time that it took. On a terminal a line shows how far the step is, and its output only if it
# fails.

STEPS_LOGS=build/test-logs
stepNames=()
stepTimes=()  # expected seconds on two idle cores without ccache
stepNow=0     # the step that runs, from 1
stepsFailed=0
stepsSummary=

# minutes SECONDS: as "7:05"
minutes() {
    printf '%d:%02d' "$(($1 / 60))" "$(($1 % 60))"
}

plan() { # NAME EXPECTED-SECONDS
    stepNames+=("$1")
    stepTimes+=("$2")
}

expectedInAll() {
    local total=0 seconds
    for seconds in "${stepTimes[@]}"; do
        total=$((total + seconds))
    done
    echo "$total"
}

showPlan() {
    local i
    stepsTotal=$(expectedInAll)
    stepsStart=$SECONDS
    mkdir -p "$STEPS_LOGS"
    echo "${0##*/}: ${#stepNames[@]} steps, about $(minutes "$stepsTotal") minutes:"
    for ((i = 0; i < ${#stepNames[@]}; i++)); do
        printf '  %2d %-16s about %4d s\n' "$((i + 1))" "${stepNames[i]}" "${stepTimes[i]}"
    done
}

# How far the command is: the last line of what it wrote, in the width of the terminal.
showProgress() { # LABEL EXPECTED-SECONDS LOG
    local line
    line="$1: $((SECONDS - stepStart)) of about $2 s  $(tail -n 1 "$3" | tr -cd '[:print:]')"
    printf '\r\033[K%s' "${line:0:$((${COLUMNS:-$(tput cols 2>/dev/null || echo 80)} - 1))}"
}

withProgress() { # LABEL EXPECTED-SECONDS LOG COMMAND...
    local label=$1 expected=$2 log=$3 pid status=0
    shift 3
    "$@" >"$log" 2>&1 &
    pid=$!
    while kill -0 "$pid" 2>/dev/null; do
        showProgress "$label" "$expected" "${progressLog:-$log}"
        sleep 1
    done
    wait "$pid" || status=$?
    printf '\r\033[K'
    ((status == 0)) || cat "$log"
    return "$status"
}

# step COMMAND...: runs the next step of the plan. What the command writes to the file $stepNote is in
# the summary. Status 77 is no failure: the step could not be done here.
step() {
    local name=${stepNames[stepNow]} expected=${stepTimes[stepNow]} status=0 result label log took
    stepNow=$((stepNow + 1))
    stepStart=$SECONDS
    stepNote=$PWD/$STEPS_LOGS/note
    label="[$stepNow/${#stepNames[@]}] $name"
    log=$STEPS_LOGS/${name// /-}.log
    rm -f "$stepNote"
    echo "== $label, about $expected s; $(minutes "$((SECONDS - stepsStart))") of about" \
        "$(minutes "$stepsTotal")"
    if [[ -t 1 ]]; then
        withProgress "$label" "$expected" "$log" "$@" || status=$?
    else
        "$@" || status=$?
    fi
    took=$((SECONDS - stepStart))
    case $status in
    0) result=ok ;;
    77) result='not done here' ;;
    *) result=FAILED stepsFailed=1 ;;
    esac
    [[ ! -s $stepNote ]] || result+=": $(cat "$stepNote")"
    printf '   %s %s after %d s\n' "$name" "$result" "$took"
    stepsSummary+=$(printf '%-16s %4d s, expected %4d s  %s' "$name" "$took" "$expected" \
        "$result")$'\n'
    [[ $status == 0 || $status == 77 ]]
}

# Leaves a step out, for example because the build before it failed.
skipStep() {
    stepsSummary+=$(printf '%-16s %4d s, expected %4d s  %s' "${stepNames[stepNow]}" 0 \
        "${stepTimes[stepNow]}" "$1")$'\n'
    stepNow=$((stepNow + 1))
}

# Returns the status of the script.
finishSteps() {
    printf '\n== %s after %s minutes, expected %s\n%s' "${0##*/}" \
        "$(minutes "$((SECONDS - stepsStart))")" "$(minutes "$stepsTotal")" "$stepsSummary"
    return "$stepsFailed"
}
