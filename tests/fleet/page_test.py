"""The page of a fleet in Debian's Chromium, fed by a broker without encryption. Screenshots are in
CELLSLOT_RESULTS."""

import json
import os
import pathlib
import socket
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "web"))

from brokers import LIMIT_S, Process, takesConnections, waitUntil  # noqa: E402
from browser import Browser  # noqa: E402
from fleet_case import runTests  # noqa: E402
from gateways import NO_SIM, NOTE, POOR, offline, online, slotStatus, utc  # noqa: E402
from mqtt_client import CONNECT, PUBLISH, RETAIN, packet, text  # noqa: E402
from serve_test import Server  # noqa: E402

PHONE, DESKTOP = (390, 844), (1280, 800)
PORT = 1883
MANY = int(os.environ.get("CELLSLOT_MANY", "2000"))
HOSTILE = "<img src=x onerror=alert(1)><b>bold</b>"
RESULTS = pathlib.Path(os.environ["CELLSLOT_RESULTS"])
AXE = pathlib.Path(os.environ["CELLSLOT_AXE"]).read_text()
PAGES = os.environ["CELLSLOT_PAGES"]


class Publisher:
    """Publishes for any gateway."""

    def __init__(self):
        self.sock = socket.create_connection(("127.0.0.1", PORT), LIMIT_S)
        self.sock.sendall(packet(CONNECT, 0, text("MQTT") + bytes([4, 2, 0, 0]) + text("all")))
        assert self.sock.recv(4)[3] == 0

    def say(self, name, topic, payload):
        self.sock.sendall(packet(PUBLISH, RETAIN, text(f"cellslot/1/{name}/{topic}") + payload.encode()))

    def state(self, name, availability=None, *statuses):
        self.say(name, "availability", availability or online())
        for status in statuses or (slotStatus(),):
            self.say(name, f"slot/{json.loads(status)['slots'][0]['slot']}/status", status)

    def remove(self, name):
        for topic in ("availability", "slot/1/status"):
            self.say(name, topic, "")

    def end(self):
        self.sock.close()


class PageCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="page."))
        (folder / "mosquitto.conf").write_text(f"listener {PORT} 127.0.0.1\nallow_anonymous true\nuser root\n"
                                             "max_queued_messages 0\nmax_queued_bytes 268435456\n")
        cls.broker = Process(["mosquitto", "-c", folder / "mosquitto.conf"], folder / "log")
        cls.broker.start()
        cls.addClassCleanup(cls.broker.end)
        waitUntil(lambda: takesConnections(PORT), "mosquitto")
        cls.conf = folder / "fleet.conf"
        cls.conf.write_text(f"BROKER=localhost:{PORT}\nTLS=no\n")
        cls.publisher = Publisher()
        cls.addClassCleanup(cls.publisher.end)
        cls.publishAll()
        cls.server = Server(cls.conf, "--pages", PAGES)
        cls.addClassCleanup(cls.server.end)
        waitUntil(lambda: cls.server.get("/api/fleet?name=last")[2].count('"name"') == 1, "the last gateway")
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.browser.size(DESKTOP)
        self.browser.open("about:blank")
        self.browser.console()
        self.browser.requests()
        self.open("")

    def open(self, view):
        self.browser.open(f"http://127.0.0.1:{self.server.port}/{view}")
        self.browser.waitFor("#link", "Live")

    def drawn(self):
        self.browser.runAsync("const done = arguments[0];"
                              "requestAnimationFrame(() => requestAnimationFrame(() => done()));")

    def rows(self):
        return self.browser.run("return [...document.querySelectorAll('#rows .name')].map((one) => one.textContent)")

    def choose(self, name, value):
        self.browser.run("const choice = document.getElementById(arguments[0]); choice.value = arguments[1];"
                         "choice.dispatchEvent(new Event('input'))", f"filter-{name}", value)


class Fleet(PageCase):
    @classmethod
    def publishAll(cls):
        say = cls.publisher.state
        say("depot-gone", offline(secondsAgo=11000), slotStatus(secondsAgo=12000))
        say("pump-1", None, slotStatus(state="not_connected", problems=[NO_SIM]))
        say("pump-2", online(waiting=3), slotStatus(operator="Vodafone", problems=[POOR], quality="poor", rsrp=-117))
        say("odd", None, slotStatus(operator=HOSTILE, problems=[{"severity": "error", "id": HOSTILE, "what": HOSTILE,
                                                                   "mend": HOSTILE}]))
        say("two-modems", None, slotStatus(), slotStatus(slot=2, state="data_off", operator="Vodafone"))
        say("well", None, slotStatus(firmware="20.00.403"))
        say("last")

    def test_List_HasTheWorstFirstWithWhatIsWrong(self):
        self.assertEqual(self.rows(), ["depot-gone", "odd", "pump-1", "pump-2", "last", "two-modems", "well"])
        self.assertIn("lost it without a word", self.browser.text("#rows"))
        # The time it was last heard stands beside, and goes on.
        self.assertIn("heard 3 h 3 min ago", self.browser.text("#rows"))
        self.assertEqual(self.browser.text("#rows .what").count(" ago"), 0)
        self.browser.waitFor("#count", "7 gateways: 1 offline, 3 with something wrong, 3 well")
        self.browser.waitFor("#kinds", "1 SIM missing")

    def test_KindAndFilters_Choose(self):
        self.browser.click("#kinds [data-kind=signal_poor]")
        self.assertEqual(self.rows(), ["pump-2"])
        self.browser.waitFor("#count", "1 of 7 gateways")
        self.browser.click("#clear")
        self.assertEqual(len(self.rows()), 7)
        for name, value, expected in (("operator", "Vodafone", ["pump-2"]), ("state", "offline", ["depot-gone"]),
                                      ("signal", "poor", ["pump-2"]), ("firmware", "20.00.403", ["well"]),
                                      ("name", "PUMP", ["pump-1", "pump-2"])):
            self.choose(name, value)
            self.assertEqual(self.rows(), expected, name)
            self.browser.click("#clear")

    def test_Gateway_IsShownInDetailAndFollows(self):
        self.browser.click('#rows a[href="#gateway/pump-2"]')
        self.browser.waitFor("#gateway-title", "pump-2")
        self.browser.waitFor("#problems", "The signal is poor.")
        self.browser.waitFor("#big-number", "-117")
        self.browser.waitFor("#gateway-facts", "3 messages in its spool")
        self.publisher.state("pump-2", online(waiting=3),
                             slotStatus(operator="Vodafone", problems=[POOR], quality="poor", rsrp=-114))
        self.browser.waitFor("#big-number", "-114")
        self.publisher.state("pump-2", online(waiting=3),
                             slotStatus(operator="Vodafone", problems=[POOR], quality="poor", rsrp=-117))
        self.browser.waitFor("#big-number", "-117")
        self.open("#gateway/two-modems")
        self.browser.waitFor("#slot", "2")
        self.open("#gateway/depot-gone")
        self.browser.waitFor("#line", "check its power")
        self.browser.waitFor("#facts", "3 h")
        self.browser.waitFor("#slot-title", "as it was when the gateway was last heard")
        self.assertIsNone(self.browser.text("#problems"))
        self.assertIsNone(self.browser.text("#signal"))
        self.open("#gateway/nobody")
        self.browser.waitFor("#gateway-note", "The broker knows no gateway")

    def test_TextsFromTheNetwork_StayTexts(self):
        self.browser.waitFor("#rows", HOSTILE)
        self.open("#gateway/odd")
        self.browser.waitFor("#problems", HOSTILE)
        self.browser.waitFor("#facts", HOSTILE)
        self.assertEqual(self.browser.run("return document.querySelectorAll('main img, main b').length"), 0)

    def test_StateOfWrongShape_ShowsNothingOfTheGatewayBefore(self):
        for name, body in (("wrong-1", {"state": "__proto__", "problems": 7, "network": "x", "data": None}),
                           ("wrong-2", {"state": ["a"], "network": {}, "session": 1, "signal": [], "sim": {}}),
                           ("wrong-3", {})):
            self.publisher.state(name, None, json.dumps({"time": utc(), "slots": [{"slot": 1, **body}]}))
            self.addCleanup(self.publisher.remove, name)
            self.open("#gateway/pump-1")
            self.browser.waitFor("#problems", "detects no SIM")
            self.browser.run("location.hash = arguments[0]", f"#gateway/{name}")
            self.browser.waitFor("#gateway-title", name)
            self.browser.waitFor("#gateway-note", "cannot be shown")
            self.assertIsNone(self.browser.text("#problems"), name)
            self.browser.run("location.hash = '#list'")
            self.browser.waitFor("#rows", name)
        self.assertEqual(self.browser.console(), [])

    def test_GatewayThatIsGivenUpWhileItIsShown_IsSaid(self):
        self.publisher.state("brief")
        self.open("#gateway/brief")
        self.browser.waitFor("#state", "Connected")
        self.publisher.remove("brief")
        self.browser.waitFor("#gateway-note", "The broker knows no gateway")
        self.assertIsNone(self.browser.text("#state"))
        self.publisher.state("brief")
        self.addCleanup(self.publisher.remove, "brief")
        self.browser.waitFor("#state", "Connected")
        self.browser.waitFor("#gateway-note", lambda said: not said)

    def test_Note_IsCountedAsWellAndWrongClockAsNotKnown(self):
        self.publisher.state("noted", None, slotStatus(problems=[NOTE]))
        self.addCleanup(self.publisher.remove, "noted")
        self.publisher.state("odd-clock", online(secondsAgo=-90000))
        self.addCleanup(self.publisher.remove, "odd-clock")
        self.browser.waitFor("#rows", "odd-clock")
        self.browser.waitFor("#count", "9 gateways: 1 offline, 4 with something wrong, 4 well")
        self.choose("name", "odd-clock")
        self.browser.waitFor("#rows", "heard at a time not known")

    def test_Keyboard_ReachesAllAndTheFocusStays(self):
        self.browser.run("document.querySelector('#kinds button[data-kind=signal_poor]').focus()")
        self.browser.press("Enter")
        self.assertEqual(self.rows(), ["pump-2"])
        self.assertEqual(self.browser.run("return document.activeElement.dataset.kind"), "signal_poor")
        self.browser.run("document.querySelector('#rows a').focus()")
        self.browser.press("Enter")
        self.browser.waitFor("#gateway-title", "pump-2")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "main")
        self.browser.run("history.back()")
        self.browser.waitFor("#rows", "pump-2")
        self.assertEqual(self.rows(), ["pump-2"])

    def test_EveryView_IsAccessibleAndFitsTheScreen(self):
        for view, shown in (("#list", "#rows"), ("#gateway/pump-2", "#problems"), ("#gateway/depot-gone", "#line")):
            for size in (PHONE, DESKTOP):
                for dark in (False, True):
                    self.browser.size(size, dark)
                    self.open(view)
                    self.browser.waitFor(shown, lambda said: bool(said))
                    self.drawn()
                    name = (f"fleet-{view.split('/')[-1].strip('#')}-{'phone' if size == PHONE else 'desktop'}"
                            f"{'-dark' if dark else ''}.png")
                    self.browser.screenshot(RESULTS / name)
                    self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), size[0], name)
                    self.browser.run(AXE)
                    found = self.browser.runAsync("const done = arguments[0];"
                                                  "axe.run().then((result) => done(result.violations));")
                    self.assertEqual([(one["id"], [node["html"] for node in one["nodes"]]) for one in found], [], name)

    def test_Page_AsksNoOtherHost(self):
        self.browser.waitFor("#rows", "pump-1")
        for address in self.browser.requests():
            self.assertTrue(address.startswith((f"http://127.0.0.1:{self.server.port}/", "about:", "data:")), address)
        self.assertEqual(self.browser.console(), [])


class Many(PageCase):
    """CELLSLOT_MANY=10000 for so many."""

    @classmethod
    def publishAll(cls):
        for number in range(MANY):
            cls.publisher.state(f"g-{number:05}", None,
                                slotStatus(problems=[POOR] if number % 10 == 0 else [],
                                           operator=f"Operator {number % 7}"))
        cls.publisher.state("last")

    def test_ManyGateways_AreShownInParts(self):
        self.browser.open("about:blank")
        begin = time.monotonic()
        self.open("")
        self.browser.waitFor("#count", f"{MANY + 1} gateways")
        print(f"{MANY + 1} gateways are listed after {time.monotonic() - begin:.2f} s")
        self.assertEqual(len(self.rows()), 100)
        self.browser.click("#more")
        self.assertEqual(len(self.rows()), 200)
        self.choose("name", "g-00999")
        self.assertEqual(self.rows(), ["g-00999"])
        self.browser.click("#clear")
        self.browser.screenshot(RESULTS / "fleet-many.png")
        print("making the list takes", self.browser.run(
            "const field = document.getElementById('filter-name'); const start = performance.now();"
            "for (let i = 0; i < 20; ++i) { field.value = i % 2 ? 'g-' : ''; field.dispatchEvent(new Event('input')); }"
            "return (performance.now() - start) / 20;"), "ms")


    def test_ClientsThatTakeNothing_CannotFillTheMemory(self):
        sockets = []
        self.addCleanup(lambda: [one.close() for one in sockets])
        answers = set()
        for _ in range(40):
            sockets.append(socket.create_connection(("127.0.0.1", self.server.port), LIMIT_S))
            sockets[-1].setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            sockets[-1].sendall(b"GET /api/fleet HTTP/1.1\r\nHost: localhost\r\n\r\n")
            answers.add(sockets[-1].recv(12))
        status = pathlib.Path(f"/proc/{self.server.process.pid}/status").read_text()
        self.assertEqual(answers, {b"HTTP/1.1 200", b"HTTP/1.1 503"})
        self.assertLess(int(status.split("VmRSS:")[1].split()[0]), 220 * 1024)


if __name__ == "__main__":
    runTests()
