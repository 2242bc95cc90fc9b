#!/usr/bin/env python3
"""The demonstration as a newcomer sees it. Run inside scripts/private_namespace.sh."""

import os
import pathlib
import re
import subprocess
import sys
import unittest

DEMO = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "lib" / "demo.py"
SCREEN_LINES, SCREEN_COLUMNS = 24, 80
SUBJECTS = ("start", "modem", "SIM", "set-up", "network", "online", "CONNECTED", "ping", "message",
            "message", "message", "reload", "position", "online", "stop")
# Lines that look like faults, and the log of the daemon.
NOISE = re.compile(r"error|return code|Config option|AT\+|PROBLEM", re.IGNORECASE)


class Demo(unittest.TestCase):
    def test_goodRun_fitsOnOneScreenAndEndsWith0(self):
        run = subprocess.run([sys.executable, DEMO, "--bin", os.environ["CELLSLOT_BIN"], "--host",
                              os.environ["CELLSLOT_HOST"], "--seconds", "0"], check=False,
                             stdin=subprocess.DEVNULL, capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stderr), (0, ""), run.stdout)
        story, status, watch, doctor, history = run.stdout.split("\n== cellslot ")
        end = doctor.split("\n\n")[-1] + history.split("\n\n")[-1]
        shown = story + "\n" + end
        self.assertEqual(tuple(re.findall(r"^ *[\d.]+ s  (\S+)", shown, re.MULTILINE)), SUBJECTS)
        times = [float(time) for time in re.findall(r"^ *([\d.]+) s  ", shown, re.MULTILINE)]
        self.assertEqual(times, sorted(times))
        self.assertLessEqual(len(shown.splitlines()), SCREEN_LINES)
        for line in (shown + status + watch + history).splitlines():
            self.assertLessEqual(len(line), SCREEN_COLUMNS, line)
        self.assertNotRegex(story + watch, NOISE)
        self.assertIn("Slot 1  CONNECTED", status)
        self.assertIn("RSRP from -125 to -75 dBm", watch)
        self.assertIn("#", watch)
        self.assertIn("host\n", doctor)
        self.checkHistory(history)
        self.assertIn("good: connected, messages passed, clean end", end)

    def checkHistory(self, history):
        if not (pathlib.Path(os.environ["CELLSLOT_BIN"]) / "cellslot-historyd").exists():
            self.assertIn("no history: ", history)
            return
        self.assertIn("Slot 1  from ", history)
        self.assertRegex(history, r"\nConnected +\d.* % of the time")
        self.assertRegex(history, r"\nData +received \d")
        self.assertRegex(history, r"\nSignal +RSRP -\d+.* dBm on average")
        self.assertRegex(history, r"\n +\+[-+]*\+[-+]*\n +\d\d:\d\d")


if __name__ == "__main__":
    unittest.main()
