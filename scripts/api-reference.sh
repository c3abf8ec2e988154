#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the API reference: scripts/api-reference.sh DOXYGEN DOXYFILE. The build's target docs-api calls
# it. Fails at any warning, such as a function without a comment; fields of records, whose names say
# what they hold, may have none.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
doxygen=$1 doxyfile=$2

warnings=$("$doxygen" "$doxyfile" 2>&1 >/dev/null | grep -v '(variable) of struct .* is not documented') || true
if [ -n "$warnings" ]; then
  printf '%s\n' "$warnings" >&2
  exit 1
fi
output=$(sed -n 's/^OUTPUT_DIRECTORY *= *//p' "$doxyfile")
[ -s "$output/html/byod__data_8h.html" ] || { echo "docs-api: no pages in $output/html" >&2; exit 1; }
echo "docs-api: $output/html/index.html"
