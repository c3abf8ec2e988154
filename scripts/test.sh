#!/usr/bin/env bash
# Sets up, builds with both compilers and under the sanitizers, and runs every test.
# With names of presets it takes those instead: scripts/test.sh release
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release release-clang asan)

for preset in "${presets[@]}"; do
  echo "== $preset"
  cmake --preset "$preset"
  cmake --build --preset "$preset"
  ctest --preset "$preset" -j "$(nproc)"
done
