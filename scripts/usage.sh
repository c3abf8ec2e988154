# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Read by every script of this folder first: with --help or -h among its arguments a script prints
# its head, the comment that it opens with, and does nothing else.
for argument in "$@"; do
  case $argument in
    --help | -h)
      sed -n '2,$ { /^#/!q; /^# SPDX-/d; s/^# \{0,1\}//; p }' "$0"
      exit 0
      ;;
  esac
done
unset argument
