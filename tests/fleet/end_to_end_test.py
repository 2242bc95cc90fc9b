"""Three gateways, each in namespaces of its own with a simulated modem, the daemon and the agent, at a broker with the
configuration of contrib/, and cellslot-fleet at the operator's desk: outages, commands, configurations, brokers that
restart, agents that are killed."""

import json
import os
import pathlib
import random
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from brokers import CHECKOUT, CLUSTER_PORTS, LIMIT_S, Cluster, Subscriber, waitUntil  # noqa: E402
from fleet_case import FleetCase, runTests  # noqa: E402

NAMES = ("pump-1", "pump-2", "pump-3")
COMMANDS = "data reload doctor config"
SHORTEST_CONFIRM_S = 30
KILLS = 100


def deskAddress(number):
    return f"10.77.{number}.1"


class FleetGateway:
    """A gateway in namespaces of its own; a cable leads from it to the broker. Debian's Python has what its tests
    need."""

    def __init__(self, number, name, broker, keys):
        self.number, self.name, self.keys = number, name, keys
        self.brokers = " ".join(f"{deskAddress(number)}:{port}" for port in broker.ports)
        self.error = open(f"{tempfile.gettempdir()}/{name}.log", "ab")
        self.process = subprocess.Popen(
            [CHECKOUT / "scripts/private_namespace.sh", "--keep", keys.folder, "--keep", CHECKOUT, "/usr/bin/python3",
             CHECKOUT / "tests/fleet/gateway_host.py"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self.error, text=True)

    def begin(self):
        self.call("waitConnected")
        self.plugIn()
        self.startAgent(self.config())

    def plugIn(self):
        """One /30 network for each."""
        cable, pid = f"pump{self.number}", self.process.pid
        there = ["nsenter", f"--net=/proc/{pid}/ns/net"]
        for words in (["ip", "link", "add", cable, "type", "veth", "peer", "name", "uplink", "netns", str(pid)],
                      ["ip", "addr", "add", deskAddress(self.number) + "/30", "dev", cable],
                      ["ip", "link", "set", cable, "up"],
                      [*there, "ip", "addr", "add", f"10.77.{self.number}.2/30", "dev", "uplink"],
                      [*there, "ip", "link", "set", "uplink", "up"]):
            subprocess.run(words, check=True)

    def config(self):
        _, authority, _, certificate, _, key = self.keys.gateway(self.name)
        return (f"BROKER={self.brokers}\nGATEWAY={self.name}\nCA_FILE={authority}\nCERT_FILE={certificate}\n"
                f"KEY_FILE={key}\nCOMMANDS={COMMANDS}\n")

    def call(self, name, *words):
        self.process.stdin.write(json.dumps({"call": name, "words": words}) + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        answer = json.loads(line) if line else {"error": "has ended: " + pathlib.Path(self.error.name).read_text()}
        if "error" in answer:
            raise AssertionError(f"{self.name}: {name}: {answer['error']}")
        return answer["value"]

    def startAgent(self, config=None):
        self.call("startAgent", config)

    def killAgent(self):
        self.call("killAgent")

    def register(self, state):
        self.call("order", {"op": "set", "registration": {"state": state}})

    def end(self):
        """Everything in its namespaces ends with it."""
        self.process.terminate()
        self.process.wait(LIMIT_S)
        self.process.stdin.close()
        self.process.stdout.close()
        self.error.close()


class Ledger:
    """All that carries an id, as a session of the broker gets it. If a node of a cluster is gone, it goes on at the
    next one, as a receiver with several brokers does."""

    def __init__(self, ports, keys):
        self.ports, self.keys, self.session = list(ports), keys, f"ledger-{ports[0]}"
        self.subscriber = None
        self.listen()

    def listen(self):
        waitUntil(self._isListening, "a subscription")

    def _isListening(self):
        port = self.ports[0]
        subscriber = Subscriber(port, ("cellslot/1/+/slot/+/event", "cellslot/1/+/result"), self.keys.operator(),
                                self.session, extra=("-c",))
        if self.subscriber:
            subscriber.messages = self.subscriber.messages
        self.subscriber = subscriber
        if subscriber.waitSubscribed():
            return True
        subscriber.end()
        while subscriber.take():
            pass  # it has acknowledged these
        self.ports.append(self.ports.pop(0))
        return False

    def messages(self, gateway):
        return [(topic, json.loads(text)) for topic, text in self.subscriber.messages
                if topic.startswith(f"cellslot/1/{gateway}/")]

    def mark(self):
        return len(self.subscriber.messages)

    def wait(self, gateway, condition, what, since=0):
        """The first message since the mark for which the condition holds."""
        end, at = time.monotonic() + LIMIT_S, since
        while True:
            while at < len(self.subscriber.messages):
                topic, text = self.subscriber.messages[at]
                at += 1
                if topic.startswith(f"cellslot/1/{gateway}/") and condition(json.loads(text)):
                    return json.loads(text)
            if not self.subscriber.take():
                self.subscriber.end()
                self.listen()
            if time.monotonic() > end:
                raise AssertionError(f"no {what} of {gateway} in {self.session}: {self.messages(gateway)[-5:]}, "
                                     f"{self.subscriber.said[-5:]}")

    def waitEvent(self, gateway, kind, since=0):
        return self.wait(gateway, lambda message: message.get("kind") == kind, f"event '{kind}'", since)

    def streams(self, gateway):
        """Numbers of each stream, with what came under them."""
        streams = {}
        for topic, message in self.messages(gateway):
            stream, _, number = message["id"].rpartition("-")
            streams.setdefault(stream, {}).setdefault(int(number), set()).add((topic, json.dumps(message)))
        return streams

    def end(self):
        self.subscriber.end()


class EndToEnd(FleetCase):
    names = NAMES
    addresses = [deskAddress(number) for number in range(1, len(NAMES) + 1)]
    ledgerPorts = None  # the operators' own

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.ledgers = []
        ports = cls.ledgerPorts or (cls.broker.operatorPort,)
        for first in range(len(ports)):
            cls.ledgers.append(Ledger(ports[first:] + ports[:first], cls.keys))
            cls.addClassCleanup(cls.ledgers[-1].end)
        cls.ledger = cls.ledgers[0]
        cls.gateways = {}
        for number, name in enumerate(cls.names, 1):
            cls.gateways[name] = FleetGateway(number, name, cls.broker, cls.keys)
            cls.addClassCleanup(cls.gateways[name].end)
        for gateway in cls.gateways.values():
            gateway.begin()

    def setUp(self):
        for gateway in self.gateways.values():
            gateway.call("waitConnected")
        self.waitFleet(lambda gateway: gateway["online"] and gateway["state"] == "connected")

    def tearDown(self):
        self.assertLedgersAreWhole()

    def brokersForDesk(self):
        return [] if self.ledgerPorts is None else ["--broker", ",".join(f"localhost:{port}" for port in CLUSTER_PORTS)]

    def fleet(self):
        return {gateway["name"]: gateway
                for gateway in json.loads(self.ask("status", "--json", *self.brokersForDesk()))["gateways"]}

    def waitFleet(self, condition):
        """Until the desk sees all three so."""
        def isSo():
            fleet = self.fleet()
            return set(fleet) == set(self.names) and all(map(condition, fleet.values()))
        waitUntil(isSo, "such a fleet")

    def send(self, *words, status=0):
        """The answers, by the gateway's name."""
        text = self.ask("send", *words, "--yes", *self.brokersForDesk(), status=status)
        return {name: rest for name, _, rest in (line.partition(": ") for line in text.splitlines())
                if name in self.names}

    def assertLedgersAreWhole(self):
        """After a last event of each gateway: no number is missing, and what came twice is the same."""
        for ledger in self.ledgers:
            for name, gateway in self.gateways.items():
                mark = ledger.mark()
                gateway.killAgent()
                gateway.startAgent()
                ledger.waitEvent(name, "agent", mark)
                streams = ledger.streams(name)
                self.assertEqual(len(streams), 1, f"{ledger.session}: {name}: {list(streams)}")
                for stream, numbers in streams.items():
                    self.assertEqual(sorted(numbers), list(range(1, max(numbers) + 1)),
                                     f"{ledger.session}: {name}: {stream}")
                    for number, texts in numbers.items():
                        self.assertEqual(len(texts), 1, f"{name}: {stream}-{number}: {texts}")


class Operation(EndToEnd):
    def test_RegistrationDenied_OnlyThatOneIsOutWithItsCauseUntilItReturns(self):
        mark = self.ledger.mark()
        self.gateways["pump-2"].register("denied")
        self.assertIn("denied", self.ledger.waitEvent("pump-2", "offline", mark)["text"].lower())
        waitUntil(lambda: self.fleet()["pump-2"]["state"] == "not_connected", "the outage at the desk")
        fleet = self.fleet()
        self.assertEqual([fleet[name]["state"] for name in self.names], ["connected", "not_connected", "connected"])
        self.assertRegex(self.ask("status", "--state", "error"), "(?s)pump-2.*denied")
        mark = self.ledger.mark()
        self.gateways["pump-2"].register("home")
        self.assertIn("without a connection", self.ledger.waitEvent("pump-2", "online", mark)["text"])
        self.waitFleet(lambda gateway: gateway["state"] == "connected")

    def test_DataOffAndAuto_AllDoIt(self):
        for name, text in self.send("pump-*", "data", "off").items():
            self.assertRegex(text, "^done: .*DISCONNECTED", name)
        self.waitFleet(lambda gateway: gateway["state"] == "data_off")
        answers = self.send("pump-*", "data", "auto")
        self.assertEqual(sorted(answers), list(self.names))
        self.waitFleet(lambda gateway: gateway["state"] == "connected")

    def test_Doctor_FindsNothingAtAny(self):
        answers = self.send("pump-*", "doctor")
        self.assertEqual(sorted(answers), list(self.names))
        for text in answers.values():
            self.assertRegex(text, "^done")

    def test_CommandThatIsNotAllowed_EachRefuses(self):
        answers = self.send("pump-*", "at", "AT+CSQ", status=1)
        self.assertEqual(sorted(answers), list(self.names))
        for text in answers.values():
            self.assertRegex(text, "^refused: .*COMMANDS")


class Disturbances(EndToEnd):
    def configFile(self, name, **changes):
        file = self.folder / f"{name}.conf"
        file.write_text(self.gateways[self.names[0]].call("settings", changes))
        return file

    def test_ConfigurationWithoutALine_IsRolledBackWhileTheOthersConfirmTheirs(self):
        good, bad = self.configFile("good", CM_MTU="1400"), self.configFile("bad", CM_SIM_SLOT="2")
        old = self.gateways["pump-2"].call("waitNoChange")
        wrong = self.start("send", "pump-2", "config", bad, "--confirm", SHORTEST_CONFIRM_S, *self.brokersForDesk())
        for name, text in self.send("pump-1", "pump-3", "config", good, "--confirm", LIMIT_S).items():
            self.assertRegex(text, "^confirmed", name)
            self.assertEqual(self.gateways[name].call("waitNoChange"), good.read_text())
        out, err = wrong.communicate(timeout=LIMIT_S)
        self.assertEqual(wrong.returncode, 1, out + err)
        self.assertIn("pump-2: rolled_back: ", out)
        self.assertEqual(self.gateways["pump-2"].call("waitNoChange"), old)
        self.waitFleet(lambda gateway: gateway["online"] and gateway["state"] == "connected")

    def test_BrokerRestarted_AllAreBackAndTakeCommands(self):
        mark = self.ledger.mark()
        self.broker.restart()
        self.gateways["pump-3"].register("denied")
        self.ledger.waitEvent("pump-3", "offline", mark)
        self.gateways["pump-3"].register("home")
        self.waitFleet(lambda gateway: gateway["online"] and gateway["state"] == "connected")
        self.assertEqual(sorted(self.send("pump-*", "doctor")), list(self.names))

    def test_AgentKilledAHundredTimesAmongEvents_NoNumberIsMissing(self):
        seed = int(os.environ.get("CELLSLOT_SEED", time.time()))
        print("CELLSLOT_SEED", seed)
        chance, gateway = random.Random(seed), self.gateways["pump-1"]
        for kill in range(KILLS):
            mark = self.ledger.mark()
            if kill % 25 == 0:
                # One that has looked before sees the change; what ends it comes while it sends that.
                state, kind = (("denied", "offline"), ("home", "online"))[kill // 25 % 2]
                gateway.register(state)
                self.ledger.waitEvent("pump-1", kind, mark)
            mark = self.ledger.mark()
            gateway.killAgent()
            gateway.startAgent()
            if kill % 25 == 24:
                self.ledger.waitEvent("pump-1", "followed", mark)
            elif chance.random() < 0.5:
                self.ledger.wait("pump-1", lambda message: "kind" in message, "event", mark)
            # At any moment of its start, and of what it sends then.
            time.sleep(chance.random() * 0.6)
        gateway.register("home")


class ClusterOperation(Operation):
    brokerClass = Cluster
    ledgerPorts = CLUSTER_PORTS


class ClusterDisturbances(EndToEnd):
    brokerClass = Cluster
    ledgerPorts = CLUSTER_PORTS

    def test_NodeKilledAndBroughtBackFiveTimesAmongEvents_NoNumberIsMissing(self):
        # One gateway loses its registration and another its agent while a node is away; commands arrive all the same.
        for index in (0, 1, 2, 0, 1):
            self.broker.waitWhole()
            self.broker.lose(index)
            self.gateways["pump-2"].killAgent()
            self.gateways["pump-2"].startAgent()
            self.broker.waitReady()
            self.register("denied", "offline")
            self.waitFleet(lambda gateway: gateway["online"])
            self.register("home", "online")
            self.assertEqual(sorted(self.send("pump-*", "doctor")), list(self.names))
            self.broker.bringBack(index)
            # Not the state: of a modem that goes on changing it comes after pauses of minutes.
            self.waitFleet(lambda gateway: gateway["online"])

    def register(self, state, kind):
        """Each ledger gets the event; one whose node is gone is at another one by then."""
        marks = [ledger.mark() for ledger in self.ledgers]
        self.gateways["pump-1"].register(state)
        for ledger, mark in zip(self.ledgers, marks):
            ledger.waitEvent("pump-1", kind, mark)


del EndToEnd, FleetCase

if __name__ == "__main__":
    runTests()
