#!/usr/bin/env bash
# To be sourced: installs packages, as root or with sudo.

asRoot() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

# A package list that cannot be loaded may not matter: the installation shows.
installPackages() { # APT-OPTION|PACKAGE...
    asRoot apt-get update || echo 'apt-get update: not every package list could be had' >&2
    asRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"
}
