"""Other programs of a gateway that manage modems, interfaces or name servers, as Debian packages on the
gateway with our package. Without what the package ships for them they take something away: cellslot doctor
names it, and what it says to do ends it. With it they leave the modem alone."""

import hashlib
import json
import os
import pathlib
import re
import subprocess

from gateway_case import REMOTE, GatewayCase, awaitConnected, bootedHost, installedLayer, startModem
from machine import ARCHITECTURE, BENCH, Machine

REPO = pathlib.Path(__file__).resolve().parents[2]
RULES = "/lib/udev/rules.d/60-cellslot.rules"
NETWORK = "/usr/lib/systemd/network/00-cellslot.network"
# An administrator's, for all interfaces of the gateway.
DHCP_FOR_ALL = "[Match]\nName=*\n\n[Network]\nDHCP=yes\n"
FILE_FOR_ALL = "/etc/systemd/network/90-all.network"
NETWORKD = "systemd-networkd.socket systemd-networkd"
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
SERVERS = ["10.0.0.1", "10.0.0.2"]
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


class Neighbours(GatewayCase):
    @classmethod
    def setUpClass(cls):
        cls.base = neighboursLayer()
        super().setUpClass()

    @classmethod
    def setUpMachine(cls, machine):
        startModem(machine)
        bootedHost(machine)
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
        mends = re.findall(r"-> (.*)", self.doctor())
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

    # ---- without what our package ships for them

    def test_ModemManager_WithoutOurRule_TakesThePort_Masked(self):
        self.withoutRule("ID_MM_DEVICE_IGNORE")
        self.startService("ModemManager")
        self.replug()
        self.enableModem()
        self.awaitNamed("/dev/cellslot/1-at is also open in ModemManager",
                        "systemctl mask --now ModemManager")
        self.addCleanup(self.machine.run, "systemctl unmask ModemManager")
        self.mend()

    def test_NetworkManager_WithoutOurRule_RemovesTheAddress_Excluded(self):
        self.withoutRule("NM_UNMANAGED")
        self.startService("NetworkManager")
        self.replug()
        self.awaitNamed("cell1 is also set up by NetworkManager", "unmanaged-devices+=interface-name:cell1")
        awaitConnected(self.machine)
        self.awaitNamed("cell1 has no address, although the session is up",
                        "cellslot data off -p 1; cellslot data auto -p 1")
        self.addCleanup(self.machine.run, "rm /etc/NetworkManager/conf.d/cellslot.conf")
        self.mend()
        self.assertIn("cell1:unmanaged", self.machine.run("nmcli -t -f DEVICE,STATE device"))

    def test_Networkd_WithoutOurFile_RemovesTheAddress_Excluded(self):
        self.keepFile(NETWORK)
        self.machine.run(f"rm {NETWORK}")
        self.putFile(FILE_FOR_ALL, DHCP_FOR_ALL)
        self.startService(NETWORKD)
        self.awaitNamed(f"cell1 is also set up by systemd-networkd ({FILE_FOR_ALL})",
                        "cell1 has no address, although the session is up",
                        "/etc/systemd/network/00-cellslot.network; networkctl reload")
        self.addCleanup(self.machine.run, "rm /etc/systemd/network/00-cellslot.network")
        self.mend()

    def test_NameServers_RewrittenWithoutOurUnit_GivenAgain(self):
        self.addCleanup(self.machine.run, "systemctl start cellslot-dns.path")
        self.machine.run("systemctl stop cellslot-dns.path")
        self.startService("NetworkManager")
        self.machine.run("echo '# Generated by NetworkManager' >/etc/resolv.conf")
        self.awaitNamed("no longer in /etc/resolv.conf, which was written by NetworkManager",
                        "setup_cellint.sh --renew-dns")
        before = self.address()
        self.mend()
        self.assertResolved("again")
        self.assertEqual(self.address(), before)

    # ---- with our package as it is

    def test_WithOurPackage_Resolved(self):
        before = self.address()
        self.installResolved()
        self.quietMinute()
        # Where programs of the host look: the stub that asks resolved.
        self.assertIn("nameserver 127.0.0.53", self.machine.run("cat /etc/resolv.conf"))
        self.machine.run("systemctl restart systemd-resolved", 120)
        self.assertResolved("restarted")
        self.assertEqual(self.address(), before)
        # A session without it has no names, and says so.
        self.machine.run("systemctl mask --now --runtime systemd-resolved", 120)
        self.machine.run("cellslot data off -p 1; cellslot data auto -p 1", 240)
        awaitConnected(self.machine)
        self.awaitNamed("/etc/resolv.conf leads to systemd-resolved, which does not run",
                        "the modem's name servers are not in use: systemd-resolved did not take them")
        self.machine.run(f"ping -c 3 -I cell1 {REMOTE}")
        self.machine.run("systemctl unmask --runtime systemd-resolved")
        self.mend()
        self.assertResolved("mended")

    def installResolved(self):
        self.addCleanup(self.machine.run, "apt-get purge -y systemd-resolved", 300)
        install(self.machine, "systemd-resolved")
        # On a slow machine it starts before the message bus knows its user, and is not on the bus then.
        status, _ = self.machine.run("busctl status org.freedesktop.resolve1", check=False)
        if status != 0:
            self.machine.run("systemctl restart systemd-resolved", 120)
        self.machine.waitFor("busctl --json=short get-property org.freedesktop.resolve1"
                             " /org/freedesktop/resolve1 org.freedesktop.resolve1.Manager DNS", 60, "10,0,0,1")
        self.assertEqual(self.resolvedsServers(), SERVERS)

    def resolvedsServers(self):
        """Those that systemd-resolved asks for names through the modem's interface."""
        answer = json.loads(self.machine.run(
            "busctl --json=short get-property org.freedesktop.resolve1 /org/freedesktop/resolve1"
            " org.freedesktop.resolve1.Manager DNS"))
        index = int(self.machine.run("cat /sys/class/net/cell1/ifindex"))
        return [".".join(map(str, address)) for link, _, address in answer["data"] if link == index]

    def test_WithOurPackage_AllTogether(self):
        self.putFile(FILE_FOR_ALL, DHCP_FOR_ALL)
        self.installResolved()
        for service in ("ModemManager", "NetworkManager", NETWORKD):
            self.startService(service)
        self.replug()
        self.quietMinute()
        self.assertEqual(self.resolvedsServers(), SERVERS)
        self.assertIn("cell1:unmanaged", self.machine.run("nmcli -t -f DEVICE,STATE device"))
        self.assertIn("unmanaged", self.machine.run("networkctl list cell1 --no-legend"))
        self.assertIn(" 0% packet loss", self.machine.run(f"ping -c 3 -I cell1 {REMOTE}"))

    def test_PackageInstalledAfterThem_FreesTheModem(self):
        self.addCleanup(self.machine.run, "systemctl enable --now cellslotd@1", 120)
        self.machine.run("apt-get remove -y cellslot", 180)
        self.startService("ModemManager")
        self.startService("NetworkManager")
        self.machine.run("/bench/modem.py unplug 1; sleep 2; /bench/modem.py plug 1", 120)
        self.machine.waitFor("nmcli -t -f DEVICE,STATE device", 60, ":connecting")
        self.machine.waitFor("ls -l /proc/$(pgrep -x ModemManager)/fd", 60, "/dev/ttyUSB")
        self.machine.run(f"{INSTALL} /bench/cellslot_*.deb", 180)
        self.assertNotIn(":connecting", self.machine.run("nmcli -t -f DEVICE,STATE device"))
        self.assertNotIn("/dev/ttyUSB", self.machine.run("ls -l /proc/$(pgrep -x ModemManager)/fd"))
        # The interface keeps its first name until the modem starts anew.
        self.replug()
        self.machine.run("systemctl enable --now cellslotd@1", 120)
        self.awaitHealthy()
