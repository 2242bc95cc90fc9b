"""Two modems, each with a daemon of its own."""

from gateway_case import (RECEIVER, REMOTE, GatewayCase, awaitConnected, awaitNotConnected,
                          configure, descriptors, startModem)


class TwoSlots(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        configure(machine, 2, CM_GPS_ENABLE="no")
        for slot in (1, 2):
            startModem(machine, slot, **RECEIVER)
        machine.run("systemctl start cellslotd@2")
        for slot in (1, 2):
            awaitConnected(machine, slot)

    def assertPingPasses(self, slot):
        self.assertIn(" 0% packet loss", self.machine.run(f"ping -c 2 -I cell{slot} {REMOTE}"))

    def test_OneUnplugged_TheOtherStaysConnected(self):
        before = [descriptors(self.machine, slot) for slot in (1, 2)]
        self.machine.run("/bench/modem.py unplug 2")
        awaitNotConnected(self.machine, 2)
        awaitConnected(self.machine, 1, 0)
        self.assertPingPasses(1)
        self.machine.run("/bench/modem.py plug 2")
        awaitConnected(self.machine, 2)
        self.assertPingPasses(2)
        self.assertEqual([descriptors(self.machine, slot) for slot in (1, 2)], before)
        journal = self.machine.run("journalctl -u cellslotd@1 -o cat")
        self.assertNotIn("hung up", journal)
        self.assertEqual(journal.count("SUCCESS Setting up interface"), 1)
