"""Other programs of a gateway that manage modems, interfaces or name servers, installed one at a time on
the gateway with our package. Without what the package ships for them they take something away, and
cellslot doctor names them."""

import pathlib
import subprocess

from gateway_case import GatewayCase, awaitConnected, bootedHost, startModem
from machine import ARCHITECTURE

REPO = pathlib.Path(__file__).resolve().parents[2]
RULES = "/lib/udev/rules.d/60-cellslot.rules"
NETWORK = "/usr/lib/systemd/network/00-cellslot.network"
# An administrator's, for all interfaces of the gateway.
DHCP_FOR_ALL = "[Match]\nName=*\n\n[Network]\nDHCP=yes\n"
FILE_FOR_ALL = "/etc/systemd/network/90-all.network"


def debsOf(package):
    """The files of a Debian package with what it depends on."""
    script = REPO / "scripts/gateway_packages.sh"
    folder = subprocess.run([script, "--arch", ARCHITECTURE, package], check=True, capture_output=True,
                            text=True).stdout.strip()
    return sorted(pathlib.Path(folder).glob("*.deb"))


class Neighbours(GatewayCase):
    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        startModem(machine)
        bootedHost(machine)
        awaitConnected(machine)
        cls.report("CONNECTED")

    def setUp(self):
        # A neighbour of the test before may have taken what the session had set up.
        awaitConnected(self.machine)
        self.newSession()

    # ---- what is done on the gateway

    def install(self, package, *services):
        """Installs a Debian package, whose services run until the end of the test only."""
        status, _ = self.machine.run(f"dpkg -s {package} | grep -q '^Status: .* installed$'", check=False)
        if status != 0:
            folder = f"/bench/{package}"
            self.machine.run(f"mkdir -p {folder}")
            for file in debsOf(package):
                self.machine.write(f"{folder}/{file.name}", file.read_bytes())
            self.machine.run("DEBIAN_FRONTEND=noninteractive apt-get -o Dpkg::Options::=--force-unsafe-io"
                             f" install -y {folder}/*.deb && rm -r {folder}", 900)
            self.report(f"{package} installed")
        for service in services:
            self.startService(service)

    def startService(self, service):
        self.addCleanup(self.machine.run, f"systemctl stop {service}")
        self.machine.run(f"systemctl start {service}", 120)

    def withoutRule(self, mark):
        """The gateway as it would be without a line of our udev rules, until the end of the test."""
        content = self.machine.read(RULES)
        self.addCleanup(self.machine.run, "udevadm control --reload")
        self.addCleanup(self.machine.write, RULES, content)
        self.machine.run(f"sed -i '/{mark}/d' {RULES}; udevadm control --reload")

    def replug(self):
        self.machine.run("/bench/modem.py unplug 1; sleep 2; /bench/modem.py plug 1", 120)

    def newSession(self):
        self.machine.run("cellslot data off -p 1; cellslot data auto -p 1", 120)
        awaitConnected(self.machine)

    def assertNamed(self, *words):
        """Doctor finds a fault whose line, or the mend below it, has all of these words."""
        output = self.machine.waitFor("cellslot doctor -q || true", 120, words[0])
        for word in words:
            self.assertIn(word, output)
        self.assertNotIn("\n0 broken", output)

    # ---- the neighbours without what our package ships for them

    def test_ModemManagerWithoutOurRule_TakesThePort_AndIsNamed(self):
        self.withoutRule("ID_MM_DEVICE_IGNORE")
        self.install("modemmanager", "ModemManager")
        self.replug()
        self.assertNamed("/dev/cellslot/1-at is also open in ModemManager",
                         "systemctl mask --now ModemManager")

    def test_NetworkManagerWithoutOurRule_TakesTheInterface_AndIsNamed(self):
        self.withoutRule("NM_UNMANAGED")
        self.install("network-manager", "NetworkManager")
        self.replug()
        self.assertNamed("cell1 is also set up by NetworkManager",
                         "unmanaged-devices=interface-name:cell1")

    def test_NetworkdWithoutOurFile_RemovesTheAddress_AndIsNamed(self):
        content = self.machine.read(NETWORK)
        self.addCleanup(self.machine.write, NETWORK, content)
        self.machine.run(f"rm {NETWORK}")
        self.machine.write(FILE_FOR_ALL, DHCP_FOR_ALL)
        self.addCleanup(self.machine.run, f"rm {FILE_FOR_ALL}")
        self.startService("systemd-networkd.socket systemd-networkd")
        self.machine.waitFor("ip -br -4 address show cell1 | wc -w", 60, "0\n")
        self.assertNamed(f"cell1 is also set up by systemd-networkd ({FILE_FOR_ALL})",
                         "00-cellslot.network")
