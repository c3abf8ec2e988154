#!/usr/bin/env bash
# install_test.sh BUILD CC CXX LIBDIR SANITIZERS [SYSROOT EMULATOR...]
# Installs a build into a folder of its own, and builds and runs programs outside the tree against
# it: C99 and C++ through pkg-config, C++ through the CMake package, and the program of the README as
# it stands there. What linking a program needs besides is in LDFLAGS.
set -euo pipefail
build=$1 cc=$2 cxx=$3 libdir=$4 sanitizers=$5 sysroot=${6:-}
emulator=("${@:7}")
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/root" >"$work/install.log"
# The prefix in the pkg-config file is the one of the configuration; the test moves it.
export PKG_CONFIG_PATH=$work/root/$libdir/pkgconfig
flags=$(pkg-config --define-variable=prefix="$work/root" --cflags --libs byod)
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
cmake -S "$work/package" -B "$work/package/build" -DCMAKE_PREFIX_PATH="$work/root" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="${sanitizers:+-fsanitize=$sanitizers}" \
  ${sysroot:+-DCMAKE_SYSROOT="$sysroot"} >"$work/configure.log"
cmake --build "$work/package/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
"${emulator[@]}" "$work/package/build/outside"
