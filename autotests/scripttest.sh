# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2034 # failed is read by the tests that source this
# What the shell tests share: the private bus, fail(), require_tools() and stop_simulator().
# Sourced by each test after its `set -euo pipefail`.

# shellcheck source=scripts/privatebus.sh
. "$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/scripts/privatebus.sh"

# fail TEXT: says what failed; the test ends with exit "$failed".
failed=0
fail() {
    echo "FAIL: $*"
    failed=1
}

# require_tools HINT TOOL...: exits 77, which CTest reports as skipped, when a TOOL is not
# installed; HINT ends the line that names it.
require_tools() {
    local hint=$1 tool
    shift
    for tool in "$@"; do
        if ! command -v "$tool" > /dev/null; then
            echo "SKIP: $tool is not installed$hint"
            exit 77
        fi
    done
}

# Ends the simulator that sim_pid names, if any, and waits for it.
stop_simulator() {
    if [ -n "${sim_pid:-}" ]; then
        kill -TERM "$sim_pid" 2> /dev/null || true
        wait "$sim_pid" 2> /dev/null || true
    fi
}
