#!/usr/bin/env python3
"""Tests of gateway-tools/systime.sh, sledctl, ResetCellular, slot-of-port and timeout, in a private namespace:

    scripts/private_namespace.sh python3 tests/system/host_tools_test.py

The clock is never set: a "date" that only records its arguments is first on PATH.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

HOST = pathlib.Path(__file__).resolve().parents[2] / "gateway-tools"
STUBS = pathlib.Path("/tmp/stubs")
CALLS = pathlib.Path("/tmp/calls")
LIMIT_S = 300  # bounds a failure only
SLOTS = pathlib.Path("/etc/cellslot/slots.conf")


def call(name, *words, first=(STUBS,)):
    path = ":".join([*map(str, first), os.environ["PATH"]])
    return subprocess.run([HOST / name, *words], capture_output=True, text=True, check=False,
                          timeout=LIMIT_S, env={**os.environ, "PATH": path})


def stub(name, body, folder=STUBS):
    path = folder / name
    path.write_text("#!/bin/sh\n" + body)
    path.chmod(0o755)


class Tool(unittest.TestCase):
    def setUp(self):
        shutil.rmtree(STUBS, ignore_errors=True)
        STUBS.mkdir()
        CALLS.write_text("")
        shutil.rmtree(SLOTS.parent, ignore_errors=True)

    def check(self, result, status, message=""):
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        self.assertIn(message, result.stderr)


class Systime(Tool):
    def setUp(self):
        super().setUp()
        stub("date", f'echo "$*" >>{CALLS}\n')
        # As if no service manager had started the daemon.
        service = os.environ.pop("INVOCATION_ID", None)
        if service is not None:
            self.addCleanup(os.environ.update, INVOCATION_ID=service)

    def startedByTheServiceManager(self, status):
        os.environ["INVOCATION_ID"] = "1"
        self.addCleanup(os.environ.pop, "INVOCATION_ID")
        stub("date", f'echo "date $*" >>{CALLS}\n[ "$1" = -s ] || echo 1709622489\n')
        stub("systemctl", f'echo "systemctl $*" >>{CALLS}\nexit {status}\n')
        self.check(call("systime.sh", "--set", "3/5/24 7:8:9"), 0)
        return CALLS.read_text().splitlines()

    def test_InTheService_TheServiceManagerSetsTheClock(self):
        self.assertEqual(self.startedByTheServiceManager(0),
                         ["date -d 2024-3-5 7:8:9 +%s",
                          "systemctl start cellslot-clock@1709622489.service"])

    def test_ServiceManagerRefuses_SetsTheClockItself(self):
        self.assertEqual(self.startedByTheServiceManager(1)[-1], "date -s 2024-3-5 7:8:9")

    def test_DaemonText_DateGetsYearMonthDay(self):
        for text, expected in (("3/5/24 7:8:9", "-s 2024-3-5 7:8:9"),
                               ("12/31/69 23:59:59", "-s 2069-12-31 23:59:59"),
                               ("1/1/20 0:0:0", "-s 2020-1-1 0:0:0")):
            with self.subTest(text=text):
                CALLS.write_text("")
                self.check(call("systime.sh", "--set", text), 0)
                self.assertEqual(CALLS.read_text(), expected + "\n")

    def test_WrongTexts_ClockNotSet(self):
        for text in ("", "3/5/24", "7:8:9", "3/5/24  7:8:9", "13/5/24 7:8:9", "0/5/24 7:8:9",
                     "3/32/24 7:8:9", "3/0/24 7:8:9", "3/5/24 24:8:9", "3/5/24 7:60:9",
                     "3/5/24 7:8:60", "1/6/80 0:0:0", "1/1/0 0:0:0", "1/1/19 0:0:0",
                     "3/5/2024 7:8:9", "-3/5/24 7:8:9", "3/5/24 7:8:9 ", "3/5/24 7:8:9;x",
                     "3/5/24 $(x):8:9", "3/5/6/24 7:8:9", "3/5/24 7:8:9:9", "3/5/24 7:8"):
            with self.subTest(text=text):
                self.check(call("systime.sh", "--set", text), 2, "systime.sh: '")
        self.assertEqual(CALLS.read_text(), "")

    def test_WrongUsage_Refused(self):
        for words in ((), ("--set",), ("--set", "3/5/24 7:8:9", "x"), ("3/5/24 7:8:9",), ("-s",)):
            with self.subTest(words=words):
                self.check(call("systime.sh", *words), 2)
        self.assertEqual(CALLS.read_text(), "")

    def test_DateFails_StatusOne(self):
        stub("date", "exit 1\n")
        self.check(call("systime.sh", "--set", "2/30/24 7:8:9"), 1, "could not be set")

    def test_Help_ShowsTheForm(self):
        self.assertIn('--set "M/D/YY H:M:S"', call("systime.sh", "--help").stdout)


class Sledctl(Tool):
    def configure(self, text):
        SLOTS.parent.mkdir(exist_ok=True)
        SLOTS.write_text(text)

    def test_NotConfigured_SaysSoWithStatusThree(self):
        self.check(call("sledctl", "1", "off"), 3, "slot 1: nothing configured for 'off'")
        self.configure("2 off run true\n1 on run true\n# 1 off run true\n")
        self.check(call("sledctl", "1", "off"), 3, "nothing was done")
        self.check(call("sledctl", "1", "reset"), 3, "nothing configured for 'reset'")

    def test_Run_OnlyTheLinesOfSlotAndActionInOrder(self):
        self.configure(f"# comment\n1 off run echo a  b >>{CALLS}\n\n2 off run echo two >>{CALLS}\n"
                       f"  1\toff  run  echo c >>{CALLS}; cat >>{CALLS}\n1 on run echo on >>{CALLS}\n")
        self.check(call("sledctl", "1", "off"), 0)
        self.assertEqual(CALLS.read_text(), "a b\nc\n")

    def test_Write_ValueIntoFile(self):
        self.configure(f"3 on write {CALLS} 1 0\n")
        self.check(call("sledctl", "03", "on"), 0)
        self.assertEqual(CALLS.read_text(), "1 0\n")

    def test_Reset_OwnLinesElseOffWaitOn(self):
        self.configure(f"1 reset run echo reset >>{CALLS}\n1 on run echo on >>{CALLS}\n"
                       f"1 off run echo off >>{CALLS}\n2 on run echo on >>{CALLS}\n"
                       f"2 off run echo off >>{CALLS}\n")
        self.check(call("sledctl", "1", "reset"), 0)
        self.assertEqual(CALLS.read_text(), "reset\n")
        stub("sleep", f'echo "sleep $1" >>{CALLS}\n')
        self.check(call("sledctl", "2", "reset"), 0)
        self.assertEqual(CALLS.read_text(), "reset\noff\nsleep 3\non\n")

    def test_ResetWithUsbPortOnly_AuthorisationIsRemovedAndRestored(self):
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/sys/bus"], check=True)
        self.addCleanup(subprocess.run, ["umount", "/sys/bus"], check=True)
        switch = pathlib.Path("/sys/bus/usb/devices/1-1.4/authorized")
        switch.parent.mkdir(parents=True)
        switch.write_text("1\n")
        stub("sleep", f'echo "sleep $1 with $(cat {switch})" >>{CALLS}\n')
        self.configure("1 usb 1-1.2\n3 usb 1-1.4 4 3\n")
        self.check(call("ResetCellular", "now", "force", "-s", "3"), 0)
        self.assertEqual(CALLS.read_text(), "sleep 3 with 0\n")
        self.assertEqual(switch.read_text(), "1\n")
        self.check(call("sledctl", "1", "reset"), 1,
                   "/sys/bus/usb/devices/1-1.2/authorized does not exist")
        self.check(call("sledctl", "3", "off"), 3, "nothing configured for 'off'")

    def test_StepFails_StopsWithStatusOne(self):
        for step, message in (("run false", "failed at 'run false'"),
                              ("write /sys/no/such/file 1", "/sys/no/such/file does not exist"),
                              ("write /sys", "needs a path and a value"),
                              ("paint it black", "unknown step 'paint'")):
            with self.subTest(step=step):
                self.configure(f"1 off {step}\n1 off run echo never >>{CALLS}\n")
                self.check(call("sledctl", "1", "off"), 1, message)
        self.assertEqual(CALLS.read_text(), "")

    def test_WrongUsage_Refused(self):
        self.configure(f"1 off run echo never >>{CALLS}\n. off run echo never >>{CALLS}\n")
        for words in ((), ("1",), ("0", "off"), ("4", "off"), ("", "off"), (".", "off"),
                      ("11", "off"), ("-1", "off"), ("1", "of"), ("1", "off", "now")):
            with self.subTest(words=words):
                self.check(call("sledctl", *words), 2, "sledctl: ")
        self.assertEqual(CALLS.read_text(), "")

    def test_ResetCellular_ResetsTheSlot(self):
        self.configure(f"2 reset run echo reset >>{CALLS}\n")
        self.check(call("ResetCellular", "now", "force", "-s", "2"), 0)
        self.assertEqual(CALLS.read_text(), "reset\n")
        self.check(call("ResetCellular", "now", "force", "-s", "1"), 3, "nothing configured")

    def test_ResetCellular_WrongUsageRefused(self):
        self.configure(f"1 reset run echo never >>{CALLS}\n")
        for words in ((), ("now", "force"), ("-s",), ("now", "force", "-s", "9"),
                      ("later", "-s", "1"), ("-s", "")):
            with self.subTest(words=words):
                self.check(call("ResetCellular", *words), 2)
        self.assertEqual(CALLS.read_text(), "")


    def test_StandardErrorIsTheJournal_MessageIsLoggedOnce(self):
        stub("logger", f'echo "$*" >>{CALLS}\n')
        with pathlib.Path("/tmp/journal").open("w") as journal:
            info = os.fstat(journal.fileno())
            for stream, expected in ((f"{info.st_dev}:{info.st_ino}", ""),
                                     (f"{info.st_dev}:1", "sledctl: slot 1: ")):
                CALLS.write_text("")
                subprocess.run([HOST / "sledctl", "1", "off"], stderr=journal, check=False, timeout=LIMIT_S,
                               env={**os.environ, "PATH": f"{STUBS}:{os.environ['PATH']}",
                                    "JOURNAL_STREAM": stream})
                self.assertIn("nothing configured", CALLS.read_text())
                self.assertEqual(pathlib.Path("/tmp/journal").read_text()[:17], expected)


class SlotOfPort(Tool):
    USB = "/devices/platform/soc/usb1/1-1"

    def configure(self, text):
        SLOTS.parent.mkdir(exist_ok=True)
        SLOTS.write_text(text)

    def slotOfPort(self, path):
        result = call("slot-of-port", path)
        self.check(result, 0)
        return result.stdout.splitlines()

    def port(self, usbPort, interface):
        return self.slotOfPort(f"{self.USB}/{usbPort}/{usbPort}:1.{interface}/ttyUSB7/tty/ttyUSB7")

    def test_NothingConfigured_EveryModemBelongsToSlotOne(self):
        self.assertEqual(self.port("1-1.2", 4), ["CELLSLOT=1", "CELLSLOT_ROLE=at"])
        self.configure("1 off run true\n# 2 usb 1-1.2\n")
        self.assertEqual(self.port("1-1.2", 3), ["CELLSLOT=1", "CELLSLOT_ROLE=gps"])
        self.assertEqual(self.port("1-1.2", 5), ["CELLSLOT=1"])

    def test_UsbPortsConfigured_SlotInterfaceNameAndRole(self):
        self.configure("1 usb 1-1.2\n2 off run true\n2 usb 1-1.3 02 0\n9 usb 1-1.4\n")
        self.assertEqual(self.port("1-1.2", 4),
                         ["CELLSLOT=1", "CELLSLOT_INTERFACE=cell1", "CELLSLOT_ROLE=at"])
        self.assertEqual(self.port("1-1.3", 2),
                         ["CELLSLOT=2", "CELLSLOT_INTERFACE=cell2", "CELLSLOT_ROLE=at"])
        self.assertEqual(self.port("1-1.3", 0),
                         ["CELLSLOT=2", "CELLSLOT_INTERFACE=cell2", "CELLSLOT_ROLE=gps"])
        self.assertEqual(self.slotOfPort(f"{self.USB}/1-1.3/1-1.3:1.8/net/wwan0"),
                         ["CELLSLOT=2", "CELLSLOT_INTERFACE=cell2"])
        for other in ("1-1.4", "1-1.22"):
            self.assertEqual(self.port(other, 4), [])

    def test_NoUsbDevice_NothingPrinted(self):
        for path in ("", "/devices/platform/serial/tty/ttyS0", f"{self.USB}/1-1.2/power"):
            self.assertEqual(self.slotOfPort(path), [])


class Timeout(Tool):
    # As on the daemon's PATH: our folder, then those of the system.
    FIRST = (HOST, STUBS)

    def test_DaemonForm_EndsTheCommandInTime(self):
        self.check(call("timeout", "-t", "1", "sleep", "20", first=self.FIRST), 124)

    def test_DaemonForm_StatusOfTheCommand(self):
        self.check(call("timeout", "-t", "5", "sh", "-c", "exit 7", first=self.FIRST), 7)

    def test_AnyOtherCall_PassedOnUnchanged(self):
        stub("timeout", 'for word; do echo "<$word>"; done\nexit 9\n')
        result = call("timeout", "-k", "1", "5", "echo", "a b", "", first=self.FIRST)
        self.check(result, 9)
        self.assertEqual(result.stdout, "<-k>\n<1>\n<5>\n<echo>\n<a b>\n<>\n")
        self.assertEqual(call("timeout", "-t", "5", "gpsdctl", first=self.FIRST).stdout,
                         "<5>\n<gpsdctl>\n")

    def test_OwnFolderTwiceAndLinked_StillFindsTheReal(self):
        (STUBS / "timeout").symlink_to(HOST / "timeout")
        self.check(call("timeout", "-t", "5", "true", first=(HOST, STUBS, HOST)), 0)

    def test_WrongUsage_Refused(self):
        for words in (("-t",), ("-t", ""), ("-t", "x", "true"), ("-t", "5")):
            with self.subTest(words=words):
                self.check(call("timeout", *words, first=self.FIRST), 125, "timeout: -t")

    def test_NoOther_SaysSo(self):
        for name in ("sh", "readlink"):
            (STUBS / name).symlink_to(shutil.which(name))
        result = subprocess.run([HOST / "timeout", "5", "true"], capture_output=True, text=True,
                                check=False, env={"PATH": f"{HOST}:{STUBS}"})
        self.check(result, 125, "no other timeout on PATH")


if __name__ == "__main__":
    if os.environ.get("CELLSLOT_PRIVATE_NAMESPACE") != "1":
        sys.exit("host_tools_test.py writes into /etc: run it with scripts/private_namespace.sh")
    unittest.main()
