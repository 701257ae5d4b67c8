#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The library defines the names of its version script and no others, and needs the host's services and the C library
# only. Those of the services that are functions of the host are its list of calls, by which faults, the call log and the
# benchmarks go, and each names its own call. Usage: check_symbols.sh NM READELF LIBRARY PROGRAM SOURCE_DIR
set -eu
nm=$1
readelf=$2
library=$3
program=$4
source=$5
script=$source/lib/oftab/exports.map
imports=$source/tests/boundary/imports.txt
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$nm" -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | sort >"$work/exports"
"$nm" -D --undefined-only "$library" | awk '$1 == "U" { sub(/@.*/, "", $2); print $2 }' | sort >"$work/imports"
"$readelf" -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' >"$work/needed"

# `diff` of a list with what should stand in it, and what to do about it.
compare() {
  diff -u "$2" "$3" || {
    echo "$1"
    exit 1
  }
}

sed -n 's/^  \([a-z0-9_]*\);$/\1/p' "$script" | sort >"$work/script"
compare "$script and the library do not define the same names: change one of them." "$work/script" "$work/exports"

# Which functions of the C library it takes, the compiler decides; each service of the host has its place in the list
# and in the porting guide.
sed '/^# The C library/,$d' "$imports" | grep -v '^#' | sort >"$work/services"
sed '1,/^# The C library/d' "$imports" | sort >"$work/libc"
comm -13 "$work/libc" "$work/imports" >"$work/needed_services"
compare "The library does not import what imports.txt lists. If that is meant, change the list, docs/porting.md and
examples/host." "$work/services" "$work/needed_services"
for name in $(cat "$work/services"); do
  grep -qw "$name" "$source/docs/porting.md" || { echo "docs/porting.md does not tell about $name"; exit 1; }
done

# Every record, set of constants and macro of the public headers is compared: as the library's own symbols name it, or
# by records.c.
cat "$source/lib/oftab/oftab.h" "$source"/platform/*.h >"$work/headers"
sed -nE "s/^(typedef )?(struct|union|enum) (OFTAB_PACKED )?([a-z_0-9]*) ?\{.*/decl name='\4'/p
         s/^#define ([A-Z_0-9]+) +[^_ ].*/'value_of_\1'/p" "$work/headers" >"$work/declared"
while read -r wanted; do
  grep -qF "$wanted" "$source"/tests/boundary/*.abi || {
    echo "The public headers define what no dump of the binary interface has: $wanted. tests/boundary/records.c lacks it,"
    echo "or it has no name."
    exit 1
  }
done <"$work/declared"

echo libc.so.6 >"$work/libraries"
compare "The library is to need the C library alone." "$work/libraries" "$work/needed"

"$nm" -D --defined-only "$program" | awk '$2 == "T" { print $3 }' | sort | comm -12 - "$work/services" >"$work/functions"
sed -n 's/^  CALL(\([A-Za-z0-9_]*\),.*/\1/p' "$source/host/services/calls.h" | sort >"$work/calls"
compare "host/services/calls.h and the functions of imports.txt are not the same: change one of them." "$work/calls" \
  "$work/functions"
while read -r name; do
  grep -rqw --include='*.cc' "Call::$name" "$source/host" || { echo "$name in host/ does not say which call it is"; exit 1; }
done <"$work/calls"
