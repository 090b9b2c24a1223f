#!/usr/bin/python3
"""The manual page and the completions, compared with --help, and used by mandoc and the shells."""

import os
import re
import shlex
import shutil
import subprocess
import time
import unittest
from pathlib import Path

from report_program import SOURCE_DIR, ProgramTest
from terminal import Terminal

PAGES = Path(os.environ["EGRESS_REPORT_PAGES"])
MANUAL, BASH, ZSH, FISH = [PAGES / f"egress-report.{name}" for name in ["man", "bash", "zsh", "fish"]]
MANUALS = [MANUAL, SOURCE_DIR / "docs/egress-selfcheck.1"]

# One option of --help: names, and the name of its value.
HEAD = re.compile(r"  (-\S+?)(\[=\S+\])?(?: (.+))?")


def unquoted(text):
    """Text of man(7) without its escapes."""
    text = re.sub(r"\\f[BIR]|\\&", "", text)
    characters = {"-": "-", "(aq": "'", "(ga": "`", "(ha": "^", "(ti": "~", "e": "\\"}
    for escape, character in characters.items():
        text = text.replace("\\" + escape, character)
    return text


class PagesTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.help = self.run_program("--help", output="").output
        self.options = self.options_of_help()

    def options_of_help(self):
        """The text of each option in --help and its match of HEAD, by its names."""
        listed = re.search(r"^Options:\n(.*?)\n\n", self.help, re.DOTALL | re.MULTILINE)[1]
        options = {}
        for entry in re.split(r"\n(?=  -)", listed):
            first, *rest = entry.split("\n")
            # Texts begin in column 30.
            head, text = (first, "") if first[28:30].strip() else (first[:30], first[30:])
            match = HEAD.fullmatch(head.rstrip())
            self.assertIsNotNone(match, entry)
            options[frozenset(match[1].split(","))] = (
                " ".join([text, *map(str.strip, rest)]).strip(), match)
        self.assertGreater(len(options), 10)
        return options

    def texts_of_help(self):
        return {name: text for names, (text, _) in self.options.items() for name in names}

    def need(self, program):
        if shutil.which(program) is None:
            self.skipTest(f"{program} is not installed")

    def terminal(self, *command):
        self.need(command[0])
        terminal = Terminal(command, self.folder)
        self.addCleanup(terminal.close)
        return terminal

    # The manual.

    def section(self, title):
        return re.search(rf"^\.SH {title}\n(.*?)(?=^\.SH|\Z)", MANUAL.read_text(),
                         re.DOTALL | re.MULTILINE)[1]

    def test_the_manual_has_the_options_of_help(self):
        _, *entries = self.section("OPTIONS").split(".TP\n")
        found = {}
        for entry in entries:
            head, text, *rest = unquoted(entry).splitlines()
            names = re.findall(r"(?:^|, )(-[a-z-]+)", head)
            found[frozenset(names)] = (text, head, [line for line in rest if line != ".br"])
        self.assertEqual({names: text for names, (text, *_) in found.items()},
                         {names: text for names, (text, _) in self.options.items()})
        for names, (_, match) in self.options.items():
            _, head, rest = found[names]
            self.assertEqual(head.partition(" --")[2].partition(" ")[2] if head.startswith("-h,")
                             else head.partition(" ")[2], match[3] or "")
            self.assertEqual(rest, [])
            self.assertEqual("[=" in head, match[2] is not None)

    def test_the_manual_has_the_description_and_the_footer_of_help(self):
        before, after = re.split(r"^Usage:.*?\n\n\n", self.help, maxsplit=1,
                                 flags=re.DOTALL | re.MULTILINE)
        self.assertEqual(unquoted(self.section("DESCRIPTION")), " ".join(before.split()) + "\n")
        status = after[after.index("Exit status:\n"):].splitlines()[1:]
        self.assertEqual(unquoted(self.section("EXIT STATUS")),
                         "".join(".TP\n{}\n{}\n".format(*line.split(None, 1)) for line in status))
        example = after[:after.index("Exit status:\n")].split("Example:\n")[1]
        lines = [line for line in unquoted(self.section("EXAMPLE")).splitlines() if line[0] != "."]
        self.assertEqual(lines, [line.strip() for line in example.splitlines() if line])

    def test_mandoc_finds_no_fault(self):
        self.need("mandoc")
        for page in MANUALS:
            lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", page], capture_output=True,
                                  text=True, check=False)
            self.assertEqual((lint.returncode, lint.stdout, lint.stderr), (0, "", ""), page)

    # The completions.

    def test_bash_offers_the_options_of_help(self):
        self.need("bash")
        script = f". '{BASH}'; COMP_WORDS=(egress-report -); COMP_CWORD=1; _egress_report; " \
                 "printf '%s\\n' \"${COMPREPLY[@]}\""
        offered = subprocess.run(["bash", "-euc", script], capture_output=True, text=True, check=True)
        self.assertEqual(sorted(offered.stdout.split()), sorted(self.texts_of_help()))
        self.assertEqual(offered.stderr, "")

    def test_zsh_has_the_options_of_help(self):
        text = ZSH.read_text().replace("\\\n", "")
        name, command, *specs = shlex.split(text.replace("#compdef ", ""))
        self.assertEqual((name, command), ("egress-report", "_arguments"))
        found = {}
        for spec in specs:
            match = re.match(r"(?:\([^)]*\))?\*?(-[a-z-]+?)(?:=-?)?\[((?:\\.|[^\\\]])*)\]", spec)
            found[match[1]] = re.sub(r"\\(.)", r"\1", match[2])
        self.assertEqual(found, self.texts_of_help())

    def test_fish_has_the_options_of_help(self):
        first, *lines = FISH.read_text().splitlines()
        self.assertEqual(first, "complete -c egress-report -f")
        found = {}
        for line in lines:
            match = re.fullmatch(
                r"complete -c egress-report((?: -[sl] \S+)+).*? -d '((?:\\.|[^\\'])*)'", line)
            for kind, name in re.findall(r" -([sl]) (\S+)", match[1]):
                found[{"s": "-", "l": "--"}[kind] + name] = re.sub(r"\\(.)", r"\1", match[2])
        self.assertEqual(found, self.texts_of_help())

    def assert_completes(self, terminal):
        """Bash and zsh complete options, words, files and users."""
        self.file("a file.json", "")
        for typed, words in {
                "--ob": ["--observe"],
                "--json=d": ["--json=details"],
                "--json=r": ["--json=report"],
                "--config a": ["--config", "a file.json"],
                "--config=a": ["--config=a file.json"],
                "--answer proxy=a": ["--answer", "proxy=a file.json"],
                "--user roo": ["--user", "root"]}.items():
            with self.subTest(typed):
                self.assertEqual(terminal.completed(f"egress-report {typed}"), ["egress-report", *words])

    def test_bash_completes(self):
        bash = self.terminal("bash", "--noprofile", "--norc", "-i")
        bash.run(f". '{BASH}'")
        self.assert_completes(bash)

    def test_zsh_completes(self):
        zsh = self.terminal("zsh", "-f", "-i")
        folder = self.folder / "functions"
        folder.mkdir()
        (folder / "_egress-report").symlink_to(ZSH)
        zsh.run(f"bindkey -e; fpath=('{folder}' $fpath); autoload -U compinit; compinit -D -u")
        self.assert_completes(zsh)

    def fish_offers(self, line):
        """The completions of a command line, without their texts."""
        self.need("fish")
        folders = {name: str(self.folder) for name in ["HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"]}
        offered = subprocess.run(["fish", "-N", "-c", f"source '{FISH}'; complete -C '{line}'"],
                                 capture_output=True, text=True, check=True, cwd=self.folder,
                                 env=os.environ | folders)
        return [row.split("\t")[0] for row in offered.stdout.splitlines()]

    def test_fish_completes(self):
        self.file("a file.json", "")
        self.assertEqual(self.fish_offers("egress-report --ob"), ["--observe"])
        self.assertEqual(sorted(self.fish_offers("egress-report --json=")),
                         ["--json=details", "--json=report"])
        self.assertEqual(self.fish_offers("egress-report --config a"), ["a file.json"])
        self.assertEqual(self.fish_offers("egress-report --hint a"), [])
        self.assertEqual(self.fish_offers("egress-report a"), [])
        self.assertIn("root", self.fish_offers("egress-report --user roo"))

    def test_a_name_of_a_process_is_not_run(self):
        # Any user may give any name to a process.
        bash = self.terminal("bash", "--noprofile", "--norc", "-i")
        bash.run(f". '{BASH}'")
        name = "pq$(touch run)"
        program = self.folder / name
        program.symlink_to(shutil.which("sleep"))
        process = subprocess.Popen([program, "60"])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        while Path(f"/proc/{process.pid}/comm").read_text() != name + "\n":
            time.sleep(0.01)  # a new program has its name some time after it was started
        for typed in ["--process pq", "--process=pq"]:
            completed = bash.completed(f"egress-report {typed}")
            self.assertEqual(" ".join(completed), f"egress-report {typed[:-2]}{name}")
        self.assertFalse((self.folder / "run").exists())


if __name__ == "__main__":
    unittest.main()
