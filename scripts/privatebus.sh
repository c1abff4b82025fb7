# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# A D-Bus daemon of a script's own, standing in for the device's system bus. Sourced, not run:
#
#   . scripts/privatebus.sh
#   privatebus_start CONFIG DIR    CONFIG: a bus configuration, usually the build's
#                                  data/command-handler-bus.conf (which starts the simulator on
#                                  the first request for it); empty for a plain bus on which the
#                                  caller starts its services itself. DIR: an existing folder for
#                                  the socket and the bus's log.
#   privatebus_stop                ends the bus, then the services it started
#
# privatebus_start returns once the bus accepts connections, with its address in
# PRIVATEBUS_ADDRESS, its pid in PRIVATEBUS_PID and its log (the bus's messages and those of the
# services it starts) in PRIVATEBUS_LOG; when the bus does not start, it prints that log on
# stderr and returns 1. Environment variables given with the call reach the services the bus
# starts: `COMMAND_HANDLER_SIM_DIR=$dir privatebus_start "$config" "$dir"` gives the simulator
# DIR for its state, and it writes its pid into DIR/command-handler-sim.pid.
# privatebus_stop may be called any number of times, also when the start failed; call it from
# the script's EXIT trap. It waits until the services whose pids are in DIR/*.pid have ended.

PRIVATEBUS_ADDRESS=
PRIVATEBUS_PID=
PRIVATEBUS_LOG=
PRIVATEBUS_DIR=

privatebus_start() {
    local config=$1 dir=$2 fd
    if [ -z "$config" ]; then
        config=$dir/bus.conf
        cat > "$config" << 'EOF'
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <!-- The address that privatebus_start gives replaces this one. -->
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
EOF
    fi
    PRIVATEBUS_DIR=$dir
    PRIVATEBUS_LOG=$dir/bus.log
    # The daemon writes its address once it listens: reading it from a pipe waits exactly that
    # long, and gives end-of-file at once if the daemon dies first.
    exec {fd}< <(exec dbus-daemon --config-file="$config" --address="unix:path=$dir/bus" --nofork \
        --print-address=3 3>&1 > /dev/null 2> "$PRIVATEBUS_LOG" < /dev/null)
    PRIVATEBUS_PID=$!
    PRIVATEBUS_ADDRESS=
    read -r -t 10 -u "$fd" PRIVATEBUS_ADDRESS || true
    exec {fd}<&-
    if [ -z "$PRIVATEBUS_ADDRESS" ]; then
        cat "$PRIVATEBUS_LOG" >&2
        return 1
    fi
}

# True while process PID runs (a zombie has ended).
privatebus_running() {
    local stat
    read -r stat 2> /dev/null < "/proc/$1/stat" || return 1
    stat=${stat##*) }
    [ "${stat%% *}" != Z ]
}

# Waits until process PID has ended, at most about 5 s; then kills it.
privatebus_await() {
    local i
    for ((i = 0; i < 500; i++)); do
        privatebus_running "$1" || return 0
        sleep 0.01
    done
    kill -KILL "$1" 2> /dev/null || true
}

privatebus_stop() {
    [ -n "$PRIVATEBUS_PID" ] || return 0
    local pid=$PRIVATEBUS_PID file service
    PRIVATEBUS_PID=
    # The bus goes first, so that no service is started any more. The bus hands the services it
    # started to init: they are found by their pid files. Without their bus they end on their
    # own, and SIGTERM ends them too; either way with their state saved.
    kill -TERM "$pid" 2> /dev/null || true
    wait "$pid" 2> /dev/null || privatebus_await "$pid"
    for file in "$PRIVATEBUS_DIR"/*.pid; do
        [ -f "$file" ] || continue
        read -r service < "$file" || continue
        kill -TERM "$service" 2> /dev/null || continue
        privatebus_await "$service"
    done
}
