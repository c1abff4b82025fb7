#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Measures what one exchange costs a short-lived program: the wall time of a whole run and the
# instructions it executes (valgrind's callgrind), for
#   bench-process N   N calls of ls::DBusService::process (libservices),
#   bench-qtdbus N    the same request made directly on QtDBus,
# against bench-peer, which answers at once; and, when the build has them, `command-parser -e 601`
# against command-handler-sim next to bench-qtdbus against the same simulator.
#
#   bench/startup.sh BUILD_DIR [RUNS]
#
# Builds nothing: build the project first (scripts/build.sh). Runs its own dbus-daemon and never
# touches the machine's buses. Wall times come from hyperfine when it is installed (Debian package
# "hyperfine"), otherwise from a loop of RUNS runs (default 50); instruction counts need valgrind.
set -euo pipefail

build=${1:?usage: bench/startup.sh BUILD_DIR [RUNS]}
runs=${2:-50}
build=$(cd "$build" && pwd)

process=$build/bench/bench-process
qtdbus=$build/bench/bench-qtdbus
peer=$build/bench/bench-peer
parser=$build/src/command-parser
sim=$build/sim/command-handler-sim
for program in "$process" "$qtdbus" "$peer"; do
    [ -x "$program" ] || { echo "startup.sh: $program is not built" >&2; exit 1; }
done

# shellcheck source=scripts/privatebus.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/scripts/privatebus.sh"
work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
    privatebus_stop
    rm -rf "$work"
}
trap cleanup EXIT

# The private bus of scripts/run.sh, from the build when it has the simulator, else a plain one;
# the peers are started here, not by it.
config=$build/data/command-handler-bus.conf
[ -f "$config" ] || config=
privatebus_start "$config" "$work" || { echo "startup.sh: dbus-daemon gave no address" >&2; exit 1; }
address=$PRIVATEBUS_ADDRESS
export DBUS_SYSTEM_BUS_ADDRESS=$address DBUS_SESSION_BUS_ADDRESS=$address
unset QT_LOGGING_RULES

# Starts a peer and waits until it owns the command handler's name.
serve() {
    "$@" > "$work/peer.log" 2>&1 &
    pids+=($!)
    for _ in $(seq 200); do
        if timeout 5 gdbus call --address "$address" --dest org.freedesktop.DBus \
                --object-path /org/freedesktop/DBus --method org.freedesktop.DBus.NameHasOwner \
                se.tarnvik.CommandHandler 2>/dev/null | grep -q true; then
            return 0
        fi
        sleep 0.05
    done
    echo "startup.sh: $1 did not take se.tarnvik.CommandHandler:" >&2
    cat "$work/peer.log" >&2
    exit 1
}

stop_peer() {
    local pid=${pids[-1]}
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    unset 'pids[-1]'
}

# Every program must succeed before it is timed.
check() {
    "$@" > /dev/null 2>&1 || { echo "startup.sh: failed: $*" >&2; exit 1; }
}

# Wall time of each command line given, mean and spread in milliseconds.
wall() {
    if command -v hyperfine > /dev/null; then
        hyperfine -N --warmup 3 --runs "$runs" --style basic "$@" 2>&1 | grep -E 'Benchmark|Time|Range|faster|±' || true
    else
        local line start end
        for line in "$@"; do
            read -r -a argv <<< "$line"
            start=$(date +%s%N)
            for _ in $(seq "$runs"); do "${argv[@]}" > /dev/null 2>&1; done
            end=$(date +%s%N)
            printf '%-60s %8.3f ms per run (mean of %d)\n' "$line" \
                "$(echo "($end - $start) / $runs / 1000000" | bc -l)" "$runs"
        done
    fi
}

# Instructions executed by a whole run, all threads, and by the calling thread inside
# ls::DBusService::process.
instructions() {
    local out=$work/callgrind.out
    valgrind --tool=callgrind --callgrind-out-file="$out" "$@" > /dev/null 2>&1
    grep -E '^(summary|totals):' "$out" | head -n1 | awk '{print $2}'
}

instructions_in_process() {
    local out=$work/callgrind-process.out
    valgrind --tool=callgrind --callgrind-out-file="$out" \
        --toggle-collect='ls::DBusService::process(*' "$@" > /dev/null 2>&1
    grep -E '^(summary|totals):' "$out" | head -n1 | awk '{print $2}'
}

echo "== One exchange against bench-peer (answers at once)"
serve "$peer"
check "$process" 1
check "$qtdbus" 1
wall "$process 1" "$qtdbus 1"

if command -v valgrind > /dev/null; then
    echo
    echo "== Instructions (callgrind), whole run, all threads"
    p1=$(instructions "$process" 1)
    p11=$(instructions "$process" 11)
    q1=$(instructions "$qtdbus" 1)
    q11=$(instructions "$qtdbus" 11)
    printf '%-40s %14s\n' "bench-process 1 (one process call)" "$p1"
    printf '%-40s %14s\n' "bench-qtdbus 1 (one QtDBus call)" "$q1"
    printf '%-40s %14s\n' "each further process call" "$(( (p11 - p1) / 10 ))"
    printf '%-40s %14s\n' "each further QtDBus call" "$(( (q11 - q1) / 10 ))"
    printf '%-40s %14s\n' "calling thread inside the first process()" "$(instructions_in_process "$process" 1)"
else
    echo "(valgrind not installed: no instruction counts)"
fi
stop_peer

if [ -x "$parser" ] && [ -x "$sim" ]; then
    echo
    echo "== command-parser -e 601 against command-handler-sim"
    serve "$sim" --bus-address "$address"
    check "$parser" -e 601
    check "$qtdbus" 1
    wall "$parser -e 601" "$qtdbus 1" "$process 1"
    if command -v valgrind > /dev/null; then
        printf '%-40s %14s\n' "command-parser -e 601, instructions" "$(instructions "$parser" -e 601)"
        printf '%-40s %14s\n' "bench-qtdbus 1, instructions" "$(instructions "$qtdbus" 1)"
        printf '%-40s %14s\n' "bench-process 1, instructions" "$(instructions "$process" 1)"
    fi
    stop_peer
else
    echo
    echo "(command-parser or command-handler-sim not built: no comparison with the tool)"
fi
