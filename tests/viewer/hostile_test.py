"""Texts of a snapshot that attack the page, and what the page may not do."""

import json
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from browser import PageTest
from snapshots import AGREES, CONFIG, DISAGREES, EMPTY

MARKUP = "<img src=x onerror=\"document.title='attacked'\"><script>document.title='attacked'</script>"
HOSTILE = AGREES | {
    "origin": {"time": MARKUP, "program": MARKUP, "programVersion": MARKUP, "system": MARKUP},
    "config": CONFIG | {"outbounds": [
        {"tag": "proxy", "type": MARKUP, "detour": MARKUP},
        {"tag": MARKUP, "type": "shadowsocks", "hasServer": True, "server": "198.51.100.10",
         "portSpecified": True, "ports": [443]}]},
    "queries": [{"selectorTag": MARKUP, "outcome": "FAILED", "reason": MARKUP}],
    "processes": [{"id": 1, "user": 0, "program": MARKUP}],
    "adapters": {"rows": [
        {"name": MARKUP, "interfaceIndex": 2, "operStatus": 1, "addresses": ["10.0.0.7", MARKUP]}]},
    "missingFacts": [{"fact": "ROUTE", "reason": MARKUP}],
}


def with_name(name):
    """A snapshot whose interface and first outbound have a name."""
    return AGREES | {
        "config": CONFIG | {"outbounds": [
            CONFIG["outbounds"][0], CONFIG["outbounds"][1] | {"tag": name}, CONFIG["outbounds"][2]]},
        "selectorAnswers": [{"selectorTag": "proxy", "now": name}],
        "adapters": {"rows": [{"name": name, "interfaceIndex": 2, "operStatus": 1,
                               "addresses": ["10.0.0.7"]}]}}


class Server:
    """An HTTP server on the loopback interface, which counts its requests."""

    def __enter__(self):
        self.requests = requests = []

        class Handler(BaseHTTPRequestHandler):
            def do_GET(self):  # pylint: disable=invalid-name
                requests.append(self.path)
                self.send_response(200)
                self.send_header("Access-Control-Allow-Origin", "*")
                self.end_headers()

            def log_message(self, *_):
                pass

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.server.server_close()


class HostileTest(PageTest):
    def test_markup_in_every_text_stays_text(self):
        self.drop((MARKUP, HOSTILE))
        self.assertEqual(self.script("return document.title"), "Egress viewer")
        self.assertEqual(len(self.all("img, iframe, object, embed")), 0)
        self.assertEqual(len(self.all("script")), 2)
        self.assertIn("<img src=x onerror=", self.text(".answer"))
        self.assertIn("<img src=x", self.text(".picture"))
        self.drop((MARKUP, AGREES), (MARKUP + "2", HOSTILE))
        self.assertIn("<img src=x onerror=", self.text(".differences"))
        self.assertEqual(len(self.all("script")), 2)

    def test_what_is_invisible_or_turns_the_text_is_shown_as_an_escape(self):
        cases = [
            ("wan\u202e0\u2066", "wan[U+202E]0[U+2066]"),
            ("a\u200bb\u00adc", "a[U+200B]b[U+00AD]c"),
            ("a\ufff9b", "a[U+FFF9]b"),
            ("a\u0000\n\u001b[1m", "a[U+0000][U+000A][U+001B][1m"),
            ("\U000e0041x\u3164\u2800", "[U+E0041]x[U+3164][U+2800]"),
            ("a\u00a0b\u2028c", "a[U+00A0]b[U+2028]c"),
            ("e\u0301\u0301\u0301\u0301", "e\u0301\u0301[U+0301][U+0301]"),
            # What people write stays.
            ("\u05e9\u05dc \u6771\u4eac \u2708\ufe0f", "\u05e9\u05dc \u6771\u4eac \u2708\ufe0f"),
        ]
        for name, shown in cases:
            with self.subTest(name=name.encode("unicode_escape")):
                self.drop(("host.json", with_name(name)))
                self.assertEqual(self.text(".answer"), f"Traffic leaves through {shown}.")
                self.assertIn(shown[:14], self.text(".picture"))
                self.assertIn(shown, self.text(".panels table"))
                everything = self.script("return document.body.innerText")
                self.assertNotRegex(everything, "[\u202e\u2066\u200b\u0000\u001b\u3164\u2028]")

    def test_a_megabyte_of_name_is_cut(self):
        self.drop(("host.json", with_name("n" * 2**20)))
        shown = "n" * 120 + "... (1,048,576 characters)"
        self.assertEqual(self.text(".answer"), f"Traffic leaves through {shown}.")
        self.assertLess(len(self.script("return document.body.innerText")), 20000)
        width = self.script("return document.documentElement.scrollWidth")
        self.assertLessEqual(width, 1280)

    def test_bytes_that_are_not_utf8_are_shown_as_base64(self):
        self.drop(("host.json", with_name({"base64": "/w=="})))
        self.assertEqual(self.text(".answer"), "Traffic leaves through base64:/w==.")


class PolicyTest(PageTest):
    def requested(self):
        """The URLs of all requests since the last call, from the browser's log."""
        messages = [json.loads(row["message"])["message"]
                    for row in self.browser.get_log("performance")]
        return [row["params"]["request"]["url"] for row in messages
                if row["method"] == "Network.requestWillBeSent"]

    def test_the_page_is_the_only_request(self):
        self.requested()
        self.open()
        self.drop(("host.json", HOSTILE), ("two.json", DISAGREES))
        self.drop(("host.json", EMPTY))
        self.drop(("f.json", "broken"))
        urls = [url for url in self.requested() if not url.startswith("data:")]
        self.assertEqual(urls, [self.page.resolve().as_uri()])
        self.assertEqual(self.script("return performance.getEntriesByType('resource').length"), 0)

    def test_the_policy_is_met_without_a_message(self):
        self.browser.get_log("browser")
        self.open()
        self.drop(("host.json", HOSTILE), ("two.json", DISAGREES))
        self.assertEqual(self.browser.get_log("browser"), [])
        policy = self.script("return document.querySelector('meta[http-equiv]').content")
        self.assertRegex(policy, r"^default-src 'none'; "
                                 r"script-src 'sha256-[\w+/=]+' 'wasm-unsafe-eval'; style-src 'sha256-[\w+/=]+'; "
                                 r"img-src data:; connect-src 'none'; "
                                 r"base-uri 'none'; form-action 'none'$")
        markup = self.script("return document.documentElement.outerHTML")
        self.assertNotIn(" style=", markup[:markup.index("<script")])
        self.assertEqual(self.script("return [...document.querySelectorAll('*')].filter((node) => "
                                     "[...node.attributes].some(({name}) => /^on|^style$/.test(name)))"
                                     ".length"), 0)

    def test_injected_requests_and_code_are_refused(self):
        attacks = {
            "fetch": "fetch(address).catch(() => {});",
            "beacon": "navigator.sendBeacon(address);",
            "XMLHttpRequest": "const r = new XMLHttpRequest(); r.open('GET', address); r.send();",
            "WebSocket": "new WebSocket(address.replace('http', 'ws'));",
            "img": "document.body.append(Object.assign(new Image(), {src: address}));",
            "style": "const s = document.createElement('style'); s.textContent = "
                     "`@import '${address}'`; document.head.append(s);",
            "link": "document.head.append(Object.assign(document.createElement('link'), "
                    "{rel: 'stylesheet', href: address}));",
            "iframe": "document.body.append(Object.assign(document.createElement('iframe'), "
                      "{src: address}));",
            "script": "document.body.append(Object.assign(document.createElement('script'), "
                      "{src: address}));",
            "form": "const f = Object.assign(document.createElement('form'), {action: address}); "
                    "document.body.append(f); f.submit();",
            "worker": "new Worker(window.URL.createObjectURL(new Blob([`fetch('${address}')`])));",
        }
        with Server() as server:
            for name, attack in attacks.items():
                with self.subTest(attack=name):
                    self.open()
                    self.script("window.refused = []; document.addEventListener("
                                "'securitypolicyviolation', (event) => window.refused.push("
                                "event.effectiveDirective)); const address = arguments[0];" + attack,
                                server.url)
                    self.wait_for(lambda: self.script("return window.refused.length > 0"))
            self.assertEqual(server.requests, [])
            # The server answers a page without a policy, so that its silence means something.
            self.browser.get(server.url)
            self.script("return fetch('/fetched').then(() => true, () => true)")
            self.assertIn("/fetched", server.requests)

    def test_injected_code_is_not_run(self):
        self.script("document.body.append(Object.assign(document.createElement('script'), "
                    "{textContent: \"document.title = 'attacked'\"}));"
                    "document.body.insertAdjacentHTML('beforeend', "
                    "`<img src='data:,' onerror=\"document.title = 'attacked'\">`);")
        self.script("return new Promise((done) => setTimeout(done, 100))")
        self.assertEqual(self.script("return document.title"), "Egress viewer")
