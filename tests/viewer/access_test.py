"""What people need who use a keyboard, a screen reader, another scheme of colours or larger text."""

import json
from pathlib import Path

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from browser import PageTest
from snapshots import AGREES, BROKEN, DISAGREES, socket

AXE = Path(__file__).resolve().parents[2] / "apps/viewer/node_modules/axe-core/axe.min.js"
STATES = {
    "empty": [],
    "agrees": [("host.json", AGREES)],
    "disagrees": [("host.json", DISAGREES)],
    "broken": [("host.json", BROKEN)],
    "pair": [("a.json", AGREES), ("b.json", DISAGREES)],
    "problem": [("c.json", '{"a" 1}')],
}


class AccessTest(PageTest):
    def press(self, *keys):
        ActionChains(self.browser).send_keys(*keys).perform()

    def focused(self):
        return self.browser.switch_to.active_element

    def test_axe_finds_nothing_serious(self):
        axe = AXE.read_text()
        for scheme in ["light", "dark"]:
            for name, files in STATES.items():
                with self.subTest(scheme=scheme, state=name):
                    self.emulate(scheme=scheme)
                    self.open()
                    if files:
                        self.drop(*files)
                    self.script("for (const node of document.querySelectorAll('details'))"
                                " node.open = true;")
                    self.script(axe)
                    found = self.browser.execute_async_script(
                        "axe.run().then(arguments[0], (error) => arguments[0](String(error)))")
                    self.assertNotIsInstance(found, str)
                    self.assertGreater(len(found["passes"]), 10)
                    self.assertEqual([(row["id"], [node["html"] for node in row["nodes"]])
                                      for row in found["violations"]
                                      if row["impact"] in ["serious", "critical"]], [])

    def test_the_keyboard_alone_leads_from_the_start_to_the_answer_and_on(self):
        places = []
        for _ in range(8):
            self.press(Keys.TAB)
            node = self.focused()
            places.append(node.get_attribute("id") or node.tag_name)
            if node.tag_name == "summary":
                self.press(Keys.ENTER)
            if places[-1] == "pasted":
                self.browser.execute_cdp_cmd("Input.insertText", {"text": json.dumps(AGREES)})
            if places[-1] == "read":
                self.press(Keys.ENTER)
                break
        self.assertEqual(places, ["a", "files", "summary", "pasted", "read"])
        self.wait_for(lambda: self.all(".answer"))
        self.assertEqual(self.focused().text, "Traffic leaves through wan0.")
        reached = []
        for _ in range(20):
            self.press(Keys.TAB)
            reached.append(self.focused().text or self.focused().get_attribute("aria-label"))
        for expected in ["The way as text", "Anonymize and save", "Copy the report"]:
            self.assertIn(expected, [text.split("\n")[0] for text in reached if text])

    def test_what_has_the_focus_is_outlined(self):
        self.drop(("host.json", AGREES))
        for _ in range(12):
            self.press(Keys.TAB)
            node = self.focused()
            if node.tag_name == "body":
                continue  # after the last one
            style = self.script("const node = arguments[0].closest('label') ?? arguments[0];"
                                "return getComputedStyle(node).outlineStyle", node)
            self.assertEqual(style, "solid", node.get_attribute("outerHTML")[:80])

    def test_there_is_one_main_heading_and_each_picture_is_told_as_text(self):
        self.drop(("a.json", AGREES), ("b.json", DISAGREES))
        self.wait_for(lambda: len(self.all(".picture")) == 2)
        self.assertEqual(len(self.all("h1")), 1)
        self.assertEqual([len(self.all(f"body > {name}")) for name in ["header", "main", "footer"]],
                         [1, 1, 1])
        for picture in self.all(".picture"):
            self.assertEqual(picture.get_attribute("role"), "img")
            self.assertEqual(picture.accessible_name,
                             "The way of the traffic; the text below says the same")
        texts = [node.get_attribute("textContent") for node in self.all(".as-text li")]
        for expected in ["Outbound proxy of type selector. Its answer leads on.",
                         "Endpoint 198.51.100.10:443.",
                         "2 TCP connections from 10.0.0.7:51000 and 10.0.0.7:51002."
                         " \u2192 tun3 by route. \u2192 wan0 by source address.",
                         "Interface tun3: traffic leaves here; up, tunnel; default route IPv4, "
                         "metric 50; 10.8.0.2."]:
            self.assertIn(expected, texts)

    def test_the_page_is_printed_by_its_button(self):
        self.drop(("host.json", AGREES))
        self.script("window.print = () => { window.isPrinted = true; };")
        self.all("#print")[0].send_keys(Keys.ENTER)
        self.assertTrue(self.script("return window.isPrinted"))

    def test_paper_says_how_many_rows_it_lacks_and_what_an_opened_text_is(self):
        def shown():
            return [node.text for node in self.all(".unprinted, .panels summary, .as-text summary")
                    if node.is_displayed()]
        rows = [socket(i + 1024) for i in range(400)]
        self.drop(("host.json", AGREES | {"sockets": {"rows": rows}}))
        self.assertEqual(shown(), ["The way as text", "The report's JSON"])
        self.all(".panels summary")[0].click()
        self.emulate(media="print")
        self.assertEqual(shown(), ["350 more rows not printed.", "The report's JSON"])
        self.emulate()
        self.all(".more:not([hidden])")[0].send_keys(Keys.ENTER)
        self.emulate(media="print")
        self.assertEqual(shown(), ["The report's JSON"])

    def status(self):
        """The status: whether screen readers have it, whether it is in the window, and its text."""
        return self.script("const node = document.getElementById('status');"
                           "const { left, top, right, bottom } = node.getBoundingClientRect();"
                           "return [node.checkVisibility(), left >= 0 && top >= 0 &&"
                           " right <= innerWidth && bottom <= innerHeight && right - left > 50,"
                           " node.textContent];")

    def test_the_answer_and_a_problem_are_announced(self):
        self.assertEqual(self.all("#status")[0].get_attribute("aria-live"), "polite")
        self.assertEqual(self.all("#problems")[0].get_attribute("role"), "alert")
        # A region is announced if it was there before its text.
        self.assertEqual(self.status(), [True, False, ""])
        self.drop(("host.json", AGREES))
        self.assertEqual(self.status(), [True, False, "host.json: Traffic leaves through wan0."])

    def test_what_the_page_does_is_shown_where_the_user_is(self):
        self.drop(("host.json", AGREES))
        self.set_size(1280, 700)
        [copy] = [node for node in self.all("button") if node.text == "Copy the report"]
        copy.click()
        self.wait_for(lambda: self.status() == [True, True, "The report was copied."])
        self.browser.save_screenshot(str(self.shots / "status.png"))

    def test_reading_a_large_file_is_shown(self):
        self.drop(("host.json", AGREES))
        self.script("File.prototype.arrayBuffer = () => new Promise(() => {});")
        self.drop(("large.json", " " * 2**20), waits=False)
        self.wait_for(lambda: self.status() == [True, True, "Reading\u2026"])

    def test_copying_without_the_clipboard_keeps_the_focus(self):
        self.drop(("host.json", AGREES))
        self.script("navigator.clipboard.writeText = () => Promise.reject(new Error('closed'));")
        [copy] = [node for node in self.all("button") if node.text == "Copy the report"]
        copy.send_keys(Keys.ENTER)
        self.wait_for(lambda: self.text("#status") == "The report was copied.")
        self.assertEqual(self.focused(), copy)

    def test_the_last_rows_of_a_table_keep_the_focus(self):
        self.drop(("host.json", AGREES | {"sockets": {"rows": [socket(i + 1024) for i in range(60)]}}))
        self.all(".more:not([hidden])")[0].send_keys(Keys.ENTER)
        self.assertEqual(self.all(".more:not([hidden])"), [])
        self.assertEqual(self.focused().get_attribute("aria-label"), "Sockets to the endpoint")

    def test_nothing_moves_for_those_who_want_no_motion(self):
        self.emulate(motion="reduce")
        durations = self.script("return [...document.querySelectorAll('*')].map((node) => "
                                "getComputedStyle(node).transitionDuration)")
        self.assertEqual(set(durations), {"0s"})

    def test_at_200_percent_nothing_is_cut_off(self):
        self.set_size(640, 500)
        self.drop(("host.json", DISAGREES))
        self.assertLessEqual(self.script("return document.documentElement.scrollWidth"), 640)
