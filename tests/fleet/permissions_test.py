"""What the brokers of contrib/ refuse and what they allow."""

import os
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from brokers import (CLUSTER_PORTS, MOSQUITTO_GATEWAYS, MOSQUITTO_OPERATORS, MOSQUITTO_PASSWORD,  # noqa: E402
                     MOSQUITTO_PSK, Cluster, Keys, Mosquitto, Subscriber, publish)

OWN = "cellslot/1/pump-1"
OTHER = "cellslot/1/pump-2"
EVERYTHING = "cellslot/1/+/#"


class Permissions:
    """The same for both brokers."""

    def setUp(self):
        self.subscribers = []

    def tearDown(self):
        for subscriber in self.subscribers:
            subscriber.end()

    def subscribe(self, topics, who, identifier, port=None, **options):
        subscriber = Subscriber(port or self.broker.ports[0], topics, who, identifier, **options)
        self.subscribers.append(subscriber)
        return subscriber

    def operate(self, *topics, name="operator", **options):
        subscriber = self.subscribe(topics, self.keys.operator(name), f"desk-{name}",
                                    self.broker.operatorPort, **options)
        self.assertTrue(subscriber.waitSubscribed())
        return subscriber

    def say(self, topic, text, gateway="pump-1", **options):
        if options.get("retain") and text:
            self.addCleanup(self.say, topic, "", gateway, retain=True)
        return publish(self.broker.ports[-1], self.keys.gateway(gateway), gateway, topic, text, **options)

    def command(self, gateway, text, name="operator"):
        return publish(self.broker.operatorPort, self.keys.operator(name), f"asks-{name}",
                       f"cellslot/1/{gateway}/command", text)

    def heard(self, *said):
        """What an operator hears of topics and texts that pump-1 says, and of one more that is allowed."""
        desk = self.operate(EVERYTHING)
        for topic, text in said:
            self.say(topic, text)
        self.say(f"{OWN}/result", "last")
        return [message for message in desk.waitFor((f"{OWN}/result", "last")) if message[1] != "last"]

    # ---- allowed

    def test_Gateway_WritesItsOwnTopics(self):
        said = [(f"{OWN}/{topic}", topic)
                for topic in ("availability", "slot/1/status", "slot/1/event", "slot/2/sms", "result")]
        self.assertEqual(self.heard(*said), said)

    def test_Gateway_GetsItsCommands(self):
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1")
        self.assertTrue(gateway.waitSubscribed())
        self.assertEqual(self.command("pump-1", "do this").returncode, 0)
        self.assertEqual(gateway.waitFor((f"{OWN}/command", "do this")), [(f"{OWN}/command", "do this")])

    def test_CommandForAGatewayThatIsAway_WaitsForIt(self):
        kept = {"extra": ("-c",)}
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", **kept)
        self.assertTrue(gateway.waitSubscribed())
        gateway.end()
        self.command("pump-1", "later")
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", **kept)
        gateway.waitFor((f"{OWN}/command", "later"))

    def test_RetainedState_IsThereForWhoComesLater(self):
        self.say(f"{OWN}/availability", "kept", retain=True)
        desk = self.operate(EVERYTHING, qos=0)
        desk.waitFor((f"{OWN}/availability", "kept"))

    def test_Monitoring_ReadsStates(self):
        self.say(f"{OWN}/availability", "kept", retain=True)
        screen = self.operate("cellslot/1/+/availability", name="monitoring")
        screen.waitFor((f"{OWN}/availability", "kept"))

    def test_SeveralOperators_WorkAtTheSameTime(self):
        first = self.operate(EVERYTHING)
        second = self.subscribe([EVERYTHING], self.keys.operator(), "desk-two", self.broker.operatorPort)
        self.assertTrue(second.waitSubscribed())
        self.say(f"{OWN}/result", "for both")
        for desk in (first, second):
            desk.waitFor((f"{OWN}/result", "for both"))

    # ---- refused

    def test_Gateway_CannotWriteForAnother(self):
        self.assertEqual(self.heard((f"{OTHER}/availability", "forged"), (f"{OTHER}/slot/1/status", "forged"),
                                    (f"{OTHER}/result", "forged"), (f"{OTHER}/command", "forged")), [])

    def test_Gateway_CannotCommand(self):
        self.assertEqual(self.heard((f"{OWN}/command", "forged"), ("cellslot/1/x/y", "forged"),
                                    ("cellslot/2/pump-1/result", "forged")), [])

    def test_Gateway_HasTheSlotsThatThereAre(self):
        """With names of its own choice it could fill the broker with retained messages."""
        wrong = [(f"{OWN}/slot/{slot}/{kind}", "forged") for slot in ("0", "4", "x") for kind in ("status", "event", "sms")]
        self.assertEqual(self.heard(*wrong), [])

    def refused(self, topics, identifier="pump-1"):
        """What pump-1 hears of commands for both gateways."""
        spy = self.subscribe([*topics, f"{OWN}/command"], self.keys.gateway("pump-1"), identifier)
        spy.waitSubscribed()
        other = self.operate(f"{OTHER}/command")
        self.command("pump-2", "secret")
        other.waitFor((f"{OTHER}/command", "secret"))
        self.say(f"{OTHER}/result", "secret", "pump-2")
        self.command("pump-1", "own")
        return [message for message in spy.waitFor((f"{OWN}/command", "own")) if message[0] != f"{OWN}/command"]

    def test_Gateway_CannotReadAnothersCommands(self):
        self.assertEqual(self.refused([f"{OTHER}/command"]), [])

    def test_Gateway_CannotReadByWildcard(self):
        self.assertEqual(self.refused(["cellslot/1/+/#", "#", "cellslot/#", "+/+/+/command"]), [])

    def test_Gateway_CannotTakeTheSessionOfAnother(self):
        kept = {"extra": ("-c",)}
        first = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", **kept)
        self.assertTrue(first.waitSubscribed())
        first.end()
        self.command("pump-1", "waiting")
        thief = self.subscribe([f"{OTHER}/command"], self.keys.gateway("pump-2"), "pump-1", **kept)
        thief.waitSubscribed()
        self.command("pump-2", "own")
        self.assertEqual(thief.waitFor((f"{OTHER}/command", "own")), [(f"{OTHER}/command", "own")])
        thief.end()
        back = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", **kept)
        back.waitFor((f"{OWN}/command", "waiting"))

    def test_Monitoring_CannotCommandNorReadMessages(self):
        desk = self.operate(EVERYTHING)
        spy = self.subscribe(["cellslot/1/+/slot/+/sms", "cellslot/1/+/result", "cellslot/1/+/availability"],
                             self.keys.operator("monitoring"), "desk-monitoring", self.broker.operatorPort)
        spy.waitSubscribed()
        self.command("pump-1", "forged", "monitoring")
        self.say(f"{OWN}/slot/1/sms", "private")
        self.say(f"{OWN}/availability", "last")
        last = (f"{OWN}/availability", "last")
        self.assertEqual(spy.waitFor(last), [last])
        self.assertEqual(desk.waitFor(last), [(f"{OWN}/slot/1/sms", "private"), last])

    def assertCannotConnect(self, who, port=None, extra=()):
        result = publish(port or self.broker.ports[0], who, "pump-1", f"{OWN}/result", "x", extra=extra)
        self.assertNotEqual(result.returncode, 0)
        return result.stderr.decode()

    def test_ForeignCertificate_CannotConnect(self):
        foreign = Keys()
        self.addCleanup(foreign.end)
        foreign.make("gateway", "pump-1")
        pair = foreign.gateway("pump-1")
        self.assertCannotConnect(["--cafile", self.keys.folder / "ca.crt", *pair[2:]])

    def test_NoCertificate_CannotConnect(self):
        self.assertCannotConnect(["--cafile", self.keys.folder / "ca.crt"])

    def test_NoTls_CannotConnect(self):
        self.assertCannotConnect([])

    def test_BrokerOfAnotherAuthority_IsRefusedByTheClient(self):
        foreign = Keys()
        self.addCleanup(foreign.end)
        pair = self.keys.gateway("pump-1")
        self.assertCannotConnect(["--cafile", foreign.folder / "ca.crt", *pair[2:]])


class MosquittoPermissions(Permissions, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.keys = Keys()
        cls.addClassCleanup(cls.keys.end)
        cls.broker = Mosquitto(cls.keys, ["pump-1", "pump-2", "lost-1"])
        cls.broker.password("pump-1", "right")
        cls.broker.start()
        cls.addClassCleanup(cls.broker.end)

    def psk(self, name):
        return ["--psk", (self.keys.folder / f"gateways/{name}.psk").read_text().strip(), "--psk-identity", name,
                "--tls-version", "tlsv1.2"]

    def withPassword(self, password):
        return ["--cafile", self.keys.folder / "ca.crt", "-u", "pump-1", "-P", password]

    def saidThrough(self, port, who):
        desk = self.operate(EVERYTHING)
        publish(port, who, "any", f"{OTHER}/result", "forged")
        publish(port, who, "any", f"{OWN}/result", "own")
        return desk.waitFor((f"{OWN}/result", "own"))

    def test_PreSharedKey_IsTheGateway(self):
        self.assertEqual(self.saidThrough(MOSQUITTO_PSK, self.psk("pump-1")), [(f"{OWN}/result", "own")])

    def test_Password_IsTheGateway(self):
        self.assertEqual(self.saidThrough(MOSQUITTO_PASSWORD, self.withPassword("right")),
                         [(f"{OWN}/result", "own")])

    def test_WrongPasswordKeyOrNobody_CannotConnect(self):
        wrong = self.psk("pump-1")
        wrong[1] = "00" * 32
        self.assertCannotConnect(wrong, MOSQUITTO_PSK)
        self.assertIn("not authorised", self.assertCannotConnect(self.withPassword("wrong"), MOSQUITTO_PASSWORD))
        anonymous = ["--cafile", self.keys.folder / "ca.crt"]
        self.assertIn("not authorised", self.assertCannotConnect(anonymous, MOSQUITTO_PASSWORD))

    def test_GatewaysCertificate_IsNoneOfAnOperator(self):
        self.assertCannotConnect(self.keys.gateway("pump-1"), MOSQUITTO_OPERATORS)

    def test_OperatorsCertificate_IsNoneOfAGateway(self):
        self.assertCannotConnect(self.keys.operator(), MOSQUITTO_GATEWAYS)

    def test_GatewayThatIsGivenUp_IsForgottenByItsOwnCertificateOnly(self):
        self.say(f"{OWN}/availability", "kept", retain=True)
        publish(MOSQUITTO_OPERATORS, self.keys.operator(), "gives-up", f"{OWN}/availability", "", retain=True)
        self.assertEqual(self.retained(), [(f"{OWN}/availability", "kept")])
        publish(MOSQUITTO_GATEWAYS, self.keys.gateway("pump-1"), "pump-1", f"{OWN}/availability", "", retain=True)
        self.assertEqual(self.retained(), [])

    def retained(self):
        """What is there for an operator who begins to listen."""
        desk = self.operate(EVERYTHING)
        self.say(f"{OWN}/result", "last")
        return [message for message in desk.waitFor((f"{OWN}/result", "last")) if message[1] != "last"]

    def test_CertificateThatWasTakenBack_CannotConnect(self):
        self.assertEqual(publish(MOSQUITTO_GATEWAYS, self.keys.gateway("lost-1"), "lost-1",
                                 "cellslot/1/lost-1/result", "x").returncode, 0)
        self.keys.make("take-back", "lost-1")
        self.broker.install()
        self.broker.restart()
        self.assertCannotConnect(self.keys.gateway("lost-1"))
        self.assertEqual(self.say(f"{OWN}/result", "x").returncode, 0)

    def test_Restart_KeepsStatesAndWhatWaits(self):
        self.say(f"{OWN}/availability", "kept", retain=True)
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", extra=("-c",))
        self.assertTrue(gateway.waitSubscribed())
        gateway.end()
        self.command("pump-1", "waits")
        self.broker.restart()
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", extra=("-c",))
        gateway.waitFor((f"{OWN}/command", "waits"))
        self.operate(EVERYTHING).waitFor((f"{OWN}/availability", "kept"))


class ClusterPermissions(Permissions, unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.keys = Keys()
        cls.addClassCleanup(cls.keys.end)
        cls.broker = Cluster(cls.keys, ["pump-1", "pump-2"])
        cls.broker.start()
        cls.addClassCleanup(cls.broker.end)

    def test_CertificateWithoutAUser_CannotConnect(self):
        self.keys.make("gateway", "pump-3")
        self.assertCannotConnect(self.keys.gateway("pump-3"))

    def test_LossOfANode_KeepsStatesAndWhatWaits(self):
        self.say(f"{OWN}/availability", "kept", retain=True)
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", extra=("-c",))
        self.assertTrue(gateway.waitSubscribed())
        gateway.end()
        self.command("pump-1", "waits")
        self.broker.lose(1)
        self.broker.waitReady()
        gateway = self.subscribe([f"{OWN}/command"], self.keys.gateway("pump-1"), "pump-1", CLUSTER_PORTS[2],
                                 extra=("-c",))
        gateway.waitFor((f"{OWN}/command", "waits"))
        gateway.end()
        self.assertIn("8223: no answer", self.broker.notWhole(0))
        self.broker.bringBack(1)
        back = self.subscribe([EVERYTHING], self.keys.operator(), "desk-back", CLUSTER_PORTS[1], qos=0)
        back.waitFor((f"{OWN}/availability", "kept"))


if __name__ == "__main__":
    assert os.environ.get("CELLSLOT_PRIVATE_NAMESPACE") == "1", "run it in scripts/private_namespace.sh"
    unittest.main(verbosity=2)
