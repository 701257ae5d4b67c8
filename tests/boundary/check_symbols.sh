#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The library defines the names of its version script and no others, and needs the host's services and the C library
# only. Usage: check_symbols.sh NM READELF LIBRARY VERSION_SCRIPT
set -eu
nm=$1
readelf=$2
library=$3
script=$4
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$nm" -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort >"$work/exports"
"$nm" -D --undefined-only "$library" | awk '$1 == "U" { sub(/@.*/, "", $2); print $2 }' | sort >"$work/imports"
"$readelf" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' >"$work/needed"

sed -n 's/^  \([a-z0-9_]*\);$/\1/p' "$script" | sort | diff -u - "$work/exports"
grep -v '^#' "$here/imports.txt" | sort >"$work/allowed"
comm -13 "$work/allowed" "$work/imports" >"$work/forbidden"
if [ -s "$work/forbidden" ]; then
  echo "imports that are not allowed:"
  cat "$work/forbidden"
  exit 1
fi
echo libc.so.6 | diff -u - "$work/needed"
