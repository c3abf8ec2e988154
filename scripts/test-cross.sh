#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the tests on other kinds of machine, the first three or those that are named:
# scripts/test-cross.sh s390x
#
#   s390x    64 bits, big-endian, emulated by qemu-user
#   i386     32 bits, little-endian, which an amd64 machine is too
#   powerpc  32 bits, big-endian, emulated
#   armhf    32 bits, little-endian, emulated
#
# Each is built with Debian's cross compiler and what scripts/cross-root.sh unpacks. The release build
# for this machine is the other side of the conversations. tests/emulation.txt names what is left
# out. Each compiles everything, so the first run takes long; JOBS=n runs n at a time.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh cross
machines=("$@")
[ ${#machines[@]} -gt 0 ] || machines=(s390x i386 powerpc)
jobs=${JOBS:-$(nproc)}

cmake --preset release
cmake --build --preset release -j "$jobs" --target byodctl lauthd message_forms

failed=()
for machine in "${machines[@]}"; do
  echo "== $machine"
  scripts/cross-root.sh "$machine"
  cmake --preset "$machine"
  cmake --build --preset "$machine" -j "$jobs"
  ctest --preset "$machine" -j "$jobs" || failed+=("$machine")
  grep -q BYOD_EMULATOR "cmake/toolchains/$machine.cmake" || continue
  echo "== $machine leaves out:"
  grep -E "^(all|([a-z0-9]+,)*$machine(,[a-z0-9]+)*) " tests/emulation.txt
done
[ ${#failed[@]} -eq 0 ] || { echo "test-cross: failed: ${failed[*]}" >&2; exit 1; }
