#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# scripts/run.sh on a built tree: the tool's output is byte for byte what the tool writes on a bus
# of its own, the exit status is the tool's, and nothing of the run (the bus, the simulator the
# bus started, the run's folder) is left once run.sh has returned: after a plain run, after the
# tool was killed, and after run.sh itself was stopped with SIGTERM while the tool waited. Prints
# the median wall time of a run.
#
#   runscript.sh RUN_SH COMMAND_PARSER COMMAND_HANDLER_SIM BUS_CONFIG
#
# run.sh is given a build folder of links to the built programs and the bus configuration, with
# its stamp of the last build newer than every source, so that it builds nothing here.
set -euo pipefail

usage="usage: runscript.sh RUN_SH COMMAND_PARSER COMMAND_HANDLER_SIM BUS_CONFIG"
run_sh=${1:?$usage}
parser=${2:?$usage}
sim=${3:?$usage}
config=${4:?$usage}

work=$(mktemp -d "${TMPDIR:-/tmp}/runscript.XXXXXX")
# shellcheck source=autotests/scripttest.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripttest.sh"
# The processes whose command lines name TEXT: "pid command line", one a line.
processes_naming() {
    local cmdline pid line
    for cmdline in /proc/[0-9]*/cmdline; do
        pid=${cmdline#/proc/}
        pid=${pid%/cmdline}
        case $pid in "$$" | "$BASHPID") continue ;; esac
        line=$(tr '\0' ' ' 2> /dev/null < "$cmdline") || continue
        [[ $line == *"$1"* ]] && printf '%s %s\n' "$pid" "$line"
    done
    return 0
}
cleanup() {
    privatebus_stop
    # Whatever a failed check left behind.
    processes_naming "$work/" | while read -r pid _; do kill -KILL "$pid" 2> /dev/null; done
    rm -rf "$work"
}
trap cleanup EXIT

unset QT_LOGGING_RULES QT_LOGGING_CONF QT_MESSAGE_PATTERN DBUS_SESSION_BUS_ADDRESS
export LC_ALL=C

build=$work/build
mkdir -p "$build/src" "$build/sim" "$build/data" "$work/tmp" "$work/bus"
ln -s "$(realpath "$parser")" "$build/src/real-command-parser"
ln -s "$(realpath "$sim")" "$build/sim/command-handler-sim"
ln -s "$(realpath "$config")" "$build/data/command-handler-bus.conf"
# Which program plays the tool: the real one, or one that dies or hangs after a real run.
tool() {
    printf '#!/bin/sh\n%s\n' "$1" > "$build/src/command-parser"
    chmod +x "$build/src/command-parser"
}
tool "exec '$build/src/real-command-parser' \"\$@\""
touch "$build/.run-sh-built"

run() {
    BUILD_DIR=$build TMPDIR=$work/tmp bash "$run_sh" "$@"
}

# Nothing of a run is left: no process that names its folder, and no folder.
nothing_left() {
    local left
    left=$(processes_naming "$work/tmp/")
    [ -z "$left" ] || fail "$1: still running: $left"
    left=$(find "$work/tmp" -mindepth 1 -maxdepth 1)
    [ -z "$left" ] || fail "$1: left behind: $left"
}

# The tool's own output, against the simulator on a bus of this test's own.
COMMAND_HANDLER_SIM_DIR=$work/bus privatebus_start "$config" "$work/bus" \
    || { echo "FAIL: the bus did not start"; exit 1; }
for arguments in "-l" "-c 6" "-e 603|x  y" "-e 999" ""; do
    read -r -a words <<< "${arguments%%|*}"
    [[ $arguments == *"|"* ]] && words+=(-a "${arguments#*|}")
    DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS "$parser" "${words[@]}" > "$work/expected" 2>&1
    status=0
    run "${words[@]}" > "$work/stdout" 2> "$work/stderr" || status=$?
    if [ "$status" -ne 0 ]; then
        fail "run.sh ${words[*]} exited with $status"
    elif [ -s "$work/stdout" ]; then
        fail "run.sh ${words[*]} wrote on stdout"
    elif ! cmp -s "$work/expected" "$work/stderr"; then
        fail "run.sh ${words[*]} did not write exactly what the tool writes:"
        diff "$work/expected" "$work/stderr" || true
    else
        echo "ok: run.sh ${words[*]}: the tool's output alone"
    fi
    nothing_left "run.sh ${words[*]}"
done
privatebus_stop

# The tool killed once the simulator is up.
tool "'$build/src/real-command-parser' \"\$@\"; kill -KILL \$\$"
status=0
run -e 601 > /dev/null 2>&1 || status=$?
[ "$status" -eq 137 ] || fail "run.sh with the tool killed exited with $status, not 137"
nothing_left "the tool killed"
echo "ok: the tool killed: exit $status, nothing left"

# run.sh stopped while the tool waits.
tool "'$build/src/real-command-parser' \"\$@\"; exec sleep 60"
BUILD_DIR=$build TMPDIR=$work/tmp bash "$run_sh" -e 601 > /dev/null 2>&1 &
runner=$!
for _ in $(seq 250); do
    [ -n "$(find "$work/tmp" -name state.json)" ] && break
    sleep 0.02
done
sleep 0.2
start=$EPOCHREALTIME
kill -TERM "$runner"
status=0
wait "$runner" || status=$?
ms=$(( (${EPOCHREALTIME/./} - ${start/./}) / 1000 ))
[ "$status" -eq 143 ] || fail "run.sh stopped with SIGTERM exited with $status, not 143"
[ "$ms" -lt 5000 ] || fail "run.sh took $ms ms to stop"
nothing_left "run.sh stopped"
echo "ok: run.sh stopped with SIGTERM: exit $status after $ms ms, nothing left"

# How long a run takes, the median of 11.
tool "exec '$build/src/real-command-parser' \"\$@\""
times=()
for _ in $(seq 11); do
    start=$EPOCHREALTIME
    run -l > /dev/null 2>&1
    times+=($(( (${EPOCHREALTIME/./} - ${start/./}) / 1000 )))
done
mapfile -t times < <(printf '%s\n' "${times[@]}" | sort -n)
echo "run.sh -l: median ${times[5]} ms (fastest ${times[0]}, slowest ${times[10]}) of 11 runs"
nothing_left "run.sh -l, 11 times"

[ "$failed" -eq 0 ] || exit 1
echo "PASS"
