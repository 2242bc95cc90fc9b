"""What the sandbox of the service lets the daemon do, and what it leaves open."""

import re

from gateway_case import (NUMBER, PLACE, RECEIVER, GatewayCase, awaitConnected, awaitOtherProcess,
                          serviceShows, startModem)
from position import positionOf

PIN, WRONG_PIN = "2468", "1357"
# The second line: the kernel's record of a refused system call, as printed and as audited. Not clone3:
# where namespaces are restricted systemd makes it unknown, and programs take clone instead.
DENIED = (r"permission denied|not permitted|read-only file system|status=31/SYS|"
          r"(type=1326|^SECCOMP )(?!.* syscall=435 )")


class Sandbox(GatewayCase):
    """Each thing that the daemon and its tools do outside the daemon, within the sandbox of the unit."""

    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        # The first modem of this boot, as in a gateway whose modem is plugged in last.
        machine.waitFor("systemctl is-active cellslotd@1", 60)
        cls.process = serviceShows(machine, "MainPID")
        machine.run(f"echo {WRONG_PIN} >/etc/vuk/cellular_cpin.1; chmod 600 /etc/vuk/cellular_cpin.1")
        startModem(machine, sim={"pin": PIN, "lock": True}, **RECEIVER)

    # In the order of their names: the SIM first, the end last.

    def test_1_FirstModemOfTheBoot_IsOpenedByTheDaemonThatWaitsForIt(self):
        self.machine.waitFor("cellslot status -p 1 || true", 60, "SIM")
        self.machine.waitFor("journalctl -u cellslotd@1 -o cat", 60, "Opened Char device")
        self.assertEqual(serviceShows(self.machine, "MainPID"), self.process)

    def test_2_WrongPin_IsRemovedFromItsFileAndTheRightOneUnlocks(self):
        self.machine.waitFor("[ ! -s /etc/vuk/cellular_cpin.1 ]", 90)
        self.machine.run(f"cellslot pin set <<<{PIN}")
        awaitConnected(self.machine)

    def test_3_Message_PassesEachWay(self):
        self.machine.order(1, op="inject-sms", **{"from": NUMBER, "text": "restart pump 3"})
        self.machine.waitFor("cat /tmp/sms/recv/*", 60, "restart pump 3")
        self.machine.run(f"cellslot sms send --wait {NUMBER} 'Pump 3 stopped'", 90)

    def test_3_InterfaceAndNameServers_AreSet(self):
        self.assertIn("dev cell1", self.machine.run("ip route show default"))
        self.assertIn("# cellslot cell1 begin", self.machine.run("cat /etc/resolv.conf"))
        # Of --ipv6auto.
        self.assertEqual(self.machine.run("cat /proc/sys/net/ipv6/conf/cell1/accept_ra"), "2\n")

    def test_3_Store_HoldsTheState(self):
        self.assertIn("CONNECTED", self.machine.run("skvs get CELLMODEM1_QMI_STATE"))

    def test_3_Clock_IsSetToTheNetworks(self):
        self.machine.waitFor("journalctl -u cellslotd@1 -o cat", 60, "Success updating system date/time")

    def test_3_Positions_ReachGpsd(self):
        self.assertAlmostEqual(positionOf(self.machine)[0], PLACE[0], 3)

    def test_3_CommandOfAnOperator_IsAnsweredAndLogged(self):
        self.machine.run("cellslot at AT+CSQ", 60)
        self.assertIn("AT+CSQ", self.machine.run("cat /storage/vault/system/logs/at_cmdlog.txt"))

    def test_4_KeepAlive_MayPing(self):
        """The ping comes after five minutes; here it is run in a copy of the unit."""
        self.machine.run(r"""
            sed '/^Exec/d; /^Environment/d; /^Watchdog/d; /^Restart/d; s/^Type=.*/Type=oneshot/
                s|^\[Install\]|[Service]\nExecStart=/bin/sh -c "ping -c 1 -I cell1 1.2.3.4 \&>/run/pinged"|' \
                /lib/systemd/system/cellslotd@.service >/run/systemd/system/copy@.service
            systemctl daemon-reload; systemctl start copy@1 || { cat /run/pinged; false; }""")
        self.assertIn(" 0% packet loss", self.machine.run("cat /run/pinged"))

    def test_5_FirmwareTrigger_IsReportedAndAModemThatRefusesIsReset(self):
        """The reset goes through /sys: the USB port's authorisation."""
        process = serviceShows(self.machine, "MainPID")
        self.machine.order(1, op="fault", match="AT#REBOOT", kind="error")
        self.machine.run("mkdir -p /tmp/cellmodem_firmware; touch /tmp/cellmodem_firmware/start_update.1")
        awaitOtherProcess(self.machine, process, 120)
        self.machine.order(1, op="clear-faults")
        self.assertIn("to start firmware update",
                      self.machine.run("cat /storage/cellmodem.firmware.upd.status.1"))
        self.machine.waitFor("journalctl -k -o cat", 60, "authorized to connect")
        awaitConnected(self.machine)

    def test_9_Journal_HasNoDenial(self):
        self.assertEqual(self.denials(), [])
        # Such a record would be there.
        self.machine.run("systemd-run --quiet --wait -p SystemCallFilter='~mkdir mkdirat'"
                         " -p SystemCallErrorNumber=EPERM mkdir /root/made", check=False)
        self.assertNotEqual(self.denials(), [])

    def denials(self):
        journal = self.machine.run("journalctl -b -o cat --no-pager")
        return [line for line in journal.splitlines() if re.search(DENIED, line, re.I)]

    def test_9_Exposure_IsAtMostThree(self):
        self.machine.run("systemd-analyze security --threshold=30 cellslotd@1", 90)
