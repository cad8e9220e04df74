#!/usr/bin/env bash
# Makes the packages of a build, installs each in a clean folder and uses it from there: the programs
# run, and the minimal hosts in C++ and in C are built by find_package and by pkg-config, and play.
# Usage: check.sh RELEASE_BUILD VERSION [WINDOWS_BUILD] [DEVICE_BUILD]
# The builds for Windows and for the device are left out, visibly, where they are not there.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
root=$(realpath "$here/../..")
build=$(realpath "$1")
version=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sample=$root/tests/data/sample.mp4

fail() {
  echo "check.sh: $*" >&2
  exit 1
}

# use_prefix PREFIX NAME: everything that a user does with an installed package.
use_prefix() {
  local prefix=$1 scratch=$work/$2.use host
  mkdir -p "$scratch"
  "$prefix/bin/velahost" --version | grep -qx "velahost $version" || fail "$2: another version"
  # Without a word of the build folder: the plug-in beside the program is found.
  env -u VELA_PLUGIN "$prefix/bin/velahost" info "$sample" | grep -q 'MPEG-4 AVC, 128x96' \
    || fail "$2: velahost finds no plug-in"
  "$prefix/bin/velainspect" tree "$sample" > "$scratch/tree.txt"
  grep -q moov "$scratch/tree.txt" || fail "$2: velainspect shows nothing"
  for page in velahost velainspect; do
    MANPATH=$prefix/share/man man -E ascii "$page" 2> /dev/null | grep -q 'EXIT STATUS' \
      || fail "$2: no man page of $page"
    bash -n "$prefix/share/bash-completion/completions/$page"
    [ -s "$prefix/share/zsh/vendor-completions/_$page" ] || fail "$2: no zsh completion of $page"
  done
  for host in minimal_host minimal_host_c; do
    cmake -G Ninja -S "$root/examples/$host" -B "$scratch/$host" -DCMAKE_PREFIX_PATH="$prefix" \
      -DPLAY="$sample" > "$scratch/$host.log"
    cmake --build "$scratch/$host" --target play | grep -q '98044 frames' \
      || fail "$2: $host, built by find_package, does not play"
  done
  "$root/tests/install/with_pkg_config.sh" "$prefix" "$scratch/pkg" cc c++ -Wall "$version" \
    > "$scratch/pkg.txt"
  [ "$(grep -c '98044 frames' "$scratch/pkg.txt")" -eq 2 ] || fail "$2: pkg-config does not suffice"
  echo "$2: installed and used"
}

rm -rf "$build/packages"
(cd "$build" && cpack > "$work/cpack.log") || { cat "$work/cpack.log"; fail "no packages"; }

# ---- .tar.gz
mkdir "$work/tar"
tar -xzf "$build"/packages/*.tar.gz -C "$work/tar" --strip-components=1
use_prefix "$work/tar" tar.gz

# ---- .deb: installed by dpkg into a root of its own, used, and removed without a trace. The one
# script in it refreshes the loader's cache, which is not to happen on this machine.
deb=$(echo "$build"/packages/*.deb)
mkdir -p "$work/root/var/lib/dpkg/"{updates,info} "$work/bin"
touch "$work/root/var/lib/dpkg/status"
printf '#!/bin/sh\n' > "$work/bin/ldconfig"
chmod +x "$work/bin/ldconfig"
in_root() {
  PATH=$work/bin:$PATH dpkg --root="$work/root" --log=/dev/null --force-not-root --force-depends \
    --force-script-chrootless "$@" > "$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg $*"; }
}
in_root --install "$deb"
[ "$(dpkg-query --admindir="$work/root/var/lib/dpkg" -W -f='${db:Status-Abbrev}${Version}' vela-splitter-mp4)" \
  = "ii $version" ] || fail "the .deb is not installed"
use_prefix "$work/root/usr" deb
dpkg-deb -f "$deb" Depends | tr ',' '\n' | sed 's/^ *\([^ ]*\).*/\1/' > "$work/depends.txt"
while read -r package; do
  apt-cache show "$package" > /dev/null 2>&1 || echo "  $package: not known on this machine"
done < "$work/depends.txt"
in_root --purge vela-splitter-mp4
[ -z "$(find "$work/root" -name '*vela*')" ] || fail "the .deb leaves files behind"

# ---- .zip for Windows
windows=${3:-}
if [ -n "$windows" ] && [ -f "$windows/host/velahost.exe" ]; then
  rm -rf "$windows/packages"
  (cd "$windows" && cpack > "$work/zip.log") || { cat "$work/zip.log"; fail "no .zip for Windows"; }
  mkdir "$work/windows"
  (cd "$work/windows" && cmake -E tar xf "$(realpath "$windows")"/packages/*.zip)
  folder=$(dirname "$(find "$work/windows" -name velahost.exe)")
  WINEPREFIX=$(realpath "$windows")/wine "$root/scripts/wine.sh" "$folder/velahost.exe" info "$sample" \
    | grep -q 'MPEG-4 AVC, 128x96' || fail "zip for Windows: velahost.exe finds no plug-in"
  echo "zip for Windows: installed and used"
else
  echo "zip for Windows: skipped, there is no build for Windows"
fi

# ---- .zip for the device: what is in it is what the tests of the device run
device=${4:-}
if [ -n "$device" ] && [ -f "$device/device.zip" ]; then
  mkdir "$work/device"
  (cd "$work/device" && cmake -E tar xf "$(realpath "$device")/device.zip")
  for file in LICENSE.txt README.txt velaprobe.exe; do
    [ -s "$work/device/$file" ] || fail "zip for the device: no $file"
  done
  cmp "$work/device/vela_splitter_mp4.dll" "$device/frontend/vela_splitter_mp4.dll"
  echo "zip for the device: holds the DLL that the device's tests run"
else
  echo "zip for the device: skipped, there is no build for the device"
fi
