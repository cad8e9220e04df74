#!/usr/bin/env bash
# Sets up, builds and passes the tests.
#
#   ./test.sh              all tests on the dev build
#   ./test.sh --all        what CI asks for: every stage in the list below
#   ./test.sh STAGE ...    only these stages
#
# VELA_CORPUS=FOLDER adds the tests over a folder of real files. Each stage prints one line; its
# output and, last, its processor time are in build/stages/STAGE.log. A stage that fails does not
# keep the others from running.
set -uo pipefail
if [ -n "${VELA_CORPUS:-}" ]; then
  VELA_CORPUS=$(realpath "$VELA_CORPUS")
  export VELA_CORPUS
fi
cd "$(dirname "$0")" || exit 1

# ---- what a stage can do

build() { cmake --preset "$1" && cmake --build --preset "$1"; }
# Builds a preset and passes its tests; further arguments go to ctest.
tested() { build "$1" && ctest --preset "$1" --output-junit "$PWD/build/stages/$1.xml" "${@:2}"; }
# Its output is compared with the dev build's.
windows() { cmake --preset dev && cmake --build --preset dev --target velahost && tested windows; }
format() { git ls-files '*.cpp' '*.h' | xargs -P 2 -n 20 clang-format-14 --dry-run -Werror; }
includes() { python3 -B scripts/check_includes.py; }
tidy() { cmake --preset dev && python3 -B scripts/tidy.py build/dev; }
# The packet lines are what ffprobe says, not what this program says.
golden() { python3 -B scripts/golden_packets.py check ${VELA_CORPUS:+--corpus "$VELA_CORPUS"}; }
compatibility() {
  cmake --preset dev && cmake --build --preset dev --target velahost vela_splitter_mp4 \
    && tests/compatibility/check.sh build/dev
}
# Instructions are the same on every machine, so this needs no quiet one.
short_bench() {
  cmake --preset bench && cmake --build --preset bench --target vela_callgrind write_media &&
    /usr/bin/python3 -B bench/short.py --build build/bench
}
# Valgrind over the test programs. Not among `all`: it takes a quarter of an hour.
memcheck() { cmake --preset dev && cmake --build --preset dev && scripts/memcheck.sh build/dev; }
# Processor time of small files, with bounds that are generous there.
hostile() {
  cmake --preset bench && cmake --build --preset bench --target vela_hostile &&
    build/bench/bench/hostile/vela_hostile --short
}
package_files() {
  local version
  version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
  build release && tests/packages/check.sh build/release "$version" build/windows build/wince-armv4
}
# The cuts of the files here are compared in the dev stage; these are the corpus's.
cuts() {
  if [ -z "${VELA_CORPUS:-}" ]; then
    echo "VELA_CORPUS is not set: nothing to cut"
    return
  fi
  cmake --preset dev && cmake --build --preset dev --target velahost vela_splitter_mp4 \
    && /usr/bin/python3 -B scripts/cut_figures.py build/dev/host/velahost --check "$VELA_CORPUS"/*.m[p4]*
}
# Lines and branches of the plug-in that tests and fuzz inputs reach, with a list of the others.
coverage() { /usr/bin/python3 -B scripts/coverage.py; }
site() { /usr/bin/python3 -B scripts/site.py build/site; }
corpus_was_used() { python3 -B scripts/test_report.py corpus "${corpus_reports[@]}"; }

# ---- the stages: a name and what it does, one line each

short=(dev)
declare -A stages=(
  [format]="format"
  [includes]="includes"
  [golden]="golden"
  [dev]="tested dev"
  [asan]="tested asan"
  [threads]="tested threads"
  [memcheck]="memcheck"
  [compatibility]="compatibility"
  [cuts]="cuts"
  [packages]="package_files"
  [site]="site"
  [coverage]="coverage"
  [clang]="tested clang"
  [release-tests]="tested release-tests"
  [x86-32]="tested x86-32"
  [tidy]="tidy"
  [windows]="windows"
  [windows-x86]="tested windows-x86"
  [arm]="build arm"
  [wince]="build wince-armv4"
  [device]="tested device"
  [bench]="short_bench"
  [hostile]="hostile"
  [gst]="tested gst"
  [gst-threads]="tested gst-threads"
  [gst-asan]="tested gst-asan"
  [corpus]="corpus_was_used"
)
all=(format includes golden dev asan threads compatibility cuts site clang release-tests x86-32 tidy windows windows-x86 arm wince device gst gst-threads gst-asan coverage bench hostile packages)
# Stages whose tests must have used the corpus where there is one.
corpus_reports=(build/stages/{dev,asan,clang,release-tests,gst}.xml)

# ---- running them

packages="test"
case "${1:-}" in
  '') chosen=("${short[@]}") ;;
  --all)
    packages=all
    chosen=("${all[@]}")
    if [ -n "${VELA_CORPUS:-}" ]; then chosen+=(corpus); fi
    ;;
  *) packages=all chosen=("$@") ;;
esac
for name in "${chosen[@]}"; do
  if [ -z "${stages[$name]:-}" ]; then
    echo "test.sh: no stage $name; there are: ${all[*]}" >&2
    exit 64
  fi
done

rm -rf build/stages
mkdir -p build/stages
total_passed=0
total_failed=0
table=()

# The last line of each log.
TIMEFORMAT='stage took %R s: %U s user, %S s system on all processors'

clock() { printf '%d:%02d' $(($1 / 60)) $(($1 % 60)); }

# run_stage NAME COMMAND ...: a stage without a report of its own counts as one test.
run_stage() {
  local name=$1 log=build/stages/$1.log report=build/stages/$1.xml start=$SECONDS
  local passed=0 failed=0 skipped=0 result=passed
  printf '%-14s ' "$name"
  { time "${@:2}" < /dev/null; } > "$log" 2>&1 || result=FAILED
  if [ -f "$report" ]; then
    read -r passed failed skipped < <(python3 -B scripts/test_report.py counts "$report")
  elif [ "$result" = passed ]; then
    passed=1
  fi
  if [ "$result" = FAILED ] && [ "$failed" -eq 0 ]; then failed=1; fi
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failed))
  local line
  line=$(printf '%s %6s %6d passed %4d failed %4d skipped' "$result" "$(clock $((SECONDS - start)))" \
    "$passed" "$failed" "$skipped")
  echo "$line"
  table+=("$(printf '%-14s %s' "$name" "$line")")
  if [ "$result" = FAILED ]; then
    tail -n 60 "$log" | sed 's/^/  | /'
    if [ -f "$report" ]; then python3 -B scripts/test_report.py failures "$report" | sed 's/^/  failed: /'; fi
  fi
}

run_stage setup scripts/setup.sh "$packages"
for name in "${chosen[@]}"; do
  # The words of a stage are split on purpose.
  # shellcheck disable=SC2086
  run_stage "$name" ${stages[$name]}
done

echo
printf '%s\n' "${table[@]}"
echo "all stages in $(clock $SECONDS)"
echo "$total_passed passed, $total_failed failed"
[ "$total_failed" -eq 0 ]
