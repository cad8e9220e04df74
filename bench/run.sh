#!/usr/bin/env bash
# Builds, makes the media, and measures everything. Usage: run.sh [option ...]
#   --plugin FILE   another build of the plug-in than this tree's
#   --media FOLDER  where the media are, or come to be: about 500 MB (build/bench/media)
#   --files f1,f4   only these files
#   --only PARTS    some of instructions,times,memory,growth,size,profile
#   --rounds N      of each time (9)
# Times want a machine that does little else; instructions are the same on a busy one.
set -euo pipefail
cd "$(dirname "$0")/.."
plugin=build/bench/frontend/libvela_splitter_mp4.so
media=build/bench/media
passed_on=()
while [ $# -gt 0 ]; do
  case "$1" in
    --plugin) plugin=$2; shift 2 ;;
    --media) media=$2; shift 2 ;;
    --files | --only | --rounds) passed_on+=("$1" "$2"); shift 2 ;;
    *) sed -n 's/^# //p' "$0" >&2; exit 64 ;;
  esac
done
scripts/setup.sh bench
{ cmake --preset bench && cmake --build --preset bench; } > /dev/null
bench/make_media.sh "$media"
exec /usr/bin/python3 -B bench/run.py --tools build/bench/bench --plugin "$plugin" --media "$media" \
  --armv4 build/wince-armv4/frontend/vela_splitter_mp4_at_0x10000000.elf "${passed_on[@]}"
