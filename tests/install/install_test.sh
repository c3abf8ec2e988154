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

# The messages of our own front end, by pkg-config and by CMake under the same names.
own_flags="$(pkg-config --cflags --libs byod lauth) ${flags#*-lbyod}"
# shellcheck disable=SC2086
"$cxx" -std=c++20 -Wall -Wextra -Wpedantic -Werror "$here/outside_protocol.cpp" \
  -o "$work/outside_protocol" $own_flags
"${emulator[@]}" "$work/outside_protocol"
cp "$here/outside_protocol.cpp" "$work/package/outside.cpp"
sed -i 's/byod::byod/byod::protocol/' "$work/package/CMakeLists.txt"
echo 'target_compile_features(outside PRIVATE cxx_std_20)' >>"$work/package/CMakeLists.txt"
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

# The rules, with the notices of their sources beside them.
tree=$here/../..
for file in "$tree"/rules/{user-agent,dhcp-option,mac,vendor-alias}.csv "$tree"/{NOTICE,LICENSE}; do
  cmp "$work/moved/share/byod/rules/$(basename "$file")" "$file"
done
