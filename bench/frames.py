# SPDX-License-Identifier: Apache-2.0
"""Frames a second and round-trip times between two hosts, through two veths and what lies between: oftab-switch, a
Linux bridge, and ovs-vswitchd with its user-space datapath where it is installed.  frames.py OFTAB_SWITCH FLOOD

As root. Rounds take turns, so that all meet the same machine; each figure is the median of its rounds."""
import contextlib
import os
import re
import statistics
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [os.path.join(HERE, part) for part in ("../tests/live_ports", "../examples")]

import vswitchd
from isolation import is_permitted, isolate
from network import Host, Switch, quieten, run

ROUNDS, SECONDS, PINGS = 5, 1, 300
LENGTHS = (60, 1514)
FLOWS = "add-flow priority=100,in_port=1,actions=output:2; add-flow priority=100,in_port=2,actions=output:1"


@contextlib.contextmanager
def oftab(hosts, more=""):
    with Switch(dict(enumerate(hosts, 1))) as switch:
        switch.run(FLOWS + more)
        yield


@contextlib.contextmanager
def oftab_full(hosts):
    with tempfile.NamedTemporaryFile("w", suffix=".flows") as file:
        file.write("".join(f"priority={1000 + n},tcp,tp_dst={n},actions=drop\n" for n in range(1, 4094)))
        file.flush()
        with oftab(hosts, f"; add-flows {file.name}"):
            yield


@contextlib.contextmanager
def bridge(hosts):
    run("ip", "link", "add", "bridge0", "type", "bridge")
    try:
        for host in hosts:
            run("ip", "link", "set", host.far, "master", "bridge0")
        run("ip", "link", "set", "bridge0", "up")
        yield
    finally:
        run("ip", "link", "del", "bridge0")


@contextlib.contextmanager
def ovs_netdev(hosts):
    ports = [word for host in hosts for word in ("--", "add-port", "br0", host.far)]
    with vswitchd.bridge("netdev", *ports) as directory:
        for one, other in ((1, 2), (2, 1)):
            run("ovs-ofctl", "add-flow", f"unix:{directory}/br0.mgmt", f"in_port={one},actions=output:{other}")
        yield


def round_trip(one, other):
    """Microseconds, of the round's fastest half, on average."""
    text = run("ip", "netns", "exec", one.name, "ping", "-c", str(PINGS), "-i", "0.002", other.address)
    times = sorted(float(each) * 1000 for each in re.findall(r"time=([\d.]+) ms", text))
    return statistics.mean(times[:max(1, len(times) // 2)])


def frames_a_second(flood, one, other, length):
    """That arrive while more are sent than can pass."""
    other.forget()
    run("ip", "netns", "exec", one.name, flood, "eth0", str(length), str(SECONDS))
    return other.received() / SECONDS


def measure(between, flood, hosts):
    with between(hosts):
        run("ip", "netns", "exec", hosts[0].name, "ping", "-q", "-c", "3", "-i", "0.1", hosts[1].address)
        figures = [round_trip(*hosts)]
        for length in LENGTHS:
            figures.append(frames_a_second(flood, *hosts, length))
        return figures


def main():
    flood = os.path.abspath(sys.argv[2])
    if os.geteuid() != 0 or not is_permitted():
        print("frames through interfaces are not measured: network namespaces are not permitted here")
        return
    isolate("-B")
    quieten()
    hosts = [Host(1), Host(2)]
    candidates = {"Linux bridge": bridge, "oftab-switch": oftab, "oftab-switch, 4095 flows": oftab_full}
    if vswitchd.is_installed():
        candidates[f"ovs-vswitchd {vswitchd.version()}, netdev"] = ovs_netdev
    figures = {name: [] for name in candidates}
    for _ in range(ROUNDS):
        for name, between in candidates.items():
            figures[name].append(measure(between, flood, hosts))
    print(f"{'between two veths':28}  round trip" + "".join(f"{length:12} bytes" for length in LENGTHS))
    for name, rounds in figures.items():
        trip, *rates = (statistics.median(column) for column in zip(*rounds))
        print(f"{name:28} {trip:8.1f} us" + "".join(f"{rate:10.0f} frames/s" for rate in rates))


if __name__ == "__main__":
    main()
