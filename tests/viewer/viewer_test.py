#!/usr/bin/python3
"""Tests of the page that shows a diagnosis, in Chromium.

Usage: viewer_test.py PAGE EGRESS_REPORT FOLDER [TEST...]

Pictures of the page are saved in FOLDER. Exit status: 0 passed, 1 failed, 77 the page, Chromium or
selenium is missing."""

import sys
import unittest
from pathlib import Path

SKIPPED = 77
SUITES = ["read_test", "word_test", "picture_test", "hostile_test", "access_test", "compare_test",
          "size_test"]


def skip(reason):
    print(f"viewer_test: skipped: {reason}")
    sys.exit(SKIPPED)


def main(page, program, shots, *tests):
    if not Path(page).exists():
        skip(f"'{page}' does not exist; scripts/wasm builds it")
    try:
        import browser
    except ImportError as error:
        skip(f"{error}; install python3-selenium, and see scripts/wasm for the page")
    for path in [browser.CHROMIUM, browser.CHROMEDRIVER]:
        if not Path(path).exists():
            skip(f"'{path}' does not exist; install chromium-driver, and see scripts/wasm for the page")
    browser.PageTest.page = Path(page)
    browser.PageTest.shots = Path(shots)
    browser.PageTest.shots.mkdir(parents=True, exist_ok=True)
    browser.PageTest.report_program = program if Path(program).exists() else None
    suite = unittest.defaultTestLoader.loadTestsFromNames(tests or SUITES)
    result = unittest.TextTestRunner(verbosity=1).run(suite)
    sys.exit(not result.wasSuccessful())


if len(sys.argv) < 4:
    sys.exit(__doc__)
main(*sys.argv[1:])
