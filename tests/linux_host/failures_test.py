#!/usr/bin/python3
"""What egress-report does when this machine cannot be read. The kernel's answers are spoilt on the
way by a program of its own; permissions are taken away for real."""

import ctypes
import os
import re
import unittest
from pathlib import Path

import network
from report_program import ProgramTest

FAULTY_KERNEL = os.environ["EGRESS_FAULTY_KERNEL"]
CONFIG = '{"route": {"auto_detect_interface": true}, "outbounds": [{"tag": "proxy", ' \
         '"type": "trojan", "server": "198.51.100.10", "server_port": 443}]}'

# By request: what messages about it begin with.
ADAPTER_REQUESTS = {"links": "adapters: links", "addresses": "adapters: addresses"}
ROUTE_REQUESTS = {"routes4": "routes: IPv4", "routes6": "routes: IPv6"}
SOCKET_REQUESTS = {"tcp4": "sockets: TCP over IPv4", "tcp6": "sockets: TCP over IPv6",
                   "udp4": "sockets: UDP over IPv4", "udp6": "sockets: UDP over IPv6"}

# Faults that any request may meet, and what is said of them.
FAULTS = {
    "send": ": cannot ask the kernel: Operation not permitted",
    "receive": ": cannot hear the kernel: No buffer space available",
    "end": ": the kernel's answer ends early",
    "refuse": ": the kernel refuses: Operation not permitted",
    "break": ": the kernel refuses: Cannot allocate memory",
    "lose": ": the kernel lost a part of its answer",
    "interrupt": ": changes faster than it can be read",
}

PR_SET_DUMPABLE = 4
CAP_SYS_PTRACE = 1 << 19
WITHOUT_PTRACE = ("setpriv", "--bounding-set=-sys_ptrace", "--inh-caps=-sys_ptrace")


def mount_options(place):
    """What /proc/mounts says of the file system that is mounted last at a place."""
    mounts = [line.split() for line in Path("/proc/mounts").read_text().splitlines()]
    return next((options for _, where, _, options, *_ in reversed(mounts) if where == place), "")


class FailuresTest(ProgramTest):
    def diagnose(self, fault, process=None):
        return self.run_program("--pid", process or os.getpid(), "--config", "-", text=CONFIG,
                                program=FAULTY_KERNEL, env={**os.environ, "EGRESS_FAULT": fault})

    def assert_failed(self, result, failed, *messages):
        """Exactly the failed snapshots show as such, without rows; the others are whole."""
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
                         "".join(f"egress-report: {message}\n" for message in messages))
        self.assertEqual(result.status, 1)

    def test_without_a_fault_nothing_fails(self):
        self.assert_failed(self.diagnose("none"), [])

    def test_every_fault_of_every_request_fails_its_snapshot_alone(self):
        for snapshot, requests in [("adapters", ADAPTER_REQUESTS), ("routes", ROUTE_REQUESTS),
                                   ("sockets", SOCKET_REQUESTS)]:
            for request, name in requests.items():
                for fault, message in FAULTS.items():
                    with self.subTest(request=request, fault=fault):
                        self.assert_failed(self.diagnose(f"{request}:{fault}"), [snapshot],
                                           name + message)

    def test_a_reply_that_breaks_off_leaves_no_half_of_a_snapshot(self):
        self.assert_failed(self.diagnose("links:receive-late"), ["adapters"],
                           "adapters: links: cannot hear the kernel: No buffer space available")

    def test_a_kind_of_socket_that_is_not_there(self):
        self.assert_failed(
            self.diagnose("route:open"), ["adapters", "routes"],
            "adapters: links: cannot open a netlink socket: Protocol not supported",
            "routes: IPv4: cannot open a netlink socket: Protocol not supported")
        self.assert_failed(
            self.diagnose("diag:open"), ["sockets"],
            "sockets: TCP over IPv4: cannot open a netlink socket: Protocol not supported")

    def test_sockets_that_cannot_be_bound(self):
        self.assert_failed(self.diagnose("any:bind"), ["sockets", "adapters", "routes"],
                           *(f"{name}: cannot open a netlink socket: Permission denied" for name in
                             ("sockets: TCP over IPv4", "adapters: links", "routes: IPv4")))

    def test_an_interruption_is_seen_on_any_message(self):
        if network.command("ip", "-oneline", "address", "show") == "":
            self.skipTest("no interface has an address: the loopback is down")
        for request, name in ADAPTER_REQUESTS.items():
            self.assert_failed(self.diagnose(f"{request}:interrupt-early"), ["adapters"],
                               f"{name}: changes faster than it can be read")

    def test_one_interruption_is_made_good(self):
        """The kernel tells of it on the last message, when the others are already there."""
        whole = self.diagnose("none").output
        for request in (*ADAPTER_REQUESTS, *ROUTE_REQUESTS, *SOCKET_REQUESTS):
            with self.subTest(request=request):
                result = self.diagnose(f"{request}:interrupt-once")
                self.assert_failed(result, [])
                self.assertEqual(result.output, whole)

    def test_one_interface_that_comes_meanwhile_is_made_good(self):
        result = self.diagnose("addresses:stranger-once")
        self.assert_failed(result, [])
        self.assertEqual(result.output, self.diagnose("none").output)

    def test_what_belongs_to_another_family_is_left_out(self):
        """Kernels without IPv6 answer with the routes of all families; others add addresses of
        families of their own."""
        whole = self.diagnose("none").output
        for fault in ("routes6:other-family", "addresses:other-family"):
            result = self.diagnose(fault)
            self.assert_failed(result, [])
            self.assertEqual(result.output, whole)

    def test_every_state_has_its_number_of_rfc_2863(self):
        """Linux counts them as unknown, not present, down, lower layer down, testing, dormant, up;
        then come a state that is none, and none at all."""
        rows = self.diagnose("links:states").report["interfaces"]
        self.assertEqual([row["operStatus"] for row in rows], [4, 6, 2, 7, 3, 5, 1, 4, 4])

    def test_messages_without_a_meaning_are_skipped(self):
        self.assert_failed(self.diagnose("links:idle"), [])

    def test_messages_that_are_too_short(self):
        for request, snapshot in [("links", "adapters"), ("addresses", "adapters"),
                                  ("routes4", "routes"), ("tcp4", "sockets")]:
            with self.subTest(request=request):
                self.assert_failed(self.diagnose(f"{request}:short"), [snapshot],
                                   f"{snapshot}: a netlink message is too short")

    def test_an_address_of_an_interface_that_was_not_there_before(self):
        self.assert_failed(self.diagnose("addresses:stranger"), ["adapters"],
                           "adapters: interfaces come faster than they can be read")

    def test_addresses_that_are_none(self):
        self.assert_failed(self.diagnose("addresses:short-address"), ["adapters"],
                           "adapters: a netlink address is too short")
        self.assert_failed(self.diagnose("addresses:no-address"), [])

    def test_a_default_route_without_an_interface(self):
        self.assert_failed(self.diagnose("routes4:no-interface"), ["routes"],
                           "routes: a default route names no interface")
        self.assert_failed(self.diagnose("routes4:short-interface"), ["routes"],
                           "routes: a netlink attribute is too short")

    def test_a_process_that_does_not_let_its_files_be_seen(self):
        """One that must not be dumped: only CAP_SYS_PTRACE sees its files, and root gives that up."""
        if "hidepid=" in mount_options("/proc"):
            self.skipTest("/proc is mounted with hidepid, which hides the whole process")
        before = WITHOUT_PTRACE if os.geteuid() == 0 else ()
        try:
            status = network.command(*before, "cat", "/proc/self/status")
        except (OSError, RuntimeError) as reason:
            self.skipTest(str(reason))
        capabilities = re.search(r"^CapEff:\s*(\w+)$", status, re.MULTILINE)[1]
        if int(capabilities, 16) & CAP_SYS_PTRACE:
            self.skipTest("CAP_SYS_PTRACE cannot be given up")
        libc = ctypes.CDLL(None)
        libc.prctl(PR_SET_DUMPABLE, 0)
        self.addCleanup(libc.prctl, PR_SET_DUMPABLE, 1)
        result = self.run_program("--pid", os.getpid(), "--config", "-", text=CONFIG, before=before)
        self.assert_failed(result, ["sockets"],
                           f"sockets: cannot read /proc/{os.getpid()}/ns/net: Permission denied")


if __name__ == "__main__":
    try:  # a network that nobody else changes, and that has default routes
        network.leave_this_network("host")
        network.ip("host", "route add default dev lo")
    except network.NotPermitted as reason:
        print(f"in the network of this machine: {reason}")
    unittest.main(verbosity=2)  # with the reason of each skip
