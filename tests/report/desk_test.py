#!/usr/bin/python3
"""Runs the commands of docs/support-desk.md, and compares what they print with the page."""

import json
import os
import re
import shutil
import subprocess
import unittest

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, PROGRAM, SOURCE_DIR, ProgramTest

PAGE = (SOURCE_DIR / "docs/support-desk.md").read_text()
OWNER, OTHER = 5, 11  # the interface that owns the source address of the socket, and another one


def received(version, route_interface=None):
    """A snapshot of this version of the program, with a socket whose route leads there, or with none."""
    names = {OWNER: "wan0", OTHER: "wan1"}
    adapters = [row | {"name": names[row["interfaceIndex"]]}
                for row in HEALTHY_SNAPSHOT["adapters"]["rows"]]
    socket, = HEALTHY_SNAPSHOT["sockets"]["rows"]
    sockets = [] if route_interface is None else [socket | {"routeInterfaceIndex": route_interface}]
    return json.dumps(HEALTHY_SNAPSHOT | {"origin": {"programVersion": version},
                                          "adapters": {"rows": adapters}, "sockets": {"rows": sockets}})


RECEIVED = {
    "anna.json": received("0.8.0", OWNER),
    "2026/ben.json": received("0.8.0", OTHER),
    "carla.json": received("0.9.0", OWNER),
    "dora.json": json.dumps(EMPTY_SNAPSHOT),
    "emil.json": "",
    "fiona.json": received("0.9.0"),
}


def commands_of(heading):
    """Each command in the console blocks of a section, with the output that the page shows. A command
    goes on in lines that are indented by four blanks."""
    section = re.split(r"^#+ ", PAGE, flags=re.MULTILINE)
    text, = [part for part in section if part.startswith(heading + "\n")]
    blocks = re.findall(r"^```console\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)
    return re.findall(r"^\$ (.*\n(?:    \S.*\n)*)((?:(?!\$ ).*\n)*)", "".join(blocks), re.MULTILINE)


class DeskTest(ProgramTest):
    def setUp(self):
        super().setUp()
        (self.folder / "bin").mkdir()
        (self.folder / "bin/egress-report").symlink_to(os.path.abspath(PROGRAM))
        (self.folder / "received/2026").mkdir(parents=True)
        for name, content in RECEIVED.items():
            self.file(f"received/{name}", content)

    def need(self, program):
        if shutil.which(program) is None:
            self.skipTest(f"{program} is not installed")

    def check(self, heading, count):
        """Runs the commands of a section, and compares what both streams get with the page."""
        commands = commands_of(heading)
        self.assertEqual(len(commands), count)
        environment = {**os.environ, "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}",
                       "LC_ALL": "C", "HOME": str(self.folder)}
        for command, shown in commands:
            done = subprocess.run(["sh", "-c", command], cwd=self.folder, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, text=True, check=False, env=environment)
            self.assertEqual(done.stdout, shown, command)

    def diagnose(self):
        self.check("Many snapshots", 2)

    def test_the_diagnosis(self):
        self.diagnose()

    def test_jq(self):
        self.need("jq")
        self.diagnose()
        self.check("With jq", 3)

    def test_sqlite(self):
        self.need("sqlite3")
        self.diagnose()
        self.check("With SQLite", 4)


if __name__ == "__main__":
    unittest.main(verbosity=2)  # with the reason of each skip
