#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds and runs the benchmarks with three seeds each, and writes a table of the medians of their
# ratios: scripts/bench.sh [file], to the standard output without a file. Needs the packages of
# scripts/setup.sh bench. Set BYOD_CORPUS to a folder with useragents.tsv and dhcp55.tsv for real
# strings where there is none beside the source tree, and BYOD_BENCH_DIRECTORY to a folder on the
# disk that the database is measured on, where that is not /tmp. Takes ten minutes; keep the
# machine quiet meanwhile.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh bench
build=build/bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBYOD_BUILD_BENCH=ON \
  -DBYOD_BUILD_TESTS=OFF >&2
cmake --build "$build" >&2

results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
for seed in 1 2 3; do
  for program in "$build"/bench/bench_*; do
    if [ ! -f "$program" ] || [ ! -x "$program" ]; then continue; fi
    echo "== $(basename "$program"), seed $seed" >&2
    BYOD_BENCH_SEED=$seed "$program" | tee /dev/stderr | grep -E '^(RATIO|FIGURE)' \
      >>"$results/$seed"
  done
done

table() {
  python3 - "$results"/1 "$results"/2 "$results"/3 <<'PYTHON'
import statistics
import sys

lines = {}  # label: its values, times and limit, in the order of the first run
for path in sys.argv[1:]:
    for line in open(path):
        fields = line.rstrip("\n").split("\t")
        kind, label, value, limit = fields[:4]
        entry = lines.setdefault(label, {"values": [], "times": [], "limit": limit})
        entry["values"].append(float(value))
        if len(fields) == 6:
            entry["times"].append((float(fields[4]), float(fields[5])))

print("| question | median | limit | | ns |")
print("|---|---|---|---|---|")
for label, entry in lines.items():
    value = statistics.median(entry["values"])
    limit = entry["limit"]
    verdict = "" if limit == "-" else "kept" if value <= float(limit) else "missed"
    times = ""
    if entry["times"]:
        own, other = (statistics.median(t) for t in zip(*entry["times"]))
        times = f"{own:.0f}" if other == 1 else f"{own:.0f} / {other:.0f}"
    print(f"| {label} | {value:.4g} | {limit} | {verdict} | {times} |")
PYTHON
}
if [ $# -gt 0 ]; then table >"$1"; else table; fi
