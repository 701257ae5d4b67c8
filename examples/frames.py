# SPDX-License-Identifier: Apache-2.0
"""Ethernet frames and pcap files, byte by byte."""

import struct

ICMP, TCP, UDP = 1, 6, 17


def mac_bytes(mac):
    return bytes.fromhex(mac.replace(":", ""))


def padded(frame):
    return frame.ljust(60, b"\0")


def ethernet(source, destination, vlan, payload):
    """`payload` is a pair of ethertype and bytes; a `vlan` of None means untagged."""
    ethertype, data = payload
    tag = b"" if vlan is None else struct.pack("!HH", 0x8100, vlan)
    return padded(mac_bytes(destination) + mac_bytes(source) + tag + struct.pack("!H", ethertype) + data)


def ieee_802_3(source, destination, data):
    return padded(mac_bytes(destination) + mac_bytes(source) + struct.pack("!H", len(data)) + data)


def arp_request(source, sender, target):
    addresses = mac_bytes(source) + sender.packed + bytes(6) + target.packed
    return 0x0806, struct.pack("!HHBBH", 1, 0x0800, 6, 4, 1) + addresses


def ipv6(next_header, data):
    source, destination = bytes.fromhex("fe80") + bytes(13) + b"\x01", bytes.fromhex("ff02") + bytes(13) + b"\x01"
    return 0x86DD, struct.pack("!IHBB", 6 << 28, len(data), next_header, 255) + source + destination + data


def ipv4(protocol, source, destination, tos, data):
    header = struct.pack("!BBHHHBBH", 0x45, tos, 20 + len(data), 0, 0, 64, protocol, 0) + source.packed + destination.packed
    return 0x0800, header[:10] + checksum(header) + header[12:] + data


def segment(protocol, source, destination, source_port, destination_port, data):
    """TCP or UDP with its checksum, or an ICMP echo request."""
    if protocol == ICMP:
        message = struct.pack("!BBHHH", 8, 0, 0, source_port, 1) + data
        return message[:2] + checksum(message) + message[4:]
    if protocol == UDP:
        header, position = struct.pack("!HHHH", source_port, destination_port, 8 + len(data), 0), 6
    else:
        header, position = struct.pack("!HHIIBBHHH", source_port, destination_port, 1, 1, 5 << 4, 0x18, 8192, 0, 0), 16
    pseudo_header = source.packed + destination.packed + struct.pack("!HH", protocol, len(header) + len(data))
    message = header + data
    return message[:position] + checksum(pseudo_header + message) + message[position + 2:]


def dns_query(identifier, name):
    labels = b"".join(bytes([len(label)]) + label.encode() for label in name.split("."))
    return struct.pack("!HHHHHH", identifier, 0x0100, 1, 0, 0, 0) + labels + b"\0" + struct.pack("!HH", 1, 1)


def checksum(data):
    data += bytes(len(data) % 2)
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return struct.pack("!H", 0xFFFF - total)


def write_pcap(path, frames):
    """A capture of Ethernet frames, a millisecond apart."""
    with path.open("wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        for number, frame in enumerate(frames):
            seconds, milliseconds = divmod(number, 1000)
            file.write(struct.pack("<IIII", 1_700_000_000 + seconds, milliseconds * 1000, len(frame), len(frame)) + frame)
