#!/usr/bin/env bash
# Runs the test programs of a build under valgrind: no read of what was never written, none outside
# a block, nothing lost.
#
#   scripts/memcheck.sh BUILD [PART OF A PROGRAM'S NAME]
#
# Left out: what starts other programs, and tests whose only subject is time or number.
set -uo pipefail
build=${1:?usage: scripts/memcheck.sh BUILD [PART]}
part=${2:-}
left_out='*Cost*:*InProportion*:*RandomTracks*:*D212*:*Speed*'
failed=0
count=0
for program in "$build"/tests/{atomkit,faults,frontend,hal,platform,plugin}/*_tests; do
  case $program in *"$part"*) ;; *) continue ;; esac
  count=$((count + 1))
  start=$SECONDS
  if output=$(valgrind --quiet --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite,indirect,possible \
    "$program" --gtest_brief=1 --gtest_filter="-$left_out" 2>&1); then
    printf '%-28s clean  %4d s\n' "$(basename "$program")" $((SECONDS - start))
  else
    failed=$((failed + 1))
    printf '%-28s FAILED %4d s\n%s\n' "$(basename "$program")" $((SECONDS - start)) "$output"
  fi
done
echo "$count programs, $failed failed"
[ "$count" -gt 0 ] && [ "$failed" -eq 0 ]
