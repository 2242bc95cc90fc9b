#!/usr/bin/env python3
"""bench/peers: how figures are read, summed and compared. Runs none of the programs."""
import os
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "bench" / "peers"))
import reckoning  # noqa: E402
import table  # noqa: E402

STAT = "7 (a) b (c) S {parent} 7 7 0 -1 4194304 91 0 0 0 5 6 {user} {system} 20 0 1 0 100 0 0\n"
STATUS = "Name:\tx\nVmHWM:\t  900 kB\nVmRSS:\t     {resident} kB\n"
TASK = "voluntary_ctxt_switches:\t{switches}\nnonvoluntary_ctxt_switches:\t5000\n"


class Processes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.proc = Path(folder.name)

    def add(self, pid, parent, tasks, user=0, resident=100):
        folder = self.proc / str(pid)
        folder.mkdir()
        (folder / "stat").write_text(STAT.format(parent=parent, user=user, system=1))
        (folder / "status").write_text(STATUS.format(resident=resident))
        (folder / "smaps_rollup").write_text("Rss:  100 kB\nPss:  40 kB\nPss_Dirty:  7 kB\n")
        for task, switches in tasks.items():
            (folder / "task" / str(task)).mkdir(parents=True)
            (folder / "task" / str(task) / "status").write_text(TASK.format(switches=switches))

    def usage(self, *roots):
        return reckoning.usage(roots, self.proc, clock=lambda pid: pid * 1000)

    def test_processWithChildren_isCountedWithAllDescendants(self):
        self.add(7, 1, {7: 10, 8: 20}, user=2)
        self.add(20, 7, {20: 3}, resident=50)
        self.add(30, 20, {30: 4})
        self.add(40, 1, {40: 1000})
        used = self.usage(7)
        self.assertEqual(used["wakeUps"], {7: 10, 8: 20, 20: 3, 30: 4})
        self.assertEqual(used["cpuNs"], {7: 7000 + 30_000_000, 20: 20_000 + 10_000_000,
                                         30: 30_000 + 10_000_000})
        self.assertEqual((used["residentKb"], used["proportionalKb"]), (250, 120))

    def test_nameWithBlanksAndParentheses_doesNotShiftTheFields(self):
        self.assertEqual(reckoning.parentOf(STAT.format(parent=99, user=3, system=4)), 99)
        self.assertEqual(reckoning.endedChildrenNs(STAT.format(parent=99, user=3, system=4)),
                         70_000_000)

    def test_endedProcess_isLeftOut(self):
        self.add(7, 1, {7: 10})
        self.assertEqual(self.usage(7, 8)["wakeUps"], {7: 10})
        self.assertEqual(self.usage(8), {"cpuNs": {}, "wakeUps": {}, "residentKb": 0,
                                         "proportionalKb": 0})

    def test_threadsThatEndAndBegin_doNotMakeTheGrowthNegative(self):
        self.assertEqual(reckoning.grown({1: 100, 2: 50}, {1: 110, 3: 7}), 17)

    def test_ownProcess_showsItsProcessorTime(self):
        start = reckoning.usage([os.getpid()])
        end = time.process_time() + 0.05
        while time.process_time() < end:
            pass
        used = reckoning.grown(start["cpuNs"], reckoning.usage([os.getpid()])["cpuNs"]) * 1e-9
        self.assertGreaterEqual(used, 0.05)
        self.assertGreater(start["residentKb"], start["proportionalKb"] / 2)

    def test_runningChild_belongsToTheFamily(self):
        with subprocess.Popen(["sleep", "60"]) as child:
            self.assertIn(child.pid, reckoning.family([os.getpid()]))
            child.kill()


class Figures(unittest.TestCase):
    def test_idleTime_isScaledToAnHour(self):
        before = {"cpuNs": {1: 1_000_000_000}, "wakeUps": {1: 100}}
        after = {"cpuNs": {1: 1_500_000_000}, "wakeUps": {1: 400}, "residentKb": 9,
                 "proportionalKb": 5}
        self.assertEqual(reckoning.idleFigures(before, after, 360, 100),
                         {"idleCpu": 5, "idleWakeUps": 3000, "idleCommands": 1000, "resident": 9,
                          "proportional": 5, "commandCpu": 5000})

    def test_noCommand_hasNoCostOfACommand(self):
        nothing = {"cpuNs": {}, "wakeUps": {}, "residentKb": 0, "proportionalKb": 0}
        self.assertNotIn("commandCpu", reckoning.idleFigures(nothing, nothing, 60, 0))

    def test_runThatDidNotEnd_leavesNoFigure(self):
        self.assertEqual(reckoning.middle([3, 1, 2]), 2)
        self.assertEqual(reckoning.mean([3, 1, 2]), 2)
        for figure in (reckoning.middle, reckoning.mean):
            self.assertIsNone(figure([1, None]))
            self.assertIsNone(figure([]))

    def test_ratio_isThePeersFigureToOurs(self):
        self.assertEqual(reckoning.ratio(6, 3), 2)
        for peer, own in ((None, 3), (6, None), (6, 0)):
            self.assertIsNone(reckoning.ratio(peer, own))


MONITOR = """\
signal time=1763812345.100000 sender=org.freedesktop.DBus -> destination=:1.3 serial=2 \
path=/org/freedesktop/DBus; interface=org.freedesktop.DBus; member=NameAcquired
   string ":1.3"
signal time=1763812346.200000 sender=:1.2 -> destination=(null destination) serial=26 \
path=/org/freedesktop/ModemManager1; interface=org.freedesktop.DBus.ObjectManager; \
member=InterfacesAdded
   object path "/org/freedesktop/ModemManager1/Modem/0"
   array [
      dict entry(
         string "State"
         variant             int32 3
      )
   ]
method return time=1763812346.300000 sender=:1.2 -> destination=:1.7 serial=27 reply_serial=2
   int32 99
signal time=1763812347.400000 sender=:1.2 -> destination=(null destination) serial=28 \
path=/org/freedesktop/ModemManager1/Modem/0; interface=org.freedesktop.ModemManager1.Modem; \
member=StateChanged
   int32 7
   int32 8
   uint32 1
"""


class BusSignals(unittest.TestCase):
    def test_signals_areReadWithTheirOwnValuesOnly(self):
        modem = "/org/freedesktop/ModemManager1/Modem/0"
        self.assertEqual(list(reckoning.busSignals(MONITOR.splitlines(keepends=True))), [
            (1763812345.1, "/org/freedesktop/DBus", "NameAcquired", [":1.3"]),
            (1763812346.2, "/org/freedesktop/ModemManager1", "InterfacesAdded", [modem]),
            (1763812347.4, modem, "StateChanged", ["7", "8", "1"])])

    def test_lastSignal_isGivenBeforeAnotherLineComes(self):
        lines = iter(MONITOR.splitlines()[:2])
        signals = reckoning.busSignals(lines)
        _, _, member, values = next(signals)
        self.assertEqual((member, values), ("NameAcquired", []))
        self.assertEqual(list(signals), [])
        self.assertEqual(values, [":1.3"])


class Table(unittest.TestCase):
    RESULTS = {"cellslotd": {"connected": 4.0, "resident": 2800, "messageIn": 2.5},
               "ModemManager": {"connected": 1.0, "resident": 14000, "messageIn": None},
               "smstools": {"connected": None, "resident": 1400}}

    def test_eachPeer_hasFigureAndRatio(self):
        self.assertEqual(list(table.lines(self.RESULTS)), [
            "| | cellslotd | ModemManager | smstools |",
            "|---|---|---|---|",
            "| start to connected, s | 4 | 1 (0.25x) | - |",
            "| resident memory, kB | 2,800 | 14,000 (5x) | 1,400 (0.5x) |",
            "| message at the modem to its receiver, mean, s | 2.5 | - | - |"])

    def test_peerThatIsAhead_isNamedWithItsReason(self):
        first, second = table.ahead(self.RESULTS)
        self.assertTrue(first.startswith('ModemManager is ahead in "start to connected" (0.25x): '))
        self.assertEqual(second, 'smstools is ahead in "resident memory" (0.5x): the reason is not'
                                 " known.")

    def test_reasons_belongToRowsAndPrograms(self):
        keys = {key for key, _, _ in table.ROWS}
        for key, name in table.REASONS:
            self.assertIn(key, keys)
            self.assertIn(name, {"ModemManager", "gammu-smsd", "smstools"})


if __name__ == "__main__":
    unittest.main()
