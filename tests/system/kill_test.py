#!/usr/bin/env python3
"""kill -9 at random moments of a busy day: after each kill the daemon connects again, other programs
never see half-written files, and no message is lost or duplicated. Run inside
scripts/private_namespace.sh; CELLSLOT_SEED repeats a run."""

import collections
import glob
import os
import pathlib
import random
import re
import signal
import subprocess
import threading
import time
import unittest

from daemon_test import DaemonTest
from gateway import BIN, LIMIT_S, Slot, waitUntil

ALL = os.environ.get("CELLSLOT_TEST_ALL") == "1"
KILLS = int(os.environ.get("CELLSLOT_KILLS", 300 if ALL else 8))
FAST = 4  # the daemon's clock
AFTER_CONNECT_S = 4.0  # latest time of a kill: three checks of the messages
IN_BRING_UP_S = 1.2
IN_BRING_UP = 0.3      # share of the kills
EVENT = 0.4              # probability of an event in each fifth of a second

SPOOL = pathlib.Path("/tmp/sms")
CONSUMED = pathlib.Path("/tmp/consumed")
PIN_FILE = pathlib.Path("/etc/vuk/cellular_cpin.1")
NEW_PIN_FILE = pathlib.Path("/etc/vuk/cellular_cpin_new.1")
PINS = ("1234", "4321", "8888")
SENDER = "+12025550123"

# The form of a complete file.
STATUS = re.compile(r"#File generated \n.*^CELLMODEM1?_SMS_RECV=\d+\n\Z", re.DOTALL | re.MULTILINE)
ONE_LINE = re.compile(r"[^\n]*\n\Z")
RECEIVED = re.compile(r"FROM=\+?12025550123\nTIME=[^\n]+\nMSG=<(\d+)\.[a-z ]*>\Z")
PART = re.compile(r"FROM=\+12025550123\nTIME=[^\n]+\nTIMEUF=\d+\nMSG_ID=\d+\n"
                  r"MSG_PART_NUMBER=[12]\nMSG_PART_TOTAL=2\nMSG=(<\d+\.[a-z ]*|[a-z ]*>)\Z")
SENT = re.compile(r"TO=\+12025550123\nMSG=\{(\d+)\.[a-z ]*\}\n\Z")
PIN = re.compile(r"(\d{4}\n)?\Z")
CHANGE = re.compile(r"\d{4}\n\d{4}\n-?\d+\n(tried\n)?\Z")
ANSWER = re.compile(r".*(OK|ERROR|TIMEOUT)\s.*\Z", re.DOTALL)
WHOLE = (("/var/log/wireless.cardstats*", STATUS), ("/var/log/wireless.serialno", ONE_LINE),
         ("/var/log/wireless.mdn", ONE_LINE),
         ("/var/log/carrier_list.json", re.compile(r"\{\n.*\}\n\Z", re.DOTALL)),
         ("/tmp/sms/recv/*", RECEIVED), ("/tmp/sms/recv_parts/*", PART),
         ("/tmp/sms/send_ok/*", SENT), ("/etc/vuk/cellular_cpin.1", PIN),
         ("/etc/vuk/cellular_cpin_new.1", PIN), ("/etc/vuk/cellular_cpin_change.1", CHANGE),
         ("/tmp/at_cmd_out", ANSWER), ("/tmp/at_cmd_out_raw", ANSWER))


class FastSlot(Slot):
    """Its daemon is a direct child, without a helper process, so that a kill ends only the daemon and
    the programs that it started continue."""

    def startDaemon(self, *more, fast=FAST):
        self.startedAt, self.fast = time.monotonic(), fast
        library = glob.glob("/usr/lib/*/faketime/libfaketime.so.1")[0]
        environment = {**os.environ, "LD_PRELOAD": library, "FAKETIME": f"+0 x{fast}",
                       "NO_FAKE_STAT": "1"}
        with self.output.open("a") as output:
            self.daemon = subprocess.Popen(
                [BIN / "cellslotd", "-d", self.device, "-g", self.gps, "-i", self.interface, "-p",
                 str(self.number), *more],
                stdout=output, stderr=output, env=environment, process_group=0)


class Reader:
    """Permanently checks all files that other programs read."""

    def __init__(self):
        self.broken = []
        self.looks = 0
        self.stop = threading.Event()
        self.known = {}
        self.threads = [threading.Thread(target=self.run, args=(look, pause))
                        for look, pause in ((self.lookAtFiles, 0.004), (self.lookAtStore, 0.25))]
        for thread in self.threads:
            thread.start()

    def run(self, look, pause):
        try:
            while not self.stop.wait(pause):
                look()
        except Exception as problem:  # a thread that ends would find nothing more
            self.broken.append(("the reader itself", repr(problem)))
            raise

    def lookAtFiles(self):
        self.looks += 1
        for pattern, whole in WHOLE:
            for name in glob.glob(pattern):
                self.lookAt(name, whole)

    def lookAt(self, name, whole):
        try:
            info = os.stat(name)
            identity = (info.st_ino, info.st_size, info.st_mtime_ns)
            if self.known.get(name) == identity:
                return
            with open(name, encoding="utf-8") as file:
                text = file.read()
        except FileNotFoundError:
            return
        if not whole.match(text):
            self.broken.append((name, text[-300:]))
        self.known[name] = identity

    def lookAtStore(self):
        try:
            result = subprocess.run([BIN / "skvs", "list", "CELLMODEM1"], capture_output=True,
                                    text=True, check=False, timeout=LIMIT_S)
        except subprocess.TimeoutExpired:
            self.broken.append(("store", "locked"))
            return
        # All keys are written in one transaction.
        keys = result.stdout.count("\n")
        if result.returncode > 1 or result.stderr or (keys and "_SMS_RECV=" not in result.stdout):
            self.broken.append(("store", result.returncode, result.stderr, result.stdout[-300:]))

    def end(self):
        self.stop.set()
        for thread in self.threads:
            thread.join()


class Day:
    """Events on the gateway (messages, PINs, configurations) and their expected results."""

    def __init__(self, slot, chance):
        self.slot = slot
        self.random = chance
        self.number = 0
        self.received = set()                       # numbers that must be in recv
        self.sent = {}                              # number -> text
        self.again = collections.Counter()          # texts that the modem had at a kill
        self.lostPins = 0
        self.unsettled = {}                         # received file -> PDUs that the modem may list

    def words(self, most, least=0):
        return "".join(self.random.choice("abcdefgh ijklmnop") for _ in
                       range(self.random.randrange(least, most)))

    def happen(self):
        self.random.choices([self.receive, self.receiveTwoParts, self.send, self.sendLong,
                             self.changePin, self.reload, self.askModem],
                            [4, 4, 4, 2, 1, 1, 1])[0]()

    def receive(self):
        self.number += 1
        self.slot.order(op="inject-sms", text=f"<{self.number}.{self.words(100)}>",
                        **{"from": SENDER})
        self.received.add(self.number)

    def receiveTwoParts(self):
        self.number += 1
        parts = (f"<{self.number}.{self.words(100)}", f"{self.words(100)}>")
        for index in self.random.sample((0, 1), 2):
            self.slot.order(op="inject-sms", text=parts[index], reference=1 + self.number % 250,
                            part=index + 1, total=2, **{"from": SENDER})
        self.received.add(self.number)

    def send(self, least=0, most=140):
        if not (SPOOL / "send").is_dir():
            return
        self.number += 1
        body = self.words(most, least).strip()
        text = "{" + f"{self.number}.{body}" + "}"
        draft = SPOOL / "draft"
        draft.write_text(f"TO={SENDER}\nMSG={text}\n")
        draft.rename(SPOOL / "send" / f"m{self.number}")
        self.sent[self.number] = text

    def sendLong(self):
        self.send(200, 280)  # two parts; the second is long enough to be recognised

    def changePin(self):
        self.put(NEW_PIN_FILE, self.random.choice(PINS) + "\n")

    def reload(self):
        self.slot.configure(CM_MTU=str(self.random.randrange(1300, 1500)))
        # Before the handlers are installed the signal would end the daemon.
        status = pathlib.Path(f"/proc/{self.slot.daemon.pid}/status").read_text()
        caught = int(re.search(r"^SigCgt:\s*(\w+)", status, re.MULTILINE).group(1), 16)
        if caught >> (signal.SIGUSR2 - 1) & 1:
            self.slot.daemon.send_signal(signal.SIGUSR2)

    def askModem(self):
        self.put(pathlib.Path("/tmp/at_cmd_in"), "AT+CSQ\nAT+COPS?\n")

    @staticmethod
    def put(path, text):
        draft = path.with_name("draft." + path.name)
        draft.write_text(text)
        draft.rename(path)

    def submitted(self):
        """(Joined) texts that the modem sent, and how often it sent their parts."""
        parts = collections.Counter()
        for message in self.slot.order(op="dump")["state"]["sms"]["sent"]:
            parts[message["text"]] += 1
        return parts

    def noteKill(self):
        """If the daemon is killed after the modem has sent a message and before the file is moved,
        nobody knows that it was sent, and it is sent again. These repetitions are counted here."""
        waiting = [path.read_text().partition("MSG=")[2].strip()
                   for path in (SPOOL / "send").glob("m*")]
        for text, count in self.submitted().items():
            owner = [whole for whole in waiting if text and text in whole]
            if owner:
                self.again[text] = count

    def repairPin(self):
        """Does what the operator would do after an interrupted PIN change."""
        sim = self.slot.order(op="dump")["state"]["sim"]
        if PIN_FILE.read_text().strip() != sim["pin"]:
            self.lostPins += 1
            self.put(PIN_FILE, sim["pin"] + "\n")
        return sim

    def consume(self):
        """Removes files, as a consumer does. After a kill the modem lists once more what it still has,
        so a file stays until nothing is left of what the modem had when the file was first seen."""
        paths = list((SPOOL / "recv").glob("sms_msg_*"))
        stored = {message["pdu"] for message in self.slot.order(op="dump")["state"]["sms"]["stored"]}
        for path in paths:
            self.unsettled[path] = self.unsettled.get(path, stored) & stored
            if not self.unsettled[path]:
                path.rename(CONSUMED / f"{path.name}.{path.stat().st_ino}")


class ReaderTest(DaemonTest):
    def test_halfWrittenFilesOfEachKind_areDetected(self):
        (SPOOL / "recv").mkdir(parents=True)
        halves = {"/var/log/wireless.cardstats.1": "#File generated \nCELLMODEM1_MODEL=LE",
                  "/var/log/wireless.mdn": "+1202", "/var/log/carrier_list.json": "{\n",
                  "/tmp/sms/recv/half": f"FROM={SENDER}\nTIME=", "/etc/vuk/cellular_cpin.1": "12"}
        reader = Reader()
        for name, text in halves.items():
            pathlib.Path(name).write_text(text)
        reader.lookAtFiles()
        reader.end()
        self.assertEqual({entry[0] for entry in reader.broken}, set(halves))


class Kill(DaemonTest):
    def setUp(self):
        super().setUp()
        CONSUMED.mkdir(exist_ok=True)
        for path in CONSUMED.iterdir():
            path.unlink()
        seed = int(os.environ.get("CELLSLOT_SEED", random.randrange(1 << 32)))
        print(f"seed {seed}, {KILLS} kills", flush=True)
        self.random = random.Random(seed)
        PIN_FILE.write_text(PINS[0] + "\n")
        self.subject = FastSlot(1, {"sim": {"pin": PINS[0], "lock": True},
                                    "sms": {"capacity": 255}})
        self.addCleanup(self.subject.end)
        self.subject.configure()
        self.subject.startSim()
        self.day = Day(self.subject, self.random)
        self.reader = Reader()
        self.addCleanup(self.reader.end)
        self.kills = 0

    def exchangeCount(self):
        return self.subject.order(op="count")["exchanges"]

    def start(self):
        self.startedAt = self.exchangeCount()
        self.subject.startDaemon()

    def isConnected(self):
        """Connected by the current daemon: the status file of the previous one still exists."""
        if self.subject.value("_QMI_STATE") != "CONNECTED":
            return False
        exchanges = self.subject.order(op="exchanges", since=self.startedAt)["exchanges"]
        return any(exchange["command"].startswith("AT+CGDATA") for exchange in exchanges)

    def waitConnected(self):
        waitUntil(self.isConnected,
                  lambda: f"not connected after kill {self.kills}; status"
                          f" {self.subject.daemon.poll()}; last commands"
                          f" {self.subject.order(op='exchanges', since=self.exchangeCount() - 12)}"
                          f"; log {self.log.texts()[-6:]}")

    def waitAMoment(self, seconds):
        """Causes an event now and then."""
        end = time.monotonic() + self.random.random() * seconds
        while time.monotonic() < end:
            if self.random.random() < EVENT:
                self.day.happen()
            time.sleep(min(0.2, max(0, end - time.monotonic())))

    def kill(self):
        self.kills += 1
        self.assertIsNone(self.subject.daemon.poll(), "it left by itself")
        self.subject.daemon.kill()
        self.subject.awaitEnd()
        self.waitModemIsIdle()
        self.day.noteKill()
        self.assertStoreIsFree()

    def waitModemIsIdle(self):
        """The modem answers what the daemon wrote before its end."""
        counts = [self.exchangeCount()]
        while len(counts) < 4 or len(set(counts[-4:])) > 1:
            time.sleep(0.03)
            counts.append(self.exchangeCount())

    def assertStoreIsFree(self):
        result = subprocess.run([BIN / "skvs", "set", "KILL_TEST", str(self.kills)],
                                capture_output=True, text=True, check=False, timeout=LIMIT_S)
        self.assertEqual((result.returncode, result.stderr), (0, ""), f"after kill {self.kills}")

    def receivedNumbers(self):
        found = collections.Counter()
        for path in (*(SPOOL / "recv").glob("sms_msg_*"), *CONSUMED.iterdir()):
            found[int(RECEIVED.match(path.read_text()).group(1))] += 1
        return found

    def isAllDone(self):
        return (set(self.receivedNumbers()) >= self.day.received
                and not list((SPOOL / "send").glob("m*")))

    def assertMessages(self):
        found = self.receivedNumbers()
        self.assertEqual({number: count for number, count in found.items() if count != 1}, {},
                         "received more than once")
        self.assertEqual(set(found), self.day.received)
        archived = collections.Counter(int(path.name[1:].split(".")[0])
                                       for path in (SPOOL / "send_ok").iterdir())
        self.assertEqual(archived, collections.Counter(self.day.sent.keys()))
        self.assertEqual(list((SPOOL / "send_fail").iterdir()), [])
        for number, text in self.day.sent.items():
            self.assertEqual((SPOOL / "send_ok").glob(f"m{number}.*").__next__().read_text(),
                             f"TO={SENDER}\nMSG={text}\n")
        submitted = self.day.submitted()
        for part, count in submitted.items():
            self.assertEqual(count, 1 + self.day.again[part], f"sent too often: {part}")
        for number, text in self.day.sent.items():
            parts = [part for part in submitted if part and part in text]
            self.assertEqual(sum(map(len, parts)), len(text), f"not sent whole: {text}")

    def test_killsOnABusyDay_loseAndBreakNothing(self):
        self.start()
        self.waitConnected()
        while self.kills < KILLS:
            inBringUp = self.random.random() < IN_BRING_UP
            if inBringUp:
                self.kill()
                self.start()
            self.waitAMoment(IN_BRING_UP_S if inBringUp else AFTER_CONNECT_S)
            self.kill()
            self.start()
            self.waitConnected()
            sim = self.day.repairPin()
            self.assertEqual(sim["pin_attempts"], 3, "a wrong PIN was tried")
            self.day.consume()
        waitUntil(self.isAllDone,
                  lambda: f"missing {self.day.received - set(self.receivedNumbers())}; unsent"
                          f" {list((SPOOL / 'send').iterdir())}")
        self.assertEqual(self.subject.stopDaemon(), 2)
        self.reader.end()
        self.assertEqual(self.reader.broken, [])
        self.assertEqual(self.log.count("Key-value store was damaged"), 0)
        self.assertMessages()
        print(f"{self.kills} kills, {len(self.day.received)} messages in, {len(self.day.sent)} out,"
              f" {sum(self.day.again.values())} texts sent again, {self.day.lostPins} PIN changes"
              f" cut short, {self.reader.looks} looks", flush=True)


if __name__ == "__main__":
    unittest.main(verbosity=2)
