"""Runs egress-report and holds every report that it prints against docs/report.schema.json."""

import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

SOURCE_DIR = Path(os.environ["EGRESS_SOURCE_DIR"])
PROGRAM = os.environ["EGRESS_REPORT_PROGRAM"]
SCHEMA = json.loads((SOURCE_DIR / "docs/report.schema.json").read_text())

# What a host without anything looks like, but for the last line; other snapshots begin with it.
EMPTY_SNAPSHOT = "egress-snapshot version=1\n"

# A host whose engine has one connection to its endpoint.
HEALTHY_SNAPSHOT = EMPTY_SNAPSHOT + """\
config status=OK autoDetectInterface=true
outbound tag=proxy type=shadowsocks hasServer=true server=198.51.100.10 portSpecified=true ports=443
interface index=11 operStatus=1 metric=25 addresses=192.168.1.50
interface index=5 operStatus=1 metric=5 addresses=10.0.0.7,fd00::7
route family=4 interfaceIndex=5 metric=100
socket localAddress=10.0.0.7 localPort=51000 remoteAddress=198.51.100.10 remotePort=443
"""

_validator = jsonschema.Draft202012Validator(SCHEMA)


def complaints(report):
    """What is wrong with a report in the eyes of the schema; it cannot say in which order members
    stand, so that is compared with the order of its own."""
    found = [error.message for error in _validator.iter_errors(report)]
    for members, described in [(report, SCHEMA)] + [
            (row, SCHEMA["properties"][key]["items"])
            for key, rows in report.items() if isinstance(rows, list) for row in rows]:
        order = [key for key in described["properties"] if key in members]
        if list(members) != order:
            found.append(f"members in the order {list(members)}")
    return found


class Result:
    """How a run of the program ended, and what it printed."""

    def __init__(self, status, output, error):
        self.status = status
        self.output = output
        self.error = error

    @property
    def report(self):
        return json.loads(self.output)


class ProgramTest(unittest.TestCase):
    """A test that runs egress-report, with a folder for its files."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def run_program(self, *arguments, text="", program=PROGRAM, before=(), **options):
        """Runs the program with standard input `text`; `before` is the command that runs it."""
        process = subprocess.run([*before, program, *map(str, arguments)], input=text,
                                 capture_output=True, encoding="utf-8",
                                 errors="surrogateescape", check=False, **options)
        result = Result(process.returncode, process.stdout, process.stderr)
        if result.output.startswith("{"):
            self.assertEqual(complaints(result.report), [], result.output)
            self.assertTrue(result.output.endswith("}\n"))
        return result

    def diagnose_snapshot(self, content, *arguments, **options):
        """Runs the program on a saved snapshot, whose last line may be left out."""
        if not content.endswith("\nend\n"):
            content += "end\n"
        return self.diagnose_raw_snapshot(content, *arguments, **options)

    def diagnose_raw_snapshot(self, content, *arguments, **options):
        """The same with the text, or the bytes, as they are."""
        return self.run_program("--snapshot", self.file("given.snapshot", content), *arguments,
                                **options)

    def assert_cannot_run(self, result, *parts):
        """One line on standard error that says what and where, and nothing else."""
        self.assertEqual(result.output, "")
        self.assertRegex(result.error, r"\Aegress-report: [^\n]+\n\Z")
        for part in parts:
            self.assertIn(str(part), result.error)
        self.assertEqual(result.status, 2)
