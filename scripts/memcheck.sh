#!/usr/bin/env bash
# Runs the test programs of a build under valgrind: no read of what was never written, none outside
# a block, nothing lost.
#
#   scripts/memcheck.sh BUILD [PART OF A PROGRAM'S NAME]
#
# Two programs run at a time. The longest rows of cases (faults at every chance, random tracks) are
# cut to every 40th case. Left out are the tests whose only subject is what something costs, and
# the programs around the plug-in, which start others.
set -uo pipefail
build=${1:?usage: scripts/memcheck.sh BUILD [PART]}
part=${2:-}
export VELA_EVERY_NTH=40
export left_out='HostileMetadata.*:*Cost*:*InProportion*:*InAMoment*:*IsLinear*'

check() {
  local program=$1 name output start=$SECONDS
  name=$(basename "$program")
  output=$(valgrind --quiet --error-exitcode=9 --leak-check=full \
    --errors-for-leak-kinds=definite,indirect,possible \
    "$program" --gtest_filter="-$left_out" 2>&1)
  local code=$?
  local tests
  tests=$(grep -oE '^\[  PASSED  \] [0-9]+' <<< "$output" | grep -oE '[0-9]+$')
  if [ $code -eq 0 ] && [ "${tests:-0}" -gt 0 ]; then
    printf '%-28s clean, %4d tests, %4d s\n' "$name" "$tests" $((SECONDS - start))
  else
    printf '%-28s FAILED with %d after %d s\n%s\n' "$name" $code $((SECONDS - start)) \
      "$(grep -vE '^\[ (RUN  |     OK)' <<< "$output")"
    return 1
  fi
}
export -f check

programs=()
for program in "$build"/tests/{atomkit,faults,frontend,hal,platform,plugin}/*_tests; do
  case $program in *"$part"*) [ ! -x "$program" ] || programs+=("$program") ;; esac
done
echo "${#programs[@]} programs without the tests $left_out"
[ ${#programs[@]} -gt 0 ] && printf '%s\0' "${programs[@]}" | xargs -0 -n 1 -P 2 bash -c 'check "$0"' &&
  echo "all clean"
