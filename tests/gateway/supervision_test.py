"""The daemon under the real service manager: what ends it or stops it, what starts it again, and how its
configuration is read again."""

import time

from gateway_case import (ModemCase, awaitConnected, awaitExchange, awaitNotConnected, awaitOtherProcess,
                          exchanges, serviceShows)

RESTARTS = 5


class Supervised(ModemCase):
    def setUp(self):
        awaitConnected(self.machine)
        self.process = serviceShows(self.machine, "MainPID")
        self.begun = time.monotonic()

    def tearDown(self):
        self.machine.order(1, op="clear-faults")
        self.machine.run("/bench/modem.py plug 1")

    def reportTime(self):
        self.report(f"{self._testMethodName}: {time.monotonic() - self.begun:.0f} s;")

    def test_Frozen_IsKilledByTheWatchdogAndConnectsAgain(self):
        self.machine.run(f"kill -STOP {self.process}")
        awaitOtherProcess(self.machine, self.process, 180)
        self.assertIn("Watchdog timeout", self.machine.run("journalctl -u cellslotd@1 -o cat"))
        awaitConnected(self.machine)
        self.reportTime()

    def test_Killed_ConnectsAgain(self):
        self.machine.run(f"kill -KILL {self.process}")
        awaitOtherProcess(self.machine, self.process, 60)
        awaitConnected(self.machine)
        self.reportTime()

    def test_ModemThatRestartsInEachSetUp_IsConnectedOnceItStays(self):
        self.machine.order(1, op="restart", away_ms=3000)
        sessions = exchanges(self.machine, "AT#NCM=1,1")
        for _ in range(RESTARTS):
            # The first command of a set-up.
            setUps = exchanges(self.machine, "AT+GMM")
            awaitExchange(self.machine, "AT+GMM", setUps)
            self.machine.order(1, op="restart", away_ms=3000)
        self.assertEqual(exchanges(self.machine, "AT#NCM=1,1"), sessions, "a set-up was complete")
        self.begun = time.monotonic()
        awaitExchange(self.machine, "AT#NCM=1,1", sessions)
        awaitConnected(self.machine)
        self.reportTime()
        self.assertEqual(serviceShows(self.machine, "ActiveState"), "active")

    def test_Reload_AppliesTheConfigurationWithoutARestart(self):
        self.machine.run("sed -i '/CM_MTU/d; $ a CM_MTU=1400' /etc/vuk/cellular1.conf")
        self.machine.run("systemctl reload cellslotd@1", 120)
        self.machine.waitFor("ip link show cell1", 120, "mtu 1400")
        awaitConnected(self.machine)
        self.assertEqual(serviceShows(self.machine, "MainPID"), self.process)

    def test_ReloadWithoutAModem_FailsAndTheDaemonStays(self):
        self.machine.run("/bench/modem.py unplug 1")
        awaitNotConnected(self.machine)
        status, output = self.machine.run("systemctl reload cellslotd@1", 120, check=False)
        self.machine.run("/bench/modem.py plug 1")
        self.assertNotEqual(status, 0, output)
        self.assertEqual(serviceShows(self.machine, "MainPID"), self.process)
        awaitConnected(self.machine)
