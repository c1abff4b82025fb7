#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Installs what is missing, then builds the given targets, or everything when none is given, into
# build/ (or $BUILD_DIR). A build folder is configured as RelWithDebInfo when it is new; one that
# is configured already keeps its build type and options.
#
#   scripts/build.sh [TARGET...]    e.g. scripts/build.sh command-parser command-handler-sim
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}

"$root/scripts/install-deps.sh"
if [ ! -f "$build/CMakeCache.txt" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
targets=()
for target in "$@"; do
    targets+=(--target "$target")
done
cmake --build "$build" -j"$(nproc)" "${targets[@]}"
