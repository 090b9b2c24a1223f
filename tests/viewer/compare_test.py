"""Two snapshots side by side, and what leaves the page by the user's hand."""

import json

from selenium.webdriver.common.by import By

from browser import PageTest
from snapshots import AGREES, ANSWERS, DISAGREES, ENGINE_CONFIG


class CompareTest(PageTest):
    def differences(self):
        """What differs, by what it is."""
        rows = self.script("return [...document.querySelectorAll('.differences tbody tr')].map((row) =>"
                           " [...row.children].map((cell) => cell.textContent))")
        return {what: (left, right) for what, left, right in rows}

    def test_two_dropped_snapshots_stand_side_by_side(self):
        self.set_size(1500, 1000)
        self.drop(("monday.json", AGREES), ("tuesday.json", DISAGREES))
        self.wait_for(lambda: len(self.all(".picture")) == 2)
        self.assertEqual([node.text for node in self.all(".answer")],
                         ["Traffic leaves through wan0.",
                          "Traffic leaves through tun3, not through wan0."])
        tops = [node.rect["y"] for node in self.all(".summary")]
        self.assertEqual(tops[0], tops[1])
        found = self.differences()
        self.assertEqual(found["crossCheck"], ("AGREES", "DISAGREES"))
        self.assertEqual(found["leaves through"], ("wan0", "tun3"))
        one = "TCP 10.0.0.7:51000 \u2192 198.51.100.10:443"
        self.assertEqual(found[one], ("Leaves through: wan0; Route: wan0",
                                      "Leaves through: tun3; Route: tun3"))
        self.assertEqual(found["missing fact"],
                         ("none", "Packets are missing: CAP_NET_RAW is missing."))
        self.assertEqual(found["TCP 10.0.0.7:51004 \u2192 198.51.100.10:443"][1], "none")
        self.assertNotIn("Endpoint", found)
        self.assertNotIn("wan0", found)
        self.shoot("pair")

    def test_a_snapshot_is_compared_with_a_chosen_one(self):
        other = AGREES | {"adapters": {"rows": AGREES["adapters"]["rows"][:3]}}
        path = self.folder / "other.json"
        path.write_text(json.dumps(other))
        self.assertFalse(self.browser.find_element(By.ID, "compare").is_displayed())
        self.drop(("host.json", AGREES))
        self.browser.find_element(By.ID, "other").send_keys(str(path))
        self.wait_for(lambda: len(self.all(".answer")) == 2)
        self.assertEqual(self.differences(), {"wlan0": ("down, other", "none")})

    def test_what_belongs_to_each_host_has_its_name(self):
        for width, shot in [(1500, "pair-wide"), (700, "pair-700")]:
            self.set_size(width, 1000)
            self.drop(("host.json", AGREES), ("host.json", DISAGREES))
            headings = [node.text for node in self.all("h2")]
            self.assertEqual(headings[2:], ["What differs", "host.json (1)", "host.json (2)"])
            self.wait_for(lambda: len(self.all(".picture")) == 2)
            self.shoot(shot)
        for selector in ["section, [role=region]", "button:not([hidden])"]:
            names = [node.accessible_name for node in self.all(f"#result :is({selector})")]
            self.assertGreater(len(names), 7)
            self.assertEqual(len(set(names)), len(names), names)
        for text in ["Copy the report host.json (1)", "Save the picture host.json (2)"]:
            self.assertIn(text, names)
        self.drop(("host.json", AGREES))
        self.assertEqual([node.text for node in self.all("h2")], ["Traffic leaves through wan0."])

    def answers(self):
        return [node.text for node in self.all(".answer")]

    def test_texts_belong_to_both_hosts_of_a_pair(self):
        other = {key: AGREES[key] for key in AGREES if key not in ["config", "selectorAnswers"]}
        self.drop(("a.json", other), ("b.json", other))
        self.drop(("c.json", ENGINE_CONFIG))
        self.drop(("x.json", ANSWERS))
        self.assertEqual(self.answers(), ["Traffic leaves through wan0."] * 2)
        self.assertEqual(self.text("#taken").count("c.json: read as a configuration"), 1)

    def test_what_is_compared_must_be_a_snapshot(self):
        self.drop(("host.json", AGREES))
        path = self.folder / "c.json"
        for text, problem in [(ENGINE_CONFIG, "this is a configuration; choose the snapshot"),
                              ("broken", "this is not JSON")]:
            path.write_text(text)
            self.browser.find_element(By.ID, "other").send_keys(str(path))
            expected = f"c.json: {problem}"
            self.wait_for(lambda text=expected: text in self.text("#problems"))
            self.assertEqual(self.answers(), ["Traffic leaves through wan0."])

    def test_a_snapshot_is_dropped_on_compare_with(self):
        self.drop(("host.json", AGREES))
        self.drop(("other.json", DISAGREES), on="other")
        self.assertEqual(len(self.answers()), 2)
        self.drop(("a.json", AGREES), ("b.json", AGREES), on="other")
        self.assertEqual(self.answers(), ["Traffic leaves through wan0."] * 2)
        self.assertIn("b.json: two snapshots can be compared", self.text("#problems"))

    def test_equal_snapshots_differ_in_nothing(self):
        self.drop(("a.json", AGREES), ("b.json", AGREES))
        self.assertEqual(self.differences(), {})
        self.assertIn("Nothing that the page compares: the answer", self.text(".differences"))


class SaveTest(PageTest):
    def saved(self, button, name):
        """The text of the file that a button saves."""
        self.browser.execute_cdp_cmd("Browser.setDownloadBehavior", {
            "behavior": "allow", "downloadPath": str(self.downloads)})
        [node] = [node for node in self.all("button") if node.text == button]
        node.click()
        path = self.downloads / name
        self.wait_for(lambda: path.exists() and path.stat().st_size > 0)
        return path.read_text()

    def test_an_anonymized_snapshot_is_saved(self):
        self.drop(("host.json", DISAGREES))
        saved = self.saved("Anonymize and save", "anonymized-host.json")
        for secret in ["Tokyo", "wan0", "tun3", "10.0.0.7", "198.51.100.10", "51000"]:
            self.assertNotIn(secret, saved)
        report = self.text(".panels pre")
        self.drop(("anonymized.json", saved))
        self.assertEqual(self.text(".panels pre"), report)

    def test_the_details_and_the_picture_are_saved(self):
        name = "n" * 500
        self.drop(("host.json", AGREES | {"mainTag": name, "config": AGREES["config"] | {
            "outbounds": [AGREES["config"]["outbounds"][2] | {"tag": name}]}}))
        details = json.loads(self.saved("Save the details", "details.json"))
        self.assertEqual(details["way"]["entered"][0]["tag"], name)
        picture = self.saved("Save the picture", "way.svg")
        self.assertTrue(picture.startswith("<svg"))
        self.assertIn("traffic leaves here", picture)

    def test_the_report_is_copied(self):
        self.drop(("host.json", AGREES))
        [node] = [node for node in self.all("button") if node.text == "Copy the report"]
        node.click()
        self.wait_for(lambda: self.text("#status") == "The report was copied.")
