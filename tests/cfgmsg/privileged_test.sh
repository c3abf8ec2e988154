#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# privileged_test.sh PROGRAM PATH: an ordinary PROGRAM looks for the daemon where LAUTHD_SOCKET says,
# one that runs with another group (set-group-ID) at the configured PATH. Skipped (77) where
# such a program cannot be made.
set -euo pipefail
program=$1 configured=$2
export LAUTHD_SOCKET=/tmp/byod-elsewhere

got=$("$program")
[ "$got" = "$LAUTHD_SOCKET" ] || { echo "ordinary: '$got'"; exit 1; }

[ "$(id -u)" -eq 0 ] || { echo "not root"; exit 77; }
copy=$program.setgid
trap 'rm -f "$copy"' EXIT
cp "$program" "$copy"
chgrp nogroup "$copy"
chmod 2755 "$copy"
[ "$(LAUTHD_SOCKET='' "$copy")" = "$configured" ] || { echo "cannot be run here"; exit 77; }

got=$("$copy")
[ "$got" = "$configured" ] || { echo "privileged: '$got'"; exit 1; }
