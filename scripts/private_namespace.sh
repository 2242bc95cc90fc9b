#!/usr/bin/env bash
# Runs a command in private mount, network and pid namespaces, so that its changes to files, interfaces
# and processes do not affect the host:
#   - fresh tmpfs on /tmp /var/log /run /storage /etc/vuk /etc/zoq; the rest of /etc is writable, but
#     changes are lost at the end
#   - /dev of its own, with the usual nodes, a tun node and room for a socket at /dev/log
#   - a network of its own with lo up; /sys/class/net shows it
#   - /bin/sh is bash, because the daemon's shell commands contain "&>"
#   - the checkout, the working directory, the command's own folder and every --keep folder stay
#     visible at their own paths, also if these are below one of the fresh folders
# Everything else of the host (/usr, /home, ...) is the host's own.
# Root needs nothing more. An ordinary user becomes root of a user namespace and can use /dev/net/tun
# only if the host lets that user open it.
set -euo pipefail

# The new root is built on /sys: that exists everywhere, nothing reads from it meanwhile, and the new
# root gets a /sys of its own.
readonly NEW=/sys

usage() {
    cat <<'TEXT'
Usage: private_namespace.sh [--keep DIR]... CMD [ARG]...
Runs CMD in private mount, network and pid namespaces and exits with its status.
  --keep DIR  keep DIR visible, although it is below a folder that is fresh inside
  -h, --help  show this text
CMD sees CELLSLOT_PRIVATE_NAMESPACE=1 and gets SIGINT, SIGTERM and SIGHUP. All processes that it
started end with it.
TEXT
}

fail() {
    echo "private_namespace.sh: $*" >&2
    exit 125
}

# startAndWait CMD...: runs CMD, passes signals on to it and exits with its status.
# On a terminal CMD stays in the terminal's process group, so that it can read from the terminal and
# gets Ctrl-C; otherwise it has a group of its own and gets only the signals that are passed on.
startAndWait() {
    local status=0
    if [[ -t 0 ]]; then
        trap : INT
        env --default-signal=INT,QUIT "$@" <&0 &
    else
        set -m
        "$@" <&0 &
        trap 'kill -INT "$child" 2>/dev/null' INT
    fi
    child=$!
    trap 'kill -TERM "$child" 2>/dev/null' TERM
    trap 'kill -HUP "$child" 2>/dev/null' HUP
    # A signal ends wait early; the status is valid only after the child has ended.
    while kill -0 "$child" 2>/dev/null; do
        wait "$child" || true
    done
    wait "$child" || status=$?
    exit "$status"
}

# The mounts to make, as lines of a mount table: a single call of mount saves time.
table=
plan() { # SOURCE PLACE TYPE OPTIONS: PLACE is a path of the new root
    local place=$2
    place=${place//\\/\\134}
    place=${place// /\\040}
    table+="${1// /\\040} $NEW$place $3 $4"$'\n'
}

mountPlanned() {
    printf '%s' "$table" >"$NEW/.mounts"
    mount --all --fstab "$NEW/.mounts"
    rm "$NEW/.mounts"
    table=
}

bind() { # PATH: the host's PATH at the same place of the new root
    plan "$1" "$1" none rbind
}

# The host's top-level entries, except those that get new content.
planHostFolders() {
    local entry folders=() links=()
    for entry in /*; do
        case $entry in
        /tmp | /run | /storage | /etc | /dev | /proc | /sys | /lost+found) continue ;;
        esac
        if [[ -L $entry ]]; then
            links+=("$entry")
        elif [[ -d $entry ]]; then
            folders+=("$NEW$entry")
            bind "$entry"
        fi
    done
    mkdir "${folders[@]}"
    ((${#links[@]} == 0)) || cp -P "${links[@]}" "$NEW/"
}

# bash (or busybox) as /bin/sh, also if that is a link.
planShell() {
    local shell bash
    shell=$(readlink -f /bin/sh)
    bash=$(readlink -f "$BASH")
    case ${shell##*/} in
    bash | busybox) ;;
    *) plan "$bash" "$shell" none bind ;;
    esac
}

# /etc: the host's, with changes kept in memory. If the kernel allows no overlay, a copy of the readable
# files replaces it.
makeEtc() {
    local upper=$NEW/.etc/upper work=$NEW/.etc/work file
    mkdir -p "$NEW/etc" "$upper" "$work"
    mount -t overlay overlay -o "lowerdir=/etc,upperdir=$upper,workdir=$work" "$NEW/etc" 2>/dev/null ||
        cp -a /etc/. "$NEW/etc" 2>/dev/null || true
    # Containers mount these over the files of /etc, which the overlay does not see.
    for file in hosts hostname; do
        if [[ -r /etc/$file ]]; then
            rm -f "$NEW/etc/$file"
            echo "$(</etc/$file)" >"$NEW/etc/$file"
        fi
    done
    rm -f "$NEW/etc/resolv.conf"
    echo '# private network: no name server' >"$NEW/etc/resolv.conf"
    mkdir -p "$NEW/etc/vuk" "$NEW/etc/zoq"
}

planFreshFolders() {
    local folder
    mkdir "$NEW/tmp" "$NEW/run" "$NEW/storage"
    plan tmpfs /tmp tmpfs mode=1777
    for folder in /run /storage /var/log /etc/vuk /etc/zoq; do
        plan tmpfs "$folder" tmpfs mode=755
    done
    if [[ ! -L /var/run ]]; then
        plan "$NEW/run" /var/run none bind
    fi
}

makeDev() {
    local node
    mkdir "$NEW/dev"
    mount -t tmpfs -o mode=755 tmpfs "$NEW/dev"
    mkdir "$NEW/dev/pts" "$NEW/dev/shm" "$NEW/dev/net"
    plan devpts /dev/pts devpts newinstance,ptmxmode=0666,mode=620
    plan tmpfs /dev/shm tmpfs mode=1777
    ln -s pts/ptmx "$NEW/dev/ptmx"
    cp -P /dev/fd /dev/stdin /dev/stdout /dev/stderr "$NEW/dev/"
    if [[ $userNamespace == no ]] &&
        cp -a /dev/null /dev/zero /dev/full /dev/random /dev/urandom /dev/tty "$NEW/dev/" 2>/dev/null &&
        mknod -m 666 "$NEW/dev/net/tun" c 10 200 2>/dev/null; then
        return
    fi
    # A user namespace may not make device nodes, but may bind the host's.
    for node in null zero full random urandom tty net/tun; do
        if [[ -e /dev/$node ]]; then
            rm -f "$NEW/dev/$node"
            : >"$NEW/dev/$node"
            plan "/dev/$node" "/dev/$node" none bind
        fi
    done
}

# The folders that a fresh folder would hide.
planKept() { # FOLDER...
    local folder
    for folder in "$@"; do
        case $folder in
        /tmp/* | /run/* | /var/run/* | /storage/* | /var/log/* | /etc/vuk/* | /etc/zoq/* | /dev/*)
            mkdir -p "$NEW$folder"
            bind "$folder"
            ;;
        esac
    done
}

# First stage: in the namespaces, but with the host's process numbers. Its first child becomes process
# 1 of the pid namespace, so nothing else may be started here before it.
stage1() {
    startAndWait setpriv --pdeathsig KILL bash "$0" --stage2 "$@"
}

# Second stage: process 1 of the pid namespace. Builds the new root and moves into it.
stage2() { # USER-NAMESPACE(yes/no) WORKING-FOLDER KEEP-COUNT KEEP... CMD...
    userNamespace=$1
    local cwd=$2 count=$3
    local keep=("${@:4:count}")
    shift $((3 + count))

    # Process 1 ignores signals without a handler.
    trap 'exit 129' HUP
    trap 'exit 130' INT
    trap 'exit 143' TERM
    mount -t tmpfs -o mode=755 tmpfs "$NEW"
    makeEtc
    makeDev
    planHostFolders
    planShell
    planFreshFolders
    mkdir "$NEW/proc" "$NEW/sys"
    plan proc /proc proc defaults
    plan sysfs /sys sysfs defaults
    mountPlanned
    planKept "${keep[@]}"
    [[ -z $table ]] || mountPlanned
    cd "$NEW"
    PATH=$PATH:/usr/sbin:/sbin pivot_root . .
    umount -l .
    cd "$cwd" 2>/dev/null || cd /
    ip link set lo up
    export CELLSLOT_PRIVATE_NAMESPACE=1
    startAndWait "$@"
}

main() {
    local options=() userNamespace=no folder self checkout
    self=$(readlink -f "$0")
    checkout=${self%/scripts/*}
    local keep=("$checkout" "$PWD")
    while (($#)); do
        case $1 in
        --keep)
            [[ -d ${2:-} ]] || fail "--keep needs a folder"
            folder=$(cd "$2" && pwd)
            keep+=("$folder")
            shift 2
            ;;
        -h | --help)
            usage
            exit 0
            ;;
        --)
            shift
            break
            ;;
        -*) fail "unknown option $1 (see --help)" ;;
        *) break ;;
        esac
    done
    if ! { : <&0; } 2>/dev/null; then
        exec </dev/null
    fi
    (($#)) || fail "no command given (see --help)"
    if [[ $1 == */* ]] && folder=$(cd "$(dirname "$1")" 2>/dev/null && pwd); then
        keep+=("$folder")
    fi
    if ((EUID != 0)); then
        options=(--user --map-root-user)
        userNamespace=yes
    fi
    exec unshare "${options[@]}" --mount --net --pid --propagation private \
        bash "$self" --stage1 "$userNamespace" "$PWD" "${#keep[@]}" "${keep[@]}" "$@"
}

case ${1:-} in
--stage1)
    shift
    stage1 "$@"
    ;;
--stage2)
    shift
    stage2 "$@"
    ;;
*) main "$@" ;;
esac
