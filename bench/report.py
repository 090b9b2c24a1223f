#!/usr/bin/python3
"""Makes a report of what the benchmark program measured; see --help."""

import argparse
import math
import statistics
import sys
import textwrap
from dataclasses import dataclass, field
from typing import NamedTuple

OURS = "egress"
WIDTH = 100  # of the terminal that the text is made for
FIGURES = """\
Time ratios are egress / peer, below 1 where egress is faster. Each is taken within one round, so
that what slows the machine down slows down both; shown are the median over the rounds and the lower
and upper quartile."""
EXIT_STATUSES = """Exit status: 0 the report was made, 1 a goal is missed or not measured (only with
--check), 2 wrong usage, or a file that cannot be read, understood or written, 3 something must be
installed first."""


class Entrant(NamedTuple):
    group: str
    contender: str


@dataclass(frozen=True)
class Goal:
    label: str
    limit: float  # the worst median ratio of the pairs is at most this
    pairs: list[tuple[Entrant, Entrant]]  # whose time for one row is divided by whose


@dataclass(frozen=True)
class Kind:
    title: str
    prefixes: tuple[str, ...]  # of the names of the groups that share a table
    row: str = ""  # what a group's size counts; empty where the groups differ in something else


def beside(peer, groups):
    return [(Entrant(group, OURS), Entrant(group, peer)) for group in groups]


def growth(*groups):
    return [(Entrant(large, OURS), Entrant(small, OURS)) for large, small in groups]


def documents(*sizes):
    return [f"config-{layout}-{size}" for layout in ("line", "indented") for size in sizes]


GOALS = [
    Goal("any document / nlohmann-dom", 0.30, beside("nlohmann-dom", documents(1, 20, 500, 5000))),
    Goal("any document / boost-json", 0.88, beside("boost-json", documents(1, 20, 500, 5000))),
    Goal("up to 20 outbounds / rapidjson", 1.0, beside("rapidjson", documents(1, 20))),
    Goal("500 and 5,000 outbounds / rapidjson", 1.25, beside("rapidjson", documents(500, 5000))),
    Goal("one outbound of 5,000 / one of 20", 1.15,
         growth(("config-line-5000", "config-line-20"),
                ("config-indented-5000", "config-indented-20"))),
    Goal("selector answer / rapidjson", 0.7, beside("rapidjson", ["answer"])),
    Goal("IPv4 addresses / inet_pton", 0.7, beside("inet_pton", ["ipv4"])),
    Goal("IPv6 addresses / inet_pton", 0.45, beside("inet_pton", ["ipv6"])),
    Goal("mixed addresses / inet_pton", 0.55, beside("inet_pton", ["mixed"])),
    Goal("50 sockets / lower-bound", 2.7, beside("lower-bound", ["diagnosis-50"])),
    Goal("1,000 sockets / lower-bound", 1.4, beside("lower-bound", ["diagnosis-1000"])),
    Goal("10,000 sockets / lower-bound", 1.7, beside("lower-bound", ["diagnosis-10000"])),
    Goal("100,000 sockets / lower-bound", 1.7, beside("lower-bound", ["diagnosis-100000"])),
    Goal("one socket of 100,000 / one of 1,000", 1.5,
         growth(("diagnosis-100000", "diagnosis-1000"))),
    Goal("whole process / true", 1.15, beside("true", ["process"])),
]

LINE = Kind("configuration on one line", ("config-line-",), "outbound")
DIAGNOSIS = Kind("diagnosis", ("diagnosis-",), "socket")
KINDS = [
    LINE,
    Kind("configuration, indented", ("config-indented-",), "outbound"),
    Kind("selector answer", ("answer",)),
    Kind("addresses", ("ipv4", "ipv6", "mixed")),
    DIAGNOSIS,
    Kind("whole process", ("process",)),
]

# Colour, marker, line. The colours differ for colour-blind eyes, too; one is one library's.
STYLES = {
    OURS: ("black", "o", "-"),
    "lower-bound": ("#D55E00", "s", "--"),
    "nlohmann-dom": ("#E69F00", "s", "-"),
    "nlohmann-sax": ("#E69F00", "^", "--"),
    "rapidjson": ("#0072B2", "D", "-"),
    "rapidjson-insitu": ("#0072B2", "v", "--"),
    "boost-json": ("#009E73", "P", "-"),
    "boost-json-monotonic": ("#009E73", "X", "--"),
    "simdjson-dom": ("#CC79A7", "<", "-"),
    "simdjson-ondemand": ("#CC79A7", ">", "--"),
}
OTHER_STYLE = ("#777777", "*", ":")


class Malformed(Exception):
    pass


@dataclass(frozen=True)
class Measurements:
    rows: dict[str, int] = field(default_factory=dict)  # of each group: handled in one operation
    times: dict[Entrant, dict[str, float]] = field(default_factory=dict)  # nanoseconds by round

    def groups(self, kind):
        return sorted((group for group in self.rows if group.startswith(kind.prefixes)),
                      key=self.rows.get)

    def contenders(self, kind):
        return list(dict.fromkeys(each.contender for each in self.times
                                  if each.group.startswith(kind.prefixes)))


class Spread(NamedTuple):
    low: float  # lower quartile
    median: float
    high: float  # upper quartile


@dataclass(frozen=True)
class Verdict:
    goal: Goal
    worst: Spread | None  # None: not measured
    where: str  # the group that worst comes from, or what was not measured

    @property
    def met(self):
        return self.worst is not None and self.worst.median <= self.goal.limit


@dataclass(frozen=True)
class Table:
    title: str
    columns: list[str]
    rows: list[list[str]]
    words: int = 1  # columns that hold words; numbers follow


def read(path, take_line):
    """Hands over each line with its number; a ValueError says what is wrong with that line."""
    with open(path, "rb") as file:
        for number, line in enumerate(file.readlines() or [b""], start=1):
            try:
                if not line.endswith(b"\n"):  # a cut number is still a number, but a wrong one
                    raise ValueError("the file breaks off here: this line has no end")
                take_line(number, line.decode().rstrip("\r\n"))
            except ValueError as error:
                raise Malformed(f"{path}:{number}: {error}") from error


def read_table(path, header, take_values):
    def take_line(number, line):
        values, expected = line.split(","), header.count(",") + 1
        if number == 1 and line != header:
            raise ValueError(f"expected the header '{header}'")
        if len(values) != expected:
            raise ValueError(f"expected {expected} values, found {len(values)}")
        if number > 1:
            take_values(*values)

    read(path, take_line)


def positive(name, text, kind=float):
    try:
        number = kind(text)
    except ValueError:
        number = 0
    if not 0 < number < math.inf:
        raise ValueError(f"{name} '{text}' is not a {'whole ' * (kind is int)}number above 0")
    return number


def read_measurements(path):
    found = Measurements()

    def take(turn, group, rows_text, contender, nanoseconds):
        rows = positive("rows", rows_text, int)
        times = found.times.setdefault(Entrant(group, contender), {})
        if not turn.isdecimal():
            raise ValueError(f"round '{turn}' is not a whole number")
        if not any(group.startswith(kind.prefixes) for kind in KINDS):
            raise ValueError(f"unknown group '{group}'")
        if found.rows.setdefault(group, rows) != rows:
            raise ValueError(f"{group} had {found.rows[group]} rows before, now {rows}")
        if turn in times:
            raise ValueError(f"round {turn} has {contender} in {group} twice")
        times[turn] = positive("nanoseconds", nanoseconds)

    read_table(path, "round,group,rows,contender,nanoseconds", take)
    return found


def read_instructions(path):
    found = {}

    def take(group, contender, instructions):
        if Entrant(group, contender) in found:
            raise ValueError(f"{contender} is in {group} twice")
        found[Entrant(group, contender)] = positive("instructions", instructions)

    read_table(path, "group,contender,instructions", take)
    return found


def read_environment(path):
    found = []

    def take(_, line):
        if ":" not in line:
            raise ValueError("expected 'key: value'")
        found.append(line.strip())

    read(path, take)
    return found


def compare(found, ours, theirs):
    """The spread of the ratio of nanoseconds per row; None where no round has both."""
    mine, other = found.times.get(ours, {}), found.times.get(theirs, {})
    ratios = [mine[turn] / other[turn] for turn in mine if turn in other]
    if not ratios:
        return None
    scale = found.rows[theirs.group] / found.rows[ours.group]
    if len(ratios) == 1:
        ratios *= 2  # quantiles() refuses one value; with it twice, they are all that value
    return Spread(*(each * scale for each in statistics.quantiles(ratios, method="inclusive")))


def why_missing(found, ours, theirs):
    for entrant in (ours, theirs):
        if entrant.group not in found.rows:
            return f"group {entrant.group} was not run"
        if entrant not in found.times:
            return f"{entrant.contender} was not run in {entrant.group}"
    return (f"no round has both {ours.contender} in {ours.group} and {theirs.contender} in"
            f" {theirs.group}")


def judge(found, goal):
    spreads = {pair: compare(found, *pair) for pair in goal.pairs}
    for pair, spread in spreads.items():
        if spread is None:
            return Verdict(goal, None, why_missing(found, *pair))
    worst = max(spreads, key=lambda pair: spreads[pair].median)
    return Verdict(goal, spreads[worst], worst[0].group)


def shown(number):
    if number < 10:
        return f"{number:.3f}"
    return f"{number:.1f}" if number < 1000 else f"{number:,.0f}"


def quartiles(spread):
    return f"{shown(spread.low)}-{shown(spread.high)}"


def goals_table(verdicts):
    rows = []
    for verdict in verdicts:
        where, figures = "-", ["not measured", "-"]
        if verdict.worst is not None:
            where = verdict.where
            figures = [shown(verdict.worst.median), quartiles(verdict.worst)]
        rows.append([verdict.goal.label, where, f"{verdict.goal.limit:.2f}", *figures,
                     "yes" if verdict.met else "no"])
    return Table("Goals", ["what", "worst group", "at most", "figure", "quartiles", "met"], rows, 2)


def kind_table(found, title, kind, contenders, cell):
    """A row for each contender, a column for each group of the kind."""
    groups = found.groups(kind)
    columns = ["contender"] + [group.removeprefix("config-") for group in groups]
    return Table(title, columns, [[contender] + [cell(group, contender) for group in groups]
                                  for contender in contenders])


def ratios_table(found, kind):
    def cell(group, peer):
        spread = compare(found, Entrant(group, OURS), Entrant(group, peer))
        return "-" if spread is None else f"{shown(spread.median)} {quartiles(spread)}"

    peers = [each for each in found.contenders(kind) if each != OURS]
    return kind_table(found, f"Time ratios: {kind.title}", kind, peers, cell)


def growth_table(found, kind):
    def cell(group, contender):
        times = found.times.get(Entrant(group, contender))
        return shown(statistics.median(times.values()) / found.rows[group]) if times else "-"

    return kind_table(found, f"Growth: nanoseconds per {kind.row}, {kind.title}", kind,
                      found.contenders(kind), cell)


def instructions_table(counts):
    rows = []
    for (group, contender), count in counts.items():
        ours = counts.get(Entrant(group, OURS))
        ratio = "-" if ours is None or contender == OURS else shown(ours / count)
        rows.append([group, contender, f"{count:,.0f}", ratio])
    return Table("Instructions", ["group", "contender", "instructions", "egress / it"], rows, 2)


def count_rounds(found):
    return len({turn for times in found.times.values() for turn in times})


def make_tables(found, verdicts, instructions):
    kinds = [kind for kind in KINDS if found.groups(kind)]
    tables = [goals_table(verdicts)]
    tables += [ratios_table(found, kind) for kind in kinds if found.contenders(kind) != [OURS]]
    tables += [growth_table(found, kind) for kind in kinds if kind.row]
    if instructions:
        tables.append(instructions_table(instructions))
    return tables


def as_text(environment, tables):
    lines = [textwrap.fill(line, WIDTH, subsequent_indent="    ") for line in environment]
    lines += ["", FIGURES]
    for table in tables:
        widths = [max(map(len, column)) for column in zip(table.columns, *table.rows)]
        lines += ["", table.title, ""]
        for row in [table.columns, ["-" * width for width in widths], *table.rows]:
            cells = [cell.ljust(width) if index < table.words else cell.rjust(width)
                     for index, (cell, width) in enumerate(zip(row, widths))]
            lines.append("  ".join(cells).rstrip())
    return "\n".join(lines) + "\n"


def as_markdown(environment, tables):
    lines = ["# What was measured", "", *(f"- {line}" for line in environment)]
    lines += ["", FIGURES]
    for table in tables:
        rule = [":--" if index < table.words else "--:" for index in range(len(table.columns))]
        lines += ["", f"## {table.title}", ""]
        for row in [table.columns, rule, *table.rows]:
            lines.append("| " + " | ".join(cell.replace("|", r"\|") for cell in row) + " |")
    return "\n".join(lines) + "\n"


def draw_panel(axes, found, kind, operation):
    from matplotlib.ticker import EngFormatter, NullLocator

    groups = found.groups(kind)
    sizes = [found.rows[group] for group in groups]
    for contender in found.contenders(kind):
        colour, marker, line = STYLES.get(contender, OTHER_STYLE)
        points = [(found.rows[group], statistics.median(times.values()) / 1e9) for group in groups
                  if (times := found.times.get(Entrant(group, contender)))]
        # Broad and below the others, so that it stands out and hides none that is as fast.
        broad = {"linewidth": 5, "markersize": 11, "zorder": 1.9} if contender == OURS else {}
        axes.plot(*zip(*points), color=colour, marker=marker, linestyle=line, label=contender,
                  **broad)
    axes.set(xscale="log", yscale="log", xlabel=f"number of {kind.row}s",
             ylabel=f"time per {operation} (median)")
    axes.set_xticks(sizes, labels=[f"{size:,}" for size in sizes])
    axes.xaxis.set_minor_locator(NullLocator())
    axes.yaxis.set_major_formatter(EngFormatter(unit="s"))
    axes.grid(True, color="#dddddd", linewidth=0.8)
    axes.set_title(kind.title.capitalize())
    if groups:
        axes.legend(frameon=False, handlelength=3.5)


def draw(found, path):
    import matplotlib
    from matplotlib.figure import Figure

    # Neither the user's settings nor the hour of the day shall show in the bytes.
    matplotlib.rcdefaults()
    matplotlib.rcParams.update({"svg.hashsalt": "egress", "font.size": 12})
    figure = Figure(figsize=(14, 6.5), layout="constrained")
    figure.get_layout_engine().set(w_pad=0.15)
    left, right = figure.subplots(1, 2)
    draw_panel(left, found, LINE, "configuration")
    draw_panel(right, found, DIAGNOSIS, "diagnosis")
    figure.savefig(path, format="svg", metadata={"Date": None})


def parse_arguments():
    parser = argparse.ArgumentParser(prog="report.py", epilog=EXIT_STATUSES,
                                     description=__doc__.replace("; see --help", ""))
    parser.add_argument("measurements", metavar="MEASUREMENTS.csv", help="what the program timed")
    parser.add_argument("--instructions", metavar="FILE.csv", help="instruction counts, shown too")
    parser.add_argument("--environment", metavar="FILE.txt", help="lines 'key: value' for the top")
    parser.add_argument("--markdown", metavar="FILE", help="where the report also goes as Markdown")
    parser.add_argument("--plot", metavar="FILE.svg", help="where a picture of the growth goes")
    parser.add_argument("--check", action="store_true", help="fail where a goal is not met")
    return parser.parse_args()


def report(arguments):
    found = read_measurements(arguments.measurements)
    instructions = read_instructions(arguments.instructions) if arguments.instructions else {}
    environment = read_environment(arguments.environment) if arguments.environment else []
    environment.append(f"rounds: {count_rounds(found)}")
    verdicts = [judge(found, goal) for goal in GOALS]
    tables = make_tables(found, verdicts, instructions)
    sys.stdout.write(as_text(environment, tables))
    if arguments.markdown:
        with open(arguments.markdown, "w", encoding="utf-8") as file:
            file.write(as_markdown(environment, tables))
    if arguments.plot:
        draw(found, arguments.plot)
    return [verdict for verdict in verdicts if not verdict.met]


def complaint(verdict):
    if verdict.worst is None:
        return f"not measured: {verdict.goal.label}: {verdict.where}"
    return (f"missed: {verdict.goal.label}: {verdict.where} is at {verdict.worst.median:.4f},"
            f" the goal is at most {verdict.goal.limit:.2f}")


def main():
    arguments = parse_arguments()
    try:
        missed = report(arguments)
    except Malformed as error:
        print(f"report: {error}", file=sys.stderr)
        return 2
    except OSError as error:
        print(f"report: {error.filename}: {error.strerror}", file=sys.stderr)
        return 2
    except ModuleNotFoundError as error:
        print(f"report: --plot needs {error.name}; on Debian: apt-get install python3-matplotlib",
              file=sys.stderr)
        return 3
    if not arguments.check:
        return 0
    for verdict in missed:
        print(f"report: {complaint(verdict)}", file=sys.stderr)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
