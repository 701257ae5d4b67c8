# SPDX-License-Identifier: Apache-2.0
"""An OpenFlow 1.0 peer of a few lines, for what no tool does: keeping silent, reading slowly, vanishing."""
import socket
import struct

HELLO, ERROR, ECHO_REQUEST, ECHO_REPLY, PACKET_IN, PACKET_OUT, STATS_REQUEST, STATS_REPLY = 0, 1, 2, 3, 10, 13, 16, 17
FLOW_MOD, BARRIER_REQUEST, BARRIER_REPLY = 14, 18, 19
NO_BUFFER = 0xFFFFFFFF

# A packet-out of 14 octets from no port to the controllers.
TO_CONTROLLERS = bytes.fromhex("ffffffff ffff 0008 0000 0008 fffd ffff ffffffffffff 0000000000aa 88b5")
DESCRIPTION = bytes.fromhex("0000 0000")


def message(kind, body=b"", xid=7):
    return struct.pack("!BBHI", 1, kind, 8 + len(body), xid) + body


def added_flow(wildcards, in_port, priority, actions=b""):
    """The body of a flow-mod."""
    match = struct.pack("!IH34x", wildcards, in_port)
    return match + struct.pack("!QHHHHIHH", 0, 0, 0, 0, priority, NO_BUFFER, 0xFFFF, 0) + actions


class Peer:
    def __init__(self, connection, patience=30):
        self.connection = connection
        self.connection.settimeout(patience)
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
        self.connection.sendall(message(kind, body))

    def octets(self, count):
        """None when the connection ends first."""
        octets = b""
        while len(octets) < count:
            try:
                part = self.connection.recv(count - len(octets))
            except ConnectionError:
                part = b""
            if not part:
                return None
            octets += part
        return octets

    def read(self):
        """The next message as type and body; None when the connection has ended."""
        header = self.octets(8)
        if header is None:
            return None
        _, kind, length, _ = struct.unpack("!BBHI", header)
        body = self.octets(length - 8)
        return None if body is None else (kind, body)

    def wait_for(self, wanted):
        """The body of the next message of this type; echo requests are answered on the way."""
        while True:
            received = self.read()
            assert received, f"the connection ended before a message of type {wanted}"
            kind, body = received
            if kind == wanted:
                return body
            if kind == ECHO_REQUEST:
                self.send(ECHO_REPLY, body)
