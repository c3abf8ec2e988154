#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Sets up, builds, and shows the main job: scripts/run.sh [--build FOLDER]. A daemon with the shipped
# rules and the registry of MAC prefixes, a front end that asks it about the terminals of examples/,
# and what an order and a rule of an administrator's change. Each command is printed as it runs, and
# can be pasted into a shell at the root of the tree. The daemon's files are in a temporary folder
# that is gone at the end. With --build the programs of that build are taken; nothing is set up then.
set -euo pipefail
. "$(dirname "$0")/usage.sh"

# As a shell at the root of the tree reads it.
# shellcheck disable=SC2016
build='$PWD/build/run'
if [ "${1:-}" = --build ]; then
  build=$(printf %q "$(cd "${2:?folder of a build}" && pwd)")
elif [ $# -gt 0 ]; then
  echo "run: unknown argument: $1 (see --help)" >&2
  exit 2
fi
cd "$(dirname "$0")/.."

if [ $# -eq 0 ]; then
  scripts/setup.sh run
  cmake --preset run >/dev/null
  cmake --build --preset run --target lauthd byodctl
fi
registry=/usr/share/ieee-data
if [ ! -r "$registry/oui.csv" ]; then
  echo "run: no registry of MAC prefixes in $registry; the package ieee-data has it" >&2
  exit 1
fi

directory=
daemon=
finish() {
  if [ -n "$daemon" ]; then
    kill "$daemon" || true
    wait "$daemon" || true
  fi
  if [ -n "$directory" ]; then rm -rf "$directory"; fi
}
trap finish EXIT

# Prints a command and runs it.
try() {
  printf '\n$ %s\n' "$1"
  eval "$1"
}

identify="byodctl identify --mac cc:3a:61:47:0d:11 --dhcp 1,3,6,15,26,28,51,58,59,43 \\
    --user-agent 'Mozilla/5.0 (Linux; Android 9; SM-G960F) AppleWebKit/537.36 Mobile Safari/537.36'"
# The longest expression that matches decides, so a rule of one's own has to say much.
rule="byodctl set rule user-agent 'Mozilla/5.0&&Android&&SM-G960F&&Mobile Safari||\
Mozilla/5.0&&Android&&SM-G965F&&Mobile Safari||Mozilla/5.0&&Android&&SM-N960F&&Mobile Safari' \\
    --name 'Company phone' --vendor Samsung --category Mobile --os Android"

# shellcheck disable=SC2016 # try expands what it prints
{
  try "PATH=$build/lauthd:$build/byodctl:\$PATH"
  try 'directory=$(mktemp -d)'
  try 'export LAUTHD_SOCKET="$directory/lauthd.sock"'
  try "lauthd --config /dev/null --socket \"\$LAUTHD_SOCKET\" --state-dir \"\$directory/state\" \\
    --rules rules --ieee $registry &"
  daemon=$!
  # The socket is there when the rules are loaded.
  try "timeout 60 sh -c 'until [ -S \"\$LAUTHD_SOCKET\" ]; do sleep 0.1; done'"
}
try 'byodctl identify <examples/terminals.tsv'
try "$identify"
try 'byodctl set order user-agent,mac,dhcp'
try "$identify"
try "$rule"
try "$identify"
try 'byodctl show rules --custom --modified'
try 'byodctl show counts'
# shellcheck disable=SC2016
try 'kill $!'
wait "$daemon"
daemon=
