#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the machine that scripts/test-machine.sh starts: scripts/machine-image.sh DIRECTORY
#
# Kernel, initial RAM disk and root file system of Debian 12, with what our packages depend on and
# nothing of ours. Runs tests/machine/guest.sh at each boot. Needs root, mmdebstrap and e2fsprogs.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

out=$1
export out
mkdir -p "$out"
trap 'rm -rf "$out/root" "$out/hook"' EXIT
guest=$PWD/tests/machine/guest.sh
export guest

include=systemd,systemd-sysv,dbus,udev,kmod,linux-image-amd64,initramfs-tools,apparmor,procps,python3
include+=,ieee-data,libcsv3,libpcap0.8,libseccomp2,libsqlite3-0,libstdc++6,libsystemd0,libtins4.0,libutf8proc2,zlib1g

cat >"$out/hook" <<'HOOK'
#!/bin/bash
set -eu
root=$1
cp "$root"/boot/vmlinuz-* "$out/vmlinuz"
cp "$root"/boot/initrd.img-* "$out/initrd.img"
rm -rf "$root"/boot/* "$root"/usr/lib/modules/*/kernel/sound
# Of the drivers only those of the emulated machine.
drivers=$(echo "$root"/usr/lib/modules/*/kernel/drivers)
mkdir "$root/kept"
for path in virtio block/virtio_blk.ko char/hw_random; do
  mkdir -p "$root/kept/$(dirname "$path")"
  cp -a "$drivers/$path" "$root/kept/$path"
done
rm -rf "$drivers"
mv "$root/kept" "$drivers"
chroot "$root" depmod -a "$(ls "$root/usr/lib/modules")"
echo machine >"$root/etc/hostname"
echo '/dev/vda / ext4 defaults 0 1' >"$root/etc/fstab"
mkdir -p "$root/payload" "$root/usr/lib/systemd/system-shutdown"
install -m 0755 "$guest" "$root/usr/local/sbin/guest"
printf '%s\n' '[Unit]' 'Requires=multi-user.target guest.service' 'After=multi-user.target' \
  'AllowIsolate=yes' >"$root/etc/systemd/system/guest.target"
printf '%s\n' '[Unit]' 'After=multi-user.target' '[Service]' 'Type=oneshot' \
  'ExecStart=/usr/local/sbin/guest' 'TimeoutStartSec=infinity' >"$root/etc/systemd/system/guest.service"
# The last step of a shutdown hands the status to the emulator.
cat >"$root/usr/lib/systemd/system-shutdown/status" <<'STATUS'
#!/bin/sh
read -r status </run/guest.status || exit 0
printf "$(printf '\\%03o' "$status")" | dd of=/dev/port bs=1 seek=244 conv=notrunc 2>/dev/null
STATUS
chmod +x "$root/usr/lib/systemd/system-shutdown/status"
HOOK
chmod +x "$out/hook"

sources=()
for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
  if [ -s "$file" ]; then sources+=("$file"); fi
done
# shellcheck disable=SC2016 # the hook expands it
if ! mmdebstrap --mode=root --variant=minbase --include="$include" \
  --aptopt='APT::Install-Recommends "false"' --dpkgopt='path-exclude=/usr/share/locale/*' \
  --essential-hook='mkdir -p "$1/etc/initramfs-tools/conf.d"
    echo MODULES=list >"$1/etc/initramfs-tools/conf.d/machine"
    printf "virtio_pci\nvirtio_blk\next4\n" >"$1/etc/initramfs-tools/modules"' \
  --customize-hook="$out/hook" bookworm "$out/root" "${sources[@]}" >"$out/log" 2>&1; then
  tail -n 5 "$out/log" >&2
  exit 1
fi
mke2fs -q -t ext4 -L root -d "$out/root" "$out/disk.ext4.new" 700M
mv "$out/disk.ext4.new" "$out/disk.ext4"
