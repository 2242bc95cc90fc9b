#!/usr/bin/env python3
"""A configuration change over the broker: it stays if the gateway comes back with it; otherwise the old file
comes back, whatever is killed meanwhile."""

import os
import pathlib
import random
import shutil
import time

from agent_case import CHANGES, STORE, AgentCase, Changer, runTests, waitUntil
from gateway import CONFIG as SETTINGS

FILE = pathlib.Path("/etc/vuk/cellular1.conf")


def text(**changes):
    return "".join(f"{key}={value}\n" for key, value in {**SETTINGS, **changes}.items())


class ConfigCase(AgentCase):
    commands = "config reload"

    def setUp(self):
        super().setUp()
        self.old = FILE.read_text()
        FILE.chmod(0o640)
        self.changer = Changer()
        self.addCleanup(lambda: self.changer.close())
        self.operator = self.listen()
        self.agent.start()
        self.operator.waitEvent("online")

    def change(self, file, seconds=30):
        return self.operator.send("config", slot=1, file=file, confirm_seconds=seconds)

    def assertEnded(self, content):
        self.assertEqual(FILE.read_text(), content)
        self.assertEqual(FILE.stat().st_mode & 0o777, 0o640)
        waitUntil(lambda: not (CHANGES / "pending").exists(), lambda: "the change is still pending")
        self.assertEqual(sorted(os.listdir(FILE.parent)), [FILE.name])
        self.slot.waitConnected()


class Change(ConfigCase):
    def testGood_IsConfirmedOverANewConnection(self):
        new = text(CM_MTU="1400")
        connections = self.agent.log().count("connected to")
        command = self.change(new, 300)
        self.operator.waitResult(command, final=False)
        result = self.operator.waitResult(command)
        self.assertEqual(result["status"], "confirmed", result)
        self.assertGreater(self.agent.log().count("connected to"), connections)
        self.assertEnded(new)
        self.assertLedgerIsWhole(self.operator)

    def testAgentWithoutRights_IsConfirmedToo(self):
        self.agent.kill()
        shutil.rmtree(STORE)
        STORE.mkdir()
        mark = self.operator.mark()
        self.agent.start(*self.withoutRights())
        self.operator.waitEvent("online", mark)
        new = text(CM_MTU="1400")
        result = self.operator.waitResult(self.change(new, 300))
        self.assertEqual(result["status"], "confirmed", result)
        self.assertEnded(new)

    def testDataOff_OldFileComesBack(self):
        result = self.operator.waitResult(self.change(text(CM_ENABLE_INTERFACE="no")))
        self.assertEqual(result["status"], "rolled_back", result)
        self.assertIn("not back at the broker within 30 s", result["text"])
        self.assertEnded(self.old)

    def testBrokerIsAway_OldFileComesBack(self):
        command = self.change(text(CM_MTU="1400"))
        self.operator.waitResult(command, final=False)
        self.broker.stop()
        waitUntil(lambda: not (CHANGES / "pending").exists(), lambda: "the change is still pending")
        self.broker.start()
        self.assertEqual(self.operator.waitResult(command)["status"], "rolled_back")
        self.assertEnded(self.old)

    def testWithFindings_Refused(self):
        result = self.operator.waitResult(self.change(text(CM_MTU="9000")))
        self.assertEqual(result["status"], "refused", result)
        self.assertIn("CM_MTU is '9000'", result["output"])
        self.assertEnded(self.old)

    def testTheSame_NothingToDo(self):
        self.assertEqual(self.operator.waitResult(self.change(self.old))["status"], "done")
        self.assertEnded(self.old)

    def testAnotherMeanwhile_Refused(self):
        first = self.change(text(CM_ENABLE_INTERFACE="no"))
        self.operator.waitResult(first, final=False)
        second = self.operator.waitResult(self.change(text(CM_MTU="1300")))
        self.assertIn("busy", second["text"])
        self.assertEqual(self.operator.waitResult(first)["status"], "rolled_back")
        self.assertEnded(self.old)

    def testAgentIsKilledAgainAndAgain_EndsInOneOfBoth(self):
        seed = int(os.environ.get("CELLSLOT_SEED", time.time()))
        print("CELLSLOT_SEED", seed)
        chance = random.Random(seed)
        new = text(CM_MTU="1400")
        command = self.change(new)
        waitUntil((CHANGES / "pending").exists, lambda: "the change has not begun")
        while (CHANGES / "pending").exists():
            time.sleep(chance.random() * 3)
            self.agent.kill()
            self.agent.start()
        result = self.operator.waitResult(command)
        self.assertIn(result["status"], ("confirmed", "rolled_back", "interrupted"))
        self.assertEnded(new if result["status"] == "confirmed" else self.old)

    def testServiceIsKilledWhileItWaits_GoesOn(self):
        command = self.change(text(CM_ENABLE_INTERFACE="no"))
        self.operator.waitResult(command, final=False)
        self.changer.process.kill()
        self.assertEqual(self.operator.waitResult(command)["status"], "rolled_back")
        self.assertEnded(self.old)


if __name__ == "__main__":
    runTests()
