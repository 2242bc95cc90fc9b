"""The operator's desk as a package: cellslot-fleet.service in its sandbox, which denies it nothing that it needs, with
a broker and a gateway's states beside it. The machine is a Debian; it needs neither a modem nor the daemon."""

import json
import pathlib
import re
import subprocess
import sys
import unittest

from gateway_case import GatewayCase
from machine import ARCHITECTURE, BENCH
from neighbour_case import INSTALL, install

REPO = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(REPO / "tests/fleet"))

from gateways import offline, online, slotStatus  # noqa: E402

LIBRARIES = ("curl", "libmicrohttpd12", "libmosquitto1", "mosquitto", "mosquitto-clients", "openssl")
OWN = BENCH.parent / "fleet"
UNIT = "cellslot-fleet.service"
# A system call that the filter refuses ends the service, so that it cannot go unnoticed.
STRICT = "[Service]\nSystemCallErrorNumber=kill\n"
NATIVE = subprocess.run(["dpkg", "--print-architecture"], capture_output=True, text=True, check=True)
URL = "http://127.0.0.1:8089"
KEYS = "/etc/cellslot/keys"
EXAMPLES = "/usr/share/doc/cellslot-fleet/examples"
# As README.md of the examples has it.
MAKE_KEYS = f"""
{EXAMPLES}/keys.sh {KEYS} broker localhost && {EXAMPLES}/keys.sh {KEYS} operator operator monitoring &&
{EXAMPLES}/keys.sh {KEYS} gateway pump-1 pump-2 && {EXAMPLES}/keys.sh {KEYS} psk pump-1
mkdir -p /etc/mosquitto/fleet && cd {KEYS} && cp ca.crt operators-ca.crt gateways.crl gateways.psk /etc/mosquitto/fleet/
cp brokers/localhost.crt /etc/mosquitto/fleet/broker.crt && cp brokers/localhost.key /etc/mosquitto/fleet/broker.key
cp {EXAMPLES}/mosquitto/acl /etc/mosquitto/fleet/ && touch /etc/mosquitto/fleet/passwords
chown -R mosquitto /etc/mosquitto/fleet && cp {EXAMPLES}/mosquitto/mosquitto.conf /etc/mosquitto/mosquitto.conf
cd {KEYS} && chmod 755 . && chgrp -R cellslot-fleet operators && chmod 750 operators && chmod 640 operators/*
systemctl restart mosquitto.service
"""
GOOD = f"""
BROKER=localhost:8886
CA_FILE={KEYS}/ca.crt
CERT_FILE={KEYS}/operators/monitoring.crt
KEY_FILE={KEYS}/operators/monitoring.key
"""
ANSWER_S = 120


@unittest.skipUnless(ARCHITECTURE == NATIVE.stdout.strip(), "it is only built for this machine's processor")
class Desk(GatewayCase):
    @classmethod
    def setUpMachine(cls, machine):
        for old in OWN.glob("*.deb"):
            old.unlink()
        subprocess.run([REPO / "scripts/setup_mqtt.sh"], check=True)
        subprocess.run([REPO / "scripts/setup_web.sh"], check=True)
        subprocess.run([REPO / "scripts/package_fleet.sh", "--output", OWN], check=True, stdout=subprocess.DEVNULL)
        install(machine, *LIBRARIES)
        folder = f"/etc/systemd/system/{UNIT}.d"
        machine.run(f"mkdir -p {folder}")
        machine.write(f"{folder}/strict.conf", STRICT)
        file, = OWN.glob("*.deb")
        machine.write(f"/bench/{file.name}", file.read_bytes())
        machine.run(f"{INSTALL} /bench/{file.name}", 300)
        machine.run(MAKE_KEYS, 120)
        cls.report("fleet installed")
        cls.say(machine, "pump-1", online(), slotStatus())
        cls.say(machine, "pump-2", offline(), slotStatus())

    @staticmethod
    def say(machine, name, availability, status):
        for topic, text in (("availability", availability), ("slot/1/status", status)):
            machine.write("/bench/text", text)
            machine.run(f"mosquitto_pub -h localhost -p 8883 --cafile {KEYS}/ca.crt --cert {KEYS}/gateways/{name}.crt"
                        f" --key {KEYS}/gateways/{name}.key -i {name} -q 1 -r -t cellslot/1/{name}/{topic}"
                        " -f /bench/text")

    def setUp(self):
        self.machine.write("/etc/cellslot/fleet.conf", GOOD)

    def shows(self, name):
        return self.machine.run(f"systemctl show --value -p {name} {UNIT}").strip()

    def journal(self, *options):
        return self.machine.run(f"journalctl -b -q -o cat -u {UNIT} {' '.join(options)}")

    def awaitAnswer(self, path="/api/fleet", text="pump-2"):
        self.machine.waitFor(f"curl -s --compressed '{URL}{path}'", ANSWER_S, text)
        return self.machine.run(f"curl -s --compressed '{URL}{path}'")

    # In the order of their names: the first finds the service as the package leaves it.

    def test_1_Installed_RunsOnlyWhenItIsEnabled(self):
        self.assertEqual(self.shows("ActiveState"), "inactive")
        self.assertEqual(self.shows("UnitFileState"), "disabled")
        self.machine.run(f"systemctl enable --now {UNIT}")
        fleet = json.loads(self.awaitAnswer())["gateways"]
        self.assertEqual([(one["name"], one["online"]) for one in fleet], [("pump-2", False), ("pump-1", True)])
        self.assertIn('cellslot_gateway_online{gateway="pump-1"} 1', self.awaitAnswer("/metrics", "cellslot_gateway"))
        self.assertIn("<!DOCTYPE html>", self.awaitAnswer("/", "script"))
        listening = self.machine.run("ss -Hltn 'sport = :8089'").split()[3]
        self.assertEqual(listening, "127.0.0.1:8089")
        self.assertEqual(self.journal("-p", "warning"), "")

    def test_2_Sandbox_LeavesItNothingElse(self):
        self.machine.run(f"systemctl restart {UNIT}")
        self.awaitAnswer()
        process = self.shows("MainPID")
        status = self.machine.run(f"cat /proc/{process}/status")
        for line in (r"CapEff:\s+0{16}", r"CapBnd:\s+0{16}", r"NoNewPrivs:\s+1", r"Seccomp:\s+2"):
            self.assertRegex(status, line)
        user = re.search(r"Uid:\s+(\d+)", status)[1]
        self.assertEqual(user, self.machine.run("id -u cellslot-fleet").strip())
        inside = f"nsenter -t {process} -m setpriv --reuid={user} --regid={user} --clear-groups"
        for file in ("/etc/cellslot/fleet-page.password", "/etc/cellslot/fleet-page.key", f"{KEYS}/ca.key"):
            self.assertNotEqual(self.machine.run(f"{inside} cat {file}", check=False)[0], 0, file)
        for place in ("/etc", "/var/log", "/run", "/usr", "/var/lib"):
            self.assertNotEqual(self.machine.run(f"{inside} touch {place}/mark", check=False)[0], 0, place)
        shown = self.machine.run(f"systemd-analyze security --no-pager {UNIT} || true")
        level = float(re.search(r"Overall exposure level.*?: ([\d.]+)", shown)[1])
        self.report(f"exposure of {UNIT} is {level}; asked")
        self.assertLessEqual(level, 2.0, shown)

    def test_3_Killed_IsStartedAgain(self):
        self.machine.run(f"systemctl restart {UNIT}")
        self.awaitAnswer()
        before = self.shows("MainPID")
        self.machine.run(f"kill -KILL {before}")
        self.machine.waitFor(f"p=$(systemctl show --value -p MainPID {UNIT}); [ $p != 0 ] && [ $p != {before} ]",
                             ANSWER_S)
        self.awaitAnswer()

    def test_4_BrokerRestarted_IsAtItAgain(self):
        self.machine.run(f"systemctl restart {UNIT}")
        self.awaitAnswer()
        before = self.shows("MainPID")
        self.machine.run("systemctl stop mosquitto.service")
        self.awaitAnswer("/metrics", "cellslot_fleet_broker_connected 0")
        self.machine.run("systemctl start mosquitto.service")
        self.awaitAnswer("/metrics", "cellslot_fleet_broker_connected 1")
        self.assertEqual(self.shows("MainPID"), before)
        self.awaitAnswer()

    def test_5_WrongConfiguration_JournalSaysWhatAndWhere(self):
        self.machine.run(f"systemctl stop {UNIT}")
        for text, words in ((GOOD + "PASWORD_FILE=/x\n", r"/etc/cellslot/fleet\.conf.*\b6\b.*PASWORD_FILE"),
                            (GOOD.replace("BROKER=localhost:8886", ""), r"BROKER"),
                            (GOOD.replace("operators/monitoring.key", "nowhere.key"), r"KEY_FILE.*nowhere\.key")):
            self.machine.write("/etc/cellslot/fleet.conf", text)
            cursor = self.machine.run("journalctl -b -q -n 0 --show-cursor").split("cursor: ")[1].strip()
            self.machine.run(f"systemctl start {UNIT}")
            self.machine.waitFor(f"systemctl show --value -p Result {UNIT}", ANSWER_S, "exit-code")
            self.assertRegex(self.journal(f"--after-cursor='{cursor}'"), words)
            self.machine.run(f"systemctl stop {UNIT}; systemctl reset-failed {UNIT} || true")

    def test_6_Stopped_EndsAtOnceWithStatus0(self):
        self.machine.run(f"systemctl start {UNIT}")
        self.awaitAnswer()
        # A reader of the stream does not keep it.
        self.machine.start(f"curl -sN {URL}/api/events >/bench/stream")
        self.machine.waitFor("cat /bench/stream", ANSWER_S, "event: fleet")
        self.machine.run(f"systemctl stop {UNIT}", ANSWER_S)
        self.assertEqual((self.shows("ActiveState"), self.shows("Result"), self.shows("ExecMainStatus")),
                         ("inactive", "success", "0"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
