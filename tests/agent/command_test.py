#!/usr/bin/env python3
"""Commands over the broker: each that is allowed is executed once and answered once; others are not executed."""

import base64
import io
import json
import os
import pathlib
import socket
import tarfile
import time

from agent_case import AgentCase, runTests, waitUntil


def timeIn(seconds):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() + seconds))


class CommandCase(AgentCase):
    def setUp(self):
        super().setUp()
        self.operator = self.listen()
        self.agent.start()
        self.operator.waitEvent("online")

    def do(self, do, **args):
        return self.operator.waitResult(self.operator.send(do, **args))

    def results(self, command):
        return [message for topic, _, message in self.operator.received
                if topic == "result" and message["command"] == command]

    def assertNothingExecuted(self):
        """The next command is answered, and the one before it has left no trace."""
        self.assertFalse(list(pathlib.Path("/tmp").glob("force*")))


class Allowed(CommandCase):
    commands = "data reload sms at doctor history report"
    settings = "AT_COMMANDS=AT+CSQ AT+CGM*\nSMS_NUMBERS=+1202*"

    def testDataOffAndOn_SwitchesAndAnswers(self):
        off = self.do("data", slot=1, want="off")
        self.assertEqual((off["status"], off["exit"], off["by"]), ("done", 0, "tester"))
        self.assertNotEqual(self.slot.value("_QMI_STATE"), "CONNECTED")
        self.assertEqual(self.do("data", slot=1, want="on")["status"], "done")
        self.slot.waitConnected()
        self.agent.waitLog("of tester: done")

    def testReload_DaemonReadsItsFile(self):
        answer = self.do("reload", slot=1)
        self.assertEqual(answer["status"], "done", answer)
        self.assertIn("has not changed", answer["text"])

    def testAtOfTheList_AnswerOfTheModem(self):
        answer = self.do("at", slot=1, command="AT+CSQ")
        self.assertEqual(answer["status"], "done", answer)
        self.assertIn("+CSQ:", answer["output"])

    def testAtNotInTheList_NotSent(self):
        for command in ("AT+CFUN=0", "AT+CSQ;+CFUN=0", "ati", "AT+CSQ\r\nAT+CFUN=0"):
            self.assertEqual(self.do("at", slot=1, command=command)["status"], "refused", command)
        self.assertNotIn("AT+CFUN=0", self.slot.commands())

    def testSmsToAListedNumber_IsSentAndToAnotherIsNot(self):
        self.assertEqual(self.do("sms", slot=1, to="+12025550123", text="-Pump 3")["status"], "done")
        self.assertEqual(self.do("sms", slot=1, to="+4917012345", text="Pump 3")["status"], "refused")

    def testDoctor_FindingsAreAResult(self):
        answer = self.do("doctor", slot=1)
        self.assertEqual(answer["status"], "done", answer)
        self.assertTrue(answer["output"])

    def testReport_ArchiveComesInParts(self):
        command = self.operator.send("report", slot=1)
        first = self.operator.waitResult(command)
        self.assertEqual(first["status"], "done", first)
        count = first.get("parts", 1)
        waitUntil(lambda: len(self.results(command)) == count, lambda: "parts are missing")
        data = b"".join(base64.b64decode(part["output"]) for part in self.results(command))
        with tarfile.open(fileobj=io.BytesIO(data)) as archive:
            self.assertTrue(archive.getnames())

    def testHistoryIsNotInstalled_SaysSo(self):
        answer = self.do("history", slot=1, since="24h", view="outages")
        self.assertEqual(answer["status"], "failed", answer)

    def testNotSlotsOrArguments_Refused(self):
        for do, args in (("data", {"slot": 9, "want": "off"}), ("data", {"slot": 1, "want": "of"}),
                         ("data", {"want": "off"}), ("reload", {"slot": 1, "x": 1}), ("nonsense", {}),
                         ("reload", {"slot": "1; reboot"})):
            self.assertEqual(self.do(do, **args)["status"], "refused", (do, args))

    def testSentTwice_ExecutedOnce(self):
        command = self.operator.send("at", slot=1, command="AT+CGMM")
        self.operator.waitResult(command)
        sent = self.slot.commands().count("AT+CGMM")
        mark = self.operator.mark()
        self.operator.send("at", id=command, slot=1, command="AT+CGMM")
        answer = self.operator.waitResult(command, since=mark)
        self.assertEqual(answer["status"], "repeated")
        self.assertIn("done", answer["text"])
        self.assertEqual(self.slot.commands().count("AT+CGMM"), sent)

    def testSentTwiceOverAKill_ExecutedOnce(self):
        command = self.operator.send("at", slot=1, command="AT+CGMM")
        self.operator.waitResult(command)
        sent = self.slot.commands().count("AT+CGMM")
        self.agent.kill()
        mark = self.operator.mark()
        self.operator.send("at", id=command, slot=1, command="AT+CGMM")
        self.agent.start()
        self.assertEqual(self.operator.waitResult(command, since=mark)["status"], "repeated")
        self.assertEqual(self.slot.commands().count("AT+CGMM"), sent)

    def testTooLate_Expired(self):
        self.assertEqual(self.operator.waitResult(
            self.operator.send("data", deadline=-1, slot=1, want="off"))["status"], "expired")
        self.assertNothingExecuted()

    def testTooFarAhead_Refused(self):
        self.assertEqual(self.operator.waitResult(
            self.operator.send("data", deadline=25 * 3600, slot=1, want="off"))["status"], "refused")
        self.assertNothingExecuted()

    def testKilledWhileItRuns_InterruptedAndNotRunAgain(self):
        pathlib.Path("/tmp/cellslot-slow").write_text("#!/bin/sh\necho run >>/tmp/runs\nexec sleep 1000\n")
        os.chmod("/tmp/cellslot-slow", 0o755)
        self.root.program = "/tmp/cellslot-slow"
        command = self.operator.send("doctor", slot=1)
        waitUntil(lambda: pathlib.Path("/tmp/runs").exists(), lambda: "it does not run")
        self.agent.kill()
        self.agent.start()
        self.assertEqual(self.operator.waitResult(command)["status"], "interrupted")
        self.assertEqual(pathlib.Path("/tmp/runs").read_text(), "run\n")
        self.assertLedgerIsWhole(self.operator)

    def testWhileNoBroker_IsExecutedWhenItIsBack(self):
        self.agent.kill()
        command = self.operator.send("reload", slot=1)
        self.broker.stop()
        self.broker.start()
        self.agent.start()
        self.assertEqual(self.operator.waitResult(command)["status"], "done")


class ReceivedMessages(CommandCase):
    settings = "RECEIVED_SMS=yes"

    def testMessage_ComesOnceAlsoOverAKill(self):
        mark = self.operator.mark()
        self.slot.order(op="inject-sms", text="Pump 3 stopped", **{"from": "+12025550123"})
        self.operator.wait(lambda topic, message: topic.endswith("/sms") and message["text"] == "Pump 3 stopped",
                           "message", mark)
        self.agent.kill()
        self.agent.start()
        self.operator.waitEvent("agent", self.operator.mark())
        self.slot.waitRenewed()
        messages = {message["id"] for topic, message in self.operator.all if topic.endswith("/sms")}
        self.assertEqual(len(messages), 1)


class Hostile(CommandCase):
    commands = "reload"

    def testNotAllowed_Refused(self):
        for do, args in (("data", {"slot": 1, "want": "off"}), ("at", {"slot": 1, "command": "AT+CSQ"}),
                         ("config", {"slot": 1, "file": "CM_APN=x\n"})):
            answer = self.do(do, **args)
            self.assertEqual(answer["status"], "refused", answer)
            self.assertIn("agent.conf", answer["text"])
        self.assertNothingExecuted()

    def testAgentWithoutScruples_ServiceOfRootRefuses(self):
        """A taken-over agent asks for what is not listed."""
        with socket.socket(socket.AF_UNIX) as sock:
            sock.connect("/run/cellslot-agent-commands")
            sock.sendall(b"execute " + json.dumps({"id": "x", "by": "x", "deadline": timeIn(600), "do": "data",
                                                   "args": {"slot": 1, "want": "off"}}).encode() + b"\n")
            answer = sock.makefile().read()
        self.assertEqual(json.loads(answer.splitlines()[0])["status"], "refused")
        self.assertNothingExecuted()

    def testWhatIsNoCommand_NoAnswer(self):
        mark = self.operator.mark()
        for text in ("", "{", "[]", "null", "\0", "{}", '{"id":""}', '{"id":"' + 65 * "a" + '"}', '{"id":{}}',
                     "[" * 30000, "x" * 70000):
            self.operator.sendText(text)
        self.assertEqual(self.do("reload", slot=1)["status"], "done")
        self.assertEqual(len([entry for entry in self.operator.received[mark:] if entry[0] == "result"]), 1)

    def testForAnotherGateway_NotHere(self):
        text = json.dumps({"id": "other", "by": "x", "deadline": timeIn(600), "do": "reload", "args": {"slot": 1}})
        self.operator.sendText(text, gateway="pump8")
        self.do("reload", slot=1)
        self.assertFalse(self.results("other"))

    def testRetained_NotExecuted(self):
        self.operator.client.publish("cellslot/1/pump7/command", json.dumps(
            {"id": "kept", "by": "x", "deadline": timeIn(600), "do": "reload", "args": {"slot": 1}}),
            1, True).wait_for_publish()
        self.agent.stop()
        self.agent.start()
        self.agent.waitLog("retained command")
        self.operator.sendText("", retain=True)

    def testFlood_IsBounded(self):
        for number in range(500):
            self.operator.send("data", id=f"flood{number}", slot=1, want="off")
        self.agent.waitLog("came too fast")
        answered = {message["command"] for topic, _, message in self.operator.received if topic == "result"}
        self.assertLess(len(answered), 100)
        self.assertNothingExecuted()
        self.slot.waitRenewed()


if __name__ == "__main__":
    runTests()
