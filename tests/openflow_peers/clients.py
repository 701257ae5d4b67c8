# SPDX-License-Identifier: Apache-2.0
"""Drives a serving oftab-switch with ovs-ofctl.  clients.py OFTAB_SWITCH"""
import os
import re
import subprocess
import tempfile
import time

from switch import Switch, expect, require, run

FLOWS = """\
priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80,actions=output:2
priority=90,in_port=3,dl_vlan=100,cookie=0x2a,actions=output:4,output:5
priority=90,dl_vlan=0xffff,udp,tp_src=53,actions=output:1,CONTROLLER:64
priority=80,icmp,icmp_type=8,icmp_code=0,idle_timeout=600,hard_timeout=900,actions=NORMAL
priority=70,arp,actions=NORMAL
priority=60,ip,nw_src=192.168.1.0/24,nw_tos=32,actions=CONTROLLER:128
priority=50,dl_src=00:11:22:33:44:55,dl_dst=66:77:88:99:aa:bb,dl_type=0x88cc,actions=drop
"""

# As ovs-ofctl prints what the switch says of them.
DUMP = """\
 cookie=0x2a, priority=90,in_port=3,dl_vlan=100 actions=output:4,output:5
 idle_timeout=600, hard_timeout=900, priority=80,icmp,icmp_type=8,icmp_code=0 actions=NORMAL
 priority=100,tcp,nw_dst=10.0.0.0/8,tp_dst=80 actions=output:2
 priority=50,dl_src=00:11:22:33:44:55,dl_dst=66:77:88:99:aa:bb,dl_type=0x88cc actions=drop
 priority=60,ip,nw_src=192.168.1.0/24,nw_tos=32 actions=CONTROLLER:128
 priority=70,arp actions=NORMAL
 priority=90,udp,vlan_tci=0x0000,tp_src=53 actions=output:1,CONTROLLER:64
"""

# A packet of 10.9.8.7:1025 to 10.0.0.1:80 over TCP, untagged.
PACKET = "0200000000aa0200000000bb08004500002800000000400665160a0908070a0000010401005000000000000000005002000000000000"


class Client:
    def __init__(self, switch):
        self.switch = switch
        self.endpoint = switch.endpoint
        self.environment = {**os.environ, "OVS_RUNDIR": switch.directory.name}

    def run(self, command, *arguments, status=0, options=()):
        """What it prints, complaints included."""
        return run("ovs-ofctl", "-O", "OpenFlow10", *options, command, self.endpoint, *arguments, status=status)

    def flows(self, *match):
        """The dump's lines, sorted, without what is counted."""
        return "".join(sorted(self.run("dump-flows", *match, options=["--no-stats"]).splitlines(keepends=True)))

    def monitor(self, length):
        return subprocess.Popen(["ovs-ofctl", "-O", "OpenFlow10", "monitor", self.endpoint, str(length)],
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env=self.environment)


def read_until(monitor, text):
    """What a monitor prints up to and with the line that has `text`."""
    seen = ""
    while text not in seen:
        line = monitor.stdout.readline()
        assert line, f"the monitor ended before {text}:\n{seen}"
        seen += line
    return seen


def file_of(text):
    file = tempfile.NamedTemporaryFile("w", suffix=".flows")
    file.write(text)
    file.flush()
    return file


def flows_go_in_and_come_back(client):
    with file_of(FLOWS) as file:
        client.run("add-flows", file.name)
        expect("dump-flows", client.flows(), DUMP)
        expect("diff-flows", client.run("diff-flows", file.name), "")


def flows_change(client):
    client.run("mod-flows", "ip,nw_dst=10.0.0.0/8,actions=output:7")
    assert "actions=output:7" in client.flows("tcp,nw_dst=10.0.0.0/8")
    client.run("mod-flows", "priority=70,arp,actions=output:8", options=["--strict"])
    expect("a strict change", client.flows("arp"), " priority=70,arp actions=output:8\n")
    client.run("del-flows", "priority=71,arp", options=["--strict"])
    assert client.flows("arp") != "", "a strict delete of another priority"
    client.run("del-flows", "priority=70,arp", options=["--strict"])
    expect("a strict delete", client.flows("arp"), "")
    client.run("del-flows", "ip")
    expect("a loose delete", client.flows("ip"), "")


def files_replace_flows(client):
    with file_of(FLOWS) as file:
        client.run("replace-flows", file.name)
        expect("diff-flows behind replace-flows", client.run("diff-flows", file.name), "")


def packets_count(client):
    before = int(re.search(r"tx pkts=(\d+)", client.run("dump-ports", "2"))[1])
    for _ in range(3):
        client.run("packet-out", f"in_port=1,packet={PACKET},actions=TABLE")
    time.sleep(0.7)  # statistics may be half a second old
    assert "n_packets=3, n_bytes=162," in client.run("dump-flows", "tcp"), client.run("dump-flows")
    assert "packet_count=3 byte_count=162 flow_count=7" in client.run("dump-aggregate"), client.run("dump-aggregate")
    assert "active=7, lookup=3, matched=3" in client.run("dump-tables"), client.run("dump-tables")
    expect("frames out of port 2", int(re.search(r"tx pkts=(\d+)", client.run("dump-ports", "2"))[1]) - before, 3)


def monitors_see_packets(client):
    monitor = client.monitor(32)
    time.sleep(1)  # it says nothing when it is ready
    client.run("packet-out", "in_port=6,packet=ffffffffffff0000000000aa88b5,actions=TABLE")
    seen = read_until(monitor, "dl_type=0x88b5")
    assert "total_len=14 in_port=6 (via no_match)" in seen, seen
    client.switch.run("packet in_port=7,dl_type=0x88b6,len=64")
    seen = read_until(monitor, "dl_type=0x88b6")
    assert "total_len=64 in_port=7 (via no_match)" in seen, seen
    client.run("mod-port", "5", "no-flood")
    read_until(monitor, "OFPT_PORT_STATUS")
    monitor.terminate()
    monitor.communicate()


def overlaps_are_refused(client):
    flow = "check_overlap,priority=70,dl_type=0x0806,in_port=1,actions=drop"
    assert "OFPFMFC_OVERLAP" in client.run("add-flow", flow, status=1)


def the_table_fills(client):
    client.run("del-flows")
    with file_of("".join(f"priority={n},tcp,tp_dst={n},actions=NORMAL\n" for n in range(4095))) as file:
        client.run("add-flows", file.name)
        expect("diff-flows of a full table", client.run("diff-flows", file.name), "")
    assert "OFPFMFC_TABLE_FULL" in client.run("add-flow", "udp,actions=drop", status=1)
    assert "flow_count=4095" in client.run("dump-aggregate")


def main():
    require("ovs-ofctl")
    with Switch("--listen", "ptcp:0:127.0.0.1", "--datapath-id", "2a") as switch:
        client = Client(switch)
        assert "dpid:000000000000002a" in client.run("show")
        flows_go_in_and_come_back(client)
        flows_change(client)
        files_replace_flows(client)
        packets_count(client)
        monitors_see_packets(client)
        overlaps_are_refused(client)
        the_table_fills(client)


if __name__ == "__main__":
    main()
