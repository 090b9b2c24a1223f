"""Each word of docs/status-words.md is shown for its smallest input."""

import json
import re
from pathlib import Path

from browser import PageTest
from snapshots import EMPTY

DOCUMENT = Path(__file__).resolve().parents[2] / "docs" / "status-words.md"
_block = re.compile(r"^```json (\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def documented_words():
    """The key, the word, the meaning and the smallest input of each word."""
    words = []
    for section in re.split(r"^## ", DOCUMENT.read_text(), flags=re.MULTILINE)[1:]:
        key = section.split("`")[1]
        for entry in re.split(r"^### ", section, flags=re.MULTILINE)[1:]:
            meaning = re.search(r"\*\*Means:\*\* (.*?)\n\n", entry, re.DOTALL).group(1)
            words.append((key, entry.split("`")[1], " ".join(meaning.replace("`", "").split()),
                          dict(_block.findall(entry))))
    return words


def files_of(texts):
    """The files to drop for a smallest input."""
    files = [("snapshot.json", texts.get("snapshot", json.dumps(EMPTY)))]
    if "configuration" in texts:
        files.append(("config.json", texts["configuration"]))
    if "answer" in texts:
        files.append(("answers.json", '{"proxy": ' + texts["answer"] + "}"))
    return files


class WordTest(PageTest):
    def shown(self):
        """The key, the word and the meaning of each status in the page."""
        return self.script("return [...document.querySelectorAll('.status')].map((row) => "
                           "['.key', '.word', 'dd p'].map((part) => "
                           "row.querySelector(part).textContent));")

    def test_each_word_is_shown_and_explained(self):
        words = documented_words()
        self.assertGreater(len(words), 50)
        for key, word, meaning, texts in words:
            with self.subTest(key=key, word=word):
                self.open()
                self.drop(*files_of(texts))
                self.assertIn([key, word, meaning], self.shown())
                self.assertNotEqual(self.text(".answer"), "")
                self.assertGreater(len(self.all(".picture .box")), 0)

    def test_the_picture_breaks_where_the_diagnosis_does(self):
        for key, word, meaning, texts in documented_words():
            if key != "activeEndpointStatus" or word in ["OK", "NOT_EVALUATED_CONFIG_UNAVAILABLE"]:
                continue
            with self.subTest(word=word):
                self.open()
                self.drop(*files_of(texts))
                stop = self.all(".picture .stop")
                lines = [line.text for line in stop[0].find_elements("css selector", "text")]
                self.assertIn(f"\u2715 {word}", lines)
                told = " ".join(lines[lines.index(f"\u2715 {word}") + 1:])
                self.assertNotEqual(told, "")
                self.assertTrue(meaning.startswith(told.rstrip("\u2026")), told)
                self.assertEqual(self.text(".tone"), "Unknown")
