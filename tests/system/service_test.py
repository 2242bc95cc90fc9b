#!/usr/bin/env python3
"""The daemon's messages to a service manager, and the restart of a frozen daemon. Run inside
scripts/private_namespace.sh."""

import os
import pathlib
import signal
import time
import unittest

from gateway import BIN, LogCatcher, Slot, freshHost, waitUntil
from service_manager import ServiceManager

# More than the daemon is silent for on a machine that is busy: a shell command takes long there.
WATCHDOG_S = 10
SILENCE_S = WATCHDOG_S + 2  # of the modem


class Service(unittest.TestCase):
    def setUp(self):
        freshHost()
        self.log = LogCatcher()
        self.addCleanup(self.log.close)
        self.slot = Slot(1)
        self.addCleanup(self.slot.end)
        self.slot.configure()
        self.slot.startSim()
        self.ended = False

    def start(self):
        slot = self.slot
        self.manager = ServiceManager(
            [BIN / "cellslotd", "-d", slot.device, "-g", slot.gps, "-i", slot.interface, "-p", "1"],
            WATCHDOG_S, slot.output)
        self.addCleanup(lambda: None if self.ended else self.manager.end())
        return self.manager

    def waitStatus(self, part):
        manager = self.manager
        waitUntil(lambda: part in (manager.status() or ""),
                  lambda: f"the status is {manager.status()!r}, without {part!r}")

    def test_lifeOfTheDaemon_isReportedFromReadyToStopping(self):
        manager = self.start()
        self.waitStatus("connected")
        pid = manager.process.pid
        self.ended = True
        self.assertEqual(manager.end(), 2)
        sent = [message for message in manager.of(pid) if message != "WATCHDOG=1"]
        self.assertEqual(sent[0], "READY=1")
        self.assertEqual(sent[-2:], ["STOPPING=1", "STATUS=ending"])
        statuses = manager.of(pid, "STATUS=")
        self.assertEqual(statuses[0], "STATUS=setting up the modem")
        self.assertIn("STATUS=registered, LTE B4, connected less than 1 min", statuses)
        self.assertEqual(len(manager.of(pid, "READY")), 1)

    def test_modemSilentForLongerThanTheWatchdog_daemonIsNotKilled(self):
        manager = self.start()
        self.waitStatus("connected")
        pid = manager.process.pid
        request = pathlib.Path("/tmp/at_cmd_in.new")
        self.slot.order(op="fault", match="AT+COPS=?", kind="silence", count=1)
        request.write_text(f"AT+COPS=?::{SILENCE_S}\n")
        request.rename("/tmp/at_cmd_in")
        start = time.monotonic()
        waitUntil(lambda: pathlib.Path("/tmp/at_cmd_out_raw").exists(), lambda: "no answer")
        end = time.monotonic()
        self.assertGreater(end - start, SILENCE_S)
        self.assertEqual(manager.process.pid, pid)
        beats = [when for when in manager.heartbeatTimes(pid) if start <= when <= end]
        self.assertGreater(len(beats), SILENCE_S / 2)
        self.assertEqual(manager.starts, 1)

    def test_frozenDaemon_isReplacedByOneThatConnects(self):
        manager = self.start()
        self.waitStatus("connected")
        frozen = manager.process.pid
        os.kill(frozen, signal.SIGSTOP)
        waitUntil(lambda: manager.process.pid != frozen, lambda: "not replaced")
        self.waitStatus("connected")
        self.slot.waitConnected()
        self.assertEqual(manager.starts, 2)
        self.assertEqual(len(manager.of(manager.process.pid, "READY")), 1)


if __name__ == "__main__":
    unittest.main()
