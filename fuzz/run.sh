#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Builds the libFuzzer targets with clang in build-fuzz/ and runs each for SECONDS on a copy of
# its seed corpus (fuzz/corpus/<target>/ is never written to), then prints per target the
# executions, executions per second, coverage and crashes. Exits non-zero when a target crashed.
#
#   fuzz/run.sh [SECONDS] [TARGET...]     SECONDS defaults to 30, TARGET to all of them
#
# FUZZ_ARGS adds libFuzzer options to every run (e.g. FUZZ_ARGS="-jobs=2 -workers=2").
# FUZZ_BUILD_DIR builds elsewhere. Each run's log, grown corpus and artifacts stay in
# build-fuzz/fuzz-runs/<target>/.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${FUZZ_BUILD_DIR:-$root/build-fuzz}
all_targets=(fuzz_dbusvalue fuzz_catalogue fuzz_logprefix fuzz_commandline)

seconds=${1:-30}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: $0 [SECONDS] [TARGET...]   targets: ${all_targets[*]}" >&2
    exit 2
fi
shift $(($# > 0 ? 1 : 0))
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=("${all_targets[@]}")
for t in "${targets[@]}"; do
    if [ ! -d "$root/fuzz/corpus/$t" ]; then
        echo "$0: unknown target $t (known: ${all_targets[*]})" >&2
        exit 2
    fi
done

# The build's own packages and clang with its sanitizer and libFuzzer runtimes.
packages=(cmake make pkg-config qtbase5-dev libsystemd-dev clang libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "$0: missing packages: ${missing[*]}; run as root or install sudo" >&2
            exit 1
        fi
        sudo=(sudo)
    fi
    echo "Installing: ${missing[*]}" >&2
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
        "${missing[@]}"
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DBUILD_FUZZERS=ON -DBUILD_TESTING=OFF \
    -DBUILD_BENCH=OFF -DBUILD_SIMULATOR=OFF >/dev/null
cmake --build "$build" -j2 --target "${targets[@]}"

# From libFuzzer's final statistics, or from its last status line when it stopped early.
stat() {
    sed -n "s/^stat::$1: *//p" "$2" | tail -1
}
last_status() {
    grep -E '^#[0-9]+' "$1" | tail -1 || true
}
status_field() {
    last_status "$2" | sed -n "s|.* $1: \([0-9]*\).*|\1|p"
}

rows=()
failed=0
for t in "${targets[@]}"; do
    dir=$build/fuzz-runs/$t
    rm -rf "$dir"
    mkdir -p "$dir/corpus" "$dir/artifacts"
    cp -r "$root/fuzz/corpus/$t/." "$dir/corpus/"
    args=(-max_total_time="$seconds" -print_final_stats=1 -timeout=60
          -artifact_prefix="$dir/artifacts/")
    [ -f "$root/fuzz/$t.dict" ] && args+=(-dict="$root/fuzz/$t.dict")
    echo "Running $t for ${seconds}s (log: $dir/log)" >&2
    rc=0
    # shellcheck disable=SC2086
    (cd "$dir" && "$build/fuzz/$t" "${args[@]}" ${FUZZ_ARGS:-} corpus) >"$dir/log" 2>&1 || rc=$?

    executions=$(stat number_of_executed_units "$dir/log")
    [ -n "$executions" ] || executions=$(last_status "$dir/log" | sed 's/^#\([0-9]*\).*/\1/')
    speed=$(stat average_exec_per_sec "$dir/log")
    [ -n "$speed" ] || speed=$(status_field exec/s "$dir/log")
    coverage=$(status_field cov "$dir/log")
    features=$(status_field ft "$dir/log")
    crash=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$dir/log" | head -1)
    if [ -z "$crash" ] && [ $rc -ne 0 ]; then
        crash="failed with exit code $rc, see $dir/log"
    fi
    [ -n "$crash" ] && failed=1
    rows+=("$(printf '%-18s %12s %8s %6s %7s  %s' "$t" "${executions:-?}" "${speed:-?}" \
        "${coverage:-?}" "${features:-?}" "${crash:-0}")")
done

printf '\n%-18s %12s %8s %6s %7s  %s\n' target executions exec/s cov ft crashes
printf '%s\n' "${rows[@]}"
exit $failed
