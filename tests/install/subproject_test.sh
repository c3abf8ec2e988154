#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# subproject_test.sh SOURCES GENERATOR CC CXX
# Takes the tree into another project, whose compiler warns of more than ours does: the libraries are
# configured without tests, no warning is an error, and a program finds the headers under the names
# that they are installed with.
set -euo pipefail
sources=$1 generator=$2 cc=$3 cxx=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cp "$here/outside_protocol.cpp" "$work"
cat >"$work/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(outer LANGUAGES C CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
add_compile_options(-Wunused-macros) # headers define some that no source uses
add_subdirectory("$sources" byod EXCLUDE_FROM_ALL)
add_library(outside OBJECT outside_protocol.cpp)
target_compile_features(outside PRIVATE cxx_std_20)
target_link_libraries(outside PRIVATE byod::protocol)
CMAKE
cmake -S "$work" -B "$work/build" -G "$generator" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_CXX_COMPILER="$cxx" >"$work/configure.log" || { cat "$work/configure.log"; exit 1; }

commands=$work/build/compile_commands.json
grep -q 'user_agent/index.cpp' "$commands"
grep -q 'lauth_dbm\|dbm.cpp' "$commands"
! grep -e '-Werror' "$commands" || { echo "a warning stops the build of a consumer"; exit 1; }
! grep -q '/tests/\|/fuzz/' "$commands" || { echo "tests are part of a consumer's build"; exit 1; }
[ "$(sed -n 's/^CMAKE_BUILD_TYPE:.*=//p' "$work/build/CMakeCache.txt")" = "" ]
cmake --build "$work/build" --target outside byod_service >"$work/build.log" 2>&1 ||
  { cat "$work/build.log"; exit 1; }
