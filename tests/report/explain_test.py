#!/usr/bin/python3
"""egress-report --explain, compared with docs/status-words.md."""

import re
import unittest

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, SOURCE_DIR, ProgramTest


def sections(text, level):
    """The sections of one heading level, by the name in backquotes."""
    parts = re.split(rf"^{level} `(.*)`$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2], strict=True))


PAGE = (SOURCE_DIR / "docs/status-words.md").read_text()
EXPLAINED = {key: sections(text, "###") for key, text in sections(PAGE, "##").items()}


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
        for label in ("Means", "Usual cause", "What to do"):
            paragraph = re.search(rf"\*\*{label}:\*\* (.*?)\n\n", section, re.DOTALL).group(1)
            expected.append(f"{label}: {paragraph}")
        self.assertIn(self.one_line(" ".join(expected)), self.one_line(output))

    def test_the_answer_comes_first(self):
        answer = self.diagnose_snapshot(HEALTHY_SNAPSHOT, output="").output
        output = self.explain(HEALTHY_SNAPSHOT)
        self.assertTrue(output.startswith(answer + "\ncrossCheck: UNKNOWN\n    Means: "))
        self.assertIn("\nselectionStatus: OK, interface 1\n    Means: ", output)
        self.assert_explained(output, "crossCheck", "UNKNOWN")
        self.assert_explained(output.replace("OK, interface 1", "OK"), "selectionStatus", "OK")

    def test_the_example_in_the_documentation(self):
        page = (SOURCE_DIR / "docs/egress-report.md").read_text()
        snapshot, = re.findall(r"^```json\n(.*?)^```$", page, re.DOTALL | re.MULTILINE)
        output, _watching = re.findall(r"^```text\n(.*?)^```$", page, re.DOTALL | re.MULTILINE)
        self.assertEqual(self.diagnose_text(snapshot, output="").output, output)

    def test_every_word_except_ok_is_explained(self):
        wrong = EMPTY_SNAPSHOT | {
            "config": {"configStatus": "OK", "autoDetectInterface": True},
            "selectorHint": "x", "sockets": {"enumFailed": True},
            "routes": {"rows": [{"family": 4, "interfaceIndex": 3, "routeMetric": 7}]}}
        output = self.explain(wrong)
        words = {"crossCheck": "UNKNOWN",
                 "selectionStatus": "NOT_EVALUATED_ENDPOINT_UNAVAILABLE",
                 "egressSelectionPolicy": "singbox_auto_detect",
                 "activeEndpointStatus": "OUTBOUND_NOT_FOUND",
                 "selectorHintStale": "true",
                 "defaultRoutesStatus": "SNAPSHOT_INCONSISTENT",
                 "defaultRoutes[].interfaceOrdinalStatus": "ROUTE_INTERFACE_UNMAPPED",
                 "socketSourcesStatus": "SOCKET_ENUM_FAILED"}
        for key, word in words.items():
            self.assert_explained(output, key, word)
        self.assertIn("configStatus: OK\nautoDetectInterfaceEnabled: true\n", output)
        self.assertIn("interfacesStatus: OK\ninterfaces: none\n", output)
        self.assertIn("    family 4, an interface without an ordinal, "
                      "interfaceOrdinalStatus ROUTE_INTERFACE_UNMAPPED, routeMetric 7\n", output)
        output = self.explain(EMPTY_SNAPSHOT | {"adapters": {"enumFailed": True}})
        others = {"configStatus": "NO_CONFIG", "interfacesStatus": "ADAPTER_ENUM_FAILED"}
        for key, word in others.items():
            self.assert_explained(output, key, word)
        self.assertEqual((words | others).keys(), EXPLAINED.keys())

    def test_interfaces_are_shown_with_the_names_in_the_snapshot(self):
        first, second = HEALTHY_SNAPSHOT["adapters"]["rows"]
        rows = [first | {"name": "wlan0\x1b[31m\u00e9"}, second | {"name": "eth0"}]
        output = self.explain(HEALTHY_SNAPSHOT | {"adapters": {"rows": rows}})
        self.assertIn("\nselectionStatus: OK, interface 1 (eth0)\n", output)
        self.assertIn("\n    interface 2 (wlan0%1B[31mé), operStatus 1,", output)
        self.assertIn("\n    family 4, interface 1 (eth0), ", output)
        self.assertIn("observedSocketSources:\n    interface 1 (eth0)\n", output)

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
