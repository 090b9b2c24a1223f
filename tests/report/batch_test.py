#!/usr/bin/python3
"""Many snapshots at once: several, a folder and a list of paths."""

import base64
import json
import os
import resource
import unittest

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, IS_SANITIZED, PROGRAM, ProgramTest
from terminal import output_on_terminal

KIB, MIB = 1 << 10, 1 << 20
NOBODY = 65534

SELECTOR_CONFIG = """{"route": {"auto_detect_interface": true}, "outbounds": [ // a comment
    {"tag": "proxy", "type": "selector"}, {"tag": "entry", "type": "selector"},
    {"tag": "a", "type": "trojan", "server": "198.51.100.10", "server_port": 443},
    {"tag": "b", "type": "trojan", "server": "b.example", "server_port": 443}]}"""


def text_of(snapshot, size=0):
    """A snapshot with at least this many bytes of blanks: small ones are diagnosed first."""
    return json.dumps(snapshot) + " " * size


class BatchTest(ProgramTest):
    def run_batch(self, *arguments, output="", **options):
        """Runs the program in the folder of the test. Each line of its output is one JSON object."""
        result = self.run_program(*arguments, output="", cwd=self.folder, **options)
        result.lines = [json.loads(line) for line in result.output.splitlines()]
        return result

    def run_alone(self, path, *arguments, **options):
        return self.run_program("--snapshot", path, *arguments, cwd=self.folder, **options)

    def details_alone(self, path, *arguments, **options):
        """The details of a run with one snapshot, with its file as the third member."""
        details = self.run_alone(path, *arguments, output="--json=details", **options).report
        members = list(details.items())
        return dict([*members[:2], ("file", path), *members[2:]])

    def files_of(self, result):
        return [line["file"] for line in result.lines]

    def make(self, *names, content=text_of(HEALTHY_SNAPSHOT)):
        for name in names:
            (self.folder / name).parent.mkdir(parents=True, exist_ok=True)
            self.file(name, content)

    def assert_diagnosed(self, result, *names):
        """All of these were diagnosed, and nothing else was found."""
        self.assertEqual((result.status, result.error), (0, ""))
        self.assertEqual(self.files_of(result), list(names))


class OrderTest(BatchTest):
    def test_the_lines_have_the_order_of_the_files(self):
        names = [f"{number:03}.json" for number in range(400)]
        for number, name in enumerate(names):
            self.file(name, text_of(HEALTHY_SNAPSHOT | {"listeningAt": name},
                                    size=MIB if number % 40 == 0 else 0))
        for arguments, order in [(["--snapshot", "."], [f"./{name}" for name in names]),
                                 (["--snapshots-from", "-"], names[::-1])]:
            result = self.run_batch(*arguments, text="\n".join(names[::-1]))
            self.assert_diagnosed(result, *order)
            self.assertEqual([line["input"]["listeningAt"] for line in result.lines],
                             [os.path.basename(name) for name in order])

    def test_each_line_is_what_a_single_run_says(self):
        socket, = HEALTHY_SNAPSHOT["sockets"]["rows"]
        lost = socket | {"localAddress": "192.0.2.9"}
        snapshots = {"a.json": HEALTHY_SNAPSHOT, "b.json": EMPTY_SNAPSHOT,
                     "c.json": HEALTHY_SNAPSHOT | {"sockets": {"rows": [lost]}},
                     "d.json": HEALTHY_SNAPSHOT | {"sockets": {"enumFailed": True}},
                     "e.json": HEALTHY_SNAPSHOT | {"selectorHint": "e", "listeningAt": "/run/e"},
                     "f.json": HEALTHY_SNAPSHOT | {"sockets": {"rows": [socket | {"protocol": "UDP"}]}}}
        for name, snapshot in snapshots.items():
            self.file(name, text_of(snapshot))
        given = [word for name in snapshots for word in ("--snapshot", name)]
        for arguments in (given, ["--udp", *given]):
            result = self.run_batch(*arguments)
            self.assert_diagnosed(result, *snapshots)
            udp = arguments[:1] if arguments is not given else []
            wanted = [self.details_alone(name, *udp) for name in snapshots]
            self.assertEqual(result.lines, wanted)
            self.assertEqual([list(line) for line in result.lines], [list(line) for line in wanted])
            # With --udp, the UDP socket is as good as the TCP socket of the first.
            reports = {json.dumps(line["report"]) for line in result.lines}
            self.assertEqual(len(reports), len(snapshots) - len(udp))

    def test_reports(self):
        self.file("a.json", text_of(HEALTHY_SNAPSHOT))
        self.file("b.json", text_of(EMPTY_SNAPSHOT))
        result = self.run_batch("--snapshot", "b.json", "--snapshot", "a.json", "--json")
        self.assertEqual((result.status, result.error), (0, ""))
        self.assertEqual(result.lines, [self.run_alone(name).report for name in ("b.json", "a.json")])

    def test_details_are_the_default(self):
        self.make("a.json", "b.json")
        self.assertEqual(self.run_batch("--snapshot", ".").output,
                         self.run_batch("--snapshot", ".", "--json=details").output)

    def test_duplicates_are_diagnosed_as_often_as_they_are_named(self):
        self.make("a.json", "d/b.json")
        self.assert_diagnosed(self.run_batch("--snapshot", "a.json", "--snapshot", "d",
                                             "--snapshot", "a.json"), "a.json", "d/b.json", "a.json")

    def test_standard_input_is_one_of_them(self):
        self.make("a.json")
        result = self.run_batch("--snapshot", "a.json", "--snapshot", "-", text=text_of(EMPTY_SNAPSHOT))
        self.assert_diagnosed(result, "a.json", "-")
        self.assertEqual(result.lines[1]["report"]["configStatus"], "NO_CONFIG")


class FolderTest(BatchTest):
    def test_the_files_are_sorted_by_the_bytes_of_their_paths(self):
        names = ["f/B.json", "f/a.json", "f/a/b.json", "f/a/c/d.json", "f/a0.json", "f/.h.json",
                 "f/\u00e9.json", "f/.json"]
        self.make(*names, content=text_of(EMPTY_SNAPSHOT))
        self.assert_diagnosed(self.run_batch("--snapshot", "f"), *sorted(names, key=str.encode))

    def test_only_names_that_end_in_json(self):
        self.make("f/a.json")
        self.make("f/a.JSON", "f/a.json.gz", "f/json", "f/.egress-report-1", "f/b.json~", content="{")
        self.assert_diagnosed(self.run_batch("--snapshot", "f"), "f/a.json")

    def test_a_folder_whose_name_ends_in_json_is_a_folder(self):
        self.make("f.json/g.json/a.json")
        self.assert_diagnosed(self.run_batch("--snapshot", "f.json"), "f.json/g.json/a.json")

    def test_links_to_folders_are_not_followed_unless_they_are_named(self):
        self.make("real/a.json", "f/b.json")
        (self.folder / "f/link").symlink_to(self.folder / "real")
        (self.folder / "f/link.json").symlink_to(self.folder / "real")
        (self.folder / "f/loop").symlink_to(self.folder / "f")
        (self.folder / "named").symlink_to(self.folder / "real")
        self.assert_diagnosed(self.run_batch("--snapshot", "f", "--snapshot", "named"),
                              "f/b.json", "named/a.json")

    def test_links_to_files_are_followed(self):
        self.make("real.json")
        (self.folder / "f").mkdir()
        (self.folder / "f/link.json").symlink_to("../real.json")
        self.assert_diagnosed(self.run_batch("--snapshot", "f"), "f/link.json")

    def test_what_cannot_be_read_does_not_stop_the_others(self):
        self.make("f/a.json", "f/z.json")
        (self.folder / "f/broken.json").symlink_to("nowhere")
        os.mkfifo(self.folder / "f/fifo.json")
        result = self.run_batch("--snapshot", "f")
        self.assertEqual(self.files_of(result), ["f/a.json", "f/z.json"])
        self.assertEqual(result.error,
                         "egress-report: --snapshot: cannot read 'f/broken.json': "
                         "No such file or directory\n"
                         "egress-report: --snapshot: cannot read 'f/fifo.json': not a regular file\n")
        self.assertEqual(result.status, 2)

    def test_a_folder_that_cannot_be_listed(self):
        self.make("f/a.json", "f/closed/b.json")
        (self.folder / "f/closed").chmod(0)
        self.addCleanup((self.folder / "f/closed").chmod, 0o700)
        result = self.run_batch("--snapshot", "f")
        self.assertEqual(self.files_of(result), ["f/a.json"])
        self.assertEqual(result.error, "egress-report: --snapshot: cannot list 'f/closed': "
                         "Permission denied\n")
        self.assertEqual(result.status, 2)

    def test_a_folder_without_snapshots(self):
        (self.folder / "f").mkdir()
        result = self.run_batch("--snapshot", "f")
        self.assertEqual((result.status, result.lines), (0, []))
        self.assertEqual(result.error, "egress-report: there is no snapshot to diagnose\n")

    def test_many_folders_below_each_other(self):
        path = self.folder
        for _ in range(300):
            path = path / "d"
            path.mkdir()
        (path / "a.json").write_text(text_of(EMPTY_SNAPSHOT))
        self.assert_diagnosed(self.run_batch("--snapshot", "d"), "d/" * 300 + "a.json")


class ListTest(BatchTest):
    def test_lines(self):
        self.make("a.json", " b", "c\r")
        names = self.file("names", "a.json\n\n b\nc\r\n\na.json")
        self.assert_diagnosed(self.run_batch("--snapshots-from", names), "a.json", " b", "c\r", "a.json")

    def test_a_file_named_like_standard_input(self):
        self.make("-")
        self.assert_diagnosed(self.run_batch("--snapshots-from", "-", text="-\n"), "./-")

    def test_an_empty_list(self):
        for text in ("", "\n\n"):
            result = self.run_batch("--snapshots-from", "-", text=text)
            self.assertEqual((result.status, result.output), (0, ""))
            self.assertEqual(result.error, "egress-report: there is no snapshot to diagnose\n")

    def test_what_is_no_regular_file(self):
        """Without waiting for somebody who writes to the FIFO."""
        self.make("a.json", "f/b.json")
        os.mkfifo(self.folder / "fifo")
        result = self.run_batch("--snapshots-from", "-", text="fifo\na.json\nf\n/dev/zero\na.json\n")
        self.assertEqual(self.files_of(result), ["a.json", "a.json"])
        self.assertEqual(result.error, "".join(
            f"egress-report: --snapshot: cannot read '{name}': not a regular file\n"
            for name in ("fifo", "f", "/dev/zero")))
        self.assertEqual(result.status, 2)

    def test_names_that_are_not_utf_8(self):
        names = [b"caf\xe9.json", "caf\u00e9.json".encode(), b"\xff\n.json"]
        for name in names:
            with open(os.path.join(os.fsencode(self.folder), name), "w", encoding="ascii") as file:
                file.write(text_of(EMPTY_SNAPSHOT))
        result = self.run_batch("--snapshots-from", "-", text=os.fsdecode(b"\n".join(names[:2])))
        self.assert_diagnosed(result, {"base64": base64.b64encode(names[0]).decode()}, "caf\u00e9.json")
        result = self.run_batch("--snapshot", ".")
        self.assertIn({"base64": base64.b64encode(b"./" + names[2]).decode()}, self.files_of(result))
        self.assertEqual(len(result.lines), 3)

    def test_a_name_in_a_message_is_readable(self):
        result = self.run_batch("--snapshots-from", "-", text="\x1b[2J\n")
        self.assertEqual(result.error, "egress-report: --snapshot: cannot read '%1B[2J': "
                         "No such file or directory\n")

    def test_nul_bytes(self):
        self.make("a.json")
        self.assert_cannot_run(self.run_batch("--snapshots-from", "-", text="a.json\0"),
                               "--snapshots-from: the list has a NUL byte; write one path a line")

    def test_a_list_that_cannot_be_read(self):
        self.assert_cannot_run(self.run_batch("--snapshots-from", "none"),
                               "--snapshots-from: cannot read 'none': No such file")
        self.assert_cannot_run(
            self.run_batch("--snapshots-from", "-", "--max-file-size", 9, text="a" * 10),
            "--snapshots-from: cannot read standard input: it is larger than 9 bytes")


class FailureTest(BatchTest):
    def test_a_bad_file_is_one_line_with_the_reason_of_a_single_run(self):
        bad = {"b": "", "d": "{", "f": '{"format": "x"}', "h": text_of(EMPTY_SNAPSHOT | {"version": 9}),
               "j": text_of(EMPTY_SNAPSHOT, 3000), "l": None}
        good = ["a", "c", "e", "g", "i", "k", "m"]
        self.make(*good, content=text_of(HEALTHY_SNAPSHOT))
        for name, content in bad.items():
            if content is not None:
                self.file(name, content)
        limit = ("--max-file-size", 2999)
        result = self.run_batch("--snapshots-from", "-", *limit, text="\n".join(sorted([*good, *bad])))
        self.assertEqual(self.files_of(result), good)
        self.assertEqual(result.error, "".join(self.run_alone(name, *limit).error for name in bad))
        self.assertEqual((result.status, result.error.count("\n")), (2, len(bad)))

    def test_only_bad_files(self):
        self.make("a", "b", content="[]")
        result = self.run_batch("--snapshot", "a", "--snapshot", "b")
        self.assertEqual((result.status, result.lines, result.error.count("\n")), (2, [], 2))

    def assert_too_large_for_memory(self):
        """The file b.json is too large for the memory of the program, and those beside it are not."""
        self.make("a.json", "c.json")
        result = self.run_batch("--snapshot", ".", "--max-file-size", "1GiB", preexec_fn=lambda:
                                resource.setrlimit(resource.RLIMIT_AS, (256 * MIB, 256 * MIB)))
        self.assertEqual(self.files_of(result), ["./a.json", "./c.json"])
        self.assertEqual((result.status, result.error),
                         (2, "egress-report: --snapshot: cannot read './b.json': not enough memory\n"))

    @unittest.skipIf(IS_SANITIZED, "a sanitizer needs more memory")
    def test_memory_that_runs_out_while_a_file_is_parsed(self):
        self.file("b.json", '{"format": "egress-snapshot", "version": 1, "adapters": {"rows": ['
                            + "{}," * (4 * MIB) + "{}]}}")
        self.assert_too_large_for_memory()

    @unittest.skipIf(IS_SANITIZED, "a sanitizer needs more memory")
    def test_memory_that_runs_out_while_a_file_is_read(self):
        with open(self.folder / "b.json", "wb") as file:
            file.truncate(512 * MIB)
        self.assert_too_large_for_memory()

    @unittest.skipIf(IS_SANITIZED, "a sanitizer needs more stack")
    def test_a_stack_of_64_kib(self):
        texts = ["[" * MIB, '{"a":' * 100000, text_of(HEALTHY_SNAPSHOT)]
        for number, text in enumerate(texts):
            self.file(f"{number}.json", text)
        result = self.run_batch("--snapshot", ".", preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_STACK, (64 * KIB, 64 * KIB)))
        self.assertEqual((result.status, self.files_of(result)), (2, ["./2.json"]))

    def test_standard_output_that_is_full_or_closed(self):
        """The rest is not diagnosed: its errors do not appear."""
        self.make(*(f"{number}.json" for number in range(200)))
        self.make("z.json", content="")
        for redirection, reason in [(">/dev/full", "No space left"), (">&-", "Bad file descriptor")]:
            result = self.run_program("-c", f"'{PROGRAM}' --snapshot . {redirection}", program="sh",
                                      output="", cwd=self.folder)
            self.assert_cannot_run(result, "cannot write to standard output", reason)

    def test_a_reader_that_ends(self):
        """SIGPIPE ends the program, as it does others."""
        self.make(*(f"{number}.json" for number in range(500)))
        result = self.run_program("-c", f"'{PROGRAM}' --snapshot . | head -n 1", program="sh", output="",
                                  cwd=self.folder)
        self.assertEqual((result.error, result.output.count("\n")), ("", 1))

    def as_nobody(self):
        return ("setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups")

    @unittest.skipIf(os.getuid() != 0, "needs root")
    @unittest.skipIf(IS_SANITIZED, "a sanitizer starts a thread of its own")
    def test_a_user_who_may_start_no_thread(self):
        self.folder.chmod(0o755)
        self.make("a.json", "b.json")
        before = ("prlimit", "--nproc=0:0", *self.as_nobody())
        self.assert_diagnosed(self.run_batch("--snapshot", ".", before=before), "./a.json", "./b.json")


class RightsTest(BatchTest):
    @unittest.skipIf(os.getuid() != 0, "needs root")
    def test_snapshots_are_read_without_rights_and_the_other_files_with_them(self):
        self.make("a.json", "b.json")
        private = {"b.json": None, "names": "a.json\nb.json\n", "config.json": "{}"}
        for name, content in private.items():
            path = self.folder / name if content is None else self.file(name, content)
            os.chown(path, NOBODY, NOBODY)
            path.chmod(0o600)
        result = self.run_batch("--snapshots-from", "names", "--config", "config.json")
        self.assertEqual(self.files_of(result), ["a.json"])
        self.assertEqual(result.error, "egress-report: --snapshot: cannot read 'b.json': "
                         "Permission denied\n")


class OptionTest(BatchTest):
    def assert_applied(self, *arguments, **options):
        """Each line is that of a single run with these options, and another one than without."""
        self.file("a.json", text_of(HEALTHY_SNAPSHOT))
        self.file("b.json", text_of(EMPTY_SNAPSHOT | {"mainTag": "x", "selectorHint": "y"}))
        names = ["a.json", "b.json"]
        result = self.run_batch("--snapshots-from", "names", *arguments, **options)
        self.assert_diagnosed(result, *names)
        self.assertEqual(result.lines, [self.details_alone(name, *arguments, **options)
                                        for name in names])
        return result.lines

    def setUp(self):
        super().setUp()
        self.file("names", "a.json\nb.json\n")
        self.config = self.file("config", SELECTOR_CONFIG)
        self.answer = self.file("answer", '{"now": "a"}')
        self.plain = self.assert_applied()

    def test_a_configuration(self):
        for lines in (self.assert_applied("--config", self.config),
                      self.assert_applied("--config", "-", text=SELECTOR_CONFIG)):
            self.assertEqual([line["input"]["blanked"]["comments"] for line in lines], [1, 1])
        lines = self.assert_applied("--config", self.config, "--strict")
        self.assertEqual([line["report"]["configStatus"] for line in lines], ["JSON_PARSE_FAILED"] * 2)

    def test_a_main_tag(self):
        lines = self.assert_applied("--config", self.config, "--main", "entry")
        self.assertEqual([line["input"]["mainTag"] for line in lines], ["entry"] * 2)

    def test_answers(self):
        several = self.file("answers", '{"entry": {"now": "a"}}')
        for arguments in (["--main", "proxy", "--answer", f"proxy={self.answer}"],
                          ["--main", "entry", "--answers", several]):
            lines = self.assert_applied("--config", self.config, *arguments)
            self.assertEqual([line["endpoint"]["status"] for line in lines], ["OK"] * 2)
        lines = self.assert_applied("--config", self.config, "--main", "entry",
                                    "--answer-failed", "entry")
        self.assertEqual([line["endpoint"]["status"] for line in lines],
                         ["SELECTOR_TRANSPORT_FAILED"] * 2)

    def test_a_hint(self):
        lines = self.assert_applied("--config", self.config, "--main", "entry", "--answer",
                                    f"entry={self.answer}", "--hint", "b")
        self.assertEqual([line["report"]["selectorHintStale"] for line in lines], [True] * 2)

    def test_an_address_of_a_name(self):
        answer = self.file("b", '{"now": "b"}')
        lines = self.assert_applied("--config", self.config, "--main", "proxy", "--answer",
                                    f"proxy={answer}", "--resolve", "b.example=198.51.100.10")
        self.assertEqual([line["endpoint"]["name"] for line in lines], ["b.example"] * 2)

    def test_nothing_is_warned_about_that_only_some_snapshots_have(self):
        result = self.run_batch("--snapshots-from", "names", "--hint", "none", "--answer-failed", "none",
                                "--resolve", "none=192.0.2.1")
        self.assert_diagnosed(result, "a.json", "b.json")
        self.assertEqual(self.run_alone("a.json", "--hint", "none").error.count("\n"), 1)

    def test_the_sum_of_the_diagnoses_is_no_error(self):
        """A single run of each has another status."""
        failed = HEALTHY_SNAPSHOT | {"sockets": {"enumFailed": True}}
        for name, snapshot in [("0", HEALTHY_SNAPSHOT), ("1", EMPTY_SNAPSHOT), ("3", failed)]:
            self.file(name, text_of(snapshot))
            self.assertEqual(self.run_alone(name).status, int(name))
        self.assert_diagnosed(self.run_batch("--snapshots-from", "-", text="0\n1\n3\n"), "0", "1", "3")

    def test_options_for_one_snapshot(self):
        self.make("f/a.json")
        many = [["--snapshots-from", "names"], ["--snapshot", "a.json", "--snapshot", "b.json"],
                ["--snapshot", "f"]]
        for arguments, message in [
                (["--explain"], "--explain: explains one snapshot; many are printed as JSON"),
                (["--save-snapshot", "s"], "--save-snapshot: saves only one snapshot"),
                (["--save-snapshot", "-"], "--save-snapshot: saves only one snapshot"),
                (["--resolve", "system"], "--resolve: 'system' is for one snapshot; give NAME=ADDRESS")]:
            for given in many:
                self.assert_cannot_run(self.run_batch(*given, *arguments), message)
        self.assertFalse((self.folder / "s").exists())

    def test_options_for_this_machine(self):
        for arguments in (["--pid", 1], ["--process", "x"], ["--ask", "http://127.0.0.1/{tag}"],
                          ["--observe", 1], ["--prometheus", "x"], ["--snapshot", "x"]):
            result = self.run_batch("--snapshots-from", "names", *arguments)
            self.assert_cannot_run(result, "--snapshots-from", arguments[0], "excludes")

    def test_standard_input_has_one_content(self):
        for arguments in (["--snapshots-from", "-", "--config", "-"],
                          ["--snapshot", "-", "--snapshot", "-"],
                          ["--snapshot", "-", "--snapshot", "a.json", "--answers", "-"]):
            self.assert_cannot_run(self.run_batch(*arguments), "only one of them can read '-'")

    def test_one_file_is_a_single_run(self):
        result = self.run_alone("a.json", output="")
        self.assertEqual(result.output.partition(":")[0], "interface 1")
        self.assertEqual(self.run_alone("a.json", output="--json=details").report.get("file"), None)


class ProgressTest(BatchTest):
    def setUp(self):
        super().setUp()
        self.make("a.json", "c.json")
        self.file("b.json", "{}")

    def terminal_output(self, *streams):
        return output_on_terminal([PROGRAM, "--snapshot", "."], streams, cwd=self.folder)[0]

    def test_on_a_terminal(self):
        blank = "\r" + " " * len("1 of 3") + "\r"
        error = "egress-report: --snapshot: ./b.json: /format: missing: this is not a saved snapshot\n"
        self.assertEqual(self.terminal_output("stderr"),
                         f"\r1 of 3{blank}{error}\r2 of 3\r3 of 3{blank}")

    def test_not_among_the_results(self):
        output = self.terminal_output("stderr", "stdout")
        self.assertNotIn(" of 3", output)
        self.assertEqual(output.count("egress-details"), 2)

    def test_not_elsewhere(self):
        self.assertEqual(self.terminal_output("stdin"), "")
        self.assertNotIn(" of 3", self.run_batch("--snapshot", ".").error)


if __name__ == "__main__":
    unittest.main(verbosity=2)  # with the reason of each skip
