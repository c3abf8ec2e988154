#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Shows how the daemon comes to know a terminal: scripts/demo-stations.sh [BUILD]
#
# On a network of its own (a bridge in network namespaces) stand dnsmasq, nginx as a portal, and
# byod-capture; a client gets its address by DHCP and visits the portal. "byodctl show station" shows
# after each step what the daemon remembers, also after it was killed in between. Whatever is not as
# it should be ends the script with 1. BUILD is a folder of a build, build/run without it.
#
# It is a test as well. Needs root, namespaces, dnsmasq, nginx, dhclient and curl (scripts/setup.sh
# test), and touches nothing of the machine: interfaces, files and processes go with it.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build/run}")

skip() { echo "skipped: $*"; exit 0; }
if [ -z "${BYOD_DEMO_INSIDE:-}" ]; then
  [ "$(id -u)" -eq 0 ] || skip "this needs root"
  for program in dnsmasq nginx dhclient curl ip unshare nsenter; do
    command -v "$program" >/dev/null || skip "no $program (scripts/setup.sh test)"
  done
  unshare --net --mount ip link add demo0 type bridge 2>/dev/null ||
    skip "no namespaces with virtual interfaces here"
  BYOD_DEMO_INSIDE=1 exec unshare --net --mount --pid --fork --kill-child --mount-proc "$0" "$build"
fi

# ------------------------------------------------------------ the network

mac=cc:3a:61:47:0d:11
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
chmod 755 "$home"
mount --make-rprivate /
for folder in /run /var/lib /var/log; do mount -t tmpfs none "$folder"; done
mkdir -p /run/lauthd /var/lib/lauth /var/lib/dhcp /var/lib/nginx /var/log/nginx /var/lib/misc

unshare --net sleep 600 &
client=$!
in_client() { nsenter --net --target "$client" "$@"; }
until [ "$(readlink /proc/$client/ns/net)" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.02; done
ip link set lo up
ip link add br0 type bridge
ip link add port0 type veth peer name wlan0 address "$mac" netns "$client"
ip link set port0 master br0 up
ip addr add 192.0.2.1/24 dev br0
ip link set br0 up
in_client ip link set wlan0 up

# ------------------------------------------------------------ its programs

# until_true SECONDS COMMAND...: tries a command until it succeeds.
until_true() {
  local tries=$(($1 * 20))
  shift
  until "$@" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || { echo "demo-stations: not within the time: $*" >&2; failed; }
    sleep 0.05
  done
}

failed() {
  tail -n 20 "$home"/*.log >&2
  exit 1
}

byodctl() { "$build/byodctl/byodctl" "$@"; }
show() { byodctl show station "$mac"; }
shows() { show | grep -qE "$1"; }

start_daemon() {
  # byod-capture becomes the user nobody here.
  "$build/lauthd/lauthd" --sightings /run/lauthd/sightings.sock --feed-group nogroup --rules rules \
    --ieee "" >>"$home/lauthd.log" 2>&1 &
  daemon=$!
  until_true 10 byodctl show status
}

step() { printf '\n== %s\n' "$*"; }

# expect PATTERN...: waits until the station shows all of them, and prints it.
expect() {
  local pattern
  for pattern in "$@"; do until_true 15 shows "$pattern"; done
  show
}

start_daemon
sed -e "s#@bindir@#$build/feeds#" -e 's/^\(dhcp-scriptuser=\).*/\1root/' \
  integrations/dnsmasq/byod.conf.in >"$home/dnsmasq.conf"
dnsmasq --keep-in-foreground --log-facility=- --conf-file="$home/dnsmasq.conf" --port=0 --no-ping \
  --user=root --interface=br0 --bind-interfaces --dhcp-range=192.0.2.10,192.0.2.10,1h \
  --dhcp-leasefile="$home/leases" >"$home/dnsmasq.log" 2>&1 &
cat >"$home/nginx.conf" <<CONF
daemon off; user root; pid $home/nginx.pid; error_log stderr;
events { }
http {
  include $PWD/integrations/nginx/byod.conf;
  access_log off;
  server {
    listen 192.0.2.1:80;
    include $PWD/integrations/nginx/byod-portal.conf;
    location / { return 200 "Welcome\n"; }
  }
}
CONF
nginx -c "$home/nginx.conf" >"$home/nginx.log" 2>&1 &
"$build/feeds/byod-capture" br0 --user nobody >"$home/capture.log" 2>&1 &
until_true 10 grep -q 'IP range' "$home/dnsmasq.log"
until_true 10 grep -q 'capturing on br0' "$home/capture.log"
until_true 10 test -s "$home/nginx.pid"

# ------------------------------------------------------------ what happens

visit() {
  in_client curl --silent --noproxy '*' --max-time 10 --output /dev/null --user-agent "$1" \
    http://192.0.2.1/
}

step "Nothing is known of the address $mac"
byodctl show station "$mac" && failed

step "It asks for an address by DHCP, as an Android phone does"
cat >"$home/dhclient.conf" <<'CONF'
send host-name "galaxy-s9";
send vendor-class-identifier "android-dhcp-13";
request subnet-mask, routers, domain-name-servers, domain-name, interface-mtu, broadcast-address,
  dhcp-lease-time, dhcp-renewal-time, dhcp-rebinding-time, vendor-encapsulated-options;
timeout 10;
CONF
in_client dhclient -4 -1 -cf "$home/dhclient.conf" -sf /bin/true -lf "$home/client.leases" \
  -pf "$home/dhclient.pid" wlan0
in_client ip addr add 192.0.2.10/24 dev wlan0
expect 'by dnsmasq' '^host name +galaxy-s9$' '^category +Mobile' '^os +Android'

step "Its connectivity check visits the portal: it must not become a PC for that"
visit 'Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/60.0.3112.32 Safari/537.36'
expect 'X11; Linux x86_64' '^category +Mobile' '^os +Android'

step "Its browser visits the portal"
visit 'Mozilla/5.0 (Linux; Android 10; SM-G960F) AppleWebKit/537.36 (KHTML, like Gecko) Chrome/96.0.4664.104 Mobile Safari/537.36'
expect 'SM-G960F.*chosen' '^vendor +Samsung$' '^category +Mobile' '^os +Android'

step "The daemon is killed, and started again by its manager"
sleep 6 # what was seen in the last 5 seconds may be missing
kill -KILL "$daemon"
wait "$daemon" 2>/dev/null || true
visit 'not/seen by anybody'
start_daemon
expect '^vendor +Samsung$' 'SM-G960F' '^host name +galaxy-s9$'

step "Its address is asked for, and the address that it has"
byodctl identify --mac "$mac"
byodctl show station 192.0.2.10 | grep -q "^mac  *$mac" || failed

step "It gives its address back"
in_client dhclient -4 -r -cf "$home/dhclient.conf" -sf /bin/true -lf "$home/client.leases" \
  -pf "$home/dhclient.pid" wlan0 2>/dev/null
address_is_unknown() { ! byodctl show station 192.0.2.10; }
until_true 15 address_is_unknown

step "The feeds"
byodctl show feeds
