# SPDX-License-Identifier: Apache-2.0
"""An OpenFlow 1.0 peer of a few lines, for what no tool does: waiting for what comes next, keeping silent, reading slowly,
vanishing."""
import socket
import struct

HELLO, ERROR, ECHO_REQUEST, ECHO_REPLY, PACKET_IN, PACKET_OUT, STATS_REQUEST, STATS_REPLY = 0, 1, 2, 3, 10, 13, 16, 17
PORT_STATUS, FLOW_MOD, PORT_MOD, BARRIER_REQUEST, BARRIER_REPLY = 12, 14, 15, 18, 19
PORT_DOWN, NO_RECV, NO_FLOOD, NO_FWD, NO_PACKET_IN = 1 << 0, 1 << 2, 1 << 4, 1 << 5, 1 << 6
LINK_DOWN = 1
NO_BUFFER = 0xFFFFFFFF

# A packet-out of 14 octets from no port to the controllers.
TO_CONTROLLERS = bytes.fromhex("ffffffff ffff 0008 0000 0008 fffd ffff ffffffffffff 0000000000aa 88b5")
DESCRIPTION = bytes.fromhex("0000 0000")


def added_flow(wildcards, in_port, priority, actions=b""):
    """The body of a flow-mod."""
    match = struct.pack("!IH34x", wildcards, in_port)
    return match + struct.pack("!QHHHHIHH", 0, 0, 0, 0, priority, NO_BUFFER, 0xFFFF, 0) + actions


class Peer:
    def __init__(self, connection):
        self.connection = connection
        self.connection.settimeout(30)
        self.stream = connection.makefile("rb")
        self.send(HELLO)

    @classmethod
    def of(cls, endpoint, receive_buffer=None):
        """One that connects to where a switch listens."""
        connection = socket.socket()
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        if receive_buffer:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        address, port = endpoint.split(":")[1:]
        connection.connect((address, int(port)))
        return cls(connection)

    def send(self, kind, body=b""):
        self.connection.sendall(struct.pack("!BBHI", 1, kind, 8 + len(body), 7) + body)

    def octets(self, count):
        """None when the connection ends first."""
        try:
            octets = self.stream.read(count)
        except ConnectionError:
            return None
        return octets if len(octets) == count else None

    def read(self):
        """The next message as type and body; None when the connection has ended."""
        header = self.octets(8)
        body = header and self.octets(struct.unpack_from("!H", header, 2)[0] - 8)
        return None if body is None else (header[1], body)

    def wait_for(self, wanted, passing=()):
        """The body of the next message, which is of a type, but for hellos, those of types that may pass and requests
        for an echo, which are answered."""
        while (message := self.read()) and message[0] in (HELLO, ECHO_REQUEST, *passing):
            if message[0] == ECHO_REQUEST:
                self.send(ECHO_REPLY, message[1])
        assert message and message[0] == wanted, f"{message}, not a message of type {wanted}"
        return message[1]

    def barrier(self, **options):
        """All that was sent has been done."""
        self.send(BARRIER_REQUEST)
        self.wait_for(BARRIER_REPLY, **options)

    def name(self):
        """As the switch calls this end."""
        return "tcp:%s:%u" % self.connection.getsockname()

    def port_status(self):
        """Number, configuration, state and current features of the port that changed."""
        body = self.wait_for(PORT_STATUS)
        return struct.unpack_from("!H", body, 8) + struct.unpack_from("!III", body, 8 + 24)

    def packet_in(self):
        """Buffer and port."""
        buffer, _, port, _ = struct.unpack_from("!IHHB", self.wait_for(PACKET_IN))
        return buffer, port

    def packet_out(self, buffer, in_port, out_port):
        self.send(PACKET_OUT, struct.pack("!IHHHHHH", buffer, in_port, 8, 0, 8, out_port, 0))

    def port_mod(self, number, address, config, mask):
        self.send(PORT_MOD, struct.pack("!H", number) + address + struct.pack("!III4x", config, mask, 0))
