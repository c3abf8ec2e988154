# SPDX-License-Identifier: Apache-2.0
"""Capture files made up for tests."""

import struct

ETHERNET, RAW = 1, 101
CLIENT = bytes.fromhex("001122334455")
RANDOM = bytes.fromhex("da1122334455")
BROADCAST = b"\xff" * 6


def mac_text(mac):
    return mac.hex(":")


def ethernet(ip, source=CLIENT, tags=b""):
    return BROADCAST + source + tags + b"\x08\x00" + ip


def ipv4(protocol, payload, source="192.0.2.10"):
    address = bytes(int(part) for part in source.split("."))
    return struct.pack(">BBHIBBH", 0x45, 0, 20 + len(payload), 0, 64, protocol, 0) + address + \
        bytes([192, 0, 2, 1]) + payload


def dhcp(options, client=CLIENT, end=b"\xff", more=b""):
    """A DISCOVER that asks for a list of options, with more options before the end."""
    message = struct.pack(">BBBBI", 1, 1, 6, 0, 1) + bytes(20) + client + bytes(202) + \
        b"\x63\x82\x53\x63\x35\x01\x01" + bytes([55, len(options), *options]) + more + end
    return ipv4(17, struct.pack(">HHHH", 68, 67, 8 + len(message), 0) + message, "0.0.0.0")


def ack(address, client=CLIENT):
    """A server's answer that gives the client an address."""
    given = bytes(int(part) for part in address.split("."))
    message = struct.pack(">BBBBI", 2, 1, 6, 0, 1) + bytes(8) + given + bytes(8) + client + \
        bytes(202) + b"\x63\x82\x53\x63\x35\x01\x05\xff"
    return ipv4(17, struct.pack(">HHHH", 67, 68, 8 + len(message), 0) + message, "192.0.2.1")


def http(user_agent, source="192.0.2.10", port=40000):
    text = b"GET / HTTP/1.1\r\nHost: x\r\nUser-Agent: " + user_agent.encode() + b"\r\n\r\n"
    return ipv4(6, struct.pack(">HHIIBBHI", port, 80, 1, 1, 0x50, 0x18, 8192, 0) + text, source)


def capture(frames, link_type=ETHERNET):
    """The bytes of a capture file; a frame comes each second from 2026-01-02 03:04:05 on."""
    file = struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, link_type)
    for second, frame in enumerate(frames):
        file += struct.pack("<IIII", 1767323045 + second, 250000, len(frame), len(frame)) + frame
    return file
