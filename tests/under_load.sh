#!/usr/bin/env bash
# Runs tests again and again while each processor has two other things to do at the same
# priority, and tells which runs failed in which tests. Build first.
#
#   tests/under_load.sh [RUNS [CTEST OPTION...]]    20 runs of all of them, by default
set -uo pipefail
cd "$(dirname "$0")/.."
runs=${1:-20}
[[ $runs =~ ^[1-9][0-9]*$ ]] || { sed -n '2,/^set /{/^#/s/^# \{0,1\}//p}' "$0"; exit 2; }
shift $(($# > 0))
report=build/release/under_load.xml
failed=0

for ((run = 1; run <= runs; run++)); do
  stress-ng --quiet --cpu $((2 * $(nproc))) &
  stress=$!
  trap 'kill $stress' EXIT
  began=$SECONDS
  if ctest --test-dir build/release --parallel "$(nproc)" --timeout 600 --no-tests=error \
      --output-on-failure --output-junit "${report##*/}" "$@" > "build/release/under_load_$run.log"; then
    echo "run $run: all passed in $((SECONDS - began)) s"
  else
    failed=$((failed + 1))
    echo "run $run: failed in $((SECONDS - began)) s; see build/release/under_load_$run.log"
    sed -n 's/.*<testcase name="\([^"]*\)".*status="fail".*/  \1/p' "$report"
  fi
  kill $stress
  trap - EXIT
  wait $stress 2> /dev/null
done
echo "$((runs - failed)) of $runs runs passed"
[ $failed -eq 0 ]
