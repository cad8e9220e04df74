#!/usr/bin/env bash
# Runs velaprobe over our own files in the emulator and compares its log with the reference host.
# Usage: probe_test.sh PROBE_RUN DEVICE_BUILD HOST NATIVE_PLUGIN
set -euo pipefail
runner=$1 build=$2 host=$3 plugin=$4
here=$(realpath "$(dirname "$0")")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
probe=$build/examples/velaprobe/velaprobe.exe
cp "$build/frontend/vela_splitter_mp4.dll" "$folder"

for file in "$here"/../data/*.m*; do
  name=$(basename "$file")
  [ "$name" = README.md ] && continue
  cp "$file" "$folder/$name"
  "$runner" "$probe" "$folder" "\"$name\""
  "$host" --plugin "$plugin" packets --json "$file" > "$folder/packets"
  "$host" --plugin "$plugin" info --json "$file" > "$folder/info"
  printf '%s: ' "$name"
  python3 -B "$here/../../examples/velaprobe/compare_log.py" "$folder/$name.velaprobe.txt" \
    "$folder/packets" "$folder/info"
done

# expect CODE ARGUMENTS MEANING
expect() {
  local code=0
  "$runner" "$probe" "$folder" "$2" || code=$?
  [ "$code" -eq "$1" ] || { echo "code $code instead of $1: $3"; exit 1; }
}
expect 1 "" "no file is named"
expect 2 "sample.mp4" "the log is there already"
expect 4 "missing.mp4" "the file is missing"
printf 'not a movie' > "$folder/text.mp4"
expect 5 "text.mp4 other.txt" "the file is no movie"
grep -q '^failed createSplitterEx 5' "$folder/other.txt"
rm "$folder/vela_splitter_mp4.dll"
expect 3 "sample.mp4 third.txt" "the plug-in is missing"
echo "the exit codes are as documented"
