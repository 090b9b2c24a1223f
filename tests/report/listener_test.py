#!/usr/bin/python3
"""egress-report on a network with two uplinks, finding the engine by where it listens, and in another
network namespace."""

import json
import unittest

import network
from network import CLIENT, ENDPOINT4, PORT, Program
from report_program import ProgramTest

# Listens at the last argument, a path or an address and port.
LISTENER = """
import socket, sys
place = sys.argv.pop()
if place.startswith("/"):
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(place)
    listener.listen()
else:
    host, port = place.rsplit(":", 1)
    family = socket.AF_INET6 if ":" in host else socket.AF_INET
    listener = socket.create_server((host, int(port)), family=family, reuse_port=True,
                                    dualstack_ipv6=host == "::")
"""
UP1, UP2 = "10.1.0.2", "10.2.0.2"
URL = "http://127.0.0.1:9090/{tag}"
CONFIG = json.dumps({"route": {"auto_detect_interface": True},
                     "outbounds": [{"tag": "proxy", "type": "trojan", "server": ENDPOINT4,
                                    "server_port": PORT}]})
WITHOUT_ADMIN = ("setpriv", "--bounding-set=-sys_admin", "--inh-caps=-sys_admin")


class ListenerTest(ProgramTest):
    def listen(self, place, *lines, namespace="engine", before=()):
        """Starts a process that listens and has a socket for each line, as in network.CLIENT."""
        client = Program(namespace, LISTENER + CLIENT, "listener", *lines, place, before=before)
        self.addCleanup(client.end)
        return client

    def diagnose(self, *arguments, namespace="engine", before=()):
        return self.run_program("--config", "-", *arguments, text=CONFIG,
                                before=(*network.inside(namespace), *before))

    def assert_selected(self, result, uplink, error=""):
        self.assertEqual((result.report["selectionStatus"], result.error), ("OK", error))
        self.assertEqual(result.report["selectedInterfaceOrdinal"], network.ordinals()[uplink])
        self.assertEqual(result.status, 0)

    def entered(self, client):
        return f"egress-report: entered the network namespace of process {client.pid}\n"

    def listening(self, client, place):
        return f"egress-report: engine: process {client.pid}, listening at {place}\n"


class EndpointTest(ListenerTest):
    def test_the_process_that_listens_at_the_address_and_port(self):
        for place, url in [("127.0.0.1:9090", URL), ("0.0.0.0:9090", URL), (":::9090", URL),
                           ("::1:9090", "http://[::1]:9090/{tag}"),
                           ("127.0.0.1:9090", "http://localhost:9090/{tag}")]:
            with self.subTest(place=place, url=url):
                client = self.listen(place, f"tcp {UP2} {ENDPOINT4} {PORT}")
                path = self.folder / "saved.json"
                result = self.diagnose("--ask", url, "--save-snapshot", path)
                where = url.removeprefix("http://").removesuffix("/{tag}").replace("localhost:", "port ")
                self.assert_selected(result, "up2", error=self.listening(client, where))
                saved = self.parsed_snapshot(path.read_text())
                self.assertEqual([one["id"] for one in saved["processes"]], [client.pid])
                self.assertEqual(saved["listeningAt"], where)
                client.end()

    def test_the_address_itself_is_preferred_to_the_wildcard(self):
        """Two processes of one user share the port. The one with the address gets the connections."""
        self.listen("0.0.0.0:9090", f"tcp {UP1} {ENDPOINT4} {PORT}")
        client = self.listen("127.0.0.1:9090", f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose("--ask", URL), "up2",
                             error=self.listening(client, "127.0.0.1:9090"))

    def test_the_process_that_listens_at_the_unix_socket(self):
        path = self.folder / "socket"
        client = self.listen(path, f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.listen(self.folder / "other", f"tcp {UP1} {ENDPOINT4} {PORT}")
        self.assert_selected(self.diagnose("--ask", URL, "--ask-unix", path), "up2",
                             error=self.listening(client, path))

    def test_nobody_listens(self):
        path = self.folder / "socket"
        self.assert_cannot_run(self.diagnose("--ask", URL),
                               "no process listens at 127.0.0.1:9090 in this network namespace")
        self.assert_cannot_run(self.diagnose("--ask", URL, "--ask-unix", path),
                               f"cannot connect to '{path}': No such file or directory")

    def test_a_process_of_another_user_is_not_visible(self):
        try:
            network.command(*network.AS_OTHER_USER, "true")
        except RuntimeError as reason:
            self.skipTest(str(reason))
        self.listen("127.0.0.1:9090", f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.assert_cannot_run(
            self.diagnose("--ask", URL, before=network.AS_OTHER_USER),
            "the process that listens at 127.0.0.1:9090 is not visible to this user; run as root")


class OtherNetworkTest(ListenerTest):
    """The program starts in the network namespace of the server, the engine runs in its own."""

    def test_the_program_enters_that_of_a_process_id(self):
        client = self.listen("127.0.0.1:9090", f"tcp {UP2} {ENDPOINT4} {PORT}")
        result = self.diagnose("--pid", client.pid, namespace="server")
        self.assert_selected(result, "up2", error=self.entered(client))

    def test_the_program_enters_that_behind_a_unix_socket(self):
        path = self.folder / "socket"
        client = self.listen(path, f"tcp {UP2} {ENDPOINT4} {PORT}")
        result = self.diagnose("--ask", URL, "--ask-unix", path, namespace="server")
        self.assert_selected(result, "up2",
                             error=self.entered(client) + self.listening(client, path))

    def test_a_port_of_another_network_is_not_looked_for(self):
        self.listen("127.0.0.1:9090", f"tcp {UP2} {ENDPOINT4} {PORT}")
        self.assert_cannot_run(self.diagnose("--ask", URL, namespace="server"),
                               "no process listens at 127.0.0.1:9090 in this network namespace")

    def test_without_the_capability(self):
        client = self.listen("127.0.0.1:9090")
        self.assert_cannot_run(
            self.diagnose("--pid", client.pid, namespace="server", before=WITHOUT_ADMIN),
            f"--pid: process {client.pid} is in another network namespace",
            f"nsenter --net --target {client.pid} egress-report")


if __name__ == "__main__":
    network.run_tests()
