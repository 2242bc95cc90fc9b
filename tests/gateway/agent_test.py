"""The agent as a package on the gateway, with a broker beside it: in its sandbox, which denies it nothing that
it needs, it says how the modem is; root's service executes what is allowed; a configuration that does not
bring the line back is undone, over a power cut too."""

import json
import pathlib
import re
import subprocess
import time
import unittest

from gateway_case import RECEIVER, GatewayCase, awaitConnected, startModem
from machine import ARCHITECTURE, BENCH
from neighbour_case import INSTALL, install

REPO = pathlib.Path(__file__).resolve().parents[2]
LIBRARIES = ("libmosquitto1", "mosquitto", "mosquitto-clients", "openssl")
OWN = BENCH.parent / "agent"
# A system call that the filter refuses ends the service, so that it cannot go unnoticed.
STRICT = "[Service]\nSystemCallErrorNumber=kill\n"
NATIVE = subprocess.run(["dpkg", "--print-architecture"], capture_output=True, text=True, check=True)
KEYS = "/etc/cellslot/keys"
MAKE_KEYS = f"""
mkdir -p {KEYS} && cd {KEYS}
curve='-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes'
openssl req -x509 $curve -days 3000 -subj /CN=authority -addext basicConstraints=critical,CA:TRUE -keyout ca.key \
    -out ca.crt
printf 'subjectAltName=DNS:localhost\\n' >names
for name in localhost pump7 operator; do
    openssl req $curve -subj /CN=$name -keyout $name.key -out $name.csr
    openssl x509 -req -in $name.csr -CA ca.crt -CAkey ca.key -CAcreateserial -days 3000 -extfile names -out $name.crt
done
chmod 755 . && chmod 644 *.crt localhost.key operator.key && chgrp cellslot-agent pump7.key && chmod 640 pump7.key
"""
BROKER = f"""
listener 8883 127.0.0.1
cafile {KEYS}/ca.crt
certfile {KEYS}/localhost.crt
keyfile {KEYS}/localhost.key
require_certificate true
use_identity_as_username true
"""
AGENT = f"""
GATEWAY=pump7
BROKER=localhost
CA_FILE={KEYS}/ca.crt
CERT_FILE={KEYS}/pump7.crt
KEY_FILE={KEYS}/pump7.key
COMMANDS=doctor data config reload
"""
OPERATOR = f"-h localhost -p 8883 --cafile {KEYS}/ca.crt --cert {KEYS}/operator.crt --key {KEYS}/operator.key -q 1"
ANSWER_S = 180
CONFIRM_S = 60
UNITS = ("cellslot-agent.service", "cellslot-agent-commands@*", "cellslot-agent-change.service")


@unittest.skipUnless(ARCHITECTURE == NATIVE.stdout.strip(), "it is only built for this machine's processor")
class Agent(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        for old in OWN.glob("*.deb"):
            old.unlink()
        subprocess.run([REPO / "scripts/setup_agent.sh"], check=True)
        subprocess.run([REPO / "scripts/package_agent.sh", "--output", OWN], check=True, stdout=subprocess.DEVNULL)
        startModem(machine, **RECEIVER)
        machine.run("touch /run/poststart")
        install(machine, *LIBRARIES)
        folder = "/etc/systemd/system/cellslot-agent.service.d"
        machine.run(f"mkdir -p {folder}")
        machine.write(f"{folder}/strict.conf", STRICT)
        file, = OWN.glob("*.deb")
        machine.write(f"/bench/{file.name}", file.read_bytes())
        machine.run(f"{INSTALL} /bench/{file.name}", 300)
        machine.run(MAKE_KEYS, 120)
        machine.write("/etc/mosquitto/conf.d/gateways.conf", BROKER)
        machine.write("/etc/cellslot/agent.conf", AGENT)
        # What the operator sees, also of the time before a test asks.
        machine.run("systemctl enable mosquitto.service; systemctl restart mosquitto.service")
        machine.run("cellslot agent check")
        machine.run("systemctl restart cellslot-agent.service")
        cls.report("agent installed")
        awaitConnected(machine)

    def retained(self, topic):
        return json.loads(self.machine.run(f"mosquitto_sub {OPERATOR} -t cellslot/1/pump7/{topic} -C 1 -W {ANSWER_S}",
                                           ANSWER_S))

    def listen(self):
        """Keeps the results from here on, also over the end of the host."""
        self.machine.run(f"mosquitto_sub {OPERATOR} -i operator -c -t cellslot/1/pump7/result -E")

    def answers(self, count):
        lines = self.machine.run(f"mosquitto_sub {OPERATOR} -i operator -c -t cellslot/1/pump7/result -C {count}"
                                 f" -W {ANSWER_S}", ANSWER_S)
        return [json.loads(line) for line in lines.splitlines()]

    def send(self, number, do, **args):
        deadline = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(self.machine.run("date +%s")) + 3600))
        command = {"id": f"test-{number}", "by": "anna@desk", "deadline": deadline, "do": do, "args": args}
        self.machine.write("/bench/command", json.dumps(command))
        self.machine.run(f"mosquitto_pub {OPERATOR} -t cellslot/1/pump7/command -f /bench/command")

    def warnings(self):
        chosen = " ".join(f"-u '{unit}'" for unit in UNITS)
        return self.machine.run(f"journalctl -b -q -p warning -o cat {chosen}")

    def configuration(self):
        return self.machine.read("/etc/vuk/cellular1.conf").decode()

    # In the order of their names: the power cut last.

    def test_1_Connected_BrokerKnowsTheModem(self):
        self.machine.waitFor("cellslot agent status", ANSWER_S, "onnected")
        availability = self.retained("availability")
        self.assertTrue(availability["online"])
        slot = self.retained("slot/1/status")["slots"][0]
        self.assertEqual((slot["slot"], slot["state"]), (1, "connected"))
        # The configuration is root's alone; what is wanted is known all the same.
        self.assertEqual(slot["data"]["directive"], "on")
        self.assertEqual(self.warnings(), "")

    def test_2_AllowedCommand_IsExecutedByRootsService_AndOthersAreRefused(self):
        self.listen()
        self.send(1, "doctor")
        result, = self.answers(1)
        self.assertEqual((result["command"], result["status"], result["exit"]), ("test-1", "done", 0), result)
        # The service sees all that a shell of root's sees; ages and process numbers differ.
        output, shell = (re.sub(r"\d+ (s|min)\b|process \d+", "N", text)
                         for text in (result["output"], self.machine.run("cellslot doctor")))
        self.assertEqual(output, shell)
        self.assertRegex(output, r"^host\n(  ok .*\n)+slot 1\n(  ok .*\n)+0 broken, 0 notes\n$")
        self.send(2, "at", slot=1, command="AT+CSQ")
        result, = self.answers(1)
        self.assertEqual(result["status"], "refused", result)
        self.assertEqual(self.warnings(), "")

    def test_3_Sandbox_LeavesTheAgentNothingElse(self):
        process = self.machine.run("systemctl show --value -p MainPID cellslot-agent.service").strip()
        status = self.machine.run(f"cat /proc/{process}/status")
        for line in (r"CapEff:\s+0{16}", r"CapBnd:\s+0{16}", r"NoNewPrivs:\s+1", r"Seccomp:\s+2"):
            self.assertRegex(status, line)
        user = re.search(r"Uid:\s+(\d+)", status)[1]
        self.assertEqual(user, self.machine.run("id -u cellslot-agent").strip())
        inside = f"nsenter -t {process} -m setpriv --reuid={user} --regid={user} --clear-groups"
        for file in ("/etc/vuk/cellular1.conf", "/tmp/sms/recv/*", "/storage/*"):
            self.assertNotEqual(self.machine.run(f"{inside} sh -c 'cat {file}'", check=False)[0], 0, file)
        shown = self.machine.run("systemd-analyze security --no-pager cellslot-agent.service || true")
        level = float(re.search(r"Overall exposure level.*?: ([\d.]+)", shown)[1])
        self.report(f"exposure of cellslot-agent.service is {level}; asked")
        self.assertLessEqual(level, 2.5, shown)

    def test_4_GoodConfiguration_IsConfirmedOverANewConnection(self):
        self.listen()
        new = self.configuration() + "CM_ROAMING=auto\n"
        self.send(3, "config", slot=1, file=new, confirm_seconds=CONFIRM_S * 5)
        started, ended = self.answers(2)
        self.assertEqual((started["status"], ended["status"]), ("started", "confirmed"), ended)
        self.assertEqual(self.configuration(), new)
        self.assertEqual(self.warnings(), "")

    def test_5_ConfigurationWithoutALine_IsUndone(self):
        awaitConnected(self.machine)
        self.listen()
        old = self.configuration()
        self.send(4, "config", slot=1, file=old.replace("CM_ENABLE_INTERFACE=yes", "CM_ENABLE_INTERFACE=no"),
                  confirm_seconds=CONFIRM_S)
        started, ended = self.answers(2)
        self.assertEqual((started["status"], ended["status"]), ("started", "rolled_back"), ended)
        self.assertEqual(self.configuration(), old)
        awaitConnected(self.machine)

    def test_6_PowerCutMeanwhile_OldConfigurationComesBack(self):
        self.listen()
        old = self.configuration()
        self.send(5, "config", slot=1, file=old.replace("CM_ENABLE_INTERFACE=yes", "CM_ENABLE_INTERFACE=no"),
                  confirm_seconds=CONFIRM_S)
        self.assertEqual(self.answers(1)[0]["status"], "started")
        self.machine.run("sync")  # of the broker's and the bench's files; the change itself is safe
        self.machine.kill()
        self.machine.boot()
        startModem(self.machine, **RECEIVER)
        self.machine.run("touch /run/poststart")
        ended = self.answers(1)[0]
        self.assertEqual((ended["command"], ended["status"]), ("test-5", "rolled_back"), ended)
        self.assertEqual(self.configuration(), old)
        awaitConnected(self.machine)


if __name__ == "__main__":
    unittest.main(verbosity=2)
