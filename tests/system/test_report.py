"""The page of `vorgate-agent report`, in a browser."""

import json
import re
import subprocess

import pytest
from selenium import webdriver
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

from log_lines import event

pytestmark = pytest.mark.report


class Page:
    def __init__(self, browser, tool, folder):
        self.browser, self.tool, self.folder = browser, tool, folder
        self.js = browser.execute_script

    def open(self, events, width=1280):
        (self.folder / "log").write_text("".join(events))
        file = self.folder / "report.html"
        subprocess.run([self.tool, "report", self.folder / "log", "-o", file], check=True)
        screen = {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False}
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", screen)
        self.browser.get(file.as_uri())
        self.wait(lambda: self.all("html[data-ready]"))

    def wait(self, condition):
        WebDriverWait(self.browser, 120, 0.05).until(lambda _: condition())

    def all(self, css):
        return self.browser.find_elements("css selector", css)

    def text(self, css):
        return self.all(css)[0].get_property("textContent")

    def click(self, css):
        self.all(css)[0].click()

    def filtered(self, field, value):
        """What the page says of its filter when a field has this value."""
        told = "arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('%s'))"
        for kind in ("input", "change"):
            self.js(told % kind, self.all(field)[0], value)
        return self.text("#status")

    def press(self, *keys):
        for key in keys:
            webdriver.ActionChains(self.browser).send_keys(key).perform()

    def show(self, row, *keys):
        """All of an event, by keyboard: from this row, by these keys."""
        self.js("arguments[0].focus()", self.all("#rows tr")[row])
        self.press(*keys, Keys.ENTER)
        self.wait(lambda: self.all("#detail[open]"))
        return self.text("#detail-body")

    def wrongs(self):
        """What it said on the console, and asked of the network."""
        yield from (entry["message"] for entry in self.browser.get_log("browser"))
        for entry in self.browser.get_log("performance"):
            asked = json.loads(entry["message"])["message"]["params"]
            url = asked.get("request", {}).get("url", "data:")  # the browser's own icons
            if asked.get("type") != "Document" and not url.startswith("data:"):
                yield url


@pytest.fixture(scope="module")
def browser():
    options = webdriver.ChromeOptions()
    options.add_argument("--headless=new")
    options.add_argument("--no-sandbox")  # which a container may not have
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    with webdriver.Chrome(options=options) as driver:  # a dialog fails the next command
        yield driver


@pytest.fixture
def page(browser, build, scratch):
    page = Page(browser, build / "vorgate-agent", scratch)
    yield page
    assert list(page.wrongs()) == []


def test_overview_filters_and_table(page):
    page.open(event(i) for i in range(240))
    assert len(page.all("#time-chart svg path")) > 20
    assert len(page.all("#category-chart svg path")) > 3
    assert "/page0.php" in page.text("#pages")
    assert "run(1)system(subject 0)" in page.text("#chains")
    page.filtered("#search", "Subject 17")
    page.wait(lambda: page.text("#status").startswith("13 "))
    assert page.filtered("#category", "file_access").startswith("5 of 240")
    page.click("#reset")
    assert page.filtered("#verdict", "reported").startswith("48 of 240")
    page.filtered("#verdict", "")
    assert page.filtered("#from", "2026-01-05T00:19:50").startswith("2 of 240")
    page.click("#reset")
    page.click("#next")
    assert len(page.all("#rows tr")) == 50
    assert page.text("#range").startswith("51 to 100 of 240")
    page.click("#sort-time")
    assert re.search("00:00:00.*subject 0", page.text("#rows tr"))
    detail = page.show(0, Keys.ARROW_DOWN)
    for part in ("subject 1", "/page1.php?id=1", 'uri_prefix = "/page1.php"', "exactly this value"):
        assert part in detail
    assert 'client = "192.0.2.1"' in detail and "prepared statements" in detail
    page.press(Keys.ESCAPE)
    assert page.js("return document.activeElement.dataset.row") == "1"


def test_hostile_events_stay_text(page):
    attacks = ["x" * 100000, "<script>alert(1)</script>", "<img src=hostile onerror=alert(1)>"]
    attacks += ["</script><script>alert(2)</script>", "<!--<script>", "javascript:alert(3)"]
    attacks += ["abc\u202egnp.exe", "\0\x1b[2J", "__proto__", "{a|b}", '"><svg onload=alert(4)>']
    fields = ["server_name", "user_agent", "referer", "cookie", "remote_addr", "query_string"]
    events = []
    for i, text in enumerate(attacks):
        request = {"request_uri": f"/{text}", "stack_trace": f"system({text})\n"}
        request |= dict.fromkeys(fields, text)
        events.append(event(3 * i, request, subject=text, detail=text))
    raw = {"subject": "Yf8="}
    events.append(event(40, subject="a\ufffd", raw=raw, category="<b>", event="<i>", verdict="<u>"))
    page.open(events)
    assert len(page.all("script")) == 1
    assert not page.all("img, b, i:not(.legend i), u, a:not(.skip), [onload], [onerror]")
    assert r"a\xff" in page.text("#rows") and r"abc\u{202e}gnp.exe" in page.text("#rows")
    for row in range(len(events)):
        detail = page.show(row)
        assert not re.search("[\0-\x09\x1b\u202e]", detail)
        page.press(Keys.ESCAPE)
    assert attacks[0] in detail  # all of it, and the oldest comes last
    webdriver.ActionChains(page.browser).move_to_element(page.all("#time-chart")[0]).perform()


def test_small_screens_and_few_events(page):
    dark = {"features": [{"name": "prefers-color-scheme", "value": "dark"}]}
    page.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", dark)
    page.open([], width=360)
    assert "hold no events" in page.text("#none")
    page.open([event(0, {"request_uri": "/" + "u" * 900}, subject="w" * 900)], width=360)
    assert page.text("#none") == ""
    fits = "const [box] = document.querySelectorAll(arguments[0]);"
    fits += "return box.scrollWidth <= box.clientWidth"
    assert page.js(fits, "html")
    page.click("#rows tr")
    page.wait(lambda: page.all("#detail[open]"))
    assert page.js(fits, "html") and page.js(fits, "#detail-body")


def test_a_hundred_thousand_events(page):
    page.open(event(i) for i in range(100000))
    assert "of 100,000 events" in page.text("#status")
    page.click("#last")
    assert "subject 0" in page.text("#rows tr:last-child")
