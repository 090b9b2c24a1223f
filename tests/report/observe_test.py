#!/usr/bin/python3
"""The packets that are observed on a network with two uplinks, by a program that has given up its
rights. No test expects how many there are: the sockets that are observed send a byte every 20 ms."""

import json
import os

import network
from network import CLIENT, ENDPOINT4, ENDPOINT6, OTHER_PORT, PORT, Program, ip
from report_program import ProgramTest, snapshot_schema_errors

OBSERVE = os.environ["EGRESS_OBSERVE_PACKETS"]
UP1, UP2 = "10.1.0.2", "10.2.0.2"
UP1_6, UP2_6 = "2001:db8:1::2", "2001:db8:2::2"
WITHOUT_NET_RAW = ("setpriv", "--inh-caps=-all", "--bounding-set=-net_raw")
REASON = "cannot capture packets: Operation not permitted; it needs CAP_NET_RAW"


def without_observation(snapshot):
    """The snapshot without what an observation adds to it."""
    rest = {key: value for key, value in snapshot.items()
            if key not in ("observedSeconds", "missingFacts")}
    rest["sockets"] = {"rows": [{key: value for key, value in row.items() if key != "seenPackets"}
                                for row in snapshot["sockets"]["rows"]]}
    return rest


class ObserveTest(ProgramTest):
    def connect(self, *lines):
        """Starts a process with a socket for each line of "KIND SOURCE TARGET PORT"."""
        client = Program("engine", CLIENT, "engine", *lines)
        self.addCleanup(client.end)
        return client

    def observe(self, client, address=ENDPOINT4, port=PORT, seconds=1, before=()):
        """The snapshot before and after an observation, which changes nothing but its facts."""
        result = self.run_program(client.pid, address, port, seconds, program=OBSERVE, output="",
                                  before=(*network.inside("engine"), *before))
        self.assertEqual((result.status, result.error), (0, ""))
        first, second = json.loads(result.output)
        self.assertEqual(snapshot_schema_errors(second), [], second)
        self.assertEqual(without_observation(second), without_observation(first))
        return first, second

    def seen(self, client, *arguments, **options):
        """The interfaces of each socket's packets, by the socket's protocol and local address."""
        _, snapshot = self.observe(client, *arguments, **options)
        self.assertEqual(snapshot["missingFacts"], [])
        self.assertEqual(snapshot["observedSeconds"], 1)
        names = {row["interfaceIndex"]: row["name"] for row in snapshot["adapters"]["rows"]}
        seen = {}
        for row in snapshot["sockets"]["rows"]:
            packets = row["seenPackets"]
            self.assertTrue(all(one["count"] > 0 for one in packets), packets)
            key = f"{row['protocol']} {row['localAddress']}"
            self.assertNotIn(key, seen)
            seen[key] = [names[one["interfaceIndex"]] for one in packets]
        return seen


class InterfaceTest(ObserveTest):
    def test_both_protocols_over_each_uplink_and_family(self):
        for endpoint, first, second in [(ENDPOINT4, UP1, UP2), (ENDPOINT6, UP1_6, UP2_6)]:
            with self.subTest(endpoint):
                client = self.connect(*[f"{kind}-talking {source} {endpoint} {PORT}"
                                        for kind in ("tcp", "udp") for source in (first, second)])
                self.assertEqual(self.seen(client, endpoint), {
                    f"TCP {first}": ["up1"], f"TCP {second}": ["up2"],
                    f"UDP {first}": ["up1"], f"UDP {second}": ["up2"]})

    def test_the_packets_of_a_socket_bound_to_a_device_leave_through_it(self):
        """Also if its source is an address of another uplink."""
        client = self.connect(f"udp-talking {UP1} {ENDPOINT4} {PORT} device=up2",
                              f"udp-talking {UP2_6} {ENDPOINT6} {PORT} device=up1")
        self.assertEqual(self.seen(client, ENDPOINT4), {f"UDP {UP1}": ["up2"], f"UDP {UP2_6}": []})
        self.assertEqual(self.seen(client, ENDPOINT6), {f"UDP {UP1}": [], f"UDP {UP2_6}": ["up1"]})

    def test_a_dual_stack_socket_with_ipv4(self):
        client = self.connect(f"tcp-talking ::ffff:{UP2} ::ffff:{ENDPOINT4} {PORT}")
        self.assertEqual(self.seen(client), {f"TCP {UP2}": ["up2"]})

    def expect_only_the_upper_is_seen(self, kind, words):
        """Of an interface above up2; its neighbour need not exist."""
        try:
            ip("engine", f"link add name upper {words}")
        except RuntimeError as error:
            self.skipTest(f"no {kind}: {error}")
        self.addCleanup(ip, "engine", "link del upper")
        if kind == "bridge":
            ip("engine", "link set up2 master upper")
        ip("engine", "link set upper up")
        ip("engine", "address add 192.0.2.9/24 dev upper")
        ip("engine", "neigh add 192.0.2.1 lladdr 02:00:00:00:00:01 dev upper")
        client = self.connect(f"udp-talking 192.0.2.9 192.0.2.1 {PORT}")
        self.assertEqual(self.seen(client, "192.0.2.1"), {"UDP 192.0.2.9": ["upper"]})

    def test_of_a_bridge_and_its_port_the_bridge_is_seen(self):
        self.expect_only_the_upper_is_seen("bridge", "type bridge")

    def test_of_a_macvlan_and_its_link_the_macvlan_is_seen(self):
        self.expect_only_the_upper_is_seen("macvlan", "link up2 type macvlan mode bridge")

    def test_of_a_vlan_and_its_link_the_vlan_is_seen(self):
        self.expect_only_the_upper_is_seen("vlan", "link up2 type vlan id 7")

    def test_an_endpoint_on_this_host(self):
        ip("engine", "address add 192.0.2.1/32 dev lo")
        self.addCleanup(ip, "engine", "address del 192.0.2.1/32 dev lo")
        client = self.connect(f"udp-talking 192.0.2.1 192.0.2.1 {PORT}")
        self.assertEqual(self.seen(client, "192.0.2.1"), {"UDP 192.0.2.1": ["lo"]})

    def test_the_packets_follow_a_route_that_is_newer_than_the_sockets(self):
        client = self.connect(*[f"{kind}-talking {UP1} {ENDPOINT4} {PORT}" for kind in ("tcp", "udp")])
        ip("engine", f"route add {ENDPOINT4}/32 via 10.2.0.1")
        self.addCleanup(ip, "engine", f"route del {ENDPOINT4}/32")
        self.assertEqual(self.seen(client), {f"TCP {UP1}": ["up2"], f"UDP {UP1}": ["up2"]})


class OtherPacketsTest(ObserveTest):
    def test_those_of_another_process_do_not_count(self):
        engine = self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}", f"udp-talking {UP2} {ENDPOINT4} {PORT}")
        self.connect(f"tcp-talking {UP1} {ENDPOINT4} {PORT}", f"udp-talking {UP1} {ENDPOINT4} {PORT}")
        self.assertEqual(self.seen(engine), {f"TCP {UP1}": [], f"UDP {UP2}": ["up2"]})

    def test_those_to_another_port_or_address_do_not_count(self):
        client = self.connect(f"udp-talking {UP1} {ENDPOINT4} {OTHER_PORT}",
                              f"udp-talking {UP2} 10.2.0.1 {PORT}",
                              f"tcp-talking {UP1_6} {ENDPOINT6} {PORT}",
                              f"tcp-talking {UP1} {ENDPOINT4} {PORT}")
        self.assertEqual(self.seen(client), {f"UDP {UP1}": [], f"UDP {UP2}": [],
                                             f"TCP {UP1_6}": [], f"TCP {UP1}": ["up1"]})

    def test_those_received_do_not_count(self):
        """The replies to a socket of the server's namespace arrive through both ends of the network."""
        client = Program("server", CLIENT, "engine", f"udp-talking {ENDPOINT4} {UP1} {PORT}")
        self.addCleanup(client.end)
        silent = self.connect(f"udp {UP1} {ENDPOINT4} {PORT}")
        self.assertEqual(self.seen(silent), {f"UDP {UP1}": []})

    def test_a_socket_that_sends_nothing_has_none(self):
        self.assertEqual(self.seen(self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")), {f"TCP {UP1}": []})


class NothingObservedTest(ObserveTest):
    def test_without_the_capability_only_the_fact_is_missing(self):
        network.command(*WITHOUT_NET_RAW, "true")
        client = self.connect(f"tcp-talking {UP1} {ENDPOINT4} {PORT}")
        first, second = self.observe(client, before=WITHOUT_NET_RAW, seconds=3600)
        self.assertEqual(second, first | {"missingFacts": [{"fact": "PACKETS", "reason": REASON}]})

    def test_without_a_socket_to_the_endpoint_it_does_not_wait(self):
        client = self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        for endpoint, port in [("unknown", PORT), (ENDPOINT4, OTHER_PORT), (ENDPOINT6, PORT),
                               (f"::ffff:{ENDPOINT4}", PORT)]:
            for before in ((), WITHOUT_NET_RAW):
                with self.subTest(endpoint=endpoint, port=port, before=before):
                    first, second = self.observe(client, endpoint, port, 3600, before)
                    self.assertEqual(second, first)

    def test_no_time_is_observed_at_once(self):
        client = self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        _, second = self.observe(client, seconds=0)
        self.assertEqual(second["observedSeconds"], 0)


if __name__ == "__main__":
    network.run_tests()
