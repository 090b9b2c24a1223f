"""The picture of the way, on screens and paper."""

import base64
import re

from browser import PageTest
from snapshots import AGREES, BROKEN, DISAGREES, INTERFACES, socket

# 30 interfaces have the source address, and the route of the connection leads through the last one.
MANY = AGREES | {
    "adapters": {"rows": [{"name": f"if{i}", "interfaceIndex": i, "operStatus": 1,
                           "addresses": ["10.0.0.7"]} for i in range(1, 31)]},
    "sockets": {"rows": [socket(51000, 30)]}}

# The system tells the route of one connection, and wan0 and tun3 have the source address.
PARTIAL = AGREES | {
    "adapters": {"rows": [row | ({"addresses": ["10.0.0.7"]} if row["name"] == "tun3" else {})
                          for row in INTERFACES["rows"]]},
    "sockets": {"rows": [socket(51000, 2), {key: value for key, value in socket(51002).items()
                                            if key != "routeInterfaceIndex"}]}}

# One connection leaves, one has no route, and one leads through wlan0, which is down.
DOWN = AGREES | {"sockets": {"rows": [socket(51000, 2), socket(51002, 0), socket(51004, 4)]}}


def with_main(tag):
    """A snapshot with one outbound of this tag."""
    outbound = AGREES["config"]["outbounds"][2] | {"tag": tag, "type": tag}
    return AGREES | {"mainTag": tag, "config": AGREES["config"] | {"outbounds": [outbound]}}


class PictureTest(PageTest):
    def lines(self, selector):
        """The lines of text of each element."""
        return self.script("return [...document.querySelectorAll(arguments[0])].map((node) => "
                           "[...node.querySelectorAll('text')].map((line) => line.textContent))",
                           selector)

    def test_the_way_leads_from_the_main_outbound_to_the_interfaces(self):
        self.drop(("host.json", AGREES))
        self.assertEqual(self.lines(".outbound"),
                         [["proxy", "selector"], ["Tokyo 3", "vless"], ["hop", "shadowsocks"]])
        self.assertEqual([text for texts in self.lines(".edge.way") for text in texts],
                         ["answer", "detour"])
        self.assertEqual(self.lines(".endpoint"), [["endpoint", "198.51.100.10:443"]])
        self.assertEqual(self.lines(".role-leaves"), [
            ["wan0", "\u25b6 traffic leaves here", "up", "default route IPv4, metric 100",
             "default route IPv6, metric 1024", "10.0.0.7", "fd00::7"]])
        self.assertIn(["lo", "up, loopback", "127.0.0.1", "::1"], self.lines(".interface"))
        self.assertIn(["wlan0", "down"], self.lines(".interface.is-down"))
        labels = [" ".join(texts) for texts in self.lines(".edge.leaves")]
        self.assertEqual(labels, ["by source address and route", "by source address and packets"])

    def test_both_ways_are_drawn_where_the_system_contradicts(self):
        self.drop(("host.json", DISAGREES))
        self.assertEqual(self.lines(".role-leaves")[0][:2], ["tun3", "\u25b6 traffic leaves here"])
        self.assertEqual(self.lines(".role-named")[0][:2], ["wan0", "\u25b7 named by source address"])
        self.assertEqual(self.lines(".edge.leaves")[0], ["by route"])
        self.assertEqual(self.lines(".edge.contradicted")[0], ["by source address"])

    def test_each_kind_of_evidence_has_its_label(self):
        for members, label in [({"seenPackets": [{"interfaceIndex": 3, "count": 1}]}, "by packets"),
                               ({"routeInterfaceIndex": 3}, "by route"),
                               ({"routeInterfaceIndex": None, "boundInterfaceIndex": 3},
                                "by bound device")]:
            with self.subTest(label=label):
                row = {key: value for key, value in (socket(51000) | members).items()
                       if value is not None}
                self.drop(("host.json", AGREES | {"sockets": {"rows": [row]}}))
                self.assertEqual(self.lines(".edge.leaves"), [[label]])
                self.assertEqual(self.lines(".edge.contradicted"), [["by source address"]])

    def test_the_picture_breaks_where_the_walk_does(self):
        self.drop(("host.json", BROKEN))
        stop = self.lines(".stop")
        self.assertEqual(stop[0][:2], ["Osaka 9", "\u2715 OUTBOUND_NOT_FOUND"])
        self.assertEqual(self.lines(".endpoint"), [])
        self.assertEqual(len(self.lines(".edge.broken")), 1)

    def test_the_picture_breaks_where_the_evidence_does(self):
        for members, label in [({"routeInterfaceIndex": 0}, "no way out: no route"),
                               ({"localAddress": "10.9.9.9", "routeInterfaceIndex": None},
                                "no interface has its source address")]:
            with self.subTest(label=label):
                row = {key: value for key, value in (socket(51000) | members).items()
                       if value is not None}
                self.drop(("host.json", AGREES | {"sockets": {"rows": [row]}}))
                self.assertIn(label, [" ".join(texts) for texts in self.lines(".edge.broken")])
                self.assertEqual(len(self.all(".cross")), 1)

    def test_the_interface_of_the_answer_is_marked_among_many(self):
        self.drop(("host.json", MANY))
        self.assertEqual(self.text(".answer"), "Traffic leaves through if30.")
        self.assertEqual([texts[:2] for texts in self.lines(".role-leaves")],
                         [["if30", "\u25b6 traffic leaves here"]])
        self.assertEqual(len(self.all(".edge.leaves")), 1)
        self.assertEqual(self.lines(".group")[0][-1], "\u2192 and 22 more interfaces")

    def test_an_interface_that_is_down_is_where_its_sockets_end(self):
        self.drop(("host.json", DOWN))
        self.assertEqual(self.text(".lead"), "2 of 3 TCP connections to 198.51.100.10:443 cannot "
                         "leave: the system has no route, and wlan0 is down.")
        labels = [" ".join(texts) for texts in self.lines(".edge.broken")]
        self.assertEqual(sorted(labels), ["no way out: no route", "no way out: wlan0 is down"])
        self.assertEqual(len(self.all(".cross")), 2)

    def test_the_badge_claims_no_more_than_the_answer(self):
        self.drop(("host.json", PARTIAL))
        self.assertEqual(self.lines(".role-some")[0][:2], ["wan0", "\u25b6 some traffic leaves here"])
        unknown = PARTIAL["sockets"]["rows"][1]
        self.drop(("host.json", AGREES | {"sockets": {"rows": [unknown]}}))
        self.assertEqual(self.lines(".role-bySource")[0][:2], ["wan0", "\u25b7 by source address"])
        self.assertEqual(self.all(".role-leaves"), [])

    def test_many_sockets_and_interfaces_are_folded(self):
        rows = [socket(10000 + i) for i in range(1238)]
        adapters = [{"name": f"if{i}", "interfaceIndex": i, "operStatus": 1,
                     "addresses": ["10.0.0.7"] if i == 300 else []} for i in range(1, 301)]
        self.drop(("host.json", AGREES | {
            "adapters": {"rows": adapters},
            "sockets": {"rows": [row | {"routeInterfaceIndex": 300} for row in rows]}}))
        self.assertEqual(self.lines(".group")[0][-1], "and 1,234 more")
        self.assertEqual(self.lines(".fold"), [["and 292 more interfaces"]])
        self.assertEqual(self.lines(".role-leaves")[0][0], "if300")
        self.assertEqual(len(self.script("return [...document.querySelectorAll('tbody')]"
                                         "[0].querySelectorAll('tr')")), 50)
        more = self.all(".more")[0]
        self.assertEqual(more.text, "1,188 more rows: show the next 500")
        more.click()
        self.assertEqual(more.text, "688 more rows: show the next 500")

    def overlaps(self):
        """Boxes or labels of edges that overlap, and lines of text that leave their box."""
        return self.script("""
            const found = [];
            const boxes = [...document.querySelectorAll('.picture .box')].map((node) =>
              ({node, at: node.querySelector('rect').getBoundingClientRect()}));
            boxes.forEach(({node, at}, i) => {
              for (const line of node.querySelectorAll('text')) {
                const {left, right, top, bottom} = line.getBoundingClientRect();
                if (left < at.left || right > at.right || top < at.top || bottom > at.bottom) {
                  found.push(line.textContent);
                }
              }
              for (const other of boxes.slice(i + 1)) {
                if (at.left < other.at.right && other.at.left < at.right &&
                    at.top < other.at.bottom && other.at.top < at.bottom) found.push("overlap");
              }
            });
            const labels = [...document.querySelectorAll('.picture .edge text')].map((node) =>
              ({text: node.textContent, at: node.getBoundingClientRect()}));
            labels.forEach(({text, at}, i) => {
              for (const other of [...labels.slice(i + 1), ...boxes]) {
                if (at.left < other.at.right && other.at.left < at.right &&
                    at.top < other.at.bottom && other.at.top < at.bottom) {
                  found.push(`${text} overlaps ${other.text ?? "a box"}`);
                }
              }
            });
            return found;""")

    def test_texts_stay_in_their_boxes_at_every_width(self):
        for snapshot in [DISAGREES, BROKEN, DOWN, MANY, with_main("W" * 200),
                         with_main("\u6771\u4eac" * 50)]:
            for width in [320, 400, 640, 840, 1000, 1280, 1900]:
                with self.subTest(width=width):
                    self.set_size(width, 900)
                    self.drop(("host.json", snapshot))
                    self.wait_for(lambda: self.all(".picture"))
                    self.assertEqual(self.overlaps(), [])
                    self.assertLessEqual(self.script("return document.documentElement.scrollWidth"),
                                         width)

    def test_each_way_to_show_the_page_has_the_picture_and_is_kept_as_one(self):
        for name, snapshot, size, options in [
                ("light", DISAGREES, (1280, 1000), {}),
                ("dark", DISAGREES, (1280, 1000), {"scheme": "dark"}),
                ("narrow", DISAGREES, (400, 900), {}),
                ("print", DISAGREES, (720, 1000), {"media": "print"}),
                ("agrees", AGREES, (1280, 1000), {}),
                ("broken", BROKEN, (1280, 1000), {}),
                ("partial", PARTIAL, (1280, 1000), {}),
                ("down", DOWN, (1280, 1000), {}),
                ("many", MANY, (1280, 1000), {}),
                ("many-narrow", MANY, (400, 900), {})]:
            with self.subTest(name=name):
                self.emulate(**options)
                self.set_size(*size)
                self.open()
                self.drop(("host.json", snapshot))
                self.wait_for(lambda: self.all(".picture .box"))
                self.assertEqual(self.overlaps(), [])
                self.shoot(name)
                self.assertGreater((self.shots / f"{name}.png").stat().st_size, 10000)

    def test_paper_has_the_answer_and_no_controls(self):
        self.drop(("host.json", DISAGREES))
        self.emulate(media="print", scheme="dark")
        for selector in ["#intake", ".actions", "footer"]:
            self.assertFalse(any(node.is_displayed() for node in self.all(selector)), selector)
        for selector in [".answer", ".picture", ".statuses", "table"]:
            self.assertTrue(self.all(selector)[0].is_displayed(), selector)
        # Black on white, whatever the screen has.
        colours = self.script("const of = (node) => getComputedStyle(node);"
                              "return [of(document.documentElement).backgroundColor,"
                              " of(document.querySelector('.answer')).color,"
                              " of(document.querySelector('.role-leaves rect')).stroke]")
        self.assertEqual(colours, ["rgb(255, 255, 255)", "rgb(0, 0, 0)", "rgb(0, 0, 0)"])
        width = "return document.querySelector('.picture').getAttribute('width')"
        self.wait_for(lambda: self.script(width) == "800")
        self.emulate()
        self.wait_for(lambda: self.script(width) != "800")
        self.script("window.dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(self.script(width), "800")
        paper = self.browser.execute_cdp_cmd("Page.printToPDF", {"printBackground": False})
        pdf = base64.b64decode(paper["data"])
        self.assertIn(len(re.findall(rb"/Type\s*/Page\b", pdf)), range(1, 6))
        (self.shots / "print.pdf").write_bytes(pdf)
