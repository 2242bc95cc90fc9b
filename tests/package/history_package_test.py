#!/usr/bin/env python3
"""The Debian package of the history: its content (Contents), and its life on a fresh host (Life), where the
service from the package follows the daemon from its own package. Run by scripts/test_history.sh, which sets
what package_test.py needs; the folders "old" and "new" have both packages."""

import pathlib
import re
import subprocess
import unittest

import package_test
from package_case import ROOT, ContentsCase, output, packageFile
from gateway import LogCatcher, Slot, freshHost, waitUntil

UNIT = "lib/systemd/system/cellslot-history.service"
PROGRAMS = ("cellslot-history", "cellslot-historyd", "cellslot-web-history")
HISTORY = ROOT / "var/lib/cellslot/history"
USER = "cellslot-history"
LIMIT_S = 300  # bounds a failure only


def package(which):
    return packageFile(which, "cellslot-history")


class Contents(ContentsCase, unittest.TestCase):
    NAME = "cellslot-history"
    SERVICES = ("cellslot-history.service",)
    EXPOSURE_MAX = 20

    def test_files_areInTheirPlaces(self):
        for program in PROGRAMS:
            self.assertEqual(self.modes.get(f"usr/lib/cellslot/{program}"), "-rwxr-xr-x", program)
        for file in (UNIT, "usr/lib/sysusers.d/cellslot-history.conf",
                     "usr/lib/cellslot/cellslot-history.bash-completion",
                     "usr/share/man/man8/cellslot-historyd.8.gz",
                     "usr/share/doc/cellslot-history/history.md",
                     "usr/share/doc/cellslot-history/CHANGELOG.md"):
            self.assertEqual(self.modes.get(file), "-rw-r--r--", file)

    def test_copyright_namesTheLibrary(self):
        text = (self.root / "usr/share/doc/cellslot-history/copyright").read_text()
        self.assertIn("a part of librrd (GNU General Public License, version 2 or later,", text)

    def test_programsOfTheService_doNotLoadWhatDraws(self):
        for program in ("cellslot-historyd", "cellslot-web-history"):
            shown = output("objdump", "-p", str(self.root / "usr/lib/cellslot" / program))
            needed = re.findall(r"NEEDED +(\S+)", shown)
            self.assertEqual([name for name in needed if re.search("rrd|cairo|pango|X11", name)], [], program)


class Life(package_test.Life):
    """One test, because each step needs the one before it."""

    test_installRunUpgradeRemovePurge_nothingIsLeft = None  # that of the other package

    def installHistory(self, which):
        target = ROOT / "tmp" / "package.deb"
        target.write_bytes(package(which).read_bytes())
        self.inRoot("dpkg", "-i", "/tmp/package.deb")
        target.unlink()

    def startHistory(self):
        """In the part of the unit's sandbox that works without a service manager."""
        unit = dict(re.findall(r"(?m)^(\w+)=(.*)$", (ROOT / UNIT).read_text()))
        self.assertEqual(unit["User"], USER)
        self.assertEqual(unit["ProtectSystem"], "strict")
        folders = [f"/var/lib/{unit['StateDirectory']}", f"/run/{unit['RuntimeDirectory']}"]
        steps = [f"install -d -m 755 -o {USER} -g {USER} {folder}" for folder in folders]
        steps += ["mount -n -o remount,bind,ro /"]
        steps += [f"mount -n --bind {folder} {folder} && mount -n -o remount,bind,rw {folder}"
                  for folder in folders]
        script = " && ".join(["set -e", *steps, f"exec setpriv --reuid {USER} --regid {USER} --clear-groups"
                              f" --bounding-set -all --no-new-privs {unit['ExecStart']}"])
        return subprocess.Popen(["unshare", "--mount", "chroot", ROOT, "/bin/bash", "-c", script])

    def kinds(self):
        done = subprocess.run(["chroot", ROOT, "cellslot", "history", "events", "-p", "1", "--csv"],
                              capture_output=True, text=True, check=False)
        return [line.split(",")[1].strip('"') for line in done.stdout.splitlines()[1:]]

    def follow(self, starts):
        """A connection with the daemon beside it, as the history shows it."""
        history = self.startHistory()
        daemon = self.startDaemon()
        try:
            waitUntil(lambda: self.kinds().count("online") >= starts, self.kinds)
        finally:
            self.stopDaemon(daemon)
            history.terminate()
            self.assertEqual(history.wait(LIMIT_S), 0)

    def test_installRunUpgradeRemovePurge_theHistoryStaysUntilThePurge(self):
        freshHost()
        log = LogCatcher()
        self.addCleanup(log.socket.close)
        (ROOT / "etc/resolv.conf").unlink(missing_ok=True)
        (ROOT / "run/poststart").touch()
        before = self.files()
        self.install("old")
        withoutHistory = self.files()
        self.assertIn("cellslot-history", self.inRoot("sh", "-c", "cellslot history 2>&1 || true"))

        self.installHistory("old")
        self.assertRegex((ROOT / "etc/passwd").read_text(), rf"(?m)^{USER}:")
        config = ROOT / "etc/vuk/cellular1.conf"
        config.write_text("CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_SYNC_TIME=no\nCM_GPS_ENABLE=no\n")
        config.chmod(0o600)
        pathlib.Path("/dev/cellslot").mkdir()
        slot = Slot(1)
        slot.device, slot.gps = "/dev/cellslot/1-at", "/dev/cellslot/1-gps"
        self.addCleanup(slot.end)
        slot.startSim()
        self.follow(1)
        owner = HISTORY.stat().st_uid
        self.assertRegex((ROOT / "etc/passwd").read_text(), rf"(?m)^{USER}:[^:]*:{owner}:")
        self.assertEqual({file.name for file in HISTORY.iterdir()},
                         {"1.rrd", "1-slow.rrd", "1.events", "1.usage"})

        self.installHistory("new")
        self.follow(2)
        self.assertIn("Connected ", self.inRoot("cellslot", "history", "-p", "1"))
        # Any user may read it.
        self.inRoot("setpriv", "--reuid", "nobody", "--clear-groups", "cellslot", "history", "usage", "-p", "1")

        self.inRoot("dpkg", "-r", "cellslot-history")
        self.assertFalse((ROOT / "usr/lib/cellslot/cellslot-historyd").exists())
        self.assertTrue((HISTORY / "1.rrd").exists())
        self.inRoot("dpkg", "-P", "cellslot-history")
        self.assertFalse((ROOT / "var/lib/cellslot").exists())
        left = {name for name in self.files() - withoutHistory
                if not name.startswith(("run/", "var/log", "tmp/", "storage", "etc/vuk"))}
        # The copies of the files before a user was added or removed.
        self.assertEqual({name for name in left if not re.match(r"etc/(passwd|group|g?shadow)-$", name)}, set())
        self.assertNotIn(USER, (ROOT / "etc/passwd").read_text() + (ROOT / "etc/group").read_text())

        self.inRoot("dpkg", "-P", "cellslot")
        gone = before - self.files()
        self.assertEqual(gone, set())


if __name__ == "__main__":
    unittest.main()
