#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 Tarnvik AB
#
# Builds the whole project for the device (arm64, Debian 12) on a Debian 12 machine of another
# architecture, makes the arm64 Debian packages, and runs the arm64 programs under qemu-user: the
# unit tests, then one end-to-end run (the build machine's dbus-daemon on a private bus, the arm64
# simulator, the arm64 tool with -l and -e 601).
#
#   scripts/cross-build.sh
#
# Installs what is missing first (as root, or through sudo): arm64 as a foreign architecture,
# crossbuild-essential-arm64, the :arm64 development packages and qemu-user. apt's plan is
# checked before: if it would remove any package (the build machine's Qt above all), the script
# stops and shows the plan instead.
#
# Builds into $CROSS_BUILD_DIR (default build-arm64/); the packages land in its packages/.
# The unit tests are those that run on their own, without starting other programs: an arm64
# program that starts another arm64 program needs binfmt_misc, which this script does not set up.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${CROSS_BUILD_DIR:-$root/build-arm64}
me=scripts/cross-build.sh
say() { echo "$me: $*" >&2; }
started=$SECONDS

sudo=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { say "run as root or install sudo"; exit 1; }
    sudo=(sudo)
fi

# The build machine's own tools (moc, cmake, dbus-daemon) first.
"$root/scripts/install-deps.sh"

packages=(crossbuild-essential-arm64 qtbase5-dev:arm64 libsystemd-dev:arm64 liblouis-dev:arm64
          qemu-user liblouis-data dbus-daemon dpkg-dev file lintian)
if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    say "adding arm64 as a foreign architecture"
    "${sudo[@]}" dpkg --add-architecture arm64
    "${sudo[@]}" apt-get update -qq
fi
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    "${sudo[@]}" apt-get update -qq
    plan=$(apt-get install -s --no-install-recommends "${missing[@]}")
    if grep -q '^Remv ' <<<"$plan"; then
        grep '^Remv ' <<<"$plan" >&2
        say "installing ${missing[*]} would remove the packages above; stopping"
        exit 1
    fi
    say "installing ${missing[*]}"
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
fi

say "configuring and building for arm64 in $build"
build_started=$SECONDS
cmake -S "$root" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-aarch64-linux-gnu.cmake" \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr -DBUILD_BENCH=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" >"$build/build.log" 2>&1 || {
    tail -n 40 "$build/build.log" >&2
    say "the build failed (the last 40 lines of its log are above)"
    exit 1
}
build_seconds=$((SECONDS - build_started))
tool=$build/src/command-parser
simulator=$build/sim/command-handler-sim
for program in "$tool" "$simulator"; do
    file -b "$program" | grep -q 'ARM aarch64' || { say "$program is not an arm64 program"; exit 1; }
done

say "packages"
# Times in the packages from the changelog's newest entry: the same build gives the same bytes.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(dpkg-parsechangelog -l "$root/packaging/changelog" -STimestamp)}
rm -rf "$build/packages"
# dpkg-shlibdeps reads the arm64 libraries' dependency information when it is told the host
# architecture.
(cd "$build" && CC=aarch64-linux-gnu-gcc dpkg-architecture -aarm64 -c cpack -G DEB >/dev/null)
ls -l "$build"/packages/*.deb "$build"/packages/*.tar.xz >&2
for deb in "$build"/packages/*.deb; do
    [ "$(dpkg-deb -f "$deb" Architecture)" = arm64 ] || { say "$deb is not for arm64"; exit 1; }
done
lintian_status=0
lintian --fail-on error,warning "$build"/packages/*.deb >"$build/packages/lintian.log" 2>&1 \
    || lintian_status=$?
grep -v '^running with root privileges is not recommended!$' "$build/packages/lintian.log" >&2 || true
[ "$lintian_status" -eq 0 ] || { say "lintian found errors or warnings in the arm64 packages"; exit 1; }
say "lintian: no error, no warning"

qemu=$(command -v qemu-aarch64)
say "unit tests under $qemu"
unit='^(tst_dbusvalue|tst_dbussyntax|tst_metaenum|tst_commandids|tst_messagekeys|tst_logprefix|tst_device|tst_sheetpicture|tst_jobpage)'
(cd "$build" && ctest --output-on-failure --timeout 600 -j"$(nproc)" -R "$unit")

say "end to end: the build machine's dbus-daemon, the arm64 simulator and tool under qemu"
work=$(mktemp -d "${TMPDIR:-/tmp}/cross-e2e.XXXXXX")
# shellcheck source=scripts/privatebus.sh
. "$root/scripts/privatebus.sh"
pids=()
cleanup() {
    local pid
    privatebus_stop
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT
privatebus_start "" "$work" || { say "the private bus did not start"; exit 1; }
address=$PRIVATEBUS_ADDRESS
"$qemu" "$simulator" --bus-address "$address" --state-file "$work/state.json" \
    --output-dir "$work/pages" 2>"$work/simulator.log" &
pids+=($!)
failed=0
e2e() {
    local pattern=$1 out status=0
    shift
    out=$(DBUS_SYSTEM_BUS_ADDRESS=$address LS_DBUS_TIMEOUT_MS=20000 "$qemu" "$tool" "$@" 2>&1) \
        || status=$?
    printf '%s\n' "$out" | sed 's/^/    /' >&2
    if [ "$status" -ne 0 ] || ! grep -q "$pattern" <<<"$out" || grep -q 'ERROR\|FAILED!' <<<"$out"; then
        say "FAILED: command-parser $*"
        failed=1
    else
        say "ok: command-parser $*"
    fi
}
# The first request may come before the simulator owns its name under qemu: wait for it.
for _ in $(seq 100); do
    grep -q se.tarnvik.CommandHandler <(dbus-send --bus="$address" --print-reply \
        --dest=org.freedesktop.DBus / org.freedesktop.DBus.ListNames 2>/dev/null) && break
    sleep 0.2
done
e2e Configuration -l
e2e pong -e 601
if [ "$failed" -ne 0 ]; then
    cat "$work/simulator.log" >&2
    exit 1
fi
say "done in $((SECONDS - started)) s (build $build_seconds s)"
