#!/usr/bin/python3
"""From the engine's own configuration file to the answer in one command, on a network with two uplinks:
the configuration has comments and trailing commas, its main outbound is not tagged 'proxy', tags hold an
emoji, and the server has a name."""

import json
import re
import shlex
import subprocess
from pathlib import Path

import network
from network import CLIENT, ENDPOINT4, ENDPOINT6, PORT, Program
from report_program import SOURCE_DIR, ProgramTest

NAME = "tokyo.vpn.example"
MAIN, AUTO, LEAF = "🚀 Select", "♻️ Auto", "Tokyo"
CHOICES = {MAIN: AUTO, AUTO: LEAF}
CONFIG = f"""{{
  // From the provider. Do not edit by hand: {{"outbounds": []}}
  "outbounds": [
    {{"type": "selector", "tag": "{MAIN}", "outbounds": ["{AUTO}", "{LEAF}", "direct"]}},
    {{"type": "urltest", "tag": "{AUTO}", "outbounds": ["{LEAF}", "Osaka"], /* every */ "interval": "5m"}},
    {{"type": "trojan", "tag": "{LEAF}", "server": "{NAME}", "server_port": {PORT}, "password": "//p,]"}},
    {{"type": "vless", "tag": "Osaka", "server": "osaka.vpn.example", "server_port": {PORT},}},
    {{"type": "direct", "tag": "direct"}},
  ],
  "route": {{"auto_detect_interface": true}},
}}
"""
URL = "http://127.0.0.1:9090/proxies/{tag}"
UP1, UP2, UP2_6 = "10.1.0.2", "10.2.0.2", "2001:db8:2::2"

# The engine: answers at port 9090, and has connections.
ENGINE = f"""
import sys
sys.path.insert(0, {str(Path(__file__).parent)!r})
from engine_server import Engine
Engine({CHOICES!r}, port=9090)
""" + CLIENT + "\nimport os; os._exit(0)  # without waiting for the server's thread\n"

# Runs a command that sees another file as /etc/hosts.
WITH_HOSTS = ("unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/hosts && exec "$@"')


class OneCommandTest(ProgramTest):
    def start_engine(self, *lines):
        engine = Program("engine", ENGINE, "engine", *lines)
        self.addCleanup(engine.end)
        return engine

    def run_one(self, *arguments, before=(), **options):
        config = self.file("config.json", CONFIG)
        return self.run_program("--config", config, "--ask", URL, *arguments,
                                before=(*network.inside("engine"), *before), **options)

    def with_hosts(self, *rows):
        """The prefix of a command for which the system's resolver knows these rows of /etc/hosts."""
        hosts = self.file("hosts", "127.0.0.1 localhost\n" + "".join(f"{row} {NAME}\n" for row in rows))
        prefix = (*WITH_HOSTS, str(hosts))
        if subprocess.run([*prefix, "true"], capture_output=True, check=False).returncode != 0:
            self.skipTest("cannot create mount namespaces")
        return prefix

    def test_the_readme_shows_the_command_and_its_output(self):
        readme = (SOURCE_DIR / "README.md").read_text()
        shown = readme.partition("```shell-session\n")[2].partition("```")[0]
        command, _, output = shown.replace("\\\n", "").partition("\n")
        engine = self.start_engine(*[f"tcp {UP2} {ENDPOINT4} {PORT}"] * 2)
        words = shlex.split(command.removeprefix("#"))
        self.assertEqual(words[0], "egress-report")
        self.file("config.json", CONFIG)
        result = self.run_program(*words[1:], cwd=self.folder, output="",
                                  before=(*network.inside("engine"), *self.with_hosts(ENDPOINT4)))
        self.assertEqual((result.status, result.error), (0, ""))
        # The README has other numbers of the process and the port, and another name of the interface.
        real = re.sub(rf"process {engine.pid},", "process 1234,", result.output)
        real = re.sub(rf"{UP2}:\d+ ", f"{UP2}:50000 ", real).replace("up2: ", "wan: ")
        self.assertEqual(real, output)

    def test_the_saved_snapshot_says_the_same_elsewhere(self):
        self.start_engine(f"tcp {UP2} {ENDPOINT4} {PORT}")
        saved = self.folder / "saved.json"
        arguments = ("--main", MAIN, "--resolve", f"{NAME}={ENDPOINT4}")
        live = self.run_one(*arguments, "--save-snapshot", saved, output="--json=details")
        self.assertEqual(live.status, 0)
        self.parsed_snapshot(saved.read_text())
        again = self.run_program("--snapshot", saved, output="--json=details")
        self.assertEqual((again.status, again.output), (0, live.output))
        # Anonymized, the report stays.
        anonymized = self.folder / "anonymized.json"
        self.run_program("--snapshot", saved, "--save-snapshot", anonymized, "--anonymize")
        text = anonymized.read_text()
        for private in (MAIN, AUTO, LEAF, NAME, ENDPOINT4, UP2, "9090", "up2"):
            self.assertNotIn(json.dumps(private).strip('"'), text)
            self.assertNotIn(private, text)
        self.assertEqual(self.run_program("--snapshot", anonymized).report, live.report["report"])

    def test_without_the_options_the_message_says_which_are_missing(self):
        self.start_engine(f"tcp {UP2} {ENDPOINT4} {PORT}")
        missing = self.run_one(output="")
        self.assertEqual(missing.status, 1)
        self.assertIn(f"Name the main outbound with --main TAG. No other outbound leads to '{MAIN}'.",
                      " ".join(missing.output.split()))
        unresolved = self.run_one("--main", MAIN, output="")
        self.assertEqual(unresolved.status, 1)
        self.assertIn(f"Add --resolve NAME=ADDRESS, or --resolve system. The engine has sockets to port "
                      f"{PORT} of {ENDPOINT4}.", " ".join(unresolved.output.split()))

    def test_the_address_that_the_engine_uses_counts(self):
        self.start_engine(f"tcp {UP2_6} {ENDPOINT6} {PORT}")
        hosts = self.with_hosts("203.0.113.77", ENDPOINT4, ENDPOINT6)
        result = self.run_one("--main", MAIN, "--resolve", "system", before=hosts, output="--json=details")
        self.assertEqual(result.status, 0)
        self.assertEqual(result.report["endpoint"], {"status": "OK", "address": ENDPOINT6, "port": PORT,
                                                     "name": NAME})
        self.assertEqual({row["source"] for row in result.report["input"]["resolvedNames"]}, {"SYSTEM"})
        self.assertEqual({row["address"] for row in result.report["input"]["resolvedNames"]},
                         {"203.0.113.77", ENDPOINT4, ENDPOINT6})

    def test_addresses_through_different_interfaces_do_not_agree(self):
        self.start_engine(f"tcp {UP1} {ENDPOINT4} {PORT}", f"tcp {UP2_6} {ENDPOINT6} {PORT}")
        addresses = ("--resolve", f"{NAME}={ENDPOINT4}", "--resolve", f"{NAME}={ENDPOINT6}")
        result = self.run_one("--main", MAIN, *addresses, output="--json=details")
        self.assertEqual(result.status, 1)
        self.assertIs(result.report["doAddressesAgree"], False)
        self.assertEqual(result.report["crossCheck"]["interface"]["name"], "up1")
        other, = result.report["otherAddresses"]
        self.assertEqual((other["address"], other["interface"]["name"], other["crossCheckStatus"]),
                         (ENDPOINT6, "up2", "AGREES"))
        text = self.run_one("--main", MAIN, *addresses, output="").output
        self.assertTrue(" ".join(text.split()).startswith(
            f"up1 and up2: the engine uses several addresses of the server: {ENDPOINT4} through up1 and "
            f"{ENDPOINT6} through up2."), text)

    def test_a_name_that_the_system_does_not_know(self):
        self.start_engine(f"tcp {UP2} {ENDPOINT4} {PORT}")
        result = self.run_one("--main", MAIN, "--resolve", "system", before=self.with_hosts(), output="")
        self.assertEqual(result.status, 1)
        text = " ".join(result.output.split())
        self.assertIn(f"unknown: server of the outbound '{LEAF}' is '{NAME}', not an address; cannot resolve "
                      f"'{NAME}': ", text)
        self.assertIn("do Name its address with --resolve NAME=ADDRESS.", text)


if __name__ == "__main__":
    network.run_tests()
