#!/usr/bin/env bash
# Builds the programs and a Debian package: daemon, operator's command, host tools, service, udev rules,
# documents. At the end prints the package's path.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
# shellcheck source=scripts/lib/packages.sh
. scripts/lib/packages.sh
readonly NAME=cellslot
readonly PROGRAMS=(cellslotd cellslot skvs)
readonly TOOLS=(setup_cellint.sh systime.sh sledctl ResetCellular slot-of-port timeout)
# The maintainer of the package; the maker of a gateway sets their own address.
readonly MAINTAINER=${CELLSLOT_MAINTAINER:-cellslotd developers <cellslotd@cellslot.invalid>}

usage() {
    cat <<'TEXT'
Usage: package.sh [--preset release|arm64|armhf] [--version VERSION] [--output FOLDER] [--no-build]
Builds the programs and the package FOLDER/cellslot_VERSION_ARCHITECTURE.deb. Defaults: folder
build/packages, version from CMakeLists.txt. --no-build packs the programs already built.
TEXT
}

put() { # MODE SOURCE PLACE
    install -D -m "$1" "$2" "$tree$3"
}

putZipped() { # SOURCE PLACE
    mkdir -p "$tree${2%/*}"
    gzip -9n <"$1" >"$tree$2.gz"
    chmod 644 "$tree$2.gz"
}

putPrograms() {
    put 755 "$bin/cellslotd" /usr/sbin/cellslotd
    put 755 "$bin/cellslot" /usr/bin/cellslot
    put 755 "$bin/skvs" /usr/bin/skvs
    "$strip" --strip-unneeded "$tree/usr/sbin/cellslotd" "$tree/usr/bin/cellslot" "$tree/usr/bin/skvs"
    local tool
    for tool in "${TOOLS[@]}"; do
        put 755 "gateway-tools/$tool" "/usr/lib/cellslot/$tool"
    done
}

putServices() {
    local slot place
    put 644 packaging/cellslotd@.service /lib/systemd/system/cellslotd@.service
    put 644 packaging/cellslot-booted.service /lib/systemd/system/cellslot-booted.service
    put 644 packaging/cellslot-clock@.service /lib/systemd/system/cellslot-clock@.service
    put 644 packaging/cellslot-dns.path /lib/systemd/system/cellslot-dns.path
    put 644 packaging/cellslot-dns.service /lib/systemd/system/cellslot-dns.service
    put 644 packaging/tmpfiles.conf /usr/lib/tmpfiles.d/cellslot.conf
    put 644 packaging/60-cellslot.rules /lib/udev/rules.d/60-cellslot.rules
    put 644 packaging/00-cellslot.network /usr/lib/systemd/network/00-cellslot.network
    put 644 packaging/logrotate.conf /etc/logrotate.d/cellslot
    put 644 packaging/slots.conf /etc/cellslot/slots.conf
    install -d "$tree/etc/vuk" "$tree/etc/default"
    for slot in 1 2 3; do
        place=$tree/etc/default/cellslotd.$slot
        sed "s/@SLOT@/$slot/g; s/@INTERFACE@/wwan$((slot - 1))/g" packaging/cellslotd.default.in >"$place"
        chmod 644 "$place"
    done
    (cd "$tree" && find etc -type f -printf '/%p\n' | sort) >"$tree/DEBIAN/conffiles"
}

# Man pages and completion, as far as they exist.
putDocuments() {
    local page document completion=cli/cellslot.bash-completion
    local doc=/usr/share/doc/$NAME
    for page in docs/man/*.[158]; do
        [[ ! -e $page ]] || putZipped "$page" "/usr/share/man/man${page##*.}/${page##*/}"
    done
    [[ ! -e $completion ]] || put 644 "$completion" /usr/share/bash-completion/completions/cellslot
    for document in docs/*.md; do
        [[ $document == */le910sim.md ]] || put 644 "$document" "$doc/${document##*/}"
    done
    put 644 LICENSE "$doc/copyright"
    put 644 CHANGELOG.md "$doc/CHANGELOG.md"
    put 644 docs/cellslot.conf.example "$doc/examples/cellslot.conf.example"
    put 644 packaging/rsyslog.conf "$doc/examples/rsyslog.conf"
    printf '%s (%s) stable; urgency=medium\n\n  * Built from %s.\n\n -- %s  %s\n' "$NAME" "$version" \
        "$(git rev-parse --short HEAD 2>/dev/null || echo 'a copy without history')" "$MAINTAINER" \
        "$(date -R -d "@$SOURCE_DATE_EPOCH")" >"$work/changelog"
    putZipped "$work/changelog" "$doc/changelog"
}

# The libraries that the programs link, with the versions that they need.
libraries() {
    mkdir -p "$work/debian"
    printf 'Source: %s\n\nPackage: %s\nArchitecture: any\n' "$NAME" "$NAME" >"$work/debian/control"
    (cd "$work" && DEB_HOST_ARCH=$architecture dpkg-shlibdeps -O --ignore-missing-info \
        root/usr/sbin/cellslotd root/usr/bin/cellslot root/usr/bin/skvs 2>"$work/shlibdeps.log") |
        sed -n 's/^shlibs:Depends=//p'
}

putControl() {
    local depends script
    depends=$(libraries) || true
    [[ -n $depends ]] || fail "$(cat "$work/shlibdeps.log")"
    cat >"$tree/DEBIAN/control" <<TEXT
Package: $NAME
Version: $version
Architecture: $architecture
Maintainer: $MAINTAINER
Section: net
Priority: optional
Installed-Size: $(du -sk --exclude=DEBIAN "$tree" | cut -f1)
Depends: $depends, iproute2, iputils-ping
Recommends: gpsd, logrotate, udev
Description: cellular modem manager for gateways with Telit LE910 modems
 One daemon owns one LTE modem in one of three slots. It unlocks the SIM,
 applies the configuration, starts the data session, sets up the host's
 network interface, polls the modem, publishes its state and recovers from
 faults. It also relays text messages, passes the modem's GPS receiver to
 gpsd and runs AT commands for other programs.
 .
 The package also contains the operator's command, the host tools that the
 daemon runs, a systemd service with watchdog and sandbox, and udev rules that
 name the modem's ports by slot.
TEXT
    for script in postinst prerm postrm; do
        install -m 755 "packaging/deb/$script" "$tree/DEBIAN/$script"
    done
    (cd "$tree" && find . -path ./DEBIAN -prune -o -type f -printf '%P\n' | sort |
        xargs -d '\n' md5sum) >"$tree/DEBIAN/md5sums"
}

fail() {
    echo "package.sh: $*" >&2
    exit 1
}

# The architecture that a preset builds for, and its strip program.
chooseArchitecture() {
    case $preset in
    arm64) architecture=arm64 strip=aarch64-linux-gnu-strip ;;
    armhf) architecture=armhf strip=arm-linux-gnueabihf-strip ;;
    *) architecture=$(dpkg --print-architecture) strip=strip ;;
    esac
}

build() {
    cmake --preset "$preset"
    cmake --build --preset "$preset" -j 2 --target "${PROGRAMS[@]}"
}

main() {
    preset=release output=build/packages version=
    local build=yes
    while (($#)); do
        case $1 in
        --no-build)
            build=no
            shift
            continue
            ;;
        --preset | --version | --output) [[ -n ${2:-} ]] || fail "$1 needs a value" ;;
        -h | --help)
            usage
            return
            ;;
        *) fail "unknown option '$1' (see --help)" ;;
        esac
        printf -v "${1#--}" %s "$2"
        shift 2
    done
    [[ -n $version ]] || version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
    chooseArchitecture
    bin=build/$preset/bin
    installMissing dpkg-dev >&2
    [[ $build == no ]] || build >&2
    # The same source must give the same package.
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CMakeLists.txt)
    export SOURCE_DATE_EPOCH
    umask 022
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    tree=$work/root
    mkdir -p "$tree/DEBIAN" "$output"
    putPrograms
    putServices
    putDocuments
    putControl
    find "$tree" -exec touch -hd "@$SOURCE_DATE_EPOCH" {} +
    dpkg-deb --root-owner-group --build "$tree" "$output/${NAME}_${version}_$architecture.deb" >&2
    echo "$output/${NAME}_${version}_$architecture.deb"
}

main "$@"
