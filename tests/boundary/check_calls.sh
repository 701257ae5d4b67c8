#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The functions of the host that the library imports are those of the host's list of calls, by which faults, the call log
# and the benchmarks go, and each names its own call. Usage: check_calls.sh NM PROGRAM HOST_DIR
set -eu
nm=$1
program=$2
host=$3
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n 's/^  CALL(\([A-Za-z0-9_]*\),.*/\1/p' "$host/services/calls.h" | sort >"$work/calls"
"$nm" -D --defined-only "$program" | awk '$2 == "T" { print $3 }' | sort >"$work/functions"
sed '/^# The C library/,$d' "$here/imports.txt" | sort | comm -12 - "$work/functions" >"$work/imports"
diff -u "$work/calls" "$work/imports" || {
  echo "host/services/calls.h and the functions of imports.txt are not the same: change one of them."
  exit 1
}
while read -r name; do
  grep -rqw --include='*.cc' "Call::$name" "$host" || { echo "$name in $host does not say which call it is"; exit 1; }
done <"$work/calls"
