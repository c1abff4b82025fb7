#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Installs what is missing, builds, and runs every test.
#
#   scripts/test.sh [--sanitizers] [CTEST ARGUMENTS...]
#
# With --sanitizers, or when CI is set (and not "false" or "0"), the whole suite then runs a
# second time, built with AddressSanitizer and UndefinedBehaviorSanitizer (CMake presets "asan",
# into build-asan/), and each libFuzzer target runs for 30 s (fuzz/run.sh, clang, build-fuzz/);
# that adds a quarter of an hour, so a plain run on a developer's machine skips it.
# CTest arguments (e.g. -R tst_listing) apply to both runs.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}

sanitizers=
if [ "${1:-}" = --sanitizers ]; then
    sanitizers=1
    shift
fi
case ${CI:-} in
    '' | false | 0) ;;
    *) sanitizers=1 ;;
esac

# CTest reports a test that exits 77 as skipped, in a line of its own; the browser tests do so
# where Chromium, Node or their npm packages are missing, which is easy to overlook.
tell_skipped_browser_tests() {
    local skipped
    skipped=$(sed -n 's/.*Test *#[0-9]*: \(browser_[A-Za-z0-9_]*\) .*Skipped.*/\1/p' "$1" | sort -u)
    if [ -n "$skipped" ]; then
        echo "test.sh: SKIPPED the browser tests ($(echo $skipped)): Chromium, Node or their npm" \
             "packages are missing; scripts/install-deps.sh installs chromium, nodejs and npm"
    fi
}

"$root/scripts/build.sh"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
(cd "$build" && ctest --output-on-failure --timeout 600 -j"$(nproc)" "$@") | tee "$log" || status=$?
tell_skipped_browser_tests "$log"
[ "$status" -eq 0 ] || exit "$status"

if [ -n "$sanitizers" ]; then
    cd "$root"
    cmake --preset asan > /dev/null
    cmake --build --preset asan -j"$(nproc)"
    status=0
    ctest --preset asan --output-on-failure --timeout 600 -j"$(nproc)" "$@" | tee "$log" || status=$?
    tell_skipped_browser_tests "$log"
    [ "$status" -eq 0 ] || exit "$status"
    # Each fuzz target for 30 s on its seeds; fuzz/README.md has the long runs.
    "$root/fuzz/run.sh" 30
fi
