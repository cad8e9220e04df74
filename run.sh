#!/usr/bin/env bash
# Sets up, builds and plays a file through the plug-in. Usage: ./run.sh [FILE]
set -euo pipefail
file=$(realpath "${1:-$(dirname "$0")/tests/data/sample.mp4}")
cd "$(dirname "$0")"

scripts/setup.sh run
{
  cmake --preset release
  cmake --build --preset release
} >&2
host=build/release/host/velahost
"$host" info "$file"
echo
"$host" packets "$file"
