#!/usr/bin/python3
"""Builds and runs the examples of other languages with the C library: each prints the same report.

Usage: languages_test.py LIBRARY PROGRAM SCRATCH [UNITTEST_ARGUMENT...]

LIBRARY is the path of libegress-c.so, PROGRAM that of egress-report."""

import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
EXAMPLES = SOURCE / "examples"
STRICT = ["-std=c99", "-Wall", "-Wextra", "-pedantic", "-Werror"]
LINES = 60  # of an example, at most

if len(sys.argv) < 4:
    sys.exit(__doc__)
LIBRARY, PROGRAM, SCRATCH = (Path(path).resolve() for path in sys.argv[1:4])

SNAPSHOT = """{
  "format": "egress-snapshot",
  "version": 1,
  "config": {"configStatus": "OK", "autoDetectInterface": true, "outbounds": [
    {"tag": "proxy", "type": "trojan", "hasServer": true, "server": "198.51.100.10",
     "portSpecified": true, "ports": [443]}]},
  "adapters": {"rows": [
    {"name": "up1", "interfaceIndex": 7, "operStatus": 1, "addresses": ["192.0.2.1"]}]},
  "sockets": {"rows": [
    {"localAddress": "192.0.2.1", "localPort": 50000, "remoteAddress": "198.51.100.10",
     "remotePort": 443}]}
}
"""


def run(*command, text=SNAPSHOT, **environment):
    return subprocess.run([str(word) for word in command], input=text, capture_output=True,
                          text=True, check=False, cwd=SCRATCH,
                          env=os.environ | {"LD_LIBRARY_PATH": str(LIBRARY.parent)} | environment)


class LanguagesTest(unittest.TestCase):
    def setUp(self):
        SCRATCH.mkdir(parents=True, exist_ok=True)

    def need(self, *commands):
        for command in commands:
            if shutil.which(command) is None:
                self.skipTest(f"{command} is not installed; scripts/bootstrap ci installs it")

    def build(self, *command, **environment):
        result = run(*command, **environment)
        self.assertEqual((result.returncode, result.stderr), (0, ""), result)

    def expect_same_report(self, *command):
        report = run(PROGRAM, "--snapshot", "-", "--json")
        self.assertIn('"selectionStatus": "OK"', report.stdout, report)
        result = run(*command)
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, report.stdout, ""))

    def expect_refusal(self, *command):
        refused = run(*command, text='{"format": "egress-snapshot", "version": "1"}')
        self.assertEqual((refused.returncode, refused.stdout), (1, ""))
        self.assertEqual(refused.stderr, '/version: "1" is not a version\n')

    def expect_works(self, *command):
        self.expect_same_report(*command)
        self.expect_refusal(*command)

    def test_c99(self):
        self.need("cc")
        program = SCRATCH / "report_c"
        self.build("cc", *STRICT, f"-I{SOURCE}", EXAMPLES / "c/report.c", "-o", program, LIBRARY)
        self.expect_works(program)

    def test_python(self):
        self.expect_works(sys.executable, EXAMPLES / "python/report.py")

    def test_go(self):
        self.need("go", "cc")
        program = SCRATCH / "report_go"
        self.build("go", "build", "-o", program, EXAMPLES / "go/report.go", CGO_ENABLED="1",
                   CGO_CFLAGS=f"-I{SOURCE}", CGO_LDFLAGS=f"-L{LIBRARY.parent}",
                   GOCACHE=str(SCRATCH / "go"), GO111MODULE="off", GOFLAGS="")
        self.expect_works(program)

    def test_csharp(self):
        self.need("mcs", "mono")
        program = SCRATCH / "report_mono.exe"
        self.build("mcs", "-warnaserror", f"-out:{program}", EXAMPLES / "csharp/Report.cs")
        self.expect_works("mono", program)

    def test_each_example_is_short(self):
        for name in ["c/report.c", "python/report.py", "go/report.go", "csharp/Report.cs"]:
            file = EXAMPLES / name
            with self.subTest(name):
                self.assertLessEqual(len(file.read_text().splitlines()), LINES)

    def test_the_header_is_c99_and_cpp(self):
        for language, standard in [("c", "c99"), ("c++", "c++98")]:
            with self.subTest(language):
                self.need("cc")
                self.build("cc", "-x", language, f"-std={standard}", *STRICT[1:], "-fsyntax-only",
                           f"-I{SOURCE}", "-include", "egress_c/egress.h", "/dev/null")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
