#!/usr/bin/python3
"""The interface that egress-report names is the one that carries the packets, which are counted where they
arrive. The engine has two uplinks: up1 has the better default route, and the server replies over both."""

import json
import socket
import struct
import time

import network
from network import CLIENT, ENDPOINT4, ENDPOINT6, PORT, Program, ip
from report_program import ProgramTest

UPLINKS = ("up1", "up2")
AS_OTHER = (*network.AS_OTHER_USER, "--inh-caps=-all")
WITHOUT_NET_ADMIN = ("setpriv", "--inh-caps=-all", "--bounding-set=-net_admin")
WITHOUT_NET_RAW = ("setpriv", "--inh-caps=-all", "--bounding-set=-net_raw")


class Ipv4:
    ip_option = "-4"
    up1, up2, loopback = "10.1.0.2", "10.2.0.2", "198.51.100.7"
    endpoint, silent = ENDPOINT4, "203.0.113.99"
    host = 32
    ethertype = 0x0800

    @staticmethod
    def flow(packet):
        """The protocol, the destination and both ports of an IPv4 packet without fragments (RFC 791)."""
        header = (packet[0] & 15) * 4
        return packet[9], socket.inet_ntop(socket.AF_INET, packet[16:20]), struct.unpack_from(
            "!HH", packet, header)


class Ipv6:
    ip_option = "-6"
    up1, up2, loopback = "2001:db8:1::2", "2001:db8:2::2", "2001:db8:7::7"
    endpoint, silent = ENDPOINT6, "2001:db8:f::99"
    host = 128
    ethertype = 0x86DD

    @staticmethod
    def flow(packet):
        """The same of an IPv6 packet without extension headers (RFC 8200)."""
        return packet[6], socket.inet_ntop(socket.AF_INET6, packet[24:40]), struct.unpack_from(
            "!HH", packet, 40)


def config(server, auto_detect):
    return json.dumps({"route": {"auto_detect_interface": auto_detect},
                       "outbounds": [{"tag": "proxy", "type": "trojan", "server": server,
                                      "server_port": PORT}]})


class Carriers:
    """Finds the uplinks over which packets to an endpoint arrive at the server."""

    def __init__(self, family):
        self.family = family
        self.listeners = {}
        for name in UPLINKS:
            self.listeners[name] = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
            self.listeners[name].bind((name, family.ethertype))

    def close(self):
        for listener in self.listeners.values():
            listener.close()

    def packets(self, name):
        while True:
            try:
                yield self.listeners[name].recv(2048)
            except BlockingIOError:
                return

    def clear(self):
        for name in UPLINKS:
            for _ in self.packets(name):
                pass

    def found(self, endpoint, protocol, ports):
        """The uplinks of packets with this protocol from these ports. The sockets of earlier tests send
        from others until they have ended."""
        flows = {(protocol, endpoint, (port, PORT)) for port in ports}
        return {name for name in UPLINKS
                if flows & {self.family.flow(packet) for packet in self.packets(name)}}


class PacketTest(ProgramTest):
    family = Ipv4

    def setUp(self):
        super().setUp()
        self.carriers = Carriers(self.family)
        self.addCleanup(self.carriers.close)

    def connect(self, *lines, **options):
        client = Program("engine", CLIENT, "engine", *lines, **options)
        self.addCleanup(client.end)
        return client

    def for_this_test(self, namespace, text, undo):
        ip(namespace, f"{self.family.ip_option} {text}")
        self.addCleanup(ip, namespace, f"{self.family.ip_option} {undo}")

    def add_and_delete(self, namespace, kind, text):
        self.for_this_test(namespace, f"{kind} add {text}", f"{kind} del {text}")

    def reply_to_up1_over_up2(self):
        """A socket that is bound to up2 receives what arrives there only."""
        self.add_and_delete("server", "route",
                            f"{self.family.up1}/{self.family.host} via {self.family.up2} dev up2")

    def assert_carried(self, details, wanted, protocol=socket.IPPROTO_TCP):
        """From now on, exactly these uplinks carry packets of the sockets. A connection attempt is
        repeated after up to 8 s."""
        ports = {row["localPort"] for row in details["sockets"]}
        self.carriers.clear()
        found = set()
        for attempt in range(400):
            time.sleep(0.05)
            found |= self.carriers.found(details["endpoint"]["address"], protocol, ports)
            if attempt > 4 and found >= wanted:
                break
        self.assertEqual(found, wanted)

    def details(self, endpoint, *arguments, auto_detect=True, before=()):
        result = self.run_program("--process", "engine", "--config", "-", *arguments,
                                  text=config(endpoint, auto_detect), output="--json=details",
                                  before=(*network.inside("engine"), *before))
        return result, json.loads(result.output)

    def assert_check(self, status, interface, exit_status, *arguments, endpoint=None, **options):
        """Returns the details."""
        result, details = self.details(endpoint or self.family.endpoint, *arguments, **options)
        check = details["crossCheck"]
        self.assertEqual((check["status"], check.get("interface", {}).get("name"), result.status),
                         (status, interface, exit_status), result.output)
        return details

    def assert_row(self, core, status, interface, exit_status, endpoint=None, **options):
        """What the core says, the cross-check, and that the packets agree with that. Returns the
        details."""
        details = self.assert_check(status, interface, exit_status, endpoint=endpoint, **options)
        self.assertEqual(details["report"]["selectionStatus"], core)
        self.assert_carried(details, {interface} if interface else set())
        return details

    def assert_observed(self, status, interface, exit_status):
        details = self.assert_check(status, interface, exit_status, "--observe", "1")
        self.assertEqual([row["decidedBy"] for row in details["sockets"]], ["PACKETS"])
        self.assertEqual(details["crossCheck"]["observedSeconds"], 1)

    def test_1_bound_to_the_other_uplink(self):
        self.reply_to_up1_over_up2()
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT} device=up2")
        details = self.assert_row("OK", "DISAGREES", "up2", 1)
        row, = details["sockets"]
        self.assertEqual(row["boundDevice"]["name"], "up2")
        self.assertEqual([owner["name"] for owner in row["bySource"]], ["up1"])
        self.assert_observed("DISAGREES", "up2", 1)

    def test_2_source_on_the_loopback(self):
        address = f"{self.family.loopback}/{self.family.host}"
        self.add_and_delete("engine", "address", f"{address} dev lo")
        self.add_and_delete("server", "route", f"{address} via {self.family.up1} dev up1")
        self.connect(f"tcp-talking {self.family.loopback} {self.family.endpoint} {PORT}")
        details = self.assert_row("OK", "DISAGREES", "up1", 1)
        kinds = {row["name"]: row["kind"] for row in details["interfaces"]}
        self.assertEqual(kinds, {"lo": "LOOPBACK", "up1": "OTHER", "up2": "OTHER"})

    def test_3_source_of_the_other_uplink_without_a_rule(self):
        self.connect(f"tcp-talking {self.family.up2} {self.family.endpoint} {PORT}")
        self.assert_row("OK", "DISAGREES", "up1", 1)
        self.assert_observed("DISAGREES", "up1", 1)

    def mark_up2(self):
        self.add_and_delete("engine", "route", f"default via {self.family.up2[:-1]}1 dev up2 table 107")
        self.add_and_delete("engine", "rule", "fwmark 7 table 107")
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT} mark=7")

    def test_4_a_mark(self):
        self.mark_up2()
        details = self.assert_row("OK", "DISAGREES", "up2", 1)
        self.assertEqual([row["mark"] for row in details["sockets"]], [7])
        self.assert_observed("DISAGREES", "up2", 1)

    def test_4_without_permission_to_read_marks(self):
        """The rules look at marks, so nothing is known; the packets show it."""
        self.mark_up2()
        details = self.assert_check("UNKNOWN", None, 0, before=WITHOUT_NET_ADMIN)
        self.assertEqual({missing["fact"] for missing in details["missingFacts"]}, {"MARK", "ROUTE"})
        self.assertNotIn("mark", details["sockets"][0])
        self.assert_check("DISAGREES", "up2", 1, "--observe", "1", before=WITHOUT_NET_ADMIN)

    def test_5_both_uplinks_have_the_address(self):
        self.reply_to_up1_over_up2()
        nodad = " nodad" if self.family is Ipv6 else ""
        address = f"{self.family.up1}/{self.family.host} dev up2"
        self.for_this_test("engine", f"address add {address}{nodad}", f"address del {address}")
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT} device=up2")
        self.assert_row("ADDRESS_INTERFACE_AMBIGUOUS", "SETTLES", "up2", 0)

    def test_6_only_udp(self):
        self.connect(f"udp-talking {self.family.up2} {self.family.endpoint} {PORT} device=up2")
        details = self.assert_row("NO_MATCHING_SOCKET", "NO_SOCKET", None, 1)
        self.assertEqual([row["role"] for row in details["sockets"]], ["NOT_COUNTED"])
        self.assert_carried(details, {"up2"}, socket.IPPROTO_UDP)
        self.assert_check("AGREES", "up2", 0, "--udp")

    def test_7_tcp_and_udp(self):
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT}",
                     f"udp-talking {self.family.up2} {self.family.endpoint} {PORT} device=up2")
        self.assert_row("OK", "AGREES", "up1", 0)
        self.assert_check("SEVERAL", None, 1, "--udp")

    def test_8_an_attempt_without_an_answer(self):
        self.connect(f"tcp-unanswered {self.family.up2} {self.family.silent} {PORT} device=up2")
        self.assert_row("NO_MATCHING_SOCKET", "TRYING", "up2", 1, endpoint=self.family.silent)

    def test_9_an_interface_that_is_set_down(self):
        self.connect(f"tcp-talking {self.family.up2} {self.family.endpoint} {PORT} device=up2")
        self.assert_row("OK", "AGREES", "up2", 0)
        ip("engine", "link set up2 down")
        self.addCleanup(network.set_up, 2)
        network.wait_for_state("up2", "DOWN")
        core = "OK" if self.family is Ipv4 else "SOCKET_SOURCE_ADDRESS_UNMAPPED"  # Linux removes IPv6's
        self.assert_row(core, "NO_WAY_OUT", None, 1)

    def test_10_the_engine_leaves_it_to_the_system(self):
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT}")
        self.assert_row("NOT_APPLICABLE_OS_ROUTED", "SETTLES", "up1", 0, auto_detect=False)

    def test_11_permission_denied(self):
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT}")
        try:
            network.command(*AS_OTHER, "true")
        except RuntimeError as reason:
            self.skipTest(str(reason))
        details = self.assert_check("UNKNOWN", None, 3, before=AS_OTHER)
        self.assertEqual(details["report"]["selectionStatus"], "NOT_EVALUATED_SOCKET_ENUM_FAILED")

    def test_several(self):
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT}",
                     f"tcp-talking {self.family.up2} {self.family.endpoint} {PORT} device=up2")
        details = self.assert_check("SEVERAL", None, 1)
        self.assert_carried(details, set(UPLINKS))

    def test_observing_without_permission(self):
        self.connect(f"tcp-talking {self.family.up1} {self.family.endpoint} {PORT}")
        details = self.assert_check("AGREES", "up1", 0, "--observe", "1", before=WITHOUT_NET_RAW)
        self.assertEqual([missing["fact"] for missing in details["missingFacts"]], ["PACKETS"])
        self.assertIn("CAP_NET_RAW", details["missingFacts"][0]["reason"])
        self.assertNotIn("observedSeconds", details["crossCheck"])

    def test_the_saved_snapshot_gives_the_same_check(self):
        self.mark_up2()
        path = self.folder / "saved.json"
        _, live = self.details(self.family.endpoint, "--save-snapshot", path)
        result = self.run_program("--snapshot", path, output="--json=details")
        self.assertEqual(json.loads(result.output), live)


class Ipv6PacketTest(PacketTest):
    family = Ipv6


if __name__ == "__main__":
    network.run_tests(network.route_by_destination_alone)
