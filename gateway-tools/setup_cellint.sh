#!/bin/sh
# Brings the cellular network interface up with the addresses that the modem reported, or undoes what
# an earlier --up changed. cellslotd runs it; --help lists the options.
#
# --up notes each change in /run/cellslot/cellint.IF before it makes it, one per line, so that --down
# (or a failed --up) undoes exactly these, last change first. A second --up first undoes the earlier
# one. Option values come from the network: all are checked before anything is changed, and none is
# evaluated.
set -u
export LC_ALL=C

PROGRAM=setup_cellint.sh
STATE_FOLDER=/run/cellslot
RESOLV_CONF=/etc/resolv.conf
# Larger than the metrics of wired default routes (usually 100; the kernel's own for IPv6: 1024), so
# that those stay preferred. The interface's number is added, so that several modems do not collide.
IPV4_METRIC=700
IPV6_METRIC=1724
LOCK_SECONDS=30
# For resolvectl, which otherwise waits 25 s for a systemd-resolved that does not answer.
export SYSTEMD_BUS_TIMEOUT=8
LOCK_TRIES=$((LOCK_SECONDS * 5))
NEWLINE='
'

interface=
action=
debug=no
ptp=no
defaultRoute=no
mtu=
ipv6auto=no
ipv6only=no
groups=     # one line per IPv4 group: ADDRESS MASK GATEWAY, "-" for what is empty
nameServers= # one per line

usage() {
    cat <<'TEXT'
Usage: setup_cellint.sh -i IF --up [OPTION]...
       setup_cellint.sh -i IF --down
       setup_cellint.sh --renew-dns
Sets a cellular network interface up, or undoes what an earlier --up changed.

  -i IF           the interface
  --up            set the interface up; an earlier --up is undone first
  --down          undo an earlier --up; nothing to undo is not an error
  --renew-dns     for each interface that is set up: put the name servers back if another program has
                  removed them, or if another program manages /etc/resolv.conf now
  -m MTU          60 to 65535; less than 68 becomes 68, which IPv4 needs
  --address A --netmask M --gateway G
                  an IPv4 address, mask and gateway; may be repeated. Mask and gateway may have no
                  value: the prefix is then /32, and routes lead to the device itself
  --dns D         a name server, IPv4 or IPv6; may be repeated; ignored without a value
  --ptp           point-to-point: the gateway is the peer of the address, the mask is not used
  --defaultroute  a default route through the first group's gateway, or through the device
  --ipv6auto      take IPv6 addresses and routes from router advertisements
  --ipv6only      no IPv4: the address groups are ignored
  --debug         report each step
  -h, --help      show this text

Name servers go to systemd-resolved or resolvconf if one of them manages /etc/resolv.conf, otherwise
into that file: with --defaultroute before the existing servers, without it after them. If that fails,
the interface stays up without them: a message says so.
Messages go to standard error and the system log.
Exit status: 0 done, 1 failed (all changes were undone), 2 wrong usage.
TEXT
}

# The daemon discards the script's output, so the system log gets a copy.
say() {
    echo "$PROGRAM: $*" >&2
    logger -t "$PROGRAM" -- "$*" 2>/dev/null || true
}

trace() {
    [ "$debug" = no ] || say "$@"
}

usageError() {
    say "$@"
    exit 2
}

# Without the lock: a service started by a hook of resolvconf would hold it for its lifetime.
run() {
    trace "$*"
    "$@" 9>&-
}

# ---- checks of option values --------------------------------------------------------------------

# Without leading zeros, because the tools would read the number as octal.
isNumber() { # TEXT HIGHEST
    case $1 in
    '' | *[!0-9]* | 0?* | ??????*) return 1 ;;
    esac
    [ "$1" -le "$2" ]
}

isInterfaceName() {
    case $1 in
    '' | . | .. | -* | *[!A-Za-z0-9_.:@-]* | ????????????????*) return 1 ;;
    esac
}

isIpv4() {
    case $1 in
    *[!0-9.]* | .* | *. | *..*) return 1 ;;
    *.*.*.*.*) return 1 ;;
    *.*.*.*) ;;
    *) return 1 ;;
    esac
    rest=$1.
    while [ -n "$rest" ]; do
        isNumber "${rest%%.*}" 255 || return 1
        rest=${rest#*.}
    done
}

isIpv6() {
    case $1 in
    *[!0-9A-Fa-f:.]*) return 1 ;;
    *:*:*) ;;
    *) return 1 ;;
    esac
    [ "${#1}" -le 45 ]
}

# Prefix length of a dotted mask; fails if the mask has a one after a zero. 0.0.0.0 and an empty mask
# describe no subnet, so the prefix is that of the address alone.
prefixOf() { # MASK
    case $1 in
    - | 0.0.0.0)
        echo 32
        return
        ;;
    esac
    prefix=0
    ended=no
    rest=$1.
    while [ -n "$rest" ]; do
        octet=${rest%%.*}
        rest=${rest#*.}
        if [ "$ended" = yes ] && [ "$octet" -ne 0 ]; then
            return 1
        fi
        case $octet in
        255) bits=8 ;;
        254) bits=7 ;;
        252) bits=6 ;;
        248) bits=5 ;;
        240) bits=4 ;;
        224) bits=3 ;;
        192) bits=2 ;;
        128) bits=1 ;;
        0) bits=0 ;;
        *) return 1 ;;
        esac
        prefix=$((prefix + bits))
        [ "$bits" -eq 8 ] || ended=yes
    done
    echo "$prefix"
}

# ---- command line -------------------------------------------------------------------------------

groupOpen=no
address=-
mask=-
gateway=-

closeGroup() {
    if [ "$groupOpen" = yes ]; then
        groups=$groups$address' '$mask' '$gateway$NEWLINE
    fi
    groupOpen=no
    address=-
    mask=-
    gateway=-
}

# Stores one option with its value; an empty value means "none".
takeValue() { # OPTION VALUE
    case $1 in
    -i)
        isInterfaceName "$2" || usageError "-i: '$2' is not an interface name"
        interface=$2
        ;;
    -m)
        if ! isNumber "$2" 65535 || [ "$2" -lt 60 ]; then
            usageError "-m: '$2' is not an MTU (60 to 65535)"
        fi
        # The daemon accepts 60 and more, but IPv4 needs 68 (RFC 791): better 68 than no connection.
        mtu=$2
        [ "$mtu" -ge 68 ] || mtu=68
        ;;
    --address)
        closeGroup
        [ -z "$2" ] || isIpv4 "$2" || usageError "$1: '$2' is not an IPv4 address"
        groupOpen=yes
        address=${2:--}
        ;;
    --netmask)
        [ "$groupOpen" = yes ] || usageError "$1 without --address"
        [ -z "$2" ] || isIpv4 "$2" || usageError "$1: '$2' is not an IPv4 mask"
        mask=${2:--}
        prefixOf "$mask" >/dev/null || usageError "$1: '$2' is not an IPv4 mask"
        ;;
    --gateway)
        [ "$groupOpen" = yes ] || usageError "$1 without --address"
        [ -z "$2" ] || isIpv4 "$2" || usageError "$1: '$2' is not an IPv4 address"
        # Some modems report 0.0.0.0 or the address itself if there is no gateway.
        case $2 in
        '' | 0.0.0.0 | "$address") gateway=- ;;
        *) gateway=$2 ;;
        esac
        ;;
    --dns)
        if [ -n "$2" ]; then
            isIpv4 "$2" || isIpv6 "$2" || usageError "$1: '$2' is not an IP address"
            case $NEWLINE$nameServers in
            *"$NEWLINE$2$NEWLINE"*) ;;
            *) nameServers=$nameServers$2$NEWLINE ;;
            esac
        fi
        ;;
    esac
}

parseArguments() {
    while [ $# -gt 0 ]; do
        case $1 in
        --up | --down | --renew-dns)
            [ -z "$action" ] || [ "$action" = "${1#--}" ] || usageError "--$action and $1 together"
            action=${1#--}
            ;;
        --debug) debug=yes ;;
        --ptp) ptp=yes ;;
        --defaultroute) defaultRoute=yes ;;
        --ipv6auto) ipv6auto=yes ;;
        --ipv6only) ipv6only=yes ;;
        -h | --help)
            usage
            exit 0
            ;;
        -i | -m | --address | --netmask | --gateway | --dns)
            # An empty value leaves no argument: the next one is the next option.
            case ${2:-} in
            -* | '')
                takeValue "$1" ''
                if [ $# -gt 1 ] && [ -z "$2" ]; then
                    shift
                fi
                ;;
            *)
                takeValue "$1" "$2"
                shift
                ;;
            esac
            ;;
        *) usageError "unknown argument '$1' (see --help)" ;;
        esac
        shift
    done
    closeGroup
    [ -n "$interface" ] || [ "$action" = renew-dns ] || usageError "-i IF is missing (see --help)"
    [ -n "$action" ] || usageError "--up or --down is missing (see --help)"
}

# ---- notes of the changes -----------------------------------------------------------------------

note() {
    if ! echo "$*" >>"$state"; then
        say "cannot write $state"
        return 1
    fi
}

ipv6Setting() { # NAME: path of the interface's setting
    echo "/proc/sys/net/ipv6/conf/$interface/$1"
}

# Undoes one noted change. Something may already be gone (the modem was unplugged, the address was
# removed), so failures of single commands do not matter.
undo() { # WORD ARGUMENT...
    trace "undo: $*"
    case $1 in
    address) ip -4 address del "$2" dev "$interface" ;;
    peer) ip -4 address del "$2" peer "$3" dev "$interface" ;;
    route) ip -4 route del "$2" dev "$interface" ;;
    default) ip -4 route del default dev "$interface" metric "$2" ;;
    mtu) ip link set dev "$interface" mtu "$2" ;;
    link) ip link set dev "$interface" "$2" ;;
    setting) echo "$3" >"$(ipv6Setting "$2")" ;;
    advertised)
        ip -6 route flush dev "$interface" proto ra
        ip -6 address flush dev "$interface" scope global dynamic
        ;;
    resolved) resolvectl revert "$interface" ;;
    resolvconf) resolvconf -d "$interface.cellslot" ;;
    file) removeFromResolvConf ;;
    newfile)
        removeFromResolvConf
        [ -s "$RESOLV_CONF" ] || rm -f "$RESOLV_CONF"
        ;;
    esac 2>/dev/null 9>&-
}

undoAll() {
    [ -e "$state" ] || return 0
    changes=
    while read -r change; do
        changes=$change$NEWLINE$changes
    done <"$state"
    while read -r word first second _; do
        [ -z "$word" ] || undo "$word" "$first" "$second" </dev/null
    done <<TEXT
$changes
TEXT
    rm -f "$state"
}

# ---- name servers -------------------------------------------------------------------------------

# One kind of resolvconf links the file to its own; the other writes it in place, with a note in it.
isResolvconfs() { # FILE
    case $1 in
    */resolvconf/*) return 0 ;;
    esac
    grep -qi '^# *generated by resolvconf' "$1" 2>/dev/null
}

resolvConfManager() {
    # A link whose folder is not there yet leads somewhere, too.
    target=$(readlink -f "$RESOLV_CONF" 2>/dev/null) || target=$(readlink "$RESOLV_CONF" 2>/dev/null)
    case $target in
    */systemd/resolve/*)
        if command -v resolvectl >/dev/null; then
            echo resolved
            return
        fi
        ;;
    esac
    if isResolvconfs "$target" && command -v resolvconf >/dev/null; then
        echo resolvconf
        return
    fi
    echo file
}

# The draft with mode and owner of the file.
writeBeside() {
    [ ! -e "$target" ] || cp -p "$target" "$target.cellslot" || return 1
    cat "$draft" >"$target.cellslot"
}

# Replaces the file by the draft. A container's file is a mount point and can only be overwritten; on a
# full disk that would cut it off.
replaceResolvConf() {
    target=$(readlink -f "$RESOLV_CONF") || return 1
    if (: >"$target.cellslot") 2>/dev/null; then
        if ! writeBeside; then
            rm -f "$target.cellslot"
            return 1
        fi
        # With its name there before its data, the file could hold only zero bytes after a power cut.
        sync "$target.cellslot" 2>/dev/null
        mv -f "$target.cellslot" "$target" 2>/dev/null && return 0
        rm -f "$target.cellslot"
    fi
    cat "$draft" >"$target"
}

ourBlock() {
    echo "# cellslot $interface begin"
    serverLines
    echo "# cellslot $interface end"
}

serverLines() {
    echo "$nameServers" | while read -r server; do
        [ -z "$server" ] || echo "nameserver $server"
    done
}

hasOurBlock() {
    grep -qxF "# cellslot $interface begin" "$RESOLV_CONF" 2>/dev/null
}

# awk compares whole lines, so that dots in the interface's name match only dots.
removeFromResolvConf() {
    hasOurBlock || return 0
    awk -v first="# cellslot $interface begin" -v last="# cellslot $interface end" '
        $0 == first { inside = 1 }
        !inside { print }
        $0 == last { inside = 0 }' "$RESOLV_CONF" >"$draft" && replaceResolvConf
}

addToResolvConf() {
    if [ ! -e "$RESOLV_CONF" ]; then
        note newfile || return 1
        ourBlock >"$draft" && replaceResolvConf
        return
    fi
    note file || return 1
    # What a power cut left there, or another program's copy of an earlier file.
    removeFromResolvConf || return 1
    if [ "$defaultRoute" = yes ]; then
        { ourBlock && cat "$RESOLV_CONF"; } >"$draft" && replaceResolvConf
    else
        { awk 1 "$RESOLV_CONF" && ourBlock; } >"$draft" && replaceResolvConf
    fi
}

giveNameServers() { # MANAGER
    manager=$1
    trace "name servers through $manager"
    case $manager in
    resolved)
        note resolved || return 1
        set --
        for server in $nameServers; do
            set -- "$@" "$server"
        done
        run resolvectl dns "$interface" "$@" &&
            run resolvectl default-route "$interface" "$defaultRoute"
        ;;
    resolvconf)
        note resolvconf || return 1
        serverLines | run resolvconf -a "$interface.cellslot"
        ;;
    file) addToResolvConf ;;
    esac
}

# Without names a session is still of use, and ending it would bring no names: addresses answer, and a
# gateway that is far away can be reached. A disk may be full, or read-only after an error.
setNameServers() {
    [ -n "$nameServers" ] || return 0
    manager=$(resolvConfManager)
    if ! giveNameServers "$manager"; then
        note nodns "$manager" || return 1
        say "$interface is up without its name servers: $manager did not take them"
    fi
}

noteNameServers() {
    [ -n "$nameServers" ] || return 0
    # shellcheck disable=SC2086  # a word each
    note dns "$defaultRoute" $nameServers
}

# ---- name servers again -------------------------------------------------------------------------

recallNameServers() {
    nameServers=
    while read -r word first rest; do
        if [ "$word" = dns ]; then
            defaultRoute=$first
            for server in $rest; do
                nameServers=$nameServers$server$NEWLINE
            done
        fi
    done <"$state"
}

# Who got the servers: the last of these notes.
notedPlace() {
    sed -n -E '/^(resolved|resolvconf|file|newfile|nodns .*)$/p' "$state" | tail -n 1
}

# resolvconf keeps what it was given, and writes the file itself. systemd-resolved shows an address of
# IPv6 in another form than the modem: any server that it has for the interface is ours.
hasServers() { # MANAGER
    case $1 in
    file) hasOurBlock ;;
    resolved) resolvectl dns "$interface" 2>/dev/null | grep -q ': [0-9A-Fa-f]' ;;
    esac
}

forgetPlace() {
    grep -vxE 'resolved|resolvconf|file|newfile|nodns .*' "$state" >"$state.new"
    [ $? -le 1 ] || return 1
    mv -f "$state.new" "$state"
}

renewNameServers() {
    recallNameServers
    [ -n "$nameServers" ] && [ -e "/sys/class/net/$interface" ] || return 0
    place=$(notedPlace)
    manager=$(resolvConfManager)
    if [ "${place#new}" = "$manager" ] && hasServers "$manager"; then
        return 0
    fi
    case $place in
    '' | nodns*) ;;
    *)
        say "$RESOLV_CONF was changed: giving the name servers of $interface to $manager"
        undo "$place"
        ;;
    esac
    forgetPlace && setNameServers
}

renewAll() {
    result=0
    for state in "$STATE_FOLDER"/cellint.*; do
        interface=${state#"$STATE_FOLDER/cellint."}
        [ "$interface" = lock ] || ! isInterfaceName "$interface" || renewNameServers || result=1
    done
    return "$result"
}

# ---- set-up -------------------------------------------------------------------------------------

isLinkUp() {
    flags=$(cat "/sys/class/net/$interface/flags") && [ $((flags & 1)) -ne 0 ]
}

# cat, because busybox's read reads single bytes, and a setting must be read at once.
setSetting() { # NAME VALUE
    file=$(ipv6Setting "$1")
    before=$(cat "$file") || return 1
    [ "$before" != "$2" ] || return 0
    note setting "$1" "$before" || return 1
    trace "$1 = $2"
    echo "$2" >"$file"
}

# accept_ra 2 also works while the host forwards packets, which gateways do. The interface is taken
# down meanwhile because the kernel requests advertisements only when the interface comes up.
prepareIpv6() {
    [ "$ipv6auto" = yes ] || return 0
    if [ ! -d "$(ipv6Setting '')" ]; then
        if [ "$ipv6only" = yes ]; then
            say "this host has no IPv6, which --ipv6only needs"
            return 1
        fi
        trace "this host has no IPv6, continuing without it"
        return 0
    fi
    acceptDefault=0
    [ "$defaultRoute" = no ] || acceptDefault=1
    if isLinkUp; then
        note link up && run ip link set dev "$interface" down || return 1
    fi
    note advertised || return 1
    setSetting disable_ipv6 0 && setSetting autoconf 1 && setSetting accept_ra 2 &&
        setSetting accept_ra_defrtr "$acceptDefault" || return 1
    if [ -e "$(ipv6Setting ra_defrtr_metric)" ]; then
        setSetting ra_defrtr_metric "$((IPV6_METRIC + number))" || return 1
    fi
}

setMtu() {
    [ -n "$mtu" ] || return 0
    before=$(cat "/sys/class/net/$interface/mtu") || return 1
    [ "$before" != "$mtu" ] || return 0
    note mtu "$before" && run ip link set dev "$interface" mtu "$mtu"
}

setLinkUp() {
    isLinkUp && return
    note link down && run ip link set dev "$interface" up
}

hasAddress() { # ADDRESS/PREFIX
    ip -o -4 address show dev "$interface" | grep -qF " $1 "
}

setPeer() { # ADDRESS GATEWAY
    if [ "$2" = - ]; then
        setAddress "$1" 32
        return
    fi
    ! hasAddress "$1 peer $2/32" || return 0
    note peer "$1" "$2" && run ip -4 address add "$1" peer "$2" dev "$interface"
}

setAddress() { # ADDRESS PREFIX
    ! hasAddress "$1/$2" || return 0
    note address "$1/$2" && run ip -4 address add "$1/$2" dev "$interface"
}

# With the metric, because two modems of one network can have the same gateway.
setGatewayRoute() { # GATEWAY
    [ "$1" != - ] || return 0
    [ -z "$(ip -4 route show exact "$1/32" dev "$interface")" ] || return 0
    note route "$1" && run ip -4 route add "$1" dev "$interface" scope link metric "$metric"
}

setDefaultRoute() { # GATEWAY
    ! ip -4 route show dev "$interface" | grep -q "^default .*metric $metric *\$" || return 0
    note default "$metric" || return 1
    if [ "$1" = - ]; then
        run ip -4 route add default dev "$interface" metric "$metric"
    else
        run ip -4 route add default via "$1" dev "$interface" metric "$metric"
    fi
}

# The address of the first group gets the default route.
setIpv4() {
    [ "$ipv6only" = no ] || return 0
    routeWanted=$defaultRoute
    while read -r groupAddress groupMask groupGateway; do
        case $groupAddress in
        '') continue ;;
        -)
            say "a group without an address is left out"
            continue
            ;;
        esac
        if [ "$ptp" = yes ]; then
            setPeer "$groupAddress" "$groupGateway" || return 1
        else
            setAddress "$groupAddress" "$(prefixOf "$groupMask")" || return 1
            setGatewayRoute "$groupGateway" || return 1
        fi
        if [ "$routeWanted" = yes ]; then
            setDefaultRoute "$groupGateway" || return 1
            routeWanted=no
        fi
    done <<TEXT
$groups
TEXT
}

hasSomethingToSet() {
    [ "$ipv6auto" = no ] || return 0
    [ "$ipv6only" = no ] || return 1
    case $NEWLINE$groups in
    *"$NEWLINE"[0-9]*) return 0 ;;
    esac
    return 1
}

up() {
    if [ ! -e "/sys/class/net/$interface" ]; then
        say "no interface $interface"
        return 1
    fi
    if ! hasSomethingToSet; then
        say "neither an IPv4 address nor --ipv6auto is given"
        return 1
    fi
    : >"$state" || return 1
    number=${interface##*[!0-9]}
    isNumber "$number" 999 || number=0
    metric=$((IPV4_METRIC + number))
    if prepareIpv6 && setMtu && setLinkUp && setIpv4 && noteNameServers && setNameServers; then
        trace "$interface is up"
        return 0
    fi
    say "setting up $interface failed, undoing"
    undoAll
    return 1
}

main() {
    parseArguments "$@"
    state=$STATE_FOLDER/cellint.$interface
    draft=$STATE_FOLDER/resolv.conf.draft
    if ! mkdir -p "$STATE_FOLDER"; then
        say "cannot make $STATE_FOLDER"
        exit 1
    fi
    # The daemons of two slots may run this at the same time, and both change /etc/resolv.conf.
    exec 9>"$STATE_FOLDER/cellint.lock"
    # A script that hangs must not make the daemon hang.
    tries=0
    until flock -n 9; do
        tries=$((tries + 1))
        if [ "$tries" -gt "$LOCK_TRIES" ]; then
            say "another $PROGRAM has been running for $LOCK_SECONDS seconds"
            exit 1
        fi
        sleep 0.2
    done
    if [ "$action" = renew-dns ]; then
        renewAll
        return
    fi
    undoAll
    [ "$action" = down ] || up
}

main "$@"
