# SPDX-License-Identifier: Apache-2.0
"""A machine within the machine: network interfaces, namespaces and processes that end with the program that made them.

Needs root. Nothing is left behind, even if the program is killed, and runs side by side do not meet."""
import os
import subprocess
import sys

_INSIDE = "OFTAB_ISOLATED"
_UNSHARE = ("unshare", "--net", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc")


def is_permitted():
    """Whether the kernel lets us, and has what is made inside."""
    made = "ip link add type veth && ip tuntap add mode tap && ip link add type bridge"
    return subprocess.run([*_UNSHARE, "sh", "-c", made], stderr=subprocess.DEVNULL).returncode == 0


def isolate(*options):
    """Starts the program again, by itself: where only the loopback interface exists, and temporary files are in /run."""
    if _INSIDE not in os.environ:
        os.environ.update({_INSIDE: "1", "TMPDIR": "/run"})
        os.execvp(_UNSHARE[0], [*_UNSHARE, sys.executable, *options, *sys.argv])
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/run"], check=True)
