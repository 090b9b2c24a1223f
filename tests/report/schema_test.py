#!/usr/bin/python3
"""The schemas in docs/ accept what the documentation shows and reject what is invalid."""

import copy
import json
import re
import unittest

from report_program import SOURCE_DIR, schema_errors


def shown_report():
    """The report in README.md."""
    readme = (SOURCE_DIR / "README.md").read_text()
    return json.loads(re.search(r"```json\n(.*?)```", readme, flags=re.DOTALL).group(1))


class ReportSchemaTest(unittest.TestCase):
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


if __name__ == "__main__":
    unittest.main()
