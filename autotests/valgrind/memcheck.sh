#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Runs command-parser under valgrind's memcheck (-l, -c 2, -e 601, and -e 999, which fails)
# against command-handler-sim on a private bus of its own; the simulator runs under memcheck too
# for the duration of those runs. Fails on any memory error and on any block definitely or
# indirectly lost, except the CommandHandler the tool deliberately never deletes (SUPPRESSIONS).
# Prints the figures of every run.
#
#   memcheck.sh COMMAND_PARSER COMMAND_HANDLER_SIM SUPPRESSIONS
#
# Exits 77, which CTest reports as skipped, without valgrind or for programs built with a
# sanitizer runtime, which cannot run under valgrind.
set -euo pipefail

parser=${1:?usage: memcheck.sh COMMAND_PARSER COMMAND_HANDLER_SIM SUPPRESSIONS}
sim=${2:?usage: memcheck.sh COMMAND_PARSER COMMAND_HANDLER_SIM SUPPRESSIONS}
suppressions=${3:?usage: memcheck.sh COMMAND_PARSER COMMAND_HANDLER_SIM SUPPRESSIONS}

if ! command -v valgrind > /dev/null; then
    echo "SKIP: valgrind is not installed (Debian package \"valgrind\")"
    exit 77
fi
for program in "$parser" "$sim"; do
    if grep -qa -e __asan_init -e __tsan_init -e __msan_init "$program"; then
        echo "SKIP: $program is built with a sanitizer runtime"
        exit 77
    fi
done

memcheck=(valgrind --tool=memcheck --error-exitcode=1 --leak-check=full
          --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect
          --num-callers=40)

# The private bus of scripts/run.sh, from the simulator's build.
# shellcheck source=scripts/privatebus.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)/scripts/privatebus.sh"
config=$(cd "$(dirname "$sim")/.." && pwd)/data/command-handler-bus.conf

work=$(mktemp -d "${TMPDIR:-/tmp}/memcheck.XXXXXX")
sim_pid=
cleanup() {
    # The simulator is still up only after a failure, when its leak check tells nothing.
    if [ -n "$sim_pid" ]; then
        kill -KILL "$sim_pid" 2> /dev/null || true
        wait "$sim_pid" 2> /dev/null || true
    fi
    privatebus_stop
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

fail() {
    echo "FAIL: $*"
    exit 1
}

show() {
    echo "---- $1"
    cat "$1"
}

[ -f "$config" ] || fail "$config is missing"
COMMAND_HANDLER_SIM_DIR=$work privatebus_start "$config" "$work" 2>&1 || fail "dbus-daemon gave no address"
address=$PRIVATEBUS_ADDRESS
# Nothing may reach the machine's buses.
export DBUS_SYSTEM_BUS_ADDRESS=$address DBUS_SESSION_BUS_ADDRESS=$address
# Nothing of the user's logging set-up may change what the tool writes.
unset QT_LOGGING_RULES QT_LOGGING_CONF QT_MESSAGE_PATTERN QT_FATAL_WARNINGS QT_FATAL_CRITICALS
export LC_ALL=C

sim_start=$(date +%s%N)
"${memcheck[@]}" --log-file="$work/sim.memcheck" "$sim" --bus-address "$address" \
    > "$work/sim.log" 2>&1 < /dev/null &
sim_pid=$!
owned=
for _ in $(seq 1200); do
    kill -0 "$sim_pid" 2> /dev/null || break
    if timeout 5 gdbus call --address "$address" --dest org.freedesktop.DBus \
            --object-path /org/freedesktop/DBus --method org.freedesktop.DBus.NameHasOwner \
            se.tarnvik.CommandHandler 2> /dev/null | grep -q true; then
        owned=1
        break
    fi
    sleep 0.05
done
if [ -z "$owned" ]; then
    show "$work/sim.log"
    show "$work/sim.memcheck"
    fail "command-handler-sim under memcheck did not take se.tarnvik.CommandHandler within 60 s"
fi
echo "command-handler-sim under memcheck ready after $(( ($(date +%s%N) - sim_start) / 1000000 )) ms"

# One line of figures from a memcheck log.
figures() {
    local log=$1
    local errors definite indirect possible suppressed heap
    errors=$(sed -n 's/.*ERROR SUMMARY: \([0-9,]*\) errors.*/\1/p' "$log" | tail -n1)
    definite=$(sed -n 's/.*definitely lost: \(.*\)$/\1/p' "$log" | tail -n1)
    indirect=$(sed -n 's/.*indirectly lost: \(.*\)$/\1/p' "$log" | tail -n1)
    possible=$(sed -n 's/.*possibly lost: \(.*\)$/\1/p' "$log" | tail -n1)
    suppressed=$(sed -n 's/.*==[0-9]*== *suppressed: \(.*\)$/\1/p' "$log" | tail -n1)
    heap=$(sed -n 's/.*total heap usage: \(.*\)$/\1/p' "$log" | tail -n1)
    echo "errors ${errors:-?}; definitely lost ${definite:-0 bytes}; indirectly lost" \
         "${indirect:-0 bytes}; possibly lost ${possible:-0 bytes}; leaks suppressed" \
         "${suppressed:-none}; heap: ${heap:-?}"
}

# Arguments, and a line the tool writes only when that run went the way it should.
runs=("-l|Inter-process communication"
      "-c 2|Load sheets into the paper tray"
      "-e 601|pong"
      "-e 999|Command 999 not found!")
failed=0
n=0
for entry in "${runs[@]}"; do
    n=$((n + 1))
    read -r -a arguments <<< "${entry%%|*}"
    expected=${entry#*|}
    log=$work/parser-$n.memcheck
    start=$(date +%s%N)
    status=0
    "${memcheck[@]}" --suppressions="$suppressions" --log-file="$log" \
        "$parser" "${arguments[@]}" > "$work/parser-$n.out" 2>&1 < /dev/null || status=$?
    ms=$(( ($(date +%s%N) - start) / 1000000 ))
    echo "command-parser ${arguments[*]}: exit $status, $ms ms; $(figures "$log")"
    if [ "$status" -ne 0 ] || ! grep -qF -- "$expected" "$work/parser-$n.out"; then
        [ "$status" -ne 0 ] || echo "FAIL: command-parser ${arguments[*]} did not write \"$expected\""
        show "$work/parser-$n.out"
        show "$log"
        failed=1
    fi
done

# SIGTERM ends the simulator's event loop the ordinary way, then memcheck checks for leaks; a
# watchdog ends a simulator that does not stop.
kill -TERM "$sim_pid"
(
    trap 'kill "$sleeper" 2> /dev/null; exit 0' TERM
    sleep 60 &
    sleeper=$!
    wait "$sleeper"
    kill -KILL "$sim_pid"
) > /dev/null 2>&1 &
watchdog=$!
sim_status=0
wait "$sim_pid" || sim_status=$?
sim_pid=
if ! kill "$watchdog" 2> /dev/null; then
    show "$work/sim.log"
    fail "command-handler-sim did not end within 60 s of SIGTERM"
fi
wait "$watchdog" 2> /dev/null || true
echo "command-handler-sim: exit $sim_status, $(( ($(date +%s%N) - sim_start) / 1000000 )) ms" \
     "in all; $(figures "$work/sim.memcheck")"
if [ "$sim_status" -ne 0 ]; then
    show "$work/sim.log"
    show "$work/sim.memcheck"
    failed=1
fi

[ "$failed" -eq 0 ] || fail "memcheck found errors or leaks (logs above)"
echo "PASS"
