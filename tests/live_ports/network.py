# SPDX-License-Identifier: Apache-2.0
"""Hosts in network namespaces, and oftab-switches whose ports lead to them."""
import ctypes
import json
import os
import re
import socket
import struct
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path += [os.path.join(HERE, part) for part in ("../openflow_peers", "../../examples")]

from isolation import is_permitted, isolate
from peer import Peer
import switch
from switch import SKIPPED, require, run, until

_libc = ctypes.CDLL(None, use_errno=True)
_CLONE_NEWNET = 0x40000000
_SOL_PACKET, _PACKET_AUXDATA, _PACKET_IGNORE_OUTGOING, _VLAN_VALID, _ETH_P_ALL = 263, 8, 23, 1 << 4, 3


def quieten(*prefix):
    """No frames but those of the test."""
    run(*prefix, "sh", "-c", "for each in all default; do echo 1 > /proc/sys/net/ipv6/conf/$each/disable_ipv6; done")


class Host:
    """Number N is called hN, has 10.0.0.N and 02:00:00:00:00:N, and one interface, eth0, whose other end is pN."""

    def __init__(self, number):
        self.name, self.far, self.address = f"h{number}", f"p{number}", f"10.0.0.{number}"
        self.mac = f"02:00:00:00:00:{number:02x}"
        run("ip", "netns", "add", self.name)
        quieten("ip", "netns", "exec", self.name)
        self.plug()

    def plug(self):
        run("ip", "link", "add", self.far, "type", "veth", "peer", "name", "eth0", "address", self.mac, "netns",
            self.name)
        run("ip", "link", "set", self.far, "up")
        self.ip("address", "add", f"{self.address}/24", "dev", "eth0")
        self.ip("link", "set", "eth0", "up")

    def ip(self, *words):
        return run("ip", "-n", self.name, *words)

    def forget(self):
        """Others' addresses, and what was counted so far."""
        self.ip("neighbour", "flush", "all")
        self.received_before = 0
        self.received_before = self.received()

    def far_mac(self):
        """Of the interface that a switch has."""
        return bytes.fromhex(json.loads(run("ip", "-json", "link", "show", self.far))[0]["address"].replace(":", ""))

    def received(self):
        """Frames that came since."""
        counts = json.loads(self.ip("-json", "-statistics", "link", "show", "eth0"))[0]["stats64"]
        return counts["rx"]["packets"] - self.received_before

    def start_ping(self, address, count):
        return subprocess.Popen(["ip", "netns", "exec", self.name, "ping", "-q", "-c", str(count), "-i", "0.01",
                                 "-W", "2", address], stdout=subprocess.PIPE, text=True)

    def ping(self, address):
        return ping_result(self.start_ping(address, 20))


def ping_result(ping):
    """How many requests were sent, answered, and answered again."""
    text = ping.communicate(timeout=60)[0]
    duplicates = re.search(r"\+(\d+) duplicates", text)
    counts = re.search(r"(\d+) packets transmitted, (\d+) received", text)
    return int(counts[1]), int(counts[2]), int(duplicates[1]) if duplicates else 0


def socket_in(host, *kind):
    """A socket of a host, for this program; of TCP unless it is told otherwise."""
    before, inside = (os.open(path, os.O_RDONLY) for path in ("/proc/self/ns/net", f"/run/netns/{host.name}"))
    try:
        _enter(inside)
        return socket.socket(*kind)
    finally:
        _enter(before)
        os.close(before)
        os.close(inside)


def _enter(namespace):
    if _libc.setns(namespace, _CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "setns")


def transferred(one, other, address, octets):
    """What arrives of octets that one host sends to another by TCP."""
    with socket_in(other, socket.AF_INET) as server, socket_in(one, socket.AF_INET) as client:
        server.listen()
        client.connect((address, server.getsockname()[1]))
        with server.accept()[0] as receiver:
            sender = threading.Thread(target=lambda: (client.sendall(octets), client.shutdown(socket.SHUT_WR)))
            sender.start()
            arrived = receiver.makefile("rb").read()
            sender.join()
            return arrived


class Switch(switch.Switch):
    """Its ports lead to hosts or interfaces."""

    def __init__(self, ports, *options):
        words = [word for number, far in ports.items() for word in ("--port", f"{number}={getattr(far, 'far', far)}")]
        super().__init__("--listen", "ptcp:0:127.0.0.1", *words, *options)

    def peer(self):
        """A controller whose session is established."""
        made = Peer.of(self.endpoint)
        made.barrier()
        return made

    def counts(self, number):
        """Of a port, by name: rx_pkts, tx_drop ..."""
        return self.all_counts()[number]

    def all_counts(self):
        """By port."""
        return {int(number): {f"{side}_{name}": int(value) for side, text in (("rx", received), ("tx", sent))
                              for name, value in re.findall(r"(\w+)=(\d+)", text)}
                for number, received, sent in re.findall(r"port Eth1/(\d+): rx (.*); tx (.*)", self.run("dump-ports"))}


class Tap:
    """A host's interface, or one of nobody's, for frames as they are, tags included; what it sends is not seen."""

    def __init__(self, host=None, interface="eth0"):
        kind = socket.AF_PACKET, socket.SOCK_RAW, socket.htons(_ETH_P_ALL)
        self.socket = socket_in(host, *kind) if host else socket.socket(*kind)
        self.socket.bind((interface, _ETH_P_ALL))
        for option in _PACKET_AUXDATA, _PACKET_IGNORE_OUTGOING:
            self.socket.setsockopt(_SOL_PACKET, option, 1)
        self.socket.setblocking(False)

    def send(self, *frames):
        for frame in frames:
            self.socket.send(frame)

    def next(self):
        """The next frame that waits; none when there is none."""
        try:
            frame, extra, *_ = self.socket.recvmsg(65536, 64)
        except BlockingIOError:
            return None
        status, *_, tag, kind = struct.unpack_from("=IIIHHHH", extra[0][2])
        return frame if not status & _VLAN_VALID else frame[:12] + struct.pack("!HH", kind, tag) + frame[12:]

    def expect(self, *frames):
        """These frames come, in this order, and no others before them."""
        for frame in frames:
            seen = until(self.next, f"{frame.hex()} arrives")
            assert seen == frame, f"{seen.hex()} instead of {frame.hex()}"

    def expect_silence(self):
        seen = self.next()
        assert seen is None, seen.hex()


def frame(to, sender, kind=0x88B5, tag=None, payload=b"payload"):
    """Between hosts by number; 255 is all of them, as receiver."""
    receiver = b"\xff" * 6 if to == 255 else bytes((2, 0, 0, 0, 0, to))
    vlan = b"" if tag is None else struct.pack("!HH", 0x8100, tag)
    return (receiver + bytes((2, 0, 0, 0, 0, sender)) + vlan + struct.pack("!H", kind) + payload).ljust(60, b"\0")


def main(scenarios, count, *programs):
    """Runs scenarios, each with hosts 1 to a count; skipped where those or a program cannot be."""
    require("ip", "ping", *programs)
    if os.geteuid() != 0 or not is_permitted():
        print("skipped: network namespaces are not permitted here")
        sys.exit(SKIPPED)
    isolate("-B")
    quieten()
    hosts = [Host(number) for number in range(1, count + 1)]
    for scenario in scenarios:
        begin = time.monotonic()
        for host in hosts:
            host.forget()
        scenario(*hosts)
        print(f"{scenario.__name__.replace('_', ' ')}: {time.monotonic() - begin:.2f} s", flush=True)
