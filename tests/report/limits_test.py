#!/usr/bin/python3
"""egress-report with files that are too large, little memory and a small stack."""

import json
import os
import resource
import subprocess
import unittest

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, IS_SANITIZED, PROGRAM, ProgramTest

KIB, MIB = 1 << 10, 1 << 20
LIMITS = {"--config": 16 * MIB, "--answer": MIB, "--snapshot": 256 * MIB}


def limited(which, size):
    """An argument of run_program that sets a limit of the process, in bytes."""
    return {"preexec_fn": lambda: resource.setrlimit(which, (size, size))}


class FileTest(ProgramTest):
    def run_with(self, option, path, *arguments, **options):
        """Runs the program with a file for one of its options."""
        value = f"proxy={path}" if option == "--answer" else path
        given = () if option == "--snapshot" else ("--snapshot", self.snapshot_file(EMPTY_SNAPSHOT))
        return self.run_program(*given, option, value, *arguments, **options)


class SizeLimitTest(FileTest):
    def sized_file(self, size):
        """A sparse file of a size, in which no JSON begins."""
        path = self.folder / "sized"
        with open(path, "wb") as file:
            file.truncate(size)
        return path

    def assert_too_large(self, result, option, name, size):
        self.assert_cannot_run(result, f"{option}: cannot read {name}: it is larger than {size}; "
                                       "--max-file-size SIZE raises the limit")

    def test_the_default_limits(self):
        for option, limit in LIMITS.items():
            with self.subTest(option):
                path = self.sized_file(limit)
                self.assertNotIn("larger", self.run_with(option, path).error)
                path = self.sized_file(limit + 1)
                self.assert_too_large(self.run_with(option, path), option, f"'{path}'",
                                      f"{limit // MIB} MiB")

    def test_a_given_limit_replaces_all_three(self):
        for option in LIMITS:
            for size, limit, shown in [("300", 300, "300 bytes"), ("3K", 3 * KIB, "3 KiB"),
                                       ("2MiB", 2 * MIB, "2 MiB"), ("2mb", 2 * MIB, "2 MiB")]:
                with self.subTest(option=option, size=size):
                    path = self.sized_file(limit)
                    result = self.run_with(option, path, "--max-file-size", size)
                    self.assertNotIn("larger", result.error)
                    path = self.sized_file(limit + 1)
                    result = self.run_with(option, path, "--max-file-size", size)
                    self.assert_too_large(result, option, f"'{path}'", shown)

    def test_a_given_limit_allows_a_larger_file(self):
        text = json.dumps({"now": "x"}) + " " * MIB
        path = self.file("answer.json", text)
        self.assertEqual(self.run_with("--answer", path).status, 2)
        result = self.run_with("--answer", path, "--max-file-size", "2MiB")
        self.assertEqual(result.status, 1)

    def test_a_file_of_exactly_the_limit_is_read_whole(self):
        path = self.file("snapshot.json", json.dumps(HEALTHY_SNAPSHOT))
        result = self.run_with("--snapshot", path, "--max-file-size", path.stat().st_size)
        self.assertEqual((result.status, result.error), (0, ""))
        result = self.run_with("--snapshot", path, "--max-file-size", path.stat().st_size - 1)
        self.assertEqual(result.status, 2)

    def test_what_never_ends(self):
        for option, limit in LIMITS.items():
            with self.subTest(option):
                self.assert_too_large(self.run_with(option, "/dev/zero"), option, "'/dev/zero'",
                                      f"{limit // MIB} MiB")
                with subprocess.Popen(["yes"], stdout=subprocess.PIPE) as yes:
                    snapshot = ("--snapshot", self.snapshot_file(EMPTY_SNAPSHOT))
                    given = () if option == "--snapshot" else snapshot
                    value = "proxy=-" if option == "--answer" else "-"
                    done = subprocess.run([PROGRAM, *given, option, value], stdin=yes.stdout,
                                          capture_output=True, text=True, check=False)
                    yes.stdout.close()
                self.assertEqual(done.returncode, 2)
                self.assertIn("cannot read standard input: it is larger than", done.stderr)

    def test_no_more_than_one_byte_beyond_the_limit_is_read(self):
        reader, writer = os.pipe()
        with open(reader, "rb") as rest, open(writer, "wb") as given:
            given.write(b"x" * 200)
            given.flush()
            done = subprocess.run([PROGRAM, "--snapshot", "-", "--max-file-size", "99"], stdin=rest,
                                  capture_output=True, check=False)
            given.close()
            self.assertEqual(done.returncode, 2)
            self.assertEqual(len(rest.read()), 100)

    def test_a_fifo(self):
        path = self.folder / "fifo"
        os.mkfifo(path)
        text = json.dumps(HEALTHY_SNAPSHOT)
        for size, status in [(len(text), 0), (len(text) - 1, 2)]:
            with subprocess.Popen(["sh", "-c", f"printf %s \"$0\" >'{path}'", text]):
                result = self.run_program("--snapshot", path, "--max-file-size", size)
            self.assertEqual(result.status, status)

    def test_invalid_sizes(self):
        for size in ("", "0", "0MiB", "-1", "+1", "x", "MiB", "1x", "1.5MiB", "1 1", " 1", "0x10",
                     "20000000000GiB", str(2**64)):
            with self.subTest(size):
                result = self.run_with("--snapshot", self.snapshot_file(EMPTY_SNAPSHOT),
                                       "--max-file-size", size)
                self.assert_cannot_run(result, f"--max-file-size: '{size}' is not a size such as 64MiB")

    def test_the_largest_size(self):
        path = self.snapshot_file(EMPTY_SNAPSHOT)
        self.assertEqual(self.run_with("--snapshot", path, "--max-file-size", 2**64 - 1).status, 1)


@unittest.skipIf(IS_SANITIZED, "a sanitizer needs more memory")
class MemoryTest(FileTest):
    MEMORY = 64 * MIB  # the program itself needs less than 16 MiB

    def test_memory_that_runs_out_while_a_file_is_parsed(self):
        # Every byte of these texts becomes many: an outbound, an adapter.
        texts = {"--config": '{"outbounds": [' + "{}," * (4 * MIB) + "{}]}",
                 "--answer": '{"x": [' + "0," * (8 * MIB) + "0]}",
                 "--snapshot": '{"format": "egress-snapshot", "version": 1, "adapters": {"rows": ['
                               + "{}," * (4 * MIB) + "{}]}}"}
        for option, text in texts.items():
            with self.subTest(option):
                path = self.file("hostile.json", text)
                result = self.run_with(option, path, "--max-file-size", "32MiB",
                                       **limited(resource.RLIMIT_AS, self.MEMORY))
                self.assert_cannot_run(result, f"{option}: cannot read '{path}': not enough memory")

    def test_memory_that_runs_out_while_a_file_is_read(self):
        for option in LIMITS:
            with self.subTest(option):
                result = self.run_with(option, "/dev/zero", "--max-file-size", "1GiB",
                                       **limited(resource.RLIMIT_AS, self.MEMORY))
                self.assert_cannot_run(result,
                                       f"{option}: cannot read '/dev/zero': not enough memory")

    def test_a_file_that_exceeds_the_largest_text(self):
        """A limit beyond what a text can hold does not matter before memory runs out."""
        result = self.run_with("--config", "/dev/zero", "--max-file-size", 2**64 - 1,
                               **limited(resource.RLIMIT_AS, self.MEMORY))
        self.assert_cannot_run(result, "not enough memory")

    def test_little_memory_is_enough_for_small_files(self):
        result = self.run_with("--snapshot", self.snapshot_file(HEALTHY_SNAPSHOT),
                               **limited(resource.RLIMIT_AS, self.MEMORY))
        self.assertEqual((result.status, result.error), (0, ""))


@unittest.skipIf(IS_SANITIZED, "a sanitizer needs more stack")
class StackTest(FileTest):
    def test_a_stack_of_64_kib(self):
        for option in LIMITS:
            for text in ("[" * MIB, '{"a":' * 100000, json.dumps(HEALTHY_SNAPSHOT)):
                result = self.run_with(option, self.file("deep.json", text),
                                       **limited(resource.RLIMIT_STACK, 64 * KIB))
                self.assertIn(result.status, (0, 1, 2), result.error)
        result = self.run_program("--pid", os.getpid(), "--explain", "--anonymize", "--save-snapshot",
                                  self.folder / "saved.json",
                                  **limited(resource.RLIMIT_STACK, 64 * KIB))
        self.assertEqual((result.status, result.error), (1, ""))


if __name__ == "__main__":
    unittest.main(verbosity=2)  # with the reason of each skip
