#!/usr/bin/env bash
# Starts or stops the server of a folder of Wine's. Usage: wine_server.sh start|stop FOLDER
set -euo pipefail
here=$(dirname "$(realpath "$0")")
export WINEPREFIX=$2
server=/usr/lib/wine/wineserver
if [ "$1" = stop ]; then
  exec "$server" --kill
fi
mkdir -p "$WINEPREFIX"
# The server must not hold the pipes that ctest waits for.
"$server" --persistent > /dev/null 2>&1 < /dev/null || [ $? -eq 2 ]  # 2: it runs already
"$here/../../scripts/wine.sh" wineboot --init > "$WINEPREFIX.log" 2>&1 < /dev/null
