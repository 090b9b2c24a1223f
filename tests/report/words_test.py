#!/usr/bin/python3
"""Compares docs/status-words.md, docs/report.schema.json and --explain with the declared words."""

import copy
import json
import os
import re
import subprocess
import unittest

from report_program import (EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, SCHEMA, SOURCE_DIR, ProgramTest,
                            schema_errors)

PAGE = (SOURCE_DIR / "docs/status-words.md").read_text()
LABELS = ["Means", "Usual cause", "What to do", "Smallest input"]
ROUTE_STATUS = "defaultRoutes[].interfaceOrdinalStatus"


def declared_words():
    """The library's words by key."""
    printed = subprocess.run([os.environ["EGRESS_DECLARED_WORDS"]], capture_output=True, text=True,
                             check=True).stdout
    words = {}
    for line in printed.splitlines():
        key, word = line.split()
        words.setdefault(key, []).append(word)
    return words


def sections(text, level):
    """The sections of one heading level, by the name in backquotes."""
    parts = re.split(rf"^{level} `(.*)`$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2], strict=True))


EXPLAINED = {key: sections(text, "###") for key, text in sections(PAGE, "##").items()}
DECLARED = declared_words()
BOOLEAN = {"selectorHintStale": ["false", "true"]}  # explained although it is not a status


def blocks(section):
    """The kind and the text of each fenced block of a section."""
    return re.findall(r"^```\w+ (.*)\n((?:.*\n)*?)```$", section, flags=re.MULTILINE)


def arguments_for(test, section):
    """The options of egress-report for the input in a section."""
    arguments = ["--snapshot", test.file("default.snapshot", EMPTY_SNAPSHOT + "end\n")]
    for kind, text in blocks(section):
        match kind.split():
            case ["configuration"]:
                arguments += ["--config", test.file("config.json", text)]
            case ["answer", tag]:
                arguments += ["--answer", f"{tag}={test.file('answer.json', text)}"]
            case ["snapshot"]:
                arguments[1] = test.file("shown.snapshot", text)
            case _:
                test.fail(f"unknown kind of block: {kind}")
    return arguments


class PageTest(ProgramTest):
    def test_the_page_has_exactly_the_declared_words_in_order(self):
        self.assertEqual({key: list(words) for key, words in EXPLAINED.items()},
                         DECLARED | BOOLEAN)

    def test_no_heading_is_duplicate(self):
        count = sum(len(words) for words in EXPLAINED.values()) + len(EXPLAINED)
        self.assertEqual(len(re.findall("^###? ", PAGE, flags=re.MULTILINE)), count)

    def test_every_word_has_all_paragraphs(self):
        for key, words in EXPLAINED.items():
            for word, section in words.items():
                with self.subTest(key=key, word=word):
                    self.assertEqual(re.findall(r"^\*\*(.*):\*\*", section, flags=re.MULTILINE),
                                     LABELS)
                    for label in LABELS[:3]:
                        self.assertRegex(section, rf"\n\n\*\*{label}:\*\* [\w`][^*]*\.\n\n")
                    self.assertGreaterEqual(len(blocks(section)), 1)

    def test_every_smallest_input_produces_its_word(self):
        for key, words in EXPLAINED.items():
            for word, section in words.items():
                with self.subTest(key=key, word=word):
                    result = self.run_program(*arguments_for(self, section))
                    self.assertEqual(result.error, "")
                    self.assertIn(word, self.words_under(key, result.report))

    def words_under(self, key, report):
        member, _, row_key = key.partition("[].")
        if row_key:
            return [row[row_key] for row in report[member]]
        return [json.dumps(report[key]) if key in BOOLEAN else report[key]]


def shown_report():
    """The report in README.md."""
    readme = (SOURCE_DIR / "README.md").read_text()
    return json.loads(re.search(r"```json\n(.*?)```", readme, flags=re.DOTALL).group(1))


class SchemaTest(unittest.TestCase):
    def test_has_the_declared_words(self):
        properties = SCHEMA["properties"]
        route = properties["defaultRoutes"]["items"]["properties"]
        found = {key: value["enum"] for key, value in properties.items() if "enum" in value}
        found |= {f"defaultRoutes[].{key}": value["enum"] for key, value in route.items()
                  if "enum" in value}
        self.assertEqual(found, DECLARED)

    def test_accepts_the_report_in_the_readme(self):
        self.assertEqual(schema_errors(shown_report()), [])

    def test_rejects_invalid_reports(self):
        """Each change turns a valid report into one that the library never returns."""
        good = shown_report()
        def removed(report, *path):
            for step in path[:-1]:
                report = report[step]
            del report[path[-1]]
        def changed(report, value, *path):
            for step in path[:-1]:
                report = report[step]
            report[path[-1]] = value
        changes = [lambda report, key=key: removed(report, key) for key in good]
        for key in ("interfaces", "defaultRoutes", "observedSocketSources"):
            changes += [lambda report, key=key, member=member: removed(report, key, 0, member)
                        for member in good[key][0]]
            changes += [lambda report, key=key: changed(report, 1, key, 0, "interfaceIndex"),
                        lambda report, key=key: changed(report, None, key)]
        for key in good:
            if isinstance(good[key], str):
                changes.append(lambda report, key=key: changed(report, "free text", key))
        changes += [
            lambda report: changed(report, 1, "extra"),
            lambda report: changed(report, "AUTO_DETECT_MISSING", "configStatus"),
            lambda report: changed(report, "yes", "autoDetectInterfaceEnabled"),
            lambda report: changed(report, 1, "selectorHintStale"),
            lambda report: changed(report, None, "selectedInterfaceOrdinal"),
            lambda report: changed(report, 0, "selectedInterfaceOrdinal"),
            lambda report: changed(report, "NO_MATCHING_SOCKET", "selectionStatus"),
            lambda report: changed(report, -1, "interfaces", 0, "interfaceMetric"),
            lambda report: changed(report, 2**32, "defaultRoutes", 0, "routeMetric"),
            lambda report: changed(report, 2**31, "interfaces", 0, "operStatus"),
            lambda report: changed(report, "4", "defaultRoutes", 0, "family"),
            lambda report: changed(report, None, "defaultRoutes", 0, "interfaceOrdinal"),
            lambda report: changed(report, "ROUTE_INTERFACE_UNMAPPED", "defaultRoutes", 0,
                                   "interfaceOrdinalStatus"),
            lambda report: changed(report, 1.5, "observedSocketSources", 0, "interfaceOrdinal"),
            lambda report: changed(report, 1, "observedSocketSources", 1, "interfaceOrdinal"),
            lambda report: changed(report, "os_routed", "egressSelectionPolicy"),
            lambda report: changed(report, "unknown", "egressSelectionPolicy"),
            lambda report: changed(report, False, "autoDetectInterfaceEnabled"),
            lambda report: changed(report, "SELECTOR_CYCLE", "activeEndpointStatus"),
            lambda report: report.update(selectionStatus="NOT_APPLICABLE_OS_ROUTED",
                                         selectedInterfaceOrdinal=None),
            lambda report: report.update(selectionStatus="NOT_EVALUATED_ENDPOINT_UNAVAILABLE",
                                         selectedInterfaceOrdinal=None),
            lambda report: report.update(
                activeEndpointStatus="NOT_EVALUATED_CONFIG_UNAVAILABLE",
                selectionStatus="NOT_EVALUATED_ENDPOINT_UNAVAILABLE", selectedInterfaceOrdinal=None),
            lambda report: changed(report, "ADAPTER_ENUM_FAILED", "interfacesStatus"),
            lambda report: changed(report, "ROUTE_ENUM_FAILED", "defaultRoutesStatus"),
            lambda report: changed(report, "SOCKET_ENUM_FAILED", "socketSourcesStatus"),
        ]
        for number, change in enumerate(changes):
            report = copy.deepcopy(good)
            change(report)
            with self.subTest(number=number, report=report):
                self.assertNotEqual(schema_errors(report), [])

    def test_another_order_of_members_is_rejected(self):
        good = shown_report()
        self.assertNotEqual(schema_errors(dict(reversed(good.items()))), [])
        good["interfaces"][0] = dict(reversed(good["interfaces"][0].items()))
        self.assertNotEqual(schema_errors(good), [])


class ExplainTest(ProgramTest):
    def explain(self, snapshot):
        return self.diagnose_snapshot(snapshot, "--explain").output

    @staticmethod
    def one_line(text):
        return " ".join(text.replace("`", "").split())

    def assert_explained(self, output, key, word):
        """The output contains the three paragraphs of the page directly after the word."""
        section = EXPLAINED[key][word]
        expected = [word]
        for label in LABELS[:3]:
            paragraph = re.search(rf"\*\*{label}:\*\* (.*?)\n\n", section, re.DOTALL).group(1)
            expected.append(f"{label}: {paragraph}")
        self.assertIn(self.one_line(" ".join(expected)), self.one_line(output))

    def test_selection_status_comes_first(self):
        output = self.explain(HEALTHY_SNAPSHOT)
        self.assertTrue(output.startswith("selectionStatus: OK, interface 1\n    Means: "))
        self.assert_explained(output.replace("OK, interface 1", "OK"), "selectionStatus", "OK")

    def test_the_example_in_the_readme(self):
        page = (SOURCE_DIR / "examples/linux-host/README.md").read_text()
        snapshot, output = re.findall(r"^```text\n(.*?)```$", page, re.DOTALL | re.MULTILINE)
        self.assertEqual(self.explain(snapshot), output)

    def test_every_word_except_ok_is_explained(self):
        output = self.explain(
            EMPTY_SNAPSHOT + "config status=OK autoDetectInterface=true\nhint tag=x\n"
            "sockets enumFailed=true\nroute family=4 interfaceIndex=3 metric=7\n")
        for key, word in [("selectionStatus", "NOT_EVALUATED_ENDPOINT_UNAVAILABLE"),
                          ("egressSelectionPolicy", "singbox_auto_detect"),
                          ("activeEndpointStatus", "OUTBOUND_NOT_FOUND"),
                          ("selectorHintStale", "true"),
                          ("defaultRoutesStatus", "SNAPSHOT_INCONSISTENT"),
                          (ROUTE_STATUS, "ROUTE_INTERFACE_UNMAPPED"),
                          ("socketSourcesStatus", "SOCKET_ENUM_FAILED")]:
            self.assert_explained(output, key, word)
        self.assertIn("configStatus: OK\nautoDetectInterfaceEnabled: true\n", output)
        self.assertIn("interfacesStatus: OK\ninterfaces: none\n", output)
        self.assertIn("    family 4, an interface without an ordinal, "
                      "interfaceOrdinalStatus ROUTE_INTERFACE_UNMAPPED, routeMetric 7\n", output)

    def test_every_word_of_every_key_can_be_explained(self):
        for key, words in EXPLAINED.items():
            for word in words:
                if key in BOOLEAN or word == "OK" and key != "selectionStatus":
                    continue
                with self.subTest(key=key, word=word):
                    output = self.run_program(*arguments_for(self, words[word]), "--explain").output
                    self.assert_explained(output.replace("OK, interface 1", "OK"), key, word)

    def test_rows_contain_their_interfaces(self):
        output = self.explain(HEALTHY_SNAPSHOT)
        self.assertIn("interfaces:\n    interface 1, operStatus 1, interfaceMetric 5\n"
                      "    interface 2, operStatus 1, interfaceMetric 25\n", output)
        self.assertIn("defaultRoutes:\n    family 4, interface 1, interfaceOrdinalStatus OK, "
                      "routeMetric 100\n", output)
        self.assertIn("observedSocketSources:\n    interface 1\n", output)

    def test_lines_have_at_most_80_columns(self):
        for line in self.explain(EMPTY_SNAPSHOT).splitlines():
            self.assertLessEqual(len(line), 80)


if __name__ == "__main__":
    unittest.main()
