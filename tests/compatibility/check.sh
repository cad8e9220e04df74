#!/usr/bin/env bash
# The hosts and the plug-ins of version 0.1.0 and of today, in both mixed pairs: each host prints the
# same over the other version's plug-in as over its own. Version 0.1.0 is built from the sources
# beside this script. Usage: check.sh BUILD_FOLDER_OF_TODAY. VELA_CORPUS=FOLDER adds its files.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
root=$here/../..
today=$(realpath "$1")
old=$root/build/compatibility

rm -rf "$old/source"
mkdir -p "$old/source"
tar -xJf "$here/vela_splitter_mp4-0.1.0.tar.xz" -C "$old/source" --strip-components=1
# The sources are those whose contract was written down.
python3 -B "$root/scripts/contract.py" check-version 0.1.0 "$old/source/frontend/vela_splitter.h"
launcher=()
if command -v ccache > /dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake -G Ninja -S "$old/source" -B "$old/build" -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS_DEBUG=-O0 "${launcher[@]}" > /dev/null
cmake --build "$old/build" --target velahost vela_splitter_mp4 > /dev/null

files=("$root"/tests/data/*.m[p4]*)
if [ -n "${VELA_CORPUS:-}" ]; then
  files+=("$VELA_CORPUS"/*.[m3b]*)
else
  echo "VELA_CORPUS is not set: the corpus is left out"
fi
compare() {
  echo "$1"
  python3 -B "$here/../scripts/compare_outputs.py" --reference "$2 --plugin $3" \
    --other "$2 --plugin $4" "${files[@]}"
}
old_plugin=$old/build/frontend/libvela_splitter_mp4.so
new_plugin=$today/frontend/libvela_splitter_mp4.so
compare "The host of 0.1.0 with today's plug-in:" "$old/build/host/velahost" "$old_plugin" "$new_plugin"
compare "Today's host with the plug-in of 0.1.0:" "$today/host/velahost" "$new_plugin" "$old_plugin"
