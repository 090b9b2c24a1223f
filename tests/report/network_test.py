#!/usr/bin/python3
"""egress-report on a network with two uplinks, in network namespaces."""

import json
import os
import shutil
import subprocess
import sys
import time
import unittest
from collections import Counter
from pathlib import Path

import network
from network import CLIENT, CLOSING_PORT, ENDPOINT4, ENDPOINT6, OTHER_PORT, PORT, Program, ip
from report_program import IS_SANITIZED, PROGRAM, REMEDY, ProgramTest

# Parts of a process that is made of several threads or processes.
CLIENT_PARTS = """
import ctypes, os, signal, socket, sys, threading, time
libc = ctypes.CDLL(None)
CLONE_FILES = 0x400
SYS_clone, SYS_exit = {"x86_64": (56, 60), "aarch64": (220, 93)}[os.uname().machine]
sockets = []
def connect(source, target, port):
    sockets.append(socket.create_connection((target, port), source_address=(source, 0)))
def unshare(flags):
    assert libc.unshare(flags) == 0
def clone_with_shared_files():
    child = libc.syscall(SYS_clone, CLONE_FILES | signal.SIGCHLD, 0, 0, 0, 0)
    if child == 0:
        time.sleep(1000)
    return child
def exit_this_thread():
    libc.syscall(SYS_exit, 0)
def finish(children=()):
    print("ready", flush=True)
    sys.stdin.read()
    for child in children:
        os.kill(child, signal.SIGKILL)
    os._exit(0)
open("/proc/self/comm", "w").write(sys.argv[1])
"""
SYSTEM_PYTHON = "/usr/bin/python3"  # other users may not see root's own
UP1, UP2 = "10.1.0.2", "10.2.0.2"
UP1_6, UP2_6 = "2001:db8:1::2", "2001:db8:2::2"
UNUSED4, UNUSED6 = "203.0.113.99", "2001:db8:f::99"  # nobody answers there


def config(server, port):
    return json.dumps({"route": {"auto_detect_interface": True},
                       "outbounds": [{"tag": "proxy", "type": "trojan", "server": server,
                                      "server_port": port}]})


class NetworkTest(ProgramTest):
    """A test with connections of a process named "engine"."""

    def connect(self, *lines, name="engine"):
        """Starts a process with a socket for each line of "KIND SOURCE TARGET PORT"."""
        client = Program("engine", CLIENT, name, *lines)
        self.addCleanup(client.end)
        return client

    def for_this_test(self, namespace, text, undo):
        """Changes a namespace with ip, and undoes that at the end of the test."""
        ip(namespace, text)
        self.addCleanup(ip, namespace, undo)

    def diagnose(self, *arguments, server=ENDPOINT4, port=PORT, process=("--process", "engine"),
                 before=()):
        return self.run_program(*process, "--config", "-", *arguments, text=config(server, port),
                                before=(*network.inside("engine"), *before))

    def assert_selected(self, result, uplink, status=0):
        self.assertEqual((result.report["selectionStatus"], result.error), ("OK", ""))
        self.assertEqual(result.report["selectedInterfaceOrdinal"], network.ordinals()[uplink])
        self.assertEqual(result.status, status)

    def assert_not_selected(self, result, word, status=1):
        self.assertEqual((result.report["selectionStatus"], result.error), (word, ""))
        self.assertIsNone(result.report["selectedInterfaceOrdinal"])
        self.assertEqual(result.status, status)

    def assert_observed(self, result, *uplinks):
        rows = result.report["observedSocketSources"]
        self.assertEqual([row["interfaceOrdinal"] for row in rows],
                         sorted(network.ordinals()[uplink] for uplink in uplinks))


class SelectionTest(NetworkTest):
    def test_a_connection_from_each_uplink_over_each_family(self):
        for uplink, source, server in [("up1", UP1, ENDPOINT4), ("up2", UP2, ENDPOINT4),
                                       ("up1", UP1_6, ENDPOINT6), ("up2", UP2_6, ENDPOINT6)]:
            with self.subTest(source=source):
                client = self.connect(f"tcp {source} {server} {PORT}")
                result = self.diagnose(server=server, process=("--pid", client.pid))
                self.assert_selected(result, uplink)
                self.assert_observed(result, uplink)

    def test_the_example_of_a_live_host_names_the_interface(self):
        for name, output, status in [("engine", "OK, AGREES\nup2\n", 0),
                                     ("idle", "NO_MATCHING_SOCKET, NO_SOCKET\n", 1)]:
            self.connect(*[f"tcp {UP2} {ENDPOINT4} {PORT}"] * (name == "engine"), name=name)
            result = self.run_program(name, program=os.environ["EGRESS_LIVE_EXAMPLE"], output="",
                                      text=config(ENDPOINT4, PORT), before=network.inside("engine"))
            self.assertEqual((result.output, result.error, result.status), (output, "", status))

    def test_the_system_uses_the_route_with_the_lower_metric(self):
        self.connect(f"tcp 0.0.0.0 {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose(), "up1")

    def test_a_dual_stack_socket_with_ipv4(self):
        self.connect(f"tcp ::ffff:{UP2} ::ffff:{ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose(), "up2")

    def test_an_ipv4_mapped_endpoint_does_not_match_ipv4(self):
        self.connect(f"tcp ::ffff:{UP2} ::ffff:{ENDPOINT4} {PORT}")
        result = self.diagnose(server=f"::ffff:{ENDPOINT4}")
        self.assert_not_selected(result, "NO_MATCHING_SOCKET")
        self.assert_observed(result, "up2")

    def test_several_connections_from_one_uplink(self):
        self.connect(*[f"tcp {UP2} {ENDPOINT4} {PORT}"] * 3)
        self.assert_selected(self.diagnose(), "up2")

    def test_connections_from_both_uplinks(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}", f"tcp {UP2} {ENDPOINT4} {PORT}")
        result = self.diagnose()
        self.assert_not_selected(result, "MULTIPLE_MATCHING_SOCKET_INTERFACES")
        self.assert_observed(result, "up1", "up2")

    def test_connections_to_other_endpoints(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {OTHER_PORT}", f"tcp {UP2_6} {ENDPOINT6} {PORT}")
        result = self.diagnose()
        self.assert_not_selected(result, "NO_MATCHING_SOCKET")
        self.assert_observed(result, "up1", "up2")

    def test_a_connection_to_another_endpoint_does_not_affect_the_selection(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {OTHER_PORT}", f"tcp {UP2} {ENDPOINT4} {PORT}")
        result = self.diagnose()
        self.assert_selected(result, "up2")
        self.assert_observed(result, "up1", "up2")

    def test_no_connection(self):
        self.connect()
        result = self.diagnose()
        self.assert_not_selected(result, "NO_MATCHING_SOCKET")
        self.assert_observed(result)

    def test_only_connected_udp_sockets_match_on_request(self):
        self.connect(f"udp {UP1} {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose("--udp"), "up1")
        self.assert_not_selected(self.diagnose(), "NO_MATCHING_SOCKET")
        self.connect(f"udp {UP2_6} {ENDPOINT6} {PORT}", name="engine6")
        self.assert_selected(self.diagnose("--udp", server=ENDPOINT6, process=("--process", "engine6")),
                             "up2")
        self.connect(f"udp-unconnected {UP1} {ENDPOINT4} {PORT}", name="idle")
        self.assert_not_selected(self.diagnose("--udp", process=("--process", "idle")),
                                 "NO_MATCHING_SOCKET")

    def test_tcp_sockets_match_after_the_handshake_until_both_sides_are_closed(self):
        self.connect(f"tcp-half-closed {UP1} {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose(), "up1")
        self.connect(f"tcp-closed-by-server {UP2} {ENDPOINT4} {CLOSING_PORT}", name="closed")
        result = self.diagnose(port=CLOSING_PORT, process=("--process", "closed"))
        self.assert_selected(result, "up2")
        self.connect(f"tcp-unanswered {UP1} {UNUSED4} {PORT}", name="trying")
        self.assertIn(UNUSED4, network.command(*network.inside("engine"), "ss", "-tnH", "state",
                                              "syn-sent"))
        result = self.diagnose(server=UNUSED4, process=("--process", "trying"))
        self.assert_not_selected(result, "NO_MATCHING_SOCKET")

    def test_one_address_on_both_uplinks(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.for_this_test("engine", f"address add {UP1}/32 dev up2", f"address del {UP1}/32 dev up2")
        self.assert_not_selected(self.diagnose(), "ADDRESS_INTERFACE_AMBIGUOUS", status=0)

    def test_an_address_removed_after_connecting(self):
        self.for_this_test("engine", "address add 10.1.0.3/24 dev up1 nodad", "address flush to 10.1.0.3")
        self.connect(f"tcp 10.1.0.3 {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose(), "up1")
        ip("engine", "address del 10.1.0.3/24 dev up1")
        self.assert_not_selected(self.diagnose(), "SOCKET_SOURCE_ADDRESS_UNMAPPED")
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.assert_not_selected(self.diagnose(), "PARTIAL_SOCKET_SOURCE_MAPPING")

    def test_a_point_to_point_link_has_its_local_address(self):
        self.for_this_test("engine", "address add 10.9.0.1 peer 10.9.0.2 dev up2",
                           "address del 10.9.0.1 peer 10.9.0.2 dev up2")
        self.for_this_test("server", "route add 10.9.0.1 dev up2", "route del 10.9.0.1 dev up2")
        self.connect(f"tcp 10.9.0.1 {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose(), "up2", status=1)  # no rule sends it through up2
        self.for_this_test("engine", "address add 2001:db8:9::1 peer 2001:db8:9::2 dev up1 nodad",
                           "address del 2001:db8:9::1 peer 2001:db8:9::2 dev up1")
        self.for_this_test("server", "-6 route add 2001:db8:9::1 dev up1",
                           "-6 route del 2001:db8:9::1 dev up1")
        self.connect(f"tcp 2001:db8:9::1 {ENDPOINT6} {PORT}")
        self.assert_selected(self.diagnose(server=ENDPOINT6), "up1")

    def test_explain_prints_the_interface_name(self):
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        result = self.diagnose("--explain")
        ordinal = network.ordinals()["up2"]
        self.assertIn(f"\nselectionStatus: OK, interface {ordinal} (up2)\n", result.output)
        self.assertIn(f"observedSocketSources:\n    interface {ordinal} (up2)\n", result.output)


class ProcessTest(NetworkTest):
    def test_sockets_of_other_processes_are_ignored(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}", name="browser")
        engine = self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        for whose in (("--process", "engine"), ("--pid", engine.pid)):
            result = self.diagnose(process=whose)
            self.assert_selected(result, "up2")
            self.assert_observed(result, "up2")

    def test_all_processes_with_the_name_are_used(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.assert_not_selected(self.diagnose(), "MULTIPLE_MATCHING_SOCKET_INTERFACES")

    def test_the_whole_name_must_match(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}", name="engines")
        self.assert_cannot_run(self.diagnose(), "--process", "'engine'")

    def test_a_truncated_name_matches_comm_only(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}", name="a-name-of-fifteen-and-more")
        self.assert_selected(self.diagnose(process=("--process", "a-name-of-fifte")), "up1")
        self.assert_cannot_run(self.diagnose(process=("--process", "a-name-of-fifteen-and-more")),
                               "'a-name-of-fifteen-and-more'")

    def test_a_long_name_matches_the_executable(self):
        if os.statvfs(self.folder).f_flag & os.ST_NOEXEC:
            self.skipTest(f"{self.folder} is mounted noexec")
        program = self.folder / "a-program-of-a-long-name"
        shutil.copy(sys.executable, program)
        client = Program("engine", CLIENT, program.name, f"tcp {UP2} {ENDPOINT4} {PORT}",
                         python=program)
        self.addCleanup(client.end)
        self.assert_selected(self.diagnose(process=("--process", program.name)), "up2")
        program.unlink()  # as an update does
        self.assert_selected(self.diagnose(process=("--process", program.name)), "up2")

    def test_a_process_in_another_network_namespace_has_no_name_here(self):
        other = Program("server", CLIENT, "engine")
        self.addCleanup(other.end)
        self.assert_cannot_run(self.diagnose(), "--process", "'engine'")
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose(), "up1")


class OtherUserTest(NetworkTest):
    """Another user gives his process the name of the engine."""

    OTHER = network.OTHER_USER
    AS_OTHER = network.AS_OTHER_USER

    def setUp(self):
        super().setUp()
        try:
            network.command(*self.AS_OTHER, "true")
        except RuntimeError as reason:
            self.skipTest(str(reason))

    def start_other(self, name="engine", python=SYSTEM_PYTHON):
        client = Program("engine", CLIENT, name, f"tcp {UP1} {ENDPOINT4} {PORT}", python=python,
                         before=self.AS_OTHER)
        self.addCleanup(client.end)
        return client

    def test_processes_of_different_users_are_refused(self):
        engine = self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        other = self.start_other()
        self.assert_cannot_run(self.diagnose(), "--process", "different users", "--user", "--pid",
                               f"process {engine.pid}, user 0, ",
                               f"process {other.pid}, user {self.OTHER}, ")

    def test_one_user_is_chosen(self):
        engine = self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        other = self.start_other()
        for user, process, uplink in [("root", engine, "up2"), (0, engine, "up2"),
                                      (self.OTHER, other, "up1")]:
            result = self.diagnose(process=("--process", "engine", "--user", user))
            self.assert_selected(result, uplink)
            self.assertEqual([id_ for id_, *_ in result.processes], [process.pid])
        self.assert_cannot_run(self.diagnose(process=("--process", "engine", "--user", 54321)),
                               "'engine' of user 54321")
        self.assert_selected(self.diagnose(process=("--pid", engine.pid)), "up2")

    def test_the_user_and_the_program_are_shown(self):
        other = self.start_other()
        program = os.readlink(f"/proc/{other.pid}/exe")
        self.assertEqual(self.diagnose().processes, [(other.pid, self.OTHER, program)])

    def test_the_capabilities_that_the_sockets_of_another_user_need(self):
        engine = self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.folder.chmod(0o755)
        program = shutil.copy(PROGRAM, self.folder)

        def diagnose(capabilities):
            before = (*network.inside("engine"), *self.AS_OTHER, f"--inh-caps=-all{capabilities}",
                      f"--ambient-caps=-all{capabilities}", f"--bounding-set=-all{capabilities}")
            return self.run_program("--pid", engine.pid, "--config", "-", text=config(ENDPOINT4, PORT),
                                    program=program, before=before)
        for capabilities, unreadable in [("", "ns/net"), (",+dac_read_search", "ns/net"),
                                         (",+sys_ptrace", f"task/{engine.pid}/fd")]:
            result = diagnose(capabilities)
            self.assertEqual(result.report["selectionStatus"], "NOT_EVALUATED_SOCKET_ENUM_FAILED")
            self.assertEqual(result.error, f"egress-report: sockets: cannot read "
                             f"'/proc/{engine.pid}/{unreadable}': Permission denied{REMEDY}\n")
        self.assert_selected(diagnose(",+sys_ptrace,+dac_read_search"), "up2")

    def test_a_name_that_goes_on_after_a_newline(self):
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.start_other("engine\n")
        self.start_other("engine\nx")
        self.assert_selected(self.diagnose(), "up2")

    def test_the_user_who_started_a_setuid_program_counts(self):
        """It runs as root, with the name and the sockets that its caller chose."""
        self.folder.chmod(0o755)
        program = self.folder / "engine"
        shutil.copy(shutil.which("sleep"), program)
        program.chmod(0o4755)
        process = subprocess.Popen([*network.inside("engine"), *self.AS_OTHER, program, "1000"])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        while Path(f"/proc/{process.pid}/comm").read_text() != "engine\n":
            self.assertIsNone(process.poll())
            time.sleep(0.01)
        status = Path(f"/proc/{process.pid}/status").read_text()
        if f"Uid:\t{self.OTHER}\t0\t" not in status:
            self.skipTest("set-user-ID bits have no effect here")
        self.assertEqual(self.diagnose().processes, [(process.pid, self.OTHER, str(program))])


class ThreadTest(NetworkTest):
    """Processes that are more than one thread with one table of descriptors."""

    def start(self, text):
        """Runs Python code in the engine's namespace that opens its sockets with connect(), then waits."""
        client = Program("engine", CLIENT_PARTS + text, "engine")
        self.addCleanup(client.end)
        return client

    def assert_used(self, *processes):
        """The connection through up2 is seen, by the name and by each ID."""
        for process in [("--process", "engine"), *(("--pid", process) for process in processes)]:
            self.assert_selected(self.diagnose(process=process), "up2")

    def test_the_main_thread_has_ended(self):
        client = self.start(f"""
def wait():
    connect("{UP2}", "{ENDPOINT4}", {PORT})
    finish()
threading.Thread(target=wait).start()
exit_this_thread()
""")
        while "State:\tZ" not in Path(f"/proc/{client.pid}/status").read_text():
            time.sleep(0.01)
        self.assert_used(client.pid)

    def test_a_thread_with_descriptors_of_its_own(self):
        client = self.start(f"""
def wait():
    unshare(CLONE_FILES)
    connect("{UP2}", "{ENDPOINT4}", {PORT})
    opened.release()
    time.sleep(1000)
opened = threading.Semaphore(0)
threading.Thread(target=wait, daemon=True).start()
opened.acquire()
finish()
""")
        self.assert_used(client.pid)

    def test_processes_that_share_their_descriptors(self):
        client = self.start(f"""
children = [clone_with_shared_files() for _ in range(3)]
connect("{UP2}", "{ENDPOINT4}", {PORT})
finish(children)
""")
        self.assert_used(client.pid)

    def test_a_descriptor_of_a_long_path(self):
        """The kernel formats no path over 4,096 bytes."""
        client = self.start(f"""
os.chdir({str(self.folder)!r})
for _ in range(20):
    os.mkdir("x" * 250)
    os.chdir("x" * 250)
kept = open("file", "w")
connect("{UP2}", "{ENDPOINT4}", {PORT})
finish()
""")
        self.assert_used(client.pid)


class HiddenProcessTest(NetworkTest):
    def diagnose_in_mounts(self, mount, *arguments):
        """Runs the program after a shell command that mounts something for it alone."""
        shell = (*network.inside("engine"), "unshare", "--mount", "sh", "-c", f'{mount} && exec "$0" "$@"')
        try:
            network.command(*shell, "true")
        except RuntimeError as reason:
            self.skipTest(str(reason))
        return self.run_program(*arguments, "--config", "-", text=config(ENDPOINT4, PORT), before=shell)

    @unittest.skipIf(IS_SANITIZED, "a sanitizer needs /proc")
    def test_there_is_no_proc(self):
        for arguments in (["--pid", 1], ["--process", "engine"]):
            result = self.diagnose_in_mounts("mount -t tmpfs tmpfs /proc", *arguments)
            self.assertEqual(result.error,
                             "egress-report: sockets: there is no '/proc/self': /proc is not mounted, or "
                             "is that of another PID namespace\n")
            self.assertEqual(result.report["selectionStatus"], "NOT_EVALUATED_SOCKET_ENUM_FAILED")

    def test_processes_that_proc_hides_are_ignored(self):
        """Of the processes, this user sees only his own ones."""
        as_user = "setpriv --reuid 12345 --regid 12345 --clear-groups --inh-caps=-all"
        wait_for_sleep = "until [ \"$(cat /proc/$!/comm)\" = sleep ]; do :; done"
        mount = f"unshare --pid --fork --mount-proc sh -c 'mount -o remount,hidepid=1 /proc && " \
                f"{as_user} true || exit; {as_user} sleep 100 & {wait_for_sleep}; " \
                f"{as_user} \"$0\" \"$@\"; status=$?; kill $!; exit $status' \"$0\" \"$@\"; exit $?; true"
        result = self.diagnose_in_mounts(mount, "--process", "sleep")
        self.assert_not_selected(result, "NO_MATCHING_SOCKET")


class SnapshotTest(NetworkTest):
    def saved(self, *arguments):
        """A live snapshot that the program saved, and the report."""
        path = self.folder / "saved.json"
        result = self.diagnose("--save-snapshot", path, *arguments)
        self.assertEqual(result.error, "")
        return self.parsed_snapshot(path.read_text()), result.report

    def saved_sockets(self, *names):
        """The given members of each saved socket."""
        snapshot, _ = self.saved()
        return [tuple(socket[name] for name in names) for socket in snapshot["sockets"]["rows"]]

    def test_a_saved_snapshot_gives_the_report_of_the_live_one(self):
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}", f"udp {UP1_6} {ENDPOINT6} {PORT}")
        for arguments in ([], ["--anonymize"]):
            snapshot, report = self.saved(*arguments)
            self.assertEqual(report["selectionStatus"], "OK")
            self.assertEqual(self.diagnose_snapshot(snapshot).report, report)

    def test_an_anonymized_snapshot_contains_no_address_or_name_of_this_network(self):
        self.connect(f"tcp {UP2} {ENDPOINT4} {PORT}", f"tcp {UP1_6} {ENDPOINT6} {PORT}")
        links = json.loads(ip("engine", "-json address show"))
        private = {ENDPOINT4, ENDPOINT6, os.uname().release}
        for link in links:
            if link["ifname"] != "lo":  # the loopback addresses are those of every machine
                private |= {link["ifname"], *(info["local"] for info in link["addr_info"])}
        self.assertLessEqual({"up1", "up2", UP1, UP2, UP1_6, UP2_6}, private)
        text = json.dumps(self.saved()[0])
        for secret in private:
            self.assertIn(secret, text)
        text = json.dumps(self.saved("--anonymize")[0])
        for secret in private:
            self.assertNotIn(secret, text)

    def test_the_origin_names_the_time_the_program_and_the_system(self):
        self.connect()
        origin = self.saved()[0]["origin"]
        self.assertRegex(origin.pop("time"), r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ\Z")
        system = os.uname()
        self.assertEqual(origin, {"program": "egress-report",
                                  "programVersion": os.environ["EGRESS_VERSION"],
                                  "system": f"{system.sysname} {system.release} {system.machine}"})

    def test_a_snapshot_without_an_interface_is_inconsistent(self):
        self.connect(f"tcp {UP1} {ENDPOINT4} {PORT}")
        snapshot, report = self.saved()
        self.assertEqual(report["defaultRoutesStatus"], "OK")
        rows = snapshot["adapters"]["rows"]
        rows.remove(next(row for row in rows if row["name"] == "up2"))
        report = self.diagnose_snapshot(snapshot).report
        self.assertEqual(report["defaultRoutesStatus"], "SNAPSHOT_INCONSISTENT")
        self.assertEqual(report["selectionStatus"], "OK")

    def test_names_states_and_addresses_of_interfaces(self):
        self.connect()
        self.for_this_test("engine", "link add spare type veth peer name spare2", "link del spare")
        self.for_this_test("engine", "link set spare up", "link set spare down")
        for name, state in [("up1", "UP"), ("spare", "LOWERLAYERDOWN"), ("spare2", "DOWN")]:
            network.wait_for_state(name, state)
        snapshot, report = self.saved()
        links = {link["ifname"]: link for link in json.loads(ip("engine", "-json address show"))}
        rows = {row["name"]: row for row in snapshot["adapters"]["rows"]}
        self.assertEqual([row["interfaceIndex"] for row in rows.values()],
                         sorted(link["ifindex"] for link in links.values()))
        # ifOperStatus of RFC 2863: 1 up, 2 down, 4 unknown, 7 lowerLayerDown.
        for name, status, kind in [("lo", 4, "LOOPBACK"), ("up1", 1, "OTHER"), ("spare", 7, "OTHER"),
                                   ("spare2", 2, "OTHER")]:
            addresses = [info["local"] for info in links[name]["addr_info"]]
            self.assertEqual(rows[name],
                             {"name": name, "interfaceIndex": links[name]["ifindex"],
                              "operStatus": status, "interfaceMetric": 0, "addresses": addresses,
                              "kind": kind})
        self.assertEqual(len(report["interfaces"]), len(links))

    def test_protocols_and_states_of_sockets(self):
        for kind, port, protocol, state in [
                ("tcp", PORT, "TCP", "ESTABLISHED"), ("udp", PORT, "UDP", "ESTABLISHED"),
                ("tcp-half-closed", PORT, "TCP", "FIN_WAIT_2"),
                ("tcp-closed-by-server", CLOSING_PORT, "TCP", "CLOSE_WAIT"),
                ("tcp-unanswered", PORT, "TCP", "SYN_SENT")]:
            for source, server in [(UP1, ENDPOINT4), (UP2_6, ENDPOINT6)]:
                if kind == "tcp-unanswered":
                    server = UNUSED4 if server == ENDPOINT4 else UNUSED6
                with self.subTest(kind=kind, source=source):
                    client = self.connect(f"{kind} {source} {server} {port}")
                    self.assertEqual(
                        self.saved_sockets("protocol", "state", "localAddress", "remoteAddress",
                                           "remotePort"),
                        [(protocol, state, source, server, port)])
                    client.end()

    def test_an_ipv4_mapped_address_is_saved_as_ipv4(self):
        self.connect(f"tcp ::ffff:{UP1} ::ffff:{ENDPOINT4} {PORT}")
        self.assertEqual(self.saved_sockets("localAddress", "remoteAddress", "remotePort"),
                         [(UP1, ENDPOINT4, PORT)])


class RouteTest(NetworkTest):
    # Family, interface and metric of the default routes of network.create_network().
    ROUTES = [(4, "up1", 100), (4, "up2", 200), (4, "up2", 0),
              (6, "up1", 100), (6, "up2", 200), (6, "up2", 1024)]

    def setUp(self):
        super().setUp()
        self.connect()

    def assert_routes(self, expected):
        report = self.diagnose().report
        self.assertEqual(report["defaultRoutesStatus"], "OK")
        ordinals = network.ordinals()
        self.assertEqual(Counter((row["family"], row["interfaceOrdinal"], row["routeMetric"])
                                 for row in report["defaultRoutes"]),
                         Counter((family, ordinals[name], metric)
                                 for family, name, metric in expected))

    def test_default_routes_of_all_tables(self):
        self.assert_routes(self.ROUTES)

    def test_each_next_hop_gives_a_row(self):
        for family, net in [("-4", "10.{}.0.1"), ("-6", "2001:db8:{}::1")]:
            hops = " ".join(f"nexthop via {net.format(number)} dev up{number} weight {number}"
                            for number in (1, 2))
            self.for_this_test("engine", f"{family} route add default table 300 metric 7 {hops}",
                               f"{family} route flush table 300")
        self.assert_routes(self.ROUTES + [(4, "up1", 7), (4, "up2", 7), (6, "up1", 7), (6, "up2", 7)])

    def test_next_hop_objects(self):
        setting = "/proc/sys/net/ipv4/nexthop_compat_mode"
        if not os.access(setting, os.W_OK):
            self.skipTest(f"{setting} does not exist or is read-only")
        hops = [(4, "up1", 7), (4, "up1", 8), (4, "up2", 8), (6, "up1", 7), (6, "up1", 8), (6, "up2", 8)]
        for family, net in [(4, "10.{}.0.1"), (6, "2001:db8:{}::1")]:
            for number in (1, 2):
                self.for_this_test("engine", f"nexthop add id {family}{number} via {net.format(number)} "
                                   f"dev up{number}", f"nexthop del id {family}{number}")
            self.for_this_test("engine", f"nexthop add id {family} group {family}1/{family}2",
                               f"nexthop del id {family}")
            self.for_this_test("engine", f"-{family} nexthop add id {family}9 blackhole",
                               f"nexthop del id {family}9")
            for metric, nexthop in [(7, f"{family}1"), (8, f"{family}"), (9, f"{family}9")]:
                # Goes away with its object.
                ip("engine", f"-{family} route add default table 303 metric {metric} nhid {nexthop}")
        for mode in (0, 1):  # without and with interfaces in the routes
            network.command(*network.inside("engine"), "sh", "-c", f"echo {mode} >{setting}")
            self.assert_routes(self.ROUTES + hops)

    def test_routes_without_interface_are_ignored(self):
        for kind in ("unreachable", "blackhole", "prohibit", "throw"):
            for family in ("-4", "-6"):
                self.for_this_test("engine", f"{family} route add {kind} default table 301",
                                   f"{family} route flush table 301")
                self.assert_routes(self.ROUTES)
                ip("engine", f"{family} route flush table 301")

    def test_other_routes_are_ignored(self):
        self.for_this_test("engine", "route add 0.0.0.0/1 dev up1", "route del 0.0.0.0/1 dev up1")
        self.for_this_test("engine", "-6 route add ::/1 dev up1", "-6 route del ::/1 dev up1")
        self.assert_routes(self.ROUTES)

    def test_the_largest_metric(self):
        self.for_this_test("engine", "route add default dev up1 table 302 metric 4294967295",
                           "route flush table 302")
        self.assert_routes(self.ROUTES + [(4, "up1", 4294967295)])


if __name__ == "__main__":
    network.run_tests()
