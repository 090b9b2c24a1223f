#!/usr/bin/python3
"""Builds and runs the examples of other languages with the C library: each prints the same bytes as the
library in C++, or refuses the snapshot for the same reason.

Usage: languages_test.py LIBRARY PRINT_SNAPSHOTS SCRATCH [UNITTEST_ARGUMENT...]

LIBRARY is the path of libegress-c.so, PRINT_SNAPSHOTS that of egress_print_snapshots."""

import base64
import json
import os
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
LIBRARY, PRINT_SNAPSHOTS, SCRATCH = (Path(path).resolve() for path in sys.argv[1:4])
COUNT, SEED = 30, 16  # of generated snapshots


def run(*command, given=b"", **environment):
    return subprocess.run([str(word) for word in command], input=given, capture_output=True,
                          check=False, cwd=SCRATCH, env=os.environ | {
                              "LD_LIBRARY_PATH": str(LIBRARY.parent), "LC_ALL": "C.UTF-8"} | environment)


class LanguagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        SCRATCH.mkdir(parents=True, exist_ok=True)
        lines = run(PRINT_SNAPSHOTS, COUNT, SEED).stdout.splitlines()
        cls.snapshots = [{key: base64.b64decode(text) for key, text in json.loads(line).items()}
                         for line in lines]
        refused = sum("refusal" in snapshot for snapshot in cls.snapshots)
        assert len(lines) == COUNT and 0 < refused < COUNT, (len(lines), refused)

    def need(self, *commands):
        for command in commands:
            if shutil.which(command) is None:
                self.skipTest(f"{command} is not installed; scripts/bootstrap ci installs it")

    def build(self, *command, **environment):
        result = run(*command, **environment)
        self.assertEqual((result.returncode, result.stderr), (0, b""), result)

    def expect_works(self, *command):
        for number, snapshot in enumerate(self.snapshots):
            with self.subTest(number=number):
                result = run(*command, given=snapshot["snapshot"])
                expected = ((1, b"", snapshot["refusal"] + b"\n") if "refusal" in snapshot
                            else (0, snapshot["report"] + b"\n", b""))
                self.assertEqual((result.returncode, result.stdout, result.stderr), expected)

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

    def test_the_headers_are_c99_and_cpp(self):
        self.need("cc")
        for header in ["egress_c/egress.h", "egress_c_live/egress_live.h"]:
            for language, standard in [("c", "c99"), ("c++", "c++98")]:
                with self.subTest(header, language=language):
                    self.build("cc", "-x", language, f"-std={standard}", *STRICT[1:], "-fsyntax-only",
                               f"-I{SOURCE}", "-include", header, "/dev/null")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
