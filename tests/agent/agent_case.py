"""What the tests of the agent share: a gateway with a connected modem, a broker, an operator, the agent, and
what systemd does for its services."""

import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))

from gateway import BIN, LIMIT_S, WORK, LogCatcher, Slot, freshHost, waitUntil  # noqa: E402,F401
from agent_services import CHANGES, CONFIG, RUN, STORE, Agent, Changer, RootSocket, freshAgent  # noqa: E402,F401
from broker import GATEWAY, Broker, Operator  # noqa: E402


class AgentCase(unittest.TestCase):
    commands = ""
    settings = ""

    def setUp(self):
        freshHost()
        freshAgent()
        self.addCleanup(subprocess.run, ["umount", "/var/lib"], check=True)
        log = LogCatcher()
        self.addCleanup(log.close)
        self.broker = Broker(WORK / "broker")
        self.broker.start()
        self.addCleanup(self.broker.stop)
        self.slot = self.startSlot(1)
        self.configure()
        self.agent = Agent()
        self.addCleanup(self.agent.kill)
        self.root = RootSocket()
        self.addCleanup(self.root.close)

    def startSlot(self, number):
        slot = Slot(number)
        self.addCleanup(slot.end)
        slot.configure()
        slot.startSim()
        slot.startDaemon()
        slot.waitConnected()
        return slot

    def configure(self, commands=None, settings=None):
        folder = self.broker.folder
        CONFIG.write_text(f"BROKER=localhost:{self.broker.port}\nGATEWAY={GATEWAY}\nCA_FILE={folder}/ca.crt\n"
                          f"CERT_FILE={folder}/gateway.crt\nKEY_FILE={folder}/gateway.key\n"
                          f"COMMANDS={self.commands if commands is None else commands}\n"
                          f"{self.settings if settings is None else settings}\n")

    def withoutRights(self):
        """The words that start a program as a user that may do nothing, as the unit does."""
        for path in (STORE, RUN):
            shutil.chown(path, "nobody", "nogroup")
        self.broker.folder.joinpath("gateway.key").chmod(0o644)
        pathlib.Path("/run/cellslot-agent-commands").chmod(0o666)
        return ["setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "--no-new-privs",
                "--bounding-set=-all", "--inh-caps=-all"]

    def listen(self):
        operator = Operator(self.broker)
        self.addCleanup(operator.end)
        return operator

    def assertLedgerIsWhole(self, operator, streams=1):
        """No number is missing, and what came twice under a number is the same."""
        ledger = operator.ledger()
        self.assertEqual(len(ledger), streams, ledger.keys())
        for stream, numbers in ledger.items():
            self.assertEqual(sorted(numbers), list(range(1, max(numbers) + 1)), stream)
            for number, texts in numbers.items():
                self.assertEqual(len(texts), 1, f"{stream}-{number}: {texts}")


def runTests():
    unittest.main(verbosity=2)
