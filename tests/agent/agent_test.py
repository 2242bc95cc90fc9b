#!/usr/bin/env python3
"""The agent beside the daemon and the simulated modem: what it sends, and that nothing gets lost."""

import os
import random
import socket
import ssl
import subprocess
import time

from agent_case import BIN, CONFIG, LIMIT_S, STORE, AgentCase, runTests, waitUntil
from broker import makeAuthority, makeCertificate


class ConnectionBreaker:
    """A broker that accepts a client and ends the connection without a word."""

    def __init__(self, folder, certificate, port):
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(folder / f"{certificate}.crt", folder / f"{certificate}.key")
        self.context.load_verify_locations(folder / "ca.crt")
        self.context.verify_mode = ssl.CERT_REQUIRED
        self.listener = socket.create_server(("127.0.0.1", port))
        self.listener.settimeout(LIMIT_S)

    def take(self):
        """Whether the client resumed its TLS session."""
        peer, _ = self.listener.accept()
        peer.settimeout(LIMIT_S)
        with self.context.wrap_socket(peer, server_side=True) as connection:
            connection.recv(4096)
            connection.send(b"\x20\x02\x00\x00")  # CONNACK
            connection.recv(4096)
            return connection.session_reused

    def end(self):
        self.listener.close()


class Sending(AgentCase):
    def testConnected_StatusIsRetainedAndAvailable(self):
        operator = self.listen()
        self.agent.start()
        operator.waitStatus(lambda slot: slot["state"] == "connected")
        online = operator.waitOnline()
        self.assertEqual(online["every_seconds"], 900)
        event = operator.waitEvent("agent")
        self.assertEqual(event["id"], online["stream"] + "-1")
        operator.waitEvent("online")
        late = type(operator)(self.broker, "late")
        self.addCleanup(late.end)
        late.wait(lambda topic, _: topic == "slot/1/status", "retained status")
        self.assertTrue(next(retained for topic, retained, _ in late.received if topic == "slot/1/status"))

    def testModemGoesAwayAndComesBack_BothAreEventsWithTheirLength(self):
        operator = self.listen()
        self.agent.start()
        operator.waitEvent("online")
        mark = operator.mark()
        self.slot.stopDaemon()
        lost = operator.waitEvent("lost", mark)
        self.assertIn("daemon", lost["text"])
        operator.waitStatus(lambda slot: slot["state"] == "no_daemon", mark)
        self.slot.startDaemon()
        operator.waitEvent("online", mark)
        operator.waitStatus(lambda slot: slot["state"] == "connected", mark)

    def testOrderlyEnd_IsSaid(self):
        operator = self.listen()
        self.agent.start()
        operator.waitEvent("online")
        mark = operator.mark()
        self.assertEqual(self.agent.stop(), 0)
        self.assertEqual(operator.waitOnline(False, mark)["reason"], "stopped")
        self.agent.start()
        event = operator.waitEvent("agent", mark)
        self.assertNotIn("orderly", event["text"])

    def testKilled_LastWillAndThenSaid(self):
        operator = self.listen()
        self.agent.start()
        operator.waitEvent("online")
        mark = operator.mark()
        self.agent.kill()
        self.assertEqual(operator.waitOnline(False, mark)["reason"], "lost")
        self.agent.start()
        self.assertIn("had not ended in an orderly way", operator.waitEvent("agent", mark)["text"])
        self.assertLedgerIsWhole(operator)

    def testNoBroker_WhatHappenedComesLater(self):
        operator = self.listen()
        self.agent.start()
        operator.waitEvent("online")
        self.broker.stop()
        self.agent.waitLog("localhost:")
        self.slot.stopDaemon()
        waitUntil(lambda: self.slot.value("_QMI_STATE") is None, lambda: "the status file stays")
        self.broker.start()
        operator.waitEvent("lost")
        self.assertLedgerIsWhole(operator)

    def testBrokerWithAWrongCertificate_IsNotTrustedAndTheStatusSaysWhy(self):
        makeAuthority(self.broker.folder, "other")
        makeCertificate(self.broker.folder, "wrong", "localhost", authority="other")
        makeCertificate(self.broker.folder, "elsewhere", "broker.example.com")
        for certificate in ("wrong", "elsewhere"):
            self.broker.stop()
            self.broker.certificate = certificate
            self.broker.start()
            self.agent.start()
            self.agent.waitLog("the broker's certificate was not accepted")
            shown = self.showStatus()
            self.assertEqual(shown.returncode, 1, shown)
            self.assertIn("NOT CONNECTED", shown.stdout)
            self.assertIn("certificate was not accepted", shown.stdout)
            self.assertNotIn("connected to", self.agent.log())
            self.agent.kill()
            self.agent.output.unlink()
        self.broker.stop()
        self.broker.certificate = "broker"
        self.broker.start()
        self.agent.start()
        self.agent.waitLog("connected to")
        waitUntil(lambda: self.showStatus().returncode == 0, lambda: self.showStatus().stdout)

    def testConnectionBreaks_TlsSessionIsResumedAndAWrongCertificateIsRefused(self):
        folder, port = self.broker.folder, self.broker.port
        makeAuthority(folder, "other")
        makeCertificate(folder, "wrong", "localhost", authority="other")
        self.broker.stop()
        broker = ConnectionBreaker(folder, "broker", port)
        self.agent.start()
        self.assertEqual([broker.take() for _ in range(3)], [False, True, True])
        broker.end()
        wrong = ConnectionBreaker(folder, "wrong", port)
        self.addCleanup(wrong.end)
        with self.assertRaisesRegex(ssl.SSLError, "ALERT"):
            wrong.take()
        self.agent.waitLog("the broker's certificate was not accepted")

    def mountStore(self):
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=1m", "store", STORE], check=True)
        self.addCleanup(subprocess.run, ["umount", STORE], check=True)
        self.addCleanup(self.agent.kill)

    def assertConnectsWithoutAStore(self, operator):
        self.agent.start()
        self.agent.waitLog("cannot be written")
        operator.waitOnline()
        operator.waitStatus(lambda slot: slot["state"] == "connected")
        self.assertIsNone(self.agent.process.poll(), self.agent.log())
        self.assertEqual(operator.ledger(), {})

    def testDiskIsFullAtTheStart_ConnectsAndEventsComeWhenThereIsRoom(self):
        operator = self.listen()
        self.mountStore()
        with self.assertRaises(OSError), open(STORE / "fill", "wb") as fill:
            while True:
                fill.write(bytes(4096))
                fill.flush()
        self.assertConnectsWithoutAStore(operator)
        (STORE / "fill").unlink()
        operator.waitEvent("agent")
        operator.waitEvent("online")
        self.assertLedgerIsWhole(operator)

    def testDiskIsReadOnly_ConnectsAndEventsComeWhenItCanBeWritten(self):
        operator = self.listen()
        self.mountStore()
        subprocess.run(["mount", "-o", "remount,ro", STORE], check=True)
        self.assertConnectsWithoutAStore(operator)
        subprocess.run(["mount", "-o", "remount,rw", STORE], check=True)
        operator.waitEvent("agent")
        self.assertLedgerIsWhole(operator)

    def testConfigurationIsWrong_AgentWaitsAndConnectsWhenItIsRight(self):
        good = CONFIG.read_text()
        CONFIG.write_text(good.replace("GATEWAY=", "GATEWAY=pump 7 "))
        self.agent.start()
        self.agent.waitLog("line 2: GATEWAY is")
        shown = self.showStatus()
        self.assertIn("line 2: GATEWAY is", shown.stdout)
        CONFIG.write_text(good)
        self.agent.waitLog("connected to")

    @staticmethod
    def showStatus():
        return subprocess.run([BIN / "cellslot-agent-command", "status"], capture_output=True, text=True,
                              check=False)

    def testKilledAHundredTimes_NoNumberMissingNoneTwice(self):
        operator = self.listen()
        seed = int(os.environ.get("CELLSLOT_SEED", time.time()))
        print("CELLSLOT_SEED", seed)
        chance = random.Random(seed)
        for _ in range(100):
            mark = operator.mark()
            self.agent.start()
            if chance.random() < 0.3:
                operator.waitEvent("agent", mark)
            # At any moment of its start, and of what it sends then.
            time.sleep(chance.random() * 0.6)
            self.agent.kill()
        mark = operator.mark()
        self.agent.start()
        operator.waitEvent("agent", mark)
        operator.waitEvent("online", mark)
        self.assertLedgerIsWhole(operator)


if __name__ == "__main__":
    runTests()
