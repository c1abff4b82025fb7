#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# The system bus's policy for the command handler (data/se.tarnvik.CommandHandler.conf) on a
# dbus-daemon of its own, configured like Debian's system bus (method calls and names denied by
# default, then our file included), with the simulator as root serving the name:
#   - root and a member of the group commandhandler are served (`command-parser -l` lists the
#     categories), including the standard Introspectable and Peer interfaces;
#   - a user outside the group is refused by the bus, and the tool writes its usual failure line
#     for that and nothing else;
#   - a method of se.tarnvik.Service1 other than Process is refused by the bus, for the member too;
#   - neither the user outside the group nor the member may own the name.
# Both other users are nobody (65534): the user outside the group without supplementary groups,
# the member with the group commandhandler added by setpriv (the bus takes the groups of the
# connecting process, and refuses a uid without a passwd entry outright).
#
#   policy.sh POLICY COMMAND_PARSER COMMAND_HANDLER_SIM
#
# Needs root, to run programs as other users and to create the system group commandhandler when
# it is missing (as the simulator's package does); exits 77, which CTest reports as skipped,
# otherwise.
set -euo pipefail

policy=${1:?usage: policy.sh POLICY COMMAND_PARSER COMMAND_HANDLER_SIM}
parser=${2:?usage: policy.sh POLICY COMMAND_PARSER COMMAND_HANDLER_SIM}
sim=${3:?usage: policy.sh POLICY COMMAND_PARSER COMMAND_HANDLER_SIM}

if [ "$(id -u)" -ne 0 ]; then
    echo "SKIP: the bus policy test runs programs as other users, which needs root"
    exit 77
fi
# shellcheck source=autotests/scripttest.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripttest.sh"
require_tools "" setpriv dbus-daemon gdbus getent groupadd

if ! getent group commandhandler > /dev/null; then
    groupadd --system commandhandler
fi
group=$(getent group commandhandler | cut -d: -f3)

# The programs must be reachable by the other users.
if ! setpriv --reuid=65534 --regid=65534 --clear-groups test -x "$parser"; then
    echo "SKIP: $parser cannot be run by nobody (a folder on its way is closed to others)"
    exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/policy.XXXXXX")
chmod 755 "$work"
sim_pid=
cleanup() {
    stop_simulator
    privatebus_stop
    rm -rf "$work"
}
trap cleanup EXIT

# Debian's system.conf in what matters here: anyone may connect, signals and replies pass, method
# calls and names are denied unless a policy allows them; then our file.
cp "$policy" "$work/se.tarnvik.CommandHandler.conf"
cat > "$work/system.conf" << EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <!-- The address that privatebus_start gives replaces this one. -->
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus"/>
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus.Introspectable"/>
    <allow send_destination="org.freedesktop.DBus"
           send_interface="org.freedesktop.DBus.Properties"/>
  </policy>
  <include>$work/se.tarnvik.CommandHandler.conf</include>
</busconfig>
EOF
privatebus_start "$work/system.conf" "$work" || { echo "FAIL: the bus did not start"; exit 1; }
address=$PRIVATEBUS_ADDRESS

unset QT_LOGGING_RULES QT_LOGGING_CONF QT_MESSAGE_PATTERN QT_FATAL_WARNINGS QT_FATAL_CRITICALS
export LC_ALL=C LS_DBUS_TIMEOUT_MS=10000 DBUS_SYSTEM_BUS_ADDRESS=$address
unset DBUS_SESSION_BUS_ADDRESS

as_stranger() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }
as_member() { setpriv --reuid=65534 --regid=65534 --groups="$group" "$@"; }
as_root() { "$@"; }

owner() {
    gdbus call --address "$address" --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.NameHasOwner se.tarnvik.CommandHandler 2> /dev/null
}

# Nobody but root may own the name, also while it is free.
for who in stranger member; do
    status=0
    # The simulator ends at once when the bus refuses it the name, and serves it otherwise.
    "as_$who" timeout 10 "$sim" --bus-address "$address" > "$work/own-$who.log" 2>&1 < /dev/null \
        || status=$?
    if [ "$status" -ne 1 ]; then
        fail "the $who could own se.tarnvik.CommandHandler (status $status):"
        cat "$work/own-$who.log"
    fi
done
[ "$(owner)" = "(false,)" ] || fail "se.tarnvik.CommandHandler has an owner other than root's"

"$sim" --bus-address "$address" --state-file "$work/state.json" > "$work/sim.log" 2>&1 < /dev/null &
sim_pid=$!
for _ in $(seq 500); do
    [ "$(owner)" = "(true,)" ] && break
    kill -0 "$sim_pid" 2> /dev/null || break
    sleep 0.02
done
if [ "$(owner)" != "(true,)" ]; then
    cat "$work/sim.log"
    echo "FAIL: the simulator as root did not take se.tarnvik.CommandHandler"
    exit 1
fi

"$parser" -l > "$work/root.out" 2>&1 || fail "command-parser -l as root exited with $?"
grep -q 'Inter-process communication' "$work/root.out" || { fail "root is not served:"; cat "$work/root.out"; }

as_member "$parser" -l > "$work/member.out" 2>&1 || fail "command-parser -l as a member exited with $?"
cmp -s "$work/root.out" "$work/member.out" || { fail "a member of commandhandler is not served:"; cat "$work/member.out"; }

# Refused by the bus: the tool writes what it writes for any exchange without an answer, and
# nothing else.
status=0
as_stranger "$parser" -l > "$work/stranger.out" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "command-parser -l as a stranger exited with $status"
{
    echo 'CommandHandler::getCommandCategories ERROR: Processing GetCommandCategories failed!'
    n=0
    for category in Configuration PaperFeed Document Emboss Testing Ipc; do
        n=$((n + 1))
        echo "CommandParser::getDescription ERROR: Parameter \"${category}CommandId\" not found!"
        echo "CommandParser::getArgumentsList ERROR: Parameter \"${category}CommandId\" not found!"
        printf '%s \t  \n' "$n"
    done
} > "$work/refused.expected"
if ! cmp -s "$work/refused.expected" "$work/stranger.out"; then
    fail "command-parser -l outside commandhandler did not write the refusal's lines alone:"
    diff "$work/refused.expected" "$work/stranger.out" || true
fi
status=0
as_stranger "$parser" -e 601 > "$work/stranger.out" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "command-parser -e 601 as a stranger exited with $status"
echo 'CommandHandler::executeCommand FAILED! Processing HandleCommand failed.' > "$work/refused.expected"
if ! cmp -s "$work/refused.expected" "$work/stranger.out"; then
    fail "command-parser -e 601 outside commandhandler did not write the refusal's line alone:"
    diff "$work/refused.expected" "$work/stranger.out" || true
fi

# The standard interfaces, and no other method of the service's interface.
for who in root member stranger; do
    for method in org.freedesktop.DBus.Peer.Ping org.freedesktop.DBus.Introspectable.Introspect \
                  se.tarnvik.Service1.Frobnicate; do
        status=0
        "as_$who" gdbus call --address "$address" --dest se.tarnvik.CommandHandler \
            --object-path /se/tarnvik/CommandHandler --method "$method" \
            > "$work/call.out" 2>&1 || status=$?
        denied=0
        grep -q 'AccessDenied' "$work/call.out" && denied=1
        expected=0
        [ "$who" = stranger ] && expected=1
        [ "$method" = se.tarnvik.Service1.Frobnicate ] && expected=1
        if [ "$denied" -ne "$expected" ]; then
            fail "$method as $who: refused by the bus: $denied, expected $expected (status $status):"
            cat "$work/call.out"
        fi
    done
done

[ "$failed" -eq 0 ] || exit 1
echo "PASS"
