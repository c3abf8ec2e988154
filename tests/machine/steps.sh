# SPDX-License-Identifier: Apache-2.0
# steps.sh STEP: what the machine does at one boot. Every check is reported; the status is 1 if one fails.
# shellcheck shell=bash
failed=0
report() { printf '[%7s] %s\n' "$(cut -d' ' -f1 /proc/uptime)" "$*"; }

# check WHAT COMMAND...: the command must succeed.
check() {
  local what=$1 output
  shift
  if output=$("$@" 2>&1); then
    report "ok: $what"
  else
    report "FAIL: $what: $* (status $?)"
    printf '%s\n' "$output" | tail -n 15
    failed=1
  fi
}

# refused STATUS COMMAND...: the command must end with this status.
refused() {
  local expected=$1 status=0
  shift
  "$@" || status=$?
  [ "$status" -eq "$expected" ] || { echo "status $status, not $expected"; return 1; }
}

contains() { # TEXT COMMAND...: the output has the text
  local text=$1 output
  shift
  output=$("$@" 2>&1)
  grep -qF -- "$text" <<<"$output" || { printf '%s\n' "$output"; return 1; }
}

# until_ SECONDS COMMAND...: the command must succeed within this time.
until_() {
  local deadline=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ "$SECONDS" -lt "$deadline" ] || { "$@"; return 1; }
    sleep 0.2
  done
}

install_debs() {
  DEBIAN_FRONTEND=noninteractive apt-get -y -q -o APT::Sandbox::User=root --no-install-recommends \
    install "$@"
}

main_pid() { systemctl show -P MainPID lauthd; }
status_of() { byodctl show status --json | python3 -c "import json, sys; print(json.load(sys.stdin)['$1'])"; }
as() { local user=$1; shift; setpriv --reuid "$user" --regid "$user" --init-groups "$@"; }
is_active() { systemctl is-active --quiet lauthd.service; }
profile() { cat "/proc/$(main_pid)/attr/current"; }

configured() { # what an administrator made, in one text
  byodctl export
  byodctl show order
  byodctl show authorization
}

# The state of 1.0.0, which ran as root and was made from the sources.
former_state() {
  dpkg-deb -x /payload/debs/lauthd_*.deb /tmp/former
  dpkg-deb -x /payload/debs/liblauth1_*.deb /tmp/former
  dpkg-deb -x /payload/debs/libbyod1_*.deb /tmp/former
  dpkg-deb -x /payload/debs/byodctl_*.deb /tmp/former
  local libraries former=/tmp/former/usr
  libraries=$(echo "$former"/lib/*-linux-*)
  mkdir -p /run/former
  LD_LIBRARY_PATH=$libraries "$former/bin/lauthd" --socket /run/former/s --rules '' --ieee '' 2>/run/former/log &
  local daemon=$!
  for change in 'rule user-agent Former&&Phone --vendor Former' 'order mac,dhcp' \
    'authorization staff Mobile vlan=20'; do
    # shellcheck disable=SC2086
    until_ 30 env LD_LIBRARY_PATH="$libraries" "$former/bin/byodctl" --socket /run/former/s set $change ||
      return 1
  done
  kill "$daemon"
  wait "$daemon"
  [ "$(stat -c %U /var/lib/lauth/eBYOD.db)" = root ]
}

restart_loses_nothing() {
  local losses=/run/losses
  : >"$losses"
  for _ in 1 2; do
    (for _ in $(seq 8); do
      byodctl --timeout 600 identify --mac b0:34:95:1a:2b:3c >/dev/null || echo lost >>"$losses"
    done) &
    local asking=$!
    systemctl restart lauthd || return 1
    wait "$asking"
  done
  [ ! -s "$losses" ]
}

reload_waits() {
  local new='reloaded&&phone,,Reloaded,,,'
  echo "$new" >>/usr/share/byod/rules/user-agent.csv
  systemctl reload lauthd && contains Reloaded byodctl identify --user-agent 'reloaded phone'
}

bad_rules_are_refused() {
  cp /usr/share/byod/rules/user-agent.csv /run/kept.csv
  echo 'a,b,c,d,e,f,g,h,i' >>/usr/share/byod/rules/user-agent.csv
  local status=0
  systemctl reload lauthd || status=$?
  [ "$status" -ne 0 ] && contains Reloaded byodctl identify --user-agent 'reloaded phone'
  local still=$?
  cat /run/kept.csv >/usr/share/byod/rules/user-agent.csv
  [ "$still" -eq 0 ] && systemctl reload lauthd
}

trigger_reloads() {
  local before
  before=$(status_of reloads)
  dpkg-trigger --no-await --by-package=ieee-data /usr/share/ieee-data
  dpkg --triggers-only -a
  [ "$(status_of reloads)" -gt "$before" ]
}

killed_comes_back() {
  local pid
  pid=$(main_pid)
  kill -9 "$pid"
  until_ 60 sh -c "p=\$(systemctl show -P MainPID lauthd); [ \$p != 0 ] && [ \$p != $pid ] &&
    systemctl is-active --quiet lauthd"
}

hanging_comes_back() {
  mkdir -p /run/systemd/system/lauthd.service.d
  printf '[Service]\nWatchdogSec=4\nTimeoutAbortSec=3\n' >/run/systemd/system/lauthd.service.d/soon.conf
  systemctl daemon-reload
  systemctl restart lauthd
  local pid
  pid=$(main_pid)
  kill -STOP "$pid"
  until_ 120 sh -c "p=\$(systemctl show -P MainPID lauthd); [ \$p != 0 ] && [ \$p != $pid ] &&
    systemctl is-active --quiet lauthd"
  local status=$?
  rm -r /run/systemd/system/lauthd.service.d
  systemctl daemon-reload
  systemctl restart lauthd
  return "$status"
}

fill_disk() {
  dd if=/dev/zero of=/var/tmp/filling bs=1M 2>/dev/null
  dd if=/dev/zero of=/var/tmp/filling.rest bs=512 2>/dev/null
  [ "$(df --output=avail / | tail -n 1)" -eq 0 ]
}

full_disk() {
  fill_disk || return 1
  # Room that a file has already may take one change or two.
  local refusals=0
  for i in $(seq 200); do
    byodctl set rule user-agent "full&&$i" --vendor Full >/run/answer 2>&1 || refusals=$((refusals + 1))
    [ "$refusals" -lt 3 ] || break
  done
  [ "$refusals" -ge 3 ] || { echo 'no change was refused'; return 1; }
  cat /run/answer
  contains Apple byodctl identify --mac b0:34:95:1a:2b:3c || return 1
  local accepted
  accepted=$(byodctl export user-agent | grep -c '^full')
  # A package cannot be unpacked now, and what is installed stays.
  ! install_debs --reinstall /payload/debs/*.deb >/run/apt 2>&1 || { echo 'apt found room'; return 1; }
  rm -f /var/tmp/filling /var/tmp/filling.rest
  dpkg --configure -a && install_debs --reinstall /payload/debs/*.deb || return 1
  until_ 60 byodctl show counts || return 1
  [ "$(byodctl export user-agent | grep -c '^full')" -eq "$accepted" ] &&
    byodctl set rule user-agent 'room&&again' --vendor Room
}

nothing_left() {
  local left
  left=$(find / -xdev \( -path /proc -o -path /sys -o -path /payload -o -path /tmp \) -prune -o \
    \( -name '*lauthd*' -o -name '*byod*' -o -path /var/lib/lauth -o -path /etc/lauth \) -print |
    grep -v -e '^/var/lib/apt' -e '^/var/lib/systemd' -e '^/var/log' -e '^/var/cache') || true
  left+=$(getent passwd lauthd; getent group byod; getent group byod-admin)
  [ -z "$left" ] || { echo "$left"; return 1; }
}

purge() {
  local names
  names=$(for package in /payload/debs/*.deb; do dpkg-deb -f "$package" Package; done)
  # shellcheck disable=SC2086 # words
  DEBIAN_FRONTEND=noninteractive apt-get -y -q purge $names
}

service() {
  check 'AppArmor is on' grep -q Y /sys/module/apparmor/parameters/enabled
  check 'the state of a former version' former_state
  check 'apt installs the packages' install_debs /payload/debs/*.deb
  check 'the service runs' until_ 60 is_active
  check 'it runs as lauthd' test "$(ps -o user= -p "$(main_pid)")" = lauthd
  check 'AppArmor confines it' contains 'lauthd (enforce)' profile
  check 'the former rule is there' contains Former byodctl export
  check 'the former order is there' contains '"mac","dhcp"' byodctl show order --json
  check 'the former authorization is there' contains vlan=20 byodctl show authorization
  check 'order is set back' byodctl unset order
  report "$(byodctl show counts | tr '\n' ';')"
  check '46,000 rules and more' test "$(byodctl show counts --json |
    python3 -c 'import json, sys; print(json.load(sys.stdin)["total"])')" -gt 46000
  check 'an address has its vendor' contains Apple byodctl identify --mac b0:34:95:1a:2b:3c
  check 'Python asks' python3 -c 'import byod
assert byod.Client().identify(mac="b0:34:95:1a:2b:3c").vendor == "Apple"'
  report "$(systemd-analyze security lauthd.service --no-pager 2>/dev/null | tail -n 1)"

  useradd nobody-special
  useradd -G byod asker
  useradd -G byod,byod-admin changer
  report "$(stat -c '%n %U:%G %a' /run/lauthd /run/lauthd/lauthd.sock | tr '\n' ' ')"
  check 'others may not even ask' refused 4 as nobody-special byodctl show counts
  check 'members of byod may ask' as asker byodctl show counts
  check 'members of byod may not change' refused 4 as asker byodctl set order mac
  check 'members of byod-admin may change' as changer byodctl set rule mac 02:01:01/24 --vendor Mine

  check 'a restart loses no request' restart_loses_nothing
  check 'reload returns with the rules in effect' reload_waits
  check 'bad rules are refused, the others stay' bad_rules_are_refused
  check 'a new registry is read' trigger_reloads
  check 'after kill -9 it is started again' killed_comes_back
  check 'a daemon that hangs is started again' hanging_comes_back
  check 'stop' systemctl stop lauthd.service lauthd.socket
  check 'a stopped daemon answers nothing' refused 2 byodctl show counts
  check 'start' systemctl start lauthd.service
  check 'the changed rule is there' contains Mine byodctl export

  echo 'log-level = info' >>/etc/lauth/lauthd.conf
  configured >/run/before
  check 'apt upgrades the packages' install_debs /payload/later/*.deb
  check 'the service runs after the upgrade' until_ 60 is_active
  check 'the edited configuration is kept' grep -q '^log-level = info$' /etc/lauth/lauthd.conf
  until_ 60 byodctl show counts >/dev/null
  configured >/run/after
  check 'rules, order and authorization are kept' diff /run/before /run/after
  check 'apt goes back' install_debs --allow-downgrades /payload/debs/*.deb
  check 'a full disk' full_disk
  check 'no unit has failed' test -z "$(systemctl --failed --no-legend --plain)"
  if [ "$failed" -ne 0 ]; then
    journalctl -u lauthd -b --no-pager -o short-monotonic | tail -n 60
    dmesg | grep -i 'apparmor="DENIED"' | tail -n 20
  fi
  check 'AppArmor denied nothing' test -z "$(dmesg | grep 'apparmor="DENIED".*lauthd')"
}

changes() {
  until_ 60 byodctl show counts >/dev/null
  check 'every acknowledged change is there' python3 /payload/changes.py check /payload/acknowledged
  [ "$failed" -eq 0 ] || return
  python3 /payload/changes.py make "$(cat /payload/round)"
  failed=1 # it never ends by itself
}

last() {
  until_ 60 byodctl show counts >/dev/null
  check 'every acknowledged change is there' python3 /payload/changes.py check /payload/acknowledged
  python3 /payload/changes.py check /payload/acknowledged
  # A group with members is the administrator's, and would stay.
  for user in nobody-special asker changer; do userdel "$user"; done
  check 'purge' purge
  check 'nothing is left' nothing_left
  useradd --system -u 4711 -g daemon lauthd
  mkdir -p /var/lib/lauth && chown 12345:12345 /var/lib/lauth
  check 'apt installs where the user has another number' install_debs /payload/debs/*.deb
  check 'the service runs' until_ 60 is_active
  check 'it stores changes' byodctl set rule mac 02:01:01/24 --vendor Mine
  check 'the state is its own' test "$(stat -c %u /var/lib/lauth/eBYOD.db)" = 4711
  check 'purge again' purge
  check 'nothing is left again' nothing_left
}

"$1"
exit "$failed"
