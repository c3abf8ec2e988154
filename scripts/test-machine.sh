#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tries the packages on a real machine: scripts/test-machine.sh [--cuts NUMBER] PACKAGES
#
# PACKAGES is the directory that scripts/package.sh has filled. Boots Debian 12 with systemd and AppArmor
# in an emulated machine, installs the packages with apt, and tries the service, its rights, upgrades, a
# full disk, and purging. In between the machine's power is cut in the middle of changes, 5 times or as
# often as --cuts says; after each boot every change that was acknowledged must be there.
#
# The machine's image is made by mmdebstrap once and kept in BYOD_MACHINE_CACHE or ~/.cache/byod-machine.
# No hardware help is used for emulation. Needs root for the image, and some minutes; each machine may run
# for BYOD_MACHINE_TIMEOUT seconds (900).
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

cuts=5
while [[ ${1:-} = --* ]]; do
  case $1 in
    --cuts) cuts=${2:?}; shift ;;
    *) echo "test-machine: unknown option: $1" >&2; exit 2 ;;
  esac
  shift
done
[ $# -eq 1 ] || { echo 'test-machine: the directory of the packages is expected; see --help' >&2; exit 2; }
packages=$(cd "$1" && pwd)
ls "$packages"/lauthd_*.deb >/dev/null
scripts/setup.sh machine

cache=${BYOD_MACHINE_CACHE:-$HOME/.cache/byod-machine}
key=$(cat scripts/machine-image.sh tests/machine/guest.sh | sha256sum | cut -c1-16)
image=$cache/$key
if [ ! -e "$image/disk.ext4" ]; then
  echo "== making the machine's image in $image"
  start=$SECONDS
  scripts/machine-image.sh "$image"
  echo "   $((SECONDS - start)) s"
fi

work=$(mktemp -d -p "${TMPDIR:-/var/tmp}" byod-machine.XXXXXX)
machine=
# shellcheck disable=SC2317 # called at the end
finish() {
  [ -z "$machine" ] || kill -9 "$machine" 2>/dev/null || true
  rm -rf "$work"
}
trap finish EXIT
cp --sparse=always "$image/disk.ext4" "$work/disk.ext4"

# The same packages under a later version, to upgrade to.
mkdir -p "$work/payload/debs" "$work/payload/later"
for package in "$packages"/*.deb; do
  # The machine has neither Kea nor FreeRADIUS.
  case $package in *-dbgsym_* | */byod-feeds-kea_* | */byod-freeradius_*) continue ;; esac
  cp "$package" "$work/payload/debs/"
  dpkg-deb -R "$package" "$work/unpacked"
  sed -i -E 's/^(Version: .*)/\1+later/; s/\(= ([^)]*)\)/(= \1+later)/g' "$work/unpacked/DEBIAN/control"
  dpkg-deb --root-owner-group -b "$work/unpacked" "$work/payload/later/$(basename "$package")" >/dev/null
  rm -rf "$work/unpacked"
done
cp tests/machine/steps.sh tests/machine/changes.py "$work/payload/"
: >"$work/acknowledged"

# start STEP: starts the machine, which does this step.
start() {
  echo "$1" >"$work/payload/step"
  cp "$work/acknowledged" "$work/payload/"
  rm -f "$work/payload.ext4"
  mke2fs -q -t ext4 -O ^has_journal -L payload -d "$work/payload" "$work/payload.ext4" 64M >/dev/null
  : >"$work/log"
  # On a busy machine the emulated timer is late, for which the kernel would give up.
  timeout -s KILL "${BYOD_MACHINE_TIMEOUT:-900}" qemu-system-x86_64 -machine q35 -accel tcg,thread=multi \
    -cpu max -smp 2 -m 1G -nodefaults -no-reboot -display none -nic none \
    -kernel "$image/vmlinuz" -initrd "$image/initrd.img" \
    -append 'root=/dev/vda rw console=ttyS0 quiet no_timer_check panic=-1 systemd.unit=guest.target' \
    -drive "file=$work/disk.ext4,if=virtio,format=raw" \
    -drive "file=$work/payload.ext4,if=virtio,format=raw,readonly=on" \
    -serial "file:$work/console" -serial "file:$work/log" \
    -device isa-debug-exit,iobase=0xf4,iosize=1 &
  machine=$!
}

# ended STEP: waits for the machine to end by itself, and reports what it wrote.
ended() {
  local status=0
  wait "$machine" || status=$?
  machine=
  sed "s/^/   /" "$work/log"
  if ! grep -q '^GUEST-EXIT 0$' "$work/log" || [ "$status" -ne 1 ]; then
    tail -n 15 "$work/console" >&2
    echo "test-machine: step $1 failed (status $status)" >&2
    exit 1
  fi
}

acknowledged() { grep -c '^ACKNOWLEDGED' "$work/acknowledged" || true; }

began=$SECONDS
echo '== install, service, rights, upgrade, full disk'
start service
ended service

for ((cut = 1; cut <= cuts; ++cut)); do
  echo "$cut" >"$work/payload/round"
  start changes
  # Some changes at least, and then at any moment.
  until [ "$(grep -c '^ACKNOWLEDGED ' "$work/log")" -ge 20 ]; do
    kill -0 "$machine" 2>/dev/null || { cat "$work/log"; echo 'test-machine: no changes' >&2; exit 1; }
    sleep 0.2
  done
  sleep "$((RANDOM % 3)).$((RANDOM % 10))"
  # Its children are the machine: timeout would let it go on.
  pkill -KILL -P "$machine" || true
  wait "$machine" 2>/dev/null || true
  machine=
  grep -vE '^(TRYING|ACKNOWLEDGED) ' "$work/log" | sed 's/^/   /'
  if grep -q 'FAIL' "$work/log"; then exit 1; fi
  # Whole lines: the last one may have been cut as well.
  while IFS= read -r line; do
    case $line in TRYING\ * | ACKNOWLEDGED\ *) echo "$line" ;; esac
  done <"$work/log" >>"$work/acknowledged"
  echo "== power cut $cut: $(acknowledged) changes acknowledged until now"
done

echo '== after the last power cut; purge'
start last
ended last
echo "test-machine: $(acknowledged) acknowledged changes over $cuts power cuts, none lost;" \
  "$((SECONDS - began)) s"
