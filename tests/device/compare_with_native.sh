#!/usr/bin/env bash
# Compares what the reference host prints over the native plug-in and over the device library.
# Usage: compare_with_native.sh HOST NATIVE_PLUGIN DEVICE_LIBRARY. VELA_CORPUS=FOLDER adds its files.
set -euo pipefail
here=$(realpath "$(dirname "$0")")
files=("$here"/../data/*.m*)
if [ -n "${VELA_CORPUS:-}" ]; then
  files+=("$VELA_CORPUS"/*.[m3b]*)
else
  echo "VELA_CORPUS is not set: the corpus is left out"
fi
exec python3 -B "$here/../scripts/compare_outputs.py" \
  --reference "$1 --plugin $2" --other "$1 --plugin $3" "${files[@]}"
