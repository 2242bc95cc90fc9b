"""Somebody stops the service, whatever the modem does just then: the daemon ends in time by itself, and
leaves nothing behind."""

import time

from gateway_case import NUMBER, ModemCase, awaitConnected, awaitExchange, exchanges, serviceShows
from machine import PATIENCE

# What the service gives a stop (TimeoutStopSec) is three times what most of these need.
STOP_S = 60
# The modem may take that long to accept a message.
SEND_S = 61
# The session is over as well: it outlives the registration for some seconds.
SEARCHING = ".*searching"


class Stopped(ModemCase):
    def setUp(self):
        self.machine.run("systemctl start cellslotd@1")
        awaitConnected(self.machine)

    def tearDown(self):
        self.machine.order(1, op="clear-faults")
        self.machine.order(1, op="set", registration={"state": "home"}, sim={"lock": False})
        self.machine.run("/bench/modem.py plug 1; rm -f /tmp/sms/send/*")

    def assertStopsWithin(self, seconds):
        begun = time.monotonic()
        self.machine.run("systemctl stop cellslotd@1", 200)
        took = time.monotonic() - begun
        self.report(f"{self._testMethodName}: {took:.0f} s;")
        # Killed after the time-out it would be "timeout".
        self.assertEqual(serviceShows(self.machine, "Result"), "success")
        self.assertEqual(serviceShows(self.machine, "ExecMainStatus"), "2")
        self.assertLess(took, seconds * PATIENCE)
        self.machine.waitFor("! pgrep -af '[c]ellslotd |[s]etup_cellint|[g]psdctl'", 20)
        self.assertNotIn("cell1", self.machine.run("ip route; cat /etc/resolv.conf"))

    def awaitState(self, pattern):
        """What the daemon last reported to systemd."""
        self.machine.waitFor(f"systemctl show --value -p StatusText cellslotd@1 | grep -xE '{pattern}'", 120)

    def delayAnswer(self, command, milliseconds=8000):
        """The modem takes its time for the next such command; returns how many there were before."""
        self.machine.order(1, op="fault", prefix=command, kind="delay", delay_ms=milliseconds, count=1)
        return exchanges(self.machine, command)

    def test_Connected(self):
        self.awaitState("registered, .*, connected .*")
        self.assertStopsWithin(STOP_S)

    def test_Unplugged(self):
        self.machine.run("/bench/modem.py unplug 1")
        self.awaitState("no modem at .*")
        self.assertStopsWithin(STOP_S)

    def test_InASetUp(self):
        # The operators' names, which a set-up may wait for.
        before = self.delayAnswer("AT+COPN")
        self.machine.run("systemctl restart cellslotd@1", 200)
        awaitExchange(self.machine, "AT+COPN", before)
        self.awaitState("setting up the modem")
        self.assertStopsWithin(STOP_S)

    def test_WithoutANetwork(self):
        self.machine.order(1, op="set", registration={"state": "searching"})
        self.awaitState(SEARCHING)
        self.assertStopsWithin(STOP_S)

    def test_InTheStartOfASession(self):
        self.machine.order(1, op="set", registration={"state": "searching"})
        self.awaitState(SEARCHING)
        before = self.delayAnswer("AT+CGATT=1")
        self.machine.order(1, op="set", registration={"state": "home"})
        awaitExchange(self.machine, "AT+CGATT=1", before)
        self.assertStopsWithin(STOP_S)

    def test_LockedSim(self):
        self.machine.run("systemctl stop cellslotd@1", 200)
        self.machine.order(1, op="set", sim={"pin": "2468", "lock": True, "verified": False})
        self.machine.run("systemctl start cellslotd@1")
        self.awaitState("SIM waits for its PIN")
        self.assertStopsWithin(STOP_S)

    def test_SilentModem(self):
        self.machine.order(1, op="fault", prefix="AT", kind="silence")
        run = "_SYSTEMD_INVOCATION_ID=$(systemctl show --value -p InvocationID cellslotd@1)"
        self.machine.waitFor(f"journalctl -o cat {run}", 120, "Device not responding")
        self.assertStopsWithin(STOP_S)

    def test_WhileAMessageIsSent_TheMessageStays(self):
        before = exchanges(self.machine, "AT+CMGS=")
        self.machine.order(1, op="fault", kind="silence", prefix="AT+CMGS=", stage="data")
        self.machine.write("/tmp/sms/next", f"TO={NUMBER}\nMSG=Pump 3 stopped\n")
        self.machine.run("mv /tmp/sms/next /tmp/sms/send/pump")
        awaitExchange(self.machine, "AT+CMGS=", before)
        self.assertStopsWithin(SEND_S + STOP_S)
        self.assertEqual(self.machine.run("ls /tmp/sms/send"), "pump\n")
