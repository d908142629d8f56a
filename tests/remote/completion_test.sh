#!/usr/bin/env bash
# What the completion of corvanectl offers. Usage: completion_test.sh CORVANECTL CORVANED
set -euo pipefail
program=${1:?}
service=${2:?}
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
expect "set settings set-serial" --json set
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
expect "A B C D E F" set-serial ""
expect "A B C D E F" pulse enable ""
expect "" set-serial "a b" ""
expect "on off url path layout" get ""  # no program runs that could be asked for its settings

folder=$(mktemp -d)
trap 'kill "$pid"; wait "$pid" || true; rm -r "$folder"' EXIT
printf '[startup]\nLatchDisconnectA=True\nLatchDisconnectB=True\nWebEnable=False\n' >"$folder/corvane.ini"
"$service" --data-dir "$folder" >"$folder/out" 2>&1 &
pid=$!
until "$program" --data-dir "$folder" status >/dev/null 2>&1; do kill -0 "$pid"; done
expect "CmdIndex CmdDevice CmdA CmdB CmdC CmdD CmdE CmdF" --data-dir "$folder" get Cmd
expect "0/DevSerial" "--data-dir=$folder" get 0/Dev
expect "WebEnable WebPort WebListen WebToken" --data-dir "$folder" set Web
expect "" --data-dir "$folder" set Cmd  # which commands of their own change
