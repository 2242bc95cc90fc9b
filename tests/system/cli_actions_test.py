#!/usr/bin/env python3
"""The subcommands of the operator's command that change something, with the running daemon and the
simulated modem. Run inside scripts/private_namespace.sh."""

import os
import pathlib
import pty
import signal
import subprocess
import unittest

from gateway import BIN, LIMIT_S, LogCatcher, Slot, freshHost, waitUntil

SYSLOG = pathlib.Path("/var/log/messages")
SPOOL = pathlib.Path("/tmp/sms")
REQUEST = pathlib.Path("/tmp/at_cmd_in.1")

OK, FAILED, USAGE, NO_DAEMON, STALE, NOT_PERMITTED, TIMED_OUT = range(7)
NOBODY = 65534


class SyslogFile(LogCatcher):
    """The host's syslog daemon: also writes every message to the log file."""

    def take(self, data):
        super().take(data)
        # "<13>Nov 21 07:00:00 cellslotd[42]: text" as it comes from the C library
        with SYSLOG.open("ab") as file:
            file.write(data.split(b">", 1)[-1].rstrip(b"\n") + b"\n")


class Result:
    def __init__(self, done):
        self.status, self.out, self.err = done.returncode, done.stdout, done.stderr

    def __repr__(self):
        return f"status {self.status}\n{self.out}\n{self.err}"


def cellslot(*arguments, user=None, **options):
    return Result(subprocess.run([BIN / "cellslot", *arguments], capture_output=True, text=True,
                                 timeout=2 * LIMIT_S, check=False, user=user,
                                 group=user, extra_groups=[] if user else None, **options))


class Running:
    """A cellslot in the background."""

    def __init__(self, *arguments):
        self.process = subprocess.Popen([BIN / "cellslot", *arguments], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True)

    def isAsleep(self):
        """Between two checks of what it waits for; until it runs, its process has another name."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return "Name:\tcellslot\n" in status and "State:\tS" in status

    def result(self):
        self.out, self.err = self.process.communicate(timeout=2 * LIMIT_S)
        self.status = self.process.returncode
        return self


class Gateway(unittest.TestCase):
    """One daemon and modem for all tests of a class."""

    scenario = {}

    @classmethod
    def setUpClass(cls):
        freshHost()
        SYSLOG.unlink(missing_ok=True)
        cls.log = SyslogFile()
        cls.slot = Slot(1, cls.scenario)
        cls.slot.configure()
        cls.slot.startSim()
        cls.slot.startDaemon(fast=4)

    @classmethod
    def tearDownClass(cls):
        cls.slot.end()
        cls.log.close()

    def assertFails(self, result, status, *words):
        """Expects one line that says what is wrong, and the status."""
        self.assertEqual(result.status, status, result)
        self.assertRegex(result.err, r"\Acellslot: [^\n]+\n\Z")
        for word in words:
            self.assertIn(word, result.err)


class Actions(Gateway):
    """The modem is connected after each test."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.slot.waitConnected()

    # ---- sms

    def sent(self):
        return [message["text"] for message in self.slot.order(op="dump")["state"]["sms"]["sent"]]

    def test_smsSend_waitsUntilItIsSent(self):
        result = cellslot("sms", "send", "+1 (202) 555-0123", "Pump 3 stopped", "--wait")
        self.assertEqual((result.status, result.out), (OK, "sent\n"), result)
        self.assertIn("Pump 3 stopped", self.sent())
        self.assertEqual(list((SPOOL / "send").iterdir()), [])

    def test_smsSend_refusedByTheNetwork_showsTheDaemonsReason(self):
        self.slot.order(op="fault", prefix="AT+CMGS", stage="data", kind="cms", number=500)
        self.addCleanup(self.slot.order, op="clear-faults")
        result = cellslot("sms", "send", "12025550123", "-", "--wait", input="never\n")
        self.assertFails(result, FAILED, "three attempts failed", "500")

    def test_smsReceived_isListedShownAndDeleted(self):
        waiting = Running("sms", "wait", "--timeout", str(LIMIT_S))
        waitUntil(waiting.isAsleep, lambda: "it does not wait")
        self.slot.order(op="inject-sms", text="Caf\u00e9 \u20ac5", **{"from": "+12025550145"})
        shown = waiting.result()
        self.assertEqual(shown.status, OK, shown.err)
        self.assertIn("From: +12025550145\n", shown.out)
        self.assertTrue(shown.out.endswith("\n\nCaf\u00e9 \u20ac5\n"), shown.out)
        listed = cellslot("sms", "list")
        self.assertIn("+12025550145", listed.out)
        self.assertEqual(cellslot("sms", "read", "--delete").out, shown.out)
        self.assertEqual(cellslot("sms", "list").out, "no messages\n")
        self.assertFails(cellslot("sms", "read"), FAILED, "no messages")

    def test_smsWait_nothingComes_timesOut(self):
        self.assertFails(cellslot("sms", "wait", "--timeout", "0.3"), TIMED_OUT, "no message arrived")

    def test_sms_asNobody_isNotPermitted(self):
        self.assertFails(cellslot("sms", "send", "12025550123", "x", user=NOBODY), NOT_PERMITTED,
                         "as root")
        self.assertFails(cellslot("sms", "list", user=NOBODY), NOT_PERMITTED, "as root")

    # ---- at

    def test_at_printsTheAnswer(self):
        result = cellslot("at", "AT+CGMI")
        self.assertEqual((result.status, result.out), (OK, "Telit\nOK\n"), result)
        self.assertFalse(REQUEST.exists())

    def test_at_refusedByTheModem_failsAndShowsTheError(self):
        self.slot.order(op="fault", match="AT+ONE", kind="cme", number=3, count=1)
        result = cellslot("at", "AT+ONE")
        self.assertFails(result, FAILED, "refused")
        self.assertIn("+CME ERROR: ", result.out)

    def test_at_silence_timesOut(self):
        self.slot.order(op="fault", match="AT+TWO", kind="silence", count=1)
        result = cellslot("at", "AT+TWO", "--timeout", "2")
        self.assertFails(result, TIMED_OUT, "within 2 s")
        self.slot.waitConnected()

    def test_at_asNobody_isPermitted(self):
        result = cellslot("at", "AT+CGMI", user=NOBODY)
        self.assertEqual((result.status, result.out), (OK, "Telit\nOK\n"), result)

    def test_at_interrupted_removesTheRequest(self):
        # A stopped daemon accepts nothing.
        pid = int(pathlib.Path("/run/cellslotd.1.pid").read_text())
        os.kill(pid, signal.SIGSTOP)
        try:
            asking = Running("at", "AT+NEVER")
            waitUntil(REQUEST.exists, lambda: "no request")
            self.assertFails(cellslot("at", "AT+OTHER"), FAILED, "of another program")
            self.assertEqual(REQUEST.read_text(), "AT+NEVER\n")
            asking.process.send_signal(signal.SIGINT)
            self.assertFails(asking.result(), FAILED, "was not sent")
            self.assertFalse(REQUEST.exists())
        finally:
            os.kill(pid, signal.SIGCONT)
        self.assertNotIn("AT+NEVER", self.slot.commands())

    def test_at_foreignFileInPlaceOfTheRequest_isNotTouched(self):
        # The daemon does not remove a folder.
        REQUEST.mkdir()
        self.addCleanup(REQUEST.rmdir)
        self.assertFails(cellslot("at", "AT"), FAILED, "is a folder")

    # ---- data

    def test_data_offAndOn_showsTheResult(self):
        result = cellslot("data", "off")
        self.assertEqual(result.status, OK, result)
        self.assertIn("slot 1: connection DISCONNECTED", result.out)
        self.assertTrue(pathlib.Path("/tmp/force_cell_nocon.1").exists())
        result = cellslot("data", "on")
        self.assertEqual(result.status, OK, result)
        self.assertIn("slot 1: connection CONNECTED\n", result.out)
        self.assertEqual([path.name for path in pathlib.Path("/tmp").glob("force*")],
                         ["force_cell_con.1"])
        self.assertEqual(cellslot("data", "auto").status, OK)
        self.assertEqual(list(pathlib.Path("/tmp").glob("force*")), [])

    def test_data_unknownSlot_isAUsageError(self):
        for slot in ("0", "4", "x", "-1"):
            self.assertFails(cellslot("data", "on", "-p", slot), USAGE)

    def test_data_ofASlotWithoutDaemon_saysSo(self):
        self.addCleanup(pathlib.Path("/tmp/force_cell_nocon.3").unlink)
        self.assertFails(cellslot("data", "off", "-p", "3"), NO_DAEMON, "slot 3")


    # ---- reload

    def config(self, **changes):
        self.addCleanup(self.slot.configure)
        self.slot.configure(**changes)

    def test_reload_showsTheResult(self):
        result = cellslot("reload")
        self.assertEqual(result.status, OK, result)
        self.assertIn("has not changed", result.out)
        self.config(CM_MTU="1410")
        result = cellslot("reload", "-p", "1")
        self.assertEqual(result.status, OK, result)
        self.assertIn("set up again", result.out)
        self.assertEqual(self.log.count("Received USR2 and config changed"), 1)
        self.slot.configure()
        self.assertEqual(cellslot("reload").status, OK)
        self.slot.waitConnected()

    def test_reload_withoutFile_isRefused(self):
        path = pathlib.Path("/etc/vuk/cellular1.conf")
        path.rename("/etc/vuk/away")
        self.addCleanup(lambda: pathlib.Path("/etc/vuk/away").rename(path))
        before = self.log.count("Received SIGUSR2")
        self.assertFails(cellslot("reload"), FAILED, "does not exist; not reloaded")
        self.slot.waitPolls(2)
        self.assertEqual(self.log.count("Received SIGUSR2"), before)

    def test_reload_asNobody_isNotPermitted(self):
        self.assertFails(cellslot("reload", user=NOBODY), NOT_PERMITTED, "as root")

    def test_reload_noDaemon_saysSo(self):
        self.assertFails(cellslot("reload", "-p", "2"), NO_DAEMON, "slot 2")

    # ---- config

    def test_configCheck_ofTheSlotsFile(self):
        result = cellslot("config", "check")
        self.assertEqual(result.status, OK, result)
        self.assertIn("/etc/vuk/cellular1.conf\n", result.out)
        self.config(CM_MTU="9000", CM_PASWORD="hidden")
        result = cellslot("config", "check", "-q")
        self.assertEqual(result.status, FAILED, result)
        self.assertIn("did you mean CM_PASSWORD?", result.out)
        self.assertTrue(result.out.endswith("\n2 findings\n"), result.out)
        self.assertEqual(result.err, "")

    # ---- doctor

    @staticmethod
    def hostFiles():
        """All files but those that the daemon is replacing."""
        return sorted(str(path) for folder in ("/tmp", "/etc/vuk", "/run", "/var/log")
                      for path in pathlib.Path(folder).rglob("*")
                      if not path.name.startswith(".cellslot-tmp-"))

    def test_doctor_findsWhatIsBroken_andChangesNothing(self):
        pin = pathlib.Path("/etc/vuk/cellular_puk.1")
        pin.write_text("")
        pin.chmod(0o644)
        self.addCleanup(pin.unlink)
        before = self.hostFiles()
        result = cellslot("doctor")
        self.assertEqual((result.status, result.err), (FAILED, ""), result)
        for line in ("  ok      shell      /bin/sh understands &>",
                     "  ok      tools      all host tools are on the daemon's PATH",
                     "  ok      port       /dev/ttyCELL1 exists",
                     "  ok      interface  wwan0 exists",
                     "  ok      config     no findings in /etc/vuk/cellular1.conf",
                     "  BROKEN  pin        others can read /etc/vuk/cellular_puk.1"):
            self.assertIn(line + "\n", result.out)
        self.assertTrue(result.out.endswith("\n1 broken, 0 notes\n"), result.out)
        # A file that is being replaced may be missing in one listing.
        waitUntil(lambda: self.hostFiles() == before, self.hostFiles)

    def portLines(self):
        return [line for line in cellslot("doctor").out.splitlines() if "also open" in line]

    def test_doctor_programWithThePortOpen_isNamed(self):
        # The simulator serves the port and has both ends open: it must not be reported.
        self.assertEqual(self.portLines(), [])
        port = os.open("/dev/ttyCELL1", os.O_RDWR | os.O_NOCTTY)
        self.addCleanup(os.close, port)
        name = pathlib.Path("/proc/self/comm").read_text().strip()
        self.assertEqual(self.portLines(), ["  BROKEN  port       /dev/ttyCELL1 is also open in "
                                            f"{name} ({os.getpid()})"])

    def test_doctor_terminalOfTheSameNameElsewhere_isNotReported(self):
        # In a container, and for a shell that enters one, /dev/pts/N is another terminal.
        name = os.path.realpath("/dev/ttyCELL1")
        program = f"""
import os, time
ends = []
while not ends or os.ttyname(ends[-1][1]) != "{name}":
    ends.append(os.openpty())
if os.fork() == 0:
    for master, _ in ends:  # they stay open in the parent
        os.close(master)
    print(os.getpid(), ends[-1][1], flush=True)
time.sleep(60)
"""
        other = subprocess.Popen(
            ["unshare", "--mount", "bash", "-c",
             "mount -t devpts -o newinstance,ptmxmode=0666 devpts /dev/pts && exec python3 -c \"$0\"",
             program], stdout=subprocess.PIPE, text=True, process_group=0)
        self.addCleanup(other.stdout.close)
        self.addCleanup(other.wait)
        self.addCleanup(os.killpg, other.pid, signal.SIGKILL)
        pid, terminal = other.stdout.readline().split()
        self.assertEqual(os.readlink(f"/proc/{pid}/fd/{terminal}"), name)
        self.assertEqual(self.portLines(), [])

    def test_doctor_pinInAReadOnlyFolder_isFound(self):
        def remount(mode):
            subprocess.run(["mount", "-o", f"remount,bind,{mode}", "/etc/vuk"], check=True)
        self.addCleanup(pathlib.Path("/etc/vuk/cellular_cpin.1").unlink, missing_ok=True)
        self.addCleanup(remount, "rw")
        remount("ro")
        self.assertNotIn("is read-only", cellslot("doctor").out)
        remount("rw")
        cellslot("pin", "set", input="1234\n")
        remount("ro")
        self.assertIn("  BROKEN  pin        /etc/vuk is read-only", cellslot("doctor").out)

    # ---- pin

    def assertNotInLogOf(self, result, *secrets):
        for secret in secrets:
            self.assertNotIn(secret, result.out + result.err)

    def test_pin_everyRequest_showsItsOutcome(self):
        files = {name: pathlib.Path(f"/etc/vuk/cellular_{name}.1") for name in
                 ("cpin", "cpin_new", "puk")}
        self.assertFails(cellslot("pin", "enable"), FAILED, "pin set")
        result = cellslot("pin", "set", input="0000\n")
        self.assertEqual(result.status, OK, result)
        self.assertEqual(files["cpin"].stat().st_mode & 0o7777, 0o600)
        self.assertEqual(files["cpin"].read_text().strip(), "0000")
        # One wrong PIN is tried, and never again.
        result = cellslot("pin", "enable")
        self.assertFails(result, FAILED, "bad password", "attempts left: 2")
        self.assertEqual(files["cpin"].read_text(), "")
        cellslot("pin", "set", input="1234\n")
        result = cellslot("pin", "enable")
        self.assertEqual(result.status, OK, result)
        self.assertIn("successfully enabled", result.out)
        result = cellslot("pin", "enable")
        self.assertEqual((result.status, result.out),
                         (OK, "nothing to do: the PIN lock is already enabled\n"), result)
        result = cellslot("pin", "change", input="87654321\n")
        self.assertEqual(result.status, OK, result)
        self.assertNotInLogOf(result, "1234", "87654321")
        self.assertEqual(files["cpin"].read_text(), "87654321\n")
        self.assertFails(cellslot("pin", "puk", input="1\n"), FAILED, "does not ask")
        result = cellslot("pin", "change", input="87654321\n")
        self.assertEqual(result.status, OK, result)
        self.assertIn("are the same", result.out)
        result = cellslot("pin", "disable")
        self.assertEqual(result.status, OK, result)
        self.assertFalse(files["puk"].exists())

    def test_pin_invalidText_isNotWritten(self):
        for text in ("123", "123456789", "12a4", "", "1234 5", "x" * 5000):
            self.assertFails(cellslot("pin", "set", "-p", "2", input=text + "\n"), USAGE)
        self.assertFails(cellslot("pin", "set", "-p", "2", stdin=subprocess.DEVNULL), USAGE)
        self.assertFalse(pathlib.Path("/etc/vuk/cellular_cpin.2").exists())

    def test_pin_asNobody_isNotPermitted(self):
        self.assertFails(cellslot("pin", "set", user=NOBODY, input="1234\n"), NOT_PERMITTED,
                         "as root")

    def test_pin_linkInPlaceOfTheFile_isReplaced(self):
        precious, pin = pathlib.Path("/etc/vuk/precious"), pathlib.Path("/etc/vuk/cellular_cpin.3")
        precious.write_text("precious")
        pin.symlink_to(precious)
        self.addCleanup(pin.unlink)
        self.assertEqual(cellslot("pin", "set", "-p", "3", input="1234\n").status, OK)
        self.assertEqual(precious.read_text(), "precious")
        self.assertFalse(pin.is_symlink())

    def test_pinChange_ofASlotWithoutDaemon_writesNothing(self):
        self.assertFails(cellslot("pin", "change", "-p", "2", input="1234\n"), NO_DAEMON)
        self.assertFalse(pathlib.Path("/etc/vuk/cellular_cpin_new.2").exists())


class TwoSlots(unittest.TestCase):
    """Daemons of two slots side by side."""

    def setUp(self):
        freshHost()
        SYSLOG.unlink(missing_ok=True)
        self.slots = []
        for number, imei in ((1, "111111111111111"), (2, "222222222222222")):
            slot = Slot(number, {"identity": {"imei": imei}})
            self.addCleanup(slot.end)
            slot.configure()
            slot.startSim()
            slot.startDaemon(fast=4)
            self.slots.append(slot)
        for slot in self.slots:
            slot.waitConnected()

    def test_at_reachesTheModemOfTheNamedSlot(self):
        for number, imei in ((1, "111111111111111"), (2, "222222222222222")) * 5:
            result = cellslot("at", "AT+CGSN", "-p", str(number))
            self.assertEqual((result.status, result.out), (OK, imei + "\nOK\n"), result)
        cellslot("at", "AT+CGMM", "-p", "2")
        self.assertIn("AT+CGMM", self.slots[1].commands())
        self.assertEqual(self.slots[0].commands().count("AT+CGMM"), self.slots[1].commands().count(
            "AT+CGMM") - 1)
        result = cellslot("at", "AT")
        self.assertEqual(result.status, USAGE, result)
        self.assertIn("slots 1, 2", result.err)

    def test_at_duringAnotherRequest_eachGetsItsOwnAnswer(self):
        pathlib.Path("/tmp/new").write_text("AT+CGMI\n")
        pathlib.Path("/tmp/new").rename("/tmp/at_cmd_in")
        self.assertEqual(cellslot("at", "AT+CGSN", "-p", "2").out, "222222222222222\nOK\n")
        raw = pathlib.Path("/tmp/at_cmd_out_raw")
        waitUntil(raw.exists, lambda: "no answer")
        self.assertIn("Telit", raw.read_text())

    def test_reload_withoutReadableLog_showsItsResult(self):
        self.assertFalse(SYSLOG.exists())
        path = "/etc/vuk/cellular2.conf"
        result = cellslot("reload", "-p", "2")
        self.assertEqual((result.status, result.out),
                         (OK, f"slot 2: {path} has not changed since it was last read; nothing to "
                              "do\n"),
                         result)
        self.slots[1].configure(CM_MTU="1410")
        result = cellslot("reload", "-p", "2")
        self.assertEqual((result.status, result.out),
                         (OK, f"slot 2: {path} was read; the modem is set up again\n"), result)
        pathlib.Path(path).write_bytes(b"#" * 131073)
        result = cellslot("reload", "-p", "2")
        self.assertEqual(result.status, FAILED, result)
        self.assertIn("now uses its defaults", result.err)

    def test_doctor_queriesTheModem_andNamesTheSettingsItNeeds(self):
        self.slots[0].order(op="set", sim={"iccid": "8949020000012345678F"})
        self.assertEqual(cellslot("at", "AT#QSS=2", "-p", "1").status, OK)
        self.slots[0].waitFor("_SIM_STATUS", "Not Present")
        self.assertIn("cellslot doctor --ask-modem -p 1",
                      " ".join(cellslot("status", "-p", "1").out.split()))
        result = cellslot("doctor", "-q", "-p", "1")
        self.assertIn("#QSS mode is 2, which hides it\n", result.out)
        result = cellslot("doctor", "-q", "--ask-modem", "-p", "1")
        self.assertEqual(result.status, FAILED, result)
        self.assertIn("  BROKEN  sim        the modem's #QSS mode is 2", result.out)
        self.assertIn("-> cellslot at AT#QSS=0 -p 1; to store that: cellslot at 'AT&W0' -p 1\n",
                      result.out)
        self.assertIn("8949020000012345678F contains more than digits", result.out)
        for command in ("AT#QSS=0", "AT&W0"):
            self.assertEqual(cellslot("at", command, "-p", "1").status, OK)
        self.slots[0].waitFor("_SIM_STATUS", "Available")
        self.assertIn("ICCID not published", cellslot("status", "-p", "1").out)

    def test_doctor_healthyHost_isFine(self):
        result = cellslot("doctor", "-q")
        self.assertEqual((result.status, result.err), (OK, ""), result)
        self.assertTrue(result.out.endswith("0 broken, 0 notes\n"), result.out)


class Locked(Gateway):
    """A blocked SIM, from its PUK to the end of the modem."""

    scenario = {"sim": {"pin": "1234", "puk": "12345678", "lock": True, "pin_attempts": 0}}

    def onATerminal(self, *answers, arguments):
        """Types each answer when asked. Returns the text on the screen and the status."""
        pid, master = pty.fork()
        if pid == 0:
            os.execv(BIN / "cellslot", ["cellslot", *arguments])
        screen = b""
        for answer in [*answers, None]:
            try:
                while answer is None or not screen.endswith(b": "):
                    screen += os.read(master, 1000)
            except OSError:
                break  # the program has ended
            os.write(master, answer.encode() + b"\n")
            screen += b"|"
        os.close(master)
        return screen.decode(), os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])

    def test_fromPukToPowerOff(self):
        self.slot.waitFor("_SIM_STATUS", "PUK Locked")
        # A stopped daemon accepts nothing, and must not find the request later.
        pid = int(pathlib.Path("/run/cellslotd.1.pid").read_text())
        os.kill(pid, signal.SIGSTOP)
        result = cellslot("pin", "puk", "-t", "1", input="12345678\n4321\n")
        self.assertFails(result, TIMED_OUT, "withdrawn", "PUK Locked")
        self.assertEqual(list(pathlib.Path("/etc/vuk").glob("*_cpin_new*")), [])
        self.assertEqual(list(pathlib.Path("/etc/vuk").glob("*_puk*")), [])
        os.kill(pid, signal.SIGCONT)
        # A wrong PUK, from a script.
        result = cellslot("pin", "puk", input="00000000\n4321\n")
        self.assertFails(result, FAILED, "returned error", "attempts left: 9")
        self.assertIn("10 PUK attempts left", result.out)
        self.slot.waitFor("_SIM_REMAIN_PUK", "9")
        # Two different PINs, then equal ones, typed.
        screen, status = self.onATerminal("12345678", "4321", "4322", arguments=["pin", "puk"])
        self.assertEqual(status, USAGE, screen)
        self.assertIn("the two PINs differ", screen)
        self.assertFalse(pathlib.Path("/etc/vuk/cellular_puk.1").read_text())
        screen, status = self.onATerminal("12345678", "4321", "4321", arguments=["pin", "puk"])
        self.assertEqual(status, OK, screen)
        self.assertIn("9 PUK attempts left", screen)
        self.assertIn("SIM PUK successfully unlocked", screen)
        for secret in ("12345678", "4321"):
            self.assertNotIn(secret, screen)
        self.assertEqual(pathlib.Path("/etc/vuk/cellular_cpin.1").read_text(), "4321\n")
        self.slot.waitConnected()
        result = cellslot("data", "power-off")
        self.assertEqual(result.status, OK, result)
        self.assertIn("the daemon has ended", result.out)
        self.assertEqual(self.slot.awaitEnd(), 5)
        self.assertFails(cellslot("data", "auto"), NO_DAEMON, "after its next start")
        self.assertFalse(pathlib.Path("/tmp/force_cell_tempoff.1").exists())


if __name__ == "__main__":
    unittest.main()
