"""A modem whose ports have other numbers than the usual ones: the administrator writes them into
slots.conf, by docs/installation.md."""

import re

from book import Book
from gateway_case import PLACE, REMOTE, GatewayCase, awaitConnected, startModem
from position import positionOf

FIRST_START = Book("## First start\n")
COMPOSITION = "other"
# The document's line has no port numbers; those are the modem's.
SLOT = FIRST_START.line("1 usb").replace("1-1.2", "1-1")


class OtherComposition(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        # A receiver that is there needs no reset of the modem first.
        startModem(machine, composition=COMPOSITION, gps={"enabled": True, "track": [PLACE]})

    # In the order of their names.

    def test_1_PortsNotDescribed_AreReported(self):
        """Nobody listens at the usual number of the AT port."""
        self.machine.waitFor("cellslot status -p 1 || true", 120,
                             "The modem has not answered yet on /dev/cellslot/1-at")
        self.machine.waitFor("journalctl -u cellslotd@1 -o cat", 60, "Device not responding, closing port")
        self.assertIn("write its number into /etc/cellslot/slots.conf",
                      re.sub(r"\s+", " ", self.machine.run("cellslot doctor", check=False)[1]))

    def test_2_PortsOfSlotsConf_ConnectWithoutARestartOfTheService(self):
        process = self.machine.run("systemctl show --value -p MainPID cellslotd@1")
        at, gps = (self.number(role) for role in ("at", "gps"))
        self.machine.run(f"sed -i 's/^{SLOT}$/& {at} {gps}/' /etc/cellslot/slots.conf;"
                         f" grep -x '{SLOT} {at} {gps}' /etc/cellslot/slots.conf")
        self.machine.run(FIRST_START.command("udevadm trigger"))
        awaitConnected(self.machine)
        self.report("CONNECTED")
        self.assertEqual(self.machine.run("systemctl show --value -p MainPID cellslotd@1"), process)
        for role, number in (("at", at), ("gps", gps)):
            place = self.machine.run(f"udevadm info -q path /dev/cellslot/1-{role}")
            self.assertIn(f"/1-1/1-1:1.{number}/ttyUSB", place)

    def test_3_NetworkAndPositions_AreThere(self):
        self.assertIn(" 0% packet loss", self.machine.run(f"ping -c 3 -I cell1 {REMOTE}"))
        self.assertAlmostEqual(positionOf(self.machine)[0], PLACE[0], 3)

    def number(self, role):
        return self.machine.run(f"/bench/modem.py number 1 {role} --composition {COMPOSITION}").strip()
