# SPDX-License-Identifier: Apache-2.0
"""Many switches in one network, under one controller, on one machine: a core switch, seven behind it, and the others
behind those with a host each; half of the hosts ping the other half across the core.

    sudo /usr/bin/python3 -P examples/many_switches.py OFTAB_SWITCH [SWITCHES]

Prints what it takes: time until all switches are connected, memory of each, and the loss."""
import os
import re
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.append(HERE)  # behind the installed packages

from controller import learning_controller
from demo import CONTROLLER_PORT, switch_class
from isolation import is_permitted, isolate

MIDDLE = 7
PINGS, INTERVAL = 100, 0.1


def topology(switches):
    from mininet.topo import Topo

    topo = Topo()
    names = [topo.addSwitch(f"s{number}") for number in range(1, switches + 1)]
    core, middle, edge = names[0], names[1:1 + MIDDLE], names[1 + MIDDLE:]
    for name in middle:
        topo.addLink(core, name)
    for number, name in enumerate(edge):
        topo.addLink(middle[number % MIDDLE], name)
        topo.addLink(name, topo.addHost(f"h{number + 1}"))
    return topo


def wait_until_connected(switches):
    waiting = list(switches)
    while waiting := [switch for switch in waiting if not switch.connected()]:
        time.sleep(0.05)


def memory(switch):
    """Kilobytes: what it occupies, and its share of that where pages are shared with others."""
    with open(f"/proc/{switch.process.pid}/smaps_rollup") as rollup:
        sizes = dict(re.findall(r"(\w+): +(\d+) kB", rollup.read()))
    return int(sizes["Rss"]), int(sizes["Pss"])


def ping_pairs(hosts):
    """Requests and answers of all pairs, which ping at the same time."""
    half = len(hosts) // 2
    pings = [one.popen("ping", "-q", "-c", str(PINGS), "-i", str(INTERVAL), other.IP())
             for one, other in zip(hosts[:half], hosts[half:])]
    results = [re.search(r"(\d+) packets transmitted, (\d+) received", ping.communicate()[0].decode())
               for ping in pings]
    return half, sum(int(each[1]) for each in results), sum(int(each[2]) for each in results)


def build_and_ping(count):
    from mininet.net import Mininet
    from mininet.node import RemoteController

    net = Mininet(topology(count), switch=switch_class(), controller=None)
    net.addController("c0", controller=RemoteController, ip="127.0.0.1", port=CONTROLLER_PORT)
    try:
        begin = time.monotonic()
        net.start()
        wait_until_connected(net.switches)
        print(f"{count} switches, started one after the other and all connected after "
              f"{time.monotonic() - begin:.1f} s")
        pairs, sent, answered = ping_pairs(net.hosts)
        print(f"{pairs} pairs of hosts, {sent} pings, {sent - answered} lost")
        _, sent, answered = ping_pairs(net.hosts)
        print(f"the same once flows are entered: {sent} pings, {sent - answered} lost")
        resident, share = zip(*map(memory, net.switches))
        print(f"memory of a switch: {max(resident) / 1024:.1f} MB at most, of which {sum(share) / count / 1024:.1f} MB "
              "are its own")
    finally:
        net.stop()


def main():
    program, count = os.path.abspath(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 50
    if os.geteuid() != 0 or not is_permitted():
        raise SystemExit("this makes network namespaces, which is not permitted here: run it as root")
    isolate("-P", "-B")
    os.environ["OFTAB_SWITCH"] = program
    with learning_controller(CONTROLLER_PORT):
        build_and_ping(count)


if __name__ == "__main__":
    main()
