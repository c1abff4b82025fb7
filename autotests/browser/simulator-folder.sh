#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# An output folder as the real simulator writes it, for the browser test:
#
#   simulator-folder.sh SIMULATOR COMMAND_PARSER OUT
#
# Starts command-handler-sim with --step --output-dir on a private bus and, through
# command-parser, embosses a duplex document that pauses for paper and is resumed once paper is
# loaded, a job too wide for A4 cancelled after its first front, and a grid test page in the
# factory layout. OUT/running
# is the folder while the test page runs, OUT/finished once it has ended.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
simulator=$1
parser=$2
out=$3

# shellcheck source=../../scripts/privatebus.sh
. "$here/../../scripts/privatebus.sh"
rm -rf "$out"
mkdir -p "$out/bus" "$out/sim"
sim_pid=
finish() {
    [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
    privatebus_stop
}
trap finish EXIT
privatebus_start "" "$out/bus"
"$simulator" --bus-address "$PRIVATEBUS_ADDRESS" --step --output-dir "$out/sim" &
sim_pid=$!
export DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS

# One command; its output must be free of failures.
run() {
    local output
    if [ $# -gt 1 ]; then
        output=$("$parser" -e "$1" -a "$2" 2>&1)
    else
        output=$("$parser" -e "$1" 2>&1)
    fi
    if grep -qE 'FAILED!|ERROR:|not found!' <<< "$output"; then
        echo "simulator-folder.sh: command $*: $output" >&2
        exit 1
    fi
    printf '%s\n' "$output"
}
state() {
    run 405 | sed -n 's/^state[[:space:]]*//p'
}

for _ in $(seq 100); do
    "$parser" -e 601 2>&1 | grep -qE 'FAILED!|ERROR:' || break
    sleep 0.05
done

text=$(for i in $(seq 120); do printf 'word%s ' "$i"; done)
run 105 true > /dev/null
run 104 10 > /dev/null
run 103 30 > /dev/null
run 301 Minutes > /dev/null
run 302 "1 $text" > /dev/null
run 303 1 > /dev/null
run 202 1 > /dev/null
run 401 "1 1" > /dev/null
# Front and back of sheet 1, then no paper for sheet 2.
state > /dev/null
state > /dev/null
[ "$(state)" = Paused ] || { echo "simulator-folder.sh: job 1 did not pause for paper" >&2; exit 1; }
run 202 5 > /dev/null
run 403 > /dev/null
while [ "$(state)" != Idle ]; do :; done

run 102 A4 > /dev/null
run 103 40 > /dev/null
# Each request first embosses what is due: the cancel's request embosses the first front.
run 401 "1 1" > /dev/null
run 404 > /dev/null

# The factory layout again, which fits its sheet.
run 108 > /dev/null
run 502 grid > /dev/null
cp -r "$out/sim" "$out/running"
while [ "$(state)" != Idle ]; do :; done
cp -r "$out/sim" "$out/finished"
