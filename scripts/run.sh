#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Runs command-parser against the simulated device: builds what is missing or out of date of the
# tool and the simulator (the installation's and the build's progress go to stderr, ahead of the
# tool's output), starts a private bus on which command-handler-sim is started on demand, runs the
# tool with the given arguments and shuts the bus and the simulator down again. Exits with the
# tool's status.
#
#   scripts/run.sh [command-parser arguments...]    e.g. scripts/run.sh -c 6
#   scripts/run.sh --shell                          a shell on that bus, for a session of runs
#
# Every run starts with a fresh device whose state lives in a temporary folder; in --shell mode
# the device keeps its state until the shell ends.
set -euo pipefail
case $0 in
    */*) root=$(cd "${0%/*}/.." && pwd) ;;
    *) root=$(cd .. && pwd) ;;
esac
build=${BUILD_DIR:-$root/build}
me=${0##*/}

config=$build/data/command-handler-bus.conf
tool=$build/src/command-parser
simulator=$build/sim/command-handler-sim
# Written after every build that run.sh made; sources newer than it mean building again.
stamp=$build/.run-sh-built

no_simulator() {
    echo "$me: $config is missing; the simulator is not part of this build (BUILD_SIMULATOR=OFF?)" >&2
    exit 1
}

# Whether the two programs may be out of date: a cheap look at the time stamps of what they are
# built from, so that a run on a built tree costs no call of the build system.
out_of_date() {
    [ -x "$tool" ] && [ -x "$simulator" ] && [ -f "$stamp" ] || return 0
    [ "$build/CMakeCache.txt" -nt "$stamp" ] && return 0
    [ -n "$(find -H "$root/CMakeLists.txt" "$root/cmake" "$root/src" "$root/libservices" "$root/sim" \
                 "$root/data" -newer "$stamp" -print -quit 2> /dev/null)" ]
}

if out_of_date; then
    # Nothing to build for a run that cannot take place.
    if [ -f "$build/CMakeCache.txt" ] && grep -q '^BUILD_SIMULATOR:BOOL=OFF$' "$build/CMakeCache.txt"; then
        no_simulator
    fi
    if [ ! -x "$tool" ] || [ ! -x "$simulator" ]; then
        echo "Building command-parser and the simulator…" >&2
    fi
    # The installation's and the build's progress are shown, on stderr, so that what the tool
    # writes after them is its own.
    if ! "$root/scripts/build.sh" command-parser command-handler-sim >&2; then
        echo "$me: the build failed" >&2
        exit 1
    fi
    touch "$stamp"
fi

if [ ! -f "$config" ]; then
    no_simulator
fi
if [ ! -x "$tool" ]; then
    echo "$me: command-parser is not built: $tool does not exist (no target command-parser in src/?)" >&2
    exit 127
fi

# shellcheck source=scripts/privatebus.sh
. "$root/scripts/privatebus.sh"
run_dir=$(mktemp -d "${TMPDIR:-/tmp}/command-handler.XXXXXX")
tool_pid=
# shellcheck disable=SC2317 # run by the EXIT trap
shutdown() {
    # Only when this script is stopped while the tool runs.
    if [ -n "$tool_pid" ]; then
        kill -TERM "$tool_pid" 2> /dev/null || true
        wait "$tool_pid" 2> /dev/null || true
    fi
    privatebus_stop
    rm -rf "$run_dir"
}
trap shutdown EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The bus's own messages and the simulator's go to a log, so that the tool's output stays its own.
if ! COMMAND_HANDLER_SIM_DIR=$run_dir privatebus_start "$config" "$run_dir"; then
    echo "$me: the private bus did not start" >&2
    exit 1
fi
address=$PRIVATEBUS_ADDRESS

if [ "${1:-}" = "--shell" ]; then
    cat >&2 <<EOT
Private bus: $address
  (exported as DBUS_SYSTEM_BUS_ADDRESS; command-parser is on PATH)
Device state and embossed pages: $run_dir
Bus and simulator log: $PRIVATEBUS_LOG
The bus, the simulator and that folder go away when this shell ends.
EOT
    # Ctrl-C belongs to the commands in the shell, not to this script.
    trap : INT
    status=0
    DBUS_SYSTEM_BUS_ADDRESS=$address PATH=$(dirname "$tool"):$PATH "${SHELL:-/bin/bash}" || status=$?
    exit "$status"
fi

# Waited for, rather than run in the foreground, so that SIGTERM reaches this script at once.
DBUS_SYSTEM_BUS_ADDRESS=$address "$tool" "$@" 0<&0 &
tool_pid=$!
status=0
wait "$tool_pid" || status=$?
tool_pid=
exit "$status"
