#!/usr/bin/python3
"""The collector's page in headless Chromium. Run by ./dev test page; needs zul-collector and zul-sim in build/bin."""

import http.client
import json
import pathlib
import random
import subprocess
import sys
import time
import unittest
import urllib.parse
import zlib

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

PROGRAMS = pathlib.Path(__file__).resolve().parents[2] / "build" / "bin"
PATIENCE = 30  # seconds

# Set up before the page's own scripts: what they copy, and how long they keep the page busy.
WATCH = """
window.tasks = [];
new PerformanceObserver((list) => list.getEntries().forEach((task) => window.tasks.push(task.duration)))
    .observe({type: 'longtask', buffered: true});
Object.defineProperty(navigator, 'clipboard', {value: {writeText: async (text) => { window.copied = text; }}});
"""


def simulate(script, *options):
    done = subprocess.run([PROGRAMS / "zul-sim", "--no-log", *options], input=script, capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stdout[-500:] + done.stderr[-500:]
    return done.stdout


class Collector:
    def __init__(self):
        self.process = subprocess.Popen(
            [PROGRAMS / "zul-collector", "--listen", "127.0.0.1:0", "--quiet"], stdout=subprocess.PIPE, text=True)
        self.url = self.process.stdout.readline().split()[-1]
        self.connection = http.client.HTTPConnection(urllib.parse.urlsplit(self.url).netloc, timeout=PATIENCE)

    def stop(self):
        self.connection.close()
        self.process.terminate()
        self.process.wait()
        self.process.stdout.close()

    def ask(self, method, target, body=b"", headers=None):
        self.connection.request(method, target, body, headers or {})
        reply = self.connection.getresponse()
        return reply.status, reply.read()

    def upload(self, *sessions, **headers):
        document = json.dumps([{"SESSION": session} for session in sessions])
        body = zlib.compress(urllib.parse.quote(document, safe="-._~").encode())
        return self.ask("POST", "/zul/v1/dataRcv.do", body, {
            "User-Agent": "ZUL/1.1.5/iPhone14,2/iOS16.1", "authType": "PjhPhqxo8cd84LGpyhkIZA==", "authToken": "t",
            "Content-Type": "application/octet-stream", **headers})


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1360,900"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": WATCH})
        cls.good = json.loads(simulate("""
            config {"serviceNumber":1001,"useMode":1,"expireDate":30}
            launch
            advance 6s
            show requests /3/body/0/SESSION
        """).splitlines()[-1])

    def setUp(self):
        self.collector = Collector()
        self.addCleanup(self.collector.stop)
        self.addCleanup(self.browser.get, "about:blank")
        self.browser.get(self.collector.url)
        self.wait(lambda: self.text("#link") == "live", "the page is not connected")

    def tearDown(self):
        # A policy that is broken, or a script that fails, is told there.
        for line in self.browser.get_log("browser"):
            told = "the server responded with a status of 4" in line["message"]
            self.assertFalse(line["level"] == "SEVERE" and not told, line["message"])

    # What a reader of the page does.

    def wait(self, condition, otherwise):
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                found = condition()
                if found:
                    return found
            except WebDriverException:  # drawn anew in between
                pass
            time.sleep(0.05)
        self.fail(otherwise)

    def all(self, css):
        return [element for element in self.browser.find_elements(By.CSS_SELECTOR, css) if element.is_displayed()]

    def text(self, css):
        return " | ".join(element.text for element in self.all(css))

    def see(self, css, *texts):
        for text in texts:
            self.wait(lambda: text in self.text(css), f"there is no “{text}” in {css}")

    def click(self, css, number=0):
        self.wait(lambda: len(self.all(css)) > number and (self.all(css)[number].click() or True), f"cannot click {css}")

    def strip(self, name, value):
        self.see(f"#stat-{name} strong", value)

    def session(self, **values):
        """A session with nothing odd about it, but for the values; None leaves one out."""
        return {key: value for key, value in {**self.good, **values}.items() if value is not None}

    # The tests.

    def test_empty_page_tells_how_to_begin(self):
        self.see("#empty", "Waiting for the first request", "zulAuthorizationKey", f'collectorBaseUrl = "{self.collector.url}"')
        self.click("#empty button", 1)
        self.assertIn(self.collector.url, self.browser.execute_script("return window.copied"))
        self.strip("last", "never")
        self.assertEqual(json.loads(self.collector.ask("GET", "/inspect/all")[1])["total"], 0)

    def test_device_appears_and_is_forgotten(self):
        simulate("""
            device {"model":"iPhone15,3"}
            config {"serviceNumber":1001,"useMode":1,"expireDate":30}
            launch
            advance 6s
            """, "--collector", self.collector.url)
        self.see("#devices", "com.example.app", "model hidden")
        self.strip("devices", "1")
        self.strip("visits", "1")
        self.click("#devices .sizer .row")
        self.see("#timeline", "visit 1", "1 payload")
        self.see("#payload .group[aria-label=visit]", "isVisitNew", '"Y"', "begin of the visit")
        self.click("#tab-requests")
        self.see("#requests", "token")
        self.collector.ask("POST", "/inspect/reset")
        self.see("#empty", "Waiting")
        self.strip("devices", "0")

    def test_suspicious_and_bad_are_explained(self):
        self.collector.upload(self.session())
        self.collector.upload(self.session(uuid="OTHER", vendorId="V2", ltvt="2", vtTz=None, novelty=1))
        self.collector.upload(self.session(), authType="nonsense")
        self.strip("good", "1")
        self.strip("suspicious", "1")
        self.strip("bad", "1")
        self.click("#stat-suspicious")
        self.wait(lambda: len(self.all("#requests .sizer .row")) == 1, "the filter leaves one request")
        self.click("#requests .sizer .row")
        self.see("#payload .reasons", "ltvt should be a whole number", "vtTz is missing", "novelty no such key")
        self.see("#payload .group[aria-label=visit] tr.odd", "should be a whole number", "absent")
        self.see("#payload .group[aria-label=unknown]", "novelty")
        self.click("#stat-suspicious")
        self.click("#stat-bad")
        self.click("#requests .sizer .row")
        self.see("#payload .reasons", "authType is not the one for ZUL")
        self.click("#tab-headers")
        self.see("#shown", "This does not decrypt", "AES-128-CBC")
        self.click("#tab-bytes")
        self.see("#shown", "default compression", "2. percent-encoding", "an array of 1 payload")

    def test_two_payloads_are_compared(self):
        self.collector.upload(self.session())
        self.collector.upload(self.session(isVisitNew="N", isDf=None))
        self.collector.upload(self.session(isVisitNew="N", isDf=None), self.session(isVisitNew="N", isDf="N"))
        self.click("#devices .sizer .row")
        self.wait(lambda: len(self.all(".bands .dot")) == 4, "there is a dot for each payload")
        self.assertEqual(len(self.all(".bands .upload .dot")), 2)  # waited offline
        self.assertEqual(len(self.all(".bands .equal")), 1)
        self.click(".bands .dot", 0)
        self.click("#timeline .panelhead button")
        self.all(".bands .dot")[0].send_keys(Keys.ARROW_RIGHT, Keys.ENTER)
        self.see("#shown", "2 keys differ", "Y for the first visit of a day", "absent")
        self.click(".bands .dot", 1)
        self.see("#shown", "2 values changed", 'was "Y"', "gone")

    def test_answers_are_scripted(self):
        self.click("#tab-answers")
        self.click("[aria-label^='Payloads: 500']")
        self.click("[aria-label^='Payloads: Conversion value']")
        self.see("[aria-label='Answers to come, Payloads']", "once 500", "once Conversion value", "then Accept")
        self.assertEqual(self.collector.upload(self.session())[0], 500)
        self.see("[aria-label='Answers to come, Payloads']", "once Conversion value")
        self.assertEqual(json.loads(self.collector.upload(self.session())[1])["updateConversionValue"], 7)
        self.click("input[value=each]")
        field = self.all("#other")[0]
        field.clear()
        field.send_keys('{"upload":[{"status":999}]}')
        self.click("#give-other")
        self.see("[role=alert]", "upload[0].status: must be a whole number")
        field.clear()
        field.send_keys('{"upload":[{"body":{"code":"<b>"}}]}')
        self.click("#give-other")
        self.see("[aria-label='Answers to come, Payloads']", 'always {"body":{"code":"<b>"}}')
        self.collector.upload(self.session())
        self.click("#stat-last")
        self.see("#timeline .facts", "3 payloads")
        self.assertEqual(len(self.all(".bands .refused")), 2)
        self.click("#tab-answer")
        self.see("#shown", "This is no acceptance", '"code": "<b>"')

    def test_visits_are_counted_in_three_ways(self):
        begin = self.good["vtTz"]
        self.collector.upload(self.session())
        waited = self.session(vtTz=begin + 1000, ltvt=2)
        self.collector.upload(waited, {**waited, "pageKey": 1})
        self.collector.upload(self.session(vtTz=begin + 2000, ltvt=4, isVisitNew="N"))
        self.strip("visits", "3")
        self.click("#stat-visits")
        self.see("#visits .cards", "Distinct uuid and vtTz\n3", 'isVisitNew "Y"\n3', "own ltvt\n4")
        self.click("#show-culprits")
        self.see("#culprits", '"Y" 2 times', "no payload says", "visit 3 has not come")
        self.click("#culprits button", 0)
        self.see("#payload", "Request 2, payload 1 of 2")

    def test_copies_can_be_run(self):
        self.collector.upload(self.session())
        self.collector.upload(*(self.session(isVisitNew="N", pageKey=n) for n in range(2)))
        self.collector.upload(self.session(isVisitNew="Y", ltvt=2, vtTz=self.good["vtTz"] + 86_400_000))
        self.click("#devices .sizer .row")
        self.see("#payload", "Request 3")
        for button in ("curl", "script"):
            self.click(f"#copy-{button}")
            text = self.wait(lambda: self.browser.execute_script("const text = window.copied; window.copied = null; return text"), "nothing is copied")
            if button == "curl":
                self.assertIn("RES001", subprocess.run(["sh", "-c", text], capture_output=True, text=True, timeout=PATIENCE).stdout)
                self.strip("duplicates", "1")
            else:
                made = json.loads(simulate(text).splitlines()[-1])
                self.assertEqual((made["ltvt"], made["_qzno"]), (2, 1001))

    def test_hostile_payloads_stay_texts(self):
        markup = "<img src=x onerror=window.hacked=1><script>window.hacked=1</script>\u202e"
        hostile = self.session(uuid=markup, phone=markup, pkg=markup, os=markup, sdk_version={"SESSION": markup})
        hostile[markup] = {markup: [markup]}
        self.collector.upload(hostile, {**hostile, "ltvt": markup}, **{"X-" + "Word": markup.encode()})
        self.collector.upload(hostile, authType=urllib.parse.quote(markup))
        self.collector.ask("GET", "/" + urllib.parse.quote(markup, safe="<>=()"))
        self.collector.ask("POST", "/inspect/answers", json.dumps({"upload": [{"body": {"raw": markup}}]}))
        self.collector.upload(hostile)
        self.collector.upload({"uuid": "__proto__", "constructor": 1, "__proto__": {"a": 1}, "vtTz": 9e18, "ltvt": -(2**63)})
        self.strip("bad", "2")
        for row in range(5):
            self.click("#tab-requests")
            self.click("#requests .sizer .row", row)
            for tab in ("bytes", "headers", "answer", "decoded"):
                if self.all(f"#tab-{tab}"):
                    self.click(f"#tab-{tab}")
                    self.wait(lambda: self.all("#shown > *"), "nothing is shown")
        self.see("#requests", "/<img")
        self.click("#tab-devices")
        self.see("#devices", "<img src=x")
        self.click("#devices .sizer .row", 1)
        for dots in (0, 1):
            self.click(".bands .dot", dots)
            self.see("#shown", '"<img src=x onerror=window.hacked=1><script>')
        for tab in ("answers", "visits"):
            self.click(f"#tab-{tab}")
        self.click("#show-culprits")
        self.assertIsNone(self.browser.execute_script("return window.hacked"))
        self.assertEqual(self.browser.execute_script(
            "return document.querySelectorAll('img, iframe, main script, object, embed, base, form, [onerror]').length"), 0)

    def test_ten_thousand_payloads(self):
        numbers = random.Random(7)
        devices = [self.session(uuid=f"D{n:07}", vendorId=f"V{n}", phone=f"iPhone{n % 9},1") for n in range(1000)]
        for visit in range(1, 6):
            numbers.shuffle(devices)
            for device in devices:
                seen = {**device, "ltvt": visit, "vtTz": self.good["vtTz"] + visit * 60_000}
                self.collector.upload(seen, {**seen, "isVisitNew": "N"})
        self.strip("devices", "1 000")
        self.wait(lambda: "5 000" in self.text("#stat-visits"), "there are not all visits")
        running = self.browser.execute_script("return window.tasks")
        self.click("#devices .sizer .row", 3)
        self.see("#timeline .facts", "10 payloads")
        scroll = "const list = document.querySelector('#devices .scroll'); list.scrollTop = list.scrollHeight * arguments[0];"
        for share in (0.5, 1, 0.2):
            self.browser.execute_script(scroll, share)
        self.assertLess(len(self.all("#devices .sizer .row")), 60)
        self.browser.get(self.collector.url)
        self.strip("devices", "1 000")
        paint = self.browser.execute_script("return performance.getEntriesByName('first-contentful-paint')[0].startTime")
        loading = self.browser.execute_script("return window.tasks")
        print(f"\n10,000 payloads of 1000 devices: first paint after {paint:.0f} ms; longest task "
              f"{max(running, default=0):.0f} ms while they came, {max(loading, default=0):.0f} ms when loaded again",
              file=sys.stderr)
        self.assertLess(paint, 5000)
        self.assertLess(max(running + loading, default=0), 2000)

    def test_everything_has_a_name_and_fits(self):
        self.collector.upload(self.session(), self.session(ltvt="x"))
        self.collector.ask("GET", "/nowhere")
        self.click("#devices .sizer .row")
        self.see("#shown", "changed")
        needed = {"button", "tab", "tabpanel", "grid", "row", "searchbox", "checkbox", "radio", "textbox", "group", "region", "tablist"}
        found = set()
        for tab in ("traffic", "visits", "answers"):
            self.click(f"#tab-{tab}")
            tree = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
            for node in tree:
                role = node.get("role", {}).get("value")
                if node.get("ignored") or role not in needed:
                    continue
                found.add(role)
                self.assertTrue(node.get("name", {}).get("value") or role in ("row", "group"), node)
            for width in (360, 700, 1360):
                self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                    "width": width, "height": 780, "deviceScaleFactor": 1, "mobile": False})
                wide = self.browser.execute_script("return document.documentElement.scrollWidth")
                self.assertLessEqual(wide, width, f"{tab} is too wide")
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.assertEqual(needed - found, set())

    def test_keyboard_goes_everywhere(self):
        for n in range(30):
            self.collector.upload(self.session(uuid=f"DEVICE-{n}", vendorId=f"V{n}"))
        self.wait(lambda: self.all("#devices [aria-rowcount='31']"), "not all devices are listed")
        self.browser.execute_script("document.querySelector('#devices .grid').focus()")
        grid = self.browser.switch_to.active_element
        grid.send_keys(Keys.END)
        self.see("#timeline .facts", "DEVICE-0")
        grid.send_keys(Keys.HOME, Keys.ARROW_DOWN)
        self.see("#timeline .facts", "DEVICE-28")
        self.assertTrue(self.browser.execute_script(
            "return document.getElementById(document.activeElement.getAttribute('aria-activedescendant')).textContent").strip())
        seen = []
        for _ in range(12):
            self.browser.switch_to.active_element.send_keys(Keys.TAB)
            seen.append(self.browser.execute_script(
                "const e = document.activeElement; return e.getAttribute('aria-label') ?? e.textContent"))
        for name in ("Compare two", "Decoded", "Copy as curl"):
            self.assertIn(name, seen)


if __name__ == "__main__":
    unittest.main(verbosity=2)
