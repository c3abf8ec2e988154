#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks how a change is written, without building: scripts/lint.sh [BASE]
#
#   format      clang-format-19 over every C and C++ source
#   shell       shellcheck over every shell script
#   licence     every source names its licence in its first lines
#   clang-tidy  over the sources that differ from BASE, and those that include a header that does. BASE
#               is a commit: by default where the branch left origin/main, or else the commit before
#               this one. "scripts/lint.sh --fast" leaves clang-tidy out.
#
# Every check runs; any finding fails. The first three take 5 seconds, clang-tidy 10 to 60 seconds a
# source. Needs the packages of scripts/setup.sh analysis.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

status=0
check() {
  local name=$1
  shift
  if "$@"; then echo "lint: $name: ok"; else echo "lint: $name: failed" >&2; status=1; fi
}

format() {
  git ls-files -z '*.c' '*.cpp' '*.h' | xargs -0 clang-format-19 --dry-run -Werror
}

# Scripts of the shells that shellcheck knows, by their first line or their name.
shell_scripts() {
  git ls-files | while read -r file; do
    [ -f "$file" ] || continue
    case $file in
      *.sh | *.bash) echo "$file" ;;
      *) if LC_ALL=C head -c 64 "$file" | head -n 1 | grep -aqE '^#!.*[/ ](ba)?sh( |$)'; then
           echo "$file"
         fi ;;
    esac
  done
}

shell() {
  shell_scripts | xargs -d '\n' shellcheck --external-sources
}

# Python without a suffix has it in its first line.
licensed_sources() {
  git ls-files '*.c' '*.cpp' '*.h' '*.py' '*.cmake' '*CMakeLists.txt'
  shell_scripts
  git ls-files scripts | while read -r file; do
    if head -n 1 "$file" | grep -aq '^#!.*python3'; then echo "$file"; fi
  done
}

licence() {
  local missing
  missing=$(licensed_sources | sort -u | while read -r file; do
    [ -f "$file" ] || continue
    head -n 2 "$file" | grep -q 'SPDX-License-Identifier: Apache-2.0' ||
      echo "lint: no SPDX-License-Identifier line in $file"
  done)
  [ -z "$missing" ] || { echo "$missing" >&2; return 1; }
}

# The commit that a change is measured from.
base_of() {
  local main
  if main=$(git merge-base HEAD origin/main 2>/dev/null) && [ "$main" != "$(git rev-parse HEAD)" ]; then
    echo "$main"
  else
    git rev-parse HEAD~1
  fi
}

# Sources that differ from a commit, and sources that include a header that does.
touched() {
  git diff --name-only --diff-filter=d "$1" -- '*.cpp'
  git diff --name-only --diff-filter=d "$1" -- '*.h' | while read -r header; do
    git grep -lE "#include \"([a-z_]+/)*$(basename "$header" | sed 's/\./\\./g')\"" -- '*.cpp' || true
  done
}

tidy() {
  local base sources
  base=$(git rev-parse --verify --quiet "$1^{commit}") || { echo "lint: no commit $1" >&2; return 1; }
  mapfile -t sources < <(touched "$base" | sort -u)
  [ ${#sources[@]} -gt 0 ] || { echo "lint: no source differs from $1"; return 0; }
  scripts/analyse.sh --tidy "${sources[@]}"
}

check format format
check shell shell
check licence licence
if [ "${1:-}" != --fast ]; then check clang-tidy tidy "${1:-$(base_of)}"; fi
exit "$status"
