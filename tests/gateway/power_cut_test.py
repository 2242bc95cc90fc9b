"""Power cuts: the machine loses what is not on its disk, at random moments, while messages, PIN
requests and changes of the configuration are under way. CELLSLOT_POWER_CUTS says how many,
CELLSLOT_SEED repeats a run."""

import json
import os
import random
import time

from gateway_case import (NUMBER, GatewayCase, awaitConnected, bootedHost, startModem)
from machine import MEMORY

CUTS = int(os.environ.get("CELLSLOT_POWER_CUTS", "3"))
# Within this time after its refusal a wrong PIN is gone from the disk.
EMPTIED_S = 3
PIN_FILES = ("cellular_cpin.1", "cellular_cpin_new.1", "cellular_puk.1")
# One every few cuts: the SIM is locked and its PIN file wrong.
WRONG_PIN_ODDS = 4
WRONG_PIN = "9999"


class PowerCuts(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        seed = int(os.environ.get("CELLSLOT_SEED", "0")) or random.SystemRandom().randrange(1 << 30)
        print(f"CELLSLOT_SEED={seed}", flush=True)
        cls.random = random.Random(seed)
        cls.messages = 0
        cls.edition = 0
        cls.pin = "1234"
        # The modem's own memory: kept from one boot to the next.
        cls.memory = {"sim": {"pin": cls.pin, "lock": True}, "sms": {}}
        cls.plugIn()
        machine.run(f"cellslot pin set <<<{cls.pin}")
        awaitConnected(machine)
        machine.run("sync")

    @classmethod
    def plugIn(cls):
        bootedHost(cls.machine)
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
        pin = str(self.random.randrange(10000, 99999))
        self.machine.start(f"cellslot pin change <<<{pin}")

    def sendMessage(self):
        self.machine.start(f"cellslot sms send {NUMBER} 'Pump 3 stopped'")

    def work(self):
        """Some of everything, in any order, until a random moment."""
        jobs = [self.newMessage, self.newMessage, self.newMessage, self.newConfiguration, self.newPin,
                self.sendMessage]
        self.random.shuffle(jobs)
        end = time.monotonic() + self.random.uniform(0.5, 12)
        for job in jobs:
            if time.monotonic() > end:
                return
            job()
            time.sleep(self.random.uniform(0, 1))
        time.sleep(max(0, end - time.monotonic()))

    def refuseWrongPin(self):
        """The SIM refuses what the PIN file holds; returns how long ago that is at the cut."""
        self.machine.run(f"echo {WRONG_PIN} >/etc/vuk/cellular_cpin.1; sync; sync")
        self.machine.order(1, op="restart")
        end = time.monotonic() + 90
        while self.machine.memory()["sim"]["pin_attempts"] == 3:
            self.assertLess(time.monotonic(), end, "the wrong PIN was not tried")
            time.sleep(0.01)
        refused = time.monotonic()
        time.sleep(self.random.choice([0, self.random.uniform(0, 1), EMPTIED_S]))
        return time.monotonic() - refused

    # ---- what must hold after it

    def checkFiles(self):
        """As they were found on the disk."""
        found = "/bench/found"
        for name in PIN_FILES:
            text = self.machine.run(f"cat {found}/etc/vuk/{name} 2>/dev/null || true")
            self.assertRegex(text, r"\A(\d{4,8}\n?)?\Z", name)
        configuration = self.machine.run(f"cat {found}/etc/vuk/cellular1.conf")
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
        self.machine.waitFor("ls /tmp/sms/recv | wc -l", 60, f"{len(waiting)}\n")
        self.machine.waitFor("true", 1)
        texts = self.machine.run("cat /tmp/sms/recv/*")
        self.assertEqual(texts.count("MSG=message "), len(waiting), texts)

    def checkPin(self):
        """The SIM's PIN is the one that is stored, and no attempt is lost."""
        card = self.machine.memory()["sim"]
        self.assertEqual(self.machine.run("cat /etc/vuk/cellular_cpin.1").strip(), card["pin"])
        self.assertEqual(card["pin_attempts"], 3)

    def wrongPinsSent(self):
        entries = map(json.loads, self.machine.read("/bench/log/modem1.log").splitlines())
        return sum(entry.get("command") == f"AT+CPIN={WRONG_PIN}" for entry in entries)

    def cutWithWrongPin(self):
        agoS = self.refuseWrongPin()
        self.cut()
        self.checkFiles()
        self.plugIn()
        self.machine.waitFor("cellslot status || true", 90, "PIN")
        sent = self.wrongPinsSent()
        # The cut may come between the refusal and the emptied file, but the last attempt stays.
        self.assertLessEqual(sent, 0 if agoS >= EMPTIED_S else 1)
        self.assertGreaterEqual(self.machine.memory()["sim"]["pin_attempts"], 1)
        self.machine.run(f"cellslot pin set --force <<<{self.machine.memory()['sim']['pin']}", 90)

    def test_PowerCuts_LoseNothingThatCostsAnAttemptARequestOrAMessage(self):
        for number in range(CUTS):
            kind = "wrong PIN" if number % WRONG_PIN_ODDS == 1 else "work"
            with self.subTest(cut=number + 1, kind=kind):
                if kind == "wrong PIN":
                    self.cutWithWrongPin()
                else:
                    self.work()
                    self.cut()
                    self.checkFiles()
                    self.plugIn()
                awaitConnected(self.machine)
                self.checkMessages()
                self.checkPin()
                type(self).report(f"cut {number + 1} ({kind}), connected again")
