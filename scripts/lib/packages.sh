#!/usr/bin/env bash
# To be sourced: installs packages, as root or with sudo, and finds the Debian archive.

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

# "SUITE ADDRESS" of the first Debian archive in apt's configuration.
findMirror() {
    # shellcheck disable=SC2016  # apt's variables, not the shell's
    apt-get indextargets --format '$(LABEL) $(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        awk -v suite="$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)" \
            '$1 == "Debian" && $2 == suite { print $2, $3; exit }'
}
