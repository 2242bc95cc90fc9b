#!/usr/bin/env python3
"""The page in Debian's Chromium. Screenshots are in CELLSLOT_RESULTS."""

import json
import os
import pathlib
import re
import signal
import subprocess

from browser import DESKTOP, PHONE, Browser
from web_case import LIMIT_S, WebCase, runTests
from web_server import BIN

HISTORY = pathlib.Path("/var/lib/cellslot/history")
RESULTS = pathlib.Path(os.environ["CELLSLOT_RESULTS"])
AXE = pathlib.Path(os.environ["CELLSLOT_AXE"]).read_text()
VIEWS = ("overview", "signal", "history", "events", "messages")
# What a view shows when it is complete; anything that is not empty, or the text.
COMPLETE = {
    "overview": [("#facts", "Updated")],
    "signal": [("#big-number", lambda text: text.startswith("-")), ("#figures", "RSRP")],
    "history": [("#history-note", lambda text: not text.startswith("Loading"))],
    "events": [("#events", lambda text: text.strip() != "Events")],
    "messages": [("#messages", lambda text: text.strip() != "Messages")],
}
NOTHING_WRONG = "Nothing. The modem works as configured."


class PageCase(WebCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser = Browser("--autoplay-policy=user-gesture-required")
        cls.addClassCleanup(cls.browser.close)

    history = "/usr/lib/cellslot/nothing"

    def setUp(self):
        self.server = self.serve(history=self.history)
        self.browser.size(DESKTOP)
        self.browser.open("about:blank")
        self.browser.console()
        self.browser.requests()
        self.browser.open(self.server.url)
        self.browser.waitFor("#link", "Live")

    def openView(self, view):
        self.browser.run("location.hash = arguments[0]", view)
        self.browser.waitFor(f"#{view} h2", lambda text: bool(text))
        for selector, shown in COMPLETE[view]:
            self.browser.waitFor(selector, shown)
        # Two frames: what was changed is drawn.
        self.browser.runAsync("const done = arguments[0];"
                              "requestAnimationFrame(() => requestAnimationFrame(() => done()));")


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

    def test_GatewayThatFallsSilent_IsNoticedAndItsReturnToo(self):
        # As a telephone that has left the wireless network: the connection is not closed.
        self.openView("signal")
        os.kill(self.server.process.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, self.server.process.pid, signal.SIGCONT)
        self.browser.waitFor("#link", "No connection to the gateway")
        self.browser.waitFor("#big-number", "–")
        self.assertEqual(self.browser.text("#big-word"), "no signal measured")
        os.kill(self.server.process.pid, signal.SIGCONT)
        self.browser.waitFor("#link", "Live")
        self.browser.waitFor("#big-number", lambda text: text.startswith("-"))

    def setHidden(self, isHidden):
        self.browser.run("Object.defineProperty(document, 'hidden', {configurable: true, value: arguments[0]});"
                         "document.dispatchEvent(new Event('visibilitychange'));", isHidden)

    def test_HiddenPage_ReadsNoStreamAndMeasuresNothing(self):
        server = self.serve(idle=1)
        self.browser.open(server.url + "#signal")
        self.browser.waitFor("#link", "Live")
        self.browser.waitForScript("return document.querySelectorAll('#trace polyline').length > 0")
        self.setHidden(True)
        # Nobody looks: it ends.
        self.assertEqual(server.process.wait(LIMIT_S), 0)
        before = self.browser.run("return document.querySelectorAll('#trace polyline').length")
        server.end()
        self.serve(port=server.port)
        self.setHidden(False)
        self.browser.waitFor("#big-number", lambda text: text.startswith("-"))
        # The time between is a gap in the trace.
        self.browser.waitForScript("return document.querySelectorAll('#trace polyline').length > arguments[0]", before)
        self.browser.console()


class HostileHistory(PageCase):
    """Texts of the network, and figures that are not known to the end."""

    TEXT = "<img src=x onerror=\"document.body.id='hit'\"><script>document.body.id='hit'</script>&amp;"

    def setUp(self):
        self.history = self.makeHistory()
        folder = self.history.parent
        answer = json.loads((folder / "history.24h").read_text())
        answer["availability"] = {"connected_seconds": 86399, "known_seconds": 86400}
        answer["outages"][0].update(text=self.TEXT, ends_unknown=True)
        answer["usage"]["sent_bytes"] = None
        (folder / "history.24h").write_text(json.dumps(answer))
        (folder / "events.1").write_text(json.dumps({"events": [{"time": 1, "kind": "x", "text": self.TEXT}]}))
        super().setUp()

    def test_Texts_AreShownAsTheyAre(self):
        for view, place in (("history", "#outages"), ("events", "#events-table")):
            self.openView(view)
            self.browser.waitFor(place, self.TEXT)
            self.assertEqual(self.browser.run("return [document.querySelectorAll('main img, main script').length,"
                                              "document.body.id]"), [0, ""])

    def test_Figures_SayNoMoreThanIsKnown(self):
        self.openView("history")
        self.browser.waitFor("#history-facts", "99.99 % of")
        self.browser.waitFor("#history-facts", "1.2 MB received, not known how much was sent")
        self.assertIn(" or longer", self.browser.text("#outages"))


class RecordedCase(PageCase):
    """A gateway that has kept its history for eight days (make_history.cpp), and the program that reads it."""

    DAYS = 8

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        # In memory: each write waits for the disk.
        subprocess.run(["mount", "-t", "tmpfs", "none", "/var/lib"], check=True)
        cls.addClassCleanup(subprocess.run, ["umount", "/var/lib"], check=True)
        HISTORY.mkdir(parents=True)
        subprocess.run([BIN / "make_history", str(cls.DAYS)], check=True)

    def setUp(self):
        self.history = BIN / "cellslot-web-history"
        super().setUp()

    def chooseRange(self, value):
        self.browser.run("document.querySelector(`#ranges input[value='${arguments[0]}']`).click()", value)
        self.browser.waitFor("#history-note", lambda text: text == "")


class History(RecordedCase):
    def shown(self):
        """Percent of the time connected, days known, and the number of outages."""
        text = self.browser.text("#history-facts")
        percent, length = re.search(r"([0-9.]+) % of (.*) that are known", text).groups()
        units = {"d": 1, "h": 1 / 24, "min": 1 / 1440, "s": 1 / 86400}
        days = sum(int(count) * units[unit] for count, unit in re.findall(r"(\d+) (d|h|min|s)\b", length))
        return float(percent), days, int(re.search(r"Outages\s+(\d+)", text)[1])

    def test_EveryRange_ShowsWhatWasRecorded(self):
        self.openView("history")
        known, outage = 86400 - 1800, 1000  # of each day
        for value, days in (("1h", 0), ("6h", 0), ("24h", 1), ("7d", 7), ("30d", self.DAYS), ("365d", self.DAYS)):
            self.chooseRange(value)
            self.assertEqual(self.browser.run("return document.querySelectorAll('#plots canvas').length"), 4, value)
            self.browser.waitFor("#plots", "RSRP in dBm")
            percent, shownDays, outages = self.shown()
            if days == 0:
                self.assertEqual((percent, outages), (100, 0), value)
                continue
            self.assertAlmostEqual(percent, 100 - 100 * outage / known, delta=0.03, msg=value)
            self.assertAlmostEqual(shownDays, days * known / 86400, delta=0.05, msg=value)
            self.assertEqual(outages, days, value)
            self.browser.waitFor("#outages", "16 min 40 s")
            self.browser.waitFor("#outages", "the modem is searching")
        asked = [url for url in self.browser.requests() if "api/history" in url]
        self.assertTrue(asked[-1].endswith("?slot=1&range=365d"), asked)

    def test_Events_AreShownTheNewestFirst(self):
        self.openView("events")
        self.browser.waitFor("#events-table", "the modem is searching")
        asked = self.browser.runAsync("fetch('api/events?slot=1').then((answer) => answer.json()).then(arguments[0])")
        times = [event["time"] for event in asked["events"]]
        self.assertEqual(times, sorted(times))
        texts = self.browser.run("return [...document.querySelectorAll('#events-table tbody tr')]"
                                 ".map((row) => row.cells[1].innerText)")
        self.assertEqual(texts, [event["text"] for event in reversed(asked["events"])])

    def test_GatewayWithoutHistory_SaysSo(self):
        server = self.serve(history="/usr/lib/cellslot/nothing")
        self.browser.open(server.url + "#history")
        self.browser.waitFor("#history-note", "No history is kept on this gateway.")
        self.browser.console()


class Looks(RecordedCase):
    def test_EveryView_FitsATelephoneAndADesktop(self):
        for name, size in (("phone", PHONE), ("desktop", DESKTOP)):
            for dark in (False, True):
                self.browser.size(size, dark)
                for view in VIEWS:
                    self.openView(view)
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
        # What is not allowed here is answered with an error, which the browser notes.
        noted = [line for line in self.browser.console()
                 if "/api/messages" not in line]
        self.assertEqual(noted, [])
        asked = self.browser.requests()
        self.assertIn(self.server.url + "api/live", asked)
        foreign = [url for url in asked if not url.startswith((self.server.url, "about:", "data:"))]
        self.assertEqual(foreign, [])


class Keyboard(RecordedCase):
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
