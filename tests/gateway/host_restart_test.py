"""The host itself restarts, or is shut down, with a session up."""

import time

from gateway_case import RECEIVER, GatewayCase, awaitConnected, startModem


class HostRestart(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        # The journal of the boot before says how it ended.
        machine.run("mkdir -p /var/log/journal; systemctl restart systemd-journald; journalctl --flush")

    def connect(self):
        startModem(self.machine, **RECEIVER)
        awaitConnected(self.machine)

    def assertEndedWell(self):
        journal = self.machine.run("journalctl -b -1 -u cellslotd@1 -o cat --no-pager")
        self.assertIn("Exiting", journal)
        self.assertIn("Deactivated successfully", journal)
        self.assertNotRegex(journal, "timed out|SIGKILL")

    def test_RebootAndShutdown_EndTheDaemonInTimeAndItConnectsAgain(self):
        self.connect()
        begun = time.monotonic()
        self.machine.reboot()
        self.report(f"reboot with a session up: {time.monotonic() - begun:.0f} s;")
        self.assertEndedWell()
        self.connect()
        begun = time.monotonic()
        self.machine.shutDown(90)
        self.report(f"shutdown with a session up: {time.monotonic() - begun:.0f} s;")
        self.machine.boot()
        self.assertEndedWell()
