#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the fuzzers under the address and undefined-behaviour sanitizers, each from its seeds in
# fuzz/corpus/, and fails when one finds something: scripts/fuzz.sh [SECONDS [FUZZER...]], by default
# 60 seconds each and all of them. New inputs go to FUZZ_INPUTS, or to a folder that is gone at the
# end unless something was found.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh test
seconds=${1:-60}
fuzzers=("${@:2}")
if [ ${#fuzzers[@]} -eq 0 ]; then
  for source in fuzz/fuzz_*.cpp; do fuzzers+=("$(basename "$source" .cpp)"); done
fi

build=build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang-19 -DCMAKE_CXX_COMPILER=clang++-19 \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO='-O1 -g1' \
  -DBYOD_FUZZ=ON -DBYOD_SANITIZE=fuzzer-no-link,address,undefined >/dev/null
cmake --build "$build" --target "${fuzzers[@]}"

inputs=${FUZZ_INPUTS:-$(mktemp -d)}
found=()
rows=()
for fuzzer in "${fuzzers[@]}"; do
  echo "== $fuzzer"
  mkdir -p "$inputs/$fuzzer"
  status=0
  "$build/fuzz/$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=60000 \
    -print_final_stats=1 -artifact_prefix="$inputs/$fuzzer-" \
    "$inputs/$fuzzer" "fuzz/corpus/$fuzzer" 2>"$inputs/$fuzzer.log" || status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$inputs/$fuzzer.log")
  edges=$(grep -o 'cov: [0-9]*' "$inputs/$fuzzer.log" | tail -n 1 | cut -d ' ' -f 2 || true)
  verdict=ok
  # A fuzzer that has run nothing has shown nothing.
  if [ "$status" -ne 0 ] || [ "${executions:-0}" -eq 0 ]; then
    verdict=found
    found+=("$fuzzer")
    tail -n 40 "$inputs/$fuzzer.log" >&2
  fi
  rows+=("$(printf '%-26s %12s %7s  %s' "$fuzzer" "${executions:--}" "${edges:--}" "$verdict")")
done

printf '\n%-26s %12s %7s\n' fuzzer executions edges
printf '%s\n' "${rows[@]}"
if [ ${#found[@]} -gt 0 ]; then
  echo "fuzz: found something: ${found[*]}; the inputs are in $inputs" >&2
  exit 1
fi
[ -n "${FUZZ_INPUTS:-}" ] || rm -rf "$inputs"
