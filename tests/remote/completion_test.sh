#!/usr/bin/env bash
# What the completion of corvanectl offers. Usage: completion_test.sh CORVANECTL
set -euo pipefail
program=${1:?}
source "$(dirname "$0")/../../packaging/bash-completion/corvanectl"

expect() {  # expect "words offered" words of the command line, the last one being completed
    local wanted=$1
    COMP_WORDS=("$program" "${@:2}")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _corvanectl
    [[ ${COMPREPLY[*]} == "$wanted" ]] && return
    echo "\"${*:2}\" offers \"${COMPREPLY[*]}\", not \"$wanted\"" >&2
    exit 1
}

expect "status" stat
expect "set set-serial" --json set
expect "A B" listen ""
expect "set clear" group ""
expect "set enable disable preset" pulse ""
expect "A B C" open ""
expect "A B C" close ""
expect "on off tcp-a tcp-b serial-a serial-b serial-c" raw ""
expect "show delete" log ""
expect "disconnect database db" --yes d
expect "restore repair repair-serials reset-labels" db re
expect "hourly minute" db repair ""
expect "condense delete" db auto ""
expect "start stop" realtime st
expect "read set history diff restore" monitor ""
expect "forward" forw
expect "status set listen stop connect check" forward ""
expect "--json" --js
expect "" status ""
