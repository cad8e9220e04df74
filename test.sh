#!/usr/bin/env bash
# Sets up, builds and passes all tests: first in the dev build, then in the sanitizer build.
# VELA_CORPUS=FOLDER adds the tests over a folder of real files.
set -euo pipefail
cd "$(dirname "$0")"

scripts/setup.sh test
for preset in dev asan; do
  echo "== $preset"
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset"
done
