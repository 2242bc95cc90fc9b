#!/usr/bin/env python3
"""`cellslot status` and `cellslot watch` beside the live daemon and the simulated modem. Run inside
scripts/private_namespace.sh."""

import json
import pathlib
import re
import shutil
import signal
import subprocess
import unittest

from gateway import BIN, LogCatcher, Slot, freshHost, waitUntil
from metrics_format import readMetrics
from screen_reader import Terminal

CELLSLOT = str(BIN / "cellslot")
NO_DAEMON, DAMAGED = 3, 4


def cellslot(*arguments):
    return subprocess.run([CELLSLOT, *arguments], capture_output=True, text=True, check=False)


class CliTest(unittest.TestCase):
    def setUp(self):
        freshHost()
        log = LogCatcher()
        self.addCleanup(log.close)

    def slot(self, number=1, scenario=None, **config):
        slot = Slot(number, scenario)
        self.addCleanup(slot.end)
        slot.configure(**config)
        slot.startSim()
        slot.startDaemon()
        return slot

    def assertOneLine(self, run, status, part):
        self.assertEqual((run.returncode, run.stdout), (status, ""), run.stderr)
        self.assertRegex(run.stderr, r"\Acellslot: [^\n]+\n\Z")
        self.assertIn(part, run.stderr)


class Status(CliTest):
    def test_connectedSlot_isShownToPeopleAndPrograms(self):
        slot = self.slot()
        slot.waitConnected()
        run = cellslot("status", "-p", "1")
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertTrue(run.stdout.startswith("Slot 1  CONNECTED"), run.stdout)
        self.assertIn("wwan0: 10.64.1.8", run.stdout)
        self.assertIn("wanted: CM_ENABLE_INTERFACE=yes in /etc/vuk/cellular1.conf", run.stdout)
        self.assertIn(f"running as process {slot.daemon.pid}", run.stdout)
        self.assertNotIn("  ! ", run.stdout)

        # The only slot is shown in full without being named.
        alone = cellslot("status")
        self.assertEqual(alone.returncode, 0)
        self.assertRegex(alone.stdout, r"\ASlot 1  CONNECTED ")
        self.assertIn("\nSIM          ready, AT&T, ", alone.stdout)

        shown = json.loads(cellslot("status", "--json").stdout)["slots"][0]
        self.assertEqual((shown["state"], shown["problems"]), ("connected", []))
        self.assertIn("10.64.1.8", shown["session"]["addresses"])

        # Data forced off is shown within two passes, with the command that ends it.
        pathlib.Path("/tmp/force_cell_nocon.1").touch()
        slot.waitFor("_QMI_STATE", "DISCONNECTED")
        off = cellslot("status", "-p", "1")
        self.assertEqual(off.returncode, 0)
        self.assertTrue(off.stdout.startswith("Slot 1  DATA OFF"), off.stdout)
        self.assertIn("Data is off: forced off by /tmp/force_cell_nocon.1.", off.stdout)

        # A regular end leaves no file.
        slot.stopDaemon()
        self.assertOneLine(cellslot("status", "-p", "1"), NO_DAEMON,
                           "no daemon is running for slot 1; to start it: ")

    def test_severalSlots_metricsHaveASeriesEachAndTheTableSaysWhatIsWrong(self):
        first = self.slot(1)
        self.slot(2, {"sim": {"pin": "1234", "lock": True}}).waitFor("_SIM_STATUS", "PIN Locked")
        first.waitConnected()
        pathlib.Path("/var/log/wireless.cardstats.3").write_bytes(b"CELLMODEM3_MODEL=\xff\n\0")

        run = cellslot("status", "--metrics")
        self.assertEqual(run.returncode, DAMAGED)
        values = readMetrics(run.stdout)
        self.assertEqual([values["cellslot_status_valid", slot] for slot in "123"], [1, 1, 0])
        self.assertEqual([values["cellslot_session_connected", slot] for slot in "12"], [1, 0])
        self.assertEqual(values["cellslot_signal_rsrp_dbm", "1"], -98)
        self.assertEqual(values["cellslot_sim_pin_attempts", "2"], 3)
        self.assertNotIn(("cellslot_signal_rsrp_dbm", "2"), values)
        self.checkWithPromtool(run.stdout)

        table = cellslot("status").stdout
        self.assertTrue(table.startswith("Slot 2  NOT CONNECTED\n  ! The SIM needs its PIN, 3"),
                        table)
        self.assertIn("/var/log/wireless.cardstats.3 is truncated.", table)
        self.assertOneLine(cellslot("status", "-p", "3"), DAMAGED, "is truncated.")
        self.assertOneLine(cellslot("status", "-p", "4"), 2, "--help")

        first.killDaemon()
        dead = cellslot("status", "-p", "1")
        self.assertEqual(dead.returncode, NO_DAEMON)
        self.assertIn("No daemon is running for slot", dead.stdout)

    def checkWithPromtool(self, text):
        if shutil.which("promtool"):  # too large a dependency; readMetrics always checks
            run = subprocess.run(["promtool", "check", "metrics"], input=text, text=True,
                                 capture_output=True, check=False)
            self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ""))


class Watch(CliTest):
    def watch(self, *arguments, rows=24, columns=80, **environment):
        terminal = Terminal([CELLSLOT, "watch", *arguments], rows, columns,
                            **{"TERM": "vt100", **environment})
        self.addCleanup(terminal.end)
        return terminal

    def graph(self, terminal):
        return sum(line.count("#") for line in terminal.screen.lines() if "|" in line)

    def still(self, terminal):
        """The screen without its numbers, its times and its graph."""
        return [re.sub(r"up for [^,]+|updated .*|\d+", "0", line)
                for line in terminal.screen.lines() if "|" not in line]

    def test_screenOf24Lines_followsTheModem(self):
        slot = self.slot()
        slot.waitConnected()
        terminal = self.watch("-p", "1", "--interval", "1")
        terminal.waitFor("Slot 1  CONNECTED")
        terminal.waitFor("q quits")
        lines = terminal.screen.lines()
        self.assertEqual(len(lines), 24)
        self.assertIn("RSRP from -125 to -75 dBm", lines)
        self.assertRegex(lines[23], r"^\d\d:\d\d:\d\d, every 1 s; q quits$")
        waitUntil(lambda: terminal.drain(0.2) and self.graph(terminal) > 0,
                  lambda: terminal.screen.text())

        slot.order(op="set", signal={"rsrp_dbm": -121})
        terminal.waitFor("RSRP -121 dBm")
        terminal.waitFor("  ! The signal is poor")
        slot.order(op="set", signal={"rsrp_dbm": -90})
        terminal.waitFor("RSRP -90 dBm")
        # The last line, which has the time, is sent last.
        shown = terminal.screen.lines()[23]
        waitUntil(lambda: terminal.drain(0.2) and terminal.screen.lines()[23] != shown,
                  terminal.screen.text)
        # A screen of which only the changed lines were sent looks like one that was sent whole.
        changed = self.still(terminal)
        terminal.screen.clear()
        terminal.send(" ")
        waitUntil(lambda: terminal.drain(0.2) and self.still(terminal) == changed,
                  lambda: "\n".join([*changed, "is now", terminal.screen.text()]))

        self.assertEqual((terminal.screen.colours, terminal.screen.modes), (0, []))

        self.assertNotEqual(terminal.settings(), terminal.before)
        terminal.send("q")
        self.assertEqual(terminal.wait(), 0)
        self.assertEqual(terminal.settings(), terminal.before)

    def test_resizedWindow_isFilledAtOnce(self):
        pathlib.Path("/etc/vuk/cellular1.conf").touch()
        terminal = self.watch("--interval", "3600")
        terminal.waitFor("q quits")
        for rows, columns in ((10, 40), (50, 132), (24, 80)):
            terminal.resize(rows, columns)
            terminal.waitFor("q quits")
            self.assertIn("q quits", terminal.screen.lines()[-1])

    def test_endBySignal_restoresTheTerminal(self):
        pathlib.Path("/etc/vuk/cellular1.conf").touch()
        for end in (lambda terminal: terminal.signal(signal.SIGTERM),
                    lambda terminal: terminal.signal(signal.SIGINT),
                    lambda terminal: terminal.send("\x03")):
            terminal = self.watch()
            terminal.waitFor("NO DAEMON")
            end(terminal)
            self.assertEqual(terminal.wait(), 0)
            self.assertEqual(terminal.settings(), terminal.before)

    def test_signalWhileTheTerminalIsStopped_screenContinuesAfterwards(self):
        pathlib.Path("/etc/vuk/cellular1.conf").touch()
        terminal = self.watch("--interval", "3600")
        terminal.waitFor("q quits")
        terminal.screen.clear()
        terminal.send("\x13 ")  # XOFF, and a key that redraws the screen
        waitUntil(terminal.isWriting, lambda: "it draws nothing")
        terminal.signal(signal.SIGWINCH)
        terminal.send("\x11")
        terminal.waitFor("q quits")
        terminal.send("q")
        self.assertEqual(terminal.wait(), 0)

    def test_stoppedTerminal_endsWithTheSecondSignal(self):
        pathlib.Path("/etc/vuk/cellular1.conf").touch()
        terminal = self.watch()
        terminal.waitFor("NO DAEMON")
        # XOFF: from here on no write returns, neither of the screen nor at the end.
        terminal.send("\x13")
        waitUntil(lambda: terminal.signal(signal.SIGTERM) or terminal.hasEnded(),
                  lambda: "it does not end")
        self.assertEqual(terminal.status, -signal.SIGTERM)
        self.assertEqual(terminal.settings(), terminal.before)

    def test_colours_onlyIfRequested(self):
        pathlib.Path("/etc/vuk/cellular1.conf").touch()
        coloured = self.watch("-p", "1", TERM="xterm-256color", NO_COLOR="")
        coloured.waitFor("NO DAEMON")
        self.assertGreater(coloured.screen.colours, 0)
        self.assertEqual(coloured.screen.modes, ["?1049h", "?25l"])
        plain = self.watch("-p", "1", TERM="xterm-256color", NO_COLOR="1")
        plain.waitFor("NO DAEMON")
        self.assertEqual(plain.screen.colours, 0)

    def test_noTerminal_givesOneLine(self):
        for standardInput in (subprocess.DEVNULL, None):
            run = subprocess.run([CELLSLOT, "watch"], stdin=standardInput, capture_output=True,
                                 text=True, check=False)
            self.assertOneLine(run, 1, "watch needs a terminal")


if __name__ == "__main__":
    unittest.main()
