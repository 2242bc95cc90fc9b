"""A gateway with a simulated modem, the daemon and the agent, in the namespaces that scripts/private_namespace.sh made
for it: executes the calls that come as lines of JSON, and answers each with a line. FleetGateway starts it."""

import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "agent"))

from agent_services import CHANGES, CONFIG, Agent, Changer, RootSocket, freshAgent  # noqa: E402
from gateway import CONFIG as SETTINGS  # noqa: E402
from gateway import LogCatcher, Slot, freshHost, waitUntil  # noqa: E402

FILE = pathlib.Path("/etc/vuk/cellular1.conf")


class Host:
    def __init__(self):
        freshHost()
        freshAgent()
        self.log = LogCatcher()
        self.slot = Slot(1)
        self.slot.configure()
        self.slot.startSim()
        self.slot.startDaemon()
        self.agent = Agent()
        self.root = RootSocket()
        self.changer = Changer()

    def startAgent(self, config=None):
        if config is not None:
            CONFIG.write_text(config)
        self.agent.start()

    def killAgent(self):
        self.agent.kill()

    def agentLog(self):
        return self.agent.log()

    def order(self, request):
        self.slot.order(**request)

    def waitConnected(self):
        self.slot.waitConnected()

    @staticmethod
    def settings(changes):
        """The slot's file with these settings."""
        return "".join(f"{key}={value}\n" for key, value in {**SETTINGS, **changes}.items())

    @staticmethod
    def waitNoChange():
        """The slot's file once no change is pending."""
        waitUntil(lambda: not (CHANGES / "pending").exists(), lambda: "a change is still pending")
        return FILE.read_text()


def main():
    host = Host()
    for line in sys.stdin:
        call = json.loads(line)
        try:
            answer = {"value": getattr(host, call["call"])(*call["words"])}
        except (AssertionError, OSError) as error:
            answer = {"error": repr(error)}
        print(json.dumps(answer), flush=True)


if __name__ == "__main__":
    main()
