#!/usr/bin/env bash
# Writes the users of the cluster, each with what it may publish and subscribe.
set -euo pipefail

readonly NAME='^[A-Za-z0-9_-]{1,48}$'

usage() {
    cat <<'TEXT'
Usage: users.sh [GATEWAY]... >users.conf
Writes the users "operator", "monitoring" and each GATEWAY for nats-server; without a GATEWAY it reads the
names from standard input, one in a line. Then on each node: nats-server --signal reload
TEXT
}

fail() {
    echo "users.sh: $*" >&2
    exit 1
}

# An empty list of what may be published would allow everything.
user() { # NAME PUBLISH SUBSCRIBE
    local publish="[$2]"
    [[ -n $2 ]] || publish='{ deny: ">" }'
    printf '        { user: "CN=%s", allowed_connection_types: ["MQTT"], permissions: {\n' "$1"
    printf '            publish: %s\n            subscribe: [%s] } }\n' "$publish" "$3"
}

# "$MQTT.sub." is where the server delivers messages of QoS 1 to a session.
gateway() { # NAME
    [[ $1 =~ $NAME ]] || fail "'$1' is not a name; expected 1 to 48 of A-Z a-z 0-9 - _"
    [[ $1 != operator && $1 != monitoring ]] || fail "a gateway cannot be named $1: that is an operator"
    local own=cellslot.1.$1
    user "$1" "\"$own.availability\", \"$own.slot.*.status\", \"$own.slot.*.event\", \"$own.slot.*.sms\", \"$own.result\"" \
        "\"$own.command\", \"\$MQTT.sub.>\""
}

main() {
    local name
    case ${1:-} in
    -h | --help)
        usage
        exit
        ;;
    esac
    echo 'accounts { fleet {'
    echo '    jetstream: enabled'
    echo '    users: ['
    # shellcheck disable=SC2016  # the name of a subject
    user operator '"cellslot.1.*.command"' '"cellslot.1.>", "$MQTT.sub.>"'
    # shellcheck disable=SC2016  # the name of a subject
    user monitoring '' '"cellslot.1.*.availability", "cellslot.1.*.slot.*.status", "cellslot.1.*.slot.*.event", "$MQTT.sub.>"'
    for name in "$@"; do
        gateway "$name"
    done
    if (($# == 0)); then
        while read -r name; do
            gateway "$name"
        done
    fi
    echo '    ]'
    echo '} }'
}

main "$@"
