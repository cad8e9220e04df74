#!/usr/bin/env bash
# Rewrites the committed outputs of velahost (tests/data/x.*.txt) from the dev build.
# Review the diff: what it shows is what users will see. Usage: update_golden.sh [NAME ...]
set -euo pipefail
if [ -n "${CI:-}" ]; then
  echo "update_golden.sh: expected results are not rewritten in CI" >&2
  exit 1
fi
root=$(cd "$(dirname "$0")/.." && pwd)
cmake --preset dev -S "$root" > /dev/null
cmake --build "$root/build/dev" --target velahost vela_splitter_mp4
host=$root/build/dev/host/velahost

cd "$root/tests/data"
while IFS=$'\t' read -r name arguments; do
  case "$name" in '' | '#'*) continue ;; esac
  if [ $# -gt 0 ] && [[ " $* " != *" $name "* ]]; then continue; fi
  # The arguments hold no quotes: blanks are all that separates them.
  # shellcheck disable=SC2086
  env -u VELA_PLUGIN "$host" $arguments > "x.$name.txt"
done < commands.tsv
git status --short .
