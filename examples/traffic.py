# SPDX-License-Identifier: Apache-2.0
"""The traffic: frames that enter the campus switch on one port."""

from dataclasses import dataclass
from ipaddress import IPv4Network

import frames
from campus import INTERNET_PORT, SERVICES, random_address, subnet, vlans

BROADCAST = "ff:ff:ff:ff:ff:ff"
PROTOCOLS = {"icmp": frames.ICMP, "tcp": frames.TCP, "udp": frames.UDP}
STRAY_SHARE = 0.125


@dataclass(frozen=True)
class Place:
    """A port of the switch, the VLANs that are tagged on it, and the addresses behind it."""

    port: int
    vlans: tuple
    addresses: IPv4Network

    def sees(self, flow):
        """Whether frames for the flow may enter here."""
        station = "dl_src" in flow.match or "dl_vlan" in flow.match
        return flow.match.get("in_port", self.port) == self.port and (
            flow.match.get("dl_vlan") in self.vlans or not station)


FIRST_BUILDING = Place(1, tuple(vlans(0)), subnet(0))
INTERNET = Place(INTERNET_PORT, (), IPv4Network("32.0.0.0/3"))


class Traffic:
    """Draws frames: most of them match a given flow, with everything that the flow leaves open left to chance."""

    def __init__(self, place, classes, rng):
        self.place = place
        self.rng = rng
        visible = [[flow for flow in flows if place.sees(flow)] for flows in classes.values()]
        self.classes = [flows for flows in visible if flows]

    def frame(self):
        if self.rng.random() < STRAY_SHARE:
            return self.stray()
        return self.matching(self.rng.choice(self.rng.choice(self.classes)).match)

    def matching(self, match):
        source, destination = match.get("dl_src", self.mac()), match.get("dl_dst", self.mac())
        vlan = match.get("dl_vlan", self.rng.choice((None, *self.place.vlans)))
        protocol = next((name for name in ("arp", "ip", *PROTOCOLS) if name in match), None)
        if protocol is None:
            protocol = self.rng.choice(("arp", "ip", "ip", "ip", "ipv6"))
        if protocol == "arp":
            return self.arp(source, match.get("dl_dst", BROADCAST), vlan)
        payload = self.ipv6() if protocol == "ipv6" else self.ipv4(protocol, match)
        return frames.ethernet(source, destination, vlan, payload)

    def stray(self):
        """A frame that no flow, or only the default route, was written for."""
        source, vlan = self.mac(), self.rng.choice((None, 1, 199))
        kinds = (
            lambda: frames.ethernet(source, self.mac(), vlan, self.ipv4("ip", {})),
            lambda: frames.ethernet(source, "33:33:00:00:00:01", vlan, self.ipv6()),
            lambda: self.arp(source, BROADCAST, vlan),
            lambda: frames.ieee_802_3(source, "01:80:c2:00:00:00", b"\x42\x42\x03" + bytes(35)),
        )
        return self.rng.choice(kinds)()

    def arp(self, source, destination, vlan):
        addresses = [random_address(self.rng, self.place.addresses) for _ in range(2)]
        return frames.ethernet(source, destination, vlan, frames.arp_request(source, *addresses))

    def ipv4(self, protocol, match):
        if protocol == "ip":
            protocol = self.rng.choice(tuple(PROTOCOLS))
        source = random_address(self.rng, IPv4Network(match.get("nw_src", self.place.addresses)))
        destination = random_address(self.rng, IPv4Network(match.get("nw_dst", "10.0.0.0/8")))
        source_port = self.rng.randrange(32768, 61000)
        port = match.get("tp_dst") or self.rng.choice(SERVICES.get(protocol, (0,)))
        number = PROTOCOLS[protocol]
        segment = frames.segment(number, source, destination, source_port, port, self.data(port))
        return frames.ipv4(number, source, destination, match.get("nw_tos", 0), segment)

    def ipv6(self):
        return frames.ipv6(next_header=59, data=self.rng.randbytes(self.rng.randrange(400)))

    def data(self, port):
        if port == 53:
            return frames.dns_query(self.rng.randrange(65536), "www.example.org")
        return self.rng.randbytes(self.rng.choice((0, 40, 400, 1400)))

    def mac(self):
        return "06:" + self.rng.randbytes(5).hex(":")
