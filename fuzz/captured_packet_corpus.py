#!/usr/bin/env python3
"""Makes fuzz/corpus/captured_packet: packets behind a cooked header of version 2, whole and broken.

Usage: fuzz/captured_packet_corpus.py
"""

import socket
import struct
from pathlib import Path

FOLDER = Path(__file__).parent / "corpus" / "captured_packet"

IPV4, IPV6, ARP, VLAN = 0x0800, 0x86DD, 0x0806, 0x8100
HOST, OTHER_HOST, OUTGOING = 0, 3, 4
HOP_BY_HOP, ICMP, TCP, UDP, ROUTING, FRAGMENT, AUTHENTICATION, DESTINATION = 0, 1, 6, 17, 43, 44, 51, 60
PORTS = struct.pack("!HH", 51000, 443)


def cooked(protocol, kind=OUTGOING, index=5):
    return struct.pack("!HHIHBB8s", protocol, 0, index, 1, kind, 6, b"\x02\x42\xac\x11\x00\x02")


def ipv4(protocol, options=b"", fragment=0):
    size = 20 + len(options)
    return struct.pack("!BBHHHBBH4s4s", 0x40 + size // 4, 0, size + 20, 1, fragment, 64, protocol, 0,
                       socket.inet_aton("10.0.0.7"), socket.inet_aton("198.51.100.10")) + options


def ipv6(following):
    return struct.pack("!IHBB16s16s", 0x60000000, 20, following, 64,
                       socket.inet_pton(socket.AF_INET6, "2001:db8:1::2"),
                       socket.inet_pton(socket.AF_INET6, "2001:db8:f::10"))


def extension(following, units=0, fragment=0):
    return struct.pack("!BBHI", following, units, fragment, 0) + bytes(8 * units)


TCP_HEADER = PORTS + struct.pack("!IIHHHH", 1, 1, 0x5018, 502, 0, 0)
UDP_HEADER = PORTS + struct.pack("!HH", 8, 0)


def packets():
    four, six = cooked(IPV4), cooked(IPV6)
    chain = extension(DESTINATION) + extension(ROUTING, 1) + extension(FRAGMENT) + extension(TCP)
    return {
        "empty": b"",
        "tcp-ipv4": four + ipv4(TCP) + TCP_HEADER,
        "udp-ipv4": four + ipv4(UDP) + UDP_HEADER,
        "tcp-ipv6": six + ipv6(TCP) + TCP_HEADER,
        "udp-ipv6": six + ipv6(UDP) + UDP_HEADER,
        "received": cooked(IPV4, HOST) + ipv4(TCP) + TCP_HEADER,
        "received-for-another-host": cooked(IPV4, OTHER_HOST) + ipv4(TCP) + TCP_HEADER,
        "on-loopback": cooked(IPV6, HOST, 1) + ipv6(UDP) + UDP_HEADER,
        "all-options": four + ipv4(TCP, b"\1" * 40) + TCP_HEADER,
        "a-header-longer-than-the-packet": four + b"\x4f" + ipv4(TCP)[1:] + PORTS,
        "a-header-too-short": four + b"\x44" + ipv4(TCP)[1:] + PORTS,
        "the-first-fragment": four + ipv4(UDP, fragment=0x2000) + UDP_HEADER,
        "the-second-fragment": four + ipv4(UDP, fragment=0x2001) + UDP_HEADER,
        "icmp": four + ipv4(ICMP) + bytes(8),
        "arp": cooked(ARP) + bytes(28),
        "vlan": cooked(VLAN) + bytes([0, 7, 8, 0]) + ipv4(TCP) + TCP_HEADER,
        "the-other-version": four + ipv6(TCP) + TCP_HEADER,
        "jumbo": six + ipv6(HOP_BY_HOP) + bytes([TCP, 0, 0xC2, 4, 0, 1, 0, 0]) + TCP_HEADER,
        "all-extensions": six + ipv6(HOP_BY_HOP) + chain + TCP_HEADER,
        "the-first-fragment-ipv6": six + ipv6(FRAGMENT) + extension(UDP, fragment=1) + UDP_HEADER,
        "the-second-fragment-ipv6": six + ipv6(FRAGMENT) + extension(UDP, fragment=8) + UDP_HEADER,
        "an-extension-longer-than-the-packet": six + ipv6(ROUTING) + extension(TCP, 255)[:30],
        "authentication": six + ipv6(AUTHENTICATION) + extension(TCP, 2) + TCP_HEADER,
        "ports-are-cut-off": four + ipv4(TCP) + PORTS[:3],
        "an-ip-header-is-cut-off": six + ipv6(TCP)[:39],
        "a-cooked-header-is-cut-off": four[:19],
    }


def main():
    FOLDER.mkdir(parents=True, exist_ok=True)
    for name, data in packets().items():
        (FOLDER / name).write_bytes(data)


if __name__ == "__main__":
    main()
