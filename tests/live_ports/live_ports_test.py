# SPDX-License-Identifier: Apache-2.0
"""Frames of hosts in network namespaces through serving switches.  live_ports_test.py OFTAB_SWITCH

Skipped where namespaces are not permitted."""
import fcntl
import random
import re
import socket
import struct
import time

from counting import every_frame_is_counted, too_many_frames_are_counted
from network import Switch, Tap, frame, main, ping_result, run, socket_in, transferred, until
from peer import LINK_DOWN, NO_FLOOD
from switch import PATIENCE, PROGRAM, expect

TUNSETIFF, TUNSETPERSIST, IFF_TAP_NO_PI = 0x400454CA, 0x400454CB, 0x1002


def both_ways(*pairs):
    return "; ".join(f"add-flow priority=10,in_port={one},actions=output:{other}"
                     for pair in pairs for one, other in (pair, pair[::-1]))


def passed(switch, *ports):
    """Frames that came in and left by ports, once none is on the road."""
    def sums():
        counts = [each for port, each in switch.all_counts().items() if port in ports]
        return sum(each["rx_pkts"] for each in counts), sum(each["tx_pkts"] for each in counts)
    before = sums()
    while (now := time.sleep(0.05) or sums()) != before:
        before = now
    return now


def tags_stay(one, other, third):
    with Switch({1: one, 2: other, 3: third}) as switch:
        switch.run("add-flow priority=10,in_port=1,dl_vlan=5,actions=output:2;"
                   "add-flow priority=9,in_port=1,actions=output:3")
        a, b, c = Tap(one), Tap(other), Tap(third)
        tagged, priority, untagged = frame(2, 1, tag=5), frame(2, 1, tag=3 << 13 | 5), frame(2, 1)
        a.send(tagged, untagged, priority)
        b.expect(tagged, priority)
        c.expect(untagged)
        b.expect_silence()


def links_go_down(one, other, third):
    with Switch({1: one, 2: other, 3: third}, "--miss", "normal") as switch:
        switch.run("add-flow priority=10,in_port=3,actions=output:2")
        controller = switch.peer()
        a, c = Tap(one), Tap(third)
        other.ip("link", "set", "eth0", "down")
        expect("port-status", controller.port_status(), (2, 0, LINK_DOWN, 0x00C0))
        a.send(frame(255, 1))
        c.expect(frame(255, 1))
        c.send(frame(2, 3))
        until(lambda: switch.counts(2)["tx_drop"] == 1, "the flow's frame is dropped")
        other.ip("link", "set", "eth0", "up")
        expect("port-status", controller.port_status(), (2, 0, 0, 0x00C0))
        b = Tap(other)
        c.send(frame(2, 3))
        b.expect(frame(2, 3))
        mac = other.far_mac()
        run("ip", "link", "del", other.far)
        expect("port-status", controller.port_status()[:3], (2, 0, LINK_DOWN))
        row = next(line for line in switch.run("ports").splitlines() if "p2" in line)
        assert f"p2 (missing)  {mac.hex(':')}  down" in row, row
        controller.port_mod(2, mac, NO_FLOOD, NO_FLOOD)
        expect("port-status of the missing interface's address", controller.port_status()[:2], (2, NO_FLOOD))
        controller.port_mod(2, mac, 0, NO_FLOOD)
        other.plug()
        until(lambda: controller.port_status()[1:3] == (0, 0), "it is back and up")
        b = Tap(other)
        c.send(frame(2, 3))
        b.expect(frame(2, 3))
        switch.run("port detach 2")
        expect("port-status of a port that leads nowhere", controller.port_status()[:3], (2, 0, LINK_DOWN))


def taps_come_and_go(one, other, third):
    """A TAP exists while its port is attached; one that is removed is taken up again when it comes back."""
    with Switch({1: "tap:t0", 2: one}, "--miss", "normal") as switch:
        def link_becomes(end, state):
            until(lambda: re.search(rf"\b{end} .* {state}", switch.run("ports")), f"{end} is {state}")
        a, tap = Tap(one), Tap(interface="t0")
        tap.send(frame(255, 4, tag=5))
        a.expect(frame(255, 4, tag=5))
        run("ip", "link", "del", "t0")
        link_becomes("tap:t0", "down")
        with open("/dev/net/tun", "r+b", buffering=0) as other_program:  # which lets go of it without an event
            fcntl.ioctl(other_program, TUNSETIFF, struct.pack("16sH", b"t0", IFF_TAP_NO_PI))
            fcntl.ioctl(other_program, TUNSETPERSIST, 1)
            one.ip("link", "set", "eth0", "down")
            link_becomes("p1", "down")
        link_becomes("tap:t0", "up")
        one.ip("link", "set", "eth0", "up")
        switch.run("port detach 1")
        run("ip", "link", "del", "t0")  # which was there before
        switch.run("port attach 1 tap:t0; port detach 1")
        run("ip", "link", "show", "t0", status=1)


def checksums_are_complete_where_they_must_be(one, other, third):
    """Hosts leave them to their interfaces: a packet that waits for a controller has to get its own, segments theirs."""
    with Switch({1: one, 2: other}) as switch:
        switch.run("add-flow priority=10,arp,actions=normal")
        controller = switch.peer()
        listener = socket_in(other, socket.AF_INET, socket.SOCK_DGRAM)
        listener.bind((other.address, 9000))
        listener.settimeout(PATIENCE)
        socket_in(one, socket.AF_INET, socket.SOCK_DGRAM).sendto(b"odd", (other.address, 9000))
        buffer, port = controller.packet_in()
        controller.packet_out(buffer, port, 2)
        expect("by packet-out", listener.recv(100), b"odd")

        switch.run(both_ways((1, 2)))
        sent = random.Random(1).randbytes(200_000)
        assert transferred(one, other, other.address, sent) == sent, "a stream arrives as it was sent"


def members_leave_and_join(one, other, third):
    """Two switches with a port channel of two veths between them: what is lost is what is sent while none is a member."""
    for host, peer in (one, other), (other, one):  # who need not ask for each other's address
        host.ip("neighbour", "replace", peer.address, "lladdr", peer.mac, "dev", "eth0")
    for number in (7, 8):
        run("ip", "link", "add", f"left{number}", "type", "veth", "peer", "name", f"right{number}")
        for side in ("left", "right"):
            run("ip", "link", "set", f"{side}{number}", "up")
    with Switch({1: one, 7: "left7", 8: "left8"}) as left, \
            Switch({1: other, 7: "right7", 8: "right8"}, "--miss", "normal") as right:
        right.run("port-channel create 1 7 8")
        left.run("port-channel create 1 7; interface openflow pc1 on; interface add pc1;"
                 "add-flow priority=10,in_port=1,actions=output:pc1;"
                 "add-flow priority=9,in_port=7,actions=output:1; add-flow priority=9,in_port=8,actions=output:1")
        expect("pings by one member", one.ping(other.address), (20, 20, 0))

        def pinged_meanwhile(*commands):
            ping = one.start_ping(other.address, 200)
            for command in commands:
                before = left.counts(1)["rx_pkts"]
                until(lambda: left.counts(1)["rx_pkts"] > before + 5, "pings are sent")
                left.run(command)
            return ping_result(ping)

        sent, answered, twice = pinged_meanwhile("port-channel join 1 8", "port-channel leave 1 7")
        expect("pings lost where the other joins first", sent - answered, 0)
        assert 0 < twice < sent, f"{twice} of {sent} pings went by both members"

        before = passed(left, 1)[0], passed(left, 7, 8)[1]
        sent, answered, twice = pinged_meanwhile("port-channel leave 1 8", "port-channel join 1 7")
        after = passed(left, 1)[0], passed(left, 7, 8)[1]
        assert 0 < answered < sent and twice == 0, f"{answered} of {sent} answered, {twice} twice"
        expect("pings lost while there was no member", sent - answered, after[0] - before[0] - (after[1] - before[1]))


# What a port cannot lead to.
COMPLAINTS = (
    ("1=nowhere0", "nowhere0: No such device"),
    ("1=lo", "lo is a loopback interface"),
    ("1=tun0", "tun0 carries no Ethernet frames"),
    ("1=p3", "p3 is taken: it is a member of br0"),
    ("1=tap:p2", "p2 exists and is no TAP"),
    ("1=tap:tun0", "tun0 exists and is no TAP"),
    ("1=tap:tap0", "tap0 is taken: Device or resource busy"),
)


def bad_input_names_itself(one, other, third):
    run("ip", "link", "add", "br0", "type", "bridge")
    run("ip", "link", "set", third.far, "master", "br0")
    run("ip", "tuntap", "add", "tun0", "mode", "tun")
    with Switch({1: one, 2: "tap:tap0"}) as switch:
        taken = f"is taken: a port of process {switch.process.pid} leads to it"
        for port, complaint in COMPLAINTS + (("1=p1", "p1 " + taken),):
            seen = run(PROGRAM, "serve", "--listen", "ptcp:0", "--port", port, status=1)
            assert complaint in seen, seen
        for end in "p1", "tap0":
            seen = switch.run(f"port attach 3 {end}", status=1)
            assert f"{end} is taken: another port of this switch leads to it" in seen, seen
        switch.kill()
        with Switch({1: one, 2: "tap:tap0"}):
            pass


# First those that count every frame, while the hosts have sent none by themselves that they may send again.
SCENARIOS = (every_frame_is_counted, too_many_frames_are_counted, tags_stay, links_go_down, taps_come_and_go,
             checksums_are_complete_where_they_must_be, members_leave_and_join, bad_input_names_itself)


if __name__ == "__main__":
    main(SCENARIOS, 3)
