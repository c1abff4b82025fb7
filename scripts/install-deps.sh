#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 Tarnvik AB
# SPDX-License-Identifier: MIT
# Installs the Debian 12 packages the build, the simulator and the tests need, where missing.
set -euo pipefail

# chromium, nodejs and npm run the browser test of the sheets' pictures (browser_sheets), which
# is skipped without them.
packages=(cmake g++ make pkg-config qtbase5-dev qtbase5-dev-tools dbus-daemon libglib2.0-bin
          liblouis-dev liblouis-data libsystemd-dev systemd valgrind zsh groff-base man-db
          chromium nodejs npm)

# A Node.js installed from elsewhere (NodeSource's package bundles npm and conflicts with
# Debian's) serves as well: such a package is counted as present by its command.
declare -A command_of=([nodejs]=node [npm]=npm)

missing=()
for p in "${packages[@]}"; do
    if [ -n "${command_of[$p]:-}" ] && command -v "${command_of[$p]}" >/dev/null; then
        continue
    fi
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "install-deps.sh: missing packages: ${missing[*]}" >&2
        echo "install-deps.sh: run as root or install sudo" >&2
        exit 1
    fi
    sudo=(sudo)
fi
echo "Installing: ${missing[*]}" >&2
if [ ${#sudo[@]} -gt 0 ]; then
    # On standard output, which scripts/run.sh shows with the build's: the one thing the first
    # run asks of its user.
    echo "install-deps.sh: the build needs these Debian packages, and installing them needs root:" \
         "sudo may ask for your password"
fi
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
