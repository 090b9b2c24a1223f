"""Runs egress-report and validates every report and every saved snapshot against its schema in docs/."""

import json
import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import jsonschema

SOURCE_DIR = Path(os.environ["EGRESS_SOURCE_DIR"])
PROGRAM = os.environ["EGRESS_REPORT_PROGRAM"]
SCHEMA = json.loads((SOURCE_DIR / "docs/report.schema.json").read_text())
DETAILS_SCHEMA = json.loads((SOURCE_DIR / "docs/details.schema.json").read_text())
SNAPSHOT_SCHEMA = json.loads((SOURCE_DIR / "docs/snapshot.schema.json").read_text())

# Derive variants with `|`, which replaces whole members, for example
# EMPTY_SNAPSHOT | {"selectorHint": "x"}.
EMPTY_SNAPSHOT = {"format": "egress-snapshot", "version": 1}

# The engine has one connection to its endpoint.
HEALTHY_SNAPSHOT = EMPTY_SNAPSHOT | {
    "config": {"configStatus": "OK", "autoDetectInterface": True, "outbounds": [
        {"tag": "proxy", "type": "shadowsocks", "hasServer": True, "server": "198.51.100.10",
         "portSpecified": True, "ports": [443]}]},
    "adapters": {"rows": [
        {"interfaceIndex": 11, "operStatus": 1, "interfaceMetric": 25, "addresses": ["192.168.1.50"]},
        {"interfaceIndex": 5, "operStatus": 1, "interfaceMetric": 5,
         "addresses": ["10.0.0.7", "fd00::7"]}]},
    "routes": {"rows": [{"family": 4, "interfaceIndex": 5, "routeMetric": 100}]},
    "sockets": {"rows": [{"localAddress": "10.0.0.7", "localPort": 51000,
                          "remoteAddress": "198.51.100.10", "remotePort": 443}]},
}

# Answers for outbounds that no configuration has. Their warnings fill a pipe, so that the program waits
# for its reader after it has parsed its input and created its file.
WARNINGS = [word for number in range(5000) for word in ("--answer-failed", f"unknown-{number}")]

# What follows a reason why the sockets could not be listed, if it is a lack of permission.
REMEDY = "; run egress-report as root, or as the user of the engine"

# A sanitizer reserves terabytes of addresses and makes stack frames larger.
IS_SANITIZED = b"__asan_init" in Path(PROGRAM).read_bytes()

_validator = jsonschema.Draft202012Validator(SCHEMA)
_details_validator = jsonschema.Draft202012Validator(DETAILS_SCHEMA)
_snapshot_validator = jsonschema.Draft202012Validator(SNAPSHOT_SCHEMA)


def schema_errors(report):
    """Validates a report. A schema cannot define the order of members, so that is compared with the
    order of the schema's properties."""
    found = [error.message for error in _validator.iter_errors(report)]
    for members, described in [(report, SCHEMA)] + [
            (row, SCHEMA["properties"][key]["items"])
            for key, rows in report.items() if isinstance(rows, list) for row in rows]:
        order = [key for key in described["properties"] if key in members]
        if list(members) != order:
            found.append(f"wrong order of members: {list(members)}")
    return found


def snapshot_schema_errors(snapshot):
    return [error.message for error in _snapshot_validator.iter_errors(snapshot)]


def details_schema_errors(details):
    return [error.message for error in _details_validator.iter_errors(details)]


# A program that measures its coverage says so when it may not write its profile, for example as another
# user.
_coverage_line = re.compile(r"^LLVM Profile .*\n", re.MULTILINE)

# The line for a process that --process found.
_process_line = re.compile(r"^(egress-report: process (\d+), user (\d+)(?:, (.*))?)\n", re.MULTILINE)


class Result:
    """The exit status and the output of a run. `error` is standard error without the lines for the
    processes that --process found, `processes` the ID, the user and the program of each."""

    def __init__(self, status, output, error):
        error = _coverage_line.sub("", error)
        found = _process_line.findall(error)
        self.status = status
        self.output = output
        self.error = _process_line.sub("", error)
        self.process_lines = [line for line, *_ in found]
        self.processes = [(int(id_), int(user), program) for _, id_, user, program in found]

    @property
    def report(self):
        return json.loads(self.output)


class ProgramTest(unittest.TestCase):
    """A test that runs egress-report, with a temporary directory for its files."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def run_program(self, *arguments, text="", program=PROGRAM, before=(), output="--json", **options):
        """Runs the program with `text` as standard input; `before` is a command prefix, `output` the
        option that chooses the output, or "" for the text for people."""
        chosen = [output] if output and "--explain" not in arguments else []
        process = subprocess.run([*before, program, *map(str, arguments), *chosen], input=text,
                                 capture_output=True, encoding="utf-8",
                                 errors="surrogateescape", check=False, **options)
        result = Result(process.returncode, process.stdout, process.stderr)
        if result.output.startswith('{\n  "format"'):
            self.check_formatted(result.output)
        elif result.output.startswith('{"'):
            self.check_lines(result.output)
        elif result.output.startswith("{"):
            self.assertEqual(schema_errors(result.report), [], result.output)
            self.assertTrue(result.output.endswith("}\n"))
        return result

    def check_formatted(self, text):
        """Checks a text that names its format."""
        if json.loads(text)["format"] == "egress-snapshot":
            self.parsed_snapshot(text)
        else:
            self.assertEqual(details_schema_errors(json.loads(text)), [], text)
            self.assertTrue(text.endswith("}\n"))

    def check_lines(self, text):
        """Checks details or reports, one on each line."""
        self.assertTrue(text.endswith("}\n"))
        for line in text.splitlines():
            value = json.loads(line)
            errors = details_schema_errors if "format" in value else schema_errors
            self.assertEqual(errors(value), [], line)

    def parsed_snapshot(self, text):
        """The snapshot in a text that the program wrote."""
        snapshot = json.loads(text)
        self.assertEqual(snapshot_schema_errors(snapshot), [], text)
        self.assertTrue(text.endswith("}\n"))
        return snapshot

    def snapshot_file(self, snapshot):
        """The path of a file with this snapshot, a dictionary."""
        self.assertEqual(snapshot_schema_errors(snapshot), [], snapshot)
        return self.file("given.json", json.dumps(snapshot))

    def diagnose_snapshot(self, snapshot, *arguments, **options):
        """Runs the program on a saved snapshot, a dictionary."""
        return self.run_program("--snapshot", self.snapshot_file(snapshot), *arguments, **options)

    def diagnose_text(self, content, *arguments, **options):
        """Runs the program on the text or bytes of a saved snapshot."""
        return self.run_program("--snapshot", self.file("given.json", content), *arguments, **options)

    def assert_not_saved(self, result, *parts):
        """The report is printed, and one line on standard error contains `parts`."""
        self.assertEqual((result.status, result.error.count("\n")), (2, 1), result.error)
        self.assertIn("selectionStatus", result.report)
        for part in parts:
            self.assertIn(str(part), result.error)

    def assert_cannot_run(self, result, *parts):
        """The only output is one line on standard error that contains `parts`."""
        self.assertEqual(result.output, "")
        self.assertRegex(result.error, r"\Aegress-report: [^\n]+\n\Z")
        for part in parts:
            self.assertIn(str(part), result.error)
        self.assertEqual(result.status, 2)
