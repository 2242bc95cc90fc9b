"""The first start of a gateway, by docs/installation.md: an administrator follows it, and then the
modem is connected."""

import json

from book import Book
from gateway_case import (NUMBER, PLACE, REMOTE, GatewayCase, awaitConnected, awaitNotConnected,
                          startModem)
from position import positionOf

PIN = "2468"
INSTALL = Book("# Installation\n")
FIRST_START = Book("## First start\n")

# The administrator's hand: "editor FILE" changes a line or adds it.
EDITOR = """\
#!/bin/sh
sed -i 's/^CM_APN=.*/CM_APN=internet/; s/^CM_ENABLE_INTERFACE=.*/CM_ENABLE_INTERFACE=yes/' "$1"
"""


class FirstStart(GatewayCase):
    @classmethod
    def setUpMachine(cls, machine):
        # The modem is built in; its SIM is locked.
        startModem(machine, sim={"pin": PIN, "lock": True})
        machine.write("/usr/local/bin/editor", EDITOR)
        machine.run("chmod +x /usr/local/bin/editor")
        cls.install(machine)
        cls.describeSlots(machine)
        cls.nameInterface(machine)
        cls.configure(machine)
        cls.start(machine)

    @classmethod
    def install(cls, machine):
        # The package was built on another machine.
        machine.run(INSTALL.command("apt install").replace("./build/packages/", "/bench/"), 180)
        cls.report("installed")

    @classmethod
    def describeSlots(cls, machine):
        line = FIRST_START.line("1 usb").replace("1-1.2", "1-1")
        machine.run(f"echo '{line}' >>/etc/cellslot/slots.conf")
        machine.run(FIRST_START.command("udevadm trigger"))
        machine.waitFor(FIRST_START.command("ls -l /dev/cellslot"), 20, "1-gps")

    @classmethod
    def nameInterface(cls, machine):
        machine.run("sed -i 's/^INTERFACE=.*/INTERFACE=cell1/' /etc/default/cellslotd.1")
        # "at the next start of the modem"
        machine.order(1, op="restart")
        machine.waitFor("ls /sys/class/net", 60, "cell1")

    @classmethod
    def configure(cls, machine):
        machine.run(FIRST_START.command("install -m 600"))
        machine.run(FIRST_START.command("editor"))
        cls.check = machine.run(FIRST_START.command("cellslot config check"), check=False)
        machine.run(FIRST_START.command("cellslot pin set") + f" <<<{PIN}")

    @classmethod
    def start(cls, machine):
        machine.run(FIRST_START.command("systemctl enable --now"))
        cls.report("READY")
        awaitConnected(machine)
        cls.report("CONNECTED")

    def test_EveryCommandOfTheDocument_WasRun(self):
        FIRST_START.command("systemctl status")
        FIRST_START.command("cellslot status")
        FIRST_START.command("cellslot doctor")
        self.assertEqual(FIRST_START.left, set())

    def test_PortsOfTheModem_HaveTheirNamesBySlot(self):
        for role in ("at", "gps"):
            number = self.machine.run(f"/bench/modem.py number 1 {role}").strip()
            place = self.machine.run(f"udevadm info -q path /dev/cellslot/1-{role}")
            self.assertIn(f"/1-1/1-1:1.{number}/ttyUSB", place)

    def test_ConfigurationOfTheExample_HasNoFinding(self):
        status, output = self.check
        self.assertEqual(status, 0, output)

    def test_Service_IsActiveAndStartsWithTheHost(self):
        self.assertEqual(self.machine.run("systemctl is-active cellslotd@1").strip(), "active")
        self.assertEqual(self.machine.run("systemctl is-enabled cellslotd@1").strip(), "enabled")
        self.assertEqual(self.machine.run("systemctl --failed --no-legend"), "")

    def test_StatusLine_SaysRegisteredAndConnected(self):
        status = self.machine.run(FIRST_START.command("systemctl status"))
        self.assertRegex(status, r'Status: "registered, LTE B4, connected (less than 1|\d+) min"')

    def test_Doctor_FindsNothingBroken(self):
        output = self.machine.run(FIRST_START.command("cellslot doctor"))
        self.assertIn("0 broken", output)

    def test_Ping_PassesThroughTheModemsInterface(self):
        self.assertIn("cdc_ncm", self.machine.run("readlink /sys/class/net/cell1/device/driver"))
        output = self.machine.run(f"ping -c 3 -I cell1 {REMOTE}")
        self.assertIn(" 0% packet loss", output)

    def test_DefaultRouteAndNameServers_AreTheModems(self):
        self.assertIn("dev cell1", self.machine.run("ip route show default"))
        self.assertIn("nameserver", self.machine.run("cat /etc/resolv.conf"))

    def test_MessageToTheGateway_IsDelivered(self):
        self.machine.order(1, op="inject-sms", **{"from": NUMBER, "text": "restart pump 3"})
        output = self.machine.waitFor("cat /tmp/sms/recv/*", 60, "restart pump 3")
        self.assertIn(NUMBER, output)

    def test_MessageOfTheGateway_IsSent(self):
        self.machine.run(f"cellslot sms send --wait {NUMBER} 'Pump 3 stopped'", 90)
        sent = [entry for entry in map(json.loads, self.machine.read("/bench/log/modem1.log").splitlines())
                if entry["event"] == "sms sent"]
        self.assertEqual([(entry["number"], entry["text"]) for entry in sent],
                         [(NUMBER, "Pump 3 stopped")])

    def test_ClientOfGpsd_GetsThePosition(self):
        latitude, longitude = positionOf(self.machine)
        self.assertAlmostEqual(latitude, PLACE[0], 3)
        self.assertAlmostEqual(longitude, PLACE[1], 3)

    # Runs last, by its name.
    def test_UnpluggedThreeTimes_ConnectsAgainEachTime(self):
        for _ in range(3):
            self.machine.run("/bench/modem.py unplug 1")
            awaitNotConnected(self.machine)
            self.machine.run("/bench/modem.py plug 1")
            awaitConnected(self.machine)
        self.assertIn(" 0% packet loss", self.machine.run(f"ping -c 3 -I cell1 {REMOTE}"))
        self.assertEqual(self.machine.run("pgrep -c -x cellslotd"), "1\n")

    def test_SimulatedModem_KnewEveryCommand(self):
        self.assertEqual(self.machine.order(1, op="dump")["state"]["problems"], [])
