#!/usr/bin/env bash
# Sets up, builds, and shows the main job: a daemon with the shipped rules and the registry of MAC
# prefixes, a front end that asks it about the terminals of examples/, and what an order and a rule of
# an administrator's change. All of it runs in a folder of its own, which is gone at the end.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target lauthd byodctl

run=$(mktemp -d)
export LAUTHD_SOCKET=$run/socket/lauthd.sock
build/release/lauthd/lauthd --config /dev/null --socket "$LAUTHD_SOCKET" --state-dir "$run/state" \
  --rules rules --ieee /usr/share/ieee-data &
daemon=$!
trap 'kill "$daemon" 2>/dev/null || true; wait "$daemon" 2>/dev/null || true; rm -rf "$run"' EXIT

byodctl() {
  printf '\n$ byodctl %s\n' "$*"
  build/release/byodctl/byodctl "$@"
}

# The socket is there when the rules are loaded.
for _ in $(seq 200); do
  if [ -S "$LAUTHD_SOCKET" ]; then break; fi
  kill -0 "$daemon"
  sleep 0.1
done

byodctl identify <examples/terminals.tsv

phone=(--mac cc:3a:61:47:0d:11 --dhcp 1,3,6,15,26,28,51,58,59,43
  --user-agent 'Mozilla/5.0 (Linux; Android 9; SM-G960F) AppleWebKit/537.36 Mobile Safari/537.36')
byodctl identify "${phone[@]}"
byodctl set order user-agent,mac,dhcp
byodctl identify "${phone[@]}"
# The longest expression that matches decides, so a rule of one's own has to say much.
models=
for model in SM-G960F SM-G965F SM-N960F; do
  models+=${models:+||}"Mozilla/5.0&&Android&&$model&&Mobile Safari"
done
byodctl set rule user-agent "$models" --name 'Company phone' --vendor Samsung --category Mobile \
  --os Android
byodctl identify "${phone[@]}"
byodctl show rules --custom --modified
byodctl show counts

kill "$daemon"
wait "$daemon"
