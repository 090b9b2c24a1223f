"""What the page reads, and what it says of it."""

import json
import shutil
import subprocess

from selenium.webdriver.common.by import By

from browser import PageTest
from snapshots import AGREES, ANSWERS, DISAGREES, EMPTY, ENGINE_CONFIG

# The configuration is in the first case, so that the hosts' lists belong to it.
HOST = {key: AGREES[key] for key in ["format", "version", "adapters", "routes", "sockets"]}


class ReadTest(PageTest):

    def answer(self):
        return self.text(".answer")

    def test_a_dropped_snapshot_is_answered(self):
        self.drop(("host.json", AGREES))
        self.assertEqual(self.answer(), "Traffic leaves through wan0.")
        self.assertIn("3 TCP connections to 198.51.100.10:443 leave through it", self.text(".lead"))
        self.assertEqual(self.text("#taken"), "host.json: read as a snapshot")
        self.assertEqual(self.text("#status"), "host.json: Traffic leaves through wan0.")
        self.assertIn("2026-11-22T04:23:00Z \u00b7 egress-report 0.9.0", self.text(".origin"))

    def test_a_chosen_file_is_answered(self):
        path = self.folder / "chosen.json"
        path.write_text(json.dumps(AGREES))
        self.browser.find_element(By.ID, "files").send_keys(str(path))
        self.wait_for(self.answer)
        self.assertEqual(self.text("#taken"), "chosen.json: read as a snapshot")

    def test_dropped_and_pasted_texts_are_answered(self):
        for event, member in [("drop", "dataTransfer"), ("paste", "clipboardData")]:
            with self.subTest(event=event):
                self.open()
                kind = "DragEvent" if event == "drop" else "ClipboardEvent"
                self.script("const data = new DataTransfer();"
                            "data.setData('text/plain', arguments[0]);"
                            f"document.body.dispatchEvent(new {kind}('{event}',"
                            f" {{{member}: data, bubbles: true, cancelable: true}}));",
                            json.dumps(AGREES))
                self.assertEqual(self.answer(), "Traffic leaves through wan0.")

    def test_everything_in_the_record_is_shown(self):
        self.drop(("host.json", DISAGREES))
        self.assertEqual(self.text(".tone"), "Contradiction")
        self.assertEqual(self.answer(), "Traffic leaves through tun3, not through wan0.")
        panels = self.text(".panels")
        for expected in ["2 comments", "Packets are missing: CAP_NET_RAW is missing",
                         "Packets were observed for 5 seconds."]:
            self.assertIn(expected, panels)
        rows = [[cell.text for cell in row.find_elements(By.XPATH, "*")]
                for row in self.all("tbody")[0].find_elements(By.TAG_NAME, "tr")]
        self.assertEqual(rows[2], ["10.0.0.7:51010", "198.51.100.10:443", "UDP", "ESTABLISHED",
                                   "not counted", "tun3", "route", "wan0", "tun3", "none seen",
                                   "none", "0", "1000"])
        report = json.loads(self.text(".panels pre"))
        self.assertEqual(report["selectedInterfaceOrdinal"], 2)

    def test_a_configuration_and_answers_show_the_way_together_or_one_after_the_other(self):
        config, answers = ("c.json", ENGINE_CONFIG), ("a.json", ANSWERS)
        whole = ("all.json", {"proxies": ANSWERS})
        single = ("proxy.json", ANSWERS["proxy"])
        for drops in [[[config, answers]], [[config], [answers]], [[answers], [config]],
                      [[config, whole]], [[config, single]]]:
            with self.subTest(drops=drops):
                self.open()
                for files in drops:
                    self.drop(*files)
                self.assertEqual(self.answer(), "The way leads to 198.51.100.10:443.")
                taken = self.text("#taken")
                self.assertIn("c.json: read as a configuration", taken)
                self.assertIn("json: read as the answer of the selector \u201cproxy\u201d", taken)

    def test_a_configuration_alone_tells_of_no_failure(self):
        self.drop(("c.json", ENGINE_CONFIG), ("a.json", ANSWERS))
        words = self.script("return [...document.querySelectorAll('.status.notable .key')]"
                            ".map((node) => node.textContent)")
        for key in ["interfacesStatus", "defaultRoutesStatus", "socketSourcesStatus", "crossCheck"]:
            self.assertNotIn(key, words)
        self.assertEqual(self.all(".picture .stop"), [])
        self.assertIn("No host: the list of interfaces was not taken.", self.text(".panels"))
        self.assertNotIn("root", self.text("#result"))

    def test_a_failed_list_says_what_to_do(self):
        self.drop(("host.json", AGREES | {"sockets": {"enumFailed": True, "failureReason": "denied."}}))
        self.assertEqual(self.answer(),
                         "It cannot be told: the engine's sockets are not known: denied.")
        self.assertRegex(self.text(".answer-block"), "What to do: .*root")

    def test_a_default_route_of_an_unknown_interface_is_listed(self):
        self.drop(("host.json", AGREES | {"routes": {"rows": [
            {"family": 4, "interfaceIndex": 99, "routeMetric": 777}]}}))
        self.assertIn("default route IPv4, metric 777: interface unknown", self.text(".panels"))

    def test_a_snapshot_gets_the_configuration_that_is_dropped_with_or_before_or_after_it(self):
        files = [("c.json", ENGINE_CONFIG), ("a.json", ANSWERS), ("h.json", HOST)]
        for drops in [[files], [files[:2], files[2:]], [files[2:], files[:2]]]:
            with self.subTest(drops=drops):
                self.open()
                for dropped in drops:
                    self.drop(*dropped)
                self.assertEqual(self.answer(), "Traffic leaves through wan0.")
                self.assertIn("Nara", self.text(".picture"))

    def test_another_snapshot_replaces_the_first_one_with_its_configuration(self):
        self.drop(("c.json", ENGINE_CONFIG), ("h.json", HOST))
        self.drop(("next.json", AGREES))
        self.assertEqual(self.text("#taken"), "next.json: read as a snapshot")

    def test_a_broken_configuration_is_refused_with_its_line_and_column(self):
        cases = [
            ('{"outbounds": [\n  {"tag": "proxy" "type": 3}]}',
             "line 2, column 19: a comma or the closing bracket is missing"),
            # What the module ignores is not at fault.
            ('{// \u00e9\n"a": [1,], /* , */ "b": nul}',
             "line 2, column 28: this is not true, false or null"),
            ('{"a": "\u00e9" 1}', "line 1, column 12: a comma or the closing bracket is missing"),
            ('{"a": [,]}', "line 1, column 8: a value is missing"),
            ('{"a": [,], "b" 1}', "line 1, column 8: a value is missing"),
            ('{"a": /* 1}', "line 1, column 7: a value is missing"),
            ('{"a": 1', "line 1, column 8: the text is cut off"),
        ]
        for text, expected in cases:
            with self.subTest(text=text):
                self.drop(("c.json", text))
                self.assertIn(f"c.json: this is not JSON: {expected}.", self.text("#problems"))
                self.assertEqual(self.all(".answer"), [])

    def test_what_is_not_read_is_refused_with_the_reason(self):
        newer = EMPTY | {"version": 9}
        truncated = json.dumps(AGREES)[:300]
        cases = [
            (newer, "/version: written by a newer program"),
            (truncated, "this is not JSON: line 1, column 301: the text is cut off"),
            ([1], "this is JSON, but not an object"),
            ("", "the text is empty"),
            ({"format": "egress-details"}, "these are details; choose the snapshot"),
            ({"selectionStatus": "OK"}, "this is a report; choose the snapshot"),
        ]
        for content, expected in cases:
            with self.subTest(expected=expected):
                self.drop(("f.json", content))
                self.assertIn(f"f.json: {expected}", self.text("#problems"))
                self.assertEqual(self.all(".answer"), [])

    def test_a_refused_file_leaves_the_answer(self):
        self.drop(("host.json", AGREES))
        self.drop(("f.json", [1]))
        self.assertEqual(self.answer(), "Traffic leaves through wan0.")
        self.drop(("host.json", DISAGREES))
        self.assertEqual(self.text("#problems"), "")

    def test_a_file_that_is_not_json_leaves_the_answer_and_says_why(self):
        self.drop(("host.json", AGREES))
        cut = json.dumps({key: AGREES[key] for key in reversed(AGREES)})[:300]
        for name, text in [("photo.png", "\u0089PNG\r\n\u001a\n"), ("cut.json", cut)]:
            with self.subTest(name=name):
                self.drop((name, text))
                self.assertEqual(self.answer(), "Traffic leaves through wan0.")
                self.assertEqual(self.text("#taken"), "host.json: read as a snapshot")
                self.assertIn(f"{name}: this is not JSON: line 1", self.text("#problems"))
        self.shoot("problem-after-answer")

    def test_a_broken_configuration_is_told_as_such_beside_its_snapshot(self):
        self.drop(("h.json", HOST), ("c.json", "{"))
        self.assertIn("c.json: read as a configuration, but it is not JSON", self.text("#taken"))
        self.assertIn("c.json: this is not JSON: line 1", self.text("#problems"))

    def test_a_text_in_utf16_is_told_as_such(self):
        for order in ["utf-16-le", "utf-16-be"]:
            path = self.folder / f"{order}.json"
            path.write_bytes(("\ufeff" + json.dumps(AGREES)).encode(order))
            self.browser.find_element(By.ID, "files").send_keys(str(path))
            expected = f"{order}.json: this is UTF-16; save it as UTF-8."
            self.wait_for(lambda text=expected: text in self.text("#problems"))

    def test_the_page_says_whose_answers_it_took(self):
        choice = {"now": "Nara"}
        cases = [
            ("proxy.json", choice, "the answer of the selector \u201cproxy\u201d"),
            # As browsers name a second copy.
            ("proxy (1).json", choice, "the answer of the selector \u201cproxy\u201d"),
            ("x.json", choice | {"name": "out"}, "the answer of the selector \u201cout\u201d"),
            ("x.json", {"a": choice, "b": {}},
             "the answers of the selectors \u201ca\u201d and \u201cb\u201d"),
            ("x.json", {"proxies": {"a": choice, "b": {"type": "Direct"}}},
             "the answer of the selector \u201ca\u201d"),
            ("x.json", {str(i): choice for i in range(4)}, "the answers of 4 selectors"),
        ]
        for name, content, expected in cases:
            with self.subTest(expected=expected):
                self.open()
                self.drop((name, content))
                self.assertEqual(self.text("#taken"), f"{name}: read as {expected}")

    def paste(self, text):
        self.script("document.getElementById('paste').open = true;"
                    "document.getElementById('pasted').value = arguments[0];"
                    "document.getElementById('read').click();", text)

    def test_a_pasted_answer_must_name_its_selector(self):
        self.paste('{"now": "Nara"}')
        self.wait_for(lambda: self.text("#problems"))
        self.assertIn("pasted text: this answer does not name its selector; write it as "
                      '{"TAG": ANSWER}', self.text("#problems"))
        self.assertEqual(self.all(".answer"), [])
        self.paste('{"proxy": {"now": "Nara"}}')
        self.wait_for(lambda: self.text("#taken") ==
                      "pasted text: read as the answer of the selector \u201cproxy\u201d")

    def test_a_folder_is_refused(self):
        self.drop(("host.json", AGREES))
        folder = self.folder / "dropped-folder"
        folder.mkdir()
        for event in ["dragEnter", "dragOver", "drop"]:
            self.browser.execute_cdp_cmd("Input.dispatchDragEvent", {
                "type": event, "x": 300, "y": 100,
                "data": {"items": [], "files": [str(folder)], "dragOperationsMask": 1}})
        self.wait_for(lambda: self.text("#problems") ==
                      "dropped-folder: it cannot be read; a folder cannot be chosen.")
        self.assertEqual(self.answer(), "Traffic leaves through wan0.")

    def test_files_are_taken_in_the_order_of_the_drops(self):
        # The first file becomes readable after the second one.
        self.script("const read = File.prototype.arrayBuffer;"
                    "File.prototype.arrayBuffer = async function () {"
                    "  if (this.name === 'first.json') {"
                    "    await new Promise((done) => setTimeout(done, 300)); }"
                    "  return read.call(this); };")
        self.drop(("first.json", AGREES), waits=False)
        self.drop(("second.json", DISAGREES), waits=False)
        self.wait_for(lambda: self.text("#taken") == "second.json: read as a snapshot")
        self.script("return new Promise((done) => setTimeout(done, 600))")
        self.assertEqual(self.text("#taken"), "second.json: read as a snapshot")

    def test_a_failure_of_the_page_is_told_and_leaves_what_was_shown(self):
        self.drop(("host.json", AGREES))
        self.script("const create = document.createElement;"
                    "document.createElement = function (name) {"
                    "  if (name === 'article') throw new Error('no article');"
                    "  return create.call(document, name); };")
        self.drop(("large.json", json.dumps(DISAGREES) + " " * 2**20))
        self.assertEqual(self.text("#problems"), "large.json: the page failed: no article.")
        self.assertEqual(self.text("#status"), "")
        self.assertEqual(self.answer(), "Traffic leaves through wan0.")
        self.script("delete document.createElement;")
        self.drop(("x.json", ANSWERS))
        self.assertIn("host.json: read as a snapshot", self.text("#taken"))

    def test_files_that_are_too_many_are_named(self):
        self.drop(*[(f"{i}.json", AGREES) for i in range(3)],
                  ("c.json", ENGINE_CONFIG), ("d.json", ENGINE_CONFIG))
        self.assertEqual(len(self.all(".answer")), 2)
        self.assertIn("2.json: two snapshots can be compared; it was left out", self.text("#problems"))
        self.assertIn("d.json: only one file can be a configuration", self.text("#problems"))
        self.drop(*[("same.json", AGREES)] * 3)
        self.assertEqual(len(self.all(".answer")), 2)

    def test_a_page_that_egress_report_filled_shows_its_snapshot_at_once(self):
        if self.report_program is None:
            self.skipTest("no egress-report")
        program = self.folder / "bin" / "egress-report"
        program.parent.mkdir()
        shutil.copy(self.report_program, program)
        shared = self.folder / "share" / "egress"
        shared.mkdir(parents=True)
        shutil.copy(self.page, shared / "egress-viewer.html")
        snapshot = self.folder / "snapshot.json"
        config = AGREES["config"] | {"outbounds": [
            row | {"tag": "</script><!--" if row["tag"] == "hop" else row["tag"]}
            | ({"detour": "</script><!--"} if "detour" in row else {})
            for row in AGREES["config"]["outbounds"]]}
        snapshot.write_text(json.dumps(AGREES | {"config": config}))
        filled = self.folder / "filled.html"
        subprocess.run([program, "--snapshot", snapshot, "--html", filled], check=True,
                       capture_output=True)
        self.open(filled)
        self.assertRegex(self.answer(), r"^Traffic leaves through \S+\.$")
        self.assertEqual(self.text("#taken"), "snapshot: read as a snapshot")
