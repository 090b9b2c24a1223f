#!/usr/bin/env python3
"""Makes fuzz/corpus/netlink_reply, from replies of the kernel and from messages that no kernel sends.

Usage: unshare --net fuzz/netlink_corpus.py (as root)

The replies describe a network that this script invents, so the network namespace must be new:

    up1   10.1.0.2/24, 2001:db8:1::2/64          (veth; the gateways end in 1)
    up2   10.2.0.2/24, 2001:db8:2::2/64
    p2p0  10.9.0.1, of the peer 10.9.0.2         (tun)

with a default route through up1 and one through both uplinks for each family, with the same routes once
more as next-hop objects, with routing rules, and with connected sockets that have marks.
netlink_reply_fuzzer.cpp describes the files.
"""

import os
import socket
import struct
import subprocess
import sys
from pathlib import Path

FOLDER = Path(__file__).parent / "corpus" / "netlink_reply"

ADAPTERS, ROUTES4, ROUTES6, TCP, UDP, RULES, LOOK_UP = range(7)  # the parsers

NLMSG_NOOP, NLMSG_ERROR, NLMSG_DONE, NLMSG_OVERRUN = 1, 2, 3, 4
NLM_F_REQUEST, NLM_F_MULTI, NLM_F_DUMP_INTR, NLM_F_DUMP = 1, 2, 0x10, 0x300
NETLINK_ROUTE, NETLINK_SOCK_DIAG = 0, 4
RTM_NEWLINK, RTM_NEWADDR, RTM_NEWROUTE, RTM_NEWRULE, RTM_NEWNEXTHOP = 16, 20, 24, 32, 104
RTM_GETLINK, RTM_GETADDR, RTM_GETROUTE, RTM_GETRULE, RTM_GETNEXTHOP = 18, 22, 26, 34, 106
SOCK_DIAG_BY_FAMILY = 20
IFLA_IFNAME, IFLA_OPERSTATE, IFLA_LINKINFO, IFLA_INFO_KIND = 3, 16, 18, 1
INET_DIAG_MARK = 15
IFA_ADDRESS, IFA_LOCAL = 1, 2
FRA_FWMARK, FRA_DPORT_RANGE = 10, 24
RTA_DST, RTA_SRC = 1, 2
RTA_OIF, RTA_PRIORITY, RTA_MULTIPATH, RTA_NH_ID = 4, 6, 9, 30
NHA_ID, NHA_GROUP, NHA_OIF = 1, 2, 5
SEQUENCE, PORT = 1, 7  # of the request
LISTED_STATES = 0b1011_0011_0110  # established, SYN_SENT, both FIN_WAIT, CLOSE_WAIT, LAST_ACK, CLOSING

HEADER = struct.Struct("=IHHII")
INODE_OFFSET = HEADER.size + 68  # in a message of sock_diag


def message(kind, payload, flags=NLM_F_MULTI, sequence=SEQUENCE, port=PORT):
    data = HEADER.pack(HEADER.size + len(payload), kind, flags, sequence, port) + payload
    return data + bytes(-len(data) % 4)


DONE = message(NLMSG_DONE, struct.pack("=i", 0))


def attribute(kind, value):
    data = struct.pack("=HH", 4 + len(value), kind) + value
    return data + bytes(-len(data) % 4)


def split(reply):
    """The messages of a reply."""
    messages = []
    while reply:
        size = HEADER.unpack_from(reply)[0] + 3 & ~3
        messages.append(reply[:size])
        reply = reply[size:]
    return messages


def dump(bus, kind, payload):
    """The data messages of a dump."""
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, bus) as kernel:
        kernel.bind((0, 0))
        kernel.send(message(kind, payload, NLM_F_REQUEST | NLM_F_DUMP))
        reply = b""
        while True:
            for part in split(kernel.recv(65536)):
                if HEADER.unpack_from(part)[1] in (NLMSG_DONE, NLMSG_ERROR):
                    return reply
                reply += part[:12] + struct.pack("=I", PORT) + part[16:]


def look_up(source, target):
    """The reply to the look-up of one route over IPv4."""
    payload = struct.pack("=BBBB8x", socket.AF_INET, 32, 32, 0) + \
        attribute(RTA_DST, socket.inet_aton(target)) + attribute(RTA_SRC, socket.inet_aton(source))
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, NETLINK_ROUTE) as kernel:
        kernel.bind((0, 0))
        kernel.send(message(RTM_GETROUTE, payload, NLM_F_REQUEST))
        reply = kernel.recv(65536)
        return reply[:12] + struct.pack("=I", PORT) + reply[16:]


def ip(text):
    subprocess.run(["ip", *text.split()], check=True)


def create_network():
    ip("link set lo up")
    for number in (1, 2):
        ip(f"link add up{number} type veth peer name peer{number}")
        ip(f"link set peer{number} up")
        ip(f"link set up{number} up")
        ip(f"address add 10.{number}.0.2/24 dev up{number}")
        ip(f"address add 2001:db8:{number}::2/64 dev up{number} nodad")
    ip("tuntap add dev p2p0 mode tun")
    ip("address add 10.9.0.1 peer 10.9.0.2/32 dev p2p0")
    for family, first, second in [("-4", "10.1.0.1", "10.2.0.1"),
                                  ("-6", "2001:db8:1::1", "2001:db8:2::1")]:
        ip(f"{family} route add default via {first} dev up1 metric 100")
        ip(f"{family} route add default metric 200 nexthop via {first} dev up1 "
           f"nexthop via {second} dev up2")
        ip(f"{family} route add unreachable default metric 300")
        base = 10 * int(family[1:])
        ip(f"nexthop add id {base + 1} via {first} dev up1")
        ip(f"nexthop add id {base + 2} via {second} dev up2")
        ip(f"nexthop add id {base} group {base + 1}/{base + 2}")
        ip(f"{family} route add default metric 400 nhid {base + 1}")
        ip(f"{family} route add default metric 500 nhid {base}")
        for selector in ("fwmark 7", "sport 1000-2000", "tos 0x10", f"from {first}", "uidrange 5-6"):
            ip(f"{family} rule add {selector} table 7")


def open_sockets():
    """Connected sockets: those that the parsers look for, and the others."""
    wanted, others = [], []
    for source, target, port in [("10.1.0.2", "10.2.0.2", 443),
                                 ("2001:db8:1::2", "2001:db8:2::2", 443),
                                 ("::ffff:10.1.0.2", "::ffff:10.2.0.2", 8443)]:
        family = socket.AF_INET6 if ":" in source else socket.AF_INET
        listener = socket.socket(family)
        listener.bind((target, port))
        listener.listen()
        for kind in (socket.SOCK_STREAM, socket.SOCK_DGRAM):
            client = socket.socket(family, kind)
            client.setsockopt(socket.SOL_SOCKET, socket.SO_MARK, port)
            client.bind((source, 0))
            client.connect((target, port))
            wanted.append(client)
        others += [listener, listener.accept()[0]]
    wanted[0].shutdown(socket.SHUT_WR)
    return wanted, others


def sockets_reply(protocol, wanted):
    """The sockets of both families; the wanted ones have the inode numbers 1 to 3, others 9."""
    numbers = {}
    for made in wanted:
        if made.type == (socket.SOCK_STREAM if protocol == TCP else socket.SOCK_DGRAM):
            numbers[os.fstat(made.fileno()).st_ino] = len(numbers) + 1
    number_of_protocol = socket.IPPROTO_TCP if protocol == TCP else socket.IPPROTO_UDP
    reply = b""
    for family in (socket.AF_INET, socket.AF_INET6):
        request = struct.pack("=BBBBI48x", family, number_of_protocol, 0, 0, LISTED_STATES)
        for part in split(dump(NETLINK_SOCK_DIAG, SOCK_DIAG_BY_FAMILY, request)):
            inode, = struct.unpack_from("=I", part, INODE_OFFSET)
            reply += (part[:INODE_OFFSET] + struct.pack("=I", numbers.get(inode, 9)) +
                      part[INODE_OFFSET + 4:])
    return reply


def route_reply(family):
    return dump(NETLINK_ROUTE, RTM_GETROUTE, struct.pack("=B11x", family))


def routes_with_objects(family):
    """The routes as the kernel lists them without nexthop_compat_mode, and the next-hop objects."""
    Path("/proc/sys/net/ipv4/nexthop_compat_mode").write_text("0", encoding="ascii")
    return dump(NETLINK_ROUTE, RTM_GETNEXTHOP, bytes(8)) + route_reply(family)


def default_route(*attributes):
    header = struct.pack("=BBBBBBBBI", socket.AF_INET, 0, 0, 0, 254, 0, 0, 1, 0)
    return message(RTM_NEWROUTE, header + b"".join(attributes))


def link(index, *attributes):
    return message(RTM_NEWLINK, struct.pack("=BxHiII", 0, 1, index, 0, 0) + b"".join(attributes))


def address(index, family, *attributes):
    header = struct.pack("=BBBBI", family, 24, 0, 0, index)
    return message(RTM_NEWADDR, header + b"".join(attributes))


def next_hop(size, index):
    return struct.pack("=HBBi", size, 0, 0, index)


def next_hop_object(*attributes):
    return message(RTM_NEWNEXTHOP, bytes(8) + b"".join(attributes))


def number(kind, value):
    return attribute(kind, struct.pack("=I", value))


def rule(family, *attributes):
    """The payload of a message about a rule."""
    return struct.pack("=B11x", family) + b"".join(attributes)


def a_route(*attributes):
    return message(RTM_NEWROUTE, struct.pack("=BBB9x", socket.AF_INET, 32, 32) + b"".join(attributes), 0)


def a_socket(*attributes, family=socket.AF_INET, state=1, inode=1):
    ends = struct.pack("!HH", 51000, 443) + bytes([10, 0, 0, 7]) + bytes(12) + \
        bytes([198, 51, 100, 10]) + bytes(12) + bytes(12)
    return message(SOCK_DIAG_BY_FAMILY, struct.pack("=BBBB", family, state, 0, 0) + ends +
                   struct.pack("=IIIII", 0, 0, 0, 0, inode) + b"".join(attributes))


def make_real():
    create_network()
    wanted, others = open_sockets()
    links = dump(NETLINK_ROUTE, RTM_GETLINK, struct.pack("=16x"))
    addresses = dump(NETLINK_ROUTE, RTM_GETADDR, struct.pack("=8x"))
    files = {
        "links-and-addresses": (ADAPTERS, links + addresses + DONE),
        "links": (ADAPTERS, links + DONE),
        "addresses-without-links": (ADAPTERS, addresses + DONE),
        "one-link": (ADAPTERS, split(links)[0]),
        "one-link-is-cut-off": (ADAPTERS, split(links)[0][:-100]),
        "routes-ipv4": (ROUTES4, route_reply(socket.AF_INET) + DONE),
        "routes-ipv6": (ROUTES6, route_reply(socket.AF_INET6) + DONE),
        "routes-of-the-other-family": (ROUTES4, route_reply(socket.AF_INET6) + DONE),
        "next-hop-objects-ipv4": (ROUTES4, routes_with_objects(socket.AF_INET) + DONE),
        "next-hop-objects-ipv6": (ROUTES6, routes_with_objects(socket.AF_INET6) + DONE),
        "sockets-tcp": (TCP, sockets_reply(TCP, wanted) + DONE),
        "sockets-udp": (UDP, sockets_reply(UDP, wanted) + DONE),
        "rules-ipv4": (RULES, dump(NETLINK_ROUTE, RTM_GETRULE, rule(socket.AF_INET)) + DONE),
        "rules-ipv6": (RULES, dump(NETLINK_ROUTE, RTM_GETRULE, rule(socket.AF_INET6)) + DONE),
        "a-look-up": (LOOK_UP, look_up("10.1.0.2", "198.51.100.10")),
        "a-look-up-without-route": (LOOK_UP, look_up("10.99.0.2", "198.51.100.10")),
    }
    for made in wanted + others:
        made.close()
    return files


def make_broken():
    name = attribute(IFLA_IFNAME, b"eth0\0")
    ipv4 = bytes([10, 0, 0, 7])
    interface = attribute(RTA_OIF, struct.pack("=I", 5))

    def hops(*parts):
        return ROUTES4, default_route(attribute(RTA_MULTIPATH, b"".join(parts)))

    return {
        "empty": (ADAPTERS, b""),
        "a-message-is-too-short": (ADAPTERS, message(RTM_NEWLINK, bytes(8))),
        "a-message-is-longer-than-the-part": (ADAPTERS, link(5, name)[:-4]),
        "a-message-of-length-0": (ADAPTERS, bytes(16)),
        "a-message-of-4-gigabytes": (ADAPTERS, struct.pack("=I", 2**32 - 16) + link(5, name)[4:]),
        "a-message-does-nothing": (ADAPTERS, message(NLMSG_NOOP, b"") + link(5, name)),
        "the-kernel-fails": (ADAPTERS, message(NLMSG_ERROR, struct.pack("=i", -1) + bytes(16))),
        "the-kernel-fails-at-the-end": (ADAPTERS,
                                        link(5) + message(NLMSG_DONE, struct.pack("=i", -12))),
        "the-least-error": (ADAPTERS, message(NLMSG_ERROR, struct.pack("=i", -2**31))),
        "the-end-is-too-short": (ADAPTERS, message(NLMSG_DONE, b"")),
        "data-is-lost": (ADAPTERS, message(NLMSG_OVERRUN, b"")),
        "interrupted": (ADAPTERS, link(5) + message(RTM_NEWLINK, bytes(16), NLM_F_DUMP_INTR)),
        "a-name-without-zero-byte": (ADAPTERS, link(5, attribute(IFLA_IFNAME, b"eth01234"))),
        "a-name-is-longer-than-its-message": (ADAPTERS,
                                              link(5, struct.pack("=HH", 40, IFLA_IFNAME) + b"eth0")),
        "a-name-of-any-bytes": (ADAPTERS, link(5, attribute(IFLA_IFNAME, b"\xFF\x1B[31m"))),
        "an-attribute-of-length-0": (ADAPTERS, link(5, bytes(4))),
        "a-state-without-value": (ADAPTERS, link(5, attribute(IFLA_OPERSTATE, b""))),
        "every-state": (ADAPTERS, b"".join(
            link(state, attribute(IFLA_OPERSTATE, bytes([state]))) for state in range(8))),
        "an-interface-twice": (ADAPTERS, link(5, name) + link(5)),
        "an-address-is-too-short": (ADAPTERS, link(5) + address(
            5, socket.AF_INET6, attribute(IFA_ADDRESS, ipv4))),
        "an-address-of-another-family": (ADAPTERS, link(5) + address(
            5, 7, attribute(IFA_ADDRESS, ipv4))),
        "an-address-without-value": (ADAPTERS, link(5) + address(5, socket.AF_INET)),
        "a-route-without-interface": (ROUTES4, default_route()),
        "a-metric-is-too-short": (ROUTES4, default_route(attribute(RTA_PRIORITY, b"ab"), interface)),
        "next-hops": hops(next_hop(8, 5), next_hop(8, 11)),
        "no-next-hop": hops(),
        "a-next-hop-of-length-0": hops(next_hop(8, 5), next_hop(0, 11)),
        "a-next-hop-is-too-long": hops(next_hop(8, 5), next_hop(12, 11)),
        "a-next-hop-is-too-short": hops(next_hop(8, 5), next_hop(7, 11)),
        "a-next-hop-is-cut-off": hops(next_hop(8, 5), next_hop(8, 11)[:3]),
        "a-next-hop-with-an-unaligned-length": hops(next_hop(9, 5) + b"x"),
        "a-next-hop-object-is-missing": (ROUTES4, default_route(number(RTA_NH_ID, 5))),
        "a-next-hop-object-without-id": (ROUTES4, next_hop_object(number(NHA_OIF, 5))),
        "a-next-hop-object-is-too-short": (ROUTES4, message(RTM_NEWNEXTHOP, bytes(7))),
        "a-group-in-itself": (ROUTES4, default_route(number(RTA_NH_ID, 5)) + next_hop_object(
            number(NHA_ID, 5), attribute(NHA_GROUP, struct.pack("=II", 5, 0)))),
        "a-group-is-cut-off": (ROUTES4, next_hop_object(
            number(NHA_ID, 5), attribute(NHA_GROUP, struct.pack("=II", 5, 0)[:-1]))),
        "a-member-of-a-group-is-missing": (ROUTES4, default_route(number(RTA_NH_ID, 5)) +
                                           next_hop_object(number(NHA_ID, 5), attribute(
                                               NHA_GROUP, struct.pack("=II", 6, 0)))),
        "another-sequence-number": (ADAPTERS, link(5) + message(
            RTM_NEWLINK, bytes(16), sequence=SEQUENCE + 1)),
        "another-port": (ADAPTERS, message(NLMSG_DONE, bytes(4), port=PORT + 1)),
        "a-socket-is-cut-off": (TCP, a_socket()[:-4]),
        "a-socket-that-connects": (TCP, a_socket(state=2)),
        "a-mark": (TCP, a_socket(number(INET_DIAG_MARK, 7))),
        "a-mark-is-too-short": (TCP, a_socket(attribute(INET_DIAG_MARK, b"abc"))),
        "a-kind": (ADAPTERS, link(5, attribute(IFLA_LINKINFO, attribute(IFLA_INFO_KIND, b"tun\0")))),
        "a-kind-is-cut-off": (ADAPTERS, link(5, attribute(
            IFLA_LINKINFO, attribute(IFLA_INFO_KIND, b"tun\0")[:-1]))),
        "a-kind-is-longer-than-its-attribute": (ADAPTERS, link(5, attribute(
            IFLA_LINKINFO, struct.pack("=HH", 40, IFLA_INFO_KIND) + b"tun\0"), name)),
        "a-rule-is-too-short": (RULES, message(RTM_NEWRULE, bytes(11))),
        "a-mark-of-a-rule-is-too-short": (RULES, message(RTM_NEWRULE, rule(
            socket.AF_INET, attribute(FRA_FWMARK, b"abc")))),
        "ports-of-a-rule-without-value": (RULES, message(RTM_NEWRULE, rule(
            socket.AF_INET, attribute(FRA_DPORT_RANGE, b"")))),
        "a-look-up-without-interface": (LOOK_UP, a_route()),
        "a-look-up-of-interface-0": (LOOK_UP, a_route(number(RTA_OIF, 0))),
        "two-look-ups": (LOOK_UP, a_route(number(RTA_OIF, 5)) + a_route(number(RTA_OIF, 6))),
        "a-look-up-is-too-short": (LOOK_UP, message(RTM_NEWROUTE, bytes(11), 0)),
        "an-interface-is-too-short": (LOOK_UP, a_route(attribute(RTA_OIF, b"abc"))),
        "a-look-up-that-ends-at-once": (LOOK_UP, DONE),
        "a-socket-that-listens": (TCP, a_socket(state=10)),
        "a-socket-of-another-family": (UDP, a_socket(family=9)),
        "a-socket-of-another-process": (UDP, a_socket(inode=4)),
    }


def datagram(data, sender=0):
    return bytes([sender]) + struct.pack("<H", len(data)) + data


def main():
    if [name for _, name in socket.if_nameindex()] != ["lo"]:
        sys.exit("netlink_corpus: this network namespace is in use; run it with: unshare --net")
    FOLDER.mkdir(parents=True, exist_ok=True)
    for name, (parser, reply) in (make_real() | make_broken()).items():
        (FOLDER / name).write_bytes(bytes([parser]) + datagram(reply))
    forged = datagram(link(5, attribute(IFLA_IFNAME, b"forged\0")) + DONE, sender=9)
    genuine = datagram(link(5)) + forged + datagram(DONE)
    (FOLDER / "a-forged-datagram").write_bytes(bytes([ADAPTERS]) + forged + genuine)


if __name__ == "__main__":
    main()
