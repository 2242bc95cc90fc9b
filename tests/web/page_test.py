#!/usr/bin/env python3
"""The page in Debian's Chromium. Screenshots are in CELLSLOT_RESULTS."""

import os
import pathlib
import time

from browser import DESKTOP, PHONE, Browser
from web_case import CONFIG, WebCase, runTests

RESULTS = pathlib.Path(os.environ["CELLSLOT_RESULTS"])
AXE = pathlib.Path(os.environ["CELLSLOT_AXE"]).read_text()
VIEWS = ("overview", "signal", "history", "events", "messages")
NOTHING_WRONG = "Nothing. The modem works as configured."


class PageCase(WebCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser = Browser("--autoplay-policy=user-gesture-required")
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.server = self.serve(history=self.makeHistory())
        self.browser.size(DESKTOP)
        self.browser.open("about:blank")
        self.browser.console()
        self.browser.requests()
        self.browser.open(self.server.url)
        self.browser.waitFor("#link", "Live")

    def openView(self, view):
        self.browser.run("location.hash = arguments[0]", view)
        self.browser.waitFor(f"#{view} h2", lambda text: bool(text))


class Values(PageCase):
    def test_LiveValues_Change(self):
        self.openView("signal")
        self.browser.waitFor("#big-number", lambda text: text.startswith("-"))
        self.slot.order(op="set", signal={"rsrp_dbm": -81})
        self.browser.waitFor("#big-number", "-81")
        self.browser.waitFor("#big-word", "good")
        self.slot.order(op="set", signal={"rsrp_dbm": -117})
        self.browser.waitFor("#big-number", "-117")
        self.browser.waitFor("#big-word", "poor")
        self.browser.waitFor("#figures", "RSRP -117 dBm")
        self.slot.order(op="set", signal={"rsrp_dbm": -98})
        self.browser.waitFor("#big-number", "-98")

    def test_Outage_IsShownWithWhatToDo(self):
        self.browser.waitFor("#state", "Connected")
        self.browser.waitFor("#problems", NOTHING_WRONG)
        self.slot.daemon.kill()
        self.slot.daemon.wait()
        self.browser.waitFor("#state", "No daemon is running")
        self.browser.waitFor("#problems", "What to do: ")
        self.browser.screenshot(RESULTS / "outage.png")
        self.slot.startDaemon()
        self.browser.waitFor("#state", "Connected")

    def test_GatewayThatIsGone_IsNoticedAndItsReturnToo(self):
        self.server.process.kill()
        self.server.end()
        self.browser.waitFor("#link", "No connection to the gateway")
        self.serve(port=self.server.port)
        self.browser.waitFor("#link", "Live")
        self.browser.console()  # the browser notes each refused connection

    def test_HiddenPage_ReadsNoStream(self):
        self.browser.call("POST", "/window/new", {"type": "tab"})
        # A page that nobody sees is frozen by and by, but closes its stream at once.
        hidden = "Object.defineProperty(document, 'hidden', {configurable: true, value: arguments[0]});" \
                 "document.dispatchEvent(new Event('visibilitychange'));"
        self.browser.run(hidden, True)
        self.browser.run(hidden, False)
        self.browser.waitFor("#link", "Live")


class History(PageCase):
    def test_EveryRange_IsDrawnAndNamed(self):
        self.openView("history")
        for value, words in (("1h", "57 min"), ("6h", "5 h 42 min"), ("24h", "22 h 48 min"), ("7d", "6 d 15 h"),
                             ("30d", "28 d 12 h"), ("365d", "346 d 18 h")):
            self.browser.run("document.querySelector(`#ranges input[value='${arguments[0]}']`).click()", value)
            self.browser.waitFor("#history-facts", f"94.74 % of {words}")
            self.browser.waitFor("#history-note", lambda text: text == "")
            self.assertEqual(self.browser.run("return document.querySelectorAll('#plots canvas').length"), 4)
            self.browser.waitFor("#plots", "RSRP in dBm")
            self.browser.waitFor("#outages", "the modem is searching")
            asked = [url for url in self.browser.requests() if "api/history" in url]
            if value != "24h":
                self.assertTrue(asked[-1].endswith(f"?slot=1&range={value}"), asked)

    def test_Events_AreShownTheNewestFirst(self):
        self.openView("events")
        text = self.browser.waitFor("#events-table", "the modem is searching")
        self.assertLess(text.index("Connected again"), text.index("the modem is searching"))

    def test_GatewayWithoutHistory_SaysSo(self):
        server = self.serve(history="/usr/lib/cellslot/nothing")
        self.browser.open(server.url + "#history")
        self.browser.waitFor("#history-note", "No history is kept on this gateway.")
        self.browser.console()


class Looks(PageCase):
    def test_EveryView_FitsATelephoneAndADesktop(self):
        for name, size in (("phone", PHONE), ("desktop", DESKTOP)):
            for dark in (False, True):
                self.browser.size(size, dark)
                for view in VIEWS:
                    self.openView(view)
                    time.sleep(1.2 if view == "signal" else 0.5)
                    overflow = self.browser.run(
                        "return document.documentElement.scrollWidth - innerWidth")
                    self.assertLessEqual(overflow, 0, f"{view} at {size}")
                    scheme = "dark" if dark else "light"
                    self.browser.screenshot(RESULTS / f"{view}-{name}-{scheme}.png")

    def test_Axe_FindsNothing(self):
        for dark in (False, True):
            for size in (PHONE, DESKTOP):
                self.browser.size(size, dark)
                for view in VIEWS:
                    self.openView(view)
                    time.sleep(0.5)
                    self.browser.run(AXE + "\nwindow.axe = axe;")
                    findings = self.browser.runAsync(
                        "const done = arguments[0];"
                        "axe.run(document, {resultTypes: ['violations']}).then((result) => done("
                        "result.violations.map((one) => [one.id, one.help,"
                        " one.nodes.map((node) => node.html + ' ' + node.failureSummary)])));")
                    self.assertEqual(findings, [], f"{view}, {size}, dark: {dark}")

    def test_Console_StaysEmptyAndNothingForeignIsAsked(self):
        for view in VIEWS:
            self.openView(view)
            time.sleep(0.5)
        # What is not allowed here is answered with an error, which the browser notes.
        noted = [line for line in self.browser.console()
                 if "/api/messages" not in line]
        self.assertEqual(noted, [])
        asked = self.browser.requests()
        self.assertIn(self.server.url + "api/live", asked)
        foreign = [url for url in asked if not url.startswith((self.server.url, "about:", "data:"))]
        self.assertEqual(foreign, [])


class Keyboard(PageCase):
    def focused(self):
        return self.browser.run("const node = document.activeElement;"
                                "return node.id || node.hash || node.value || node.tagName")

    def test_KeyboardAlone_ReachesEverything(self):
        self.browser.press("Tab")
        self.assertEqual(self.focused(), "#main")
        order = []
        for _ in range(5):
            self.browser.press("Tab")
            order.append(self.focused())
        self.assertEqual(order, ["#" + view for view in VIEWS])
        for _ in range(3):
            self.browser.run("document.querySelector('nav a[href=\"#signal\"]').focus()")
        self.browser.press("Enter")
        self.browser.waitFor("#signal h2", "Signal")
        self.assertEqual(self.focused(), "main")
        self.browser.press("Tab")
        self.assertEqual(self.focused(), "tone")
        self.browser.press("Space")
        self.assertEqual(self.browser.run("return document.getElementById('tone').ariaPressed"), "true")
        self.browser.press("Space")
        self.assertEqual(self.browser.run("return document.getElementById('tone').ariaPressed"), "false")
        self.browser.run("document.querySelector('nav a[href=\"#history\"]').focus()")
        self.browser.press("Enter")
        self.browser.waitFor("#history h2", "History")
        self.browser.press("Tab")
        self.assertEqual(self.focused(), "24h")
        self.browser.press("Right")
        self.assertEqual(self.focused(), "7d")


if __name__ == "__main__":
    runTests()
