#!/usr/bin/python3
"""The page that egress-report --html writes. What a browser shows of it is another test."""

import json
import os
import shutil
import stat
import unittest

from report_program import EMPTY_SNAPSHOT, HEALTHY_SNAPSHOT, PROGRAM, ProgramTest

NAME = "egress-viewer.html"
BEFORE = '<!DOCTYPE html>\n<title>\u00e9</title>\n<script type="application/json" id="snapshot">'
AFTER = "</script>\n<script>1 < 2</script>\n"
HOSTILE = "</script><script>alert(1)</script><!-- <script> ]]> &lt; \u2028"


class HtmlTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.program = self.folder / "prefix/bin/egress-report"
        self.page = self.folder / "prefix/share/egress" / NAME
        self.target = self.folder / "page.html"
        self.program.parent.mkdir(parents=True)
        shutil.copy(PROGRAM, self.program)
        self.install(self.page)

    def install(self, path, content=BEFORE + AFTER):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding="utf-8")

    def show(self, *arguments, snapshot=HEALTHY_SNAPSHOT, target=None, **options):
        return self.run_program("--snapshot", self.file("given.json", json.dumps(snapshot)), "--html",
                                target or self.target, *arguments, program=self.program, **options)

    def snapshot_in(self, text):
        """The JSON in the page, which must be the installed one around it."""
        self.assertTrue(text.startswith(BEFORE))
        self.assertTrue(text.endswith(AFTER))
        return text[len(BEFORE):-len(AFTER)]

    def saved(self, *arguments, snapshot=HEALTHY_SNAPSHOT):
        given = self.file("given.json", json.dumps(snapshot))
        result = self.run_program("--snapshot", given, "--save-snapshot", "-", *arguments)
        return result.output.removesuffix("\n")

    def page_text(self):
        return self.target.read_text(encoding="utf-8")

    def assert_refused(self, message, **options):
        result = self.show(**options)
        self.assertEqual((result.status, result.output), (2, ""))
        self.assertEqual(result.error, f"egress-report: {message}\n")
        self.assertFalse(self.target.exists())

    def test_the_page_has_the_anonymized_snapshot(self):
        result = self.show()
        self.assertEqual((result.status, result.error), (0, ""))
        self.assertEqual(result.report["selectionStatus"], "OK")
        self.assertEqual(self.snapshot_in(self.page_text()), self.saved("--anonymize"))
        self.assertNotIn("198.51.100.10", self.page_text())

    def test_the_page_has_the_snapshot_as_it_is_if_it_may(self):
        self.show("--not-anonymized")
        self.assertEqual(self.snapshot_in(self.page_text()), self.saved())

    def test_the_saved_snapshot_is_anonymized_on_its_own(self):
        other = self.folder / "saved.json"
        self.show("--save-snapshot", other)
        self.assertEqual(other.read_text(), self.saved() + "\n")
        self.assertEqual(self.snapshot_in(self.page_text()), self.saved("--anonymize"))

    def test_no_text_of_the_snapshot_ends_the_element(self):
        snapshot = EMPTY_SNAPSHOT | {"selectorHint": HOSTILE}
        self.show("--not-anonymized", snapshot=snapshot)
        content = self.snapshot_in(self.page_text())
        self.assertNotIn("<", content)
        self.assertEqual(json.loads(content), json.loads(self.saved(snapshot=snapshot)))
        self.assertEqual(json.loads(content)["selectorHint"], HOSTILE)

    def test_the_page_may_replace_the_report(self):
        result = self.show(target="-", output="")
        self.assertEqual(result.status, 0)
        self.assertEqual(self.snapshot_in(result.output), self.saved("--anonymize"))

    def test_only_its_owner_can_read_the_page(self):
        self.show()
        self.assertEqual(stat.S_IMODE(self.target.stat().st_mode), 0o600)

    def test_a_page_beside_the_program_is_found_too(self):
        self.page.rename(self.program.with_name(NAME))
        self.assertEqual(self.show().status, 0)
        self.snapshot_in(self.page_text())

    def test_a_page_that_is_not_installed_is_an_error(self):
        self.page.unlink()
        self.assert_refused(f"--html: '{self.page}' does not exist: scripts/wasm builds the page; install it, "
                            "or copy it beside this program")

    def test_a_page_without_the_element_is_an_error(self):
        self.install(self.page, BEFORE + "{}" + AFTER)
        self.assert_refused(f"--html: '{self.page}' has no empty element for a snapshot")

    def test_a_page_that_is_no_file_is_an_error(self):
        self.page.unlink()
        os.mkfifo(self.page)
        self.assert_refused(f"--html: cannot read '{self.page}': not a regular file")

    def test_a_page_that_cannot_be_written_does_not_hide_the_report(self):
        result = self.show(target=self.folder / "none" / "page.html")
        self.assertEqual(result.status, 2)
        self.assertIn("--html: ", result.error)
        self.assertEqual(result.report["selectionStatus"], "OK")

    def test_options_that_do_not_go_together_are_refused(self):
        given = self.file("given.json", json.dumps(HEALTHY_SNAPSHOT))
        rows = [
            (["--html", "-", "--save-snapshot", "-", "--snapshot", given],
             "--save-snapshot and --html: only one of them can write '-'"),
            (["--html", self.target, "--snapshot", given, "--snapshot", given],
             "--html: shows only one snapshot"),
            (["--not-anonymized", "--snapshot", given],
             "--not-anonymized requires --html; see egress-report --help"),
            (["--html", self.target, "--watch", "--pid", "1"],
             "--html excludes --watch; see egress-report --help"),
            (["--html", self.target, "--udp", "--snapshot", given],
             "--html excludes --udp; see egress-report --help"),
        ]
        for arguments, message in rows:
            with self.subTest(message):
                result = self.run_program(*arguments, program=self.program, output="")
                self.assertEqual((result.status, result.output), (2, ""))
                self.assertEqual(result.error, f"egress-report: {message}\n")


if __name__ == "__main__":
    unittest.main()
