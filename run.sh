#!/usr/bin/env bash
# Sets up, builds and plays a file through the plug-in.
#   ./run.sh [FILE]         what the plug-in tells about the file, and its packets
#   ./run.sh --play [FILE]  the file in a window and with sound, in a GStreamer player
set -euo pipefail
play=
if [ "${1:-}" = --play ]; then
  play=yes
  shift
fi
file=$(realpath "${1:-$(dirname "$0")/tests/data/sample.mp4}")
cd "$(dirname "$0")"

if [ -n "$play" ]; then exec scripts/play.sh "$file"; fi

scripts/setup.sh run
{
  cmake --preset release
  cmake --build --preset release
} >&2
host=build/release/host/velahost
"$host" info "$file"
echo
"$host" packets "$file"
