#!/usr/bin/python3
"""Prints ratios and goals from the JSON files that egress_bench wrote, one a round, as Markdown."""

import argparse
import json
import statistics
import sys
from typing import NamedTuple

CONTEXT = ["date", "command", "processor", "num_cpus", "load_avg", "system", "compiler",
           "nlohmann-json", "rapidjson", "boost-json", "simdjson"]


class Topic(NamedTuple):
    title: str
    row: str  # what the times are for one of
    workloads: list[str]
    # (contender, what its time is divided by): the goal in each workload, or None. The divisor is
    # a contender of the same workload, or "workload/contender".
    ratios: dict[tuple[str, str], list[float | None]]
    has_memory: bool = False  # whether the memory of the contenders is measured

    def contenders(self):
        names = (name for pair in self.ratios for name in pair if "/" not in name)
        return list(dict.fromkeys(names))


def config(layout, tree_goals):
    workloads = [f"{layout}-{outbounds}" for outbounds in (1, 20, 500, 5000)]
    return Topic(f"Configuration, {layout}", "outbound", workloads, {
        ("text-to-tree", "tree-alone"): [None] * 4,
        ("egress", "tree-alone"): tree_goals,
        ("egress", "nlohmann-json"): [0.30] * 4,
        ("egress", "rapidjson"): [1.0, 1.0, 1.25, None],
        ("egress", "boost-json"): [0.88, 0.88, 0.88, None],
        ("egress", "simdjson"): [None] * 4,
        ("egress", f"{layout}-20/egress"): [None] * 4,
    })


HOSTILE_TEXTS = [
    "snapshot-outbounds", "snapshot-sockets", "snapshot-ports", "snapshot-numbers",
    "snapshot-nested", "snapshot-members", "snapshot-escapes", "snapshot-cut", "config-outbounds",
    "config-numbers", "config-nested", "config-members", "answer-numbers"]

# What the memory of a contender is called among the times.
MEMORY = "memory of "

TOPICS = [
    config("line", [None, 1.65, 1.45, 1.25]),
    config("indented", [None, 1.9, 1.6, 1.25]),
    Topic("Selector answer", "answer", ["answer"], {
        ("egress", "nlohmann-json"): [None],
        ("egress", "rapidjson"): [0.7],
        ("egress", "boost-json"): [None],
        ("egress", "simdjson"): [None],
    }),
    Topic("Addresses", "address", ["ipv4", "ipv6", "mixed"], {
        ("egress", "inet_pton"): [0.7, 0.45, 0.55],
    }),
    Topic("Diagnosis", "socket",
          [f"sockets-{sockets}" for sockets in (50, 1000, 10000, 100000)], {
        ("diagnose", "lower-bound"): [1.6, 1.35, None, None],
        ("egress", "lower-bound"): [2.7, 1.4, 1.7, 1.7],
        ("egress", "sockets-1000/egress"): [None, None, None, 1.5],
    }),
    # At double the size, a byte takes the same time if the cost is linear, and twice if quadratic.
    Topic("Hostile texts", "byte", ["hostile", "hostile_twice"],
          {(text, f"hostile/{text}"): [None, 1.6] for text in HOSTILE_TEXTS}, has_memory=True),
    Topic("Whole process", "process", ["process"], {
        ("egress", "true"): [1.15],
    }),
]


def read(results):
    """The nanoseconds for one row of each "workload/contender" of one round, and the bytes of memory
    for one byte of text."""
    known = {f"{workload}/{contender}" for topic in TOPICS for workload in topic.workloads
             for contender in topic.contenders()}
    found = {}
    for entry in results["benchmarks"]:
        name = entry["run_name"].removesuffix("/real_time")
        if name not in known or name in found:
            raise ValueError(f"unknown or duplicate benchmark '{name}'")
        found[name] = 1e9 / entry["items_per_second"]
        if "memory_per_byte" in entry:
            found[MEMORY + name] = entry["memory_per_byte"]
    return found


def quartiles(values):
    # quantiles() refuses a single value.
    return statistics.quantiles(values * 2 if len(values) == 1 else values, method="inclusive")


def median_time(rounds, name):
    times = [times[name] for times in rounds if name in times]
    return statistics.median(times) if times else None


def ratio_cells(rounds, workloads, pair, goals):
    """A cell for each workload, and a miss for each goal that is not met."""
    cells, misses = [], []
    for workload, goal in zip(workloads, goals, strict=True):
        ours = f"{workload}/{pair[0]}"
        theirs = pair[1] if "/" in pair[1] else f"{workload}/{pair[1]}"
        # Within one round, because the machine's speed changes between rounds.
        ratios = [times[ours] / times[theirs] for times in rounds
                  if ours in times and theirs in times]
        if ratios:
            low, ratio, high = quartiles(ratios)
            cell, met = f"{ratio:.2f} {low:.2f}-{high:.2f}", goal is None or ratio <= goal
        else:
            ratio, cell, met = None, "-", goal is None
        if goal is not None:
            cell += f" ({goal:.2f})"
        if not met:
            cell = f"**{cell}**"
            was = "not measured" if ratio is None else f"is {ratio:.3f}"
            misses.append(f"{ours} / {theirs} {was}, the goal is at most {goal:.2f}")
        cells.append(cell)
    return cells, misses


def time_cells(rounds, workloads, contender):
    times = [median_time(rounds, f"{workload}/{contender}") for workload in workloads]
    return ["-" if time is None else f"{time:,.1f}" for time in times]


def table(columns, rows):
    widths = [max(map(len, column)) for column in zip(columns, *rows)]
    rule = [":" + "-" * (widths[0] - 1)] + ["-" * (width - 1) + ":" for width in widths[1:]]
    return ["| " + " | ".join([row[0].ljust(widths[0])] + [
        cell.rjust(width) for cell, width in zip(row[1:], widths[1:])]) + " |"
        for row in [columns, rule, *rows]]


def report(context, rounds):
    """The lines of the report, and the misses."""
    lines, misses = ["# Results of the benchmark", ""], []
    lines += [f"- {key}: {context[key]}" for key in CONTEXT if key in context]
    lines += [f"- rounds: {len(rounds)}", "",
              "Median and quartiles of the rounds' ratios, with the goal in parentheses, bold where",
              "the median misses it; then the median times."]
    for topic in TOPICS:
        ratios = []
        for pair, goals in topic.ratios.items():
            cells, more = ratio_cells(rounds, topic.workloads, pair, goals)
            ratios.append([" / ".join(pair), *cells])
            misses += more
        times = [[name, *time_cells(rounds, topic.workloads, name)]
                 for name in topic.contenders()]
        lines += ["", f"## {topic.title}", "", *table(["ratio", *topic.workloads], ratios)]
        lines += ["", *table([f"ns for one {topic.row}", *topic.workloads], times)]
        if topic.has_memory:
            memory = [[name, *time_cells(rounds, [MEMORY + workload for workload in topic.workloads],
                                         name)] for name in topic.contenders()]
            lines += ["", *table([f"bytes of memory for one {topic.row}", *topic.workloads], memory)]
    return lines, misses


def plot_data(rounds):
    """For bench/plot.gp: a block of sizes and nanoseconds for each contender of one layout."""
    blocks = []
    for topic in TOPICS:
        for contender in topic.contenders():
            block = [f"# {topic.workloads[0].split('-')[0]}/{contender}"]
            for workload in topic.workloads:
                time = median_time(rounds, f"{workload}/{contender}")
                if "-" in workload and time is not None:
                    block.append(f"{workload.split('-')[1]} {time:.2f}")
            if len(block) > 1:
                blocks.append("\n".join(block))
    return "\n\n\n".join(blocks) + "\n"


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, epilog="Exit status: 0 done, 1 a goal is missed or not measured (with"
        " --check), 2 wrong usage or a file that cannot be used.")
    parser.add_argument("files", metavar="FILE.json", nargs="+")
    parser.add_argument("--check", action="store_true", help="fail where a goal is missed")
    parser.add_argument("--plot-data", metavar="FILE", help="where the data for gnuplot goes")
    arguments = parser.parse_args()
    try:
        rounds = []
        for path in arguments.files:
            with open(path, encoding="utf-8") as file:
                results = json.load(file)
            rounds.append(read(results))
        lines, misses = report(results["context"], rounds)
        if arguments.plot_data:
            with open(arguments.plot_data, "w", encoding="utf-8") as file:
                file.write(plot_data(rounds))
    except OSError as error:
        print(f"report: cannot use '{error.filename}': {error.strerror}", file=sys.stderr)
        return 2
    except (KeyError, ValueError, ZeroDivisionError) as error:
        print(f"report: '{path}' is not a file of egress_bench: {error!r}", file=sys.stderr)
        return 2
    print("\n".join(lines))
    if not arguments.check:
        return 0
    for miss in misses:
        print(f"report: missed: {miss}", file=sys.stderr)
    return 1 if misses else 0


if __name__ == "__main__":
    sys.exit(main())
