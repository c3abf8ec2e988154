#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# cross-root.sh MACHINE: fills build/cross-root/MACHINE with the headers and libraries that a build
# for another machine reads, once. Needs no rights, only the packages of scripts/setup.sh cross.
#
# Debian's packages for that machine are unpacked there, with all they depend on, not installed:
# next to the system's own some would conflict, and a folder is thrown away as easily as it is made.
# Apt resolves them with a state of its own in build/cross-root/MACHINE.apt, which knows that
# machine alone, so that the system's list of architectures stays as it is.
#
# powerpc is no release architecture of Debian's: there is a cross compiler, but there are no
# packages. Its C and C++ runtime libraries are the cross compiler's; what consists of headers comes
# from the packages for this machine; GoogleTest, SQLite, libcsv and libutf8proc are built from
# Debian's sources. libsystemd, libpcap and libtins are left out, see BYOD_SYSTEMD and BYOD_CAPTURE.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."
machine=${1:?machine}
root=$PWD/build/cross-root/$machine
done_mark=$root/.complete
script=$PWD/scripts/cross-root.sh
[ "$done_mark" -nt "$script" ] && exit 0

headers=(libboost1.74-dev libasio-dev libcli11-dev nlohmann-json3-dev)
libraries=(libc6-dev libstdc++-12-dev libsqlite3-dev libcsv-dev libutf8proc-dev libsystemd-dev
  libpcap-dev libtins-dev libseccomp-dev zlib1g-dev libgtest-dev libgmock-dev)

rm -rf "$root" "$root.apt" "$root.build"
mkdir -p "$root" "$root.apt"/{lists/partial,archives/partial,state} "$root.build"

# apt_for ARCHITECTURE: from now on apt knows this architecture only, with nothing installed.
apt_for() {
  local own=$root.apt
  # shellcheck disable=SC2016 # apt-get expands it
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Origin: Debian' 'Created-By: Packages' | awk '$3 !~ /-/ {print; $1 = "deb-src"; print}' |
    sort -u >"$own/sources.list"
  [ -s "$own/sources.list" ] || { echo "cross-root: apt knows no Debian release" >&2; exit 1; }
  : >"$own/status"
  cat >"$own/apt.conf" <<CONF
Dir::Etc::SourceList "$own/sources.list";
Dir::Etc::SourceParts "$own/none";
Dir::Etc::Preferences "$own/none";
Dir::Etc::PreferencesParts "$own/none";
Dir::State "$own/state";
Dir::State::Lists "$own/lists";
Dir::State::Status "$own/status";
Dir::Cache "$own";
APT::Architecture "$1";
APT::Architectures { "$1"; };
APT::Install-Recommends "false";
APT::Sandbox::User "$(id -un)";
Acquire::Languages "none";
CONF
  mkdir -p "$own/none"
  export APT_CONFIG=$own/apt.conf
  apt-get update -q
}

unpack_here() {
  local package
  for package in "$1"/*.deb; do dpkg -x "$package" "$root"; done
}

from_packages() {
  apt_for "$1"
  apt-get install -y -q --download-only -o Debug::NoLocking=1 "${headers[@]}" "${libraries[@]}"
  unpack_here "$root.apt/archives"
}

# static_library SOURCE-FOLDER NAME HEADER FILE FLAGS...
static_library() {
  local folder=$1 name=$2 header=$3 file=$4
  shift 4
  powerpc-linux-gnu-gcc -O2 -fPIC "$@" -I "$folder" -c "$folder/$file" -o "$root.build/$name.o"
  powerpc-linux-gnu-ar rcs "$root/usr/lib/powerpc-linux-gnu/lib$name.a" "$root.build/$name.o"
  cp "$folder/$header" "$root/usr/include/"
}

from_sources() {
  apt_for "$(dpkg --print-architecture)"
  mkdir -p "$root/usr/lib/powerpc-linux-gnu" "$root/usr/include"
  ln -s /usr/powerpc-linux-gnu/lib "$root/lib"
  ln -s /usr/powerpc-linux-gnu "$root/usr/powerpc-linux-gnu"
  (
    cd "$root.build"
    apt-get download -q "${headers[@]}" googletest
    unpack_here .
    apt-get source -q sqlite3 libcsv utf8proc
    cd sqlite3-*/
    ./configure -q
    make -s sqlite3.c
  )
  static_library "$(echo "$root.build"/sqlite3-*/)" sqlite3 sqlite3.h sqlite3.c
  static_library "$(echo "$root.build"/libcsv-*/)" csv csv.h libcsv.c
  static_library "$(echo "$root.build"/utf8proc-*/)" utf8proc utf8proc.h utf8proc.c
  cmake -G Ninja -S "$root/usr/src/googletest" -B "$root.build/googletest" \
    --toolchain "$PWD/cmake/toolchains/powerpc.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DCMAKE_INSTALL_PREFIX="$root/usr" \
    -DCMAKE_INSTALL_LIBDIR=lib/powerpc-linux-gnu
  cmake --build "$root.build/googletest" --target install
}

case $machine in
  s390x | i386 | armhf) from_packages "$machine" ;;
  powerpc) from_sources ;;
  *) echo "cross-root: no such machine: $machine" >&2; exit 1 ;;
esac
rm -rf "$root.apt" "$root.build"
touch "$done_mark"
