# SPDX-License-Identifier: Apache-2.0
"""The campus: its hosts, and the flows of its switch.

A building on each of ports 1 to 12, with three VLANs and a /16 of addresses each; servers on ports 25 to 36, the
internet on port 47, and two port channels to the neighbouring core switches.
"""

from dataclasses import dataclass
from ipaddress import IPv4Address, IPv4Network

BUILDINGS = 12
VLANS_PER_BUILDING = 3
ACCESS_PORTS = range(13, 25)
SERVER_PORTS = range(25, 37)
INTERNET_PORT = 47
CORES = ("pc1", "pc2")
SERVERS = IPv4Network("10.31.0.0/23")
SERVICES = {"tcp": (22, 25, 80, 443, 445, 993, 3389), "udp": (53, 67, 123, 161, 500, 5353)}


@dataclass(frozen=True)
class Host:
    mac: str
    ip: IPv4Address
    vlan: int
    port: int


@dataclass(frozen=True)
class Flow:
    match: dict
    actions: str

    def line(self, priority):
        fields = [name if value is None else f"{name}={value}" for name, value in self.match.items()]
        return ",".join([f"priority={priority}", *fields, f"actions={self.actions}"])


def subnet(building):
    return IPv4Network(f"10.{16 + building}.0.0/16")


def vlans(building):
    return range(100 + 10 * building, 100 + 10 * building + VLANS_PER_BUILDING)


def random_address(rng, network):
    return network.network_address + rng.randrange(network.num_addresses)


class Campus:
    """Draws flows. Each host is drawn once, so that it belongs to one flow."""

    def __init__(self, rng):
        self.rng = rng
        self.drawn = 0

    def host(self):
        self.drawn += 1
        building = self.rng.randrange(BUILDINGS)
        mac = f"02:{building:02x}:{self.rng.randrange(256):02x}:00:{self.drawn >> 8:02x}:{self.drawn & 255:02x}"
        ip = subnet(building).network_address + self.drawn
        return Host(mac, ip, self.rng.choice(vlans(building)), building + 1)

    def outside(self):
        address = self.rng.randrange(20 << 24, 200 << 24)
        return IPv4Network((address, self.rng.choice((8, 12, 16, 20, 24, 32))), strict=False)

    def one_output(self):
        return f"output:{self.rng.choice([*SERVER_PORTS, *CORES])}"

    def several_outputs(self):
        ports = sorted(self.rng.sample([*ACCESS_PORTS, *SERVER_PORTS], self.rng.randrange(2, 9)))
        return ",".join(f"output:{port}" for port in [*ports, *CORES[:self.rng.randrange(3)]])

    def source_guard(self):
        """A station may send from its own port and VLAN; a quarantined one not at all."""
        host = self.host()
        match = {"in_port": host.port, "dl_src": host.mac, "dl_vlan": host.vlan}
        return Flow(match, self.rng.choice(["normal"] * 9 + ["drop"]))

    def arp_rule(self):
        host = self.host()
        match = {"arp": None, "dl_src": host.mac, "dl_vlan": host.vlan}
        return Flow(match, self.rng.choice(["normal", "controller", "normal,controller", self.several_outputs()]))

    def host_binding(self):
        """What a station sends from its own address, some of it by service class."""
        host = self.host()
        match = {"ip": None, "dl_src": host.mac, "dl_vlan": host.vlan, "nw_src": host.ip}
        if self.rng.random() < 0.25:
            match["nw_tos"] = self.rng.choice((32, 72, 136, 184))
        return Flow(match, self.rng.choice(["normal", "drop", self.one_output(), self.one_output()]))

    def access_list_line(self):
        """From the internet to a server, or from a part of a building to a server or the internet."""
        protocol = self.rng.choice(("ip", "tcp", "tcp", "udp", "icmp"))
        server = SERVERS.network_address + self.rng.randrange(1, SERVERS.num_addresses - 1)
        if self.rng.random() < 0.3:
            match = {"in_port": INTERNET_PORT, protocol: None, "nw_src": self.outside(), "nw_dst": server}
        else:
            building = self.rng.randrange(BUILDINGS)
            part = IPv4Network((random_address(self.rng, subnet(building)), self.rng.randrange(17, 25)), strict=False)
            match = {protocol: None, "dl_vlan": self.rng.choice(vlans(building)), "nw_src": part}
            match["nw_dst"] = self.rng.choice((server, self.outside()))
        if protocol in SERVICES:
            match["tp_dst"] = self.rng.choice(SERVICES[protocol])
        actions = ("drop", "drop", "normal", "normal", self.one_output(), self.several_outputs(), "controller")
        return Flow(match, self.rng.choice(actions))

    def mac_table_line(self):
        """Where a station lives, or who listens to a multicast group."""
        host = self.host()
        if self.rng.random() < 0.2:
            group = f"01:00:5e:{self.rng.randrange(128):02x}:{host.mac[-5:]}"
            return Flow({"dl_vlan": host.vlan, "dl_dst": group}, self.several_outputs())
        port = self.rng.choice([*ACCESS_PORTS, *CORES])
        return Flow({"dl_vlan": host.vlan, "dl_dst": host.mac}, f"output:{port}")

    def route(self):
        return Flow({"ip": None, "nw_dst": self.outside()}, self.one_output())


def distinct(draw, count):
    """`count` flows, no two with the same match."""
    flows = {}
    while len(flows) < count:
        flow = draw()
        flows.setdefault(str(flow.match), flow)
    return list(flows.values())


def draw_flows(count, rng):
    """The flows of each class, strongest class first. The weakest flow is the default route."""
    campus = Campus(rng)
    shares = {
        "source guard": (campus.source_guard, 0.24),
        "ARP": (campus.arp_rule, 0.10),
        "host bindings": (campus.host_binding, 0.18),
        "access lists": (campus.access_list_line, 0.22),
        "MAC table": (campus.mac_table_line, 0.14),
    }
    classes = {name: distinct(draw, int(count * share)) for name, (draw, share) in shares.items()}
    routes = distinct(campus.route, count - 1 - sum(map(len, classes.values())))
    routes.sort(key=lambda flow: -flow.match["nw_dst"].prefixlen)
    classes["routes"] = [*routes, Flow({"ip": None}, "controller")]
    return classes
