# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# A bare Debian in a directory, for the scripts that read this file. Needs root, and debootstrap and the
# network for make_bare_root.

# Runs a command in a namespace whose processes and mounts end with it.
inside() { unshare --mount --pid --fork --kill-child -- "$@"; }

# make_bare_root DIRECTORY: Debian (minbase) from the archives that apt uses here.
make_bare_root() {
  local root=$1 suite=bookworm sources mirror log
  # Each line an archive, a release and a component.
  # shellcheck disable=SC2016 # apt-get expands it
  sources=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Origin: Debian' \
    'Created-By: Packages' | awk -v suite="$suite" '$2 ~ "^" suite "(-updates|-security)?$"' | sort -u)
  mirror=$(awk -v suite="$suite" '$2 == suite {print $1; exit}' <<<"$sources")
  [ -n "$mirror" ] || { echo "apt has no archive of Debian $suite here" >&2; return 1; }

  echo "== debootstrap $suite from $mirror"
  log=$root.log
  if ! inside debootstrap --variant=minbase "$suite" "$root" "$mirror" >"$log" 2>&1; then
    echo "debootstrap failed: $(grep '^E:' "$log" || tail -n 1 "$log")" >&2
    return 1
  fi
  awk '{print "deb", $0}' <<<"$sources" >"$root/etc/apt/sources.list"
  apt-config dump | grep -E '^Acquire::https?::Proxy' >"$root/etc/apt/apt.conf.d/proxy" || true
  cp -L /etc/resolv.conf /etc/hosts "$root/etc/"
}

# bare ROOT COMMAND: runs a command of the shell in a root directory. It is a mount, or programs in it
# could make no namespaces.
bare() {
  # shellcheck disable=SC2016 # the inner shell expands it
  inside sh -euc '
    mount --bind "$1" "$1"
    mount --rbind /dev "$1/dev"
    mount -t proc proc "$1/proc"
    mount -t sysfs sysfs "$1/sys"
    mount -t tmpfs tmpfs "$1/run"
    exec chroot "$1" env -i HOME=/root TERM=dumb \
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
      ${http_proxy:+"http_proxy=$http_proxy"} ${https_proxy:+"https_proxy=$https_proxy"} \
      sh -c "$2"
  ' sh "$1" "$2"
}
