"""A modem that is unplugged and plugged in again: the daemon connects again each time, loses no
message, and keeps nothing of what was there before. CELLSLOT_UNPLUGS is how often it happens at random
moments, CELLSLOT_SEED which moments."""

import json
import os
import random
import time

from gateway_case import (CONNECTED_S, NUMBER, PLACE, REMOTE, ModemCase, awaitConnected,
                          awaitNotConnected, descriptors)
from position import positionOf

UNPLUGS = int(os.environ.get("CELLSLOT_UNPLUGS", "3"))
SEED = int(os.environ.get("CELLSLOT_SEED", time.time_ns() % 100000))
# The begin of a set-up, the SIM within it, and the start of the session.
SET_UP_COMMANDS = ["AT+GMM", "AT+CPIN?;#PCT", "AT#NCM=1,1"]


class Unplugged(ModemCase):
    @classmethod
    def setUpMachine(cls, machine):
        super().setUpMachine(machine)
        awaitConnected(machine)
        cls.report("CONNECTED")
        cls.before = descriptors(machine)

    def tearDown(self):
        self.machine.run("systemctl stop holder 2>/dev/null; rm -f /tmp/sms/send/*", check=False)
        self.machine.order(1, op="clear-faults")

    # ---- what each unplug is followed by

    def cable(self, action):
        self.machine.run(f"/bench/modem.py {action} 1")

    def unplugAndPlug(self):
        self.cable("unplug")
        awaitNotConnected(self.machine)
        self.cable("plug")

    def assertWholeAgain(self):
        """Connected, by the same process, with as many files open, and no other process left."""
        start = time.monotonic()
        # The status may still be that of before an unplug that was short. A ping passes only if the
        # interface has got its addresses again: the one that was unplugged is gone.
        self.machine.waitFor(f"ping -c 1 -W 5 -I cell1 {REMOTE}", CONNECTED_S, " 0% packet loss")
        awaitConnected(self.machine)
        self.report(f"{self._testMethodName}: CONNECTED again in {time.monotonic() - start:.0f} s, ")
        process = self.before[0]
        group = "/sys/fs/cgroup$(systemctl show --value -p ControlGroup cellslotd@1)/cgroup.procs"
        self.machine.waitFor(f'p=$(cat {group}); echo "$p"; [ "$p" = {process} ]', 30)
        # gpsd leaves a port that hung up when it is told to.
        self.machine.waitFor(f"ls -l /proc/{process}/fd $(pgrep -x gpsd | sed 's|.*|/proc/&/fd|')"
                             " | { ! grep deleted; }", 30)
        self.assertEqual(descriptors(self.machine), self.before)

    def sentTexts(self):
        log = self.machine.run("""grep '"event":"sms sent"' /bench/log/modem1.log || true""")
        return [json.loads(line)["text"] for line in log.splitlines()]

    def sendLater(self, text):
        """As another program does: beside the folder, and into it by rename."""
        self.machine.write("/tmp/sms/next", f"TO={NUMBER}\nMSG={text}\n")
        self.machine.run(f"mv /tmp/sms/next '/tmp/sms/send/{text.replace(' ', '_')}'")

    def hangups(self):
        return int(self.machine.run("grep -c '\"event\":\"hangup\"' /bench/log/modem1.log || true"))

    def hangUpAt(self, **command):
        """The modem pulls its own cable, for three seconds, when it gets the command."""
        self.machine.order(1, op="fault", kind="hangup", away_ms=3000, count=1, **command)

    def awaitHangup(self, before):
        self.machine.waitFor(f"[ $(grep -c '\"event\":\"hangup\"' /bench/log/modem1.log) -gt {before} ]", 120)

    # ---- moments

    def test_AtIdle_ConnectsAgain(self):
        self.unplugAndPlug()
        self.assertWholeAgain()

    def test_InTheMiddleOfAnAnswer_ConnectsAgain(self):
        self.machine.order(1, op="fault", match="AT+CSQ", kind="raw", raw="\r\n+CSQ: 1")
        self.machine.waitFor("grep '\"final\":\"+CSQ: 1\"' /bench/log/modem1.log", 30)
        self.cable("unplug")
        self.machine.order(1, op="clear-faults")
        awaitNotConnected(self.machine)
        self.cable("plug")
        self.assertWholeAgain()

    def test_AtTheCommandThatSendsAMessage_IsSentLater(self):
        self.hangUpAt(prefix="AT+CMGS=")
        self.sendAndAwait("before the prompt")

    def test_AtTheTextOfAMessage_IsSentLater(self):
        self.hangUpAt(prefix="", stage="data")
        self.sendAndAwait("after the prompt")

    def sendAndAwait(self, text):
        before = self.hangups()
        self.sendLater(text)
        self.awaitHangup(before)
        self.machine.waitFor("ls /tmp/sms/send_ok /tmp/sms/send_fail", 180, text.replace(" ", "_"))
        self.assertEqual(self.machine.run("ls /tmp/sms/send_fail"), "")
        self.assertIn(text, self.sentTexts())
        self.assertWholeAgain()

    def test_DuringSetUp_ConnectsAgain(self):
        for command in SET_UP_COMMANDS:
            with self.subTest(command=command):
                self.cable("unplug")
                awaitNotConnected(self.machine)
                before = self.hangups()
                self.hangUpAt(match=command)
                self.cable("plug")
                self.awaitHangup(before)
                self.assertWholeAgain()

    def test_WithAnotherNumberAfterwards_ConnectsAgainUnderTheSameName(self):
        ports = "readlink /dev/cellslot/1-at /dev/cellslot/1-gps"
        before = self.machine.run(ports).split()
        # Whoever has a port open keeps its number in use. The first one is its terminal, which hangs up.
        self.machine.run("systemd-run --quiet --collect --unit=holder bash -c 'trap \"\" HUP;"
                         " for port in /dev/ttyUSB*;"
                         " do exec {file}<>$port; done; exec sleep infinity'")
        self.machine.waitFor("ls -l /proc/$(pgrep -x sleep)/fd", 20, "ttyUSB")
        self.unplugAndPlug()
        self.assertWholeAgain()
        after = self.machine.run(ports).split()
        self.assertFalse(set(before) & set(after), f"{before} {after}")

    def test_ModemThatRestartsByItself_GivesPositionsAgain(self):
        self.machine.order(1, op="restart", away_ms=4000)
        awaitNotConnected(self.machine)
        self.assertWholeAgain()
        self.assertAlmostEqual(positionOf(self.machine)[0], PLACE[0], 3)

    def test_AtRandomMoments_LosesNoMessage(self):
        chance = random.Random(SEED)
        print(f"CELLSLOT_SEED={SEED} CELLSLOT_UNPLUGS={UNPLUGS}")
        rounds = 0
        left = UNPLUGS
        while left:
            self.sendLater(f"out {rounds}")
            self.machine.order(1, op="inject-sms", **{"from": NUMBER, "text": f"in {rounds}"})
            # A second one hits a daemon that is not connected again yet.
            times = min(chance.choice((1, 2)), left)
            for _ in range(times):
                self.machine.run(f"sleep {chance.uniform(0, 12):.2f}; /bench/modem.py unplug 1;"
                                 f" sleep {chance.uniform(0, 6):.2f}; /bench/modem.py plug 1")
            left -= times
            rounds += 1
            self.assertWholeAgain()
        self.awaitAllMessages(rounds)
        self.assertAlmostEqual(positionOf(self.machine)[0], PLACE[0], 3)

    def awaitAllMessages(self, rounds):
        self.machine.waitFor('[ -z "$(ls /tmp/sms/send)" ]', 120)
        self.assertEqual(self.machine.run("ls /tmp/sms/send_fail"), "")
        numbers = range(rounds)
        sent = [text for text in self.sentTexts() if text.startswith("out ")]
        self.assertEqual(set(sent), {f"out {number}" for number in numbers})
        for number in numbers:
            self.machine.waitFor(f"grep -rlx 'MSG=in {number}' /tmp/sms/recv", 60)
        self.report(f"{UNPLUGS} random unplugs in {rounds} rounds with seed {SEED},"
                    f" {len(sent) - rounds} messages sent twice:")
