# SPDX-License-Identifier: Apache-2.0
"""What a serving oftab-switch makes of packets that it changes, against scapy, octet by octet, checksums included.
  software.py OFTAB_SWITCH"""
import os
import struct
import sys

SYSTEM_PYTHON = "/usr/bin/python3"  # for which packages install

try:
    from scapy.all import ARP, ICMP, IP, TCP, UDP, Dot1Q, Ether, Raw
except ImportError:
    if sys.executable != SYSTEM_PYTHON and os.path.exists(SYSTEM_PYTHON):
        os.execv(SYSTEM_PYTHON, [SYSTEM_PYTHON, "-B", *sys.argv])
    print("skipped: scapy is not installed")
    sys.exit(77)

from peer import BARRIER_REPLY, BARRIER_REQUEST, FLOW_MOD, NO_BUFFER, PACKET_IN, PACKET_OUT, Peer, added_flow
from switch import Switch

CONTROLLER, TABLE = 0xFFFD, 0xFFF9

FRAMES = [Ether(dst="02:00:00:00:00:01", src="02:00:00:00:00:02") / rest for rest in (
    IP(src="10.0.0.1", dst="10.255.0.2", tos=0x2D) / TCP(sport=1025, dport=80, flags="S") / Raw(b"odd"),
    IP(src="10.0.0.1", dst="10.0.0.2", options=[]) / UDP(sport=53, dport=53) / Raw(bytes(range(31))),
    Dot1Q(vlan=5, prio=3) / IP(src="1.2.3.4", dst="255.255.255.254") / UDP(sport=1, dport=65535),
    IP(src="10.0.0.1", dst="10.0.0.2") / ICMP() / Raw(b"ping"),
    Dot1Q(vlan=4000) / ARP(psrc="10.0.0.1", pdst="10.0.0.2"),
)]


def tagged(field):
    def change(frame, value):
        if Dot1Q not in frame:
            inner = frame.payload
            kind = frame.type
            frame = Ether(dst=frame.dst, src=frame.src, type=0x8100) / Dot1Q(vlan=0, prio=0, type=kind) / inner
        setattr(frame[Dot1Q], field, value)
        return frame
    return change


def stripped(frame, _):
    if Dot1Q in frame:
        frame = Ether(dst=frame.dst, src=frame.src, type=frame[Dot1Q].type) / frame[Dot1Q].payload
    return frame


def service(frame, value):
    if IP in frame:
        frame[IP].tos = frame[IP].tos & 3 | value & 0xFC
    return frame


def dotted(value):
    return ".".join(str(octet) for octet in value.to_bytes(4, "big"))


def address(field):
    def change(frame, value):
        if IP in frame:
            setattr(frame[IP], field, dotted(value))
        return frame
    return change


def port(field):
    def change(frame, value):
        for kind in (TCP, UDP):
            if kind in frame:
                setattr(frame[kind], field, value)
        return frame
    return change


def mac(field):
    def change(frame, value):
        setattr(frame, field, ":".join(f"{octet:02x}" for octet in value.to_bytes(6, "big")))
        return frame
    return change


# By the action's number: how its value is written, and what it does.
CHANGES = {
    1: (lambda value: struct.pack("!Hxx", value), tagged("vlan")),
    2: (lambda value: struct.pack("!B3x", value), tagged("prio")),
    3: (lambda value: bytes(4), stripped),
    4: (lambda value: value.to_bytes(6, "big") + bytes(6), mac("src")),
    5: (lambda value: value.to_bytes(6, "big") + bytes(6), mac("dst")),
    6: (lambda value: struct.pack("!I", value), address("src")),
    7: (lambda value: struct.pack("!I", value), address("dst")),
    8: (lambda value: struct.pack("!B3x", value), service),
    9: (lambda value: struct.pack("!Hxx", value), port("sport")),
    10: (lambda value: struct.pack("!Hxx", value), port("dport")),
}

LISTS = [[(kind, value)] for kind, value in (
    (1, 0), (1, 4094), (2, 7), (3, 0), (4, 0x0A0B0C0D0E0F), (5, 0xFFFFFFFFFFFF), (6, 0), (6, 0xFFFFFFFF), (7, 0xC0A80101),
    (8, 0xB8), (9, 0), (10, 65535))] + [
    [(3, 0), (1, 9), (2, 1), (7, 0x01020304), (10, 8080), (8, 4)], [(6, 0xFFFF0000), (7, 0x0000FFFF), (9, 1), (3, 0)]]


def action(kind, value):
    body = CHANGES[kind][0](value)
    return struct.pack("!HH", kind, 4 + len(body)) + body


def output(number):
    return struct.pack("!HHHH", 0, 8, number, 0xFFFF)


def expected(frame, changes):
    frame = Ether(bytes(frame))
    for kind, value in changes:
        frame = Ether(bytes(CHANGES[kind][1](frame, value)))
    for kind in (IP, TCP, UDP):
        if kind in frame:
            del frame[kind].chksum
    return bytes(frame)


def packet_out(peer, data, actions):
    peer.send(PACKET_OUT, struct.pack("!IHH", NO_BUFFER, 1, len(actions)) + actions + data)


def packet_in(peer):
    return peer.wait_for(PACKET_IN)[10:]


def main():
    with Switch("--listen", "ptcp:0:127.0.0.1", "--packet-in-rate", "1000000", "--cpu-rate", "1000000") as switch:
        peer = Peer.of(switch.endpoint)
        for changes in LISTS:
            actions = b"".join(action(*each) for each in changes) + output(CONTROLLER)
            peer.send(FLOW_MOD, added_flow(0x3FFFFF, 0, 100, actions))  # of all packets, in place of the one before
            for frame in FRAMES:
                wanted = expected(frame, changes)
                for what, through in (("packet-out", actions), ("flow", output(TABLE))):
                    packet_out(peer, bytes(frame), through)
                    seen = packet_in(peer)
                    assert seen == wanted, f"{what} {changes} of {frame!r}:\n{seen.hex()}\n{wanted.hex()}"
        peer.send(BARRIER_REQUEST)
        peer.wait_for(BARRIER_REPLY)


if __name__ == "__main__":
    main()
