# SPDX-License-Identifier: Apache-2.0
"""Frames of hosts in network namespaces through serving switches.  live_ports_test.py OFTAB_SWITCH

Skipped where namespaces are not permitted."""
import os
import random
import re
import socket
import sys
import threading
import time

sys.path.append(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../examples"))

from counting import every_frame_is_counted, too_many_frames_are_counted
from isolation import is_permitted, isolate
from network import PATIENCE, PROGRAM, Host, Switch, Tap, frame, ping_result, quieten, run, socket_in, until
import openflow

SKIPPED = 77


def both_ways(*pairs):
    return "; ".join(f"add-flow priority=10,in_port={one},actions=output:{other}"
                     for pair in pairs for one, other in (pair, pair[::-1]))


def expect(what, seen, wanted):
    assert seen == wanted, f"{what}: {seen}, not {wanted}"


def passed(switch, *ports):
    """Frames that came in and left by ports, once none is on the road."""
    def sums():
        counts = [each for port, each in switch.all_counts().items() if port in ports]
        return sum(each["rx_pkts"] for each in counts), sum(each["tx_pkts"] for each in counts)
    before = sums()
    while (now := time.sleep(0.05) or sums()) != before:
        before = now
    return now


def flows_carry_pings(one, other, third):
    with Switch({1: one, 2: other}) as switch:
        switch.run(both_ways((1, 2)))
        expect("pings by flows", one.ping(other), (20, 20, 0))
        frames_in, frames_out = passed(switch, 1, 2)
        assert frames_in == frames_out >= 40, f"{frames_in} in, {frames_out} out"
        until(lambda: sum(map(int, re.findall(r"n_packets=(\d+)", switch.run("dump-flows")))) == frames_in,
              "the flows count the same")


def bridges_learn(one, other, third):
    with Switch({1: one, 2: other, 3: third}, "--miss", "normal") as switch:
        with_third = Tap(third)
        expect("pings by normal", one.ping(other), (20, 20, 0))
        seen = iter(with_third.next, None)
        assert all(each[:6] == b"\xff" * 6 for each in seen), "a host gets what is for another, which was heard"
        frames_in, _ = passed(switch, 1, 2, 3)
        floods = switch.counts(3)["tx_pkts"]
        expect("frames out", passed(switch, 1, 2, 3)[1], frames_in + floods)
        assert floods > 0


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
        controller = openflow.Client(switch)
        a, c = Tap(one), Tap(third)
        other.ip("link", "set", "eth0", "down")
        expect("port-status", controller.port_status(), (2, 0, openflow.LINK_DOWN, 0x00C0))
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
        expect("port-status", controller.port_status()[:3], (2, 0, openflow.LINK_DOWN))
        row = next(line for line in switch.run("ports").splitlines() if "p2" in line)
        assert f"p2 (missing)  {mac.hex(':')}  down" in row, row
        controller.port_mod(2, mac, openflow.NO_FLOOD, openflow.NO_FLOOD)
        expect("port-status of the missing interface's address", controller.port_status()[:2], (2, openflow.NO_FLOOD))
        controller.port_mod(2, mac, 0, openflow.NO_FLOOD)
        other.plug()
        until(lambda: controller.port_status()[1:3] == (0, 0), "it is back and up")
        b = Tap(other)
        c.send(frame(2, 3))
        b.expect(frame(2, 3))
        switch.run("port detach 2")
        expect("port-status of a port that leads nowhere", controller.port_status()[:3], (2, 0, openflow.LINK_DOWN))


def ports_do_as_told(one, other, third):
    with Switch({1: one, 2: other, 3: third}, "--miss", "normal") as switch:
        controller = openflow.Client(switch)
        a, b, c = Tap(one), Tap(other), Tap(third)
        controller.port_mod(2, other.far_mac(), openflow.NO_FLOOD, openflow.NO_FLOOD)
        expect("port-status", controller.port_status()[:2], (2, openflow.NO_FLOOD))
        a.send(frame(255, 1))
        c.expect(frame(255, 1))
        b.send(frame(1, 2))  # 2 is known now
        a.expect(frame(1, 2))
        a.send(frame(2, 1))
        b.expect(frame(2, 1))
        controller.port_mod(3, third.far_mac(), openflow.PORT_DOWN, openflow.PORT_DOWN)
        expect("port-status", controller.port_status()[:2], (3, openflow.PORT_DOWN))
        b.send(frame(255, 2))
        a.expect(frame(255, 2))
        c.expect_silence()


def controllers_get_and_send_frames(one, other, third):
    with Switch({1: one, 2: other, 3: third}) as switch:
        controller = openflow.Client(switch)
        a, b, c = Tap(one), Tap(other), Tap(third)
        a.send(frame(2, 1))
        buffer, port = controller.packet_in()
        expect("the port of the packet-in", port, 1)
        controller.packet_out(2, port, buffer=buffer)
        b.expect(frame(2, 1))
        controller.packet_out(openflow.FLOOD, 1, frame(255, 9))
        b.expect(frame(255, 9))
        c.expect(frame(255, 9))
        a.expect_silence()


def checksums_are_complete_where_they_must_be(one, other, third):
    """Hosts leave them to their interfaces: a packet that waits for a controller has to get its own, segments theirs."""
    with Switch({1: one, 2: other}) as switch:
        switch.run("add-flow priority=10,arp,actions=normal")
        controller = openflow.Client(switch)
        listener = socket_in(other, socket.AF_INET, socket.SOCK_DGRAM)
        listener.bind((other.address, 9000))
        listener.settimeout(PATIENCE)
        socket_in(one, socket.AF_INET, socket.SOCK_DGRAM).sendto(b"odd", (other.address, 9000))
        buffer, port = controller.packet_in()
        controller.packet_out(2, port, buffer=buffer)
        expect("by packet-out", listener.recv(100), b"odd")

        switch.run(both_ways((1, 2)))
        server = socket_in(other, socket.AF_INET, socket.SOCK_STREAM)
        server.bind((other.address, 9000))
        server.listen()
        client = socket_in(one, socket.AF_INET, socket.SOCK_STREAM)
        client.connect((other.address, 9000))
        with server.accept()[0] as receiver, client:
            sent = random.Random(1).randbytes(200_000)
            sender = threading.Thread(target=lambda: (client.sendall(sent), client.shutdown(socket.SHUT_WR)))
            sender.start()
            assert receiver.makefile("rb").read() == sent, "a stream arrives as it was sent"
            sender.join()


def members_leave_and_join(one, other, third):
    """Two switches with a port channel of two veths between them: what is lost is what is sent while none is a member."""
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
        expect("pings by one member", one.ping(other), (20, 20, 0))

        ping = one.start_ping(other, 50)
        time.sleep(0.1)
        left.run("port-channel join 1 8")
        time.sleep(0.1)
        left.run("port-channel leave 1 7")
        sent, answered, twice = ping_result(ping)
        expect("pings lost where the other joins first", sent - answered, 0)
        assert 0 < twice < sent, f"{twice} of {sent} pings went by both members"

        before = passed(left, 1)[0], passed(left, 7, 8)[1]
        ping = one.start_ping(other, 50)
        time.sleep(0.1)
        left.run("port-channel leave 1 8")
        time.sleep(0.1)
        left.run("port-channel join 1 7")
        sent, answered, twice = ping_result(ping)
        after = passed(left, 1)[0], passed(left, 7, 8)[1]
        assert 0 < answered < sent and twice == 0, f"{answered} of {sent} answered, {twice} twice"
        expect("pings lost while there was no member", sent - answered, after[0] - before[0] - (after[1] - before[1]))


def bad_input_names_itself(one, other, third):
    run("ip", "link", "add", "br0", "type", "bridge")
    run("ip", "link", "set", third.far, "master", "br0")
    run("ip", "tuntap", "add", "tun0", "mode", "tun")
    with Switch({1: one, 2: "tap:tap0"}) as switch:
        taken = f"is taken: a port of process {switch.process.pid} leads to it"
        for port, complaint in (("1=nowhere0", "nowhere0: No such device"), ("1=", "PORT=INTERFACE"), ("99=p1", "99"),
                                ("1", "PORT=INTERFACE"), ("1=lo", "lo is a loopback interface"),
                                ("1=tun0", "tun0 carries no Ethernet frames"), ("1=p1", "p1 " + taken),
                                ("1=p3", "p3 is taken: it is a member of br0"), ("1=tap:p2", "p2 exists and is no TAP"),
                                ("1=tap:tun0", "tun0 exists and is no TAP"), ("1=tap:tap0", "tap0 is taken: Device or")):
            seen = run(PROGRAM, "serve", "--listen", "ptcp:0", "--port", port, status=1)
            assert complaint in seen, seen
        seen = switch.run("port attach 3 p1", status=1)
        assert "p1 is taken: another port of this switch leads to it" in seen, seen
        switch.kill()
        with Switch({1: one, 2: "tap:tap0"}):
            pass


# First those that count every frame, while the hosts have sent none by themselves that they may send again.
SCENARIOS = (every_frame_is_counted, too_many_frames_are_counted, flows_carry_pings, bridges_learn, tags_stay,
             links_go_down, ports_do_as_told, controllers_get_and_send_frames,
             checksums_are_complete_where_they_must_be, members_leave_and_join, bad_input_names_itself)


def main():
    if os.geteuid() != 0 or not is_permitted():
        print("skipped: network namespaces are not permitted here")
        sys.exit(SKIPPED)
    isolate("-B")
    quieten()
    hosts = [Host(number) for number in (1, 2, 3)]
    for scenario in SCENARIOS:
        begin = time.monotonic()
        for host in hosts:
            host.forget()
        scenario(*hosts)
        print(f"{scenario.__name__.replace('_', ' ')}: {time.monotonic() - begin:.2f} s", flush=True)


if __name__ == "__main__":
    main()
