#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# make-page.sh SCDOC SOURCE PAGE: makes a manual page by scdoc.
set -eu
scdoc=$1 source=$2 page=$3
"$scdoc" <"$source" >"$page.raw"
awk -f "$(dirname "$0")/tidy.awk" "$page.raw" >"$page"
