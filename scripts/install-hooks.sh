#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Offers a hook for commits: scripts/install-hooks.sh [--remove]
# From then on "git commit" in this clone first runs scripts/lint.sh --fast, on the files as they are in
# the working tree, and stops where they are not formatted or shellcheck finds something.
# "git commit --no-verify" commits all the same. A hook of your own is left alone.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

hook=$(git rev-parse --git-path hooks)/pre-commit
mark='# Installed by scripts/install-hooks.sh.'
case ${1:-} in
  '') ;;
  --remove) ;;
  *)
    echo "install-hooks: unknown argument: $1 (see --help)" >&2
    exit 2
    ;;
esac
if [ -e "$hook" ] && ! grep -qF "$mark" "$hook"; then
  echo "install-hooks: $hook is there and is not ours" >&2
  exit 1
fi
if [ "${1:-}" = --remove ]; then
  rm -f "$hook"
  echo "install-hooks: removed $hook"
  exit 0
fi
mkdir -p "$(dirname "$hook")"
printf '%s\n' '#!/bin/sh' "$mark" 'exec scripts/lint.sh --fast' >"$hook"
chmod +x "$hook"
echo "install-hooks: $hook runs scripts/lint.sh --fast"
