#!/usr/bin/python3
"""Saving, anonymizing, diagnosing and rejecting snapshots."""

import base64
import copy
import ipaddress
import json
import os
import re
import unittest

from report_program import (EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, SOURCE_DIR, ProgramTest,
                            snapshot_schema_errors)

# Every member of every record, and special characters in texts.
FULL_SNAPSHOT = EMPTY_SNAPSHOT | {
    "origin": {"time": "2026-11-22T04:23:00Z", "program": "p\n", "programVersion": "1", "system": "s"},
    "config": {"configStatus": "OK", "autoDetectInterface": True, "outbounds": [
        {"tag": "node 1,%\n\u00e9\0", "type": "vless", "detour": "hop", "hasServer": True,
         "server": "[2001:470::1%eth0]", "portSpecified": True, "portMalformed": True,
         "portHopping": True, "ports": [443, 8443], "hasTransport": True, "transportType": "ws"}]},
    "blanked": {"byteOrderMark": True, "comments": 2**32 - 1, "trailingCommas": 1},
    "mainTag": "m\n",
    "selectorAnswers": [{"selectorTag": "proxy", "status": "Ok", "now": "node 1,%\n\u00e9\0"},
                        {"selectorTag": "a", "status": "TransportFailed", "now": ""}],
    "queries": [{"selectorTag": "a\n", "outcome": "REFUSED", "reason": "q\n"}],
    "selectorHint": "\u2028",
    "resolvedNames": [{"name": "n\n", "address": "a\n", "source": "SYSTEM"}],
    "listeningAt": "/l\n",
    "processes": [{"id": 2**32 - 1, "user": 1000, "program": "/p\0\n"}],
    "adapters": {"enumFailed": False, "failureReason": "", "rows": [
        {"name": "eth\t0", "interfaceIndex": 2**32 - 1, "operStatus": -2**31,
         "interfaceMetric": 2**32 - 1, "addresses": ["10.1.2.3", "fd00::1"], "kind": "TUNNEL"}]},
    "routes": {"enumFailed": False, "failureReason": "", "rows": [
        {"family": 2**31 - 1, "interfaceIndex": 7, "routeMetric": 9}]},
    "sockets": {"enumFailed": False, "failureReason": "", "rows": [
        {"protocol": "UDP", "state": "TIME_WAIT", "localAddress": "10.1.2.3", "localPort": 2**32 - 1,
         "remoteAddress": "no address", "remotePort": 443, "boundInterfaceIndex": 0,
         "mark": 2**32 - 1, "user": 1000, "routeInterfaceIndex": 7,
         "seenPackets": [{"interfaceIndex": 7, "count": 2**32 - 1}]}]},
    "observedSeconds": 30,
    "missingFacts": [{"fact": "PACKETS", "reason": "r\n"}],
}

# Why a fact is missing, and what was done to the input.
FULL_ERROR = """egress-report: packets: r%0A
egress-report: engine: process 4294967295, listening at /l%0A
egress-report: input: ignored in the configuration: a byte-order mark, 4294967295 comments and 1 trailing comma
egress-report: input: the main outbound is 'm%0A'
egress-report: asked: the engine for the choice of 'a%0A', in vain
"""

# Tokyo is selected, and leads to Nara. Every text and every number that must not be published is distinct
# from all others.
PRIVATE_SNAPSHOT = EMPTY_SNAPSHOT | {
    "origin": {"time": "2026-11-22T04:23:00Z", "program": "my-tool", "programVersion": "7.8.9",
               "system": "Linux 6.1-alice"},
    "config": {"configStatus": "OK", "autoDetectInterface": True, "outbounds": [
        {"tag": "proxy", "type": "selector"},
        {"tag": "Tokyo", "type": "alice-type", "detour": "Nara", "hasTransport": True,
         "transportType": "alice-ws"},
        {"tag": "Nara", "type": "vless", "hasServer": True, "server": "93.184.216.34",
         "portSpecified": True, "ports": [443]},
        {"tag": "Osaka", "type": "hysteria2", "hasServer": True, "server": "osaka.example.net",
         "portSpecified": True, "ports": [50443], "hasTransport": True, "transportType": "grpc"},
        {"tag": "Kyoto", "type": "trojan", "detour": "Nagoya", "hasServer": True,
         "server": "::ffff:93.184.216.34", "portSpecified": True, "ports": [443]},
        {"tag": "Tokyo", "type": "tuic"}]},
    "selectorAnswers": [{"selectorTag": "proxy", "status": "Ok", "now": "Tokyo"},
                        {"selectorTag": "Sapporo", "status": "TransportFailed", "now": "Fukuoka"},
                        {"selectorTag": "proxy", "status": "NowMissing", "now": "Kobe"}],
    "selectorHint": "Osaka",
    "processes": [{"id": 47110, "user": 100042, "program": "/opt/alice/tool"}, {"id": 47111}],
    "adapters": {"rows": [
        {"name": "wlan-alice", "interfaceIndex": 4040, "operStatus": 1, "interfaceMetric": 3,
         "addresses": ["10.20.30.40", "fd12::40", "fe80::abcd"]},
        {"name": "eth-alice", "interfaceIndex": 707, "operStatus": 2, "interfaceMetric": 4,
         "addresses": ["10.20.30.7", "fe80::abcd%eth0"]},
        {"interfaceIndex": 4040, "operStatus": 1, "interfaceMetric": 5}]},
    "routes": {"failureReason": "a reason with secrets", "rows": [
        {"family": 4, "interfaceIndex": 4040, "routeMetric": 100},
        {"family": 6, "interfaceIndex": 3939, "routeMetric": 200}]},
    "sockets": {"rows": [
        {"localAddress": "10.20.30.40", "localPort": 50000, "remoteAddress": "93.184.216.34",
         "remotePort": 443, "user": 100023, "boundInterfaceIndex": 3838, "routeInterfaceIndex": 3737,
         "seenPackets": [{"interfaceIndex": 3636, "count": 5}]},
        {"localAddress": "10.20.30.40", "localPort": 50001, "remoteAddress": "8.8.8.8",
         "remotePort": 53},
        {"localAddress": "100.77.1.2", "localPort": 50002, "remoteAddress": "169.254.7.7",
         "remotePort": 53, "protocol": "UDP"},
        {"localAddress": "fd12::40", "localPort": 50003, "remoteAddress": "2a00:1450::1",
         "remotePort": 443}]},
    "missingFacts": [{"fact": "ROUTE", "reason": "a reason with secrets"}],
}
SECRETS = ["2026-11-22", "my-tool", "7.8.9", "alice", "Tokyo", "Osaka", "Kyoto", "Nagoya", "Sapporo",
           "Fukuoka", "93.184", "osaka", "example.net", "10.20", "fd12", "abcd", "100.77", "254.7.7",
           "8.8.8.8", "2a00", "4040", "707", "3939", "3838", "3737", "3636", "with secrets", "100023", "4711",
           "100042", "/opt", "5000", "Nara", "Kobe", "hysteria2", "50443", "grpc", "trojan", "tuic",
           "TransportFailed", "NowMissing"]


def paths(value, path=()):
    """The keys that lead to each value inside a value."""
    if isinstance(value, (dict, list)):
        for key in value if isinstance(value, dict) else range(len(value)):
            yield *path, key
            yield from paths(value[key], (*path, key))


def at(value, path):
    for key in path:
        value = value[key]
    return value


def without_each_record(snapshot):
    """Copies of a snapshot, each without one of its members or one element of its arrays."""
    for path in paths(snapshot):
        is_record = len(path) == 1 or isinstance(at(snapshot, path[:-1]), list)
        if is_record and path not in (("format",), ("version",)):
            changed = copy.deepcopy(snapshot)
            del at(changed, path[:-1])[path[-1]]
            yield path, changed


def with_each_scalar_replaced(snapshot, values):
    for path in paths(snapshot):
        if not isinstance(at(snapshot, path), (dict, list)):
            for value in values:
                changed = copy.deepcopy(snapshot)
                at(changed, path[:-1])[path[-1]] = value
                yield path, changed


def documented_ranges():
    """The networks in each cell of the table in docs/egress-report.md."""
    page = (SOURCE_DIR / "docs/egress-report.md").read_text().partition("## Anonymized")[2]
    network = r"[\da-f.:]*[.:][\da-f.:]*(?:/\d+)?"
    _, _, *rows = re.findall(r"^\|.*\|$", page, re.MULTILINE)
    return [[[ipaddress.ip_network(text) for text in re.findall(network, cell)]
             for cell in row.split("|")[2:-1]] for row in rows]


class SavedTest(ProgramTest):
    def save(self, snapshot, *arguments, error=""):
        """Saves a snapshot; returns the saved one and the report."""
        path = self.folder / "saved.json"
        result = self.diagnose_snapshot(snapshot, "--save-snapshot", path, *arguments)
        self.assertEqual(result.error, error)
        return self.parsed_snapshot(path.read_text()), result.report

    def test_a_snapshot_is_saved_unchanged(self):
        self.assertEqual(self.save(FULL_SNAPSHOT, error=FULL_ERROR)[0], FULL_SNAPSHOT)

    def test_a_saved_snapshot_gives_the_same_report(self):
        for snapshot, error in [(EMPTY_SNAPSHOT, ""), (HEALTHY_SNAPSHOT, ""),
                                (FULL_SNAPSHOT, FULL_ERROR)]:
            saved, report = self.save(snapshot, error=error)
            self.assertEqual(self.save(saved, error=error), (saved, report))

    def test_configuration_answers_and_hint_are_saved(self):
        config = self.file("config.json", '{"route": {"auto_detect_interface": true}, "outbounds": ['
                           '{"tag": "proxy", "type": "selector"}, {"tag": "x", "type": "urltest"},'
                           '{"tag": "n 1", "type": "direct", "server_port": 7}]}')
        answer = self.file("answer.json", '{"now": "n 1"}')
        given = HEALTHY_SNAPSHOT | {
            "selectorHint": "old",
            "selectorAnswers": [{"selectorTag": "x", "status": "Ok", "now": "old"}]}
        saved, report = self.save(given, "--config", config, "--answer", f"proxy={answer}",
                                  "--answer-failed", "x", "--hint", "x")
        self.assertEqual(saved["config"]["outbounds"][2],
                         {"tag": "n 1", "type": "direct", "detour": "", "hasServer": False,
                          "server": "", "portSpecified": True, "portMalformed": False,
                          "portHopping": False, "ports": [7], "hasTransport": False,
                          "transportType": ""})
        self.assertEqual(len(saved["config"]["outbounds"]), 3)
        # The first answer for a selector is used.
        self.assertEqual(saved["selectorAnswers"],
                         [{"selectorTag": "proxy", "status": "Ok", "now": "n 1"},
                          {"selectorTag": "x", "status": "TransportFailed", "now": ""},
                          {"selectorTag": "x", "status": "Ok", "now": "old"}])
        self.assertEqual(saved["selectorHint"], "x")
        self.assertEqual(report["activeEndpointStatus"], "LEAF_HAS_NO_REMOTE_ENDPOINT")
        self.assertTrue(report["selectorHintStale"])
        self.assertEqual(self.diagnose_snapshot(saved).report, report)

    def test_text_that_is_not_utf_8_is_saved(self):
        hint = b"caf\xe9"
        saved, _ = self.save(HEALTHY_SNAPSHOT, "--hint", os.fsdecode(hint), error="egress-report: --hint: "
                             "the configuration has no outbound tagged 'caf%E9'\n")
        self.assertEqual(saved["selectorHint"], {"base64": base64.b64encode(hint).decode()})
        self.assertEqual(self.save(saved)[0], saved)

    def test_failure_reasons_are_printed_to_standard_error(self):
        failed = {"enumFailed": True}
        result = self.diagnose_snapshot(HEALTHY_SNAPSHOT | {
            "adapters": failed | {"failureReason": "links: no\n"},
            "routes": failed | {"failureReason": ""},
            "sockets": failed | {"failureReason": "TCP: \x1b[31m"}})
        self.assertEqual(result.error, "egress-report: sockets: TCP: %1B[31m\n"
                                       "egress-report: adapters: links: no%0A\n")
        self.assertEqual([result.report[key] for key in
                          ("interfacesStatus", "defaultRoutesStatus", "socketSourcesStatus")],
                         ["ADAPTER_ENUM_FAILED", "ROUTE_ENUM_FAILED", "SOCKET_ENUM_FAILED"])


class AnonymizeTest(ProgramTest):
    def anonymize(self, snapshot):
        """Anonymizes a snapshot and checks that its report is that of the original. Returns the text."""
        result = self.diagnose_snapshot(snapshot, "--anonymize", "--save-snapshot", "-")
        again = self.run_program("--snapshot", "-", text=result.output)
        self.assertEqual(again.error, "")
        self.assertEqual(again.report, self.diagnose_snapshot(snapshot).report)
        self.assertEqual(again.status, result.status)
        return result.output

    def test_the_report_stays_the_same(self):
        report = self.diagnose_snapshot(PRIVATE_SNAPSHOT).report
        self.assertEqual(report["selectionStatus"], "OK")  # 4040 is the second of 707 and 4040
        self.assertEqual(report["selectedInterfaceOrdinal"], 2)
        self.assertTrue(report["selectorHintStale"])
        self.assertEqual(report["defaultRoutesStatus"], "SNAPSHOT_INCONSISTENT")
        self.anonymize(PRIVATE_SNAPSHOT)

    def test_the_report_stays_the_same_without_any_record(self):
        for path, snapshot in without_each_record(PRIVATE_SNAPSHOT):
            with self.subTest(path=path):
                self.anonymize(snapshot)

    def test_no_secret_is_left(self):
        given = json.dumps(PRIVATE_SNAPSHOT)
        text = self.anonymize(PRIVATE_SNAPSHOT)
        for secret in SECRETS:
            self.assertIn(secret, given)
            self.assertNotIn(secret, text)

    def test_addresses_become_those_of_the_documented_ranges(self):
        for given4, becomes4, given6, becomes6 in documented_ranges():
            for given, becomes, other in [(given4, becomes4, "8.8.8.8"), (given6, becomes6, "2a00::8")]:
                old = [str(network.broadcast_address) for network in given] or [other] * bool(becomes)
                saved = json.loads(self.anonymize(EMPTY_SNAPSHOT | {
                    "adapters": {"rows": [{"interfaceIndex": 1, "addresses": old}]}}))
                for address in saved["adapters"]["rows"][0]["addresses"]:
                    new = ipaddress.ip_address(address)
                    self.assertTrue(any(new in network for network in becomes), f"{old} {new}")

    def test_a_file_contains_the_same_as_standard_output(self):
        path = self.folder / "saved.json"
        result = self.diagnose_snapshot(PRIVATE_SNAPSHOT, "--anonymize", "--save-snapshot", path)
        self.assertEqual(result.output, self.diagnose_snapshot(PRIVATE_SNAPSHOT).output)
        self.assertEqual(path.read_text(), self.anonymize(PRIVATE_SNAPSHOT))
        self.assertEqual(path.stat().st_mode & 0o777, 0o600)


class RejectedTest(ProgramTest):
    def reject(self, text, error):
        """The program prints one line with the option, the file and then `error`."""
        result = self.diagnose_text(text)
        self.assert_cannot_run(result)
        self.assertEqual(result.error,
                         f"egress-report: --snapshot: {self.folder / 'given.json'}: {error}\n")

    def test_the_message_contains_the_place_and_the_value(self):
        for text, error in [
                ("", "the text is empty"),
                ("{,}", "not JSON: line 1, byte 1 of the text: NO_KEY"),
                ("[]", "/format: missing: this is not a saved snapshot"),
                ('{"format": "x"}', '/format: "x" is not "egress-snapshot"'),
                (json.dumps(EMPTY_SNAPSHOT | {"version": 2}),
                 "/version: written by a newer program: version 2, this one reads 1"),
                (json.dumps(EMPTY_SNAPSHOT | {"sockets": {"rows": [{}, {"localPort": 2**32}]}}),
                 "/sockets/rows/1/localPort: 4294967296 does not fit"),
                (json.dumps(EMPTY_SNAPSHOT | {"adapters": {"rows": [{"addresses": [None]}]}}),
                 "/adapters/rows/0/addresses/0: null is not a text")]:
            with self.subTest(text=text):
                self.reject(text, error)

    def test_the_schema_rejects_the_same(self):
        rejected = 0
        for path, snapshot in with_each_scalar_replaced(FULL_SNAPSHOT, (None, True, -1, 2**32, "x", {})):
            with self.subTest(path=path, value=at(snapshot, path)):
                is_rejected = self.diagnose_text(json.dumps(snapshot)).status == 2
                self.assertEqual(bool(snapshot_schema_errors(snapshot)), is_rejected)
                rejected += is_rejected
        self.assertGreater(rejected, 0)

    def test_the_file_is_named_as_given(self):
        result = self.run_program("--snapshot", "-", text="")
        self.assertEqual(result.error, "egress-report: --snapshot: -: the text is empty\n")
        self.file("\x1b[2J", "")
        result = self.run_program("--snapshot", "\x1b[2J", cwd=self.folder)
        self.assertEqual(result.error, "egress-report: --snapshot: %1B[2J: the text is empty\n")

    def test_hostile_bytes_are_escaped(self):
        self.reject(json.dumps({"format": "\x1b[2J\x07\n\u00e9"}),
                    r'/format: "\u001b[2J\u0007\n\u00e9" is not "egress-snapshot"')
        self.reject(r'{"\u001b[2J\n\u00e9": {', "/%1B[2J%0A%C3%A9: cut off after byte 23")

    def test_long_values_are_shortened(self):
        long = "x" * 100000
        self.reject(json.dumps({"format": long}), f'/format: "{long[:40]}"... is not "egress-snapshot"')
        text = json.dumps({long: 1})[:-1]
        self.reject(text, f"/{long[:40]}: cut off after byte {len(text)}")
        self.assertLess(len(self.diagnose_text("[" * 100000).error), 1000)

    def test_every_prefix_is_rejected(self):
        text = json.dumps(HEALTHY_SNAPSHOT | {"selectorHint": "\u00e9"}, ensure_ascii=False).encode()
        self.assertEqual(self.diagnose_text(text).error, "")
        for size in range(len(text)):
            result = self.diagnose_text(text[:size])
            self.assert_cannot_run(result, "--snapshot", "given.json",
                                   f"cut off after byte {size}\n" if size else "the text is empty\n")

    def test_binary_data_gives_one_line(self):
        text = json.dumps(EMPTY_SNAPSHOT).encode()
        for content in (bytes(range(256)), b"\x00" * 1000, b"\xff\xfe" * 10, text + b"\x00",
                        text + bytes(range(256)), text.replace(b"egress-", b"\xff")):
            self.assert_cannot_run(self.diagnose_text(content), "--snapshot", "given.json")


if __name__ == "__main__":
    unittest.main()
