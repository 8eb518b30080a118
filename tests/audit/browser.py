"""A headless browser that looks at a page in a file: what it complains of, what it fetches, what it measures."""

import base64
import contextlib
import dataclasses
import json
import shutil

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

import harness

FLAGS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking", "--disable-component-update",
         "--disable-sync", "--no-first-run", "--hide-scrollbars")
DESKTOP = (1280, 900)
PHONE = (390, 844)


@dataclasses.dataclass
class Browser:
    """An open browser; `driver` is selenium's."""
    driver: webdriver.Chrome


@contextlib.contextmanager
def opened(profile):
    """A browser with a fresh profile in that folder."""
    for program in ("chromium", "chromedriver"):
        harness.need(program)
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for flag in (*FLAGS, f"--user-data-dir={profile}"):
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    try:
        driver.get("about:blank")
        requests(Browser(driver))     # what the browser loads for itself when it starts
        yield Browser(driver)
    finally:
        driver.quit()


def show(browser, path, size=DESKTOP, dark=False):
    """Loads the page as a screen of this size, light or dark, shows it."""
    width, height = size
    send = browser.driver.execute_cdp_cmd
    send("Emulation.setDeviceMetricsOverride",
         {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": size == PHONE})
    scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
    send("Emulation.setEmulatedMedia", {"features": [scheme]})
    browser.driver.get(path.as_uri())


def print_page(browser):
    """Switches to the style for paper."""
    browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})


def complaints(browser):
    """What the console has said since the last call."""
    return [entry["message"] for entry in browser.driver.get_log("browser")]


def requests(browser):
    """Every address that has been asked for since the last call."""
    messages = (json.loads(entry["message"])["message"] for entry in browser.driver.get_log("performance"))
    return [each["params"]["request"]["url"] for each in messages if each["method"] == "Network.requestWillBeSent"]


def evaluate(browser, script):
    """The value of a JavaScript expression in the page."""
    return browser.driver.execute_script(f"return {script}")


def texts(browser, selector):
    """The text of every element that fits, in order."""
    return evaluate(browser, f"[...document.querySelectorAll({selector!r})].map(e => e.textContent)")


def boxes(browser, selector):
    """[left, top, right, bottom, text] of every visible element that fits."""
    script = ("[...document.querySelectorAll(" + repr(selector) + ")].filter(e => e.checkVisibility())"
              ".map(e => { const r = e.getBoundingClientRect(); return [r.left, r.top, r.right, r.bottom, e.textContent]; })")
    return evaluate(browser, script)


def overlapping(rows):
    """Pairs of boxes that cover each other."""
    return [(one[4], other[4]) for place, one in enumerate(rows) for other in rows[place + 1:]
            if one[0] < other[2] and other[0] < one[2] and one[1] < other[3] and other[1] < one[3]]


def screenshot(browser, path):
    """The whole page, not only what the screen shows."""
    height = evaluate(browser, "document.documentElement.scrollHeight")
    width = evaluate(browser, "window.innerWidth")
    image = browser.driver.execute_cdp_cmd("Page.captureScreenshot", {
        "captureBeyondViewport": True, "clip": {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}})
    path.write_bytes(base64.b64decode(image["data"]))
