#!/usr/bin/env bash
# To be sourced: what the scripts that make Debian packages share. They set preset, version and output
# from the command line (readPackageOptions) and put files into $tree (startPackage).

# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/packages.sh"

# The maintainer of the packages; the maker of a gateway sets their own address.
readonly MAINTAINER=${CELLSLOT_MAINTAINER:-cellslotd developers <cellslotd@cellslot.invalid>}

fail() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# Sets preset, version, output, bin, architecture, strip, and build (yes or no).
readPackageOptions() { # ARGUMENT...
    preset=release output=build/packages version='' build=yes
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
            exit
            ;;
        *) fail "unknown option '$1' (see --help)" ;;
        esac
        printf -v "${1#--}" %s "$2"
        shift 2
    done
    [[ -n $version ]] || version=$(sed -n 's/.*PROGRAM_VERSION = "\([0-9.]*\)".*/\1/p' include/program_version.h)
    bin=build/$preset/bin
    chooseArchitecture
}

# The architecture that a preset builds for, and its strip program.
chooseArchitecture() {
    case $preset in
    arm64) architecture=arm64 strip=aarch64-linux-gnu-strip ;;
    armhf) architecture=armhf strip=arm-linux-gnueabihf-strip ;;
    *) architecture=$(dpkg --print-architecture) strip=strip ;;
    esac
}

buildPrograms() { # PROGRAM...
    [[ $build == yes ]] || return 0
    cmake --preset "$preset" >&2
    cmake --build --preset "$preset" -j 2 --target "$@" >&2
}

# The frame of a package of programs in the folder $PLACE: needs NAME, PROGRAMS and a function putFiles;
# sets depends.
packPrograms() { # ARGUMENT...
    readPackageOptions "$@"
    buildPrograms "${PROGRAMS[@]}"
    startPackage
    putFiles
    # shellcheck disable=SC2153 # of the script
    depends=$(sharedLibraries "$NAME" "${PROGRAMS[@]/#/$PLACE/}")
}

startPackage() {
    installMissing dpkg-dev >&2
    # The same source must give the same package.
    SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CMakeLists.txt)
    export SOURCE_DATE_EPOCH
    umask 022
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    tree=$work/root
    mkdir -p "$tree/DEBIAN" "$output"
}

put() { # MODE SOURCE PLACE
    install -D -m "$1" "$2" "$tree$3"
}

putProgram() { # NAME PLACE
    put 755 "$bin/$1" "$2"
    "$strip" --strip-unneeded "$tree$2"
}

putZipped() { # SOURCE PLACE
    mkdir -p "$tree${2%/*}"
    gzip -9n <"$1" >"$tree$2.gz"
    chmod 644 "$tree$2.gz"
}

# Every file of /etc in the tree is the operator's.
putConffiles() {
    (cd "$tree" && find etc -type f -printf '/%p\n' | sort) >"$tree/DEBIAN/conffiles"
}

# Licence and changelogs.
putRecords() { # NAME
    local doc=/usr/share/doc/$1
    put 644 LICENSE "$doc/copyright"
    put 644 CHANGELOG.md "$doc/CHANGELOG.md"
    printf '%s (%s) stable; urgency=medium\n\n  * Built from %s.\n\n -- %s  %s\n' "$1" "$version" \
        "$(git rev-parse --short HEAD 2>/dev/null || echo 'a copy without history')" "$MAINTAINER" \
        "$(date -R -d "@$SOURCE_DATE_EPOCH")" >"$work/changelog"
    putZipped "$work/changelog" "$doc/changelog"
}

# The libraries that the programs link, with the versions that they need.
sharedLibraries() { # NAME PLACE...
    local name=$1 depends
    shift
    mkdir -p "$work/debian"
    printf 'Source: %s\n\nPackage: %s\nArchitecture: any\n' "$name" "$name" >"$work/debian/control"
    depends=$(cd "$work" && DEB_HOST_ARCH=$architecture dpkg-shlibdeps -O --ignore-missing-info \
        "${@/#/root}" 2>"$work/shlibdeps.log" | sed -n 's/^shlibs:Depends=//p') || true
    [[ -n $depends ]] || fail "$(cat "$work/shlibdeps.log")"
    echo "$depends"
}

# Standard input: what the control file has beside this; SCRIPTS: folder of postinst and the like, if the
# package needs any.
putControl() { # NAME SCRIPTS
    local script
    {
        printf 'Package: %s\nVersion: %s\nArchitecture: %s\nMaintainer: %s\n' "$1" "$version" \
            "$architecture" "$MAINTAINER"
        printf 'Section: net\nPriority: optional\nInstalled-Size: %s\n' \
            "$(du -sk --exclude=DEBIAN "$tree" | cut -f1)"
        cat
    } >"$tree/DEBIAN/control"
    for script in postinst prerm postrm; do
        [[ -e $2/$script ]] || continue
        install -m 755 "$2/$script" "$tree/DEBIAN/$script"
    done
    (cd "$tree" && find . -path ./DEBIAN -prune -o -type f -printf '%P\n' | sort |
        xargs -d '\n' md5sum) >"$tree/DEBIAN/md5sums"
}

# Prints the package's path.
finishPackage() { # NAME
    local package=$output/${1}_${version}_$architecture.deb
    find "$tree" -exec touch -hd "@$SOURCE_DATE_EPOCH" {} +
    dpkg-deb --root-owner-group --build "$tree" "$package" >&2
    echo "$package"
}
