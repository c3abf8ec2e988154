#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tries the packages on a bare Debian: scripts/test-packages.sh PACKAGES
#
# PACKAGES is the directory that scripts/package.sh has filled. Makes a root directory by debootstrap,
# installs the packages in it with apt, starts the daemon as its unit does, and asks it by byodctl and by
# Python; all of that may take a minute after the download. Then builds outside programs against the
# libraries, and checks the manual pages and the units. The directory is under TMPDIR or /var/tmp, and is
# gone at the end. Needs root, the network, and three minutes.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
. "$(dirname "$0")/bare-root.sh"
cd "$(dirname "$0")/.."

[ $# -eq 1 ] || { echo 'test-packages: the directory of the packages is expected; see --help' >&2; exit 2; }
packages=$(cd "$1" && pwd)
ls "$packages"/lauthd_*.deb >/dev/null
[ "$(id -u)" -eq 0 ] || { echo 'test-packages: needs root, to make a root directory' >&2; exit 1; }
scripts/setup.sh bare

directory=$(mktemp -d -p "${TMPDIR:-/var/tmp}" byod-packages.XXXXXX)
trap 'rm -rf "$directory"' EXIT
root=$directory/root
make_bare_root "$root"
mkdir -p "$root/packages/servers"
for package in "$packages"/*.deb; do
  case $package in
    *-dbgsym_*) ;;
    */byod-feeds-kea_* | */byod-freeradius_*) cp "$package" "$root/packages/servers/" ;;
    *) cp "$package" "$root/packages/" ;;
  esac
done
cp tests/install/installed.sh tests/install/outside.c tests/install/outside_protocol.cpp "$root/root/"
# Nothing is started by the installation, as no service manager runs.
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
chmod +x "$root/usr/sbin/policy-rc.d"

status=0
echo '== apt-get install ./*.deb, and the first minute'
bare "$root" 'bash /root/installed.sh first' </dev/null || status=1
echo '== outside programs, manual pages, units'
bare "$root" 'bash /root/installed.sh more' </dev/null || status=1
[ "$status" -eq 0 ] && echo 'test-packages: all of it works'
exit "$status"
