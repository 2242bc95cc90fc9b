"""The test bench itself: what other tests rely on when they cut the power."""

import threading
import time

from gateway_case import REMOTE, GatewayCase, awaitConnected, startModem
from machine import CommandFailed, MachineGone


class Bench(GatewayCase):
    def test_CommandThatFails_IsReportedWithItsOutput(self):
        with self.assertRaisesRegex(CommandFailed, "status 3\nwhy"):
            self.machine.run("echo why; exit 3")
        self.assertEqual(self.machine.run("echo why; exit 3", check=False), (3, "why\n"))

    def test_CommandThatHangs_IsKilledAndReported(self):
        with self.assertRaisesRegex(CommandFailed, "not done after"):
            self.machine.run("sleep 1000", timeout=2)
        self.assertEqual(self.machine.run("pgrep -x sleep", check=False)[0], 1)

    def test_PowerCut_KeepsWhatWasSyncedAndLosesWhatWasNot(self):
        self.machine.run("echo old >/root/kept; sync; echo new >/root/lost")
        self.machine.start("sleep 1000")
        self.machine.kill()
        with self.assertRaises(MachineGone):
            self.machine.run("true")
        self.machine.boot()
        self.assertEqual(self.machine.run("cat /root/kept"), "old\n")
        self.assertEqual(self.machine.run("cat /root/lost", check=False)[1].count("new"), 0)

    def test_MachineThatEndsByItself_IsNoticedAtOnce(self):
        threading.Timer(3, self.machine.process.terminate).start()
        begun = time.monotonic()
        with self.assertRaises(MachineGone):
            self.machine.run("sleep 1000", timeout=300)
        self.assertLess(time.monotonic() - begun, 60)
        self.machine.kill()
        self.machine.boot()

    def test_Reboot_EndsInANewBoot(self):
        before = self.machine.run("cat /proc/sys/kernel/random/boot_id")
        self.machine.reboot()
        self.assertNotEqual(self.machine.run("cat /proc/sys/kernel/random/boot_id"), before)


class InstalledGateway(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        startModem(machine)

    def test_GatewayThatIsSwitchedOn_ConnectsByItself(self):
        awaitConnected(self.machine)
        self.report("CONNECTED")
        self.assertIn(" 0% packet loss", self.machine.run(f"ping -c 3 -I cell1 {REMOTE}"))
        # Our unit says so, and nobody else here: not after the three minutes of a host that says nothing.
        self.assertEqual(self.machine.run("systemctl is-active cellslot-booted").strip(), "active")
        self.assertIn("File /var/run/poststart is present, system is up",
                      self.machine.run("journalctl -u cellslotd@1 -o cat"))
