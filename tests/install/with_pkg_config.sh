#!/usr/bin/env bash
# Builds both minimal hosts with what pkg-config tells of an installed plug-in, and plays the sample.
# Usage: with_pkg_config.sh PREFIX WORK_FOLDER CC CXX FLAGS VERSION
set -euo pipefail
root=$(realpath "$(dirname "$0")/../..")
prefix=$1 work=$2 cc=$3 cxx=$4 version=$6
read -ra flags <<< "$5"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vela_splitter_mp4.pc)")
export PKG_CONFIG_PATH
if [ "$(pkg-config --modversion vela_splitter_mp4)" != "$version" ]; then
  echo "pkg-config tells another version" >&2
  exit 1
fi
plugin=$(pkg-config --variable=plugin vela_splitter_mp4)
read -ra header < <(pkg-config --cflags vela_splitter_mp4)

mkdir -p "$work"
"$cc" -std=c11 "${flags[@]}" "$root/examples/minimal_host_c/main.c" -o "$work/host_c" -ldl
"$cxx" -std=c++17 "${flags[@]}" "${header[@]}" "$root/examples/minimal_host/main.cpp" -o "$work/host" -ldl
for host in host_c host; do
  "$work/$host" "$plugin" "$root/tests/data/sample.mp4"
done
