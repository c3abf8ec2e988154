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
cd "$(dirname "$0")/.."

keep=
if [ "${1:-}" = --keep ]; then
  keep=yes
  shift
fi
[ $# -gt 0 ] || set -- scripts/run.sh scripts/test.sh
[ "$(id -u)" -eq 0 ] || { echo 'test-bare: needs root, to make a root directory' >&2; exit 1; }
scripts/setup.sh bare

suite=bookworm
# Each line an archive, a release and a component.
# shellcheck disable=SC2016 # apt-get expands it
sources=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Origin: Debian' \
  'Created-By: Packages' | awk -v suite="$suite" '$2 ~ "^" suite "(-updates|-security)?$"' | sort -u)
mirror=$(awk -v suite="$suite" '$2 == suite {print $1; exit}' <<<"$sources")
[ -n "$mirror" ] || { echo "test-bare: apt has no archive of Debian $suite here" >&2; exit 1; }

directory=$(mktemp -d -p "${TMPDIR:-/var/tmp}" byod-bare.XXXXXX)
root=$directory/root
# shellcheck disable=SC2317 # called at the end
finish() {
  if [ -n "$keep" ]; then echo "test-bare: left in $root"; else rm -rf "$directory"; fi
}
trap finish EXIT
# In a namespace of its own, whose processes and mounts end with it.
inside() { unshare --mount --pid --fork --kill-child -- "$@"; }

echo "== debootstrap $suite from $mirror"
if ! inside debootstrap --variant=minbase "$suite" "$root" "$mirror" >"$directory/log" 2>&1; then
  echo "test-bare: debootstrap failed: $(grep '^E:' "$directory/log" || tail -n 1 "$directory/log")" >&2
  exit 1
fi
awk '{print "deb", $0}' <<<"$sources" >"$root/etc/apt/sources.list"
apt-config dump | grep -E '^Acquire::https?::Proxy' >"$root/etc/apt/apt.conf.d/proxy" || true
cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
chmod 0700 "$root/root"
mkdir "$root/root/byod"
git archive HEAD | tar -x -C "$root/root/byod"

packages() { dpkg-query --admindir="$root/var/lib/dpkg" -W | wc -l; }

# Runs a command in the root directory. It is a mount, or programs in it could make no namespaces.
# shellcheck disable=SC2016
bare() {
  inside sh -euc '
    mount --bind "$1" "$1"
    mount --rbind /dev "$1/dev"
    mount -t proc proc "$1/proc"
    mount -t sysfs sysfs "$1/sys"
    mount -t tmpfs tmpfs "$1/run"
    exec chroot "$1" env -i HOME=/root TERM=dumb \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
      ${http_proxy:+"http_proxy=$http_proxy"} ${https_proxy:+"https_proxy=$https_proxy"} \
      sh -c "cd /root/byod && $2"
  ' sh "$root" "$1"
}

rows=("$(printf '%-28s %6s %8s %9s' COMMAND STATUS TIME PACKAGES)")
failed=0
had=$(packages)
rows+=("$(printf '%-28s %6s %8s %9s' "(the bare system)" - - "$had")")
for command in "$@"; do
  echo "== $command"
  start=$SECONDS
  status=0
  bare "$command" </dev/null || status=$?
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
