#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# The manual pages (docs/man/): groff renders each without a single warning, lexgrog finds the
# whatis entry of each, and the listings that command-parser(1) shows as examples are what the
# tool writes against the simulated device.
#
#   manpages.sh MAN_DIR COMMAND_PARSER BUS_CONFIG
#
# Exits 77, which CTest reports as skipped, without groff or lexgrog (Debian packages
# "groff-base" and "man-db", which scripts/install-deps.sh installs).
set -euo pipefail

man_dir=${1:?usage: manpages.sh MAN_DIR COMMAND_PARSER BUS_CONFIG}
parser=${2:?usage: manpages.sh MAN_DIR COMMAND_PARSER BUS_CONFIG}
config=${3:?usage: manpages.sh MAN_DIR COMMAND_PARSER BUS_CONFIG}

# shellcheck source=autotests/scripttest.sh
. "$(dirname "${BASH_SOURCE[0]}")/../scripttest.sh"
require_tools " (scripts/install-deps.sh installs it)" groff lexgrog

for page in command-parser.1 command-handler-sim.8; do
    file=$man_dir/$page
    warnings=$(groff -ww -man -z "$file" 2>&1) || fail "groff failed on $page"
    if [ -n "$warnings" ]; then
        fail "groff warns about $page:"
        echo "$warnings"
    fi
    name=${page%.*}
    whatis=$(lexgrog "$file" 2>&1) || true
    if [[ $whatis == "$file: \"$name - "?* ]]; then
        echo "ok: $whatis"
    else
        fail "no whatis entry for $name: $whatis"
    fi
done

# The examples of listings, against the simulated device.
work=$(mktemp -d "${TMPDIR:-/tmp}/manpages.XXXXXX")
cleanup() {
    privatebus_stop
    rm -rf "$work"
}
trap cleanup EXIT
COMMAND_HANDLER_SIM_DIR=$work privatebus_start "$config" "$work" \
    || { echo "FAIL: the bus did not start"; exit 1; }
export DBUS_SYSTEM_BUS_ADDRESS=$PRIVATEBUS_ADDRESS
unset QT_LOGGING_RULES QT_LOGGING_CONF QT_MESSAGE_PATTERN
export LC_ALL=C

# The lines that follow "$ command-parser ARGUMENTS 2>&1" in the page's source, up to the next
# prompt or the end of the example, with roff's escapes undone.
example() {
    awk -v prompt="\$ command\\\\-parser $1 2>&1" '
        $0 == prompt { on = 1; next }
        on && (/^\$ / || /^\.EE/) { exit }
        on { print }' "$man_dir/command-parser.1" \
        | sed 's/\\-/-/g; s/\\(dq/"/g; s/\\e/\\/g'
}
for arguments in "-l" "-c 6" "-e 101" "-e 999" "-c 9"; do
    example "${arguments//-/\\\\-}" > "$work/expected"
    # shellcheck disable=SC2086 # the arguments are words
    "$parser" $arguments 2>&1 | sed 's/ *$//' > "$work/actual"
    if [ ! -s "$work/expected" ]; then
        fail "command-parser.1 has no example of command-parser $arguments"
    elif cmp -s "$work/expected" "$work/actual"; then
        echo "ok: the example of command-parser $arguments"
    else
        fail "the example of command-parser $arguments is not what the tool writes:"
        diff "$work/expected" "$work/actual" || true
    fi
done

[ "$failed" -eq 0 ] || exit 1
echo "PASS"
