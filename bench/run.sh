#!/usr/bin/env bash
# Builds, makes the media, and measures everything. Usage: run.sh [option ...]
#   --plugin FILE   another build of the plug-in than this tree's
#   --media FOLDER  where the media are, or come to be: about 500 MB (build/bench/media)
#   --files f1,f4   only these files
#   --only PARTS    some of instructions,times,memory,growth,size,profile
#   --rounds N      of each time (9)
# Times want a machine that does little else; instructions are the same on a busy one.
set -euo pipefail
tree=$(realpath "$(dirname "$0")/..")
plugin=$tree/build/bench/frontend/libvela_splitter_mp4.so
media=$tree/build/bench/media
passed_on=()
usage() { sed -n '2,${/^# /!q;s/^# //p}' "$0" >&2; exit 64; }
while [ $# -gt 0 ]; do
  [ $# -gt 1 ] || usage
  case "$1" in
    --plugin) plugin=$(realpath "$2"); shift 2 ;;
    --media) media=$(realpath -m "$2"); shift 2 ;;
    --files | --only | --rounds) passed_on+=("$1" "$2"); shift 2 ;;
    *) usage ;;
  esac
done
cd "$tree"
scripts/setup.sh bench
build() {
  cmake --preset bench &&
    cmake --build --preset bench --target vela_splitter_mp4 vela_callgrind vela_times vela_memory write_media
}
log=$(build 2>&1) || { echo "$log" >&2; exit 1; }
bench/make_media.sh "$media"
exec /usr/bin/python3 -B bench/run.py --tools build/bench/bench --plugin "$plugin" --media "$media" \
  --armv4 build/wince-armv4/frontend/vela_splitter_mp4_at_0x10000000.elf "${passed_on[@]}"
