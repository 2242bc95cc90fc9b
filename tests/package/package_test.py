#!/usr/bin/env python3
"""The Debian package: its content (Contents), and its life on a fresh host (Life), where the daemon from
the package runs against the simulated modem. Run by scripts/test_package.sh, which sets

    CELLSLOT_BIN        folder with le910sim
    CELLSLOT_HOST       folder with the host tools
    CELLSLOT_PACKAGES   folder with the packages of two versions, "old" and "new"
    CELLSLOT_ROOT       root folder of a fresh host, for Life
"""

import fnmatch
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import unittest

REPO = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "tests" / "system"))
from gateway import LogCatcher, Slot, freshHost, waitUntil  # noqa: E402
from package_case import ROOT, ContentsCase, output, packageFile  # noqa: E402
from service_manager import ServiceManager  # noqa: E402

UNIT = "lib/systemd/system/cellslotd@.service"
TOOLS = ("setup_cellint.sh", "systime.sh", "sledctl", "ResetCellular", "slot-of-port", "timeout")
# Files of dpkg and of the libraries' cache.
DPKG_OWN = re.compile(r"var/(lib/dpkg/|log/(dpkg|alternatives)\.log|cache/(ldconfig|debconf)/)|"
                      r"(dev|proc|sys)/|etc/ld\.so\.cache")


def package(which):
    return packageFile(which, "cellslot")


class Contents(ContentsCase, unittest.TestCase):
    NAME = "cellslot"
    SERVICES = ("cellslotd@1.service",)
    EXPOSURE_MAX = 30

    def test_files_areInTheirPlaces(self):
        modes = self.modes
        for program in ("usr/sbin/cellslotd", "usr/bin/cellslot", "usr/bin/skvs",
                        *(f"usr/lib/cellslot/{tool}" for tool in TOOLS)):
            self.assertEqual(modes.get(program), "-rwxr-xr-x", program)
        for file in (UNIT, "lib/udev/rules.d/60-cellslot.rules", "usr/lib/tmpfiles.d/cellslot.conf",
                     "usr/lib/systemd/network/00-cellslot.network",
                     "lib/systemd/system/cellslot-dns.path", "lib/systemd/system/cellslot-dns.service",
                     "etc/logrotate.d/cellslot", "etc/cellslot/slots.conf",
                     "etc/default/cellslotd.1", "etc/default/cellslotd.2", "etc/default/cellslotd.3",
                     "usr/share/doc/cellslot/examples/cellslot.conf.example",
                     "usr/share/doc/cellslot/installation.md",
                     "usr/share/doc/cellslot/troubleshooting.md",
                     "usr/share/doc/cellslot/copyright", "usr/share/doc/cellslot/CHANGELOG.md"):
            self.assertEqual(modes.get(file), "-rw-r--r--", file)
        pages = {f"usr/share/man/man{page.suffix[1:]}/{page.name}.gz"
                 for page in (REPO / "docs" / "man").glob("*.[158]")
                 if not page.name.startswith("cellslot-")}  # of another package
        self.assertEqual({file for file in modes if re.match("usr/share/man/man[0-9]/.", file)}, pages)

    def test_overridesOfTheOperator_areKeptWhenTmpIsCleaned(self):
        rules = output("sh", "-c", f"dpkg-deb --fsys-tarfile {package('old')} |"
                                   " tar -xO ./usr/lib/tmpfiles.d/cellslot.conf")
        kept = [line.split()[1] for line in rules.splitlines() if line.startswith("x ")]
        for name in ("con", "nocon", "tempoff"):
            path = f"/tmp/force_cell_{name}.3"
            self.assertTrue(any(fnmatch.fnmatch(path, pattern) for pattern in kept), path)

    def test_reloadThatFails_isNoSuccessForSystemd(self):
        """Some ends of the daemon are successes, and systemd applies that list to ExecReload= too."""
        unit = self.extractedUnit("cellslotd@1.service")
        settings = dict(line.split("=", 1) for line in unit.read_text().splitlines()
                        if re.match(r"\w+=", line))
        successes = {0, *map(int, settings["SuccessExitStatus"].split())}
        stub = unit.parent / "cellslot"
        command = re.sub(r"/\S*/bin/cellslot", str(stub), settings["ExecReload"])
        self.assertIn(str(stub), command)
        for status in range(7):
            stub.write_text(f"#!/bin/sh\nexit {status}\n")
            stub.chmod(0o755)
            result = subprocess.run(shlex.split(command.replace("%i", "1")), check=False)
            self.assertEqual(result.returncode in successes, status == 0, status)


class Life(unittest.TestCase):
    """One test, because each step needs the one before it."""

    def inRoot(self, *command):
        return output("chroot", str(ROOT), *command)

    def files(self):
        found = set()
        for folder, folders, files in os.walk(ROOT):
            for name in folders + files:
                path = os.path.relpath(os.path.join(folder, name), ROOT)
                if not DPKG_OWN.match(path + "/"):
                    found.add(path)
        return found

    def install(self, which):
        target = ROOT / "tmp" / "package.deb"
        target.write_bytes(package(which).read_bytes())
        self.inRoot("dpkg", "-i", "/tmp/package.deb")
        target.unlink()

    def setUp(self):
        # A separate mount, so that it can be made read-only.
        subprocess.run(["mount", "--bind", ROOT, ROOT], check=True)
        for place in ("dev", "sys", "proc"):
            subprocess.run(["mount", "--rbind", f"/{place}", ROOT / place], check=True)

    def readUnit(self):
        """The unit's lines by key, as a service manager would read them for slot 1."""
        lines = re.findall(r"(?m)^(\w+)=(.*)$", (ROOT / UNIT).read_text())
        unit = {}
        for key, value in lines:
            unit.setdefault(key, []).append(value.replace("%i", "1"))
        return unit

    def command(self, unit):
        values = dict(re.findall(r"(?m)^(\w+)=(.*)$",
                                 (ROOT / unit["EnvironmentFile"][0][1:]).read_text()))
        line = re.sub(r"\$\{?(\w+)\}?", lambda found: values[found[1]], unit["ExecStart"][0])
        return shlex.split(line)

    def sandbox(self, unit):
        """A shell script for a private mount namespace: the part of the unit's sandbox that works
        without a service manager, then the command."""
        steps = []
        if unit["ProtectSystem"] == ["strict"]:
            steps += ["mount -n -o remount,bind,ro /", "! touch /usr/written 2>/dev/null"]
            steps += [f"mount -n --bind {path} {path} && mount -n -o remount,bind,rw {path}"
                      for path in unit["ReadWritePaths"][0].replace("-", "").split()]
        # A link, such as /bin/sh, is followed.
        steps += [f"mount -n --bind {pair.replace(':', ' ')}" for pair in unit["BindReadOnlyPaths"]]
        capabilities = unit["CapabilityBoundingSet"][0].lower().replace("cap_", "+").split()
        setpriv = f"setpriv --bounding-set -all,{','.join(capabilities)}"
        if unit["NoNewPrivileges"] == ["yes"]:
            setpriv += " --no-new-privs"
        return " && ".join(["set -e", *steps, f'exec {setpriv} "$@"'])

    def startDaemon(self):
        unit = self.readUnit()
        environment = [*unit["Environment"], "NOTIFY_SOCKET=/run/notify", "WATCHDOG_USEC=20000000"]
        return ServiceManager(["unshare", "--mount", "chroot", ROOT, "/bin/bash", "-c",
                               self.sandbox(unit), "sandbox", "env", "-i", *environment,
                               *self.command(unit)],
                              20, "/tmp/daemon.out", str(ROOT / "run/notify"))

    def stopDaemon(self, daemon):
        self.assertEqual(daemon.end(), 2)
        (ROOT / "run/notify").unlink()

    def runToConnected(self):
        daemon = self.startDaemon()
        try:
            waitUntil(lambda: "connected" in (daemon.status() or ""),
                      lambda: f"status {daemon.status()!r}\n{pathlib.Path('/tmp/daemon.out').read_text()}")
            self.assertEqual(daemon.starts, 1)
            status = ROOT / "var/log/wireless.cardstats.1"
            waitUntil(lambda: "CELLMODEM1_QMI_STATE=CONNECTED" in status.read_text(),
                      lambda: status.read_text())
            # The package's interface script set the interface up, and the daemon saw its success.
            self.assertRegex(output("ip", "-4", "address", "show", "wwan0"),
                             r"inet 10\.64\.1\.\d+/24")
            self.assertIn("10.0.0.1", (ROOT / "etc/resolv.conf").read_text())
            self.checkCommand()
        finally:
            self.stopDaemon(daemon)

    def checkCommand(self):
        """The operator's command from the package, on the installed host."""
        self.assertIn("Slot 1  CONNECTED", self.inRoot("cellslot", "status", "-p", "1"))
        self.assertEqual(self.inRoot("cellslot", "at", "AT+CGMI"), "Telit\nOK\n")
        printed = self.inRoot("sh", "-c", "cellslot doctor || true")
        self.assertIn("ok      shell      /bin/sh understands &>\n", printed)
        self.assertIn("ok      tools      all are on the daemon's PATH\n", printed)
        self.assertEqual(self.inRoot("readlink", "-f", "/bin/sh"), "/usr/bin/dash\n")
        self.assertEqual([line for line in printed.splitlines() if "BROKEN" in line], [], output)

    def checkReaders(self):
        """The readers of the package's rules for devices and logs report no error."""
        printed = self.inRoot("sh", "-c", "udevadm test /sys/class/net/lo 2>&1")
        about = [line for line in printed.splitlines() if "60-cellslot.rules" in line]
        shutil.rmtree(ROOT / "run/udev")  # udevadm's notes
        self.assertEqual(about, ["Reading rules file: /usr/lib/udev/rules.d/60-cellslot.rules"])
        printed = self.inRoot("sh", "-c", "logrotate -d /etc/logrotate.d/cellslot 2>&1")
        self.assertIn("rotating pattern: /var/log/cellslotd.log", printed)
        self.assertNotIn("error", printed)

    def test_installRunUpgradeRemovePurge_nothingIsLeft(self):
        freshHost()
        log = LogCatcher()
        self.addCleanup(log.socket.close)
        (ROOT / "etc/resolv.conf").unlink(missing_ok=True)
        (ROOT / "run/poststart").touch()
        before = self.files()

        self.install("old")
        self.checkReaders()
        oldVersion = self.inRoot("dpkg-query", "-W", "-f", "${Version}", "cellslot")
        config = ROOT / "etc/vuk/cellular1.conf"
        config.write_text("CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_GPS_ENABLE=no\n"
                          "CM_SYNC_TIME=no\n")
        config.chmod(0o600)
        pathlib.Path("/dev/cellslot").mkdir()
        slot = Slot(1)
        slot.device, slot.gps = "/dev/cellslot/1-at", "/dev/cellslot/1-gps"
        self.addCleanup(slot.end)
        slot.startSim()
        self.runToConnected()
        self.assertTrue((ROOT / "run/cellslot/skvs").exists())

        defaults = ROOT / "etc/default/cellslotd.1"
        defaults.write_text(defaults.read_text() + "# ours\n")
        self.install("new")
        self.assertNotEqual(self.inRoot("dpkg-query", "-W", "-f", "${Version}", "cellslot"),
                            oldVersion)
        self.assertIn("# ours", defaults.read_text())
        self.runToConnected()

        # Files that an operator and a killed daemon leave.
        self.inRoot("sh", "-c", "cellslot data off -t 0 || true")
        self.inRoot("touch", "/etc/vuk/.cellslot-tmp-draft", "/var/log/.cellslot-tmp-draft")
        self.inRoot("mkdir", "/tmp/force_cell_con.2", "/tmp/.cellslot-tmp-folder")
        self.assertTrue((ROOT / "tmp/force_cell_nocon.1").exists())

        self.inRoot("dpkg", "-r", "cellslot")
        self.assertFalse((ROOT / "usr/sbin/cellslotd").exists())
        self.assertFalse((ROOT / UNIT).exists())
        self.assertTrue(config.exists() and defaults.exists())

        self.inRoot("dpkg", "-P", "cellslot")
        after = self.files()
        self.assertEqual(sorted(after - before), [])
        self.assertEqual(sorted(before - after), [])


if __name__ == "__main__":
    unittest.main()
