# SPDX-License-Identifier: Apache-2.0
"""As much of an OpenFlow 1.0 controller as the tests need."""
import struct

import network  # knows where the peers are
from peer import ECHO_REPLY, ECHO_REQUEST, HELLO, PACKET_IN, PACKET_OUT, Peer

PORT_STATUS, PORT_MOD = 12, 15
PORT_DOWN, NO_RECV, NO_FLOOD, NO_FWD, NO_PACKET_IN = 1 << 0, 1 << 2, 1 << 4, 1 << 5, 1 << 6
LINK_DOWN = 1


class Client(Peer):
    @classmethod
    def to(cls, switch):
        client = cls.of(switch.endpoint)
        client.expect(HELLO)
        return client

    def name(self):
        """As the switch calls this end."""
        return "tcp:%s:%u" % self.connection.getsockname()

    def expect(self, wanted):
        """The body of the next message, which is of a type; echoes are answered."""
        while (message := self.read()) and message[0] == ECHO_REQUEST:
            self.send(ECHO_REPLY, message[1])
        assert message and message[0] == wanted, f"message {message}, not of type {wanted}"
        return message[1]

    def port_status(self):
        """Number, configuration, state and current features of the port that changed."""
        body = self.expect(PORT_STATUS)
        return struct.unpack_from("!H", body, 8) + struct.unpack_from("!III", body, 8 + 24)

    def packet_in(self):
        """Buffer and port."""
        buffer, _, port, _ = struct.unpack_from("!IHHB", self.expect(PACKET_IN))
        return buffer, port

    def packet_out(self, buffer, in_port, out_port):
        self.send(PACKET_OUT, struct.pack("!IHHHHHH", buffer, in_port, 8, 0, 8, out_port, 0))

    def port_mod(self, number, address, config, mask):
        self.send(PORT_MOD, struct.pack("!H", number) + address + struct.pack("!III4x", config, mask, 0))
