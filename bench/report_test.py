#!/usr/bin/python3
"""Tests of report.py. Every expected figure was worked out by hand."""

import importlib.util
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True  # nothing but sources belongs into this folder
import report
from report import Entrant, Goal

SCRIPT = Path(__file__).with_name("report.py")
HEADER = "round,group,rows,contender,nanoseconds\n"
INSTRUCTIONS_HEADER = "group,contender,instructions\n"
HAS_MATPLOTLIB = importlib.util.find_spec("matplotlib") is not None


def measured(times):
    """Measurements of {(group, rows, contender): [nanoseconds of round 0, of round 1, ...]}.

    A round of None was not run."""
    found = report.Measurements()
    for (group, rows, contender), series in times.items():
        found.rows[group] = rows
        found.times[Entrant(group, contender)] = {
            str(turn): time for turn, time in enumerate(series) if time is not None}
    return found


def as_csv(found):
    return HEADER + "".join(f"{turn},{entrant.group},{found.rows[entrant.group]},"
                            f"{entrant.contender},{time}\n"
                            for entrant, times in found.times.items()
                            for turn, time in times.items())


def size_of(group):
    size = group.rpartition("-")[2]
    return int(size) if size.isdigit() else 1


def all_goals_met():
    """We take 1 ns a row in every group, each peer takes ten."""
    times = {}
    for goal in report.GOALS:
        for pair in goal.pairs:
            for group, contender in pair:
                factor = 1 if contender == "egress" else 10
                rows = size_of(group)
                times[group, rows, contender] = [factor * rows] * 3
    return measured(times)


class FigureTest(unittest.TestCase):
    def ratio(self, ours, theirs):
        found = measured({("answer", 1, "egress"): ours, ("answer", 1, "peer"): theirs})
        return report.compare(found, Entrant("answer", "egress"), Entrant("answer", "peer"))

    def test_ratios_are_taken_within_a_round(self):
        rows = [
            # Ratios 0.5, 2, 2; the ratio of the medians is 20 / 20.
            ("the ratio of medians is another", [10, 20, 60], [20, 10, 30], (1.25, 2, 2)),
            ("quartiles lie on values", [4, 1, 5, 2, 3], [1, 1, 1, 1, 1], (2, 3, 4)),
            ("quartiles lie between values", [1, 2, 3, 4], [1, 1, 1, 1], (1.75, 2.5, 3.25)),
            ("one round", [3], [4], (0.75, 0.75, 0.75)),
            ("a round without the peer", [2, 900, 2], [1, None, 1], (2, 2, 2)),
            ("a round without us", [None, 2], [900, 1], (2, 2, 2)),
            ("no common round", [None, 2], [1, None], None),
        ]
        for name, ours, theirs, wanted in rows:
            with self.subTest(name):
                self.assertEqual(self.ratio(ours, theirs), wanted)

    def test_groups_of_different_size_are_compared_by_row(self):
        found = measured({("diagnosis-100000", 100000, "egress"): [300000, 400000, 500000],
                          ("diagnosis-1000", 1000, "egress"): [2000, 2000, 2000]})
        spread = report.compare(found, Entrant("diagnosis-100000", "egress"),
                                Entrant("diagnosis-1000", "egress"))
        for got, wanted in zip(spread, (1.75, 2, 2.25), strict=True):
            self.assertAlmostEqual(got, wanted)

    def test_figures_keep_to_a_few_digits(self):
        rows = [(0.12345, "0.123"), (9.9, "9.900"), (10, "10.0"), (999.94, "999.9"),
                (1000, "1,000"), (1234567.8, "1,234,568")]
        for number, wanted in rows:
            with self.subTest(wanted):
                self.assertEqual(report.shown(number), wanted)


class GoalTest(unittest.TestCase):
    def test_the_limit_itself_is_still_met(self):
        goal = Goal("a goal", 1.5, report.beside("peer", ["answer"]))
        for ours, met in [(149, True), (150, True), (151, False)]:
            with self.subTest(ours=ours):
                found = measured({("answer", 1, "egress"): [ours], ("answer", 1, "peer"): [100]})
                self.assertIs(report.judge(found, goal).met, met)

    def test_is_as_good_as_its_worst_group(self):
        goal = Goal("a goal", 1.5, report.beside("peer", ["ipv4", "ipv6", "mixed"]))
        found = measured({("ipv4", 1, "egress"): [1], ("ipv4", 1, "peer"): [1],
                          ("ipv6", 1, "egress"): [8], ("ipv6", 1, "peer"): [4],
                          ("mixed", 1, "egress"): [900], ("mixed", 1, "peer"): [1000]})
        verdict = report.judge(found, goal)
        self.assertEqual((verdict.worst.median, verdict.where, verdict.met), (2, "ipv6", False))

    def test_without_a_measurement_is_not_met_and_says_why(self):
        both = {("ipv4", 1, "egress"): [1], ("ipv4", 1, "peer"): [1]}
        rows = [
            ("no group", {}, "group ipv6 was not run"),
            ("no peer", {("ipv6", 1, "egress"): [1]}, "peer was not run in ipv6"),
            ("not ours", {("ipv6", 1, "peer"): [1]}, "egress was not run in ipv6"),
            ("no common round", {("ipv6", 1, "egress"): [None, 1], ("ipv6", 1, "peer"): [1]},
             "no round has both egress in ipv6 and peer in ipv6"),
        ]
        for name, more, why in rows:
            with self.subTest(name):
                goal = Goal("a goal", 1.5, report.beside("peer", ["ipv4", "ipv6"]))
                verdict = report.judge(measured(both | more), goal)
                self.assertEqual((verdict.worst, verdict.where, verdict.met), (None, why, False))

    def test_the_goals_ask_for_what_was_promised(self):
        layouts = ("line", "indented")
        small = {f"config-{layout}-{size}" for layout in layouts for size in (1, 20)}
        large = {f"config-{layout}-{size}" for layout in layouts for size in (500, 5000)}
        wanted = [
            (0.30, small | large, "nlohmann-dom"),
            (0.88, small | large, "boost-json"),
            (1.0, small, "rapidjson"),
            (1.25, large, "rapidjson"),
            (1.15, {"config-line-5000", "config-indented-5000"}, "egress"),
            (0.7, {"answer"}, "rapidjson"),
            (0.7, {"ipv4"}, "inet_pton"),
            (0.45, {"ipv6"}, "inet_pton"),
            (0.55, {"mixed"}, "inet_pton"),
            (2.7, {"diagnosis-50"}, "lower-bound"),
            (1.4, {"diagnosis-1000"}, "lower-bound"),
            (1.7, {"diagnosis-10000"}, "lower-bound"),
            (1.7, {"diagnosis-100000"}, "lower-bound"),
            (1.5, {"diagnosis-100000"}, "egress"),
            (1.15, {"process"}, "true"),
        ]
        smaller = {"config-line-5000": "config-line-20",
                   "config-indented-5000": "config-indented-20",
                   "diagnosis-100000": "diagnosis-1000"}
        for goal, (limit, groups, peer) in zip(report.GOALS, wanted, strict=True):
            with self.subTest(goal.label):
                self.assertEqual(goal.limit, limit)
                self.assertEqual({ours.group for ours, _ in goal.pairs}, groups)
                self.assertEqual({ours.contender for ours, _ in goal.pairs}, {"egress"})
                self.assertEqual({theirs.contender for _, theirs in goal.pairs}, {peer})
                for ours, theirs in goal.pairs:
                    self.assertEqual(theirs.group, smaller[ours.group] if peer == "egress"
                                     else ours.group)


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def write(self, name, content):
        data = content if isinstance(content, bytes) else content.encode()
        (self.folder / name).write_bytes(data)

    def run_report(self, *arguments, **environment):
        return subprocess.run([sys.executable, SCRIPT, *arguments], cwd=self.folder, text=True,
                              capture_output=True, env=os.environ | environment, check=False)


class InputTest(ProgramTest):
    def refused(self, arguments, wanted):
        result = self.run_report(*arguments)
        self.assertEqual(result.stderr, f"report: {wanted}\n")
        self.assertEqual(result.stdout, "")
        self.assertEqual(result.returncode, 2)

    def test_malformed_measurements_are_refused_by_line(self):
        good = "0,answer,1,egress,70.5\n"
        rows = [
            ("", "1: the file breaks off here: this line has no end"),
            ("round,group\n", f"1: expected the header '{HEADER.strip()}'"),
            (good, f"1: expected the header '{HEADER.strip()}'"),
            (HEADER + good + "0,answer,1,peer\n", "3: expected 5 values, found 4"),
            (HEADER + good + "1,answer,1,egress,70.5,\n", "3: expected 5 values, found 6"),
            (HEADER + "\n" + good, "2: expected 5 values, found 1"),
            (HEADER + good + "1,answer,1,egress,7",
             "3: the file breaks off here: this line has no end"),
            (HEADER + "one,answer,1,egress,7\n", "2: round 'one' is not a whole number"),
            (HEADER + "-1,answer,1,egress,7\n", "2: round '-1' is not a whole number"),
            (HEADER + "0,asnwer,1,egress,7\n", "2: unknown group 'asnwer'"),
            (HEADER + "0,answer,0,egress,7\n", "2: rows '0' is not a whole number above 0"),
            (HEADER + "0,answer,1.5,egress,7\n", "2: rows '1.5' is not a whole number above 0"),
            (HEADER + "0,answer,1,egress,fast\n", "2: nanoseconds 'fast' is not a number above 0"),
            (HEADER + "0,answer,1,egress,\n", "2: nanoseconds '' is not a number above 0"),
            (HEADER + "0,answer,1,egress,0\n", "2: nanoseconds '0' is not a number above 0"),
            (HEADER + "0,answer,1,egress,-7\n", "2: nanoseconds '-7' is not a number above 0"),
            (HEADER + "0,answer,1,egress,nan\n", "2: nanoseconds 'nan' is not a number above 0"),
            (HEADER + "0,answer,1,egress,inf\n", "2: nanoseconds 'inf' is not a number above 0"),
            (HEADER + good + "1,answer,2,egress,7\n", "3: answer had 1 rows before, now 2"),
            (HEADER + good + good, "3: round 0 has egress in answer twice"),
            (HEADER.encode() + b"0,answer,1,\xff,7\n",
             "2: 'utf-8' codec can't decode byte 0xff in position 11: invalid start byte"),
        ]
        for content, wanted in rows:
            with self.subTest(content=content):
                self.write("m.csv", content)
                self.refused(["m.csv"], f"m.csv:{wanted}")

    def test_malformed_instructions_are_refused_by_line(self):
        good = "answer,egress,500\n"
        rows = [
            (HEADER, f"1: expected the header '{INSTRUCTIONS_HEADER.strip()}'"),
            (INSTRUCTIONS_HEADER + good + "answer,500\n", "3: expected 3 values, found 2"),
            (INSTRUCTIONS_HEADER + "answer,egress,many\n",
             "2: instructions 'many' is not a number above 0"),
            (INSTRUCTIONS_HEADER + good + good, "3: egress is in answer twice"),
        ]
        self.write("m.csv", HEADER)
        for content, wanted in rows:
            with self.subTest(content=content):
                self.write("i.csv", content)
                self.refused(["m.csv", "--instructions", "i.csv"], f"i.csv:{wanted}")

    def test_a_malformed_environment_is_refused_by_line(self):
        self.write("m.csv", HEADER)
        self.write("e.txt", "compiler: g++ 12\ntwo cores\n")
        self.refused(["m.csv", "--environment", "e.txt"], "e.txt:2: expected 'key: value'")

    def test_a_file_that_is_not_there_is_named(self):
        self.write("m.csv", HEADER)
        rows = [(["none.csv"], "none.csv: No such file or directory"),
                (["."], ".: Is a directory"),
                (["m.csv", "--instructions", "none.csv"], "none.csv: No such file or directory"),
                (["m.csv", "--environment", "none.txt"], "none.txt: No such file or directory")]
        for arguments, wanted in rows:
            with self.subTest(arguments=arguments):
                self.refused(arguments, wanted)

    def test_figures_may_be_written_with_an_exponent_and_lines_end_as_elsewhere(self):
        self.write("m.csv", HEADER.strip() + "\r\n0,answer,1,egress,1.5e+03\r\n")
        found = report.read_measurements(self.folder / "m.csv")
        self.assertEqual(found.times, {Entrant("answer", "egress"): {"0": 1500}})


class ExitStatusTest(ProgramTest):
    def test_wrong_usage(self):
        for arguments in [[], ["m.csv", "n.csv"], ["--chekc", "m.csv"], ["m.csv", "--plot"]]:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.run_report(*arguments).returncode, 2)

    def test_help_names_the_exit_statuses(self):
        result = self.run_report("--help")
        self.assertIn("Exit status: 0", result.stdout)
        self.assertEqual(result.returncode, 0)

    def test_check_is_silent_when_all_goals_are_met(self):
        self.write("m.csv", as_csv(all_goals_met()))
        result = self.run_report("m.csv", "--check")
        self.assertEqual((result.stderr, result.returncode), ("", 0))

    def test_check_names_each_goal_that_is_missed_or_not_measured(self):
        found = all_goals_met()
        found.times[Entrant("ipv6", "egress")] = {"0": 4.6, "1": 4.6, "2": 1}
        del found.times[Entrant("config-indented-20", "boost-json")]
        del found.times[Entrant("process", "egress")], found.times[Entrant("process", "true")]
        self.write("m.csv", as_csv(found))
        result = self.run_report("m.csv", "--check")
        self.assertEqual(result.stderr.splitlines(), [
            "report: not measured: any document / boost-json: boost-json was not run in"
            " config-indented-20",
            "report: missed: IPv6 addresses / inet_pton: ipv6 is at 0.4600,"
            " the goal is at most 0.45",
            "report: not measured: whole process / true: group process was not run",
        ])
        self.assertEqual(result.returncode, 1)

    def test_without_check_a_missed_goal_is_only_shown(self):
        self.write("m.csv", HEADER)
        result = self.run_report("m.csv")
        self.assertEqual((result.stderr, result.returncode), ("", 0))

    def test_a_report_that_cannot_be_written(self):
        self.write("m.csv", HEADER)
        result = self.run_report("m.csv", "--markdown", "none/report.md")
        self.assertEqual(result.stderr, "report: none/report.md: No such file or directory\n")
        self.assertEqual(result.returncode, 2)


class OutputTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.write("m.csv", as_csv(measured({
            ("config-line-20", 20, "egress"): [100, 200, 600],
            ("config-line-20", 20, "rapidjson"): [200, 100, 300],
            ("config-line-5", 5, "egress"): [30, 30, 30],
            ("config-indented-1", 1, "egress"): [60],
            ("answer", 1, "egress"): [70],
            ("answer", 1, "rapidjson"): [100],
        })))
        self.write("i.csv", INSTRUCTIONS_HEADER + "answer,egress,1500\nanswer,a|b,2000\n"
                                                  "process,true,1e5\n")
        self.write("e.txt", "compiler: g++ 12.2.0\n")
        result = self.run_report("m.csv", "--instructions", "i.csv", "--environment", "e.txt",
                                 "--markdown", "r.md")
        self.assertEqual((result.stderr, result.returncode), ("", 0))
        self.text = result.stdout
        self.markdown = (self.folder / "r.md").read_text()

    def test_the_environment_comes_first(self):
        self.assertTrue(self.text.startswith("compiler: g++ 12.2.0\nrounds: 3\n\n"), self.text)
        self.assertIn("\n\n- compiler: g++ 12.2.0\n- rounds: 3\n\n", self.markdown)

    def test_text(self):
        # A gap stands for whatever blanks align the columns.
        text = [" ".join(line.split()) for line in self.text.splitlines()]
        for line in [
            "what worst group at most figure quartiles met",
            "selector answer / rapidjson answer 0.70 0.700 0.700-0.700 yes",
            "up to 20 outbounds / rapidjson - 1.00 not measured - no",
            "Time ratios: configuration on one line",
            "contender line-5 line-20",
            "rapidjson - 2.000 1.250-2.000",
            "Growth: nanoseconds per outbound, configuration on one line",
            "egress 6.000 10.0",  # 30 / 5, 200 / 20
            "rapidjson - 10.0",
            "Growth: nanoseconds per outbound, configuration, indented",
            "answer egress 1,500 -",
            "answer a|b 2,000 0.750",
            "process true 100,000 -",
        ]:
            with self.subTest(line):
                self.assertIn(line, text)

    def test_a_kind_without_peers_has_no_ratios(self):
        self.assertNotIn("Time ratios: configuration, indented", self.text)

    def test_only_a_kind_of_many_sizes_grows(self):
        self.assertEqual(self.text.count("Growth: "), 2)

    def test_a_kind_that_was_not_run_has_no_table(self):
        self.assertNotIn("Time ratios: diagnosis", self.text)
        self.assertNotIn("socket, diagnosis", self.text)

    def test_markdown(self):
        for lines in [
            "\n## Goals\n\n| what | worst group | at most | figure | quartiles | met |\n"
            "| :-- | :-- | --: | --: | --: | --: |\n",
            "\n| selector answer / rapidjson | answer | 0.70 | 0.700 | 0.700-0.700 | yes |\n",
            "\n## Time ratios: configuration on one line\n\n| contender | line-5 | line-20 |\n"
            "| :-- | --: | --: |\n| rapidjson | - | 2.000 1.250-2.000 |\n",
            "\n| answer | a\\|b | 2,000 | 0.750 |\n",
        ]:
            with self.subTest(lines):
                self.assertIn(lines, self.markdown)

    def test_text_fits_a_terminal(self):
        found = all_goals_met()
        for group in [group for group in found.rows if group.startswith("config-")]:
            for contender in report.STYLES:
                found.times[Entrant(group, contender)] = {"0": 5e7, "1": 7e7}
        self.write("full.csv", as_csv(found))
        self.write("long.txt", "flags:" + 40 * " -fflag" + "\n")
        lines = self.run_report("full.csv", "--environment", "long.txt").stdout.splitlines()
        self.assertIn("boost-json-monotonic", "".join(lines))
        self.assertLessEqual(max(map(len, lines)), 100)


class PlotTest(ProgramTest):
    @unittest.skipUnless(HAS_MATPLOTLIB, "matplotlib is not installed for this Python")
    def test_is_the_same_bytes_whoever_draws_it_and_when(self):
        self.write("m.csv", as_csv(all_goals_met()))
        first = self.run_report("m.csv", "--plot", "first.svg", SOURCE_DATE_EPOCH="0")
        self.write("matplotlibrc", "lines.linewidth: 9\n")
        second = self.run_report("m.csv", "--plot", "second.svg", SOURCE_DATE_EPOCH="86400")
        self.assertEqual((first.stderr, first.returncode), ("", 0))
        self.assertEqual((second.stderr, second.returncode), ("", 0))
        picture = (self.folder / "first.svg").read_text()
        self.assertEqual(picture, (self.folder / "second.svg").read_text())
        # Letters are drawn as shapes; a comment says which.
        for text, count in [("egress", 2), ("rapidjson", 1), ("lower-bound", 1), ("true", 0),
                            ("number of outbounds", 1), ("number of sockets", 1),
                            ("time per configuration (median)", 1), ("5,000", 1), ("100,000", 1)]:
            with self.subTest(text):
                self.assertEqual(picture.count(f"<!-- {text} -->"), count)

    @unittest.skipUnless(HAS_MATPLOTLIB, "matplotlib is not installed for this Python")
    def test_of_nothing_is_an_empty_picture(self):
        self.write("m.csv", HEADER)
        result = self.run_report("m.csv", "--plot", "p.svg")
        self.assertEqual((result.stderr, result.returncode), ("", 0))
        self.assertIn("</svg>", (self.folder / "p.svg").read_text())

    def test_without_matplotlib_says_what_to_install(self):
        self.write("m.csv", HEADER)
        self.write("matplotlib.py", "raise ModuleNotFoundError(name='matplotlib')\n")
        result = self.run_report("m.csv", "--plot", "p.svg", PYTHONPATH=str(self.folder))
        self.assertEqual(result.stderr, "report: --plot needs matplotlib; on Debian:"
                                        " apt-get install python3-matplotlib\n")
        self.assertEqual(result.returncode, 3)


if __name__ == "__main__":
    unittest.main()
