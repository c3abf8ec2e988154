#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs Debian packages: scripts/setup.sh [GROUP...], those of run and test without a group. Does
# nothing, and needs no rights, when all of them are there.
#
#   run       what building and running the programs takes
#   test      besides, what scripts/test.sh takes: a second compiler, test libraries, DHCP clients
#   bench     besides run, what scripts/bench.sh measures against
#   analysis  besides test, what scripts/analyse.sh and scripts/lint.sh take
#   cross     besides test, what scripts/test-cross.sh takes
#   captures  what scripts/compare-captures takes
#   parsers   what scripts/compare-parsers takes
#   docs      besides run, what the build's target docs-api takes
#   bare      what scripts/test-bare.sh takes
#   package   besides run, what manual pages and scripts/package.sh take
#   machine   besides package, what scripts/test-machine.sh takes
#   integrations  besides test, Kea with its headers and FreeRADIUS, for the tests of both
set -euo pipefail
. "$(dirname "$0")/usage.sh"

run=(
  g++ cmake ninja-build pkg-config
  # the platform library and the programs
  libboost-dev libsqlite3-dev libasio-dev libcli11-dev nlohmann-json3-dev libcsv-dev libutf8proc-dev
  libsystemd-dev libpcap-dev libtins-dev libseccomp-dev zlib1g-dev
  # the registry of MAC prefixes
  ieee-data
)
# clang's sanitizers are in libclang-rt; the clients are those that wire_test.py asks for addresses.
test=("${run[@]}" clang-19 libclang-rt-19-dev libgtest-dev libgmock-dev binutils python3
  busybox curl dhcpcd-base iproute2 isc-dhcp-client udhcpc dnsmasq-base nginx-light
  # the manual pages and what checks them
  scdoc mandoc)
bench=("${run[@]}" libbenchmark-dev libhyperscan-dev libre2-dev libabsl-dev python3)
analysis=("${test[@]}" clang-tidy-19 clang-format-19 cppcheck shellcheck)
# SQLite is made from Debian's source package.
cross=("${test[@]}" g++-s390x-linux-gnu g++-i686-linux-gnu g++-powerpc-linux-gnu
  g++-arm-linux-gnueabihf qemu-user tcl dpkg-dev make)
captures=(tshark python3)
parsers=(python3 python3-user-agents ruby-device-detector)
docs=("${run[@]}" doxygen)
bare=(debootstrap git)
package=("${run[@]}" scdoc mandoc kea-dev build-essential debhelper dh-python dh-apparmor python3-all
  lintian mmdebstrap)
machine=("${package[@]}" qemu-system-x86 e2fsprogs)
integrations=("${test[@]}" kea-dev kea-dhcp4-server freeradius freeradius-python3 freeradius-utils)

[ $# -gt 0 ] || set -- run test
packages=()
for group in "$@"; do
  case $group in
    run) packages+=("${run[@]}") ;;
    test) packages+=("${test[@]}") ;;
    bench) packages+=("${bench[@]}") ;;
    analysis) packages+=("${analysis[@]}") ;;
    cross) packages+=("${cross[@]}") ;;
    captures) packages+=("${captures[@]}") ;;
    parsers) packages+=("${parsers[@]}") ;;
    docs) packages+=("${docs[@]}") ;;
    bare) packages+=("${bare[@]}") ;;
    package) packages+=("${package[@]}") ;;
    machine) packages+=("${machine[@]}") ;;
    integrations) packages+=("${integrations[@]}") ;;
    *)
      echo "setup: unknown group: $group (run, test, bench, analysis, cross, captures, parsers," \
        'docs, bare, package, machine, integrations)' >&2
      exit 2
      ;;
  esac
done

missing=()
for package in $(printf '%s\n' "${packages[@]}" | LC_ALL=C sort -u); do
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = 'install ok installed' ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "setup: packages are missing; as root: apt-get install ${missing[*]}" >&2
  exit 1
fi

export DEBIAN_FRONTEND=noninteractive LC_ALL=C
log=$(mktemp)
echo "setup: installing ${#missing[@]} packages and what they depend on; apt-get writes to $log"
# A source that fails does not matter while another has the packages.
apt-get update -q -o Acquire::Retries=1 >"$log" 2>&1 || true
if ! apt-get install -y -q --no-install-recommends "${missing[@]}" >>"$log" 2>&1; then
  reason=$(grep -m 1 -oE '(Temporary failure|Could not|Unable to|No space|404  ).*' "$log" || true)
  echo "setup: apt-get failed: ${reason:-$(tail -n 1 "$log")} (all of its output: $log)" >&2
  exit 1
fi
rm -f "$log"
