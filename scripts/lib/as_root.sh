#!/usr/bin/env bash
# To be sourced: what installs something runs as root.

asRoot() {
    if ((EUID == 0)); then
        "$@"
    else
        sudo "$@"
    fi
}
