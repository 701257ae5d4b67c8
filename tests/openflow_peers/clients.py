# SPDX-License-Identifier: Apache-2.0
"""Drives a serving oftab-switch with ovs-ofctl.  clients.py OFTAB_SWITCH"""
import re
import select
import subprocess
import tempfile

from switch import Switch, expect, read_until, reading, require, run, until

FLOWS = """\
priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80,actions=output:2
priority=90,in_port=3,dl_vlan=100,cookie=0x2a,actions=output:4,output:5
priority=90,dl_vlan=0xffff,udp,tp_src=53,actions=output:1,CONTROLLER:64
priority=80,icmp,icmp_type=8,icmp_code=0,idle_timeout=600,hard_timeout=900,actions=NORMAL
priority=70,arp,actions=NORMAL
priority=60,ip,nw_src=192.168.1.0/24,nw_tos=32,actions=CONTROLLER:128
priority=50,dl_src=00:11:22:33:44:55,dl_dst=66:77:88:99:aa:bb,dl_type=0x88cc,actions=drop
priority=40,udp,actions=mod_dl_src:00:11:22:33:44:55,mod_nw_src:10.0.0.1,mod_nw_dst:10.0.0.2,mod_tp_dst:53,output:3
"""

# As ovs-ofctl prints what the switch says of them.
DUMP = """\
 cookie=0x2a, priority=90,in_port=3,dl_vlan=100 actions=output:4,output:5
 idle_timeout=600, hard_timeout=900, priority=80,icmp,icmp_type=8,icmp_code=0 actions=NORMAL
 priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80 actions=output:2
 priority=40,udp actions=mod_dl_src:00:11:22:33:44:55,mod_nw_src:10.0.0.1,mod_nw_dst:10.0.0.2,mod_tp_dst:53,output:3
 priority=50,dl_src=00:11:22:33:44:55,dl_dst=66:77:88:99:aa:bb,dl_type=0x88cc actions=drop
 priority=60,ip,nw_src=192.168.1.0/24,nw_tos=32 actions=CONTROLLER:128
 priority=70,arp actions=NORMAL
 priority=90,udp,vlan_tci=0x0000,tp_src=53 actions=output:1,CONTROLLER:64
"""

# A packet of 10.9.8.7:1025 to 10.0.0.1:80 over TCP, untagged.
PACKET = "0200000000aa0200000000bb08004500002800000000400665160a0908070a0000010401005000000000000000005002000000000000"


# What is sent, and the dump of some flows behind it.
CHANGES = (
    ("mod-flows ip,nw_dst=10.0.0.0/8,actions=output:7", "tcp,nw_dst=10.0.0.0/8",
     " priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80 actions=output:7\n"),
    ("--strict mod-flows priority=70,arp,actions=output:8", "arp", " priority=70,arp actions=output:8\n"),
    ("--strict del-flows priority=71,arp", "arp", " priority=70,arp actions=output:8\n"),
    ("--strict del-flows priority=70,arp", "arp", ""),
    ("del-flows ip", "ip", ""),
)


class Client:
    def __init__(self, switch):
        self.switch = switch

    def run(self, words, *arguments, status=0):
        """What it prints, complaints included; the switch goes between the command, the last of the first words, and
        its arguments."""
        return run(*self.command(words, *arguments), status=status)

    def command(self, words, *arguments):
        return ("ovs-ofctl", "-O", "OpenFlow10", *words.split(), self.switch.endpoint, *arguments)

    def flows(self, *match):
        """The dump's lines, sorted, without what is counted."""
        return "".join(sorted(self.run("--no-stats dump-flows", *match).splitlines(keepends=True)))

    def enter(self, command, flows):
        """Gives the switch a file of flows, and has it compared with what the switch has then."""
        with tempfile.NamedTemporaryFile("w", suffix=".flows") as file:
            file.write(flows)
            file.flush()
            self.run(command, file.name)
            expect("diff-flows behind " + command, self.run("diff-flows", file.name), "")

    def sent_by(self, port):
        return int(re.search(r"tx pkts=(\d+)", self.run("dump-ports", port))[1])


def flows_go_in_and_change(client):
    client.enter("add-flows", FLOWS)
    expect("dump-flows", client.flows(), DUMP)
    for sent, match, wanted in CHANGES:
        client.run(*sent.rsplit(" ", 1))
        expect(f"{match} behind {sent}", client.flows(match), wanted)
    client.enter("replace-flows", FLOWS)


def packets_count(client):
    before = client.sent_by("2")
    for _ in range(3):
        client.run("packet-out", f"in_port=1,packet={PACKET},actions=TABLE")
    until(lambda: "n_packets=3, n_bytes=162," in client.run("dump-flows", "tcp"), "its flow has counted the packets")
    assert "packet_count=3 byte_count=162 flow_count=8" in client.run("dump-aggregate"), client.run("dump-aggregate")
    assert "active=8, lookup=3, matched=3" in client.run("dump-tables"), client.run("dump-tables")
    expect("frames out of port 2", client.sent_by("2") - before, 3)


def monitors_see_packets(client):
    with reading(*client.command("monitor", "32"), stderr=subprocess.STDOUT) as monitor:
        while not select.select([monitor], [], [], 0.1)[0]:  # it does not say when it is ready
            client.run("packet-out", "in_port=6,packet=ffffffffffff0000000000aa88b5,actions=TABLE")
        seen = read_until(monitor, "dl_type=0x88b5")
        assert "total_len=14 in_port=6 (via no_match)" in seen, seen
        client.switch.run("packet in_port=7,dl_type=0x88b6,len=64")
        seen = read_until(monitor, "dl_type=0x88b6")
        assert "total_len=64 in_port=7 (via no_match)" in seen, seen
        client.run("mod-port", "5", "no-flood")
        read_until(monitor, "OFPT_PORT_STATUS")


def what_cannot_be_added_is_refused(client):
    overlapping = "check_overlap,priority=70,dl_type=0x0806,in_port=1,actions=drop"
    assert "OFPFMFC_OVERLAP" in client.run("add-flow", overlapping, status=1)
    client.run("del-flows")
    client.enter("add-flows", "".join(f"priority={n},tcp,tp_dst={n},actions=NORMAL\n" for n in range(4095)))
    assert "OFPFMFC_TABLE_FULL" in client.run("add-flow", "udp,actions=drop", status=1)
    assert "flow_count=4095" in client.run("dump-aggregate")


def main():
    require("ovs-ofctl")
    with Switch("--listen", "ptcp:0:127.0.0.1", "--datapath-id", "2a") as switch:
        client = Client(switch)
        assert "dpid:000000000000002a" in client.run("show")
        flows_go_in_and_change(client)
        packets_count(client)
        monitors_see_packets(client)
        what_cannot_be_added_is_refused(client)


if __name__ == "__main__":
    main()
