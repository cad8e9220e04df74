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

# use_without_libavformat VELAHOST SCRATCH NAME: an empty library that is found first is as good as
# none. Everything but MP4 works.
use_without_libavformat() {
  local host=$1 folder=$2/no_libavformat status=0
  mkdir -p "$folder"
  if ! "$host" extract "$sample" --item 1 -o "$folder/whole.mp4" > /dev/null; then
    fail "$3: velahost writes no MP4"
  fi
  rm "$folder/whole.mp4"
  touch "$folder"/libavformat.so.{57..64}
  LD_LIBRARY_PATH=$folder "$host" extract "$sample" --item 1 -o "$folder/cut.mp4" \
    > "$folder/said.txt" 2>&1 || status=$?
  [ "$status" -eq 65 ] || fail "$3: exit status $status without libavformat"
  grep -q "can't be loaded. --format adts and --format mp3 cut audio without it" "$folder/said.txt" \
    || fail "$3: not a word of libavformat"
  [ ! -e "$folder/cut.mp4" ] || fail "$3: a cut without libavformat"
  LD_LIBRARY_PATH=$folder "$host" extract "$sample" --item 1 -o "$folder/cut.aac" > /dev/null
  [ -s "$folder/cut.aac" ] || fail "$3: no ADTS without libavformat"
}

# exports DLL: the names that it exports, separated by blanks.
exports() {
  /usr/bin/python3 -c 'import pefile, sys
print(*(symbol.name.decode() for symbol in pefile.PE(sys.argv[1]).DIRECTORY_ENTRY_EXPORT.symbols))' "$1"
}

# files_in FOLDER: its files, sorted.
files_in() { (cd "$1" && find . -type f -printf '%P\n' | LC_ALL=C sort); }

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
  use_without_libavformat "$prefix/bin/velahost" "$scratch" "$2"
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
mkdir -p "$work/tree/var/lib/dpkg/"{updates,info} "$work/bin"
touch "$work/tree/var/lib/dpkg/status"
printf '#!/bin/sh\n' > "$work/bin/ldconfig"
chmod +x "$work/bin/ldconfig"
in_root() {
  PATH=$work/bin:$PATH dpkg --root="$work/tree" --log=/dev/null --force-not-root --force-depends \
    --force-script-chrootless "$@" > "$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log"; fail "dpkg $*"; }
}
in_root --install "$deb"
[ "$(dpkg-query --admindir="$work/tree/var/lib/dpkg" -W -f='${db:Status-Abbrev}${Version}' vela-splitter-mp4)" \
  = "ii $version" ] || fail "the .deb is not installed"
use_prefix "$work/tree/usr" deb
dpkg-deb -f "$deb" Depends | tr ',' '\n' | sed 's/^ *\([^ ]*\).*/\1/' > "$work/depends.txt"
while read -r package; do
  apt-cache show "$package" > /dev/null 2>&1 || echo "  $package: not known on this machine"
done < "$work/depends.txt"
in_root --purge vela-splitter-mp4
[ -z "$(find "$work/tree" -name '*vela*')" ] || fail "the .deb leaves files behind"

# ---- .zip for Windows: run by Wine, and the minimal hosts are built by a compiler for Windows
windows=${3:-}
if [ -n "$windows" ] && [ -f "$windows/inspect/velainspect.exe" ]; then
  windows=$(realpath "$windows")
  rm -rf "$windows/packages"
  (cd "$windows" && cpack > "$work/zip.log") || { cat "$work/zip.log"; fail "no .zip for Windows"; }
  mkdir "$work/windows"
  (cd "$work/windows" && cmake -E tar xf "$windows/packages/vela_splitter_mp4-$version-windows-x86_64.zip")
  folder=$work/windows/vela_splitter_mp4-$version-windows-x86_64
  cat > "$work/expected.txt" << 'EOF'
bin/vela_splitter_mp4.dll
bin/velahost.exe
bin/velainspect.exe
include/vela_splitter.h
lib/cmake/vela_splitter_mp4/vela_splitter_mp4Config.cmake
lib/cmake/vela_splitter_mp4/vela_splitter_mp4ConfigVersion.cmake
lib/pkgconfig/vela_splitter_mp4.pc
share/doc/vela_splitter_mp4/LICENSE
share/doc/vela_splitter_mp4/json.md
share/doc/vela_splitter_mp4/velahost.schema.json
EOF
  files_in "$folder" | diff "$work/expected.txt" - || fail "zip for Windows: other files than these"
  cmp "$folder/include/vela_splitter.h" "$root/frontend/vela_splitter.h"
  [ "$(exports "$folder/bin/vela_splitter_mp4.dll")" = VelaEntry ] \
    || fail "zip for Windows: the DLL exports something other than VelaEntry"
  run() { WINEPREFIX=$windows/wine "$root/scripts/wine.sh" "$@"; }
  run "$folder/bin/velahost.exe" info "$sample" > "$work/info.txt"
  grep -q 'MPEG-4 AVC, 128x96' "$work/info.txt" || fail "zip for Windows: velahost.exe finds no plug-in"
  run "$folder/bin/velainspect.exe" tree "$sample" > "$work/tree.txt"
  grep -q moov "$work/tree.txt" || fail "zip for Windows: velainspect.exe shows nothing"
  for host in minimal_host minimal_host_c; do
    cmake -G Ninja -S "$root/examples/$host" -B "$work/$host" \
      -DCMAKE_TOOLCHAIN_FILE="$root/cmake/windows_mingw.cmake" \
      -Dvela_splitter_mp4_DIR="$folder/lib/cmake/vela_splitter_mp4" > "$work/$host.log"
    cmake --build "$work/$host" >> "$work/$host.log" || { cat "$work/$host.log"; fail "$host"; }
    run "$work/$host/$host.exe" "$folder/bin/vela_splitter_mp4.dll" "$sample" > "$work/played.txt"
    grep -q '98044 frames' "$work/played.txt" || fail "zip for Windows: $host.exe does not play"
  done
  echo "zip for Windows: unpacked and used"
else
  echo "zip for Windows: skipped, there is no build for Windows"
fi

# ---- .zip for the device: what is in it is what the tests of the device run
device=${4:-}
if [ -n "$device" ] && [ -f "$device/device.zip" ]; then
  device=$(realpath "$device")
  mkdir "$work/device"
  (cd "$work/device" && cmake -E tar xf "$device/device.zip")
  printf '%s\n' LICENSE.txt README.txt vela_splitter_mp4.dll velaprobe.exe > "$work/expected.txt"
  files_in "$work/device" | diff "$work/expected.txt" - || fail "zip for the device: other files"
  cmp "$work/device/vela_splitter_mp4.dll" "$device/frontend/vela_splitter_mp4.dll"
  cmp "$work/device/velaprobe.exe" "$device/examples/velaprobe/velaprobe.exe"
  [ "$(exports "$work/device/vela_splitter_mp4.dll")" = VelaEntry ] \
    || fail "zip for the device: the DLL exports something other than VelaEntry"
  echo "zip for the device: holds the DLL that the device's tests run"
else
  echo "zip for the device: skipped, there is no build for the device"
fi
