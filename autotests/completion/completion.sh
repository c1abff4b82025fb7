#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Shell completion of command-parser (data/completion/): the bash function, driven the way bash
# drives it (COMP_WORDS, COMP_CWORD, COMPREPLY), offers the options, the categories that the
# simulated device lists after -c and every command number after -e; with the command handler
# absent, with a service that never answers and with a bus that never answers, it offers nothing,
# within half a second. The zsh file must parse (zsh -n), and its helpers give the numbers with
# their texts.
#
#   completion.sh BASH_COMPLETION ZSH_COMPLETION COMMAND_PARSER COMMAND_HANDLER_SIM BUS_CONFIG
set -euo pipefail

usage="usage: completion.sh BASH_COMPLETION ZSH_COMPLETION COMMAND_PARSER COMMAND_HANDLER_SIM BUS_CONFIG"
bash_completion=${1:?$usage}
zsh_completion=${2:?$usage}
parser=${3:?$usage}
sim=${4:?$usage}
config=${5:?$usage}

# shellcheck source=autotests/scripttest.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripttest.sh"
work=$(mktemp -d "${TMPDIR:-/tmp}/completion.XXXXXX")
mkdir "$work/device" "$work/absent" "$work/silent" "$work/stopped"
sim_pid=
stopped_bus=
cleanup() {
    [ -z "$stopped_bus" ] || kill -CONT "$stopped_bus" 2> /dev/null || true
    stop_simulator
    privatebus_stop
    rm -rf "$work"
}
trap cleanup EXIT

unset QT_LOGGING_RULES QT_LOGGING_CONF QT_MESSAGE_PATTERN DBUS_SESSION_BUS_ADDRESS
export LC_ALL=C

# shellcheck source=data/completion/command-parser.bash
. "$bash_completion"

# Completes the words given, the last being the one under the cursor; sets offered (the words
# offered, blank-separated) and ms (how long it took).
complete_words() {
    COMP_WORDS=("$parser" "$@")
    COMP_CWORD=$#
    COMP_LINE="${COMP_WORDS[*]}"
    COMP_POINT=${#COMP_LINE}
    local start=$EPOCHREALTIME
    _command_parser
    ms=$(( (${EPOCHREALTIME/./} - ${start/./}) / 1000 ))
    offered="${COMPREPLY[*]}"
}

expect() {
    local want=$1
    shift
    complete_words "$@"
    if [ "$offered" != "$want" ]; then
        fail "command-parser $*<TAB> offered \"$offered\", expected \"$want\""
    else
        echo "ok: command-parser $*<TAB> ($ms ms): $offered"
    fi
}

# Nothing offered, in half a second; 0.25 s more for starting the programs on a busy machine.
expect_nothing() {
    local where=$1
    shift
    complete_words "$@"
    if [ -n "$offered" ]; then
        fail "$where: command-parser $*<TAB> offered \"$offered\""
    elif [ "$ms" -gt 750 ]; then
        fail "$where: command-parser $*<TAB> took $ms ms"
    else
        echo "ok: $where: command-parser $*<TAB> offered nothing, in $ms ms"
    fi
}

# Options, with the simulated device not even there.
expect "--listCategories --listCommands" --list
expect "--executeCommand" --ex
expect "-e" -e
expect "" 1
expect "" -e 601 -a ""

# The simulated device, started by its bus on the first request.
COMMAND_HANDLER_SIM_DIR=$work/device privatebus_start "$config" "$work/device" \
    || { echo "FAIL: the bus did not start"; exit 1; }
export DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS
all_commands="101 102 103 104 105 106 107 108 201 202 203 204 205 301 302 303 304 305 306 401 402 403 404 405 406 501 502 503 504 505 506 601 602 603 604"
expect "1 2 3 4 5 6" -c ""
expect "1 2 3 4 5 6" --listCommands ""
expect "6" -c 6
expect "$all_commands" -e ""
expect "$all_commands" --executeCommand ""
expect "601 602 603 604" -e 60
expect "" -e 60 -a ""

if command -v zsh > /dev/null; then
    if zsh -n "$zsh_completion"; then
        echo "ok: zsh -n $zsh_completion"
    else
        fail "zsh -n $zsh_completion"
    fi
    # The helpers, with zsh's completion system stood in for: what would be shown.
    zsh -f -c '
        _describe() { print -rl -- ${(P)4}; }
        _arguments() { :; }
        source $1
        _command-parser_categories $2
        _command-parser_commands $2' zsh "$zsh_completion" "$parser" > "$work/zsh.out" 2>&1 || true
    {
        printf '%s\n' 1:Configuration "2:Paper feed" 3:Document 4:Emboss 5:Testing \
            "6:Inter-process communication"
        "$parser" -l 2>&1 | while read -r category _; do
            "$parser" -c "$category" 2>&1 | sed 's/ *\t */:/; s/ *$//; s/:/\t/; s/:/\\:/g; s/\t/:/'
        done
    } > "$work/zsh.expected"
    if cmp -s "$work/zsh.expected" "$work/zsh.out"; then
        echo "ok: zsh offers $(wc -l < "$work/zsh.out") numbers with their texts"
    else
        fail "zsh's helpers:"
        diff "$work/zsh.expected" "$work/zsh.out" || true
    fi
else
    echo "SKIP (zsh part): zsh is not installed (scripts/install-deps.sh installs it)"
fi
privatebus_stop

# The command handler absent: the bus answers at once that nobody has the name.
privatebus_start "" "$work/absent" || { echo "FAIL: the bus did not start"; exit 1; }
export DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS
expect_nothing "service absent" -c ""
expect_nothing "service absent" -e ""
privatebus_stop

# A service that takes the request and never answers.
privatebus_start "" "$work/silent" || { echo "FAIL: the bus did not start"; exit 1; }
export DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS
# shellcheck disable=SC2016 # a directive of the simulator's scripts, not a variable
echo '{"byCommand": {"GetCommandCategories": {"$noReply": true}, "GetCommands": {"$noReply": true}}}' \
    > "$work/silent.json"
"$sim" --bus-address "$PRIVATEBUS_ADDRESS" --script "$work/silent.json" > "$work/sim.log" 2>&1 &
sim_pid=$!
for _ in $(seq 250); do
    busctl --address="$PRIVATEBUS_ADDRESS" call org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus NameHasOwner s se.tarnvik.CommandHandler 2> /dev/null \
        | grep -q true && break
    sleep 0.02
done
expect_nothing "service silent" -c ""
expect_nothing "service silent" -e ""
kill -TERM "$sim_pid"
wait "$sim_pid" || true
sim_pid=
privatebus_stop

# A bus that takes the connection and never answers: its daemon is stopped.
privatebus_start "" "$work/stopped" || { echo "FAIL: the bus did not start"; exit 1; }
export DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS
stopped_bus=$PRIVATEBUS_PID
kill -STOP "$stopped_bus"
expect_nothing "bus silent" -c ""
expect_nothing "bus silent" -e ""
kill -CONT "$stopped_bus"
stopped_bus=
privatebus_stop

[ "$failed" -eq 0 ] || exit 1
echo "PASS"
