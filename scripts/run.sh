#!/usr/bin/env bash
# Sets up, builds, and identifies the terminals of examples/ with the shipped rules and the registry
# of MAC prefixes.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target byodctl
build/release/byodctl/byodctl identify --offline --rules rules --ieee /usr/share/ieee-data \
  <examples/terminals.tsv
