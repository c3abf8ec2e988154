#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs what the README says on a bare Debian: scripts/test-bare.sh [--keep] [COMMAND...], where each
# COMMAND is one word of the shell. Without one these are scripts/run.sh and scripts/test.sh.
#
#   scripts/test-bare.sh scripts/run.sh 'scripts/test.sh release'
#
# Makes a root directory by debootstrap (minbase, from the archives that apt uses here), copies the
# last commit to /root in it, where only root may enter, and runs the commands there one after the
# other. Reports how each ended, how long it took and how many packages it installed; fails where a
# command does. The directory is under TMPDIR or /var/tmp, takes up to 8 GB, and is gone at the end;
# --keep leaves it. Mounts are in a namespace that ends with the script. Needs root, the network, and
# half an hour.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
. "$(dirname "$0")/bare-root.sh"
cd "$(dirname "$0")/.."

keep=
if [ "${1:-}" = --keep ]; then
  keep=yes
  shift
fi
[ $# -gt 0 ] || set -- scripts/run.sh scripts/test.sh
[ "$(id -u)" -eq 0 ] || { echo 'test-bare: needs root, to make a root directory' >&2; exit 1; }
scripts/setup.sh bare

directory=$(mktemp -d -p "${TMPDIR:-/var/tmp}" byod-bare.XXXXXX)
root=$directory/root
# shellcheck disable=SC2317 # called at the end
finish() {
  if [ -n "$keep" ]; then echo "test-bare: left in $root"; else rm -rf "$directory"; fi
}
trap finish EXIT
make_bare_root "$root"
chmod 0700 "$root/root"
mkdir "$root/root/byod"
git archive HEAD | tar -x -C "$root/root/byod"

packages() { dpkg-query --admindir="$root/var/lib/dpkg" -W | wc -l; }

rows=("$(printf '%-28s %6s %8s %9s' COMMAND STATUS TIME PACKAGES)")
failed=0
had=$(packages)
rows+=("$(printf '%-28s %6s %8s %9s' "(the bare system)" - - "$had")")
for command in "$@"; do
  echo "== $command"
  start=$SECONDS
  status=0
  bare "$root" "cd /root/byod && $command" </dev/null || status=$?
  [ "$status" -eq 0 ] || failed=1
  took=$((SECONDS - start))
  have=$(packages)
  rows+=("$(printf '%-28s %6d %5d:%02d %+9d' "$command" "$status" $((took / 60)) $((took % 60)) \
    $((have - had)))")
  had=$have
done

printf '\n%s\n' "${rows[0]}"
printf '%s\n' "${rows[@]:1}"
exit "$failed"
