# SPDX-License-Identifier: Apache-2.0
"""Flow-mods and dumps through a real socket on oftab-switch, and on ovs-vswitchd (user space, dummy datapath) where it
is installed.  openflow.py OFTAB_SWITCH CLIENT

Everything runs on one core, client included, so that both switches have the same."""
import os
import socket
import subprocess
import sys
import tempfile
import time

import vswitchd


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


def wait_for_port(port):
    for _ in range(100):
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", int(port))) == 0:
                return
        time.sleep(0.1)
    raise TimeoutError(f"nobody listens at port {port}")


def measure(client, port, name):
    print(f"\n{name}")
    subprocess.run([client, "127.0.0.1", port], check=True)


def measure_oftab(switch, client):
    with tempfile.TemporaryDirectory() as directory:
        port = free_port()
        with vswitchd.process(switch, "serve", "--listen", f"ptcp:{port}:127.0.0.1", "--socket", directory + "/console",
                     stderr=subprocess.DEVNULL):
            wait_for_port(port)
            measure(client, port, "oftab-switch")


def measure_ovs(client):
    port = free_port()
    with vswitchd.bridge("dummy", "--", "set-controller", "br0", f"ptcp:{port}:127.0.0.1"):
        wait_for_port(port)
        measure(client, port, f"ovs-vswitchd {vswitchd.version()}")


def main():
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    switch, client = sys.argv[1:]
    measure_oftab(switch, client)
    if vswitchd.is_installed():
        measure_ovs(client)
    else:
        print("\novs-vswitchd is not installed (openvswitch-switch)")


if __name__ == "__main__":
    main()
