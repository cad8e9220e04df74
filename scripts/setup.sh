#!/usr/bin/env bash
# Installs the Debian packages that the named job needs, when they are missing. Usage: setup.sh run|test
set -euo pipefail

packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev)
if [ "${1:-run}" = test ]; then
  packages+=(libgtest-dev libgmock-dev binutils ffmpeg)
fi

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then as_root=(sudo); fi
echo "installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
