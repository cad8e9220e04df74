#!/usr/bin/env bash
# Compares what the reference host prints here and, over the DLL, under Wine.
# Usage: compare_with_native.sh NATIVE_BUILD VELAHOST_EXE DLL. VELA_CORPUS=FOLDER adds its files.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
files=("$here"/../data/*.m*)
if [ -n "${VELA_CORPUS:-}" ]; then
  files+=("$VELA_CORPUS"/*.[m3b]*)
else
  echo "VELA_CORPUS is not set: the corpus is left out"
fi
if [ ! -x "$1/host/velahost" ]; then
  echo "build velahost in $1 first" >&2
  exit 1
fi
exec python3 -B "$here/../scripts/compare_outputs.py" \
  --reference "$1/host/velahost" \
  --other "$here/../../scripts/wine.sh $2 --plugin $3" "${files[@]}"
