#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the daemon and the front end and attacks them, kind after kind, while a good client asks:
# scripts/attack.sh [--only NAME]... [--seconds N] [--seed N]; with --minutes N everything at once for
# so long. Prints a table of the kinds with their inputs and the longest wait of the good client. As
# root it attacks as another user too. See scripts/attack.py.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh test
cmake --preset release >/dev/null
cmake --build --preset release --target lauthd byodctl dbm_crash_test >&2
exec python3 scripts/attack.py --build build/release "$@"
