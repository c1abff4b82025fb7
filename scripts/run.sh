#!/usr/bin/env bash
# Runs command-parser against the simulated device: builds what is missing of the tool and the
# simulator (saying so on stderr on the first build), starts a private bus
# on which command-handler-sim is started on demand, runs the tool with the given arguments and
# shuts the bus and the simulator down again. Exits with the tool's status.
#
#   scripts/run.sh [command-parser arguments...]    e.g. scripts/run.sh -c 6
#   scripts/run.sh --shell                          a shell on that bus, for a session of runs
#
# Every run starts with a fresh device whose state lives in a temporary folder; in --shell mode
# the device keeps its state until the shell ends.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
me=$(basename "$0")

config=$build/data/command-handler-bus.conf
tool=$build/src/command-parser
simulator=$build/sim/command-handler-sim

no_simulator() {
    echo "$me: $config is missing; the simulator is not part of this build (BUILD_SIMULATOR=OFF?)" >&2
    exit 1
}
# Nothing to build for a run that cannot take place.
if grep -q '^BUILD_SIMULATOR:BOOL=OFF$' "$build/CMakeCache.txt" 2>/dev/null; then
    no_simulator
fi

# The build's own output stays out of the tool's; one line says why the first run takes long.
if [ ! -x "$tool" ] || [ ! -x "$simulator" ]; then
    echo "Building command-parser and the simulator…" >&2
fi
log=$(mktemp "${TMPDIR:-/tmp}/command-handler-build.XXXXXX")
trap 'rm -f "$log"' EXIT
if ! "$root/scripts/build.sh" command-parser command-handler-sim >"$log" 2>&1; then
    cat "$log" >&2
    echo "$me: the build failed" >&2
    exit 1
fi
rm -f "$log"

if [ ! -f "$config" ]; then
    no_simulator
fi
if [ ! -x "$tool" ]; then
    echo "$me: command-parser is not built: $tool does not exist (no target command-parser in src/?)" >&2
    exit 127
fi

run_dir=$(mktemp -d "${TMPDIR:-/tmp}/command-handler.XXXXXX")
bus_pid=
shutdown() {
    if [ -n "$bus_pid" ]; then
        # The simulator saves its state on SIGTERM; then the bus can go.
        local sim_pid
        sim_pid=$(dbus-send --bus="$address" --print-reply=literal --dest=org.freedesktop.DBus \
                      / org.freedesktop.DBus.GetConnectionUnixProcessID \
                      string:se.tarnvik.CommandHandler 2>/dev/null | awk '{print $2}') || true
        if [ -n "$sim_pid" ]; then
            kill -TERM "$sim_pid" 2>/dev/null || true
            for _ in $(seq 50); do kill -0 "$sim_pid" 2>/dev/null || break; sleep 0.1; done
            kill -KILL "$sim_pid" 2>/dev/null || true
        fi
        kill -TERM "$bus_pid" 2>/dev/null || true
        wait "$bus_pid" 2>/dev/null || true
    fi
    rm -rf "$run_dir"
}
trap shutdown EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The bus's own messages and the simulator's go to a log, so that the tool's output stays its own.
COMMAND_HANDLER_SIM_DIR=$run_dir dbus-daemon --config-file="$config" \
    --address="unix:path=$run_dir/bus" --nofork --print-address=3 \
    3>"$run_dir/address" 2>"$run_dir/bus.log" </dev/null &
bus_pid=$!
address=
for _ in $(seq 100); do
    address=$(head -n 1 "$run_dir/address" 2>/dev/null) || true
    [ -n "$address" ] && break
    kill -0 "$bus_pid" 2>/dev/null || break
    sleep 0.1
done
if [ -z "$address" ]; then
    cat "$run_dir/bus.log" >&2
    echo "$me: the private bus did not start" >&2
    exit 1
fi

if [ "${1:-}" = "--shell" ]; then
    cat >&2 <<EOF
Private bus: $address
  (exported as DBUS_SYSTEM_BUS_ADDRESS; command-parser is on PATH)
Device state and embossed pages: $run_dir
Bus and simulator log: $run_dir/bus.log
The bus, the simulator and that folder go away when this shell ends.
EOF
    # Ctrl-C belongs to the commands in the shell, not to this script.
    trap : INT
    status=0
    DBUS_SYSTEM_BUS_ADDRESS=$address PATH=$(dirname "$tool"):$PATH "${SHELL:-/bin/bash}" || status=$?
    exit "$status"
fi

status=0
DBUS_SYSTEM_BUS_ADDRESS=$address "$tool" "$@" || status=$?
exit "$status"
