#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}

"$root/scripts/build.sh"
cd "$build"
ctest --output-on-failure --timeout 600 -j"$(nproc)" "$@"
