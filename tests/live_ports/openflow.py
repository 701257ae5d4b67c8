# SPDX-License-Identifier: Apache-2.0
"""As much of an OpenFlow 1.0 controller as the tests need."""
import select
import socket
import struct

from network import PATIENCE

HELLO, ECHO_REQUEST, ECHO_REPLY, PACKET_IN, PORT_STATUS, PACKET_OUT, PORT_MOD = 0, 2, 3, 10, 12, 13, 15
PORT_DOWN, NO_RECV, NO_FLOOD, NO_FWD, NO_PACKET_IN = 1 << 0, 1 << 2, 1 << 4, 1 << 5, 1 << 6
LINK_DOWN = 1
FLOOD, NO_BUFFER = 0xFFFB, 0xFFFFFFFF


class Client:
    def __init__(self, switch):
        self.socket = socket.create_connection(("127.0.0.1", switch.openflow_port))
        self.received = b""
        self.send(HELLO)
        self.expect(HELLO)

    def name(self):
        """As the switch calls this end."""
        return "tcp:%s:%u" % self.socket.getsockname()

    def send(self, kind, body=b""):
        self.socket.sendall(struct.pack("!BBHI", 1, kind, 8 + len(body), 1) + body)

    def message(self):
        """Type and body of the next message."""
        while len(self.received) < 8 or len(self.received) < struct.unpack_from("!H", self.received, 2)[0]:
            assert select.select([self.socket], [], [], PATIENCE)[0], "no message of the switch"
            self.received += self.socket.recv(65536)
        _, kind, length, _ = struct.unpack_from("!BBHI", self.received)
        body, self.received = self.received[8:length], self.received[length:]
        return kind, body

    def expect(self, wanted):
        """The body of the next message, which is of a type; echoes are answered."""
        while (message := self.message())[0] == ECHO_REQUEST:
            self.send(ECHO_REPLY, message[1])
        assert message[0] == wanted, f"message {message[0]}, not {wanted}"
        return message[1]

    def port_status(self):
        """Number, configuration, state and current features of the port that changed."""
        body = self.expect(PORT_STATUS)
        return struct.unpack_from("!H", body, 8) + struct.unpack_from("!III", body, 8 + 24)

    def packet_in(self):
        """Buffer, port, and what was sent of the frame."""
        buffer, _, port, _ = struct.unpack_from("!IHHB", self.expect(PACKET_IN))
        return buffer, port

    def packet_out(self, out_port, in_port, frame=b"", buffer=NO_BUFFER):
        action = struct.pack("!HHHH", 0, 8, out_port, 0)
        self.send(PACKET_OUT, struct.pack("!IHH", buffer, in_port, len(action)) + action + frame)

    def port_mod(self, number, address, config, mask):
        self.send(PORT_MOD, struct.pack("!H", number) + address + struct.pack("!III4x", config, mask, 0))
