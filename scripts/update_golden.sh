#!/usr/bin/env bash
# Rewrites the committed outputs of velahost (tests/data/x.*.txt) and velainspect
# (tests/data/golden/inspect/*.txt) from the dev build. Review the diff: what it shows is what users
# will see. Usage: update_golden.sh [NAME ...]
set -euo pipefail
if [ -n "${CI:-}" ]; then
  echo "update_golden.sh: expected results are not rewritten in CI" >&2
  exit 1
fi
root=$(cd "$(dirname "$0")/.." && pwd)
cmake --preset dev -S "$root" > /dev/null
cmake --build "$root/build/dev" --target velahost velainspect vela_splitter_mp4
host=$root/build/dev/host/velahost
inspector=$root/build/dev/inspect/velainspect

# wanted NAME NAMES ...: whether NAME is among the names, or there are none.
wanted() {
  local name=$1
  shift
  case "$name" in '' | '#'*) return 1 ;; esac
  [ $# -eq 0 ] || [[ " $* " == *" $name "* ]]
}

cd "$root/tests/data"
# The arguments hold no quotes: blanks are all that separates them.
# shellcheck disable=SC2086
while IFS=$'\t' read -r name arguments; do
  wanted "$name" "$@" || continue
  env -u VELA_PLUGIN "$host" $arguments > "x.$name.txt"
done < commands.tsv
# shellcheck disable=SC2086
while IFS=$'\t' read -r name status arguments; do
  wanted "$name" "$@" || continue
  actual=0
  "$inspector" $arguments > "golden/inspect/$name.txt" || actual=$?
  if [ "$actual" -ne "$status" ]; then
    echo "update_golden.sh: $name ends with $actual, not with $status" >&2
    exit 1
  fi
done < golden/inspect/commands.tsv
if wanted scan "$@"; then
  "$inspector" scan . --sorted 2> /dev/null | sed 's/,"time":[^,}]*}$/}/' > golden/inspect/scan.jsonl
fi
git status --short .
