#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# SPDX-FileCopyrightText: 2026 Tarnvik AB
#
# Builds the Debian packages, checks each with lintian (no error, no warning), installs them with
# dpkg into a throwaway Debian 12 root, and there, as an unprivileged member of the group
# commandhandler, runs `command-parser -l` and `command-parser -e 601` against the installed
# simulator, which the root's system bus starts on the first request under the installed policy.
# A user outside the group must be refused by the bus.
#
#   packaging/check.sh
#
# Needs root (debootstrap, chroot, dpkg into the root); runs itself through sudo otherwise.
# Builds into $PACKAGE_BUILD_DIR (default build-packages/). The pristine root (debootstrap
# --variant=minbase bookworm, plus what the packages depend on) is cached as a tarball under
# $CHECK_ROOT_CACHE (default ~/.cache/command-parser/check-root); each run unpacks a fresh copy
# and removes it again.
#
# The system bus in the root is dbus-daemon with Debian's own system.conf, but for three things:
# it runs as root and starts services itself (no <user>, no <servicehelper>: the activation helper
# runs only what the standard service folders say, and the package's activation file hands the
# start to systemd, which is not running in a chroot); its service folder holds an activation file
# that runs the command line of the package's systemd unit (ExecStart=), as root like the unit;
# and it does not fork or log to syslog. The policy is the package's, read from
# /usr/share/dbus-1/system.d like on the device.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
me=packaging/check.sh

if [ "$(id -u)" -ne 0 ]; then
    exec sudo --preserve-env=PACKAGE_BUILD_DIR,CHECK_ROOT_CACHE,DEBIAN_MIRROR,SOURCE_DATE_EPOCH "$0" "$@"
fi

build=${PACKAGE_BUILD_DIR:-$root/build-packages}
cache=${CHECK_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/command-parser/check-root}
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
say() { echo "$me: $*" >&2; }
started=$SECONDS

# What the check itself needs on the build machine, beside what the build needs.
"$root/scripts/install-deps.sh"
missing=()
for p in lintian debootstrap dpkg-dev file; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    say "installing ${missing[*]}"
    apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

say "building the packages in $build"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
    -DBUILD_TESTING=OFF -DBUILD_BENCH=OFF -DBUILD_SIMULATOR=ON -DUSE_SYSTEM_LIBSERVICES=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" >/dev/null
# Times in the packages from the changelog's newest entry: the same build gives the same bytes.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(dpkg-parsechangelog -l "$root/packaging/changelog" -STimestamp)}
rm -rf "$build/packages"
(cd "$build" && cpack -G DEB >/dev/null)
debs=("$build"/packages/*.deb)
names=()
for deb in "${debs[@]}"; do
    names+=("$(dpkg-deb -f "$deb" Package)")
done
for package in command-parser libservices1 libservices-dev command-handler-sim; do
    [[ " ${names[*]} " == *" $package "* ]] || { say "no package $package was built"; exit 1; }
done
ls -l "$build"/packages/*.deb "$build"/packages/*.tar.xz >&2

say "lintian"
# As root is fine here: lintian only reads the packages.
lintian_status=0
lintian --fail-on error,warning --display-info "${debs[@]}" >"$build/packages/lintian.log" 2>&1 \
    || lintian_status=$?
grep -v '^running with root privileges is not recommended!$' "$build/packages/lintian.log" >&2 || true
if [ "$lintian_status" -ne 0 ]; then
    say "lintian found errors or warnings (above)"
    exit 1
fi
say "lintian: no error, no warning in ${names[*]}"

# The root's packages: a minimal Debian 12, the system bus, and whatever our packages depend on
# that is not one of them. The cache is named after that list, so a new dependency makes a new
# root.
deps=(dbus-daemon dbus-system-bus-common)
for deb in "${debs[@]}"; do
    while IFS= read -r dep; do
        dep=${dep%%|*}
        dep=${dep%%(*}
        dep=${dep// /}
        [ -n "$dep" ] || continue
        [[ " ${names[*]} " == *" $dep "* ]] || deps+=("$dep")
    done < <(dpkg-deb -f "$deb" Depends | tr ',' '\n')
done
mapfile -t deps < <(printf '%s\n' "${deps[@]}" | sort -u)
key=$(printf '%s\n' "${deps[@]}" | sha1sum | cut -c1-12)
tarball=$cache/bookworm-minbase-$key.tar
if [ ! -f "$tarball" ]; then
    say "making the Debian 12 root (once; cached in $tarball): debootstrap, with ${deps[*]}"
    mkdir -p "$cache"
    fresh=$(mktemp -d "${TMPDIR:-/tmp}/check-root-new.XXXXXX")
    include=$(IFS=,; echo "${deps[*]}")
    if ! debootstrap --variant=minbase --include="$include" bookworm "$fresh" "$mirror" \
            >"$fresh.log" 2>&1; then
        tail -n 30 "$fresh.log" >&2
        rm -rf "$fresh" "$fresh.log"
        say "debootstrap failed"
        exit 1
    fi
    rm -f "$fresh.log"
    rm -rf "$fresh"/var/cache/apt/archives/*.deb "$fresh"/var/lib/apt/lists/*
    chmod 0755 "$fresh"
    tar -C "$fresh" -cf "$tarball.part" .
    mv "$tarball.part" "$tarball"
    rm -rf "$fresh"
fi

chroot_dir=$(mktemp -d "${TMPDIR:-/tmp}/check-root.XXXXXX")
cleanup() {
    local status=$?
    # Every process whose root is the throwaway root: the bus and the simulator it started.
    local proc pids=()
    for proc in /proc/[0-9]*; do
        [ "$(readlink "$proc/root" 2>/dev/null)" = "$chroot_dir" ] && pids+=("${proc#/proc/}")
    done
    if [ ${#pids[@]} -gt 0 ]; then
        kill -TERM "${pids[@]}" 2>/dev/null || true
        sleep 0.5
        kill -KILL "${pids[@]}" 2>/dev/null || true
    fi
    mountpoint -q "$chroot_dir/proc" && umount "$chroot_dir/proc"
    rm -rf "$chroot_dir"
    exit "$status"
}
trap cleanup EXIT
tar -C "$chroot_dir" -xf "$tarball"
# mktemp's 0700 would keep every user but root out of the root's /.
chmod 0755 "$chroot_dir"
mount -t proc proc "$chroot_dir/proc"
in_root() { chroot "$chroot_dir" "$@"; }

say "installing the packages in the root with dpkg -i"
mkdir -p "$chroot_dir/tmp/debs"
cp "${debs[@]}" "$chroot_dir/tmp/debs/"
in_root sh -c 'dpkg -i /tmp/debs/*.deb' >&2
in_root getent group commandhandler >/dev/null || { say "the group commandhandler was not created"; exit 1; }

in_root useradd --no-create-home --groups commandhandler embosser
in_root useradd --no-create-home outsider

# The system bus of the root (see the top of this file).
conf=/etc/command-parser-check/system.conf
servicedir=/etc/command-parser-check/services
mkdir -p "$chroot_dir$servicedir" "$chroot_dir/run/dbus"
sed -e '/<user>messagebus<\/user>/d' -e '/<fork\/>/d' -e '/<standard_system_servicedirs\/>/d' \
    -e '/<servicehelper>/d' -e '/<pidfile>/d' -e '/<syslog\/>/d' \
    -e "s|<type>system</type>|<type>system</type>\n  <servicedir>$servicedir</servicedir>|" \
    -e 's|<includedir>system.d</includedir>|<includedir>/usr/share/dbus-1/system.d</includedir>|' \
    "$chroot_dir/usr/share/dbus-1/system.conf" > "$chroot_dir$conf"
for expected in "<servicedir>$servicedir</servicedir>" \
        '<includedir>/usr/share/dbus-1/system.d</includedir>'; do
    grep -qF "$expected" "$chroot_dir$conf" || { say "system.conf changed shape: no $expected"; exit 1; }
done
if grep -qE '<user>|<servicehelper>|<fork/>' "$chroot_dir$conf"; then
    say "system.conf changed shape: it still switches user, forks or uses the helper"
    exit 1
fi
[ -f "$chroot_dir/usr/share/dbus-1/system.d/se.tarnvik.CommandHandler.conf" ] \
    || say "note: the package has no bus policy yet; the bus's default policy applies"

unit=
for dir in /usr/lib/systemd/system /lib/systemd/system; do
    [ -f "$chroot_dir$dir/command-handler-sim.service" ] && unit=$dir/command-handler-sim.service && break
done
if [ -n "$unit" ]; then
    exec_start=$(sed -n 's/^ExecStart=//p' "$chroot_dir$unit" | head -n 1)
    state_dir=/var/lib/$(sed -n 's/^StateDirectory=//p' "$chroot_dir$unit" | head -n 1)
else
    say "note: the package has no systemd unit yet; the simulator runs with a state folder of the check's"
    state_dir=/var/lib/command-handler-sim
    exec_start="/usr/bin/command-handler-sim --state-file $state_dir/state.json --output-dir $state_dir/pages"
fi
# What systemd's StateDirectory= would make.
mkdir -p "$chroot_dir$state_dir"
chmod 0700 "$chroot_dir$state_dir"
cat > "$chroot_dir$servicedir/se.tarnvik.CommandHandler.service" <<EOF
[D-BUS Service]
Name=se.tarnvik.CommandHandler
Exec=$exec_start
User=root
EOF
tr -d '-' < /proc/sys/kernel/random/uuid > "$chroot_dir/etc/machine-id"

# Nothing of this machine's environment (a session's bus address above all) reaches the bus or
# the services it starts.
in_root env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    dbus-daemon --config-file="$conf" --nofork --nopidfile 2>"$chroot_dir/tmp/bus.log" &
for _ in $(seq 100); do
    [ -S "$chroot_dir/run/dbus/system_bus_socket" ] && break
    sleep 0.1
done
[ -S "$chroot_dir/run/dbus/system_bus_socket" ] || { cat "$chroot_dir/tmp/bus.log" >&2; say "the bus did not start"; exit 1; }

# lintian counts as the first check passed.
passed=1
failed=0
run_as() {
    local user=$1
    shift
    in_root setpriv --reuid="$user" --regid="$user" --init-groups --reset-env -- "$@"
}
check_run() {
    local what=$1 pattern=$2
    shift 2
    local out status=0
    out=$(run_as embosser "$@" 2>&1) || status=$?
    printf '%s\n' "$out" | sed 's/^/    /' >&2
    if [ "$status" -ne 0 ] || ! grep -qE "$pattern" <<<"$out" || grep -q 'ERROR\|FAILED!' <<<"$out"; then
        say "FAILED: $what (exit status $status)"
        failed=$((failed + 1))
    else
        say "ok: $what"
        passed=$((passed + 1))
    fi
}
say "as embosser (group commandhandler): command-parser -l"
check_run "command-parser -l as a member of commandhandler" 'Configuration' command-parser -l
say "as embosser (group commandhandler): command-parser -e 601"
check_run "command-parser -e 601 as a member of commandhandler" 'pong' command-parser -e 601

if [ -f "$chroot_dir/usr/share/dbus-1/system.d/se.tarnvik.CommandHandler.conf" ]; then
    say "as outsider (no group): command-parser -l must be refused by the bus"
    out=$(run_as outsider env QT_LOGGING_RULES=ls.dbus.debug=true command-parser -l 2>&1) || true
    printf '%s\n' "$out" | sed 's/^/    /' >&2
    if grep -q 'AccessDenied' <<<"$out"; then
        say "ok: the bus refused a user outside commandhandler"
        passed=$((passed + 1))
    else
        say "FAILED: a user outside commandhandler was not refused"
        failed=$((failed + 1))
    fi
fi

if [ "$failed" -ne 0 ]; then
    say "the bus's log:"
    cat "$chroot_dir/tmp/bus.log" >&2
fi
say "checks done in $((SECONDS - started)) s"
echo "packaging: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
