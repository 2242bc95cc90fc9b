#!/usr/bin/env bash
# Makes the keys and certificates of a fleet: one authority for brokers and gateways, one for operators,
# so that a gateway's certificate never opens the operators' port. What exists is kept.
set -euo pipefail
umask 077

readonly AUTHORITY_DAYS=7300 BROKER_DAYS=825 GATEWAY_DAYS=3650 OPERATOR_DAYS=825
# What the brokers' configurations give operators; no gateway may have it.
readonly OPERATORS=(operator monitoring)
readonly NAME='^[A-Za-z0-9_-]{1,48}$'

usage() {
    cat <<'TEXT'
Usage: keys.sh FOLDER WHAT...
Makes what is missing in FOLDER, which belongs on a computer that is not a broker. WHAT is one of
  broker HOST [ADDRESS]...   brokers/HOST.crt and .key for the broker of this host name
  gateway NAME...            gateways/NAME.crt and .key: copy them to the gateway, nowhere else
  operator NAME...           operators/NAME.crt and .key
  psk NAME...                gateways/NAME.psk; and gateways.psk, all of them, for the broker
  take-back NAME...          gateways.crl, for the brokers, names these gateways' certificates
and of itself ca.crt and ca.key (brokers and gateways), operators-ca.crt and operators-ca.key. Whoever
has a ca.key can be any gateway or operator: keep it away from networks.
TEXT
}

fail() {
    echo "keys.sh: $*" >&2
    exit 1
}

checkName() { # NAME
    [[ $1 =~ $NAME ]] || fail "'$1' is not a name; expected 1 to 48 of A-Z a-z 0-9 - _"
}

checkGateways() { # NAME...
    local name
    for name in "$@"; do
        checkName "$name"
        [[ " ${OPERATORS[*]} " != *" $name "* ]] || fail "a gateway cannot be named $name: that is an operator"
    done
}

newKey() { # FILE
    openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1"
}

authority() { # NAME
    [[ ! -s $1.crt ]] || return 0
    newKey "$1.key"
    openssl req -x509 -new -key "$1.key" -days "$AUTHORITY_DAYS" -subj "/CN=$1 of the gateways" \
        -addext 'basicConstraints=critical,CA:TRUE' -addext 'keyUsage=critical,keyCertSign,cRLSign' -out "$1.crt"
    chmod 644 "$1.crt"
}

certificate() { # AUTHORITY FILE NAME DAYS EXTENSION...
    local authority=$1 file=$2 name=$3 days=$4
    [[ ! -s $file.crt ]] || return 0
    mkdir -p "${file%/*}"
    newKey "$file.key"
    openssl req -new -key "$file.key" -subj "/CN=$name" -out "$file.csr"
    openssl x509 -req -in "$file.csr" -CA "$authority.crt" -CAkey "$authority.key" -days "$days" \
        -set_serial "0x$(openssl rand -hex 16)" -extfile <(printf '%s\n' "${@:5}") -out "$file.crt" 2>/dev/null
    rm "$file.csr"
    chmod 644 "$file.crt"
}

broker() { # HOST [ADDRESS]...
    local address names="DNS:$1"
    checkName "${1//./-}"
    for address in "${@:2}"; do
        names+=",IP:$address"
    done
    # Nodes of a cluster connect to each other too.
    certificate ca "brokers/$1" "$1" "$BROKER_DAYS" "subjectAltName=$names" 'extendedKeyUsage=serverAuth,clientAuth'
}

client() { # AUTHORITY FOLDER DAYS NAME...
    local name
    for name in "${@:4}"; do
        checkName "$name"
        certificate "$1" "$2/$name" "$name" "$3" 'extendedKeyUsage=clientAuth'
    done
}

psk() { # NAME...
    local name
    mkdir -p gateways
    for name in "$@"; do
        [[ -s gateways/$name.psk ]] || openssl rand -hex 32 >"gateways/$name.psk"
    done
    for name in gateways/*.psk; do
        echo "$(basename "$name" .psk):$(<"$name")"
    done >gateways.psk
}

authorityRecords() {
    cat <<'TEXT'
[ca]
default_ca = gateways
[gateways]
database = taken-back.txt
default_md = sha256
default_crl_days = 7300
TEXT
}

takeBack() { # NAME...
    local name
    for name in "$@"; do
        checkName "$name"
        [[ -s gateways/$name.crt ]] || fail "there is no gateways/$name.crt"
        openssl ca -config <(authorityRecords) -cert ca.crt -keyfile ca.key -revoke "gateways/$name.crt" 2>/dev/null ||
            fail "the certificate of $name cannot be taken back; it may have been before"
    done
    openssl ca -config <(authorityRecords) -cert ca.crt -keyfile ca.key -gencrl -out gateways.crl 2>/dev/null
    chmod 644 gateways.crl
}

main() {
    local what=${2:-}
    case ${1:-} in
    '' | -h | --help)
        usage
        exit
        ;;
    esac
    [[ $# -ge 3 ]] || fail "a name is missing (see --help)"
    mkdir -p "$1"
    cd "$1"
    shift 2
    authority ca
    authority operators-ca
    touch taken-back.txt
    [[ -s gateways.crl ]] || takeBack
    case $what in
    broker) broker "$@" ;;
    gateway)
        checkGateways "$@"
        client ca gateways "$GATEWAY_DAYS" "$@"
        ;;
    operator) client operators-ca operators "$OPERATOR_DAYS" "$@" ;;
    psk)
        checkGateways "$@"
        psk "$@"
        ;;
    take-back) takeBack "$@" ;;
    *) fail "unknown '$what' (see --help)" ;;
    esac
}

main "$@"
