#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# abi_test.sh LIBRARY EXPORTS IMPORTS COMPILER...
# Fails unless the library exports exactly the names of EXPORTS, and imports nothing but the names of
# IMPORTS, what the C and C++ runtime libraries define, and the instrumentation of a test build.
set -euo pipefail
library=$1 exports=$2 imports=$3
shift 3

failed=0
exported=$(nm -D --defined-only "$library" | awk '{print $NF}' | sed 's/@.*//' | LC_ALL=C sort)
if ! diff <(LC_ALL=C sort "$exports") <(printf '%s\n' "$exported"); then
  echo "abi: exported names differ (<: missing, >: too many)" >&2
  failed=1
fi

defined_by_runtime() {
  for runtime in libc.so.6 libm.so.6 libstdc++.so.6 libgcc_s.so.1; do
    nm -D --defined-only "$("$@" -print-file-name=$runtime)"
  done | awk '{print $NF}' | sed 's/@.*//'
}
allowed=$(sort -u "$imports" <(defined_by_runtime "$@"))
instrumentation='^__(asan|ubsan|tsan|lsan|sanitizer|gcov|llvm|start_|stop_)|^_ITM_|^__gmon_start__$'
foreign=$(comm -23 \
  <(nm -D --undefined-only "$library" | awk '{print $NF}' | sed 's/@.*//' |
    grep -vE "$instrumentation" | sort -u) \
  <(printf '%s\n' "$allowed"))
if [ -n "$foreign" ]; then
  printf 'abi: imports that the platform does not offer:\n%s\n' "$foreign" >&2
  failed=1
fi

# Of the C library's own, only these reach outside the process.
reaching='^(socket|connect|close|bind|listen|accept4?|sendto?|sendmsg|recv|recvfrom|recvmsg|read|write|open(at)?(64)?|f?open(64)?|pthread_create|pthread_mutex_lock|fork|exec.*|system|popen)$'
outside=$(nm -D --undefined-only "$library" | awk '{print $NF}' | sed 's/@.*//' |
  grep -E "$reaching" | grep -vE '^(socket|connect|close)$' || true)
if [ -n "$outside" ]; then
  printf 'abi: the library reaches out by itself:\n%s\n' "$outside" >&2
  failed=1
fi

if readelf -d "$library" | grep -qE 'SYMBOLIC'; then
  echo "abi: linked with -Bsymbolic; the platform could not be replaced" >&2
  failed=1
fi
exit $failed
