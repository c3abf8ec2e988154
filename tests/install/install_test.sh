#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# install_test.sh BUILD GENERATOR CC CXX LIBDIR SANITIZERS [SYSROOT EMULATOR...]
# Installs a build into a folder of its own, and builds and runs programs outside the tree against
# it: C99 and C++ through pkg-config, C++ through the CMake package, and the program of the README as
# it stands there. What linking a program needs besides is in LDFLAGS.
set -euo pipefail
build=$1 generator=$2 cc=$3 cxx=$4 libdir=$5 sanitizers=$6 sysroot=${7:-}
emulator=("${@:8}")
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/root" >"$work/install.log"
export PKG_CONFIG_PATH=$work/root/$libdir/pkgconfig
flags=$(pkg-config --cflags --libs byod)
[ -z "$sanitizers" ] || flags="$flags -fsanitize=$sanitizers"
[ -z "$sysroot" ] || flags="$flags --sysroot=$sysroot"
flags="$flags ${LDFLAGS:-}"
export LD_LIBRARY_PATH=$work/root/$libdir

# shellcheck disable=SC2086
"$cc" -std=c99 -Wall -Wextra -Wpedantic -Werror "$here/outside.c" -o "$work/outside_c" $flags
# shellcheck disable=SC2086
"$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror -x c++ "$here/outside.c" -o "$work/outside_cpp" $flags
"${emulator[@]}" "$work/outside_c"
"${emulator[@]}" "$work/outside_cpp"

# shellcheck disable=SC2016
sed -n '/^```c$/,/^```$/{/^```/!p}' "$here/../../README.md" >"$work/example.c"
# shellcheck disable=SC2086
"$cc" -Wall -Wextra -Werror "$work/example.c" -o "$work/example" $flags
[ "$("${emulator[@]}" "$work/example")" = Example ]

mkdir "$work/package"
cp "$here/outside.c" "$work/package/outside.cpp"
cat >"$work/package/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(outside LANGUAGES CXX)
find_package(byod 1 REQUIRED)
add_executable(outside outside.cpp)
target_link_libraries(outside PRIVATE byod::byod)
CMAKE
cmake -G "$generator" -S "$work/package" -B "$work/package/build" -DCMAKE_PREFIX_PATH="$work/root" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="${sanitizers:+-fsanitize=$sanitizers}" \
  ${sysroot:+-DCMAKE_SYSROOT="$sysroot"} >"$work/configure.log"
cmake --build "$work/package/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"${emulator[@]}" "$work/package/build/outside"

# The messages of our own front end, by pkg-config and by CMake under the same names, with no flag for
# the platform library.
own_flags="$(pkg-config --cflags --libs byod) ${flags#*-llauth}"
# shellcheck disable=SC2086
"$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror "$here/outside_protocol.cpp" \
  -o "$work/outside_protocol" $own_flags
"${emulator[@]}" "$work/outside_protocol"
cp "$here/outside_protocol.cpp" "$work/package/outside.cpp"
sed -i 's/byod::byod/byod::protocol/' "$work/package/CMakeLists.txt"
echo 'target_compile_features(outside PRIVATE cxx_std_20)' >>"$work/package/CMakeLists.txt"
cmake --build "$work/package/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"${emulator[@]}" "$work/package/build/outside"
# They come with byod::byod too.
sed -i 's/byod::protocol/byod::byod/' "$work/package/CMakeLists.txt"
cmake --build "$work/package/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"${emulator[@]}" "$work/package/build/outside"

# The pkg-config files follow the installation: moved, and packed by way of DESTDIR.
expect_prefix() {
  for package in byod lauth; do
    for variable in libdir includedir; do
      found=$(PKG_CONFIG_PATH=$1/$libdir/pkgconfig pkg-config --variable=$variable $package)
      found=$(realpath "$found")
      [[ $found = "$(realpath "$1")"/* && -d $found ]] || { echo "$package.pc: $variable is $found"; exit 1; }
    done
    [ -n "$(ls "$(PKG_CONFIG_PATH=$1/$libdir/pkgconfig pkg-config --variable=includedir $package)"/*.h)" ]
  done
}
expect_prefix "$work/root"
mv "$work/root" "$work/moved"
expect_prefix "$work/moved"
DESTDIR=$work/packed cmake --install "$build" --prefix /opt/byod >"$work/install.log"
expect_prefix "$work/packed/opt/byod"
[ ! -e /opt/byod ] || [ "$(find /opt/byod -newer "$work/install.log" | wc -l)" -eq 0 ]

# Installed, the daemon answers with the catalogue, wherever the installation was moved; a registry that
# is missing is a warning.
check=$(LD_LIBRARY_PATH=$work/moved/$libdir "${emulator[@]}" "$work/moved/bin/lauthd" \
  --config /dev/null --ieee '' --check 2>&1)
[[ $check =~ ^[1-9][0-9]*\ MAC,\ ([0-9]+)\ User-Agent.*\ 0\ faults ]] || { echo "$check"; exit 1; }
[ "${BASH_REMATCH[1]}" -gt 1000 ]
LD_LIBRARY_PATH=$work/moved/$libdir "${emulator[@]}" "$work/moved/bin/byodctl" identify --offline --ieee '' \
  --dhcp 1,121,3,6,15,119,252 --json | grep -q '"vendor":"Apple"'

# Every path in what was installed is one of the installation.
for file in "$work/packed/opt/byod"/lib/systemd/system/lauthd.service \
  "$work/packed/opt/byod"/share/{byod/lauthd.conf,byod/apparmor/lauthd,bash-completion/completions/byodctl}; do
  grep -q /opt/byod/ "$file" || { echo "$file has other paths"; exit 1; }
  if grep -n '@[a-z]*@' "$file"; then exit 1; fi
done
grep -qx 'ExecStart=/opt/byod/bin/lauthd' "$work/packed/opt/byod/lib/systemd/system/lauthd.service"

# The unit is one that systemd takes, and lets the daemon reach little.
if command -v systemd-analyze >/dev/null; then
  cmake --install "$build" --prefix "$work/moved" >"$work/install.log"
  unit=$work/moved/lib/systemd/system/lauthd.service
  systemd-analyze verify --man=no "$unit" "${unit%service}socket" >"$work/verify.log" 2>&1 ||
    { cat "$work/verify.log"; exit 1; }
  # It also reads the units of other packages, and reports what they do.
  ! grep -vE '^(/usr)?/lib/systemd/' "$work/verify.log" || exit 1
  systemd-analyze security --no-pager --offline=true --threshold=10 "$unit" >"$work/security.log" ||
    { tail -n 1 "$work/security.log"; exit 1; }
fi

# The sample configuration is one, and shows each option that a file may set but two.
sed 's/^#\([a-z-]* *=\)/\1/; /^[a-z-]*-group *=/d; s#/opt/byod#'"$work/moved#; s#^ieee .*#ieee =#" \
  "$work/packed/opt/byod/share/byod/lauthd.conf" >"$work/lauthd.conf"
LD_LIBRARY_PATH=$work/moved/$libdir "${emulator[@]}" "$work/moved/bin/lauthd" --config "$work/lauthd.conf" \
  --check >"$work/check.log" 2>&1 || { cat "$work/check.log"; exit 1; }

# The registry is replaced by the installed script, and the daemon reads it.
mkdir "$work/offered" "$work/registry"
header='Registry,Assignment,Organization Name,Organization Address'
for name in oui mam oui36 iab; do echo "$header" | tee "$work/registry/$name.csv" >"$work/offered/$name.csv"; done
echo 'MA-L,0200AA,New Vendor,' >>"$work/offered/oui.csv"
"$work/moved/sbin/byod-update-registry" --directory "$work/registry" --reload '' \
  "file://$work/offered/oui.csv" >"$work/update.log" || { cat "$work/update.log"; exit 1; }
LD_LIBRARY_PATH=$work/moved/$libdir "${emulator[@]}" "$work/moved/bin/byodctl" identify --offline \
  --ieee "$work/registry" --mac 0200aa000001 --json | grep -q '"vendor":"New Vendor"'

# The rules, with the notices of their sources beside them.
tree=$here/../..
for file in "$tree"/rules/{user-agent,dhcp-option,mac,vendor-alias}.csv "$tree"/{NOTICE,LICENSE}; do
  cmp "$work/moved/share/byod/rules/$(basename "$file")" "$file"
done
