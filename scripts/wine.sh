#!/usr/bin/env bash
# Runs a program for 64-bit Windows. Usage: wine.sh PROGRAM [ARGUMENT ...]
# Wine keeps its files in the build folder that holds the program (the nearest one with a
# CMakeCache.txt), or in WINEPREFIX.
set -euo pipefail
wine=/usr/lib/wine/wine64  # Debian's `wine` asks for a 32-bit one first
if [ ! -x "$wine" ]; then
  echo "wine.sh: install wine and wine64" >&2
  exit 127
fi
if [ -z "${WINEPREFIX:-}" ]; then
  folder=$(dirname "$(realpath "$1")")
  while [ "$folder" != / ] && [ ! -f "$folder/CMakeCache.txt" ]; do folder=$(dirname "$folder"); done
  export WINEPREFIX=$folder/wine
fi
# Neither .NET nor a browser, which Wine would offer to install; none of its own messages.
export WINEDLLOVERRIDES='mscoree,mshtml=' WINEDEBUG=-all
exec "$wine" "$@"
