"""The history as a package on the gateway: what happens to the modem is kept, the service does it within its
sandbox, and a power cut loses only what was not written yet."""

import json
import pathlib
import subprocess
import unittest

from gateway_case import RECEIVER, GatewayCase, awaitConnected, awaitNotConnected, startModem
from machine import ARCHITECTURE, BENCH
from neighbour_case import INSTALL, install

REPO = pathlib.Path(__file__).resolve().parents[2]
# What the package needs and the gateway's disk does not have.
LIBRARIES = ("libdbi1", "librrd8")
OWN = BENCH.parent / "history"
# A system call that the filter refuses ends the service, so that it cannot go unnoticed.
STRICT = "[Service]\nSystemCallErrorNumber=kill\n"
READ_S = 120
NATIVE = subprocess.run(["dpkg", "--print-architecture"], capture_output=True, text=True, check=True)


@unittest.skipUnless(ARCHITECTURE == NATIVE.stdout.strip(), "it is only built for this machine's processor")
class History(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        for old in OWN.glob("*.deb"):
            old.unlink()
        subprocess.run([REPO / "scripts/package_history.sh", "--output", OWN], check=True,
                       stdout=subprocess.DEVNULL)
        startModem(machine, **RECEIVER)
        machine.run("touch /run/poststart; mkdir -p /etc/systemd/system/cellslot-history.service.d")
        install(machine, *LIBRARIES)
        machine.write("/etc/systemd/system/cellslot-history.service.d/strict.conf", STRICT)
        file, = OWN.glob("*.deb")
        machine.write(f"/bench/{file.name}", file.read_bytes())
        machine.run(f"{INSTALL} /bench/{file.name}", 300)
        cls.report("history installed")
        awaitConnected(machine)

    def history(self, *words):
        """As an ordinary user reads it."""
        return json.loads(self.machine.run("runuser -u nobody -- cellslot history " + " ".join(words) +
                                           " -p 1 --json", READ_S))

    def awaitEvent(self, kind, count=1):
        self.machine.waitFor(f"[ $(cellslot history events -p 1 --csv | grep -c ',\"{kind}\",') -ge {count} ]", READ_S)

    def count(self, kind):
        return sum(event["kind"] == kind for event in self.history("events"))

    # In the order of their names: the power cut last.

    def test_1_Unplugged_IsAnOutage_AndPluggedInAgainAReset(self):
        self.awaitEvent("online")
        before = {kind: self.count(kind) for kind in ("online", "modem")}
        self.machine.run("/bench/modem.py unplug 1")
        awaitNotConnected(self.machine)
        self.machine.run("/bench/modem.py plug 1")
        awaitConnected(self.machine)
        self.awaitEvent("online", before["online"] + 1)
        self.awaitEvent("modem", before["modem"] + 1)
        outage = self.history("outages")[-1]
        self.assertNotEqual(outage["cause"], "")
        self.assertGreater(outage["to"], outage["from"])

    def test_2_Sandbox_DeniesNothing(self):
        journal = self.machine.run("journalctl -b -q -o cat -u cellslot-history.service")
        self.assertNotRegex(journal, "(?i)denied|not permitted|read-only|failed|killed")
        self.assertEqual(self.machine.run("systemctl show --value -p NRestarts cellslot-history.service"), "0\n")

    def test_3_PowerCut_KeepsWhatWasWritten(self):
        self.machine.run("systemctl restart cellslot-history.service")  # it writes at its end
        written = self.history()
        self.assertGreater(written["connected_s"], 0)
        events = self.history("events")
        self.machine.kill()
        self.machine.boot()
        after = self.history()
        self.assertGreaterEqual(after["known_s"], written["known_s"] - 60)
        self.assertGreaterEqual(after["connected_s"], written["connected_s"] - 60)
        kept = [event for event in self.history("events") if event in events]
        self.assertGreaterEqual(len(kept), len(events) - 3)
        self.assertEqual(self.machine.run("ls /var/lib/cellslot/history | grep -c damaged || true"), "0\n")
        startModem(self.machine, **RECEIVER)
        awaitConnected(self.machine)
        self.machine.waitFor("systemctl is-active cellslot-history.service", READ_S)


if __name__ == "__main__":
    unittest.main(verbosity=2)
