#!/usr/bin/env bash
# To be sourced by a script that has a function "usage".

# Shows the usage on request, refuses any other argument, and ends the script.
helpOrRefuse() { # ARGUMENT
    case $1 in
    -h | --help)
        usage
        exit
        ;;
    '') echo "${0##*/}: an argument is missing" >&2 ;;
    *) echo "${0##*/}: unknown argument '$1'" >&2 ;;
    esac
    usage >&2
    exit 2
}

# For an option that takes a value: refuses it as the last argument.
needValue() { # ARGUMENT...
    (($# > 1)) || helpOrRefuse ''
}
