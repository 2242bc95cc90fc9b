#!/usr/bin/env bash
# To be sourced: installs packages, as root or with sudo, and finds the Debian archive.

asRoot() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}

# Which of these are not installed. A package that is installed only for another architecture is missing.
missingPackages() { # PACKAGE[:ARCHITECTURE]...
    local package architecture
    for package in "$@"; do
        architecture=$(dpkg --print-architecture)
        [[ $package != *:* ]] || architecture=${package#*:}
        dpkg-query -W -f '${db:Status-Status} ${Architecture}\n' "$package" 2>/dev/null |
            grep -qxE "installed ($architecture|all)" || echo "$package"
    done
}

# What a script says before it installs packages. Fails if it cannot.
announceInstallation() { # PACKAGE...
    if ((EUID != 0)) && ! command -v sudo >/dev/null; then
        echo "${0##*/}: not installed: $*. Run ${0##*/} as root, or install sudo" >&2
        return 1
    fi
    echo "${0##*/}: installing $*"
}

# A package list that cannot be loaded may not matter: the installation shows.
installPackages() { # APT-OPTION|PACKAGE...
    asRoot apt-get update || echo 'apt-get update: not every package list could be had' >&2
    asRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"
}

installMissing() { # PACKAGE...
    local missing
    mapfile -t missing < <(missingPackages "$@")
    ((${#missing[@]})) || return 0
    announceInstallation "${missing[@]}"
    installPackages "${missing[@]}"
}

# A script that installs what a part needs, as far as it is missing: BUILD, with --test TEST too. Its
# SERVICES, as PACKAGE:SERVICE, would only listen on the host after the installation: they are ended. Needs
# usage of the script and options.sh.
setUpPackages() { # [--test]
    local missing wanted=("${BUILD[@]}")
    case ${1:-} in
    '') ;;
    --test) wanted+=("${TEST[@]}") ;;
    *) helpOrRefuse "$1" ;;
    esac
    mapfile -t missing < <(missingPackages "${wanted[@]}")
    ((${#missing[@]})) || return 0
    announceInstallation "${missing[@]}"
    installPackages "${missing[@]}"
    endServices "${missing[@]}"
}

# Those that came with these packages.
endServices() { # PACKAGE...
    local entry
    [[ -d /run/systemd/system ]] || return 0
    for entry in "${SERVICES[@]}"; do
        if [[ " $* " == *" ${entry%:*} "* ]]; then
            asRoot systemctl disable --now "${entry#*:}.service"
        fi
    done
}

# "SUITE ADDRESS" of the first Debian archive in apt's configuration.
findMirror() {
    # shellcheck disable=SC2016  # apt's variables, not the shell's
    apt-get indextargets --format '$(LABEL) $(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        awk -v suite="$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)" \
            '$1 == "Debian" && $2 == suite { print $2, $3; exit }'
}
