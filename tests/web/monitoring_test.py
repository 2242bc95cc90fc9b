#!/usr/bin/env python3
"""Debian's Prometheus scrapes a simulated gateway with the rules of docs/monitoring, their times made
short: alerts fire and clear."""

import itertools
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import urllib.request

from web_case import LIMIT_S, WebCase, runTests
from web_server import listening

MONITORING = pathlib.Path(__file__).resolve().parents[2] / "docs" / "monitoring"
# Each minute of a rule lasts this long here.
MINUTE_S = 0.5


def shortened(rules):
    """The rules with "for: 5m" and "[1h]" made short."""
    def short(match):
        minutes = int(match[2]) * {"m": 1, "h": 60}[match[3]]
        # Functions over a range need two samples.
        least = 4 if match[1] == "[" else 1
        return f"{match[1]}{max(least, round(minutes * MINUTE_S))}s"

    text, count = re.subn(r"(for: |\[|offset )(\d+)([mh])", short, rules)
    assert count >= 10, count
    return text


class Rules(WebCase):
    @classmethod
    def setUpClass(cls):
        pass

    def test_Promtool_AcceptsRulesAndTheirTests(self):
        for command in (["check", "config", "prometheus.yml"], ["test", "rules", "cellslot.rules.test.yml"]):
            subprocess.run(["promtool", *command], cwd=MONITORING, check=True, stdout=subprocess.DEVNULL)

    def test_EveryRule_HasATest(self):
        rules = re.findall(r"alert: (\w+)", (MONITORING / "cellslot.rules.yml").read_text())
        tests = (MONITORING / "cellslot.rules.test.yml").read_text()
        for rule in rules:
            self.assertRegex(tests, rf"alertname: {rule}\n +exp_alerts:\n", rule)

    def test_Dashboard_AsksForMetricsThatExist(self):
        source = (MONITORING.parents[1] / "cli/status/status_metrics.cpp").read_text()
        known = set(re.findall(r'"(cellslot_\w+)"', source))
        for name in ("grafana.json", "cellslot.rules.yml"):
            text = (MONITORING / name).read_text()
            asked = set(re.findall(r"\b(cellslot_\w+)", text))
            self.assertGreater(len(asked), 5)
            self.assertEqual(asked - known, set(), name)
        json.loads((MONITORING / "grafana.json").read_text())


class Alerts(WebCase):
    def setUp(self):
        self.server = self.serve()
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "cellslot.rules.yml").write_text(
            shortened((MONITORING / "cellslot.rules.yml").read_text()))
        config = (MONITORING / "prometheus.yml").read_text()
        config = config.replace("127.0.0.1:8088", f"127.0.0.1:{self.server.port}")
        config = config.replace("scrape_interval: 30s", "scrape_interval: 1s\n  evaluation_interval: 1s")
        (self.folder / "prometheus.yml").write_text(config)
        with listening() as free:
            self.port = free.getsockname()[1]
        log = (self.folder / "log").open("w")
        self.addCleanup(log.close)
        self.prometheus = subprocess.Popen(
            ["prometheus", f"--config.file={self.folder}/prometheus.yml",
             f"--storage.tsdb.path={self.folder}/data", f"--web.listen-address=127.0.0.1:{self.port}"],
            stdout=log, stderr=log)
        self.addCleanup(self.prometheus.wait)
        self.addCleanup(self.prometheus.terminate)
        self.waitFor(lambda: self.value("up") == 1, "the first scrape")

    def ask(self, path):
        try:
            with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/api/v1/{path}", timeout=LIMIT_S) as answer:
                return json.load(answer)["data"]
        except OSError:
            return {"result": [], "alerts": []}

    def value(self, metric):
        result = self.ask(f"query?query={metric}")["result"]
        return float(result[0]["value"][1]) if result else None

    def firing(self):
        return {alert["labels"]["alertname"] for alert in self.ask("alerts")["alerts"]
                if alert["state"] == "firing"}

    def waitFor(self, condition, what):
        start = time.monotonic()
        while not condition():
            self.assertLess(time.monotonic() - start, LIMIT_S, f"{what}; firing: {self.firing()}")
            time.sleep(0.2)
        return time.monotonic() - start

    def expectAlert(self, name, disturb, mend):
        self.assertNotIn(name, self.firing())
        disturb()
        fired = self.waitFor(lambda: name in self.firing(), name + " does not fire")
        mend()
        cleared = self.waitFor(lambda: name not in self.firing(), name + " does not clear")
        print(f"{name}: fires after {fired:.0f} s, clears after {cleared:.0f} s")

    def setModem(self, **sections):
        return lambda: self.slot.order(op="set", **sections)

    def test_Alerts_FireAndClear(self):
        self.assertEqual(self.value("cellslot_session_connected"), 1)
        self.expectAlert("CellslotWeakSignal", self.setModem(signal={"rsrp_dbm": -120}),
                         self.setModem(signal={"rsrp_dbm": -98}))
        self.expectAlert("CellslotHot", self.setModem(temperature={"celsius": 90, "level": 1}),
                         self.setModem(temperature={"celsius": 28, "level": 0}))
        self.expectAlert("CellslotSimTrouble", self.setModem(sim={"present": False}),
                         lambda: (self.setModem(sim={"present": True})(), self.slot.waitConnected()))
        self.expectAlert("CellslotDaemonDown", lambda: (self.slot.daemon.kill(), self.slot.daemon.wait()),
                         lambda: (self.slot.startDaemon(), self.slot.waitConnected()))
        self.expectAlert("CellslotOffline", self.setModem(registration={"state": "searching"}),
                         lambda: (self.setModem(registration={"state": "home"})(), self.slot.waitConnected()))

    def freeze(self):
        self.slot.daemon.send_signal(signal.SIGSTOP)
        self.addCleanup(self.slot.daemon.send_signal, signal.SIGCONT)

    def thaw(self):
        self.slot.daemon.send_signal(signal.SIGCONT)
        self.slot.waitRenewed()

    def writeStatus(self, key, value):
        """In the place of the daemon, which is frozen."""
        status = self.slot.status
        text, count = re.subn(rf"(?m)^(CELLMODEM1_{key})=.*$", rf"\g<1>={value}", status.read_text())
        self.assertEqual(count, 1, key)
        draft = status.with_suffix(".new")
        draft.write_text(text)
        draft.rename(status)

    def flap(self):
        states = itertools.cycle(("DISCONNECTED", "CONNECTED"))
        while not self.isQuiet.is_set():
            self.writeStatus("QMI_STATE", next(states))
            self.isQuiet.wait(1.5)  # each state is scraped

    def test_FrozenDaemonAndFlappingSession_AreReported(self):
        self.isQuiet = threading.Event()
        self.expectAlert("CellslotStatusOld",
                         lambda: (self.freeze(), self.writeStatus("STATS_LAST_UPDATE_E", int(time.time()) - 300)),
                         self.thaw)
        flapper = threading.Thread(target=self.flap)
        self.addCleanup(self.isQuiet.set)
        self.expectAlert("CellslotFlapping", lambda: (self.freeze(), flapper.start()),
                         lambda: (self.isQuiet.set(), flapper.join(), self.thaw()))

    def test_GatewayThatIsGone_IsReported(self):
        port = self.server.port
        self.expectAlert("CellslotNoNews", self.server.end, lambda: self.serve(port=port))


if __name__ == "__main__":
    runTests()
