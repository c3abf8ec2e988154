#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Static analysis: clang-tidy with .clang-tidy and cppcheck with scripts/cppcheck.txt, over all C++
# sources or those of some folders or files: scripts/analyse.sh data tests/data. Any finding fails.
# With --tidy in front clang-tidy alone. Needs the packages of scripts/setup.sh analysis, and half an
# hour of two cores for everything. Nothing is built.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

scripts/setup.sh analysis
with_cppcheck=yes
if [ "${1:-}" = --tidy ]; then
  with_cppcheck=no
  shift
fi
folders=("$@")
[ ${#folders[@]} -gt 0 ] ||
  folders=(net data tlv db cfgmsg service platform rulefiles explain evidence lint protocol text capture feeds
    integrations lauthd
    byodctl fuzz tests)

# Precompiled headers are for one compiler only, and would have to be built.
build=build/analysis
cmake --preset release-clang -B "$build" -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null

# The sources that the build compiles in these folders.
mapfile -t sources < <(python3 - "$build/compile_commands.json" "$PWD" "${folders[@]%/}" <<'PYTHON'
import json
import pathlib
import sys

root = pathlib.Path(sys.argv[2])
files = {pathlib.Path(entry["file"]) for entry in json.load(open(sys.argv[1]))}
for file in sorted(files):
    if file.suffix == ".cpp" and any(file.is_relative_to(root / f) for f in sys.argv[3:]):
        print(file)
PYTHON
)
[ ${#sources[@]} -gt 0 ] || { echo "analyse: no sources in ${folders[*]}" >&2; exit 1; }

status=0
# Tests are written in macros that cppcheck does not know.
own=()
for source in "${sources[@]}"; do
  case $source in "$PWD"/tests/*) ;; *) own+=("$source") ;; esac
done
if [ "$with_cppcheck" = yes ] && [ ${#own[@]} -gt 0 ]; then
  echo "== cppcheck, ${#own[@]} sources"
  mkdir -p "$build/cppcheck"
  cppcheck --quiet --enable=warning,performance,portability --inline-suppr --error-exitcode=1 \
    --suppressions-list=scripts/cppcheck.txt --std=c++20 --language=c++ -j "$(nproc)" \
    --cppcheck-build-dir="$build/cppcheck" --library=posix -I . -I include -I platform/device \
    -I platform/additions "${own[@]}" || status=1
fi

# Through the library and the platform every path is followed; elsewhere, where most of them lead
# into other people's templates, only the plain ones.
deep=()
plain=()
for source in "${sources[@]}"; do
  case ${source#"$PWD"/} in
    data/* | tlv/* | db/* | cfgmsg/* | service/* | platform/*) deep+=("$source") ;;
    *) plain+=("$source") ;;
  esac
done

# tidy OPTION... -- SOURCE...
tidy() {
  local options=()
  while [ "$1" != -- ]; do options+=("$1"); shift; done
  shift
  [ $# -gt 0 ] || return 0
  echo "== clang-tidy, $# sources"
  printf '%s\0' "$@" |
    xargs -0 -P "$(nproc)" -n 1 clang-tidy-19 -p "$build" --quiet "${options[@]}" || status=1
}
tidy -- "${deep[@]}"
tidy --extra-arg=-Xclang --extra-arg=-analyzer-config --extra-arg=-Xclang --extra-arg=mode=shallow \
  -- "${plain[@]}"
exit "$status"
