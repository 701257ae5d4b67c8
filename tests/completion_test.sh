#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The completion offers, and the manual page names, each option that the program has; and what comes where in a line.
# Usage: completion_test.sh PROGRAM PACKAGING_DIR
program=$1
packaging=$2
source "$packaging/oftab-switch.bash"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" && touch run.oftab other.oftab
failures=0

# What is offered for the last word of a line.
offers() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _oftab_switch
  printf '%s\n' "${COMPREPLY[@]}" | sort | paste -sd ' '
}

expect() {
  local wanted=$1
  shift
  [ "$(offers oftab-switch "$@")" = "$wanted" ] || { echo "$*: '$(offers oftab-switch "$@")', not '$wanted'"; failures=1; }
}

for mode in '' run serve attach; do
  for option in $("$program" $mode --help | grep -o -- '^  -[^ ]*' | grep -o -- '--[a-z-]*'); do
    expect "$option" $mode "$option"
    [ "$option" = --help ] || sed 's/\\//g' "$packaging/oftab-switch.1" | grep -q -- "$option\b" ||
      { echo "the manual page does not name $option"; failures=1; }
  done
done
expect 'run' r
expect 'run' --keep-going r
expect '--keep-going' run --k
expect '--keep-going' --no-boot --k
expect 'run.oftab' run r
expect 'run.oftab' run --keep-going r
expect '--then-prompt' run other.oftab --t
expect 'run.oftab' -c attach run r
expect '' -c attach --commands ''
expect 'drop' serve other.oftab --miss d
expect '--miss' serve --port 1=eth1 --m
expect '--commands' attach --c
exit $failures
