#!/usr/bin/env python3
"""The built daemon against the simulated modem: real timers, real files, the host's own interface
script on a real interface. Run inside scripts/private_namespace.sh."""

import json
import os
import pathlib
import re
import signal
import subprocess
import time
import unittest

from gateway import BIN, LIMIT_S, SLOW, LogCatcher, Slot, calls, freshHost, waitUntil

DOWN = "setup_cellint.sh -i wwan0 --down"
# What the daemon sends to a healthy modem: tests/support/set_up_commands.h.
COMMANDS = json.loads(subprocess.check_output([BIN / "print_commands"]))
# A problem that the simulated modem notes after a kill, see assertUnderstood().
CUT_SHORT = re.compile(rf"at '.+{re.escape(COMMANDS['set_up'][0])}': ")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


class DaemonTest(unittest.TestCase):
    def setUp(self):
        freshHost()
        self.log = LogCatcher()
        self.addCleanup(self.log.close)

    def slot(self, number=1, scenario=None, config=None, start=True, fast=1):
        slot = Slot(number, scenario)
        self.addCleanup(slot.end)
        self.addCleanup(self.assertUnderstood, slot)
        slot.configure(**(config or {}))
        slot.startSim()
        if start:
            slot.startDaemon(fast=fast)
        return slot

    def connectedSlot(self, **options):
        slot = self.slot(**options)
        slot.waitConnected()
        return slot

    def assertUnderstood(self, slot):
        """The modem received no unknown or malformed command. A kill can cut one short: the modem takes
        the first command of the next daemon for its rest."""
        if slot.sim and slot.sim.poll() is None:
            problems = slot.order(op="dump")["state"]["problems"]
            cut = [problem for problem in problems if CUT_SHORT.match(problem)]
            self.assertEqual([problem for problem in problems if problem not in cut], [])
            self.assertLessEqual(len(cut), slot.kills)


class BringUp(DaemonTest):
    def test_coldStart_sendsExactlyTheSequenceAndSetsTheInterfaceUp(self):
        slot = self.connectedSlot()
        expected = COMMANDS["set_up"] + ["AT"] + COMMANDS["poll"] + COMMANDS["session"]
        self.assertEqual(slot.commands()[:len(expected)], expected)
        self.assertEqual(slot.value("_LAST_CONNECT_ERROR"), "eSUCCESS")
        up = calls("setup_cellint.sh -i wwan0 --up")
        self.assertEqual(up, ["setup_cellint.sh -i wwan0 --up --defaultroute -m 1430"
                              " --address 10.64.1.8 --netmask 255.255.255.0 --gateway 10.64.1.1"
                              " --dns 10.0.0.1 --dns 10.0.0.2 --ipv6auto"])
        self.assertEqual(
            [line for line in self.log.texts() if line.startswith("Running command")],
            ["Running command 'setup_cellint.sh -i wwan0 --up  --defaultroute  -m 1430"
             " --address 10.64.1.8 --netmask 255.255.255.0 --gateway 10.64.1.1"
             " --dns 10.0.0.1 --dns 10.0.0.2 --ipv6auto  &>/dev/null'"])
        self.assertIn("10.64.1.8", run("ip", "-4", "addr", "show", "wwan0").stdout)
        self.assertIn("default", run("ip", "route").stdout)
        self.assertIn("10.0.0.1", pathlib.Path("/etc/resolv.conf").read_text())
        self.assertEqual(run("ping", "-c", "1", "-W", str(LIMIT_S), "-I", "wwan0", "1.2.3.4").returncode, 0)

    def test_modemWithoutOkAfterConnect_connectsAfterTheWait(self):
        self.connectedSlot(scenario={"cgdata_ok": False})

    def test_modemAt115200Baud_connects(self):
        slot = Slot(1, pace="115200")
        self.addCleanup(slot.end)
        slot.configure()
        slot.startSim()
        slot.startDaemon()
        slot.waitConnected()

    def test_connected_staysWithinItsMemoryLimit(self):
        if SLOW or b"__asan_init" in (BIN / "cellslotd").read_bytes():
            self.skipTest("the sanitizers' or memcheck's own memory")
        slot = self.connectedSlot()
        status = pathlib.Path(f"/proc/{slot.daemon.pid}/status").read_text()
        self.assertLess(int(re.search(r"VmHWM:\s+(\d+) kB", status)[1]), 4096)

    def test_lockedSim_isUnlockedByItsPinFile(self):
        pathlib.Path("/etc/vuk/cellular_cpin.1").write_text("1234\n")
        slot = self.connectedSlot(scenario={"sim": {"pin": "1234", "lock": True}})
        self.assertEqual(slot.commands().count("AT+CPIN=1234"), 1)
        self.assertEqual(slot.value("_SIM_EXTENDED_STATUS"), "SIM PIN successfully unlocked")

    def test_wrongPin_isTriedOnce(self):
        pin = pathlib.Path("/etc/vuk/cellular_cpin.1")
        pin.write_text("9999\n")
        slot = self.slot(scenario={"sim": {"pin": "1234", "lock": True}})
        slot.waitFor("_SIM_REMAIN_CPIN", "2")
        # It asks for the state of the SIM again and again.
        waitUntil(lambda: sum("CPIN?" in command for command in slot.commands()) >= 4,
                  slot.commands)
        self.assertEqual(slot.commands().count("AT+CPIN=9999"), 1)
        self.assertEqual(pin.read_text(), "")
        pin.write_text("1234\n")
        slot.waitConnected()


class Link(DaemonTest):
    """In step with the modem, whatever unsolicited lines it sends and however late it answers."""

    POLL = "AT+CEREG?"

    def test_ringFiveTimesASecond_pollsGoOnAndSigtermEndsTheDaemon(self):
        slot = self.connectedSlot()
        slot.order(op="urc", line="RING", every_ms=200)
        before = slot.commands().count(self.POLL)
        waitUntil(lambda: slot.commands().count(self.POLL) >= before + 5,
                  lambda: "no polls beside unsolicited lines")
        self.assertEqual(slot.stopDaemon(), 2)

    def test_lateAnswerToTheDeactivation_doesNotHideThatTheApnIsRefused(self):
        define = 'AT+CGDCONT=1,"IPV4V6","internet"'
        slot = self.slot(scenario={"faults": [
            {"match": "AT+CGACT=0,1", "kind": "delay", "delay_ms": 6500, "count": 1},
            {"match": define, "kind": "cme", "number": 567, "count": 1}]})
        waitUntil(lambda: slot.commands().count(define) >= 1,
                  lambda: f"{define} was not sent")
        waitUntil(lambda: self.log.count("ting APN 'internet'") >= 1,
                  lambda: "nothing was logged about the APN")
        self.assertEqual(self.log.count("Error setting APN 'internet', error 567 (WRONG APN)"), 1)
        self.assertEqual(self.log.count("Success setting APN"), 0)
        slot.waitConnected()  # by the set-up that follows
        self.assertEqual(self.log.count("Success setting APN 'internet'"), 1)


class RefusedStart(DaemonTest):
    ALL_BUT_PORT = ["-d", "/dev/null", "-g", "/dev/null", "-i", "wwan0"]

    def start(self, *arguments):
        # A second instance that starts nevertheless is ended.
        result = subprocess.run([BIN / "cellslotd", *arguments], capture_output=True, text=True,
                                timeout=LIMIT_S, check=False)
        self.assertEqual((result.returncode, result.stderr), (1, ""))
        return result.stdout

    def test_version_isShownAndNothingElseHappens(self):
        result = subprocess.run([BIN / "cellslotd", "--version"], capture_output=True, text=True,
                                timeout=LIMIT_S, check=False)
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (0, "cellslotd version 1.0.17\n", ""))
        self.assertEqual(self.log.texts(), [])

    def test_portThatIsNoSlot_printsTheUsageAndLogsNothing(self):
        usage = "\ncellslotd version 1.0.17\n\n\nUsage: cellslotd -d </dev/device> "
        for port in ("0", "4", "2x"):
            self.assertTrue(self.start(*self.ALL_BUT_PORT, "-p", port).startswith(usage), port)
        self.assertTrue(self.start("-p", "1", "-h", *self.ALL_BUT_PORT).startswith(usage))
        self.assertTrue(self.start("-p", "1").startswith(usage))
        self.assertEqual(self.log.texts(), [])
        self.assertEqual(list(pathlib.Path("/run").glob("*.pid")), [])

    def test_pidFileThatCannotBeWritten_isReportedInLogAndOnTheConsole(self):
        place = pathlib.Path("/run/cellslotd.1.pid")
        place.mkdir()
        self.addCleanup(place.rmdir)
        console = self.start(*self.ALL_BUT_PORT, "-p", "1")
        self.assertEqual(console, "Error: Unable to write pid file, exiting\n")
        starting, reason, end = self.log.texts()
        self.assertEqual(starting, "v1.0.17 starting")
        self.assertRegex(reason, r"^Error: Unable to write pid \d+ to pidfile "
                                 r"'/var/run/cellslotd\.1\.pid'$")
        self.assertEqual(end, "Error: Unable to write pid file, exiting")
        # user.notice, with the process id
        self.assertRegex(self.log.datagrams[0], rb"^<13>.* cellslotd\[\d+\]: v1\.0\.17 starting")

    def test_secondInstanceOfASlot_doesNotDisturbTheFirst(self):
        slot = self.connectedSlot()
        console = self.start(*self.ALL_BUT_PORT, "-p", "1")
        self.assertEqual(console, "Error: Another process is already running, exiting\n")
        self.assertEqual(self.log.count("Error: Another process is already running, exiting"), 1)
        self.assertEqual(pathlib.Path("/run/cellslotd.1.pid").read_text(), str(slot.daemon.pid))
        self.assertEqual(slot.value("_QMI_STATE"), "CONNECTED")


class Console(DaemonTest):
    def test_noDebugMode_showsNoNotice(self):
        slot = self.connectedSlot()
        self.assertEqual(slot.output.read_text(), "")

    def test_debugMode_showsEachLineAtOnce(self):
        slot = self.connectedSlot(config={"DEBUG_MODE": "1"})
        self.assertIn("\nRunning command 'setup_cellint.sh -i wwan0 --up", slot.output.read_text())

    def test_closedConsole_doesNotEndTheDaemon(self):
        slot = self.slot(config={"DEBUG_MODE": "1"}, start=False)
        os.mkfifo(slot.output)
        reader = os.open(slot.output, os.O_RDONLY | os.O_NONBLOCK)
        slot.startDaemon()
        os.close(reader)
        slot.waitConnected()
        self.assertIsNone(slot.daemon.poll())
        # Its child processes would inherit an ignored signal.
        status = pathlib.Path(f"/proc/{slot.daemon.pid}/status").read_text()
        ignored = int(re.search(r"SigIgn:\s+(\w+)", status)[1], 16)
        self.assertFalse(ignored & 1 << (signal.SIGPIPE - 1))


    def test_startedWithClosedStandardFiles_hasNoOtherFilesInTheirPlace(self):
        slot = self.slot(start=False)
        words = [BIN / "cellslotd", "-d", slot.device, "-g", slot.gps, "-i", slot.interface, "-p", "1"]
        slot.daemon = subprocess.Popen(["bash", "-c", 'exec "$@" <&- >&- 2>&-', "bash", *words],
                                       process_group=0)
        slot.waitConnected()
        self.assertEqual([os.readlink(f"/proc/{slot.daemon.pid}/fd/{number}") for number in range(3)],
                         ["/dev/null"] * 3)


class CleanStop(DaemonTest):
    def stopBy(self, number):
        slot = self.connectedSlot()
        self.assertEqual(slot.stopDaemon(number), 2)
        self.assertEqual(calls()[-2:], [DOWN, DOWN])
        self.assertFalse(slot.status.exists())
        self.assertEqual(slot.commands()[-1], "AT#SLED=0")
        self.assertNotIn("AT#REBOOT", slot.commands())
        self.assertEqual(self.log.texts()[-1], "Exiting")
        self.assertNotIn("10.64.", run("ip", "-4", "addr", "show", "wwan0").stdout)

    def test_sigint(self):
        self.stopBy(signal.SIGINT)

    def test_sigterm(self):
        self.stopBy(signal.SIGTERM)

    def test_sighup(self):
        self.stopBy(signal.SIGHUP)


class Registration(DaemonTest):
    def test_registrationLostForLessThan15Seconds_keepsTheSession(self):
        slot = self.connectedSlot()
        lost = time.monotonic()
        slot.order(op="set", registration={"state": "searching"})
        slot.waitFor("_CREG_REGISTERED", "0")
        slot.waitPolls(2)
        slot.order(op="set", registration={"state": "home"})
        slot.waitFor("_CREG_REGISTERED", "1")
        if time.monotonic() - lost > 14:
            self.skipTest("the machine is too slow: the registration was lost for 15 seconds")
        slot.waitPolls(2)
        self.assertEqual(slot.value("_QMI_STATE"), "CONNECTED")
        self.assertEqual(self.log.count("Device no longer network registered"), 0)
        self.assertEqual(len(calls("setup_cellint.sh -i wwan0 --up")), 1)

    def test_registrationLostForMoreThan15Seconds_dropsTheSessionAndStartsAnother(self):
        slot = self.connectedSlot()
        lost = time.monotonic()
        slot.order(op="set", registration={"state": "searching"})
        slot.waitFor("_QMI_STATE", "DISCONNECTED")
        self.assertGreater(time.monotonic() - lost, 14)
        slot.order(op="set", registration={"state": "home"})
        slot.waitConnected()


class Changes(DaemonTest):
    def test_addressChange_restartsTheSession(self):
        slot = self.connectedSlot()
        slot.order(op="address", cid=1, ipv4="10.99.1.7")
        waitUntil(lambda: len(calls("setup_cellint.sh -i wwan0 --up")) == 2, calls)
        slot.waitConnected()
        self.assertEqual(self.log.count("IPv4 address changed, restarting connection"), 1)

    def test_reloadAfterAChange_setsTheInterfaceUpAgain(self):
        slot = self.connectedSlot()
        slot.configure(CM_MTU="1400")
        slot.daemon.send_signal(signal.SIGUSR2)
        waitUntil(lambda: len(calls("setup_cellint.sh -i wwan0 --up")) == 2, calls)
        self.assertIn(" -m 1400 ", calls("setup_cellint.sh -i wwan0 --up")[1])
        waitUntil(lambda: "mtu 1400" in run("ip", "link", "show", "wwan0").stdout,
                  lambda: "the interface keeps its MTU")


class ModemAway(DaemonTest):
    def test_silentModem_isConnectedAgainOnceItAnswers(self):
        slot = self.connectedSlot()
        slot.order(op="fault", prefix="AT", kind="silence")
        slot.waitFor("_QMI_STATE", "Unknown")
        slot.order(op="clear-faults")
        slot.waitConnected()

    def test_modemThatRestarts_isSetUpAgain(self):
        pathlib.Path("/etc/vuk/cellular_cpin.1").write_text("1234\n")
        slot = self.connectedSlot(scenario={"sim": {"pin": "1234", "lock": True}})
        slot.order(op="restart", away_ms=4000)
        waitUntil(lambda: len(calls("setup_cellint.sh -i wwan0 --up")) == 2, calls)
        slot.waitConnected()
        self.assertIsNone(slot.daemon.poll())
        # The SIM came back locked; the same PIN file opened it again.
        self.assertEqual(slot.commands().count("AT+CPIN=1234"), 2)

    def test_modemThatDisappearsAndComesBack_isSetUpAgain(self):
        slot = self.connectedSlot()
        slot.sim.terminate()
        slot.sim.wait(LIMIT_S)
        slot.sim.stdout.close()
        slot.waitFor("_QMI_STATE", "Unknown")
        # This is published before the lost port is closed and the two minutes begin.
        waitUntil(lambda: self.log.count("Unable to open device port, starting 2 minute timer") == 1,
                  lambda: self.log.texts()[-5:])
        slot.startSim()
        slot.waitConnected()


class Files(DaemonTest):
    def test_statusFile_isNeverSeenHalfWritten(self):
        slot = self.connectedSlot()
        seen = set()
        end = time.monotonic() + LIMIT_S
        while len(seen) < 3 and time.monotonic() < end:
            text = slot.status.read_text()
            self.assertTrue(text.startswith("#File generated \n"), text)
            self.assertRegex(text, r"(?m)^CELLMODEM1_SMS_RECV=\d+\n\Z")
            seen.add(text)
        # The file is replaced every two seconds, so a permanent reader sees more than one.
        self.assertEqual(len(seen), 3)

    def test_store_canBeReadWhileTheDaemonRuns(self):
        self.connectedSlot()
        result = run(BIN / "skvs", "get", "CELLMODEM1_QMI_STATE")
        self.assertEqual((result.returncode, result.stdout), (0, "CONNECTED\n"))
        self.assertEqual(run(BIN / "skvs", "get", "NO_SUCH_KEY").returncode, 1)

    def test_twoSlots_runSideBySide(self):
        first = self.slot(1)
        second = self.slot(2, scenario={"model": "LE910-EU V2"})
        first.waitConnected()
        second.waitConnected()
        self.assertEqual(second.value("_MODEL"), "LE910-EU V2")
        self.assertIsNone(first.value("2_MODEL"))
        plain = pathlib.Path("/var/log/wireless.cardstats").read_text()
        self.assertIn(f"CELLMODEM_MODEL={first.value('_MODEL')}\n", plain)
        self.assertEqual(first.stopDaemon(), 2)
        second.waitRenewed(2)
        self.assertEqual(second.value("_QMI_STATE"), "CONNECTED")
        self.assertEqual(second.stopDaemon(), 2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
