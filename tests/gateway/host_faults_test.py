"""A host in trouble: a clock that jumps, a disk that is full or can only be read, and power cuts, at
random moments, while messages, PIN requests and changes of the configuration are under way.
CELLSLOT_POWER_CUTS says how many (3, with CELLSLOT_TEST_ALL=1 30), CELLSLOT_SEED repeats a run."""

import json
import os
import random
import time

from gateway_case import (CONNECTED_S, NUMBER, REMOTE, GatewayCase, awaitConnected, configure,
                          startModem)
from machine import MEMORY, PATIENCE

ALL = os.environ.get("CELLSLOT_TEST_ALL") == "1"
CUTS = int(os.environ.get("CELLSLOT_POWER_CUTS", "30" if ALL else "3"))
# Within this time after its refusal a wrong PIN is gone from the disk.
EMPTIED_S = 3 * PATIENCE
CHANGE = "cellular_cpin_change.1"
PIN_FILES = ("cellular_cpin.1", "cellular_cpin_new.1", "cellular_puk.1")
# A change of the PIN takes some seconds of the emulated machine.
LONGEST_WORK_S = 20
WRONG_PIN = "9999"
# Every second cut comes at any moment, those between right after what they are named for.
KINDS = ("work", "wrong PIN", "work", "listed messages", "work", "changed PIN")


class HostFaults(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        seed = int(os.environ.get("CELLSLOT_SEED", "0")) or random.SystemRandom().randrange(1 << 30)
        print(f"CELLSLOT_SEED={seed}", flush=True)
        cls.random = random.Random(seed)
        cls.messages = 0
        cls.edition = 0
        cls.pin = cls.requested = "1234"
        # The modem's own memory: kept from one boot to the next.
        cls.memory = {"sim": {"pin": cls.pin, "lock": True}, "sms": {}}
        # A position costs a restart of the modem at each start of the daemon.
        configure(machine, CM_GPS_ENABLE="no")
        machine.run(f"cellslot pin set <<<{cls.pin}; systemctl restart cellslotd@1")
        cls.plugIn()
        awaitConnected(machine)
        machine.run("sync")

    @classmethod
    def plugIn(cls):
        startModem(cls.machine, memory=MEMORY, **cls.memory)

    def cut(self):
        """Cuts the power and boots again, with the modem as the cut left it."""
        self.machine.kill()
        type(self).memory = self.machine.memory()
        self.machine.boot()

    # ---- what is under way

    def newMessage(self):
        type(self).messages += 1
        self.machine.order(1, op="inject-sms", **{"from": NUMBER, "text": f"message {self.messages}."})

    def newConfiguration(self):
        type(self).edition += 1
        # As an editor saves: a new file takes the old one's place.
        self.machine.start(
            f"cd /etc/vuk; (cat cellular1.conf | grep -v ^#; echo '#{self.edition}') >cellular1.conf~;"
            " chmod 600 cellular1.conf~; mv cellular1.conf~ cellular1.conf; cellslot reload")

    def newPin(self):
        type(self).requested = str(self.random.randrange(10000, 99999))
        self.machine.start(f"cellslot pin change <<<{self.requested}")

    def sendMessage(self):
        self.machine.start(f"cellslot sms send {NUMBER} 'Pump 3 stopped'")

    def work(self):
        """Some of everything, in any order, until a random moment."""
        jobs = [self.newMessage, self.newMessage, self.newMessage, self.newConfiguration, self.newPin,
                self.sendMessage]
        self.random.shuffle(jobs)
        end = time.monotonic() + self.random.uniform(1, LONGEST_WORK_S)
        for job in jobs:
            if time.monotonic() > end:
                return
            job()
            time.sleep(self.random.uniform(0, 1))
        time.sleep(max(0, end - time.monotonic()))

    def awaitMemory(self, condition, problem):
        """Until the modem has done something, which it notes before it answers."""
        end = time.monotonic() + 90 * PATIENCE
        while not condition(self.machine.memory()):
            self.assertLess(time.monotonic(), end, problem)
            time.sleep(0.01)

    def listMessages(self):
        """The modem has listed messages that are perhaps in no file yet."""
        for _ in range(3):
            self.newMessage()
        self.awaitMemory(lambda memory: any(entry["status"] == 1 for entry in memory["sms"]["stored"]),
                         "no message was listed")
        time.sleep(self.random.choice([0, self.random.uniform(0, 0.3)]))

    def changePin(self):
        """The SIM has the new PIN, which is perhaps not in its file yet."""
        self.newPin()
        self.awaitMemory(lambda memory: memory["sim"]["pin"] == self.requested, "the PIN was not changed")
        time.sleep(self.random.choice([0, self.random.uniform(0, 0.3)]))

    def refuseWrongPin(self):
        """The SIM refuses what the PIN file holds; returns how long ago that is at the cut."""
        self.machine.run(f"echo {WRONG_PIN} >/etc/vuk/cellular_cpin.1; sync; sync")
        self.machine.order(1, op="restart")
        self.awaitMemory(lambda memory: memory["sim"]["pin_attempts"] < 3, "the wrong PIN was not tried")
        refused = time.monotonic()
        time.sleep(self.random.choice([0, self.random.uniform(0, 1), EMPTIED_S]))
        return time.monotonic() - refused

    def found(self, name):
        """A file of /etc/vuk as the cut left it on the disk."""
        return self.machine.run(f"cat /bench/found/etc/vuk/{name} 2>/dev/null || true")

    # ---- what must hold after it

    def checkFiles(self):
        """As they were found on the disk."""
        found = "/bench/found"
        for name in PIN_FILES:
            self.assertRegex(self.found(name), r"\A(\d{4,8}\n?)?\Z", name)
        self.assertRegex(self.found(CHANGE), r"\A(\d{4,8}\n\d{4,8}\n-?\d+\n(tried\n)?)?\Z")
        note = self.machine.run(f"cat {found}/storage/cellmodem.sms.listing.1 2>/dev/null || true")
        self.assertRegex(note, r"\A([0-9a-f-]{36}\n)?\Z")
        configuration = self.found("cellular1.conf")
        self.assertIn("CM_APN=internet\n", configuration)
        self.assertIn("CM_ENABLE_INTERFACE=yes\n", configuration)
        # Ours that are empty; a PIN file may be.
        empty = self.machine.run(
            f"cd {found}; find etc/cellslot etc/default/cellslotd* var/log/wireless* storage"
            " -type f -empty 2>/dev/null || true")
        self.assertEqual(empty, "")
        status = self.machine.run(f"cat {found}/var/log/wireless.cardstats* 2>/dev/null || true")
        if status:
            self.assertTrue(status.endswith("\n"), status)

    def checkMessages(self):
        """What the modem had in its memory at the cut is delivered."""
        waiting = self.memory["sms"]["stored"]
        if not waiting:
            return
        # Each has another text, and the spool is empty after a start. One may come twice.
        command = "cat /tmp/sms/recv/* 2>/dev/null | grep '^MSG=message' | sort -u | wc -l"
        self.machine.waitFor(command, 60, f"{len(waiting)}\n")

    def checkPin(self):
        """The SIM's PIN is the one that is stored, a request is met, and no attempt is lost."""
        asked = (self.found("cellular_cpin_new.1") + self.found(CHANGE)).split()
        end = time.monotonic() + 90 * PATIENCE
        while True:
            card = self.machine.memory()["sim"]
            stored = self.machine.run("cat /etc/vuk/cellular_cpin.1").strip()
            left = self.machine.run(f"cd /etc/vuk; cat cellular_cpin_new.1 {CHANGE} 2>/dev/null || true")
            if (stored, left) == (card["pin"], "") or time.monotonic() > end:
                break
        self.assertEqual((stored, left), (card["pin"], ""))
        self.assertEqual(card["pin_attempts"], 3)
        self.assertIn(card["pin"], (self.pin, self.requested))
        if asked:
            self.assertIn(card["pin"], asked)
        type(self).pin = card["pin"]

    def wrongPinsSent(self):
        entries = map(json.loads, self.machine.read("/bench/log/modem1.log").splitlines())
        return sum(entry.get("command") == f"AT+CPIN={WRONG_PIN}" for entry in entries)

    def cutWithWrongPin(self):
        agoS = self.refuseWrongPin()
        self.cut()
        self.checkFiles()
        self.plugIn()
        # Seen locked several times, so what was to be sent was sent.
        self.machine.waitFor("test $(grep -c 'AT+CPIN?' /bench/log/modem1.log) -gt 5", CONNECTED_S)
        sent = self.wrongPinsSent()
        # The cut may come between the refusal and the emptied file, but the last attempt stays.
        self.assertLessEqual(sent, 0 if agoS >= EMPTIED_S else 1)
        self.assertGreaterEqual(self.machine.memory()["sim"]["pin_attempts"], 1)
        self.machine.run(f"cellslot pin set --force <<<{self.machine.memory()['sim']['pin']}", 90)

    def cutAndCheck(self, kind):
        if kind == "wrong PIN":
            self.cutWithWrongPin()
        else:
            under = {"listed messages": self.listMessages, "changed PIN": self.changePin}
            under.get(kind, self.work)()
            self.cut()
            self.checkFiles()
            self.plugIn()
        awaitConnected(self.machine)
        self.checkMessages()
        self.checkPin()

    def note(self, number, kind):
        requested = "requested" if self.found("cellular_cpin_new.1").strip() else ""
        changing = "changing" if self.found(CHANGE) else ""
        messages = [entry["status"] for entry in self.memory["sms"]["stored"]]
        type(self).report(f"cut {number}, {kind}: PIN {requested}{changing}, messages {messages}, done")

    # ---- clock and disk; these tests run first, by their names

    def daemon(self):
        return self.machine.run("systemctl show --value -p MainPID cellslotd@1").strip()

    def expectSession(self):
        """Connected, by a status that is no older than the daemon's last ones."""
        self.machine.waitFor("cellslot status", 60, "Slot 1  CONNECTED")
        self.assertIn(" 0% packet loss", self.machine.run(f"ping -c 2 -I cell1 {REMOTE}"))

    def expectAge(self):
        """The session is as old as it is, not as the clock says."""
        line = self.machine.run("grep QMI_CALL_TIME= /var/log/wireless.cardstats.1")
        seconds = int(line.split("=")[1])
        uptime = float(self.machine.run("cat /proc/uptime").split()[0])
        self.assertGreater(seconds, 0)
        self.assertLessEqual(seconds, uptime)

    def test_ClockJumps_KeepDaemonAndSession(self):
        daemon, now = self.daemon(), int(time.time())
        for jump in (0, now, now - 3600, now + 8 * 86400, now):
            with self.subTest(jump=jump):
                self.machine.run(f"date -s @{jump}; sleep 8")
                self.expectSession()
                self.expectAge()
        self.assertEqual(self.daemon(), daemon)

    def test_ClockOf1970_IsSetByTheDaemonThatStarts(self):
        """As on a gateway whose clock has no battery."""
        year = int(self.machine.run("date +%Y"))
        self.machine.run("systemctl stop cellslotd@1", 90)
        self.machine.run("date -s @0; systemctl start cellslotd@1", 90)
        daemon = self.daemon()
        self.machine.waitFor(f"[ $(date +%Y) -ge {year} ]", CONNECTED_S)
        awaitConnected(self.machine)
        self.expectSession()
        self.machine.waitFor("grep QMI_CALL_TIME=[1-9] /var/log/wireless.cardstats.1", 60)
        self.expectAge()
        self.assertEqual(self.daemon(), daemon)

    def test_DiskFull_ConnectsAgainAndDeliversOnceThereIsRoom(self):
        fill = "cat /dev/zero >>/root/full 2>/dev/null"
        self.machine.run(f"{fill}; sync; {fill} || true", 120)
        self.machine.run("systemctl restart cellslotd@1", 90)
        self.newMessage()
        self.machine.waitFor(f"ping -c 1 -W 2 -I cell1 {REMOTE}", CONNECTED_S)
        self.machine.run("rm /root/full")
        self.expectSession()
        self.machine.waitFor("cat /tmp/sms/recv/*", 60, f"message {self.messages}.")

    def test_DiskReadOnly_ConnectsAgain(self):
        self.machine.run("echo u >/proc/sysrq-trigger; sleep 2")
        self.addCleanup(self.machine.run, "mount -o remount,rw /")
        self.machine.run("! touch /root/file; systemctl restart cellslotd@1", 90)
        self.machine.waitFor(f"ping -c 1 -W 2 -I cell1 {REMOTE}", CONNECTED_S)
        self.machine.run("mount -o remount,rw /")
        self.expectSession()

    def test_PowerCuts_LoseNothingThatCostsAnAttemptARequestOrAMessage(self):
        for number in range(CUTS):
            kind = KINDS[number % len(KINDS)]
            try:
                self.cutAndCheck(kind)
            except Exception as problem:
                # The next cuts would begin with what this one has left.
                raise AssertionError(f"cut {number + 1}, {kind}") from problem
            self.note(number + 1, kind)
