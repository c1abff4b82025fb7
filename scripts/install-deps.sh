#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the simulator and the tests need, where missing.
set -euo pipefail

packages=(cmake g++ make pkg-config qtbase5-dev qtbase5-dev-tools dbus-daemon libglib2.0-bin
          liblouis-dev liblouis-data)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
echo "Installing: ${missing[*]}" >&2
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
