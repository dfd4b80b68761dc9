#!/bin/bash
# Runs the fuzz targets, each for some seconds, from the committed corpus and what earlier runs found.
# usage: fuzz.sh [-j JOBS] [SECONDS [TARGET...]]   (default: one job, 10 seconds, all targets)
# New inputs go to build/fuzz/corpus, findings and logs to build/fuzz/findings. Fails on any finding.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

jobs=1
if [ "${1:-}" = -j ]; then
  jobs=$2
  shift 2
fi
seconds=${1:-10}
[ $# -eq 0 ] || shift
targets=("$@")
[ $# -ne 0 ] || mapfile -t targets < <(ls tests/fuzz/corpus)

# shellcheck disable=SC2154,SC2086
need_packages $build_packages $fuzz_packages
[ -f build/fuzz/build.ninja ] || quietly cmake --preset fuzz
quietly cmake --build --preset fuzz --target "${targets[@]/#/fuzz_}"

run() {
  local target=$1 log=build/fuzz/findings/$1.log result=ok
  mkdir -p "build/fuzz/corpus/$target"
  "build/fuzz/fuzz_$target" -max_total_time="$2" -timeout=10 -max_len=4096 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/findings/$target-" "build/fuzz/corpus/$target" "tests/fuzz/corpus/$target" \
    >"$log" 2>&1 || result=FOUND
  printf '%-14s %9s executions  %s\n' "$target" \
    "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" "$result"
  [ $result = ok ] && return
  tail -n 60 "$log"
  return 1
}
export -f run
mkdir -p build/fuzz/findings
printf '%s\n' "${targets[@]}" | xargs -P "$jobs" -I{} bash -c "run {} $seconds"
