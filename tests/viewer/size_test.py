"""A snapshot with 100,000 sockets."""

import json

from browser import PageTest
from snapshots import AGREES, socket

COUNT = 100_000


class SizeTest(PageTest):
    def test_the_answer_of_many_sockets_is_shown(self):
        rows = [socket(1024 + i % 60000, 2 + i % 2, localAddress=f"10.0.{i // 60000}.7")
                for i in range(COUNT)]
        adapters = [row | {"addresses": ["10.0.0.7", "10.0.1.7"]} if row["name"] == "wan0" else row
                    for row in AGREES["adapters"]["rows"]]
        text = json.dumps(AGREES | {"adapters": {"rows": adapters}, "sockets": {"rows": rows}})
        # From the drop until the browser has drawn the answer.
        milliseconds = self.browser.execute_async_script("""
            const done = arguments[1];
            const transfer = new DataTransfer();
            transfer.items.add(new File([arguments[0]], "many.json"));
            const start = performance.now();
            const observer = new MutationObserver(() => {
              observer.disconnect();
              requestAnimationFrame(() => setTimeout(() => done(performance.now() - start)));
            });
            observer.observe(document.getElementById("result"), {childList: true});
            document.body.dispatchEvent(new DragEvent("drop", {dataTransfer: transfer,
                                                               bubbles: true, cancelable: true}));
            """, text)
        print(f"\n{COUNT:,} sockets, {len(text):,} bytes: the answer after {milliseconds:,.0f} ms")
        self.assertEqual(self.text(".answer"), "Traffic leaves through wan0 and tun3, "
                         "but only wan0 has its source address.")
        self.assertIn("and 49,996 more", self.text(".picture"))
        self.assertLess(self.script("return document.querySelectorAll('*').length"), 5000)
