#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# The Debian packages, installed into a root of their own, are all that a stranger needs: the example host builds against
# them with pkg-config and with CMake, and runs; so does the program, whose service systemd takes. Removed, they leave
# nothing. Usage: install_test.sh BUILD_DIR
set -eu
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
library=$root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
documents=$root/usr/share/doc/liboftab-dev

(cd "$build" && cpack -B "$work/packages" >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }

# dpkg in that root, where the packages of this machine that the new ones depend on count as installed. What maintainer
# scripts call only notes what it is told.
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates" "$root/run/systemd/system" "$work/bin"
for program in ldconfig systemctl; do
  printf '#!/bin/sh\necho %s "$@" >>"%s"\n' $program "$work/calls" >"$work/bin/$program"
  chmod +x "$work/bin/$program"
done
for deb in "$work"/packages/*.deb; do
  dpkg-deb -f "$deb" Depends
done | sed 's/([^)]*)//g' | tr ',' '\n' | grep -v oftab | sort -u | xargs dpkg-query --show --showformat \
  'Package: ${Package}\nStatus: ${Status}\nVersion: ${Version}\nArchitecture: ${Architecture}\nMaintainer: -\nDescription: -\n\n' \
  >"$root/var/lib/dpkg/status"
packages() {
  LC_ALL=C PATH=$work/bin:$PATH dpkg --root="$root" --log="$work/dpkg.log" --force-not-root --force-bad-path \
    --force-script-chrootless "$@" >"$work/output" 2>&1
}
succeed() {
  "$@" || { cat "$work/output"; exit 1; }
}
expect_calls() {
  printf '%s\n' "$@" | diff - "$work/calls"
  rm "$work/calls"
}

echo "installation"
packages --install "$work"/packages/oftab-switch_*.deb || true
grep 'oftab-switch depends on liboftab1' "$work/output"
succeed packages --install "$work"/packages/*.deb
expect_calls ldconfig 'systemctl daemon-reload' 'systemctl try-restart oftab-switch.service'

echo "with pkg-config"
export PKG_CONFIG_LIBDIR="$library/pkgconfig"
compile() {
  cc -std=c11 -Wall -Wextra -Werror "$@" $(pkg-config --cflags --libs liboftab)
}
compile -o "$work/host" "$documents/examples/host/host.c"
LD_LIBRARY_PATH=$library "$work/host" >"$work/first"
sed -n '/^status 0, flow/,/^```$/p' "$documents/porting.md" | sed '$d' | diff "$work/first" -

echo "with the check of a port"
call=$(grep -o 'if (check_table().*' "$documents/porting.md")
sed "/^#include \"oftab/i #include \"check_table.h\"
  /^  oftab_process_entry_update/a $call" "$documents/examples/host/host.c" >"$work/checked.c"
grep -F "$call" "$work/checked.c"
compile -I "$documents/examples/port_check" -o "$work/checked" "$work/checked.c" "$documents/examples/port_check/check_table.c"
LD_LIBRARY_PATH=$library "$work/checked" | diff "$work/first" -

echo "with CMake"
cmake -S "$documents/examples/host" -B "$work/cmake" -D CMAKE_PREFIX_PATH="$root/usr" >"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
cmake --build "$work/cmake" >"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
LD_LIBRARY_PATH=$library "$work/cmake/host" | diff "$work/first" -

echo "the program"
"$root/usr/bin/oftab-switch" -c 'add-flow tcp,tp_dst=80,actions=drop' |
  grep '^flow 1 added at index 2000$'

echo "links of the documents"
for page in "$root"/usr/share/doc/*/*.md; do
  for link in $(grep -o ']([^):#]*' "$page" | cut -c3-); do
    [ -e "$(dirname "$page")/$link" ] || { echo "$page leads to $link, which is not installed"; exit 1; }
  done
done

echo "the service"
unit=$root/usr/lib/systemd/system/oftab-switch.service
grep '^ExecStart="/usr/bin/oftab-switch" serve ' "$unit"
for line in NoNewPrivileges=yes 'CapabilityBoundingSet=CAP_NET_RAW CAP_NET_ADMIN' DynamicUser=yes; do
  grep -x "$line" "$unit"
done
prefix="$work/odd prefix"
(cd "$work" && cmake --install "$build" --prefix "odd prefix") >"$work/install.log" || { cat "$work/install.log"; exit 1; }
there=$prefix/lib/systemd/system/oftab-switch.service
grep "^ExecStart=\"$prefix/bin/oftab-switch\" serve " "$there"
status=0
"$prefix/bin/oftab-switch" serve --listen nowhere || status=$?
grep -x "RestartPreventExitStatus=$status" "$there"
as_a_service() {
  unshare --mount sh -c 'mount -t tmpfs -o mode=700 tmpfs /run && "$@"' sh \
    setpriv --reuid 65534 --regid 65534 --clear-groups env -u XDG_RUNTIME_DIR "$@"
}
chmod 711 "$work"
if as_a_service test -x "$prefix/bin/oftab-switch" 2>/dev/null; then
  echo "under ProtectHome, which closes /run/user"
  as_a_service "$prefix/bin/oftab-switch" -c quit
fi
if command -v systemd-analyze >/dev/null; then
  systemd-analyze --man=no verify "$there" 2>"$work/complaints" && [ ! -s "$work/complaints" ] ||
    { cat "$work/complaints"; exit 1; }
  systemd-analyze --no-pager security --offline=true --threshold=25 "$unit" >"$work/exposure" ||
    { cat "$work/exposure"; exit 1; }
fi

echo "removal"
packages --remove liboftab1 || true
grep 'liboftab-dev depends on liboftab1' "$work/output"
succeed packages --remove oftab-switch liboftab-dev liboftab1
expect_calls 'systemctl stop oftab-switch.service' 'systemctl reset-failed oftab-switch.service' \
  "systemctl --root=$root --quiet disable oftab-switch.service" ldconfig
find "$root" -path "$root/var/lib/dpkg" -prune -o -type f -print >"$work/left"
diff /dev/null "$work/left"
