# SPDX-License-Identifier: Apache-2.0
# installed.sh first|more: tries the packages of /packages in a bare Debian, where it runs as root. "first"
# is what an administrator does in the first minute, timed; "more" are tools and outside programs.
# shellcheck shell=bash
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
failed=0

# check WHAT COMMAND...: the command must succeed.
check() {
  local what=$1 output
  shift
  if output=$("$@" 2>&1); then
    echo "   ok: $what"
  else
    echo "   FAIL: $what: $* (status $?)"
    printf '%s\n' "$output" | tail -n 15
    failed=1
  fi
}

contains() { # TEXT COMMAND...: the output has the text
  local text=$1 output
  shift
  output=$("$@" 2>&1) && grep -qF -- "$text" <<<"$output" || { printf '%s\n' "$output"; return 1; }
}

apt() { apt-get -y -q "$@" >/var/log/trial 2>&1 || { tail -n 15 /var/log/trial; return 1; }; }

# A setting of the installed unit.
unit() { sed -n "s/^$1=-\{0,1\}//p" /lib/systemd/system/lauthd.service; }

# The daemon as its unit starts it: user, group, directories, no privileges.
start_daemon() {
  local as=(setpriv "--reuid=$(unit User)" "--regid=$(unit Group)" --init-groups --bounding-set=-all
    --inh-caps=-all --no-new-privs)
  install -d -o "$(unit User)" -g "$(unit Group)" -m "$(unit RuntimeDirectoryMode)" \
    "/run/$(unit RuntimeDirectory)"
  install -d -o "$(unit User)" -g "$(unit Group)" -m "$(unit StateDirectoryMode)" \
    "/var/lib/$(unit StateDirectory)"
  # shellcheck disable=SC2046 # words of a command
  "${as[@]}" $(unit ExecStartPre) || return 1
  # shellcheck disable=SC2046
  "${as[@]}" $(unit ExecStart) 2>/var/log/lauthd &
  until byodctl show counts >/dev/null 2>&1; do
    kill -0 $! || { cat /var/log/lauthd; return 1; }
    sleep 0.1
  done
}

silent() { # COMMAND...: succeeds and writes nothing
  local output status=0
  output=$("$@" 2>&1) || status=$?
  printf '%s' "$output"
  [ "$status" -eq 0 ] && [ -z "$output" ]
}

no_fault_in_pages() {
  mkdir -p pages
  local package page names=()
  for package in /packages/*.deb; do names+=("$(dpkg-deb -f "$package" Package)"); done
  for page in $(dpkg -L "${names[@]}" | grep '/man/man.*\.gz$'); do
    gunzip -c "$page" >"pages/$(basename "$page" .gz)"
  done
  [ "$(find pages -type f | wc -l)" -ge 10 ] && silent mandoc -T lint pages/*
}

rule_total() { byodctl show counts --json | sed 's/.*"total":\([0-9]*\).*/\1/'; }

first() {
  apt update
  # What is not ours: the reader of manual pages, and what the packages need.
  apt install --no-install-recommends man-db
  apt install --download-only /packages/*.deb
  local start=$EPOCHREALTIME
  check 'apt-get install ./*.deb' apt install /packages/*.deb
  echo "   $(awk "BEGIN {print $EPOCHREALTIME - $start}") s until installed"
  start_daemon || { echo '   FAIL: the daemon does not start'; failed=1; }
  byodctl show counts
  check '46,000 rules and more' test "$(rule_total)" -gt 46000
  byodctl identify --mac b0:34:95:1a:2b:3c
  check 'an address has its vendor' contains Apple byodctl identify --mac b0:34:95:1a:2b:3c
  check 'man byodctl' contains 'byodctl identify' man byodctl
  byodctl --version
  lauthd --version
  check 'both have the version of the packages' contains "$(dpkg-query -W -f '${Version}' lauthd | sed 's/[~-].*//')" \
    sh -c 'byodctl --version && lauthd --version'
  check 'Python asks' python3 -c 'import byod
assert byod.Client().identify(mac="b0:34:95:1a:2b:3c").vendor == "Apple"'
  echo "   $(awk "BEGIN {print $EPOCHREALTIME - $start}") s in all"
  check 'all of it in a minute' awk "BEGIN {exit $EPOCHREALTIME - $start > 60}"
  byodctl show status | grep registry
  mkdir /run/offered
  (echo 'Registry,Assignment,Organization Name,Organization Address'
    sed 1d /var/lib/ieee-data/iab.csv) >/run/offered/iab.csv
  check 'byod-update-registry replaces the registry' byod-update-registry file:///run/offered/iab.csv
  check 'its age is that of the new file' contains ' 0 days old' byodctl show status
}

more() {
  apt install --no-install-recommends gcc g++ libc6-dev make cmake pkg-config mandoc systemd
  cd /root
  for words in 'cc -std=c99 outside.c' 'c++ -std=c++20 -x c++ outside.c' 'c++ -std=c++20 outside_protocol.cpp'; do
    # shellcheck disable=SC2046,SC2086
    check "$words with the flags of pkg-config" $words -Wall -Wextra -Werror -o outside $(pkg-config --cflags --libs byod)
    check 'it runs' ./outside
  done
  printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(outside C CXX)' 'find_package(byod 1.1 REQUIRED)' \
    'add_executable(outside outside.c)' 'target_link_libraries(outside byod::byod)' \
    'add_executable(protocol outside_protocol.cpp)' 'target_compile_features(protocol PRIVATE cxx_std_20)' \
    'target_link_libraries(protocol byod::byod)' >CMakeLists.txt
  check 'CMake finds the library' cmake -S . -B build
  check 'and builds with it' cmake --build build
  check 'they run' sh -c 'build/outside && build/protocol'
  check 'mandoc -T lint has nothing to say of any page' no_fault_in_pages
  if compgen -G '/packages/servers/*.deb' >/dev/null; then
    check 'the modules of other servers install with them' \
      apt install --no-install-recommends /packages/servers/*.deb
  fi
  check 'systemd-analyze verify has nothing to say' \
    silent systemd-analyze verify --man=no lauthd.service lauthd.socket
  check 'systemd-analyze security: at most 1.0' systemd-analyze security --no-pager --offline=true \
    --threshold=10 lauthd.service
  systemd-analyze security --no-pager --offline=true lauthd.service | tail -n 1
}

"$1"
exit "$failed"
