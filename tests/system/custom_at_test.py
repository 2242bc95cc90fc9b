#!/usr/bin/env python3
"""AT commands of other programs through the running daemon, on the real paths. Run inside
scripts/private_namespace.sh."""

import os
import pathlib
import stat
import threading
import unittest

from gateway import LIMIT_S, LogCatcher, Slot, freshHost, waitUntil

REQUEST = pathlib.Path("/tmp/at_cmd_in")
ANSWER = pathlib.Path("/tmp/at_cmd_out")
RAW = pathlib.Path("/tmp/at_cmd_out_raw")
LOG = pathlib.Path("/storage/vault/system/logs/at_cmdlog.txt")
DIVIDER = "=" * 49 + "\n"


class FirstSight(threading.Thread):
    """Waits for a file as a program would, and reads it once, as soon as it is there."""

    def __init__(self, path):
        super().__init__(daemon=True)
        self.path = path
        self.text = None
        self.stop = threading.Event()
        self.start()

    def run(self):
        while not self.stop.is_set():
            try:
                with open(self.path, newline="") as file:
                    self.text = file.read()
                return
            except FileNotFoundError:
                pass

    def result(self):
        self.join(LIMIT_S)
        self.stop.set()
        return self.text


class CustomAt(unittest.TestCase):
    def setUp(self):
        freshHost()
        for path in (REQUEST, ANSWER, RAW, LOG):
            path.unlink(missing_ok=True)
        self.log = LogCatcher()
        self.addCleanup(self.log.close)
        self.slot = Slot(1)
        self.addCleanup(self.slot.end)
        self.slot.configure()
        self.slot.startSim()
        self.slot.startDaemon()
        self.slot.waitConnected()

    @staticmethod
    def request(text):
        """The file is complete when it appears."""
        REQUEST.with_suffix(".new").write_text(text)
        REQUEST.with_suffix(".new").rename(REQUEST)

    def ask(self, text):
        for path in (ANSWER, RAW):
            path.unlink(missing_ok=True)
        self.request(text)
        # It is written after the other one.
        waitUntil(RAW.exists, lambda: "no answer")
        return ANSWER.read_bytes().decode(), RAW.read_bytes().decode()

    def test_killAtAPrompt_nextDaemonEndsItAndConnects(self):
        self.request('AT+CMGF=1\nAT+CMGS="12345"::30\n')
        waitUntil(lambda: 'AT+CMGS="12345"' in self.slot.commands(),
                  lambda: f"not sent: {self.slot.commands()[-5:]}")
        self.slot.killDaemon()
        self.slot.status.unlink()
        self.slot.startDaemon()
        self.slot.waitConnected()
        self.assertEqual(self.log.count("was cut short, ending its prompt"), 1)

    def test_twoRequestsInOneSecond_bothAnswered(self):
        pretty, raw = self.ask("AT+CGMI\n")
        self.assertIn("Telit", raw)
        self.assertEqual(pretty, f"{DIVIDER} Sending : AT+CGMI\n Output : \n\n{raw[:-1]}{DIVIDER}\n")
        self.assertFalse(REQUEST.exists())
        _, raw = self.ask("at+csq\n+CSQ\n")
        self.assertIn("at+csq\r\r\n+CSQ: ", raw)
        self.assertTrue(raw.endswith("+CSQ\nINVALID AT COMMAND\n"))
        self.assertEqual(stat.S_IMODE(ANSWER.stat().st_mode), 0o644)
        self.assertEqual(stat.S_IMODE(RAW.stat().st_mode), 0o644)
        log = LOG.read_bytes().decode()
        self.assertEqual(log.count("\nDevice: LE910-NA V2\nIMEI: 356938035643809\nSlot #1\n"), 3)
        for command in ("AT+CGMI", "at+csq", "+CSQ"):
            self.assertEqual(log.count(f" Sending : {command}\n"), 1)

    def test_longReply_isNeverSeenHalfWritten(self):
        lines = [f'+COPN: "{310000 + i}","Some operator"' for i in range(4000)]
        reply = "\r\n" + "".join(f"{line}\r\n" for line in lines) + "\r\nOK\r\n"
        self.assertGreater(len(reply), 100 * 1024)
        self.slot.order(op="fault", match="AT+COPN=X", kind="answer", lines=lines)
        pretty, raw = FirstSight(ANSWER), FirstSight(RAW)
        self.request("AT+COPN=X::5\n")
        self.assertEqual(raw.result(), "AT+COPN=X\r" + reply + "\n")
        self.assertEqual(pretty.result(), f"{DIVIDER} Sending : AT+COPN=X\n Output : \n\n"
                                           f"AT+COPN=X\r{reply}{DIVIDER}\n")

    def test_silence_endsTheRequestAndNotTheSession(self):
        self.slot.order(op="fault", match="AT+ONE", kind="silence")
        pretty, raw = self.ask("AT+ONE\nAT+CGMI\n")
        self.assertEqual(raw, "AT+ONE\nTIMEOUT\n")
        self.assertEqual(pretty, f"{DIVIDER} Sending : AT+ONE\n Output : \n\nTIMEOUT{DIVIDER}\n")
        _, raw = self.ask("AT+CGMI\n")
        self.assertIn("Telit", raw)
        self.assertEqual(self.slot.value("_QMI_STATE"), "CONNECTED")
        self.assertEqual(self.slot.daemon.poll(), None)

    def test_linksOfAnotherUser_areNotFollowed(self):
        precious = pathlib.Path("/tmp/precious")
        precious.write_text("AT+CFUN=4\n")
        for path in (ANSWER, RAW):
            os.symlink(precious, path)
        os.symlink(precious, REQUEST)
        waitUntil(lambda: not os.path.islink(REQUEST), lambda: "the link is still there")
        self.assertNotIn("AT+CFUN=4", self.slot.commands())
        self.request("AT+CGMI\n")
        waitUntil(lambda: not RAW.is_symlink() and RAW.exists(), lambda: "no answer")
        self.assertFalse(ANSWER.is_symlink())
        self.assertEqual(precious.read_text(), "AT+CFUN=4\n")
        self.assertIn("Telit", RAW.read_text())


if __name__ == "__main__":
    unittest.main()
