#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The binary interface of a shared object is the committed one: prototypes, record layouts, exported data, constants
# (abidiff takes a new one for harmless).
# Usage: check_abi.sh OBJECT BASELINE [accept]; `accept` makes what stands there now the baseline. Ends with status 77,
# skipped, without abidw.
set -eu
object=$1
baseline=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

command -v abidw >/dev/null || { echo "abidw of abigail-tools is missing: nothing is compared"; exit 77; }
abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
  --no-parameter-names --out-file "$work/abi" "$object"
if [ "${3-}" = accept ]; then
  cp "$work/abi" "$baseline"
else
  abidiff --harmless "$baseline" "$work/abi" || {
    echo "The binary interface changed. If that is meant: $0 $object $baseline accept"
    exit 1
  }
fi
