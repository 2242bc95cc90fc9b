#!/usr/bin/env bash
# To be sourced: what the tests of Debian packages share. WORK: their folder, with the packages of two
# versions in "old" and "new".

# shellcheck source=scripts/lib/packages.sh
. "$(dirname "${BASH_SOURCE[0]}")/packages.sh"

# Besides a minimal host: the dependencies of the daemon's package, and the programs that read its rules for
# devices and logs.
# shellcheck disable=SC2034  # for those that source this
readonly DEPENDENCIES=libstdc++6,iproute2,iputils-ping,udev,logrotate

# A package of the same programs with a later version.
makeNewer() { # SCRIPT PACKAGE
    local version
    version=$(dpkg-deb --field "$WORK/old/$2"_*.deb Version)
    "scripts/$1" --no-build --version "$version+1" --output "$WORK/new"
    cmake --build --preset release --target le910sim
}

# The names of the packages that a package needs, but ours.
dependenciesOf() { # PACKAGE
    dpkg-deb --field "$1" Depends | tr , '\n' | sed 's/^ *//; s/[ (].*//' | grep -vx cellslot | paste -sd,
}

makeRoot() { # PACKAGES
    local suite address
    read -r suite address < <(findMirror)
    mkdir -p "$WORK/root"
    mmdebstrap --quiet --mode=root --variant=minbase --include="$1" \
        --skip=cleanup/tmp "$suite" - "$address" | tar -C "$WORK/root" -x --exclude='./dev/*'
}

runTests() { # FILE CLASS
    CELLSLOT_BIN=$PWD/build/release/bin CELLSLOT_HOST=$PWD/gateway-tools CELLSLOT_PACKAGES=$WORK \
        CELLSLOT_ROOT=$WORK/root scripts/private_namespace.sh --keep "$PWD/build" \
        "${SUITE_PYTHON:-python3}" "tests/package/$1.py" -v "$2"
}

# On a host with, besides the package's own dependencies, what makes its user and enables its units.
testLife() { # SCRIPT PACKAGE FILE
    makeNewer "$1" "$2" &&
        scripts/package.sh --output "$WORK/old" &&
        makeRoot "$DEPENDENCIES,systemd,$(dependenciesOf "$WORK/old/$2"_*.deb)" &&
        runTests "$3" Life &&
        rm -rf "$WORK/root"
}
