#!/usr/bin/env bash
# Makes the disk, the kernel and the first stage (initrd) of the virtual gateway: a plain Debian with
# systemd, udev and gpsd, from the mirror that this machine's apt uses, and nothing of ours on it. Kept
# in build/gateway until the packages, the modules or the set-up below change. An ordinary user makes it
# in a user namespace and under fakeroot; for another processor its programs run under qemu-user.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly SELF=scripts/gateway_image.sh
# shellcheck source=scripts/lib/options.sh
. scripts/lib/options.sh
# shellcheck source=scripts/lib/packages.sh
. scripts/lib/packages.sh

# What a gateway has before our package comes, what that depends on, and Python for the test bench.
readonly PACKAGES=(
    dbus e2fsprogs gpsd gpsd-tools iproute2 iputils-ping kmod liblmdb0 libstdc++6 logrotate nano
    procps python3 systemd-sysv udev
)
# Of the kernel's 4000 modules: the emulator's disk and ports, the gadget with the controller that it
# is plugged into, the modem's drivers, and what tests use.
readonly ROOT_MODULES=(virtio_pci virtio_blk ext4 virtio_console)
readonly MODULES=(
    autofs4 binfmt_misc cdc_acm cdc_ether cdc_ncm dummy dummy_hcd libcomposite loop option tun usb_f_acm usb_f_ncm
    usb_f_serial veth virtio_net virtio_rng
)
# Units that a test machine without screen and network does not need.
readonly MASKED=(
    apt-daily-upgrade.timer apt-daily.timer dpkg-db-backup.timer e2scrub_all.timer
    e2scrub_reap.service fstrim.timer getty@tty1.service systemd-pstore.service
)
readonly DISK_SIZE=1G

usage() {
    cat <<'TEXT'
Usage: gateway_image.sh [--arch amd64|arm64|armhf]
Makes the disk of the virtual gateway, unless it is there, and prints its folder: disk.img, kernel,
initrd.
TEXT
}

kernelPackage() {
    case $architecture in
    amd64 | arm64) echo "linux-image-$architecture" ;;
    armhf) echo linux-image-armmp ;;
    *) return 1 ;;
    esac
}

# ---- the files, made as root or under fakeroot ------------------------------------------------------

withDependencies() { # MODULE...
    local module
    for module in "$@"; do
        # "builtin NAME" is in the kernel already.
        modprobe --dirname "$work/kernel" --set-version "$version" --show-depends "$module"
    done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }'
}

putModules() { # TARGET FILE...
    local target=$1 file
    shift
    for file in "$@"; do
        install -D -m 644 "$file" "$target/lib/modules/${file#*/lib/modules/}"
    done
    cp "$work/kernel/lib/modules/$version"/modules.{builtin,builtin.modinfo,order} \
        "$target/lib/modules/$version/"
    depmod --basedir "$target" "$version"
}

# Mounts the disk and the bench's files, then starts systemd. The bench is in memory, so the disk holds
# only what a gateway's disk holds.
putInit() {
    mkdir -p "$work/initrd"/{bin,dev,proc,sys,run,root}
    cp "$work/busybox/bin/busybox" "$work/initrd/bin/busybox"
    cat >"$work/initrd/init" <<'TEXT'
#!/bin/busybox sh
/bin/busybox --install -s /bin
mount -t devtmpfs dev /dev
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t tmpfs -o nodev,nosuid,noexec,size=20%,mode=0755 run /run
while read -r file; do insmod "$file"; done </modules
for i in $(seq 100); do [ -e /dev/vda ] && break; sleep 0.1; done
mount -o rw /dev/vda /root || exec sh
if [ -d /bench ]; then
    mount -t tmpfs -o mode=0755 bench /root/bench
    cp -a /bench/. /root/bench/
    mkdir -p /run/systemd
    cp -a /bench/system /run/systemd/system
fi
mount --move /run /root/run
umount /proc /sys
exec switch_root /root /sbin/init
TEXT
    chmod 755 "$work/initrd/init"
}

putRootModules() {
    local file
    mapfile -t files < <(withDependencies "${ROOT_MODULES[@]}")
    for file in "${files[@]}"; do
        install -D -m 644 "$file" "$work/initrd/modules.d/${file##*/}"
        echo "/modules.d/${file##*/}" >>"$work/initrd/modules"
    done
}

setUpRoot() { # ROOT
    local root=$1 unit
    echo gateway >"$root/etc/hostname"
    printf '127.0.0.1 localhost\n127.0.1.1 gateway\n::1 localhost\n' >"$root/etc/hosts"
    printf '/dev/vda / ext4 errors=remount-ro 0 1\n' >"$root/etc/fstab"
    : >"$root/etc/resolv.conf"
    # As an installed machine has it; an empty one would make each boot a first boot.
    tr -d - </proc/sys/kernel/random/uuid >"$root/etc/machine-id"
    sed -i 's/^root:[^:]*:/root::/' "$root/etc/shadow"
    for unit in "${MASKED[@]}"; do
        ln -sf /dev/null "$root/etc/systemd/system/$unit"
    done
    mkdir -p "$root/bench" "$root/etc/systemd/system/serial-getty@.service.d"
    printf '[Service]\nExecStart=\nExecStart=-/sbin/agetty --autologin root --keep-baud 115200 - %s\n' \
        "\$TERM" >"$root/etc/systemd/system/serial-getty@.service.d/autologin.conf"
}

assemble() {
    local root=$work/root kernel
    mkdir -p "$root" "$work/kernel" "$work/busybox"
    # The kernel fills /dev, and device nodes would need root.
    tar -C "$root" -x --exclude='./dev/*' <"$packages"
    dpkg-deb -x "$root"/bench/linux-image-*.deb "$work/kernel"
    dpkg-deb -x "$root"/bench/busybox-static_*.deb "$work/busybox"
    rm -rf "$root/bench"
    kernel=$(echo "$work"/kernel/boot/vmlinuz-*)
    version=${kernel##*/vmlinuz-}
    depmod --basedir "$work/kernel" "$version"
    mapfile -t files < <(withDependencies "${ROOT_MODULES[@]}" "${MODULES[@]}")
    putModules "$root" "${files[@]}"
    setUpRoot "$root"
    mke2fs -q -t ext4 -L gateway -d "$root" "$work/disk.img" "$DISK_SIZE"
    putInit
    putRootModules
    (cd "$work/initrd" && find . | cpio --quiet -o -H newc >"$work/initrd.cpio")
    cp "$kernel" "$work/kernel.img"
}

# ---- the image ----------------------------------------------------------------------------------------

# What registers the processor's programs with qemu-user; empty if this machine runs them itself.
emulatorRule() {
    case $architecture in
    "$(dpkg --print-architecture)") ;;
    arm64) echo /usr/lib/binfmt.d/qemu-aarch64.conf ;;
    armhf) echo /usr/lib/binfmt.d/qemu-arm.conf ;;
    esac
}

# The namespace has the owners of a system's files: for root these are all users, for an ordinary user
# those that /etc/subuid gives them.
inUserNamespace() { # COMMAND...
    local namespace=(unshare --user --mount --pid --fork --mount-proc)
    if ((EUID != 0)); then
        "${namespace[@]}" --map-root-user --map-auto "$@"
        return
    fi
    # The command waits until it is root there.
    # shellcheck disable=SC2016  # the shell's own variables
    coproc { exec "${namespace[@]}" sh -c 'echo; read -r _; exec "$0" "$@" >&2' "$@"; }
    local process=$COPROC_PID answers=${COPROC[0]} orders=${COPROC[1]}
    read -r _ <&"$answers"
    echo '0 0 65536' | tee "/proc/$process/uid_map" >"/proc/$process/gid_map"
    echo >&"$orders"
    wait "$process"
}

# Since Linux 6.7 a namespace has rules of its own: this machine's are left alone.
registerEmulator() {
    local rules=/proc/sys/fs/binfmt_misc
    mount -t binfmt_misc binfmt_misc "$rules" || {
        echo "gateway_image.sh: this kernel runs no $architecture programs: install binfmt-support, or" \
            "use Linux 6.7 or later" >&2
        return 1
    }
    cat "$(emulatorRule)" >"$rules/register"
}

# An ordinary user's namespace has the owners of a system's files only if it may use other numbers.
requireUsers() {
    local file
    ((EUID != 0)) || return 0
    for file in /etc/subuid /etc/subgid; do
        if ! grep -q "^$(id -un):\|^$(id -u):" "$file"; then
            echo "gateway_image.sh: $file has no line for $(id -un). As root, run usermod" \
                "--add-subuids FIRST-LAST --add-subgids FIRST-LAST $(id -un), with 65536 numbers that no" \
                "other user has, such as 100000-165535" >&2
            return 1
        fi
    done
}

makePackages() {
    local rule
    requireUsers
    rule=$(emulatorRule)
    if [[ -z $rule || -e /proc/sys/fs/binfmt_misc/$(basename "$rule" .conf) ]]; then
        debootstrap
    else
        inUserNamespace "$SELF" --arch "$architecture" --emulate "$packages"
    fi
}

debootstrap() { # MMDEBSTRAP-OPTION...
    local suite address
    read -r suite address < <(findMirror)
    # Whether the processor's programs run is known here.
    # shellcheck disable=SC2016  # the hook's own variables
    mmdebstrap --quiet --skip=check/qemu --format=tar --variant=minbase --architectures="$architecture" \
        --include="$(IFS=,; echo "${PACKAGES[*]}")" "$@" \
        --customize-hook="mkdir -p \"\$1/bench\"; chroot \"\$1\" sh -ec '
            cd /bench
            kernel=\$(apt-cache depends $(kernelPackage) | sed -n \"s/ *Depends: //p\" | grep ^linux-image)
            apt-get -o APT::Sandbox::User=root download busybox-static \$kernel'" \
        "$suite" "$packages.new" "$address"
    mv "$packages.new" "$packages"
}

make() {
    work=$target.new
    rm -rf "$work"
    mkdir -p "$work"
    trap 'rm -rf "$work"' EXIT
    [[ -e $packages ]] || makePackages >&2
    if ((EUID == 0)); then
        assemble >&2
    else
        fakeroot "$SELF" --arch "$architecture" --assemble "$packages" "$work" >&2
    fi
    # Without what older lists made.
    find build/gateway -maxdepth 1 \( -name "$architecture-*" -o -name "packages-$architecture-*" \) \
        ! -path "*/${work##*/}" ! -path "*/${packages##*/}" -exec rm -rf {} +
    mkdir -p "$target"
    mv "$work/disk.img" "$work/initrd.cpio" "$work/kernel.img" "$target/"
}

main() {
    architecture=
    while (($#)); do
        case $1 in
        --arch) needValue "$@" && architecture=$2 && shift ;;
        --assemble) # the half of it that wants the owners of files kept
            packages=$2 work=$3
            assemble
            return
            ;;
        --emulate) # the half of it that runs the processor's programs
            packages=$2
            registerEmulator
            debootstrap --skip=chroot/mount/sys # of another namespace
            return
            ;;
        *) helpOrRefuse "$1" ;;
        esac
        shift
    done
    [[ -n $architecture ]] || architecture=$(dpkg --print-architecture)
    kernelPackage >/dev/null || {
        echo "gateway_image.sh: no gateway for '$architecture': amd64, arm64 or armhf" >&2
        return 2
    }
    # The image follows from this script alone, its packages from their list.
    packages=$PWD/build/gateway/packages-$architecture-$(sha256sum <<<"${PACKAGES[*]}" | cut -c 1-12).tar
    target=$PWD/build/gateway/$architecture-$(sha256sum <"$SELF" | cut -c 1-12)
    [[ -e $target/disk.img ]] || make
    echo "$target"
}

main "$@"
