#!/usr/bin/python3
"""What egress-report prints for people."""

import copy
import json
import os
import re
import textwrap
import unittest

from report_program import EMPTY_SNAPSHOT, PROGRAM, SNAPSHOT_SCHEMA, ProgramTest
from terminal import output_on_terminal

WAN0, WAN1 = 2, 3  # interface indexes
TAG = "de-1"

SNAPSHOT = EMPTY_SNAPSHOT | {
    "config": {"configStatus": "OK", "autoDetectInterface": True, "outbounds": [
        {"tag": "proxy", "type": "selector"}, {"tag": "auto", "type": "urltest"},
        {"tag": TAG, "type": "vless", "hasServer": True, "server": "203.0.113.5",
         "portSpecified": True, "ports": [443]}]},
    "selectorAnswers": [{"selectorTag": "proxy", "status": "Ok", "now": "auto"},
                        {"selectorTag": "auto", "status": "Ok", "now": TAG}],
    "adapters": {"rows": [
        {"name": "lo", "interfaceIndex": 1, "operStatus": 4, "kind": "LOOPBACK",
         "addresses": ["127.0.0.1", "198.51.100.7"]},
        {"name": "wan0", "interfaceIndex": WAN0, "operStatus": 1, "kind": "OTHER",
         "addresses": ["192.168.1.2"]},
        {"name": "wan1", "interfaceIndex": WAN1, "operStatus": 1, "kind": "OTHER",
         "addresses": ["10.20.0.2"]}]},
    "routes": {"rows": [{"family": 4, "interfaceIndex": WAN0}]},
    "sockets": {"rows": [
        {"localAddress": "192.168.1.2", "localPort": port, "remoteAddress": "203.0.113.5",
         "remotePort": 443, "boundInterfaceIndex": WAN1, "mark": 0, "routeInterfaceIndex": WAN1}
        for port in (51544, 51545)]}}

TITLE = "203.0.113.5:443"
WAY = f"  way      proxy → auto → {TAG} (vless) → {TITLE}\n"


def changed(**members):
    """The snapshot, with a function's change of each member."""
    snapshot = copy.deepcopy(SNAPSHOT)
    for key, change in members.items():
        change(snapshot[key]["rows"] if key in ("adapters", "sockets") else snapshot[key])
    return snapshot


def sockets(count=2, **fields):
    """The snapshot with `count` sockets that have these fields; None removes one."""
    def change(rows):
        del rows[count:]
        for row in rows:
            row.update(fields)
            for key in [key for key, value in fields.items() if value is None]:
                del row[key]
    return changed(sockets=change)


def routed(route, count=2, **fields):
    return sockets(count, **{"routeInterfaceIndex": route, "boundInterfaceIndex": 0} | fields)


class AnswerTest(ProgramTest):
    def answer(self, snapshot, *arguments, **options):
        return self.diagnose_snapshot(snapshot, *arguments, output="", **options)

    def assert_answer(self, snapshot, status, first, *rows, arguments=()):
        """The exit status, the first sentence, and rows that the rest contains."""
        result = self.answer(snapshot, *arguments)
        self.assertEqual((result.status, result.error), (status, ""))
        sentence, _, body = result.output.partition("\n\n")
        self.assertEqual(" ".join(sentence.split()), first)
        body = " ".join(body.split())
        for row in rows:
            self.assertIn(row, body)
        return result.output


class FirstScreenTest(AnswerTest):
    def test_the_normal_case_is_not_explained(self):
        snapshot = sockets(localAddress="10.20.0.2")
        self.assertEqual(self.answer(snapshot).output,
                         f"wan1: 2 TCP connections to {TITLE} leave through it.\n\n{WAY}"
                         "  sockets  10.20.0.2:51544 → 203.0.113.5:443  established, bound to wan1 (2\n"
                         "           alike)\n"
                         "  check    AGREES with the system's routes for these connections\n")

    def test_one_connection(self):
        self.assert_answer(routed(WAN0, 1), 0, f"wan0: 1 TCP connection to {TITLE} leaves through it.",
                           "sockets 192.168.1.2:51544 → 203.0.113.5:443 established check AGREES")

    def test_the_system_sends_them_through_another_interface(self):
        self.assert_answer(
            SNAPSHOT, 1,
            f"wan1: 2 TCP connections to {TITLE} leave through it, with the source address of wan0.",
            "check DISAGREES with the system's routes for these connections",
            "do If they should leave through wan0, bind the engine to it, or add a routing rule for "
            "its source address.")

    def test_the_source_address_is_one_of_the_loopback(self):
        output = self.assert_answer(
            routed(WAN0, 1, localAddress="198.51.100.7"), 1,
            f"wan0: 1 TCP connection to {TITLE} leaves through it, with the source address of lo.")
        self.assertNotIn("\n  do ", output)

    def test_the_system_settles_it(self):
        both = changed(adapters=lambda rows: rows[2]["addresses"].append("192.168.1.2"))
        self.assert_answer(both, 0, f"wan1: 2 TCP connections to {TITLE} leave through it.",
                           "check SETTLES by the system's routes for these connections; the source "
                           "addresses alone: ADDRESS_INTERFACE_AMBIGUOUS")
        os_routed = changed(config=lambda config: config.update(autoDetectInterface=False))
        self.assert_answer(os_routed, 0, f"wan1: 2 TCP connections to {TITLE} leave through it.",
                           "the source addresses alone: NOT_APPLICABLE_OS_ROUTED")

    def test_several_interfaces(self):
        def change(rows):
            rows[0].update(routeInterfaceIndex=WAN0, boundInterfaceIndex=0)
            rows[1].update(localAddress="10.20.0.2")
        self.assert_answer(
            changed(sockets=change), 1,
            f"wan0 and wan1: 2 TCP connections to {TITLE} leave through them.",
            "sockets 192.168.1.2:51544 → 203.0.113.5:443 established, leaves through wan0 "
            "10.20.0.2:51545 → 203.0.113.5:443 established, bound to wan1, leaves through wan1",
            "check SEVERAL by the system's routes for these connections do If they should leave through one, "
            "let the engine reconnect, then run this again.")

    def test_no_way_out(self):
        down = changed(adapters=lambda rows: rows[2].update(operStatus=2))
        self.assert_answer(down, 1, f"no way out: 2 TCP connections to {TITLE} cannot leave: wan1 is "
                           "down.", "bound to wan1, no way out (2 alike)",
                           "check NO_WAY_OUT by the system's routes", "do Set the interface up")
        self.assert_answer(routed(0, 1), 1, f"no way out: 1 TCP connection to {TITLE} cannot leave: the "
                           "system has no route.")
        other = routed(0, 1, boundInterfaceIndex=WAN1) | {"adapters": {"rows": [
            row | {"operStatus": 2 if row["name"] == "wan0" else 1} for row in SNAPSHOT["adapters"]["rows"]]}}
        self.assert_answer(other, 1, f"no way out: 1 TCP connection to {TITLE} cannot leave: the system has "
                           "no route.")
        bound = routed(0, 1, boundInterfaceIndex=WAN1) | {"adapters": down["adapters"]}
        self.assert_answer(bound, 1, f"no way out: 1 TCP connection to {TITLE} cannot leave: wan1 is down.")
        one = changed(sockets=lambda rows: rows[0].update(routeInterfaceIndex=0, boundInterfaceIndex=0))
        self.assert_answer(one, 1, f"no way out: 1 of 2 TCP connections to {TITLE} cannot leave: the "
                           "system has no route.")

    def test_no_way_out_for_two_reasons(self):
        both = changed(adapters=lambda rows: rows[2].update(operStatus=2),
                       sockets=lambda rows: rows[0].update(routeInterfaceIndex=0, boundInterfaceIndex=0))
        self.assert_answer(both, 1, f"no way out: 2 TCP connections to {TITLE} cannot leave: the system has "
                           "no route and wan1 is down.")

    def test_connection_attempts(self):
        self.assert_answer(sockets(state="SYN_SENT"), 1, f"wan1: 2 TCP connection attempts to {TITLE} "
                           "leave through it, without an answer so far.", "no answer yet, bound to wan1",
                           "check TRYING", "do Check that the server runs")
        unknown = sockets(1, state="SYN_SENT", routeInterfaceIndex=None, boundInterfaceIndex=None)
        self.assert_answer(unknown, 1,
                           f"no answer: 1 TCP connection attempt to {TITLE} has no answer so far.")
        lost = sockets(1, state="SYN_SENT", routeInterfaceIndex=0, boundInterfaceIndex=0)
        self.assert_answer(lost, 1, f"no way out: 1 TCP connection attempt to {TITLE} cannot leave: the "
                           "system has no route.", "check TRYING", "do Set the interface up")

    def test_no_connection(self):
        idle = f"no connection: the engine has no TCP connection to {TITLE}"
        self.assert_answer(sockets(0), 1, f"{idle}.", "check NO_SOCKET", "do Send traffic")
        self.assert_answer(sockets(1, protocol="UDP"), 1, f"{idle}; 1 other socket to it does not count.",
                           "UDP, bound to wan1, leaves through wan1, does not count")
        self.assert_answer(sockets(state="TIME_WAIT"), 1,
                           f"{idle}; 2 other sockets to it do not count.", "time-wait, ")

    def test_udp_counts_on_request(self):
        self.assert_answer(sockets(1, protocol="UDP", localAddress="10.20.0.2"), 0,
                           f"wan1: 1 UDP socket to {TITLE} leaves through it.", "UDP, bound to wan1 check",
                           arguments=["--udp"])
        both = changed(sockets=lambda rows: rows[1].update(protocol="UDP"))
        self.assert_answer(both, 1, f"wan1: 1 TCP connection and 1 UDP socket to {TITLE} leave through it, "
                           "with the source address of wan0.", arguments=["--udp"])

    def test_the_system_does_not_tell(self):
        unknown = {"routeInterfaceIndex": None, "boundInterfaceIndex": None, "mark": None}
        self.assert_answer(sockets(**unknown), 0,
                           f"wan0: 2 TCP connections to {TITLE} have its source address; the system does "
                           "not tell where they leave.", "established (2 alike) check UNKNOWN")
        lost = f"{TITLE}, and the system does not tell where they leave."
        self.assert_answer(sockets(1, localAddress="192.0.2.9", **unknown), 1,
                           f"unknown: no interface has the source address of 1 TCP connection to "
                           f"{TITLE}, and the system does not tell where it leaves.")

        def differ(address, interface=None):
            def change(snapshot):
                snapshot["sockets"]["rows"][0]["localAddress"] = address
                if interface:
                    snapshot["adapters"]["rows"][interface - 1]["addresses"].append(address)
                return snapshot
            return change(sockets(**unknown))
        self.assert_answer(differ("192.0.2.9"), 1, "unknown: no interface has the source addresses of some "
                           f"of 2 TCP connections to {lost}")
        self.assert_answer(differ("10.20.0.2"), 1, f"unknown: 2 TCP connections to {TITLE} have source "
                           "addresses of wan0 and wan1, and the system does not tell where they leave.")
        self.assert_answer(differ("192.168.1.2", WAN1), 1, "unknown: wan0 and wan1 have the source address "
                           f"of 2 TCP connections to {lost}")
        os_routed = sockets(**unknown)
        os_routed["config"]["autoDetectInterface"] = False
        self.assert_answer(os_routed, 1, "unknown: the system's routes decide, and it does not tell where "
                           f"2 TCP connections to {TITLE} leave.")

    def test_the_system_tells_of_some(self):
        def second(**fields):
            """The second of two sockets has these fields, and no known way."""
            def change(rows):
                rows[1].update(fields)
                for key in ("routeInterfaceIndex", "boundInterfaceIndex"):
                    del rows[1][key]
            return change
        self.assert_answer(changed(sockets=second()), 1,
                           f"wan1: 1 of 2 TCP connections to {TITLE} leaves through it, with the source "
                           "address of wan0.")
        own = routed(WAN0)
        second()(own["sockets"]["rows"])
        self.assert_answer(own, 0, f"wan0: 2 TCP connections to {TITLE} have its source address; the system "
                           "does not tell where 1 of them leaves.")
        shared = copy.deepcopy(own)
        shared["adapters"]["rows"][2]["addresses"].append("192.168.1.2")
        self.assert_answer(shared, 1, f"unknown: wan0 and wan1 have the source address of 2 TCP connections "
                           f"to {TITLE}, and the system does not tell where 1 of them leaves.")
        own["config"]["autoDetectInterface"] = False
        self.assert_answer(own, 1, "unknown: the system's routes decide, and it does not tell where 1 of 2 "
                           f"TCP connections to {TITLE} leaves.")

    def test_what_decided(self):
        bound = sockets(routeInterfaceIndex=None, localAddress="10.20.0.2")
        self.assert_answer(bound, 0, f"wan1: 2 TCP connections to {TITLE} leave through it.",
                           "check AGREES with the devices that the sockets are bound to")
        seen = changed(sockets=lambda rows: rows[0].update(
            seenPackets=[{"interfaceIndex": WAN0, "count": 3}]))
        self.assert_answer(seen, 1, f"wan0 and wan1: 2 TCP connections to {TITLE} leave through them, with "
                           "the source address of wan0.",
                           "DISAGREES with the packets that were seen and the system's routes")

    def test_kinds_of_interfaces(self):
        tunnel = changed(adapters=lambda rows: rows[1].update(kind="TUNNEL"),
                         sockets=lambda rows: [row.update(routeInterfaceIndex=WAN0) for row in rows])
        self.assert_answer(tunnel, 0, f"wan0: 2 TCP connections to {TITLE} leave through it.",
                           "note wan0 is a tunnel: its packets leave this host inside others, through "
                           "another interface")
        self.assert_answer(routed(1, 1), 1, f"lo: 1 TCP connection to {TITLE} leaves through it, with the "
                           "source address of wan0.", "note lo is the loopback: the endpoint is on this host")

    def test_facts_that_are_missing(self):
        missing = changed() | {"missingFacts": [
            {"fact": "MARK", "reason": "not permitted"}, {"fact": "ROUTE", "reason": "no \x1b[31mroute"},
            {"fact": "PACKETS", "reason": ""}]}
        output = self.answer(missing).output
        self.assertIn("  note     the routes of the sockets are not known: no %1B[31mroute\n"
                      "  note     the packets are not known\n", output)
        self.assertNotIn("not permitted", output)

    def test_a_stale_hint(self):
        self.assert_answer(SNAPSHOT | {"selectorHint": "nl-1"}, 1,
                           f"wan1: 2 TCP connections to {TITLE} leave through it, with the source address "
                           "of wan0.", "note the way does not pass through the hint nl-1")

    def test_an_ipv6_endpoint(self):
        snapshot = routed(WAN0, 1, localAddress="2001:db8::2", remoteAddress="2001:db8:5::5", mark=7)
        snapshot["config"]["outbounds"][2]["server"] = "[2001:db8:5:0::5]"
        snapshot["adapters"]["rows"][1]["addresses"].append("2001:db8::2")
        self.assert_answer(snapshot, 0, "wan0: 1 TCP connection to [2001:db8:5:0::5]:443 leaves through it.",
                           "sockets [2001:db8::2]:51544 → [2001:db8:5::5]:443 established, mark 7 check")

    def test_a_hundred_equal_sockets_are_one_row(self):
        row = SNAPSHOT["sockets"]["rows"][0]
        hundred = SNAPSHOT | {"sockets": {"rows": [row | {"localPort": 1000 + i} for i in range(100)]}}
        output = self.assert_answer(hundred, 1, f"wan1: 100 TCP connections to {TITLE} leave through it, "
                                    "with the source address of wan0.", "(100 alike)")
        self.assertEqual(output.count("192.168.1.2:"), 1)

    def test_many_kinds_of_sockets(self):
        row = SNAPSHOT["sockets"]["rows"][0]
        many = SNAPSHOT | {"sockets": {"rows": [row | {"mark": i + 1} for i in range(12)]}}
        output = self.answer(many).output
        self.assertEqual(output.count("192.168.1.2:"), 10)
        self.assertIn("           and 2 more kinds\n", output)

    def test_an_interface_without_a_name(self):
        nameless = routed(WAN0)
        del nameless["adapters"]["rows"][1]["name"]
        self.assert_answer(nameless, 0, f"interface 2: 2 TCP connections to {TITLE} leave through it.")


class InputTest(AnswerTest):
    """What was done to the input is said: in the text, with --json on standard error."""

    def assert_notes(self, snapshot, *notes, arguments=()):
        """Each note is a label and a text."""
        body = self.answer(snapshot, *arguments).output.partition("\n\n")[2]
        rows = re.sub(r"\n {11}", " ", body).splitlines()
        self.assertEqual([" ".join(row.split()) for row in rows][:len(notes)],
                         [" ".join(note) for note in notes])
        report = self.diagnose_snapshot(snapshot, *arguments)
        self.assertEqual(report.error, "".join(f"egress-report: {label}: {text}\n" for label, text in notes))
        details = self.diagnose_snapshot(snapshot, *arguments, output="--json=details")
        self.assertEqual(details.error, "")
        return details.report

    def test_nothing_was_done(self):
        self.assertNotIn("input", self.answer(SNAPSHOT).output)

    def test_what_was_blanked(self):
        for blanked, text in [({"comments": 1}, "1 comment"),
                              ({"comments": 2, "trailingCommas": 1}, "2 comments and 1 trailing comma"),
                              ({"byteOrderMark": True, "comments": 1, "trailingCommas": 3},
                               "a byte-order mark, 1 comment and 3 trailing commas")]:
            self.assert_notes(SNAPSHOT | {"blanked": blanked},
                              ("input", "ignored in the configuration: " + text))

    def test_the_configuration_is_blanked_unless_strict(self):
        text = ("\ufeff// \"{\n" + json.dumps({
            "route": {"auto_detect_interface": True},
            "outbounds": [{"tag": "proxy", "type": "trojan", "server": "203.0.113.5",
                           "server_port": 443}]})[:-1] + ",/* }} */}")
        config = self.file("config.json", text)
        details = self.assert_notes(
            SNAPSHOT, ("input", "ignored in the configuration: a byte-order mark, 2 comments and 1 trailing "
                       "comma"), arguments=["--config", config])
        self.assertEqual(details["input"]["blanked"],
                         {"byteOrderMark": True, "comments": 2, "trailingCommas": 1})
        strict = self.answer(SNAPSHOT, "--config", config, "--strict")
        self.assertIn("unknown: the configuration is not JSON: line 1, column 1: a value is missing.",
                      " ".join(strict.output.split()))

    def test_the_main_outbound(self):
        main = changed(config=lambda config: config["outbounds"][0].update(tag="main 1"),
                       selectorAnswers=lambda rows: rows[0].update(selectorTag="main 1"))
        note = ("input", "the main outbound is 'main 1'")
        details = self.assert_notes(main | {"mainTag": "main 1"}, note)
        self.assertEqual(details["way"]["entered"][0]["tag"], "main 1")
        self.assertEqual(self.assert_notes(main, note, arguments=["--main", "main 1"]), details)
        # An option comes before the snapshot, and an outbound tagged 'proxy' stays one.
        main["config"]["outbounds"].append(main["config"]["outbounds"][2] | {"tag": "proxy"})
        other = self.assert_notes(main | {"mainTag": "absent"}, note, arguments=["--main", "main 1"])
        self.assertEqual(other["way"], details["way"])
        self.assertIn("  way      proxy (vless) → ", self.answer(main).output)

    def test_queries(self):
        queries = [{"selectorTag": "proxy"}, {"selectorTag": "auto", "outcome": "NO_NOW", "reason": "why"}]
        self.assert_notes(SNAPSHOT | {"queries": queries[:1]},
                          ("asked", "the engine for the choice of 'proxy'"))
        self.assert_notes(SNAPSHOT | {"queries": queries},
                          ("asked", "the engine for the choice of 'proxy' and 'auto', in vain"))

    def test_the_process_that_listens(self):
        processes = [{"id": 12}, {"id": 14}]
        self.assert_notes(SNAPSHOT | {"processes": processes[:1], "listeningAt": "127.0.0.1:9090"},
                          ("engine", "process 12, listening at 127.0.0.1:9090"))
        self.assert_notes(SNAPSHOT | {"processes": processes, "listeningAt": "/run/engine"},
                          ("engine", "processes 12 and 14, listening at /run/engine"))

    def test_answers_of_several_selectors(self):
        unanswered = {key: value for key, value in SNAPSHOT.items() if key != "selectorAnswers"}
        answers = self.file("answers.json", json.dumps({"proxy": {"now": "auto"}, "auto": {"now": TAG},
                                                        "unused": {"now": "x"}}))
        given = self.diagnose_snapshot(unanswered, "--answers", answers)
        self.assertEqual((given.status, given.error, given.output),
                         (1, "", self.diagnose_snapshot(SNAPSHOT).output))
        # The answer of --answer comes first.
        one = self.file("one.json", '{"now": ""}')
        both = self.diagnose_snapshot(unanswered, "--answers", answers, "--answer", f"auto={one}")
        self.assertEqual(both.report["activeEndpointStatus"], "SELECTOR_NOW_MISSING")
        for text, parts in [("[]", ["--answers: ", "not an object"]), ("{", ["--answers: ", "cut off"]),
                            ("", ["--answers: ", "empty"])]:
            self.assert_cannot_run(self.diagnose_snapshot(SNAPSHOT, "--answers", self.file("bad.json", text)),
                                   *parts)


class NameTest(AnswerTest):
    """The server has a name."""

    def named(self, *rows, **fields):
        snapshot = changed(config=lambda config: config["outbounds"][2].update(server="vpn.example"))
        snapshot["sockets"]["rows"] = [SNAPSHOT["sockets"]["rows"][0] | {"routeInterfaceIndex": WAN0,
                                                                         "boundInterfaceIndex": 0} | row
                                       for row in rows]
        return snapshot | fields

    SECOND = {"remoteAddress": "203.0.113.6"}
    ELSEWHERE = {"routeInterfaceIndex": WAN1, "localAddress": "10.20.0.2"}

    def resolve(self, *addresses):
        return [word for address in addresses for word in ("--resolve", f"vpn.example={address}")]

    def test_an_address_by_option(self):
        output = self.assert_answer(self.named({}), 0, f"wan0: 1 TCP connection to {TITLE} leaves through it.",
                                    "name 'vpn.example' is 203.0.113.5, as --resolve says",
                                    arguments=self.resolve("203.0.113.5"))
        self.assertIn(f" → {TAG} (vless) → {TITLE}\n", output)

    def test_an_address_of_a_snapshot(self):
        names = [{"name": "vpn.example", "address": "203.0.113.5", "source": "SYSTEM"}]
        snapshot = self.named({}, resolvedNames=names)
        row = "name 'vpn.example' is 203.0.113.5, as the system's resolver says"
        self.assert_answer(snapshot, 0, f"wan0: 1 TCP connection to {TITLE} leaves through it.", row)
        # An option comes first.
        self.assert_answer(snapshot | {"sockets": {"rows": []}}, 1, "no connection: the engine has no TCP "
                           "connection to 203.0.113.9:443.", "name 'vpn.example' is 203.0.113.9, as --resolve "
                           "says, one of 2 addresses", arguments=self.resolve("203.0.113.9"))

    def test_the_address_in_use_counts(self):
        self.assert_answer(self.named(self.SECOND), 0,
                           "wan0: 1 TCP connection to 203.0.113.6:443 leaves through it.",
                           "name 'vpn.example' is 203.0.113.6, as --resolve says, one of 2 addresses",
                           arguments=self.resolve("203.0.113.5", "203.0.113.6"))

    def test_addresses_that_agree(self):
        snapshot = self.named({}, self.SECOND)
        self.assert_answer(snapshot, 0, f"wan0: 1 TCP connection to {TITLE} leaves through it.",
                           arguments=self.resolve("203.0.113.5", "203.0.113.6"))

    def test_addresses_that_do_not_agree(self):
        do = "do If they should leave through one, let the engine reconnect, then run this again."
        snapshot = self.named({}, self.SECOND | self.ELSEWHERE)
        addresses = self.resolve("203.0.113.5", "203.0.113.6")
        self.assert_answer(snapshot, 1, "wan0 and wan1: the engine uses several addresses of the server: "
                           "203.0.113.5 through wan0 and 203.0.113.6 through wan1.", do, arguments=addresses)
        details = self.diagnose_snapshot(snapshot, *addresses, output="--json=details").report
        self.assertIs(details["doAddressesAgree"], False)
        self.assertEqual(details["otherAddresses"][0]["interface"], {"ordinal": 3, "name": "wan1"})
        unknown = self.named({}, self.SECOND | {"routeInterfaceIndex": 0})
        self.assert_answer(unknown, 1, "wan0: the engine uses several addresses of the server: 203.0.113.5 "
                           "through wan0 and 203.0.113.6 through no known interface.", arguments=addresses)

    def test_a_name_that_no_server_has(self):
        result = self.answer(self.named({}), "--resolve", "other.example=203.0.113.5")
        self.assertEqual(result.error,
                         "egress-report: --resolve: the configuration has no server 'other.example'\n")


class CulpritTest(AnswerTest):
    """The first sentence names what is in the way."""

    def assert_culprit(self, snapshot, what, todo, status=1, way=None, arguments=()):
        todo = f"do {todo}." if todo else ""
        output = self.assert_answer(snapshot, status, f"unknown: {what}.", todo, arguments=arguments)
        self.assertEqual(output.count("\n  do "), 1 if todo else 0)
        if way:
            self.assertIn(f"  way      {way}\n", output)

    def leaf(self, **fields):
        return changed(config=lambda config: config["outbounds"][2].update(fields))

    def test_the_configuration(self):
        def status(word):
            return SNAPSHOT | {"config": {"configStatus": word}}
        self.assert_culprit(status("NO_CONFIG"), "there is no configuration, or it is empty",
                            "Name the engine's configuration with --config FILE")
        self.assert_culprit(status("JSON_PARSE_FAILED"), "the configuration is not a JSON object",
                            "Check the file of --config")
        self.assert_culprit(status("AUTO_DETECT_MISSING"),
                            "the configuration has no key route.auto_detect_interface",
                            "Add it to the configuration: true if the engine selects the interface "
                            "itself, otherwise false")
        self.assert_culprit(status("AUTO_DETECT_INVALID"), "route.auto_detect_interface in the "
                            "configuration is not true or false", "Set it to true or false")

    def test_where_the_configuration_breaks_off(self):
        faults = [('{"a": 1\n "b": 2}', "line 2, column 2: a comma or the closing bracket is missing"),
                  ('{\n  "a": }', "line 2, column 8: a value is missing"),
                  ('{"a": 1', "line 1, column 8: the text is cut off"),
                  ('{"a": tru }', "line 1, column 10: this is not true, false or null"),
                  ('{"a": -x}', "line 1, column 8: a digit is missing"),
                  ('{"a": "\\x"}', "line 1, column 9: this is not an escape of a string"),
                  ('{1: 2}', "line 1, column 2: a key in double quotes is missing"),
                  ('{"a" 1}', "line 1, column 6: a colon is missing"),
                  ('{} x', "line 1, column 4: there is more text after the end"),
                  ("[" * 70, "line 1, column 66: the values are nested too deep")]
        for text, fault in faults:
            with self.subTest(text):
                self.assert_culprit(SNAPSHOT, f"the configuration is not JSON: {fault}",
                                    "Correct the configuration there",
                                    arguments=["--config", self.file("config.json", text)])
        self.assert_culprit(SNAPSHOT, "the configuration is not a JSON object",
                            "Check the file of --config",
                            arguments=["--config", self.file("config.json", "[]")])

    def test_selectors(self):
        def answered(**fields):
            return changed(selectorAnswers=lambda rows: rows[1].update(now="", **fields))
        todo = "Ask the engine with --ask URL, or name its answer with --answer TAG=FILE"
        for status, what in [("TransportFailed", "there is no answer of the selector 'auto'"),
                             ("Malformed", "the answer of the selector 'auto' is not a JSON object"),
                             ("NowMissing", "the answer of the selector 'auto' has no text under \"now\"")]:
            self.assert_culprit(answered(status=status), what, todo, way="proxy → auto → ?")

    def test_queries_without_an_answer(self):
        failed = changed(selectorAnswers=lambda rows: rows[1].update(now="", status="TransportFailed"))
        correct = "Correct --ask"
        remedies = {"REFUSED": "Start the engine, or correct --ask",
                    "TIMED_OUT": "Check that the engine runs, or give it longer with --ask-timeout",
                    "NAME_NOT_FOUND": correct,
                    "BAD_CERTIFICATE": "Name the engine's certificate with --ask-ca",
                    "UNAUTHORIZED": "Name the file with the engine's credential with --ask-header-file",
                    "NOT_FOUND": "Check that --ask and the configuration are of the same engine",
                    "BAD_STATUS": correct, "TOO_LARGE": correct, "NOT_JSON": correct, "NO_NOW": correct,
                    "FAILED": correct}
        self.assertEqual({*remedies, "ANSWERED"},
                         set(SNAPSHOT_SCHEMA["properties"]["queries"]["items"]["properties"]["outcome"]["enum"]))
        for outcome, todo in remedies.items():
            queries = [{"selectorTag": "proxy"}, {"selectorTag": "auto", "outcome": outcome, "reason": "why"}]
            self.assert_culprit(failed | {"queries": queries},
                                "the engine did not tell the choice of the selector 'auto': why", todo)
        queries = [{"selectorTag": "auto", "outcome": "FAILED"}]
        self.assert_culprit(failed | {"queries": queries},
                            "the engine did not tell the choice of the selector 'auto'", correct)

    def test_outbounds_that_are_missing(self):
        gone = changed(config=lambda config: config["outbounds"].pop())
        self.assert_culprit(gone, "no outbound has the tag 'de-1', to which 'auto' leads",
                            "Check that the answers and the configuration are of the same engine")
        empty = changed(config=lambda config: config["outbounds"].clear())
        self.assert_culprit(empty, "no outbound has the tag 'proxy'", "Name the main outbound with --main TAG")

    def test_the_tags_that_could_be_meant(self):
        def config(tags):
            return self.file("config.json", json.dumps({
                "route": {"auto_detect_interface": True},
                "outbounds": [{"tag": "leaf", "type": "trojan"}] + [
                    {"tag": tag, "type": "selector", "outbounds": ["leaf"]} for tag in tags]}))
        what = "no outbound has the tag 'proxy'"
        self.assert_culprit(SNAPSHOT, what, "Name the main outbound with --main TAG. No other outbound "
                            "leads to '🚀 a' and 'b%1B'", arguments=["--config", config(["🚀 a", "b\x1b"])])
        self.assert_culprit(SNAPSHOT, what, "Name the main outbound with --main TAG. No other outbound "
                            "leads to " + ", ".join(f"'{i}'" for i in range(10)) + " and 2 more",
                            arguments=["--config", config([str(i) for i in range(12)])])
        self.assert_culprit(SNAPSHOT, "no outbound has the tag 'main'", "Name the main outbound with --main "
                            "TAG. No other outbound leads to 'a'",
                            arguments=["--main", "main", "--config", config(["a"])])

    def test_cycles_and_long_chains(self):
        back = changed(selectorAnswers=lambda rows: rows[1].update(now="proxy"))
        cycle = "Remove the cycle from the configuration"
        self.assert_culprit(back, "the choice of the outbound 'auto' leads to 'proxy', where the way has "
                            "been before", cycle)
        self.assert_culprit(self.leaf(detour="auto"), "the detour of the outbound 'de-1' leads to 'auto', "
                            "where the way has been before", cycle)

        def chain(kind):
            tags = ["proxy"] + [f"n{i}" for i in range(1, 10)]
            outbounds = [{"tag": tag, "type": kind} for tag in tags]
            answers = []
            for outbound, following in zip(outbounds, tags[1:]):
                if kind == "selector":
                    answers.append({"selectorTag": outbound["tag"], "status": "Ok", "now": following})
                else:
                    outbound["detour"] = following
            return SNAPSHOT | {"selectorAnswers": answers, "config": {
                "configStatus": "OK", "autoDetectInterface": True, "outbounds": outbounds}}
        for kind, word in [("selector", "choice"), ("vless", "detour")]:
            self.assert_culprit(chain(kind), f"the {word} of the outbound 'n8' leads to 'n9', one step more "
                                "than the 8 that are followed", "Shorten the chain of selectors and detours")

    def test_the_last_outbound(self):
        self.assert_culprit(self.leaf(type="direct"), "the outbound 'de-1' of type 'direct' has no server",
                            "Select an outbound with a server")
        for fields, key in [({"hasServer": False}, "server"), ({"server": ""}, "server"),
                            ({"portSpecified": False}, "server_port")]:
            self.assert_culprit(self.leaf(**fields), f"the outbound 'de-1' has no {key}",
                                f"Add {key} to it in the configuration")
        self.assert_culprit(self.leaf(portMalformed=True),
                            "server_port of the outbound 'de-1' is not a port from 1 to 65535",
                            "Correct server_port in the configuration")
        self.assert_culprit(self.leaf(server="vpn.example"),
                            "server of the outbound 'de-1' is 'vpn.example', not an address",
                            "Add --resolve NAME=ADDRESS, or --resolve system. The engine has sockets to "
                            "port 443 of 203.0.113.5", way="proxy → auto → de-1 (vless) → ?")
        self.assert_culprit(self.leaf(ports=[443, 444]), "the outbound 'de-1' has more than one port",
                            "Name a copy of the configuration in which it has the port in use")

    def test_a_server_by_name(self):
        named = self.leaf(server="vpn.example")
        what = "server of the outbound 'de-1' is 'vpn.example', not an address"
        plain = "Add --resolve NAME=ADDRESS, or --resolve system"
        self.assert_culprit(named | {"sockets": {"rows": []}}, what, plain)
        self.assert_culprit(self.leaf(server="vpn.example", ports=[8443]), what, plain)
        row = SNAPSHOT["sockets"]["rows"][0]
        for count, shown in [(2, "10.0.0.0 and 10.0.0.1"),
                             (5, "10.0.0.0, 10.0.0.1, 10.0.0.2, 10.0.0.3 and 10.0.0.4"),
                             (6, "10.0.0.0, 10.0.0.1, 10.0.0.2, 10.0.0.3, 10.0.0.4 and others")]:
            rows = [row | {"remoteAddress": f"10.0.0.{i}"} for i in range(count)]
            rows.append(row | {"remoteAddress": "10.0.1.0", "remotePort": 53})
            self.assert_culprit(named | {"sockets": {"rows": rows}}, what,
                                f"{plain}. The engine has sockets to port 443 of {shown}")
        for reason, end in [("why", "; why"), ("", "")]:
            missing = {"missingFacts": [{"fact": "ROUTE", "reason": "no"}, {"fact": "ADDRESS", "reason": reason}]}
            self.assert_culprit(named | missing, what + end, "Name its address with --resolve NAME=ADDRESS")

    def test_transports(self):
        quic = "of the outbound 'de-1' runs over QUIC, whose sockets cannot be followed"
        self.assert_culprit(self.leaf(type="hysteria2"), f"the type 'hysteria2' {quic}", "")
        self.assert_culprit(self.leaf(hasTransport=True, transportType="quic"),
                            f"the transport 'quic' {quic}", "")
        spelling = "Check its spelling in the configuration"
        self.assert_culprit(self.leaf(type="vles"), "the type 'vles' of the outbound 'de-1' is not known",
                            spelling)
        self.assert_culprit(self.leaf(hasTransport=True, transportType="wss"),
                            "the transport 'wss' of the outbound 'de-1' is not known", spelling)

    def test_a_long_value_is_cut(self):
        self.assert_culprit(self.leaf(server="x" * 81), "server of the outbound 'de-1' is '" + "x" * 80 +
                            "...', not an address", "Add --resolve NAME=ADDRESS, or --resolve system. The "
                            "engine has sockets to port 443 of 203.0.113.5")

    def test_a_list_that_failed(self):
        denied = "cannot read '/proc/1234/ns/net': Permission denied"
        root = "Run egress-report as root, or as the user of the engine"
        for reason, todo in [(denied, root), ("TCP over IPv4: Operation not permitted", root),
                             ("out of luck", "")]:
            failed = {"enumFailed": True, "failureReason": reason}
            self.assert_culprit(SNAPSHOT | {"sockets": failed},
                                f"the sockets of the engine cannot be listed: {reason}", todo, status=3)
            self.assert_culprit(SNAPSHOT | {"adapters": failed},
                                f"the interfaces of this host cannot be listed: {reason}", "", status=3)
        silent = SNAPSHOT | {"sockets": {"enumFailed": True}}
        self.assert_culprit(silent, "the sockets of the engine cannot be listed", "", status=3)

    def test_failures_beside_the_sentence(self):
        failed = changed() | {"routes": {"enumFailed": True, "failureReason": "busy"}}
        self.assertIn("  note     the default routes could not be listed: busy\n",
                      self.answer(failed).output)
        both = SNAPSHOT | {"sockets": {"enumFailed": True}, "adapters": {"enumFailed": True}}
        self.assertIn("  note     the interfaces could not be listed\n", self.answer(both).output)
        unread = both | {"config": {"configStatus": "NO_CONFIG"}}
        self.assertIn("  note     the sockets could not be listed\n  note     the interfaces could not be "
                      "listed\n", self.answer(unread).output)


class TextTest(AnswerTest):
    """Names that strangers chose."""

    def leaf_tag(self, tag):
        snapshot = changed(config=lambda config: config["outbounds"][2].update(tag=tag),
                           selectorAnswers=lambda rows: rows[1].update(now=tag))
        return self.answer(snapshot).output.split(" → ")[2]

    def test_characters_are_shown_if_they_take_up_columns(self):
        self.assertEqual(self.leaf_tag("🇩🇪 Köln 東京"), "🇩🇪 Köln 東京 (vless)")

    def test_other_characters_are_percent_encoded(self):
        for tag, shown in [("\x1b[31m", "%1B[31m"), ("a\nb", "a%0Ab"), ("\u202eabc", "%E2%80%AEabc"),
                           ("a\u200bb", "a%E2%80%8Bb"), ("e\u0301", "e%CC%81"), ("\x9b", "%C2%9B"),
                           ("\u267b\ufe0f", "\u267b\ufe0f"), ("\u267b\ufe0e\ufe0f", "\u267b\ufe0e%EF%B8%8F"),
                           ("\ufe0fa", "%EF%B8%8Fa"), ("\x1b\ufe0f", "%1B%EF%B8%8F"),
                           ("a\u200d\ufe0fb", "a%E2%80%8D%EF%B8%8Fb"),
                           ("a\0b", "a%00b")]:
            self.assertEqual(self.leaf_tag(tag), f"{shown} (vless)")

    def test_bytes_that_are_not_utf8(self):
        snapshot = copy.deepcopy(SNAPSHOT)
        snapshot["adapters"]["rows"][2]["name"] = {"base64": "/2H/"}  # FF 61 FF
        self.assertTrue(self.answer(snapshot).output.startswith("%FFa%FF: 2 TCP"))


class TerminalTest(AnswerTest):
    def answer_on_terminal(self, columns, **environment):
        variables = {key: value for key, value in os.environ.items() if key != "NO_COLOR"}
        output, status = output_on_terminal([PROGRAM, "--snapshot", self.snapshot_file(SNAPSHOT)],
                                            columns=columns, env=variables | environment)
        self.assertEqual(status, 1)
        return output

    def test_lines_are_as_wide_as_the_terminal(self):
        for columns, width in [(60, 60), (132, 132), (10, 40), (0, 80)]:
            output = self.answer_on_terminal(columns, NO_COLOR="1")
            lines = output.splitlines()
            longest = max(map(len, lines))
            self.assertLessEqual(longest, width)
            self.assertEqual(" ".join(output.split()), " ".join(self.answer(SNAPSHOT).output.split()))
            todo = textwrap.wrap("If they should leave through wan0, bind the engine to it, or add a "
                                 "routing rule for its source address.", width - 11)
            self.assertIn("\n  do       " + "\n           ".join(todo) + "\n", output)

    def test_colour_only_on_a_terminal_and_not_with_no_color(self):
        coloured = self.answer_on_terminal(80)
        self.assertTrue(coloured.startswith("\x1b[1;33mwan1\x1b[0m: 2 TCP"))
        self.assertEqual(coloured.count("\x1b"), 2)
        self.assertIn("\x1b", self.answer_on_terminal(80, NO_COLOR=""))
        self.assertNotIn("\x1b", self.answer_on_terminal(80, NO_COLOR="1"))
        self.assertNotIn("\x1b", self.answer(SNAPSHOT).output)


class ExplainedAnswerTest(AnswerTest):
    def test_explanations_follow_the_answer(self):
        answer = self.answer(SNAPSHOT).output
        explained = self.answer(SNAPSHOT, "--explain").output
        self.assertTrue(explained.startswith(f"{answer}\ncrossCheck: DISAGREES\n    Means: "))
        self.assertIn("\nselectionStatus: OK, interface 2 (wan0)\n", explained)


class JsonTest(AnswerTest):
    def test_the_report_has_no_names_and_no_addresses(self):
        output = self.diagnose_snapshot(SNAPSHOT).output
        for private in ("wan", "192.168", "203.0.113", TAG):
            self.assertNotIn(private, output)

    def test_the_report_is_the_default_of_json(self):
        self.assertEqual(self.diagnose_snapshot(SNAPSHOT, output="--json=report").output,
                         self.diagnose_snapshot(SNAPSHOT).output)

    def test_details(self):
        details = json.loads(self.diagnose_snapshot(SNAPSHOT, output="--json=details").output)
        self.assertEqual(details["report"], self.diagnose_snapshot(SNAPSHOT).report)
        self.assertEqual(details["crossCheck"]["status"], "DISAGREES")


if __name__ == "__main__":
    unittest.main()
