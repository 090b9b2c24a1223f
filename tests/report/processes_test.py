#!/usr/bin/python3
"""How egress-report names the processes that it found, and chooses them by their user. fake_host.cpp has
the processes."""

import os
import pwd
import unittest

from report_program import ProgramTest

FAKE_HOST = os.environ["EGRESS_FAKE_HOST"]


class ProcessesTest(ProgramTest):
    def run_on_host(self, *arguments):
        return self.run_program(*arguments, program=FAKE_HOST, output="")

    def assert_user(self, user, *arguments):
        result = self.run_on_host("--process", "engine", *arguments)
        self.assertEqual([found for _, found, _ in result.processes], [user] * 3)
        self.assertEqual((result.status, result.error), (1, ""))

    def test_a_line_for_each_process(self):
        result = self.run_on_host("--process", "engine")
        self.assertEqual(result.process_lines, [
            "egress-report: process 1234, user 1000, /usr/bin/engine",
            "egress-report: process 1240, user 1000, /tmp/%1B%0A%3B process 1, user 0, x",
            "egress-report: process 1250, user 1000"])
        self.assertEqual(result.processes[0], (1234, 1000, "/usr/bin/engine"))
        self.assertEqual(result.error, "")

    def test_no_line_for_a_process_that_was_chosen_by_its_id(self):
        self.assertEqual(self.run_on_host("--pid", 1234).process_lines, [])

    def test_no_line_for_a_saved_snapshot(self):
        path = self.folder / "saved.json"
        self.run_on_host("--process", "engine", "--save-snapshot", path)
        result = self.run_on_host("--snapshot", path)
        self.assertEqual((result.process_lines, result.error), ([], ""))

    def test_an_error_is_still_one_line(self):
        result = self.run_on_host("--process", "engine", "--config", self.folder / "missing")
        self.assert_cannot_run(result, "No such file")
        self.assertEqual(result.process_lines, [])

    def test_processes_of_different_users_are_an_error(self):
        result = self.run_on_host("--process", "shared-2")
        self.assert_cannot_run(result)
        self.assertEqual(result.error, "egress-report: --process: several users run 'shared-2'; "
                         "choose with --user or --pid: process 1, user 1001, /tmp/%3B; "
                         "process 2, user 1002, /usr/bin/engine\n")

    def test_the_error_lists_no_more_than_ten_processes(self):
        for count, end in [(10, "process 10, user 1010, /usr/bin/engine\n"),
                           (11, "process 10, user 1010, /usr/bin/engine; and 1 more\n"),
                           (100000, "process 10, user 1010, /usr/bin/engine; and 99990 more\n")]:
            with self.subTest(count):
                result = self.run_on_host("--process", f"shared-{count}")
                self.assert_cannot_run(result)
                self.assertTrue(result.error.endswith(end), result.error)
                self.assertEqual(result.error.count(": process") + result.error.count("; process"), 10)

    def test_a_user_is_a_number_or_a_name(self):
        for number in (0, 1001, 2**32 - 2):
            self.assert_user(number, "--user", number)
        for entry in pwd.getpwall()[:3]:
            self.assert_user(entry.pw_uid, "--user", entry.pw_name)

    def test_unknown_users(self):
        for user in ("no-such-user", "", "-1", "+1", "1x", " 1", "0x1", str(2**32 - 1), str(2**32),
                     "root\x1b"):
            with self.subTest(user):
                self.assert_cannot_run(self.run_on_host("--process", "engine", f"--user={user}"),
                                       "--user: no user '" + user.replace("\x1b", "%1B") + "'")

    def test_a_user_without_a_name_of_processes(self):
        for arguments in (["--pid", 1], ["--snapshot", "-"]):
            self.assert_cannot_run(self.run_on_host(*arguments, "--user", "0"), "--user", "--process")


if __name__ == "__main__":
    unittest.main()
