"""What tests with neighbours on the gateway share: a disk with the large ones installed, what is done with
them, and what is seen of it."""

import hashlib
import os
import pathlib
import re
import subprocess

from gateway_case import GatewayCase, awaitConnected, installedLayer, startModem
from machine import ARCHITECTURE, BENCH, Machine

REPO = pathlib.Path(__file__).resolve().parents[2]
RULES = "/lib/udev/rules.d/60-cellslot.rules"
# What the daemon has set up, as one text. It must stay for a minute.
QUIET_MINUTE = """
shape() {
    ip -br -4 address show cell1; ip route show dev cell1; grep ^nameserver /etc/resolv.conf
    cellslot status -p 1 | grep -o 'Slot 1  [A-Z ]*[A-Z]'
}
start=$(cut -d . -f 1 /proc/uptime); first=$(shape)
while [ $(($(cut -d . -f 1 /proc/uptime) - start)) -le 60 ]; do
    now=$(shape)
    [ "$now" = "$first" ] || { echo "was: $first"; echo "is: $now"; exit 1; }
    sleep 2
done
echo "$first"
"""
CLEAN = "host\nslot 1\n0 broken, 0 notes\n"
INSTALL = ("DEBIAN_FRONTEND=noninteractive apt-get -o Dpkg::Options::=--force-unsafe-io install -y"
           " --no-install-recommends")


def debsOf(*packages):
    """The files of Debian packages with what they depend on."""
    script = REPO / "scripts/gateway_packages.sh"
    folder = subprocess.run([script, "--arch", ARCHITECTURE, *packages], check=True, capture_output=True,
                            text=True).stdout.strip()
    return sorted(pathlib.Path(folder).glob("*.deb"))


def install(machine, *packages):
    folder = "/bench/debs"
    machine.run(f"mkdir -p {folder}")
    for file in debsOf(*packages):
        machine.write(f"{folder}/{file.name}", file.read_bytes())
    machine.run(f"{INSTALL} {folder}/*.deb && rm -r {folder}", 900)


def neighboursLayer():
    """The disk with our package, and the two large neighbours on it, which do not run; made once."""
    base = installedLayer()
    files = " ".join(file.name for file in debsOf("network-manager", "modemmanager"))
    name = "neighbours-" + hashlib.sha256(f"{base} {files}".encode()).hexdigest()[:12]
    layer = BENCH.parent / f"{name}.qcow2"
    if layer.exists():
        return layer
    for old in BENCH.parent.glob("neighbours-*.qcow2"):
        old.unlink()
    machine = Machine("neighbours", base)
    try:
        machine.boot()
        install(machine, "network-manager", "modemmanager")
        machine.run("systemctl disable --now NetworkManager ModemManager")
        machine.shutDown()
        os.replace(machine.disk, layer)
    finally:
        machine.end()
    return layer


class NeighbourCase(GatewayCase):
    @classmethod
    def setUpClass(cls):
        cls.base = neighboursLayer()
        super().setUpClass()

    @classmethod
    def setUpMachine(cls, machine):
        startModem(machine)
        machine.write("/bench/name_server.py", (REPO / "tests/gateway/name_server.py").read_bytes())
        machine.run("systemd-run --quiet --collect --unit=names1 nsenter --net=/run/netns/modem1"
                    " python3 /bench/name_server.py modem1 /bench/log/names1.log")
        awaitConnected(machine)
        cls.report("CONNECTED")

    def setUp(self):
        # A neighbour of the test before may have taken what the session had set up.
        awaitConnected(self.machine)
        if self.doctor() != CLEAN:
            self.machine.run("cellslot data off -p 1; cellslot data auto -p 1", 120)
            awaitConnected(self.machine)
        self.assertEqual(self.doctor(), CLEAN)

    def tearDown(self):
        self.report(self.id().rsplit(".", 1)[1])

    # ---- what is done on the gateway

    def startService(self, service):
        self.addCleanup(self.machine.run, f"systemctl stop {service}")
        self.machine.run(f"systemctl start {service}", 120)

    def withoutRule(self, property_):
        """The gateway as it would be without a line of our udev rules."""
        self.keepFile(RULES, "udevadm control --reload")
        self.machine.run(f"sed -i '/{property_}/d' {RULES}; udevadm control --reload")

    def keepFile(self, path, after="true"):
        """A file that is as it is now when the test ends."""
        content = self.machine.read(path)
        self.addCleanup(self.machine.run, after)
        self.addCleanup(self.machine.write, path, content)

    def putFile(self, path, content):
        self.addCleanup(self.machine.run, f"rm -f {path}")
        self.machine.write(path, content)

    def replug(self):
        self.machine.run("/bench/modem.py unplug 1; sleep 2; /bench/modem.py plug 1", 120)
        self.machine.waitFor("ls /dev/cellslot/1-at", 60)

    def enableModem(self):
        """As NetworkManager does it: ModemManager keeps the port from now on, not only while it probes."""
        self.machine.waitFor("mmcli -m any --enable", 120)

    # ---- what is seen of it

    def doctor(self):
        return self.machine.run("cellslot doctor -q || true")

    def awaitHealthy(self):
        awaitConnected(self.machine)
        self.machine.waitFor("cellslot doctor -q || true", 60, CLEAN)

    def awaitNamed(self, *words):
        """Doctor finds a fault whose line, or the mend below it, has all of these words."""
        output = self.machine.waitFor("cellslot doctor -q || true", 120, words[0])
        for word in words:
            self.assertIn(word, output)
        self.assertNotIn("\n0 broken", output)

    def mend(self):
        """Does what doctor says, command by command, without what it says about a next time."""
        mends = re.findall(r"BROKEN .*\n +-> (.*)", self.doctor())
        for line in mends:
            self.machine.run(re.split(r"; (?:if|where) ", line)[0], 180)
        self.assertTrue(mends)
        self.awaitHealthy()

    def quietMinute(self):
        """What the daemon has set up stays, and names are resolved. It may reset the modem once by itself
        after an unplug."""
        for _ in range(2):
            awaitConnected(self.machine)
            status, shape = self.machine.run(QUIET_MINUTE, 240, check=False)
            if status == 0:
                break
        self.assertEqual(status, 0, shape)
        self.assertRegex(shape, r"cell1 +UP +10\.64\.")
        self.assertIn("default", shape)
        self.assertIn("Slot 1  CONNECTED", shape)
        self.assertEqual(self.doctor(), CLEAN)
        self.assertResolved("minute")

    def assertResolved(self, name):
        """A name is resolved through the session, by the mobile network's name server."""
        name = f"{name}.{self.id().rsplit('_', 1)[1].lower()}.example"
        self.assertIn("192.0.2.1", self.machine.waitFor(f"getent ahostsv4 {name}", 60))
        self.assertIn(f"10.0.0.1 1 {name}\n", self.machine.run("cat /bench/log/names1.log"))

    def address(self):
        return self.machine.run("ip -br -4 address show cell1")
