# SPDX-License-Identifier: Apache-2.0
"""Hosts in network namespaces whose packets the CPU serves: a learning controller, addresses translated, a flood.
  cpu_flows_test.py OFTAB_SWITCH

Skipped where namespaces are not permitted, or the controller is not installed."""
import re
import time

from network import Switch, Tap, frame, main, transferred, until
from peer import ECHO_REPLY, ECHO_REQUEST, FLOW_MOD, added_flow
from switch import reading

SENT = bytes(4 << 20)


def a_learning_controller_enters_exact_matches(one, other):
    """ovs-testcontroller in its default mode: exact matches of all fields, of ARP too."""
    with reading("ovs-testcontroller", "ptcp:6653:127.0.0.1"), \
            Switch({1: one, 2: other}, "--controller", "tcp:127.0.0.1:6653") as switch:
        until(lambda: "connected" in switch.run("controllers"), "the controller is there")
        assert one.ping(other.address)[1] == 20
        flows = switch.run("dump-flows -v")
        assert re.search(r"arp_spa=10\.0\.0\.\d.*\n# CPU: the hardware cannot match arp_", flows), flows
        assert re.search(r"n_packets=[1-9].*icmp.*\n# hardware", flows), flows
        assert transferred(one, other, other.address, SENT) == SENT


def addresses_are_translated(one, other):
    """Both ways between two subnets; TCP's checksums are open as veths are."""
    other.ip("address", "add", "192.168.7.2/24", "dev", "eth0")
    one.ip("neighbour", "replace", "10.0.0.99", "lladdr", other.mac, "dev", "eth0")
    other.ip("neighbour", "replace", "192.168.7.99", "lladdr", one.mac, "dev", "eth0")
    with Switch({1: one, 2: other}, "--cpu-rate", "1000000") as switch:
        for port, to, source, destination, mac in ((1, "10.0.0.99", "192.168.7.99", "192.168.7.2", other.mac),
                                                   (2, "192.168.7.99", "10.0.0.99", one.address, one.mac)):
            switch.run(f"add-flow in_port={port},ip,nw_dst={to},actions=mod_nw_src:{source},mod_nw_dst:{destination},"
                       f"mod_dl_dst:{mac},output:{3 - port}")
        assert one.ping("10.0.0.99")[1] == 20
        flows = switch.run("dump-flows -v")
        assert flows.count("# CPU: the hardware cannot change packets") == flows.count("n_packets=20,") == 2, flows
        assert transferred(one, other, "10.0.0.99", SENT) == SENT


def a_flood_delays_nobody(one, other):
    """Echo replies and flow-mods while more packets come for the CPU than it takes."""
    with Switch({1: one, 2: other}, "--cpu-rate", "500") as switch:
        switch.run("add-flow in_port=1,actions=mod_vlan_vid:5,output:2")
        peer = switch.peer()
        a, slowest = Tap(one), {}
        for number in range(100):
            a.send(*[frame(2, 1)] * 100)
            begin = time.monotonic()
            if number % 2:
                peer.send(ECHO_REQUEST, b"alive")
                what, _ = "echo reply", peer.wait_for(ECHO_REPLY)
            else:
                peer.send(FLOW_MOD, added_flow(0x3FFFFE, 2, 1 + number))
                what, _ = "flow-mod with barrier", peer.barrier()
            slowest[what] = max(slowest.get(what, 0), time.monotonic() - begin)
        dropped = re.search(r"Eth1/1 +(\d+)", until(lambda: switch.run("cpu"), "the guard tells"))
        assert dropped and int(dropped[1]) > 0, switch.run("cpu")
        until(lambda: "too many packets for the CPU" in switch.read_log(), "the log tells")
        until(lambda: (first := switch.counts(1))["rx_pkts"] == 10000 == first["rx_drop"] + switch.counts(2)["tx_pkts"],
              "frames in = frames out + dropped")
        assert max(slowest.values()) < 2, f"seconds: {slowest}"
        assert len(switch.run("dump-flows").splitlines()) == 51, "all flow-mods have been done"
        print(f"  {dropped[1]} dropped; slowest", *(f"{what} {1000 * each:.1f} ms" for what, each in slowest.items()))


SCENARIOS = (a_flood_delays_nobody, a_learning_controller_enters_exact_matches, addresses_are_translated)


if __name__ == "__main__":
    main(SCENARIOS, 2, "ovs-testcontroller")
