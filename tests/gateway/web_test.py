"""The page and the history as packages on the gateway: systemd starts the page's server when somebody asks
and it ends when nobody does, in its sandbox, which denies it nothing that it needs."""

import json
import pathlib
import re
import subprocess
import unittest

from gateway_case import NUMBER, RECEIVER, GatewayCase, awaitConnected, startModem
from machine import ARCHITECTURE, BENCH
from neighbour_case import INSTALL, install

REPO = pathlib.Path(__file__).resolve().parents[2]
# What the packages need and the gateway's disk does not have.
LIBRARIES = ("curl", "libdbi1", "libmicrohttpd12", "librrd8", "openssl")
OWN = BENCH.parent / "web"
URL = "http://localhost:8088"
LAN_URL = "https://127.0.0.1:8443"
PASSWORD = "correct horse battery"
# A system call that the filter refuses ends the server, so that it cannot go unnoticed.
STRICT = "[Service]\nSystemCallErrorNumber=kill\n"
STARTED_S = 120
# A minute of silence, on a machine that may be slow.
ENDED_S = 600


def makePackages():
    """The two packages of this build."""
    subprocess.run([REPO / "scripts/setup_web.sh"], check=True)
    for old in OWN.glob("*.deb"):
        old.unlink()
    for script in ("package_web.sh", "package_history.sh"):
        subprocess.run([REPO / "scripts" / script, "--output", OWN], check=True, stdout=subprocess.DEVNULL)
    return sorted(OWN.glob("*.deb"))


@unittest.skipUnless(ARCHITECTURE == subprocess.run(["dpkg", "--print-architecture"], capture_output=True,
                                                    text=True, check=True).stdout.strip(),
                     "the page is only built for this machine's processor")
class Page(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        packages = makePackages()
        startModem(machine, **RECEIVER)
        machine.run("touch /run/poststart; useradd visitor")
        install(machine, *LIBRARIES)
        for unit in ("cellslot-web.service", "cellslot-web-messages@.service", "cellslot-history.service"):
            folder = f"/run/systemd/system/{unit}.d"
            machine.run(f"mkdir -p '{folder}'")
            machine.write(f"{folder}/strict.conf", STRICT)
        for file in packages:
            machine.write(f"/bench/{file.name}", file.read_bytes())
        files = " ".join(f"/bench/{file.name}" for file in packages)
        machine.run(f"{INSTALL} {files}", 300)
        cls.report("page and history installed")
        awaitConnected(machine)

    def ask(self, path, url=URL, options=""):
        """Status and body, as an ordinary user gets them."""
        output = self.machine.run(f"runuser -u visitor -- curl -s --compressed -w '\\n%{{http_code}}' {options}"
                                  f" '{url}{path}'", STARTED_S)
        body, _, status = output.rpartition("\n")
        return int(status), body

    def askJson(self, path):
        status, body = self.ask(path)
        self.assertEqual(status, 200, body)
        return json.loads(body)

    def shows(self, name, unit="cellslot-web.service"):
        return self.machine.run(f"systemctl show --value -p {name} {unit}").strip()

    def awaitShown(self, name, wanted, seconds=STARTED_S):
        self.machine.waitFor(f"[ $(systemctl show --value -p {name} cellslot-web.service) = {wanted} ]", seconds)

    def warnings(self, *units):
        chosen = " ".join(f"-u '{unit}'" for unit in units)
        return self.machine.run(f"journalctl -b -q -p warning -o cat {chosen}")

    def test_NobodyAsks_NothingRunsAndTheNextRequestStartsIt(self):
        self.ask("/")
        self.awaitShown("ActiveState", "inactive", ENDED_S)
        self.assertEqual(self.shows("Result"), "success")
        self.assertEqual(self.shows("ActiveState", "cellslot-web.socket"), "active")
        starts = "journalctl -b -q -o cat -u cellslot-web.service | grep -c '^Started'"
        before = int(self.machine.run(starts))
        self.assertEqual(self.ask("/")[0], 200)
        self.assertEqual(self.shows("ActiveState"), "active")
        self.assertEqual(int(self.machine.run(starts)), before + 1)

    def test_EveryPath_IsAnsweredInTheSandbox(self):
        slot = self.askJson("/api/status")["slots"][0]
        self.assertEqual((slot["slot"], slot["state"]), (1, "connected"))
        # The configuration is root's alone; what is wanted is known all the same.
        self.assertEqual(slot["data"]["directive"], "on")
        status, metrics = self.ask("/metrics")
        self.assertEqual(status, 200)
        self.assertIn('cellslot_session_connected{slot="1"} 1', metrics)
        status, page = self.ask("/")
        self.assertEqual(status, 200)
        self.assertIn("page.js", page)
        live = self.machine.run(f"runuser -u visitor -- curl -sN {URL}/api/live | head -c 100", STARTED_S)
        self.assertIn("event: status", live)
        self.assertEqual(self.warnings("cellslot-web.service"), "")

    def test_History_ComesFromTheReaderInTheSandbox(self):
        self.machine.waitFor(f"curl -s --compressed '{URL}/api/history?slot=1&range=1h' | python3 -c '"
                             "import json, sys;"
                             "sys.exit(json.load(sys.stdin)[\"availability\"][\"connected_seconds\"] == 0)'", 300)
        history = self.askJson("/api/history?slot=1&range=1h")
        self.assertEqual(len(history["times"]), len(history["series"]["rsrp"]["average"]))
        self.assertTrue(any(one is not None for one in history["series"]["rsrp"]["average"]))
        events = self.askJson("/api/events?slot=1")["events"]
        self.assertTrue(all(set(event) >= {"time", "kind", "text"} for event in events))
        self.assertEqual(self.warnings("cellslot-web.service", "cellslot-history.service"), "")

    def test_Messages_AreRefusedUntilTheOperatorAllowsThem(self):
        self.machine.order(1, op="inject-sms", **{"from": NUMBER, "text": "restart pump 3"})
        self.machine.waitFor("cat /tmp/sms/recv/*", STARTED_S, "restart pump 3")
        status, body = self.ask("/api/messages")
        self.assertEqual(status, 403, body)
        self.assertIn("MESSAGES=yes", body)
        # Nor does the service say anything to others.
        self.assertNotEqual(self.machine.run("runuser -u visitor -- curl -s --unix-socket"
                                             " /run/cellslot-web/messages http://x/", check=False)[0], 0)
        self.addCleanup(self.machine.run, "sed -i s/^MESSAGES=.*/MESSAGES=no/ /etc/cellslot/web.conf;"
                                          " systemctl stop cellslot-web.service")
        self.machine.run("sed -i s/^MESSAGES=.*/MESSAGES=yes/ /etc/cellslot/web.conf;"
                         " cellslot-web check && systemctl stop cellslot-web.service")
        messages = self.askJson("/api/messages")["messages"]
        self.assertEqual([(one["from"], one["text"]) for one in messages], [(NUMBER, "restart pump 3")])
        self.assertEqual(self.warnings("cellslot-web.service", "cellslot-web-messages@*"), "")

    def test_Lan_NeedsThePasswordThatSystemdHandsOver(self):
        self.assertEqual(self.machine.run(f"curl -s -k {LAN_URL}/", check=False)[0], 7)
        self.machine.run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 30"
                         " -subj /CN=gateway -keyout /etc/cellslot/web.key -out /etc/cellslot/web.crt &&"
                         f" chmod 600 /etc/cellslot/web.key && echo '{PASSWORD}' | cellslot-web password &&"
                         " systemctl stop cellslot-web.service && systemctl start cellslot-web-lan.socket", STARTED_S)
        self.addCleanup(self.machine.run, "systemctl stop cellslot-web-lan.socket cellslot-web.service")
        self.assertEqual(self.ask("/api/status", LAN_URL, "-k")[0], 401)
        self.assertEqual(self.ask("/api/status", LAN_URL, "-k -u x:wrong-password")[0], 401)
        status, body = self.ask("/api/status", LAN_URL, f"-k -u 'x:{PASSWORD}'")
        self.assertEqual(status, 200, body)
        self.assertEqual(self.ask("/api/status")[0], 200)
        self.assertEqual(self.warnings("cellslot-web.service"), "")

    def test_Sandbox_LeavesTheServerNothingElse(self):
        self.ask("/")
        process = self.shows("MainPID")
        status = self.machine.run(f"cat /proc/{process}/status")
        for line in (r"CapEff:\s+0{16}", r"CapBnd:\s+0{16}", r"NoNewPrivs:\s+1", r"Seccomp:\s+2"):
            self.assertRegex(status, line)
        user = re.search(r"Uid:\s+(\d+)", status)[1]
        self.assertEqual(user, self.machine.run("id -u cellslot-web").strip())
        inside = f"nsenter -t {process} -m setpriv --reuid={user} --regid={user} --clear-groups"
        for file in ("/etc/vuk/cellular1.conf", "/etc/cellslot/web.password", "/tmp/sms/recv/*", "/storage/*"):
            self.assertNotEqual(self.machine.run(f"{inside} sh -c 'cat {file}'", check=False)[0], 0, file)
        for place in ("/etc", "/var/log", "/run", "/usr"):
            self.assertNotEqual(self.machine.run(f"{inside} touch {place}/mark", check=False)[0], 0, place)
        for unit in ("cellslot-web.service", "cellslot-web-messages@1.service", "cellslot-history.service"):
            shown = self.machine.run(f"systemd-analyze security --no-pager {unit} || true")
            level = float(re.search(r"Overall exposure level.*?: ([\d.]+)", shown)[1])
            self.report(f"exposure of {unit} is {level}; asked")
            self.assertLessEqual(level, 2.0, shown)


if __name__ == "__main__":
    unittest.main(verbosity=2)
