#!/usr/bin/env python3
"""A fault that resets the modem and starts the daemon again and again is logged once. Run inside
scripts/private_namespace.sh."""

import os
import pathlib
import signal
import unittest

from daemon_test import DaemonTest
from gateway import waitUntil

FAST = 60  # the daemon's clock
EXIT_RESET = 3
LOGGED = pathlib.Path("/run/cellslotd.1.logged")
ROW = "in a row after a reset"


class RepeatedStarts(DaemonTest):
    def start(self, subject, fast=FAST):
        subject.startDaemon(fast=fast, continued=True)

    def reset(self, subject):
        """Runs the daemon until it resets the modem; returns its lines."""
        before = len(self.log.texts())
        self.start(subject)
        self.assertEqual(subject.awaitEnd(), EXIT_RESET)
        return self.log.texts()[before:]

    def portMissing(self):
        subject = self.slot(start=False)
        subject.device = "/dev/no-such-port"
        first = self.reset(subject)
        self.assertIn("Device missing after 2 minutes, resetting", first)
        return subject, first

    def test_portMissing_isLoggedByTheFirstRunOnly(self):
        subject, _ = self.portMissing()
        for _ in range(3):
            self.assertEqual(self.reset(subject), [])

    def test_portThatComesBack_isLoggedAtOnce(self):
        subject, _ = self.portMissing()
        self.assertEqual(self.reset(subject), [])
        subject.device = "/dev/ttyCELL1"
        before = len(self.log.texts())
        self.start(subject, fast=4)
        subject.waitConnected()
        lines = self.log.texts()[before:]
        self.assertIn(f"Start 3 {ROW}", lines[0])
        self.assertIn("Opened Char device '/dev/ttyCELL1'", lines)
        self.assertIn("SUCCESS Setting up interface IP info", lines)
        self.assertNotIn("v1.0.17 starting", lines)

    def assertAllIsLogged(self, subject, first):
        before = len(self.log.texts())
        self.start(subject)
        waitUntil(lambda: any("starting 2 minute timer" in line
                              for line in self.log.texts()[before:]), self.log.texts)
        lines = self.log.texts()[before:]
        self.assertEqual(lines[0], "v1.0.17 starting")
        self.assertEqual(lines[2:], first[2:len(lines)])  # the second is the pid

    def end(self, subject, number):
        if number == signal.SIGKILL:
            subject.killDaemon()
        else:
            # The signal is for the daemon: its parent is the program that changes its clock.
            pid = int(pathlib.Path("/run/cellslotd.1.pid").read_text())
            os.kill(pid, number)
            self.assertEqual(subject.awaitEnd(), 2)

    def test_startAfterASignal_logsEverything(self):
        subject, first = self.portMissing()
        for number in (signal.SIGKILL, signal.SIGTERM):
            with self.subTest(number):
                # On this clock it stays for two minutes.
                self.start(subject, fast=1)
                waitUntil(lambda: not LOGGED.exists(), lambda: "the file is not taken")
                waitUntil(lambda: subject.status.exists(), lambda: "no pass")
                self.end(subject, number)
                self.assertAllIsLogged(subject, first)
                self.assertEqual(subject.awaitEnd(), EXIT_RESET)

    def test_fileThatIsSomethingElse_logsEverything(self):
        subject, first = self.portMissing()
        whole = LOGGED.read_bytes()
        for name, damage in {"torn": lambda: LOGGED.write_bytes(whole[:len(whole) // 2]),
                             "empty": lambda: LOGGED.write_bytes(b""),
                             "folder": LOGGED.mkdir}.items():
            with self.subTest(name):
                LOGGED.unlink()
                damage()
                self.assertAllIsLogged(subject, first)
                self.assertEqual(subject.awaitEnd(), EXIT_RESET)
        LOGGED.rmdir()


if __name__ == "__main__":
    unittest.main(verbosity=2)
