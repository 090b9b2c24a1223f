#!/usr/bin/python3
"""Tests of report.py. Every expected figure is worked out by hand."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True  # this folder holds nothing but sources
import report


def results(times):
    """What egress_bench writes for {"workload/contender": nanoseconds of one row}."""
    return {"context": {"date": "2001-02-03", "host_name": "unmentioned"},
            "benchmarks": [{"run_name": name, "items_per_second": 1e9 / time}
                           for name, time in times.items()]}


def misses_of(times):
    return report.report({}, [times])[1]


def ten_times_faster():
    """A result that meets each goal: this library takes 1 ns a row, everything else 10."""
    return {f"{workload}/{contender}": 1 if contender == "egress" else 10
            for topic in report.TOPICS for workload in topic.workloads
            for contender in topic.contenders()}


class ReportTest(unittest.TestCase):
    def test_ratios_are_taken_within_a_round_and_name_their_goals(self):
        # The ratios are 1/2, 2 and 2; the ratio of the medians is 1.
        rounds = [{"ipv4/egress": ours, "ipv4/inet_pton": theirs}
                  for ours, theirs in [(10, 20), (20, 10), (60, 30)]]
        rounds.append({"ipv4/egress": 20})
        lines, misses = report.report({"date": "2001-02-03"}, rounds)
        rows = [line.replace(" ", "") for line in lines]
        self.assertIn("|egress/inet_pton|**2.001.25-2.00(0.70)**|**-(0.45)**|**-(0.55)**|", rows)
        self.assertIn("|egress|20.0|-|-|", rows)
        self.assertIn("- date: 2001-02-03", lines)
        self.assertIn("- rounds: 4", lines)
        self.assertIn("ipv4/egress / ipv4/inet_pton is 2.000, the goal is at most 0.70", misses)

    def test_times_are_nanoseconds_of_one_row(self):
        round_results = {"benchmarks": [{"run_name": "process/true/real_time",
                                         "items_per_second": 4e9}]}
        self.assertEqual(report.read(round_results), {"process/true": 0.25})

    def test_memory_has_a_table_of_its_own(self):
        entry = {"run_name": "hostile/config-nested", "items_per_second": 1e9, "memory_per_byte": 64.5}
        lines, _ = report.report({}, [report.read({"benchmarks": [entry]})])
        rows = [line.replace(" ", "") for line in lines]
        self.assertIn("|config-nested|1.0|-|", rows)
        self.assertIn("|bytesofmemoryforonebyte|hostile|hostile_twice|", rows)
        self.assertIn("|config-nested|64.5|-|", rows)

    def test_one_round_is_enough(self):
        self.assertEqual(report.quartiles([3]), [3, 3, 3])

    def test_a_ratio_may_divide_by_another_workload(self):
        self.assertEqual(misses_of(ten_times_faster() | {"sockets-100000/egress": 1.6}),
                         ["sockets-100000/egress / sockets-1000/egress is 1.600, the goal is at"
                          " most 1.50"])

    def test_a_goal_is_met_at_its_limit_and_missed_above(self):
        for time, misses in [(1.15, []),
                                 (1.16, ["process/egress / process/true is 1.160, the goal is at"
                                         " most 1.15"])]:
            with self.subTest(time):
                times = ten_times_faster() | {"process/egress": time, "process/true": 1}
                self.assertEqual(misses_of(times), misses)

    def test_every_goal_is_missed_where_nothing_was_measured(self):
        goals = sum(goal is not None for topic in report.TOPICS
                    for goals in topic.ratios.values() for goal in goals)
        misses = misses_of({})
        self.assertEqual(len(misses), goals)
        self.assertIn("not measured", misses[0])

    def test_plot_data_is_a_block_for_each_contender_with_sizes(self):
        times = {"line-20/egress": 2, "line-1/egress": 3, "line-1/rapidjson": 4, "answer/egress": 5}
        self.assertEqual(report.plot_data([times]),
                         "# line/egress\n1 3.00\n20 2.00\n\n\n# line/rapidjson\n1 4.00\n")


class ProgramTest(unittest.TestCase):
    def run_report(self, text, *options):
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder, "results.json")
            file.write_text(text, encoding="utf-8")
            return subprocess.run([sys.executable, report.__file__, file, *options],
                                  capture_output=True, encoding="utf-8", check=False)

    def test_exit_statuses(self):
        met = json.dumps(results(ten_times_faster()))
        missed = json.dumps(results(ten_times_faster() | {"process/egress": 100}))
        for name, text, options, status, error in [
                ("met", met, ["--check"], 0, ""),
                ("missed", missed, ["--check"], 1, "report: missed: process/egress / process/true"),
                ("missed, not checked", missed, [], 0, ""),
                ("cut", met[:-1], [], 2, "results.json' is not a file of egress_bench"),
                ("unknown", json.dumps(results({"ipv5/egress": 1})), [], 2, "'ipv5/egress'"),
                ("duplicate", json.dumps(results({"ipv4/egress": 1, "ipv4/egress/real_time": 1})),
                 [], 2, "'ipv4/egress'"),
                ("no place", met, ["--plot-data", "/no/such/file"], 2, "'/no/such/file'"),
                ("wrong usage", met, ["--chekc"], 2, "--chekc")]:
            with self.subTest(name):
                result = self.run_report(text, *options)
                self.assertEqual(result.returncode, status)
                self.assertIn(error, result.stderr)
                self.assertEqual(result.stderr == "", error == "")


if __name__ == "__main__":
    unittest.main()
