#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# The simulator's systemd unit: `systemd-analyze verify` finds nothing wrong with it, and
# `systemd-analyze security` rates its exposure 1.5 or lower. The unit runs the installed
# /usr/bin/command-handler-sim; a copy that runs the built one instead is verified, so that the
# test needs nothing installed.
#
#   unit.sh UNIT COMMAND_HANDLER_SIM
#
# Exits 77, which CTest reports as skipped, without systemd-analyze.
set -euo pipefail

unit=${1:?usage: unit.sh UNIT COMMAND_HANDLER_SIM}
sim=${2:?usage: unit.sh UNIT COMMAND_HANDLER_SIM}

if ! command -v systemd-analyze > /dev/null; then
    echo "SKIP: systemd-analyze is not installed (Debian package \"systemd\")"
    exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/unit.XXXXXX")
trap 'rm -rf "$work"' EXIT
copy=$work/${unit##*/}
sed "s|^ExecStart=/usr/bin/command-handler-sim |ExecStart=$sim |" "$unit" > "$copy"
grep -q "^ExecStart=$sim " "$copy" || { echo "FAIL: no ExecStart=/usr/bin/command-handler-sim in $unit"; exit 1; }

failed=0
# The manual page is checked by its own test; it need not be installed here.
if ! systemd-analyze verify --man=no "$copy" > "$work/verify.log" 2>&1 || [ -s "$work/verify.log" ]; then
    echo "FAIL: systemd-analyze verify:"
    cat "$work/verify.log"
    failed=1
fi

# The threshold is in tenths.
systemd-analyze security --offline=true --threshold=15 "$copy" > "$work/security.log" 2>&1 \
    || failed=1
exposure=$(grep -o 'Overall exposure level for [^:]*: [0-9.]*' "$work/security.log" || true)
echo "${exposure:-no exposure figure}"
if [ "$failed" -ne 0 ]; then
    cat "$work/security.log"
    echo "FAIL: the unit is not accepted, or rated above 1.5"
    exit 1
fi
echo "PASS"
