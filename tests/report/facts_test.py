#!/usr/bin/python3
"""What egress-report learns from the kernel about sockets, interfaces and routes, on the network of
network_test.py."""

import dataclasses
import json
import os
import sys

import network
from network import CLIENT, ENDPOINT4, ENDPOINT6, OTHER_PORT, PORT, Program, ip
from network_test import SYSTEM_PYTHON, UNUSED4, UNUSED6, UP1, UP1_6, UP2, UP2_6, NetworkTest


@dataclasses.dataclass
class Family:
    """The network over IPv4 or IPv6."""
    option: str  # of ip
    name: str  # of its settings
    up1: str  # address
    up2: str
    other_up2: str  # an address for up2 that no rule names
    other: str  # an address for the loopback or another link
    gateway: str  # of the uplink with a number
    server: str
    unused: str  # an address where nobody answers
    bits: int


IPV4 = Family("-4", "ipv4", UP1, UP2, "10.2.0.3", "10.7.0.1", "10.{}.0.1", ENDPOINT4, UNUSED4, 32)
IPV6 = Family("-6", "ipv6", UP1_6, UP2_6, "2001:db8:2::3", "2001:db8:7::1", "2001:db8:{}::1", ENDPOINT6,
              UNUSED6, 128)
WITHOUT_NET_ADMIN = ("setpriv", "--bounding-set=-net_admin", "--inh-caps=-net_admin")
MARKS_NEED_A_CAPABILITY = "the kernel shows marks only with CAP_NET_ADMIN"


class FactCase(NetworkTest):
    """A test of facts in saved snapshots."""

    def snapshot(self, **options):
        """A live snapshot after the routes to the endpoint were looked up."""
        return self.parsed_snapshot(self.diagnose("--save-snapshot", "-", **options).output)

    def sockets(self, **options):
        return self.snapshot(**options)["sockets"]["rows"]

    def assert_missing(self, snapshot, *facts):
        """Exactly these facts are missing, each with its reason."""
        self.assertEqual([(one["fact"], one["reason"]) for one in snapshot.get("missingFacts", [])],
                         [*facts])


class SocketAndInterfaceTest(FactCase):
    def test_the_bound_device_the_mark_and_the_user(self):
        for family in (IPV4, IPV6):
            client = self.connect(f"udp {family.up1} {family.server} {PORT} device=up1 mark=4294967295",
                                  f"udp {family.up2} {family.server} {PORT} mark=7",
                                  f"tcp {family.up2} {family.server} {PORT}")
            snapshot = self.snapshot()
            facts = {(row["localAddress"], row["protocol"]):
                     (row["boundInterfaceIndex"], row["mark"], row["user"])
                     for row in snapshot["sockets"]["rows"]}
            self.assertEqual(facts,
                             {(family.up1, "UDP"): (network.index("up1"), 4294967295, os.getuid()),
                              (family.up2, "UDP"): (0, 7, os.getuid()),
                              (family.up2, "TCP"): (0, 0, os.getuid())})
            self.assert_missing(snapshot)
            client.end()

    def test_marks_are_missing_without_a_capability(self):
        self.connect(f"udp {UP1} {ENDPOINT4} {PORT} mark=7", f"tcp {UP2_6} {ENDPOINT6} {PORT}")
        snapshot = self.snapshot(before=WITHOUT_NET_ADMIN)
        for row in snapshot["sockets"]["rows"]:
            self.assertNotIn("mark", row)
        self.assert_missing(snapshot, ("MARK", MARKS_NEED_A_CAPABILITY))

    def test_no_mark_is_missing_without_a_socket(self):
        self.connect()
        self.assert_missing(self.snapshot(before=WITHOUT_NET_ADMIN))

    def test_a_dual_stack_socket_has_a_route_of_ipv4(self):
        self.connect(f"tcp ::ffff:{UP2} ::ffff:{ENDPOINT4} {PORT}")
        row, = self.sockets()
        self.assertEqual(row["routeInterfaceIndex"], network.index("up2"))

    def test_kinds_of_interfaces(self):
        kinds = {"lo": "LOOPBACK", "up1": "OTHER", "up2": "OTHER"}
        tunnels = [("tun9", "tuntap add dev tun9 mode tun"), ("tap9", "tuntap add dev tap9 mode tap"),
                   ("vxlan9", "link add vxlan9 type vxlan id 9 dstport 4789"),
                   ("gre9", "link add gre9 type gre remote 10.1.0.1 local 10.1.0.2"),
                   ("ipip9", "link add ipip9 type ipip remote 10.1.0.1 local 10.1.0.2")]
        for name, text in tunnels:
            try:
                self.for_this_test("engine", text, f"link del {name}")
                kinds[name] = "TUNNEL"
            except RuntimeError as reason:
                print(f"not tested: {reason}", file=sys.stderr)
        self.connect()
        rows = self.snapshot()["adapters"]["rows"]
        self.assertLessEqual(kinds.items(), {row["name"]: row["kind"] for row in rows}.items())


class RouteTest(FactCase):
    """The routes of sockets to the endpoint."""
    family = IPV4
    without_source = 0  # the route after the host has lost the source address

    def rule(self, selector):
        """Adds a routing rule for this test. Table 200 leads through up2."""
        rule = selector if "table" in selector else f"{selector} table 200"
        self.for_this_test("engine", f"{self.family.option} rule add {rule}",
                           f"{self.family.option} rule del {rule}")

    def without_rule(self, rule):
        self.for_this_test("engine", f"{self.family.option} rule del {rule}",
                           f"{self.family.option} rule add {rule}")

    def address(self, address, name):
        self.for_this_test("engine", f"address add {address}/{self.family.bits} dev {name} nodad",
                           f"address flush to {address}/{self.family.bits}")

    def spare_link(self):
        """Adds the link "spare" with the other address."""
        self.for_this_test("engine", "link add spare type veth peer name spare2", "link del spare")
        ip("engine", "link set spare2 up")
        ip("engine", "link set spare up")
        self.address(self.family.other, "spare")

    def route(self, text):
        self.for_this_test("engine", f"{self.family.option} route add {text}",
                           f"{self.family.option} route flush table all {text.split(maxsplit=1)[0]}")

    def open(self, kind, source, port, *options, name="engine", server=None):
        """Starts a process with a socket of the local port."""
        self.connect(" ".join([kind, source, server or self.family.server, str(PORT),
                               f"source-port={port}", *options]), name=name)

    def snapshot(self, **options):
        return super().snapshot(**{"server": self.family.server} | options)

    def assert_routes(self, expected, **options):
        """The interface of the route of each socket by local port, or 0; no other has a route."""
        snapshot = self.snapshot(**options)
        names = {row["interfaceIndex"]: row["name"] for row in snapshot["adapters"]["rows"]} | {0: 0}
        found = {row["localPort"]: names[row["routeInterfaceIndex"]]
                 for row in snapshot["sockets"]["rows"] if "routeInterfaceIndex" in row}
        self.assertEqual(found, expected)
        self.assert_missing(snapshot)

    def assert_unknown(self, *facts, **options):
        snapshot = self.snapshot(**options)
        for row in snapshot["sockets"]["rows"]:
            self.assertNotIn("routeInterfaceIndex", row)
        self.assert_missing(snapshot, *facts)

    def test_both_uplinks(self):
        self.open("tcp", self.family.up1, 5001)
        self.open("tcp", self.family.up2, 5002)
        self.open("udp", self.family.up2, 5003)
        self.assert_routes({5001: "up1", 5002: "up2", 5003: "up2"})

    def test_only_sockets_to_the_endpoint(self):
        self.open("udp", self.family.up1, 5001, server=self.family.unused)
        self.connect(f"tcp {self.family.up1} {self.family.server} {OTHER_PORT}")
        self.assert_unknown()
        self.open("udp", self.family.up1, 5002)
        self.assert_routes({5002: "up1"})

    def test_an_attempt_to_connect(self):
        self.open("tcp-unanswered", self.family.up2, 5001, server=self.family.unused)
        snapshot = self.snapshot(server=self.family.unused)
        self.assertEqual([(row["state"], row["routeInterfaceIndex"])
                          for row in snapshot["sockets"]["rows"]], [("SYN_SENT", network.index("up2"))])

    def test_a_source_address_without_rule(self):
        """It is up2's, but its packets take the default route."""
        self.address(self.family.other_up2, "up2")
        self.open("udp", self.family.other_up2, 5001)
        self.assert_routes({5001: "up1"})

    def test_a_bound_device(self):
        self.open("udp", self.family.up1, 5001, "device=up2")
        self.open("udp", self.family.up1, 5002)
        self.open("udp", self.family.up2, 5003, "device=up1")
        self.open("udp", self.family.up2, 5004, "device=up2")
        self.assert_routes({5001: "up2", 5002: "up1", 5003: "up1", 5004: "up2"})

    def test_a_bound_device_that_only_a_table_for_its_source_leads_through(self):
        self.spare_link()
        self.rule(f"from {self.family.other} table 201")
        self.route(f"{self.family.server} dev spare table 201")
        self.open("udp", self.family.other, 5001, "device=spare")
        self.assert_routes({5001: "spare"})

    def test_a_rule_for_a_mark(self):
        self.rule("fwmark 7")
        for port, mark in [(5001, 7), (5002, 8), (5003, 0)]:
            self.open("udp", self.family.up1, port, f"mark={mark}")
        self.assert_routes({5001: "up2", 5002: "up1", 5003: "up1"})
        self.assert_unknown(("MARK", MARKS_NEED_A_CAPABILITY),
                            ("ROUTE", f"the routing rules look at marks, and {MARKS_NEED_A_CAPABILITY}"),
                            before=WITHOUT_NET_ADMIN)

    def test_a_rule_for_a_mark_in_the_other_family(self):
        option = IPV6.option if self.family is IPV4 else IPV4.option
        self.for_this_test("engine", f"{option} rule add fwmark 7 table 200",
                           f"{option} rule del fwmark 7 table 200")
        self.open("udp", self.family.up1, 5001)
        row, = self.snapshot(before=WITHOUT_NET_ADMIN)["sockets"]["rows"]
        self.assertEqual(row["routeInterfaceIndex"], network.index("up1"))

    def test_a_rule_for_a_user(self):
        other, as_other = network.OTHER_USER, network.AS_OTHER_USER
        try:
            network.command(*as_other, "true")
        except RuntimeError as reason:
            self.skipTest(str(reason))
        self.rule(f"uidrange {other}-{other}")
        self.open("udp", self.family.up1, 5001)
        self.assert_routes({5001: "up1"})
        line = f"udp {self.family.up1} {self.family.server} {PORT} source-port=5002"
        client = Program("engine", CLIENT, "other", line, python=SYSTEM_PYTHON, before=as_other)
        self.addCleanup(client.end)
        process = ("--process", "other")
        self.assertEqual([row["user"] for row in self.sockets(process=process)], [other])
        self.assert_routes({5002: "up2"}, process=process)

    def test_rules_for_ports(self):
        self.open("udp", self.family.up1, 5001)
        self.open("udp", self.family.up1, 5002)
        self.assert_routes({5001: "up1", 5002: "up1"})
        self.rule("sport 5002")
        self.assert_routes({5001: "up1", 5002: "up2"})
        self.rule(f"dport {OTHER_PORT}")
        self.assert_routes({5001: "up1", 5002: "up2"})
        self.rule(f"dport {PORT}")
        self.assert_routes({5001: "up2", 5002: "up2"})

    def test_a_rule_for_a_protocol(self):
        self.rule("ipproto udp")
        self.open("udp", self.family.up1, 5001)
        self.open("tcp", self.family.up2, 5002)
        self.open("tcp-unanswered", self.family.up1, 5003)
        self.assert_routes({5001: "up2", 5002: "up2", 5003: "up1"})

    def test_a_rule_for_the_type_of_service(self):
        self.rule("tos 0x10")
        self.open("udp", self.family.up1, 5001)
        self.open("tcp", self.family.up1, 5002)
        self.assert_unknown(("ROUTE", "the routing rules look at the type of service or the flow label, "
                             "which are not read"))

    def test_several_next_hops(self):
        """The kernel chooses by the addresses, or by the ports, too. Compared with ip-route(8)."""
        setting = f"/proc/sys/net/{self.family.name}/fib_multipath_hash_policy"
        if not os.access(setting, os.W_OK):
            self.skipTest(f"{setting} does not exist or is read-only")
        source, server = self.family.other, self.family.server
        self.address(source, "lo")  # a next hop with this address would be preferred
        self.route(f"{server} " + " ".join(
            f"nexthop via {self.family.gateway.format(number)} dev up{number}" for number in (1, 2)))
        ports = range(5001, 5033)
        self.connect(*[f"udp {source} {server} {PORT} source-port={port}" for port in ports])
        for policy, uplinks in [(1, 2), (0, 1)]:
            network.command(*network.inside("engine"), "sh", "-c", f"echo {policy} >{setting}")
            expected = {}
            for port in ports:
                route, = json.loads(ip("engine", f"-json {self.family.option} route get {server} "
                                       f"from {source} ipproto udp sport {port} dport {PORT}"))
                expected[port] = route["dev"]
            self.assertEqual(len(set(expected.values())), uplinks)
            self.assert_routes(expected)

    def test_routes_that_refuse_packets(self):
        self.open("udp", self.family.up1, 5001)
        self.open("tcp", self.family.up1, 5002)
        for kind in ("blackhole", "unreachable", "prohibit"):
            route = f"{kind} {self.family.server}/{self.family.bits}"
            ip("engine", f"{self.family.option} route add {route}")
            self.addCleanup(ip, "engine", f"{self.family.option} route flush {self.family.server}")
            self.assert_routes({5001: 0, 5002: 0})
            ip("engine", f"{self.family.option} route del {route}")
        self.assert_routes({5001: "up1", 5002: "up1"})

    def test_no_route(self):
        self.open("udp", self.family.up1, 5001)
        self.without_rule("table main priority 32766")
        self.assert_routes({5001: 0})

    def test_a_device_that_is_down(self):
        self.spare_link()
        self.route(f"{self.family.server} dev spare metric 9999")
        self.open("udp", self.family.other, 5001, "device=spare")
        self.assert_routes({5001: "spare"})
        ip("engine", "link set spare down")
        if self.family is IPV6:
            self.assert_unknown(("ROUTE", "the routing rules look at source addresses, and the kernel's "
                                 "look-up over IPv6 ignores them or the device that the socket is bound "
                                 "to"))
            self.without_rule(f"from {self.family.up2} table 200")
        self.assert_routes({5001: 0})

    def test_a_source_address_that_the_host_has_lost(self):
        self.address(self.family.other_up2, "up2")
        self.open("udp", self.family.other_up2, 5001)
        self.assert_routes({5001: "up1"})
        ip("engine", f"address del {self.family.other_up2}/{self.family.bits} dev up2")
        self.assert_routes({5001: self.without_source})


class Ipv6RouteTest(RouteTest):
    family = IPV6
    without_source = "up1"  # the kernel routes these packets, too


if __name__ == "__main__":
    network.run_tests()
