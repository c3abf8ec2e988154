#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the Debian packages: scripts/package.sh [--here] [--once] DIRECTORY
#
# Builds the last commit in a clean root directory, which mmdebstrap makes from the archives that apt
# uses here, and puts the packages into DIRECTORY. --here builds on this machine instead, with its
# compiler cache if it has one. Builds twice, in folders of different names, and fails if any package
# differs by a byte; --once leaves that out. Fails at any error or warning of lintian. Needs root (but
# --here does not), the network, and some minutes.
set -euo pipefail
. "$(dirname "$0")/usage.sh"
cd "$(dirname "$0")/.."

here=''
builds='first second'
while [[ ${1:-} = --* ]]; do
  case $1 in
    --here) here=yes ;;
    --once) builds=first ;;
    *) echo "package: unknown option: $1" >&2; exit 2 ;;
  esac
  shift
done
[ $# -eq 1 ] || { echo 'package: one directory is expected; see --help' >&2; exit 2; }
mkdir -p "$1"
out=$(cd "$1" && pwd)
scripts/setup.sh package

work=$(mktemp -d -p "${TMPDIR:-/var/tmp}" byod-package.XXXXXX)
trap 'rm -rf "$work"' EXIT

# Makes the root directory $work/root, with what debian/control asks for.
make_root() {
  echo '== mmdebstrap'
  awk 'BEGIN {RS = ""; FS = "\n"} /^Source:/' debian/control | sed -n '/^Build-Depends:/,/^[^ B]/p' |
    sed 's/^Build-Depends://; /^[^ ]/d; s/([^)]*)//; s/:any//; s/[ ,]//g' >"$work/needs"
  # Virtual names stand for packages that mmdebstrap can name.
  sed -i 's/^debhelper-compat$/debhelper/; s/^dh-sequence-python3$/dh-python/
    s/^dh-sequence-installsysusers$/debhelper/' "$work/needs"
  local packages
  packages=$(sort -u "$work/needs" | paste -sd,)
  local sources=()
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*; do
    if [ -s "$file" ]; then sources+=("$file"); fi
  done
  if ! mmdebstrap --variant=buildd --include="$packages" bookworm "$work/root" "${sources[@]}" \
    >"$work/log" 2>&1; then
    tail -n 5 "$work/log" >&2
    exit 1
  fi
}

# build NAME: builds the packages in a folder of that name, into $work/NAME.
build() {
  local name=$1 top=$work
  [ -n "$here" ] || top=$work/root/build
  mkdir -p "$top/$name/byod" "$work/made/$name"
  git archive HEAD | tar -x -C "$top/$name/byod"
  echo "== $name build"
  local status=0 start=$SECONDS
  if [ -n "$here" ]; then
    (cd "$top/$name/byod" && PATH=/usr/lib/ccache:$PATH CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 \
      dpkg-buildpackage -b -us -uc) >"$work/log" 2>&1 || status=$?
  else
    # shellcheck disable=SC2016 # the inner shell expands it
    unshare --mount --pid --fork --kill-child -- sh -euc 'mount --rbind /dev "$1/dev"
      mount -t proc proc "$1/proc"
      exec chroot "$1" env -i HOME=/root LC_ALL=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        DEB_BUILD_OPTIONS="${DEB_BUILD_OPTIONS:-}" \
        sh -c "cd \"/build/$2/byod\" && exec dpkg-buildpackage -b -us -uc"
    ' sh "$work/root" "$name" >"$work/log" 2>&1 || status=$?
  fi
  if [ "$status" -ne 0 ]; then
    grep -iE -m 5 'error|not installed|missing' "$work/log" >&2 || true
    tail -n 20 "$work/log" >&2
    cp "$work/log" "$out/build.log"
    echo "package: the build failed; all of its output: $out/build.log" >&2
    exit 1
  fi
  echo "   $((SECONDS - start)) s"
  cp "$top/$name"/*.deb "$top/$name"/*.changes "$top/$name"/*.buildinfo "$work/made/$name/"
}

[ -n "$here" ] || make_root
for name in $builds; do build "$name"; done

if [[ $builds = *second* ]]; then
  echo '== the same bytes in both builds'
  different=
  for package in "$work"/made/first/*.deb; do
    name=$(basename "$package")
    cmp "$package" "$work/made/second/$name" || different=yes
  done
  [ -z "$different" ] || { echo 'package: the builds differ' >&2; exit 1; }
fi

echo '== lintian'
lintian --allow-root --fail-on error,warning "$work"/made/first/*.changes
cp "$work"/made/first/* "$out/"

printf '\n%-28s %9s\n' PACKAGE BYTES
total=0
for package in "$work"/made/first/*.deb; do
  bytes=$(stat -c %s "$package")
  case $package in *-dbgsym_*) continue ;; esac
  total=$((total + bytes))
  printf '%-28s %9d\n' "$(basename "${package%%_*}")" "$bytes"
done
printf '%-28s %9d\n' total "$total"
