#!/usr/bin/python3
"""The options of egress-report, its exit statuses, and what it says when it cannot run."""

import os
import subprocess
import unittest
from pathlib import Path

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, PROGRAM, ProgramTest

SELECTOR = '{"route": {"auto_detect_interface": true}, "outbounds": [' \
           '{"tag": "proxy", "type": "selector"}, {"tag": "a", "type": "direct"},' \
           '{"tag": "b", "type": "trojan", "server": "198.51.100.10", "server_port": 443}]}'


class ExitStatusTest(ProgramTest):
    def test_0_when_the_interface_is_determined(self):
        result = self.diagnose_snapshot(HEALTHY_SNAPSHOT)
        self.assertEqual(result.report["selectionStatus"], "OK")
        self.assertEqual(result.report["selectedInterfaceOrdinal"], 1)
        self.assertEqual((result.status, result.error), (0, ""))

    def test_0_when_the_policy_makes_it_not_applicable(self):
        result = self.diagnose_snapshot(EMPTY_SNAPSHOT + "config status=OK\n")
        self.assertEqual(result.report["selectionStatus"], "NOT_APPLICABLE_OS_ROUTED")
        self.assertEqual(result.status, 0)

    def test_1_when_it_is_not_determined(self):
        result = self.diagnose_snapshot(EMPTY_SNAPSHOT)
        self.assertEqual(result.report["selectionStatus"], "NOT_EVALUATED_ENDPOINT_UNAVAILABLE")
        self.assertEqual((result.status, result.error), (1, ""))

    def test_explaining_has_the_same_statuses(self):
        self.assertEqual(self.diagnose_snapshot(HEALTHY_SNAPSHOT, "--explain").status, 0)
        self.assertEqual(self.diagnose_snapshot(EMPTY_SNAPSHOT, "--explain").status, 1)


class HelpTest(ProgramTest):
    def test_help_names_every_option_and_exit_status(self):
        result = self.run_program("--help")
        for option in ("--config FILE", "--answer TAG=FILE", "--answer-failed TAG", "--hint TAG",
                       "--pid N", "--process NAME", "--snapshot FILE", "--save-snapshot FILE",
                       "--anonymize", "--explain", "--help", "--version",
                       "Exit status:\n  0  ", "\n  1  ", "\n  2  "):
            self.assertIn(option, result.output)
        self.assertEqual((result.status, result.error), (0, ""))

    def test_version_is_the_projects(self):
        result = self.run_program("--version")
        self.assertEqual(result.output, f"egress-report {os.environ['EGRESS_VERSION']}\n")
        self.assertEqual(result.status, 0)


class ConfigTest(ProgramTest):
    def test_without_a_configuration_there_is_none(self):
        result = self.diagnose_snapshot(EMPTY_SNAPSHOT)
        self.assertEqual(result.report["configStatus"], "NO_CONFIG")

    def test_a_file(self):
        path = self.file("config.json", '{"route": {"auto_detect_interface": false}}')
        result = self.diagnose_snapshot(EMPTY_SNAPSHOT, "--config", path)
        self.assertEqual(result.report["egressSelectionPolicy"], "os_routed")

    def test_standard_input(self):
        result = self.diagnose_snapshot(EMPTY_SNAPSHOT, "--config", "-", text="{")
        self.assertEqual(result.report["configStatus"], "JSON_PARSE_FAILED")

    def test_replaces_that_of_the_snapshot(self):
        result = self.diagnose_snapshot(HEALTHY_SNAPSHOT, "--config", "-",
                                        text='{"route": {"auto_detect_interface": true}}')
        self.assertEqual(result.report["activeEndpointStatus"], "OUTBOUND_NOT_FOUND")


class AnswerTest(ProgramTest):
    def endpoint_status(self, *arguments):
        result = self.diagnose_snapshot(EMPTY_SNAPSHOT, "--config", "-", *arguments, text=SELECTOR)
        return result.report["activeEndpointStatus"]

    def answer(self, tag, text):
        return "--answer", f"{tag}={self.file('answer.json', text)}"

    def test_without_one_the_selector_has_failed_to_answer(self):
        self.assertEqual(self.endpoint_status(), "SELECTOR_TRANSPORT_FAILED")

    def test_a_choice(self):
        self.assertEqual(self.endpoint_status(*self.answer("proxy", '{"now": "b"}')), "OK")
        self.assertEqual(self.endpoint_status(*self.answer("proxy", '{"now": "a"}')),
                         "LEAF_HAS_NO_REMOTE_ENDPOINT")

    def test_of_several_selectors(self):
        first = self.file("first.json", '{"now": "b"}')
        self.assertEqual(self.endpoint_status("--answer", f"other={first}",
                                              *self.answer("proxy", "{}")),
                         "SELECTOR_NOW_MISSING")

    def test_an_answer_that_belongs_to_no_outbound_is_named(self):
        for arguments in (self.answer("prxy", "{}"), ("--answer-failed", "prxy")):
            result = self.diagnose_snapshot(EMPTY_SNAPSHOT, "--config", "-", *arguments,
                                            text=SELECTOR)
            self.assertEqual(result.error,
                             "egress-report: --answer: the configuration has no outbound 'prxy'\n")
            self.assertEqual(result.report["activeEndpointStatus"], "SELECTOR_TRANSPORT_FAILED")

    def test_a_failed_one(self):
        self.assertEqual(self.endpoint_status("--answer-failed", "proxy"),
                         "SELECTOR_TRANSPORT_FAILED")

    def test_replaces_that_of_the_snapshot(self):
        snapshot = EMPTY_SNAPSHOT + "answer selectorTag=proxy status=Ok now=a\n"
        result = self.diagnose_snapshot(snapshot, "--config", "-",
                                        *self.answer("proxy", '{"now": "b"}'), text=SELECTOR)
        self.assertEqual(result.report["activeEndpointStatus"], "OK")

    def test_tags_of_any_kind(self):
        config = '{"route": {"auto_detect_interface": true}, "outbounds": [' \
                 '{"tag": "proxy", "detour": "%s"}, {"tag": "%s", "type": "selector"}]}'
        answer = self.file("answer.json", "{}")
        for tag in ("[HK]", "[a,b]", "a=b", "=", "a b", "-x", "\u00e9"):
            with self.subTest(tag):
                result = self.diagnose_snapshot(EMPTY_SNAPSHOT, "--config", "-", "--answer",
                                                f"{tag}={answer}", text=config % (tag, tag))
                self.assertEqual(result.report["activeEndpointStatus"], "SELECTOR_NOW_MISSING")

    def test_a_failed_one_replaces_that_of_the_snapshot(self):
        snapshot = EMPTY_SNAPSHOT + "answer selectorTag=proxy status=Ok now=b\n"
        result = self.diagnose_snapshot(snapshot, "--config", "-", "--answer-failed", "proxy",
                                        text=SELECTOR)
        self.assertEqual(result.report["activeEndpointStatus"], "SELECTOR_TRANSPORT_FAILED")


class HintTest(ProgramTest):
    def stale(self, *arguments):
        return self.diagnose_snapshot(HEALTHY_SNAPSHOT, *arguments).report["selectorHintStale"]

    def test_one_on_the_way_holds(self):
        self.assertFalse(self.stale("--hint", "proxy"))

    def test_another_one_is_stale(self):
        self.assertTrue(self.stale("--hint", "other"))

    def test_an_empty_one_replaces_that_of_the_snapshot(self):
        snapshot = HEALTHY_SNAPSHOT + "hint tag=other\n"
        self.assertTrue(self.diagnose_snapshot(snapshot).report["selectorHintStale"])
        result = self.diagnose_snapshot(snapshot, "--hint", "")
        self.assertFalse(result.report["selectorHintStale"])


class CannotRunTest(ProgramTest):
    def refuse(self, *arguments, parts, **options):
        self.assert_cannot_run(self.run_program(*arguments, **options), *parts)

    def test_nobodys_sockets(self):
        self.refuse(parts=["--pid, --process or --snapshot"])

    def test_an_unknown_option(self):
        self.refuse("--proces", "x", parts=["--proces", "see egress-report --help"])

    def test_a_word_too_many(self):
        self.refuse("--pid", os.getpid(), "config.json", parts=["config.json"])

    def test_an_option_without_its_value(self):
        self.refuse("--pid", parts=["--pid"])

    def test_a_process_number_that_is_none(self):
        for number in ("x", "0", "-1", "1x", "0x1", " 1", "", "99999999999"):
            self.refuse(f"--pid={number}", parts=["--pid"])

    def test_no_such_process(self):
        self.refuse("--pid", 2**22 + 1, parts=["--pid", 2**22 + 1])
        self.refuse("--process", "nobody-is-named-so", parts=["nobody-is-named-so"])
        self.refuse("--process", "", parts=["--process"])

    def test_a_process_that_has_ended(self):
        with subprocess.Popen(["sh", "-c", "echo zombie >/proc/$$/comm"]) as ended:
            os.waitid(os.P_PID, ended.pid, os.WEXITED | os.WNOWAIT)  # it stays in the list of processes
            self.assertTrue(Path(f"/proc/{ended.pid}").exists())
            self.refuse("--pid", ended.pid, parts=["--pid", f"there is no process {ended.pid}"])
            self.refuse("--process", "zombie", parts=["--process", "'zombie'"])

    def test_options_that_exclude_each_other(self):
        self.refuse("--pid", 1, "--process", "x", parts=["--pid", "--process"])
        self.refuse("--pid", 1, "--snapshot", "x", parts=["--pid", "--snapshot"])
        self.refuse("--process", "x", "--snapshot", "x", parts=["--process", "--snapshot"])

    def test_anonymizing_what_is_not_saved(self):
        self.refuse("--pid", 1, "--anonymize", parts=["--anonymize", "--save-snapshot"])

    def test_files_that_are_not_there(self):
        missing = self.folder / "missing"
        snapshot = self.file("empty.snapshot", EMPTY_SNAPSHOT + "end\n")
        self.refuse("--snapshot", missing, parts=["--snapshot", missing, "No such file"])
        self.refuse("--snapshot", snapshot, "--config", missing,
                    parts=["--config", missing, "No such file"])
        self.refuse("--snapshot", snapshot, "--answer", f"proxy={missing}",
                    parts=["--answer", missing, "No such file"])

    def test_empty_names_of_files(self):
        snapshot = self.file("empty.snapshot", EMPTY_SNAPSHOT + "end\n")
        self.refuse("--snapshot", "", parts=["--snapshot", "No such file"])
        for option in ("--config", "--save-snapshot"):
            self.refuse("--snapshot", snapshot, option, "", parts=[option, "No such file"])
        self.refuse("--snapshot", snapshot, "--answer", "proxy=", parts=["--answer", "No such file"])

    def test_folders_in_place_of_files(self):
        snapshot = self.file("empty.snapshot", EMPTY_SNAPSHOT + "end\n")
        self.refuse("--snapshot", self.folder, parts=[self.folder, "Is a directory"])
        self.refuse("--snapshot", snapshot, "--config", self.folder,
                    parts=["--config", self.folder, "Is a directory"])
        self.refuse("--snapshot", snapshot, "--save-snapshot", self.folder,
                    parts=["--save-snapshot: cannot write", self.folder, "Is a directory"])

    def test_a_full_disk(self):
        snapshot = self.file("empty.snapshot", EMPTY_SNAPSHOT + "end\n")
        self.refuse("--snapshot", snapshot, "--save-snapshot", "/dev/full",
                    parts=["--save-snapshot", "/dev/full", "No space left"])

    def in_shell(self, command):
        return self.run_program("-c", command, program="sh")

    def test_an_output_that_takes_nothing(self):
        snapshot = self.file("empty.snapshot", EMPTY_SNAPSHOT + "end\n")
        for arguments in (f"--snapshot '{snapshot}'", f"--snapshot '{snapshot}' --explain", "--help",
                          "--version"):
            self.assert_cannot_run(self.in_shell(f"'{PROGRAM}' {arguments} >/dev/full"),
                                   "cannot write to standard output", "No space left")
            self.assert_cannot_run(self.in_shell(f"'{PROGRAM}' {arguments} >&-"),
                                   "cannot write to standard output", "Bad file descriptor")

    def test_an_input_that_gives_nothing(self):
        snapshot = self.file("empty.snapshot", EMPTY_SNAPSHOT + "end\n")
        command = f"'{PROGRAM}' --snapshot '{snapshot}' --config -"
        self.assert_cannot_run(self.in_shell(f"{command} </"), "--config", "standard input",
                               "Is a directory")
        self.assert_cannot_run(self.in_shell(f"{command} <&-"), "--config", "standard input",
                               "Bad file descriptor")

    def test_what_a_terminal_would_obey_is_encoded(self):
        hostile = "a\nb\x1b[31m\x07\x9b"
        shown = "a%0Ab%1B[31m%07%C2%9B"
        self.refuse("--snapshot", hostile, parts=[shown])
        self.refuse("--process", hostile, parts=[shown])
        self.refuse("--" + hostile, parts=[shown])

    def test_options_do_not_swallow_the_next_word(self):
        answer = self.file("answer.json", "{}")
        self.refuse("--pid", os.getpid(), "--answer", f"a={answer}", "config.json",
                    parts=["config.json", "not expected"])
        self.refuse("--pid", os.getpid(), "--answer-failed", "a", "b", parts=["not expected"])

    def test_an_answer_without_a_file(self):
        self.refuse("--pid", 1, "--answer", "proxy", parts=["--answer", "proxy", "="])

    def test_two_answers_for_one_selector(self):
        self.refuse("--pid", 1, "--answer", "a=x", "--answer-failed", "a", parts=["--answer", "'a'"])
        self.refuse("--pid", 1, "--answer", "a=x", "--answer", "a=y", parts=["--answer", "'a'"])


if __name__ == "__main__":
    unittest.main()
