#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running need. Does nothing, and needs no
# rights, when all of them are there. With --bench also those that only the benchmarks need,
# with --cross those that scripts/test-cross.sh needs, with --analysis those of scripts/analyse.sh.
set -euo pipefail

packages=(
  # building
  g++ clang-19 clang-tidy-19 clang-format-19 cmake ninja-build pkg-config
  # the platform library and the programs
  libboost-dev libsqlite3-dev libasio-dev libcli11-dev nlohmann-json3-dev libcsv-dev libutf8proc-dev
  libsystemd-dev libpcap-dev libtins-dev
  # the registry of MAC prefixes
  ieee-data
  # testing
  libgtest-dev libgmock-dev libclang-rt-19-dev binutils python3
  # testing with real clients
  busybox curl dhcpcd-base iproute2 isc-dhcp-client udhcpc
)

if [ "${1:-}" = --bench ]; then
  packages+=(libbenchmark-dev libhyperscan-dev libre2-dev libabsl-dev)
fi

if [ "${1:-}" = --cross ]; then
  packages+=(g++-s390x-linux-gnu g++-i686-linux-gnu g++-powerpc-linux-gnu qemu-user
    g++-arm-linux-gnueabihf tcl dpkg-dev) # SQLite is made from Debian's source package
fi

if [ "${1:-}" = --analysis ]; then
  packages+=(cppcheck)
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = 'install ok installed' ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "setup: these packages are missing; install them as root: ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -q
apt-get install -y -q --no-install-recommends "${missing[@]}"
