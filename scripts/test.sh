#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Sets up, builds with both compilers and under the sanitizers, and runs every test. With names of
# presets it takes those instead: scripts/test.sh release
#
# Goes on with the next preset where one fails. Ends with a table of the presets and the reasons of
# the tests that were skipped, and with status 1 if anything failed.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh test
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release release-clang asan)

mkdir -p build
results=$PWD/build/test-results.tsv
: >"$results"
for preset in "${presets[@]}"; do
  echo "== $preset"
  report=$PWD/build/$preset/tests.xml
  rm -f "$report"
  state=ran
  start=$SECONDS
  if ! cmake --preset "$preset"; then
    state='not configured'
  elif ! cmake --build --preset "$preset"; then
    state='not built'
  fi
  built=$SECONDS
  # What a test prints is kept whole, since it says which cases were skipped, and why.
  if [ "$state" = ran ] && ! ctest --preset "$preset" -j "$(nproc)" --output-junit "$report" \
    --test-output-size-passed 1000000 --test-output-size-failed 1000000; then
    state=failed
  fi
  printf '%s\t%s\t%d\t%d\t%s\n' "$preset" "$state" $((built - start)) $((SECONDS - built)) \
    "$report" >>"$results"
done

echo
scripts/test-table "$results"
