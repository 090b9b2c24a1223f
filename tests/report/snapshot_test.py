#!/usr/bin/python3
"""Saving, reading, anonymizing and rejecting snapshots."""

import ipaddress
import re
import unittest

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, ProgramTest

# Every record with every field, and special characters in texts.
FULL_SNAPSHOT = """\
egress-snapshot version=1
config status=OK autoDetectInterface=true
outbound tag=proxy type=selector detour= hasServer=false server= portSpecified=false \
portMalformed=false portHopping=false ports= hasTransport=false transportType=
outbound tag=node%201%2C%25%0A%C3%A9%00 type=vless detour=hop hasServer=true server=[2001:470::1%25eth0] \
portSpecified=true portMalformed=true portHopping=true ports=443,8443 hasTransport=true transportType=ws
answer selectorTag=proxy status=Ok now=node%201%2C%25%0A%C3%A9%00
answer selectorTag=a status=TransportFailed now=
answer selectorTag=b status=Malformed now=
answer selectorTag=c status=NowMissing now=
hint tag=node%201%2C%25%0A%C3%A9%00
adapters enumFailed=false
interface index=4294967295 operStatus=-2147483648 metric=4294967295 addresses=10.1.2.3,fd00::1
routes enumFailed=true
route family=2147483647 interfaceIndex=7 metric=9
sockets enumFailed=false
socket localAddress=10.1.2.3 localPort=4294967295 remoteAddress=no%20address remotePort=443
"""

SELECTED_SNAPSHOT = """\
egress-snapshot version=1
config status=OK autoDetectInterface=true
outbound tag=proxy type=selector
outbound tag=Tokyo type=vless hasServer=true server=93.184.216.34 portSpecified=true ports=443
outbound tag=Osaka type=vless hasServer=true server=osaka.example.net portSpecified=true ports=443
outbound tag=Kyoto type=vless hasServer=true server=::ffff:93.184.216.34 portSpecified=true ports=443
answer selectorTag=proxy status=Ok now=Tokyo
hint tag=Osaka
adapters enumFailed=false
interface index=40 operStatus=1 metric=3 addresses=10.20.30.40,fd12::40,fe80::1
interface index=7 operStatus=2 metric=4 addresses=10.20.30.7,fe80::1
interface index=40 operStatus=1 metric=5 addresses=
routes enumFailed=false
route family=4 interfaceIndex=40 metric=100
route family=6 interfaceIndex=39 metric=200
sockets enumFailed=false
socket localAddress=10.20.30.40 localPort=50000 remoteAddress=93.184.216.34 remotePort=443
socket localAddress=10.20.30.40 localPort=50001 remoteAddress=8.8.8.8 remotePort=53
socket localAddress=10.20.30.7 localPort=50002 remoteAddress=8.8.8.8 remotePort=53
socket localAddress=fd12::40 localPort=50003 remoteAddress=2a00:1450::1 remotePort=443
"""

DOCUMENTATION = [ipaddress.ip_network(prefix) for prefix in
                 ("192.0.2.0/24", "198.51.100.0/24", "203.0.113.0/24", "2001:db8::/32")]


def fields_of(snapshot):
    """All (KEY, VALUE) pairs of a snapshot's text, in order."""
    return re.findall(r" (\w+)=(\S*)", snapshot)


def addresses_in(snapshot):
    return [address for key, value in fields_of(snapshot)
            if key in ("addresses", "localAddress", "remoteAddress", "server")
            for address in value.split(",") if address]


class SavedTest(ProgramTest):
    def save(self, snapshot, *arguments):
        """Saves a snapshot; returns the saved text and the report."""
        saved = self.folder / "saved.snapshot"
        result = self.diagnose_snapshot(snapshot, "--save-snapshot", saved, *arguments)
        self.assertEqual(result.error, "")
        return saved.read_text(), result.report

    def test_a_snapshot_is_saved_unchanged(self):
        self.assertEqual(self.save(FULL_SNAPSHOT)[0], FULL_SNAPSHOT + "end\n")

    def test_only_the_owner_can_read_a_saved_snapshot(self):
        self.save(FULL_SNAPSHOT)
        self.assertEqual((self.folder / "saved.snapshot").stat().st_mode & 0o777, 0o600)

    def test_omitted_fields_have_defaults(self):
        saved, report = self.save(EMPTY_SNAPSHOT)
        self.assertEqual(saved, EMPTY_SNAPSHOT + "config status=NO_CONFIG autoDetectInterface=false\n"
                         "hint tag=\nadapters enumFailed=false\nroutes enumFailed=false\n"
                         "sockets enumFailed=false\nend\n")
        self.assertEqual(self.save(saved), (saved, report))

    def test_comments_empty_lines_and_the_order_of_fields_do_not_matter(self):
        self.assertEqual(self.save(HEALTHY_SNAPSHOT + "\n# interface index=9\n\nhint tag=x\n"),
                         self.save(HEALTHY_SNAPSHOT + "hint tag=x\n"))
        self.assertEqual(self.save(EMPTY_SNAPSHOT + "route metric=3 family=4\n"),
                         self.save(EMPTY_SNAPSHOT + "route family=4 metric=3\n"))

    def test_crlf_is_accepted(self):
        windows = (HEALTHY_SNAPSHOT + "end\n").replace("\n", "\r\n").encode()
        self.assertEqual(self.diagnose_raw_snapshot(windows).report,
                         self.diagnose_snapshot(HEALTHY_SNAPSHOT).report)

    def test_percent_encoding_accepts_lower_case_and_printable_bytes(self):
        self.assertIn("hint tag=%C3%A9a\n", self.save(EMPTY_SNAPSHOT + "hint tag=%c3%A9%61\n")[0])

    def test_configuration_answers_and_hint_are_saved(self):
        config = self.file("config.json", '{"route": {"auto_detect_interface": true}, "outbounds": ['
                           '{"tag": "proxy", "type": "selector"}, {"tag": "x", "type": "urltest"},'
                           '{"tag": "n 1", "type": "direct", "server_port": 7}]}')
        answer = self.file("answer.json", '{"now": "n 1"}')
        saved, report = self.save(EMPTY_SNAPSHOT, "--config", config, "--answer", f"proxy={answer}",
                                  "--answer-failed", "x", "--hint", "n 2")
        self.assertIn("tag=n%201 type=direct detour= hasServer=false server= portSpecified=true "
                      "portMalformed=false portHopping=false ports=7 ", saved)
        self.assertIn("answer selectorTag=proxy status=Ok now=n%201\n"
                      "answer selectorTag=x status=TransportFailed now=\nhint tag=n%202\n", saved)
        self.assertEqual(report["activeEndpointStatus"], "LEAF_HAS_NO_REMOTE_ENDPOINT")
        self.assertTrue(report["selectorHintStale"])
        self.assertEqual(self.diagnose_snapshot(saved).report, report)


class AnonymizeTest(SavedTest):
    def anonymize(self, snapshot):
        """Anonymizes a snapshot and checks that the report is the same; returns the text."""
        saved, report = self.save(snapshot, "--anonymize")
        self.assertEqual(self.diagnose_snapshot(saved).report, report)
        self.assertEqual(self.diagnose_snapshot(snapshot).report, report)
        return saved

    def test_the_report_stays_the_same(self):
        report = self.diagnose_snapshot(SELECTED_SNAPSHOT).report
        self.assertEqual(report["selectionStatus"], "OK")  # 40 is the second of 7 and 40
        self.assertEqual(report["selectedInterfaceOrdinal"], 2)
        self.assertTrue(report["selectorHintStale"])
        self.assertEqual(report["defaultRoutesStatus"], "SNAPSHOT_INCONSISTENT")
        self.anonymize(SELECTED_SNAPSHOT)
        for number, line in enumerate(SELECTED_SNAPSHOT.splitlines(keepends=True)):
            if number > 0:  # without this record
                self.anonymize(SELECTED_SNAPSHOT.replace(line, ""))

    def assert_documentation(self, addresses):
        for address in addresses:
            parsed = ipaddress.ip_address(address)
            self.assertTrue(any(parsed in network for network in DOCUMENTATION), address)

    def test_every_address_is_a_documentation_address_or_an_example_name(self):
        addresses = addresses_in(self.anonymize(SELECTED_SNAPSHOT))
        self.assertEqual(addresses.count("host-1.example"), 1)
        self.assert_documentation(address for address in addresses if address != "host-1.example")

    def test_names_are_numbered_by_first_occurrence(self):
        saved = self.anonymize(EMPTY_SNAPSHOT + "outbound tag=a detour=b server=x.net\n"
                               "outbound tag=b detour=a server=y.net\noutbound server=x.net\n"
                               "hint tag=c\n")
        self.assertEqual([(key, value) for key, value in fields_of(saved)
                          if key in ("tag", "detour", "server")],
                         [("tag", "tag-1"), ("detour", "tag-2"), ("server", "host-1.example"),
                          ("tag", "tag-2"), ("detour", "tag-1"), ("server", "host-2.example"),
                          ("tag", ""), ("detour", ""), ("server", "host-1.example"),
                          ("tag", "tag-3")])

    def test_equality_and_family_of_addresses_are_preserved(self):
        before = [ipaddress.ip_address(address) if ":" in address or address[0].isdigit() else address
                  for address in addresses_in(SELECTED_SNAPSHOT)]
        after = addresses_in(self.anonymize(SELECTED_SNAPSHOT))
        self.assertEqual(len(before), len(after))
        self.assertEqual(len(set(zip(before, after))), len(set(before)))
        self.assertEqual(len(set(after)), len(set(before)))
        for old, new in zip(before, after):
            self.assertEqual(getattr(old, "version", 0), 0 if new.endswith(".example")
                             else ipaddress.ip_address(new).version)

    def test_spellings_of_one_address_become_equal(self):
        saved = self.anonymize(EMPTY_SNAPSHOT + "interface addresses=[FD00:0::7],fd00::7%25eth0\n")
        first, second = addresses_in(saved)
        self.assertEqual(first, second)

    def test_indexes_become_ranks(self):
        def indexes(text):
            return [int(value) for key, value in fields_of(text)
                    if key in ("index", "interfaceIndex")]
        self.assertEqual(indexes(SELECTED_SNAPSHOT), [40, 7, 40, 40, 39])
        self.assertEqual(indexes(self.anonymize(SELECTED_SNAPSHOT)), [3, 1, 3, 3, 2])

    def test_no_name_tag_or_address_is_left(self):
        saved = self.anonymize(SELECTED_SNAPSHOT)
        for secret in ["Tokyo", "Osaka", "Kyoto", "osaka.example.net"] + addresses_in(SELECTED_SNAPSHOT):
            self.assertNotIn(secret, saved)

    def test_ports_metrics_states_and_types_are_kept(self):
        keys = ("type", "transportType", "hasTransport", "hasServer", "portSpecified",
                "portMalformed", "portHopping", "ports", "localPort", "remotePort", "metric",
                "operStatus", "family", "status", "autoDetectInterface", "enumFailed")
        def kept(text):
            return [(key, value) for key, value in fields_of(text) if key in keys]
        for snapshot in (SELECTED_SNAPSHOT, FULL_SNAPSHOT):
            self.assertEqual(kept(self.anonymize(snapshot)), kept(self.save(snapshot)[0]))

    def test_unknown_types_are_replaced(self):
        types = ["selector", "urltest", "direct", "block", "dns", "vmess", "vless", "trojan",
                 "anytls", "shadowsocks", "hysteria", "hysteria2", "tuic", "", "alice", "ws"]
        transports = ["ws", "grpc", "http", "quic", "", "vpn.corp.example.net", "vless"]
        text = "".join(f"outbound tag={tag} type={tag} transportType=\n" for tag in types)
        text += "".join(f"outbound type=trojan transportType={name}\n" for name in transports)
        saved = fields_of(self.anonymize(EMPTY_SNAPSHOT + text))
        self.assertEqual([value for key, value in saved if key == "type"],
                         types[:-2] + ["other"] * 2 + ["trojan"] * len(transports))
        self.assertEqual([value for key, value in saved if key == "transportType"],
                         [""] * len(types) + transports[:-2] + ["other"] * 2)

    def test_anonymizing_twice_changes_nothing(self):
        saved = self.anonymize(HEALTHY_SNAPSHOT)
        self.assertEqual(self.anonymize(saved), saved)

    def test_more_addresses_than_documentation_addresses(self):
        many = "".join(f"socket localAddress=10.0.{i // 256}.{i % 256} localPort=1 "
                       f"remoteAddress=11.0.{i // 256}.{i % 256} remotePort=443\n"
                       for i in range(1000))
        saved = self.anonymize(HEALTHY_SNAPSHOT + many)
        # All except the one shared by adapter addresses, plus one IPv6 address.
        self.assertEqual(len(set(addresses_in(saved))), 767 + 1)
        self.assert_documentation(addresses_in(saved))
        # The same with the endpoint's socket last.
        head, _, socket = HEALTHY_SNAPSHOT.rpartition("socket ")
        self.anonymize(head + many + "socket " + socket)

    def test_more_than_65536_ipv6_addresses(self):
        many = "".join(f"socket localAddress=fd00::{i >> 16:x}:{i & 0xffff:x}\n"
                       for i in range(66000))
        saved = self.anonymize(EMPTY_SNAPSHOT + many)
        self.assertEqual(len(set(addresses_in(saved))), 66000)
        self.assert_documentation(addresses_in(saved))

    def test_source_addresses_precede_other_adapter_addresses(self):
        adapters = "".join(f"interface index={i} addresses=10.1.{i // 256}.{i % 256}\n"
                           for i in range(20, 1000))
        socket = "socket localAddress=10.1.3.200 remoteAddress=198.51.100.10 remotePort=443\n"
        self.anonymize(HEALTHY_SNAPSHOT + adapters + socket)
        unmapped = socket.replace("10.1.3.200", "10.9.9.9")
        self.anonymize(HEALTHY_SNAPSHOT + adapters + unmapped)
        for count in range(755, 775):  # around the number of documentation addresses
            self.anonymize(HEALTHY_SNAPSHOT + "".join(adapters.splitlines(True)[:count]) + unmapped)

    def test_more_sources_than_documentation_addresses_are_rejected(self):
        many = "".join(f"interface index={i} addresses=10.1.{i // 256}.{i % 256}\n"
                       f"socket localAddress=10.1.{i // 256}.{i % 256}\n" for i in range(20, 1000))
        saved = self.folder / "saved.snapshot"
        result = self.diagnose_snapshot(HEALTHY_SNAPSHOT + many, "--anonymize", "--save-snapshot", saved)
        self.assert_cannot_run(result, "--anonymize", "more IPv4 source addresses")
        self.assertFalse(saved.exists())


class RejectedTest(ProgramTest):
    def reject(self, snapshot, *parts):
        self.assert_cannot_run(self.diagnose_raw_snapshot(snapshot), "--snapshot", "given.snapshot",
                               *parts)

    def test_truncated_text(self):
        self.reject(EMPTY_SNAPSHOT, "line 1: ", "truncated", "'end'")
        self.reject(HEALTHY_SNAPSHOT, "line 7: ", "truncated", "'end'")
        self.reject(HEALTHY_SNAPSHOT + "en", "line 8: unknown record 'en'")

    def test_lines_after_the_end(self):
        self.reject(EMPTY_SNAPSHOT + "end\nhint tag=x\n", "line 3: unexpected line after 'end'")
        self.reject(EMPTY_SNAPSHOT + "end\nend\n", "line 3: unexpected line after 'end'")

    def test_duplicate_records(self):
        for record in ("config", "hint", "adapters", "routes", "sockets"):
            self.reject(EMPTY_SNAPSHOT + f"{record}\n{record}\n",
                        f"line 3: duplicate record '{record}'")

    def test_other_text(self):
        for text in ("", "\n", "{}", "egress-snapshot version=2\n", " " + EMPTY_SNAPSHOT):
            self.reject(text, "line 1: expected 'egress-snapshot version=1'")

    def test_an_unknown_record(self):
        self.reject(HEALTHY_SNAPSHOT + "adapter index=1\n", "line 8: unknown record 'adapter'")

    def test_an_unknown_field(self):
        self.reject(EMPTY_SNAPSHOT + "interface name=eth0\n",
                    "line 2: unknown or duplicate field 'name'")

    def test_a_duplicate_field(self):
        self.reject(EMPTY_SNAPSHOT + "interface index=1 index=2\n",
                    "line 2: unknown or duplicate field 'index'")

    def test_a_field_without_a_value(self):
        self.reject(EMPTY_SNAPSHOT + "interface index\n", "line 2: 'index'", "KEY=VALUE")

    def test_two_spaces(self):
        self.reject(EMPTY_SNAPSHOT + "interface  index=1\n", "line 2: ''", "KEY=VALUE")

    def test_invalid_numbers(self):
        for field in ("interface index=-1", "interface index=4294967296", "interface index=",
                      "interface index=1x", "interface index=+1", "interface operStatus=2147483648",
                      "socket localPort=0x10", "outbound ports=1,x"):
            self.reject(EMPTY_SNAPSHOT + field + "\n", "line 2: ", "is not a number in range")

    def test_invalid_words(self):
        for field in ("config status=FINE", "config status=ok", "answer status=OK"):
            self.reject(EMPTY_SNAPSHOT + field + "\n", "line 2: unknown status ")
        self.reject(EMPTY_SNAPSHOT + "adapters enumFailed=1\n", "line 2: '1'", "'true' or 'false'")

    def test_invalid_percent_encodings(self):
        for text in ("%", "%4", "%4g", "%g4", "a%", "%-1", "%+1"):
            self.reject(EMPTY_SNAPSHOT + f"hint tag={text}\n", "line 2: ",
                        "is not a percent-encoded byte")

    def test_messages_encode_and_truncate_values(self):
        self.reject(EMPTY_SNAPSHOT + "\x1b[2J\x07\n", "line 2: unknown record '%1B[2J%07'")
        self.reject(EMPTY_SNAPSHOT + "x" * 100000 + "\n",
                    "line 2: unknown record '" + "x" * 40 + "...'\n")
        self.reject(EMPTY_SNAPSHOT + "x" * 40 + "\n",
                    "line 2: unknown record '" + "x" * 40 + "'\n")

    def test_every_prefix_is_rejected(self):
        snapshot = HEALTHY_SNAPSHOT + "hint tag=%C3%A9\nend"  # the last newline is optional
        self.assertEqual(self.diagnose_raw_snapshot(snapshot).error, "")
        for size in range(len(snapshot)):
            self.reject(snapshot[:size], "line ")

    def test_binary_data_gives_one_line(self):
        for content in (bytes(range(256)), b"\x00" * 1000, b"\xff\xfe" * 10,
                        EMPTY_SNAPSHOT.encode() + bytes(range(256))):
            self.reject(content)


if __name__ == "__main__":
    unittest.main()
