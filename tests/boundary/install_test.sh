#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The Debian packages, unpacked into an empty root, are all that a stranger needs: the example host builds against them
# with pkg-config and with CMake, and runs; so does the program, whose service systemd takes. Usage: install_test.sh
# BUILD_DIR
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
library=$root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
documents=$root/usr/share/doc/liboftab-dev

(cd "$build" && cpack -B "$work/packages" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }
mkdir "$root"
for package in liboftab1 liboftab-dev oftab-switch; do
  dpkg-deb -x "$work/packages/${package}_"*.deb "$root"
done

echo "with pkg-config"
export PKG_CONFIG_LIBDIR="$library/pkgconfig"
cc -std=c11 -Wall -Wextra -Werror -o "$work/host" "$documents"/examples/host/*.c $(pkg-config --cflags --libs liboftab)
LD_LIBRARY_PATH=$library "$work/host" >"$work/first"
sed -n '/^status 0, flow/,/^```$/p' "$documents/porting.md" | sed '$d' | diff "$work/first" -

echo "with CMake"
cmake -S "$documents/examples/host" -B "$work/cmake" -D CMAKE_PREFIX_PATH="$root/usr" >"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
cmake --build "$work/cmake" >"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
LD_LIBRARY_PATH=$library "$work/cmake/host" | diff "$work/first" -

echo "the program"
"$root/usr/bin/oftab-switch" -c 'add-flow tcp,tp_dst=80,actions=drop' |
  grep '^flow 1 added at index 2000$'

echo "the service"
unit=$root/usr/lib/systemd/system/oftab-switch.service
for line in NoNewPrivileges=yes 'CapabilityBoundingSet=CAP_NET_RAW CAP_NET_ADMIN' DynamicUser=yes; do
  grep -x "$line" "$unit"
done
if command -v systemd-analyze >/dev/null; then
  sed "s|^ExecStart=|&$root/usr/bin/|" "$unit" >"$work/oftab-switch.service"
  systemd-analyze --man=no verify "$work/oftab-switch.service" 2>"$work/complaints" && [ ! -s "$work/complaints" ] ||
    { cat "$work/complaints"; exit 1; }
  systemd-analyze --no-pager security --offline=true --threshold=25 "$unit" >"$work/exposure" ||
    { cat "$work/exposure"; exit 1; }
fi
