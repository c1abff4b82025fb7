#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# What the sheets' pictures and index.html cost: builds bench-sheets (Release, into
# $BENCH_BUILD_DIR, default build-bench/) and runs it, which embosses 1000 sheets of full pages
# with --step and --output-dir, with the page files only and with the pictures too, and prints the
# time per sheet around the 10th, 100th and 1000th sheet. The extra cost of the pictures per sheet
# should stay flat: at 1000 sheets at most twice what it is at 10.
#
#   bench/sheets.sh [--duplex]
#
# The report (markdown) goes to stdout, the build's progress to stderr. Exits non-zero when it
# cannot build or run; asserts nothing about the figures.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BENCH_BUILD_DIR:-$root/build-bench}

{ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF \
        -DBUILD_BENCH=ON \
    && cmake --build "$build" -j"$(nproc)" --target bench-sheets; } >&2
"$build/bench/bench-sheets" "$@"
