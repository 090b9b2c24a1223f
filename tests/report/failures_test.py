#!/usr/bin/python3
"""egress-report when snapshots cannot be taken. faulty_kernel.cpp injects netlink faults; the tests of
permissions drop real capabilities."""

import copy
import ctypes
import errno
import os
import re
import socket
import unittest
from pathlib import Path

import network
from report_program import REMEDY, ProgramTest

FAULTY_KERNEL = os.environ["EGRESS_FAULTY_KERNEL"]
CONFIG = '{"route": {"auto_detect_interface": true}, "outbounds": [{"tag": "proxy", ' \
         '"type": "trojan", "server": "198.51.100.10", "server_port": 443}]}'

# The prefix of error messages, by request.
ADAPTER_REQUESTS = {"links": "adapters: links", "addresses": "adapters: addresses"}
ROUTE_REQUESTS = {"routes4": "routes: IPv4", "routes6": "routes: IPv6"}
SOCKET_REQUESTS = {"tcp4": "sockets: TCP over IPv4", "tcp6": "sockets: TCP over IPv6",
                   "udp4": "sockets: UDP over IPv4", "udp6": "sockets: UDP over IPv6"}

# Faults that can occur in any request, and their messages.
FAULTS = {
    "send": ": cannot send a request to the kernel: Operation not permitted",
    "receive": ": cannot receive from the kernel: No buffer space available",
    "empty": ": the reply is incomplete",
    "truncated": ": the reply is incomplete",
    "other-sequence": ": a netlink message answers another request",
    "other-port": ": a netlink message answers another request",
    "error": ": the kernel returned an error: Operation not permitted",
    "late-error": ": the kernel returned an error: Cannot allocate memory",
    "overrun": ": the kernel lost data (NLMSG_OVERRUN)",
    "interrupt": ": a change interrupted every attempt",
}

PR_SET_DUMPABLE = 4
CAP_SYS_PTRACE = 1 << 19
WITHOUT_PTRACE = ("setpriv", "--bounding-set=-sys_ptrace", "--inh-caps=-sys_ptrace")


def mount_options(directory):
    """The options of the last file system mounted on a directory, from /proc/mounts."""
    mounts = [line.split() for line in Path("/proc/mounts").read_text().splitlines()]
    return next((options for _, where, _, options, *_ in reversed(mounts) if where == directory), "")


class FailuresTest(ProgramTest):
    def diagnose(self, fault, *arguments):
        return self.run_program("--pid", os.getpid(), "--config", "-", *arguments, text=CONFIG,
                                program=FAULTY_KERNEL, env={**os.environ, "EGRESS_FAULT": fault})

    def assert_failed(self, result, failed, *messages):
        """Only the failed snapshots are marked as failed, and they have no rows."""
        report = result.report
        self.assertEqual(
            (report["interfacesStatus"], report["defaultRoutesStatus"],
             report["socketSourcesStatus"], report["selectionStatus"]),
            ("ADAPTER_ENUM_FAILED" if "adapters" in failed else "OK",
             "ROUTE_ENUM_FAILED" if "routes" in failed else "OK",
             "SOCKET_ENUM_FAILED" if "sockets" in failed else "OK",
             "NOT_EVALUATED_SOCKET_ENUM_FAILED" if "sockets" in failed else
             "NOT_EVALUATED_ADAPTER_ENUM_FAILED" if "adapters" in failed else
             "NO_MATCHING_SOCKET"))
        self.assertEqual(report["interfaces"] == [], "adapters" in failed)
        if "routes" in failed:
            self.assertEqual(report["defaultRoutes"], [])
        for row in report["defaultRoutes"]:
            self.assertEqual(row["interfaceOrdinal"] is None, "adapters" in failed)
        self.assertEqual(result.error,
                         "".join(f"egress-report: {message}{self.remedy(message)}\n" for message in messages))
        self.assertEqual(result.status, 3 if "sockets" in failed else 1)  # no socket needs adapters

    @staticmethod
    def remedy(message):
        is_denied = message.endswith(("Permission denied", "Operation not permitted"))
        return REMEDY if is_denied and message.startswith("sockets: ") else ""

    def test_no_fault(self):
        self.assert_failed(self.diagnose("none"), [])

    def test_each_fault_in_each_request_fails_only_its_snapshot(self):
        for snapshot, requests in [("adapters", ADAPTER_REQUESTS), ("routes", ROUTE_REQUESTS),
                                   ("sockets", SOCKET_REQUESTS)]:
            for request, name in requests.items():
                for fault, message in FAULTS.items():
                    with self.subTest(request=request, fault=fault):
                        self.assert_failed(self.diagnose(f"{request}:{fault}"), [snapshot],
                                           name + message)

    def test_a_saved_failure_gives_the_same_report_and_messages(self):
        path = self.folder / "saved.json"
        for fault, name in [("links:send", "adapters"), ("routes6:error", "routes"),
                            ("udp4:overrun", "sockets")]:
            live = self.diagnose(fault, "--save-snapshot", path)
            saved = self.parsed_snapshot(path.read_text())[name]
            self.assertEqual(live.error, f"egress-report: {name}: {saved['failureReason']}\n")
            self.assertEqual((saved["enumFailed"], saved["rows"]), (True, []))
            again = self.run_program("--snapshot", path)
            self.assertEqual((again.output, again.error, again.status),
                             (live.output, live.error, live.status))

    def test_an_incomplete_reply_gives_no_partial_snapshot(self):
        self.assert_failed(
            self.diagnose("links:receive-late"), ["adapters"],
            "adapters: links: cannot receive from the kernel: No buffer space available")

    def test_an_unsupported_netlink_protocol(self):
        self.assert_failed(
            self.diagnose("route:open"), ["adapters", "routes"],
            "adapters: links: cannot open a netlink socket: Protocol not supported",
            "routes: IPv4: cannot open a netlink socket: Protocol not supported")
        self.assert_failed(
            self.diagnose("diag:open"), ["sockets"],
            "sockets: TCP over IPv4: cannot open a netlink socket: Protocol not supported")

    def test_a_failed_bind(self):
        self.assert_failed(self.diagnose("any:bind"), ["sockets", "adapters", "routes"],
                           *(f"{name}: cannot open a netlink socket: Permission denied" for name in
                             ("sockets: TCP over IPv4", "adapters: links", "routes: IPv4")))

    def test_an_interruption_is_detected_in_any_message(self):
        if network.command("ip", "-oneline", "address", "show") == "":
            self.skipTest("no interface has an address: the loopback is down")
        for request, name in ADAPTER_REQUESTS.items():
            self.assert_failed(self.diagnose(f"{request}:interrupt-early"), ["adapters"],
                               f"{name}: a change interrupted every attempt")

    def test_an_interrupted_dump_is_repeated(self):
        """The flag is in the last message, after all others have been received."""
        whole = self.diagnose("none").output
        for request in (*ADAPTER_REQUESTS, *ROUTE_REQUESTS, *SOCKET_REQUESTS):
            with self.subTest(request=request):
                result = self.diagnose(f"{request}:interrupt-once")
                self.assert_failed(result, [])
                self.assertEqual(result.output, whole)

    def test_dumps_are_repeated_after_an_interface_was_added(self):
        result = self.diagnose("addresses:unknown-interface-once")
        self.assert_failed(result, [])
        self.assertEqual(result.output, self.diagnose("none").output)

    def test_a_reply_that_the_kernel_did_not_send_is_ignored(self):
        whole = self.diagnose("none").output
        for request in (*ADAPTER_REQUESTS, *ROUTE_REQUESTS, *SOCKET_REQUESTS):
            with self.subTest(request=request):
                result = self.diagnose(f"{request}:forged")
                if result.error == "cannot forge a reply\n":
                    self.skipTest("no capability CAP_NET_ADMIN")
                self.assert_failed(result, [])
                self.assertEqual(result.output, whole)

    def test_routes_are_listed_again_after_a_next_hop_object_was_removed(self):
        result = self.diagnose("routes4:unknown-next-hop-once")
        self.assert_failed(result, [])
        self.assertEqual(result.output, self.diagnose("none").output)

    def test_an_unknown_next_hop_object(self):
        self.assert_failed(
            self.diagnose("routes4:unknown-next-hop"), ["routes"],
            "routes: a next hop of a default route was removed during every attempt")

    def test_a_message_that_cannot_be_parsed(self):
        for request, snapshot in [("links", "adapters"), ("addresses", "adapters"),
                                  ("routes4", "routes"), ("tcp4", "sockets")]:
            with self.subTest(request=request):
                self.assert_failed(self.diagnose(f"{request}:short"), [snapshot],
                                   f"{snapshot}: a netlink message is too short")

    def test_an_address_of_an_unknown_interface(self):
        self.assert_failed(self.diagnose("addresses:unknown-interface"), ["adapters"],
                           "adapters: a new interface appeared during every attempt")

    def test_a_process_with_inaccessible_files(self):
        """A non-dumpable process: only CAP_SYS_PTRACE gives access to its files, and root drops it."""
        if "hidepid=" in mount_options("/proc"):
            self.skipTest("/proc is mounted with hidepid, which hides the whole process")
        before = WITHOUT_PTRACE if os.geteuid() == 0 else ()
        try:
            status = network.command(*before, "cat", "/proc/self/status")
        except (OSError, RuntimeError) as reason:
            self.skipTest(str(reason))
        capabilities = re.search(r"^CapEff:\s*(\w+)$", status, re.MULTILINE)[1]
        if int(capabilities, 16) & CAP_SYS_PTRACE:
            self.skipTest("cannot drop CAP_SYS_PTRACE")
        libc = ctypes.CDLL(None)
        libc.prctl(PR_SET_DUMPABLE, 0)
        self.addCleanup(libc.prctl, PR_SET_DUMPABLE, 1)
        result = self.run_program("--pid", os.getpid(), "--config", "-", text=CONFIG, before=before)
        self.assert_failed(result, ["sockets"],
                           f"sockets: cannot read '/proc/{os.getpid()}/ns/net': Permission denied")


class ListenerFailuresTest(ProgramTest):
    """This process listens where the engine would."""

    def setUp(self):
        super().setUp()
        self.path = self.folder / "socket"
        listener = socket.socket(socket.AF_UNIX)
        self.addCleanup(listener.close)
        listener.bind(str(self.path))
        listener.listen()

    def diagnose(self, fault, *arguments):
        return self.run_program("--config", "-", *arguments, text=CONFIG, program=FAULTY_KERNEL,
                                env={**os.environ, "EGRESS_FAULT": fault})

    def at_a_port(self, fault):
        return self.diagnose(fault, "--ask", "http://localhost:1/{tag}")

    def at_the_path(self, fault):
        return self.diagnose(fault, "--ask", "http://localhost/{tag}", "--ask-unix", self.path)

    def assert_failed(self, result, message):
        self.assertEqual(result.report["socketSourcesStatus"], "SOCKET_ENUM_FAILED")
        message = f"sockets: {message}"
        self.assertEqual(result.error, f"egress-report: {message}{FailuresTest.remedy(message)}\n")
        self.assertEqual(result.status, 3)

    def test_no_fault(self):
        result = self.at_the_path("none")
        self.assertEqual(result.report["socketSourcesStatus"], "OK")
        self.assertIn(f"process {os.getpid()}, listening at {self.path}\n", result.error)

    def test_each_fault_in_each_request(self):
        for fault, message in FAULTS.items():
            with self.subTest(fault=fault):
                self.assert_failed(self.at_the_path(f"unix:{fault}"),
                                   f"listening Unix sockets{message}")
                for version in ("4", "6"):
                    self.assert_failed(self.at_a_port(f"listening{version}:{fault}"),
                                       f"listening over IPv{version}{message}")

    def test_a_message_that_cannot_be_parsed(self):
        for fault in ("unix:short", "listening4:short", "listening6:short"):
            diagnose = self.at_the_path if fault.startswith("unix") else self.at_a_port
            self.assert_failed(diagnose(fault), "a netlink message is too short")


class FactFailuresTest(ProgramTest):
    """The facts about sockets of this process to an endpoint on this machine."""

    SERVERS = {"4": "127.0.0.1", "6": "::1"}
    PORT = 443
    NO_ROUTE = [errno.ENETUNREACH, errno.EHOSTUNREACH, errno.ENETDOWN, errno.ENODEV, errno.EACCES,
                errno.EINVAL]

    def open(self, server, source=None):
        """Opens a socket, and returns its local port."""
        made = socket.socket(socket.AF_INET6 if ":" in server else socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(made.close)
        if source is not None:
            made.bind((source, 0))
        try:
            made.connect((server, self.PORT))
        except OSError as reason:
            self.skipTest(f"{server}: {reason}")
        return made.getsockname()[1]

    def snapshot(self, fault, version):
        """The saved snapshot without its time."""
        config = CONFIG.replace("198.51.100.10", self.SERVERS[version])
        result = self.run_program("--pid", os.getpid(), "--config", "-", "--save-snapshot", "-",
                                  text=config, program=FAULTY_KERNEL,
                                  env={**os.environ, "EGRESS_FAULT": fault})
        snapshot = self.parsed_snapshot(result.output)
        del snapshot["origin"]["time"]
        return snapshot

    def without(self, member, fact, reason, snapshot):
        """The snapshot as it is when a fact is missing."""
        for row in snapshot["sockets"]["rows"]:
            row.pop(member, None)
        snapshot["missingFacts"] = [one for one in snapshot.get("missingFacts", [])
                                    if one["fact"] != fact] + [{"fact": fact, "reason": reason}]
        return snapshot

    def each_version(self):
        for version, server in self.SERVERS.items():
            self.open(server)
            yield version, self.snapshot("none", version)

    def routes(self, snapshot):
        return [row.get("routeInterfaceIndex") for row in snapshot["sockets"]["rows"]]

    def test_no_fault(self):
        for version, snapshot in self.each_version():
            routes = [row["routeInterfaceIndex"] for row in snapshot["sockets"]["rows"]
                      if row["remoteAddress"] == self.SERVERS[version]]
            self.assertEqual(routes, [socket.if_nametoindex("lo")])
            self.assertNotIn("ROUTE", [one["fact"] for one in snapshot.get("missingFacts", [])])

    def test_each_fault_in_each_request_leaves_only_its_fact_absent(self):
        for version, snapshot in self.each_version():
            for request, name in [("rules", "routing rules"), ("look-up", "route look-up")]:
                for fault, message in FAULTS.items():
                    if (request, fault) == ("look-up", "late-error"):
                        continue  # has one message
                    with self.subTest(request=request, version=version, fault=fault):
                        self.assertEqual(
                            self.snapshot(f"{request}{version}:{fault}", version),
                            self.without("routeInterfaceIndex", "ROUTE", name + message,
                                         copy.deepcopy(snapshot)))

    def test_the_requests_of_the_other_family_are_not_sent(self):
        for version, snapshot in self.each_version():
            other = "6" if version == "4" else "4"
            for request in (f"rules{other}", f"look-up{other}"):
                self.assertEqual(self.snapshot(f"{request}:error", version), snapshot)

    def test_faults_that_change_nothing(self):
        for version, snapshot in self.each_version():
            for fault in ("forged", "interrupt-once"):
                for request in (f"rules{version}", f"look-up{version}"):
                    self.assertEqual(self.snapshot(f"{request}:{fault}", version), snapshot)

    def test_a_reply_that_cannot_be_parsed(self):
        for version, snapshot in self.each_version():
            for fault, message in [("rules{}:short", "a netlink message is too short"),
                                   ("look-up{}:short", "a netlink message is too short"),
                                   ("look-up{}:no-interface",
                                    "the kernel returned a route without interface")]:
                self.assertEqual(self.snapshot(fault.format(version), version),
                                 self.without("routeInterfaceIndex", "ROUTE", message,
                                              copy.deepcopy(snapshot)))

    def test_errors_that_say_that_there_is_no_route(self):
        for version, snapshot in self.each_version():
            for row in snapshot["sockets"]["rows"]:
                if "routeInterfaceIndex" in row:
                    row["routeInterfaceIndex"] = 0
            for number in self.NO_ROUTE:
                self.assertEqual(self.snapshot(f"look-up{version}:error-{number}", version), snapshot)

    def test_a_kernel_without_rules(self):
        for version, snapshot in self.each_version():
            for number in (errno.EOPNOTSUPP, errno.EAFNOSUPPORT):
                self.assertEqual(self.snapshot(f"rules{version}:error-{number}", version), snapshot)

    def test_marks_that_the_kernel_does_not_show(self):
        for version, snapshot in self.each_version():
            missing = {"fact": "MARK", "reason": "the kernel shows marks only with CAP_NET_ADMIN"}
            for row in snapshot["sockets"]["rows"]:
                if ("." in row["localAddress"]) == (version == "4"):
                    row.pop("mark", None)
            snapshot["missingFacts"] = [missing]
            self.assertEqual(self.snapshot(f"udp{version}:no-mark", version), snapshot)

    def test_without_a_netlink_socket(self):
        for version, _ in self.each_version():
            found = self.snapshot("route:open", version)
            self.assertEqual([one["reason"] for one in found["missingFacts"] if one["fact"] == "ROUTE"],
                             ["routing rules: cannot open a netlink socket: Protocol not supported"])
            self.assertEqual(set(self.routes(found)), {None})

    def test_one_look_up_serves_sockets_that_differ_in_ports_only(self):
        try:
            policy = Path("/proc/sys/net/ipv4/fib_multipath_hash_policy").read_text()
        except OSError as reason:
            self.skipTest(str(reason))
        if policy != "0\n":
            self.skipTest("this kernel chooses routes by ports")
        ports = [self.open("127.0.0.1") for _ in range(3)]
        snapshot = self.snapshot("look-up4:error-later", "4")
        self.assertNotIn(None, self.routes(snapshot))
        self.assertNotIn("ROUTE", [one["fact"] for one in snapshot.get("missingFacts", [])])
        self.assertEqual(len(ports), len(snapshot["sockets"]["rows"]))
        for source in ("127.0.0.2", "127.0.0.3"):
            self.open("127.0.0.1", source)
        snapshot = self.snapshot("look-up4:error-later", "4")
        self.assertIn(None, self.routes(snapshot))
        self.assertEqual([one["reason"] for one in snapshot["missingFacts"] if one["fact"] == "ROUTE"],
                         ["route look-up: the kernel returned an error: Operation not permitted"])


if __name__ == "__main__":
    try:  # a network without other users, with default routes
        network.enter_new_namespaces("host")
        network.ip("host", "route add default dev lo")
    except network.NotPermitted as reason:
        print(f"using the network of this machine: {reason}")
    unittest.main(verbosity=2)  # with the reason of each skip
