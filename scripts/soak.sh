#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the daemon and loads it for a long time, then checks answers, memory, descriptors and
# database: scripts/soak.sh [minutes] [seed], 30 minutes without. See scripts/soak.py.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh test
cmake --preset release >/dev/null
cmake --build --preset release --target lauthd >&2
seconds=$(awk -v minutes="${1:-30}" 'BEGIN { print minutes * 60 }')
exec python3 scripts/soak.py --lauthd build/release/lauthd/lauthd --seconds "$seconds" \
  --seed "${2:-1}"
