#!/usr/bin/env python3
"""The history of the slots, beside the daemon and the simulated modem: what happens is followed and can be
read at any time, and after a kill; memory, and the system calls that the unit allows."""

import json
import os
import pathlib
import re
import signal
import subprocess
import unittest

from gateway import BIN, LIMIT_S, LogCatcher, Slot, freshHost, waitUntil

UNIT = pathlib.Path(__file__).resolve().parents[2] / "packaging/history/cellslot-history.service"
FOLDER = pathlib.Path("/var/lib/cellslot/history")
PENDING = pathlib.Path("/run/cellslot-history")
MEMORY_MAX_KB = 6000


class HistoryCase(unittest.TestCase):
    def setUp(self):
        freshHost()
        # The rest of /var is the host's own.
        subprocess.run(["mount", "-t", "tmpfs", "history", "/var/lib"], check=True)
        self.addCleanup(subprocess.run, ["umount", "/var/lib"], check=True)
        FOLDER.mkdir(parents=True)
        PENDING.mkdir(exist_ok=True)
        self.addCleanup(lambda: [file.unlink() for file in PENDING.iterdir()])
        log = LogCatcher()
        self.addCleanup(log.close)
        self.service = None
        self.addCleanup(self.kill)

    def startSlot(self, number):
        slot = Slot(number)
        self.addCleanup(slot.end)
        slot.configure()
        slot.startSim()
        slot.startDaemon()
        return slot

    def start(self, *before):
        self.service = subprocess.Popen([*before, BIN / "cellslot-historyd"])

    def kill(self):
        if self.service is not None and self.service.poll() is None:
            self.service.kill()
            self.service.wait()

    def stop(self):
        self.service.terminate()
        self.assertEqual(self.service.wait(LIMIT_S), 0)

    def history(self, number, *words):
        done = subprocess.run([BIN / "cellslot-history", *words, "-p", str(number), "--json"],
                              capture_output=True, text=True, check=False)
        return json.loads(done.stdout) if done.returncode == 0 else None

    def kinds(self, number):
        return [event["kind"] for event in self.history(number, "events") or []]

    def waitKind(self, number, kind, times=1):
        waitUntil(lambda: self.kinds(number).count(kind) >= times,
                  lambda: f"the events of slot {number} are {self.history(number, 'events')}")


class Following(HistoryCase):
    def peakKb(self):
        text = pathlib.Path(f"/proc/{self.service.pid}/status").read_text()
        return int(re.search(r"VmHWM:\s+(\d+)", text)[1])

    def test_twoSlots_whatHappensCanBeReadAtOnce_andAfterAKill(self):
        slots = [self.startSlot(1), self.startSlot(2)]
        self.start()
        for slot in slots:
            slot.waitConnected()
            self.waitKind(slot.number, "online")
        # The modem of slot 1 is gone; the other goes on.
        others = self.history(2, "outages")
        offline = self.kinds(1).count("offline")  # until it was connected
        slots[0].sim.kill()
        slots[0].sim.wait()
        self.waitKind(1, "offline", offline + 1)
        outage = self.history(1, "outages")[-1]
        self.assertNotEqual(outage["cause"], "")
        self.assertIsNone(outage["to"])
        self.assertEqual(self.history(2, "outages"), others)
        self.assertEqual({file.name for file in FOLDER.iterdir()},
                         {"1.rrd", "1-slow.rrd", "2.rrd", "2-slow.rrd"}, "no write is due yet")
        self.assertLessEqual(self.peakKb(), MEMORY_MAX_KB)

        before = self.history(2, "events")
        self.kill()
        self.assertEqual(self.history(2, "events"), before)
        self.start()
        self.waitKind(2, "followed", 2)
        for slot in slots:
            slot.stopDaemon()
            self.waitKind(slot.number, "lost", 2)
        peak = self.peakKb()
        self.stop()
        print(f"memory of the history with two slots: {peak} kB at most")
        self.assertLessEqual(peak, MEMORY_MAX_KB)
        for file in FOLDER.glob("*.rrd"):
            subprocess.run(["rrdtool", "info", file], stdout=subprocess.DEVNULL, check=True)
        for number in (1, 2):
            self.assertTrue((FOLDER / f"{number}.usage").exists())
            figures = self.history(number)
            self.assertGreater(figures["connected_s"], 0)
            self.assertGreaterEqual(figures["known_s"], figures["connected_s"])

    def test_pageReader_answersBesideTheService(self):
        slot = self.startSlot(1)
        self.start()
        slot.waitConnected()
        self.waitKind(1, "online")

        def asked(*words):
            return json.loads(subprocess.run([BIN / "cellslot-web-history", *words],
                                             capture_output=True, text=True, check=True).stdout)
        self.assertIn("online", [event["kind"] for event in asked("events", "1")["events"]])
        waitUntil(lambda: asked("history", "1", "1h")["availability"]["connected_seconds"] > 0,
                  lambda: asked("history", "1", "1h"))


class Sandbox(HistoryCase):
    def allowed(self):
        """Every system call that the unit's filter lets pass."""
        shown = subprocess.run(["systemd-analyze", "syscall-filter"], capture_output=True, text=True,
                               check=True).stdout
        groups, name = {}, ""
        for line in re.sub(r"\x1b\[[0-9;]*m", "", shown).splitlines():
            if line.startswith("@"):
                name = line.strip()
                groups[name] = []
            elif line.strip() and not line.strip().startswith("#") and name:
                groups[name].append(line.strip())

        def expanded(word):
            return {call for member in groups[word] for call in expanded(member)} \
                if word.startswith("@") else {word}
        words = re.search(r"(?m)^SystemCallFilter=(.+)$", UNIT.read_text())[1].split()
        return set().union(*map(expanded, words))

    def test_systemCalls_areThoseThatTheUnitAllows(self):
        slot = self.startSlot(1)
        trace = pathlib.Path("/tmp/history.trace")
        self.start("strace", "--follow-forks", "--output", str(trace))
        slot.waitConnected()
        self.waitKind(1, "online")
        # strace passes no signal on.
        pid = int(trace.read_text().split(maxsplit=1)[0])
        os.kill(pid, signal.SIGTERM)
        self.assertEqual(self.service.wait(LIMIT_S), 0)
        self.assertTrue((FOLDER / "1.usage").exists(), "it wrote at its end")
        text = trace.read_text()
        used = set(re.findall(r"(?m)^\d+ +(\w+)\(", text))
        self.assertIn("memfd_create", used)
        self.assertEqual(used - self.allowed(), set())
        both = [line for line in text.splitlines()
                if "PROT_WRITE" in line and "PROT_EXEC" in line]
        self.assertEqual(both, [], "MemoryDenyWriteExecute")
        written = {path for path in re.findall(r'openat\(AT_FDCWD, "([^"]+)", O_(?:WRONLY|RDWR)', text)
                   if not path.startswith("/proc/self/fd/")}
        self.assertEqual({str(pathlib.Path(path).parent) for path in written} - {"/dev"},
                         {str(FOLDER), str(PENDING)})


if __name__ == "__main__":
    unittest.main()
