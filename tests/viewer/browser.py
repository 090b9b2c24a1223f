"""Chromium with the page that scripts/wasm builds."""

import json
import shutil
import tempfile
import unittest
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

CHROMIUM = "/usr/bin/chromium"
CHROMEDRIVER = "/usr/bin/chromedriver"

# Files that are dropped, as a browser does: [name, text], and the ID of what they are dropped on.
_DROP = """
const transfer = new DataTransfer();
for (const [name, text] of arguments[0]) transfer.items.add(new File([text], name));
const place = document.getElementById(arguments[1]) ?? document.body;
place.dispatchEvent(new DragEvent("drop", {dataTransfer: transfer, bubbles: true,
                                           cancelable: true}));
"""


def start_browser(folder, downloads=None):
    """A browser without a profile, which logs its requests and messages."""
    options = Options()
    options.binary_location = CHROMIUM
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic",
                     "--no-first-run", "--disable-background-networking",
                     "--disable-component-update", "--disable-sync",
                     f"--user-data-dir={folder}", "--window-size=1280,1000"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"performance": "ALL", "browser": "ALL"})
    if downloads is not None:
        options.add_experimental_option("prefs", {"download.default_directory": str(downloads)})
    return webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)


class PageTest(unittest.TestCase):
    """A test of the page, in one browser for all tests of a class."""

    page = None  # set by the program, like the next two
    report_program = None
    shots = None
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.downloads = cls.folder / "downloads"
        cls.browser = start_browser(cls.folder / "profile", cls.downloads)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.emulate()
        self.set_size(1280, 1000)
        self.open()

    def open(self, page=None):
        self.browser.get((page or self.page).resolve().as_uri())
        self.wait_for(lambda: self.script("return document.documentElement.dataset.ready"))

    def emulate(self, scheme="light", media="", motion="no-preference"):
        features = [{"name": "prefers-color-scheme", "value": scheme},
                    {"name": "prefers-reduced-motion", "value": motion}]
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                     {"media": media, "features": features})

    def set_size(self, width, height):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1,
                                      "mobile": False})

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def wait_for(self, condition, seconds=30):
        return WebDriverWait(self.browser, seconds, 0.05).until(lambda _: condition())

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return " ".join(element.get_attribute("textContent") for element in self.all(selector))

    def drop(self, *files, on=None, waits=True):
        """Drops files, each a name and a text or a value, and waits until they are read."""
        texts = [(name, text if isinstance(text, str) else json.dumps(text)) for name, text in files]
        # The page replaces the contents of #problems, also with nothing, when it is done.
        self.script("document.getElementById('problems').append(Object.assign("
                    "document.createElement('span'), {id: 'unread'}));" + _DROP, texts, on)
        if waits:
            self.wait_for(lambda: not self.all("#unread"))

    def shoot(self, name):
        """Saves a picture of the whole page."""
        height = self.script("return document.documentElement.scrollHeight")
        width = self.script("return window.innerWidth")
        self.set_size(width, min(height, 12000))
        self.script("return new Promise((done) => requestAnimationFrame(() =>"
                    " requestAnimationFrame(done)))")
        self.browser.save_screenshot(str(self.shots / f"{name}.png"))
