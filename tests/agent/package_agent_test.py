#!/usr/bin/env python3
"""The Debian package of the agent: what is in it, that its units are what systemd accepts, and that the agent
can do what it has to within the system calls that its unit allows."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

PACKAGE, = pathlib.Path(os.environ["CELLSLOT_PACKAGES"]).glob("cellslot-agent_*.deb")
BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
UNITS = ("cellslot-agent.service", "cellslot-agent-commands.socket", "cellslot-agent-commands@.service",
         "cellslot-agent-change.path", "cellslot-agent-change.service")


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.root)
        subprocess.run(["dpkg-deb", "-R", PACKAGE, cls.root], check=True)

    def test_Depends_NameTheLibraryAndTheDaemonsPackage(self):
        depends = subprocess.run(["dpkg-deb", "-f", PACKAGE, "Depends"], capture_output=True, text=True,
                                 check=True).stdout
        self.assertRegex(depends, r"libmosquitto1.*cellslot\b")
        self.assertRegex(depends, r"libssl3")

    def test_Programs_LinkTheSharedTls(self):
        """Its updates have to reach the agent."""
        for name in ("cellslot-agent",):
            shown = subprocess.run(["ldd", self.root / "usr/lib/cellslot" / name], capture_output=True, text=True,
                                   check=True).stdout
            self.assertIn("libssl.so", shown)
            symbols = subprocess.run(["nm", BIN / name], capture_output=True, text=True, check=True).stdout
            self.assertNotRegex(symbols, r" [Tt] SSL_connect\b")

    def test_Units_AreWhatSystemdAccepts(self):
        folder = self.root / "lib/systemd/system"
        self.assertEqual(sorted(unit.name for unit in folder.iterdir()), sorted(UNITS))
        if shutil.which("systemd-analyze") is None:
            self.skipTest("no systemd-analyze")
        for unit in UNITS:
            text = (folder / unit).read_text()
            for program in re.findall(r"^ExecStart=(\S+)", text, re.M):
                self.assertTrue((self.root / program[1:]).exists(), program)
        shown = subprocess.run(["systemd-analyze", "verify", "--man=no", f"--root={self.root}",
                                *UNITS], capture_output=True, text=True, check=False)
        wrong = [line for line in shown.stderr.splitlines() if re.search(r"Unknown|Invalid|Failed to parse", line)]
        self.assertEqual(wrong, [])

    def test_Configuration_IsTheOperatorsAndAllowsNothing(self):
        self.assertEqual((self.root / "DEBIAN/conffiles").read_text(), "/etc/cellslot/agent.conf\n")
        text = (self.root / "etc/cellslot/agent.conf").read_text()
        set_ = [line for line in text.splitlines() if line and not line.startswith("#")]
        self.assertEqual(set_, ["RECEIVED_SMS=no"])

    def test_ConfigurationWithAllCommentsTaken_NamesOnlyKnownKeys(self):
        """Each key that the file explains is one that the agent knows."""
        place = pathlib.Path("/etc/cellslot/agent.conf")
        place.parent.mkdir(exist_ok=True)
        place.write_text(re.sub(r"^#([A-Z_]+=)", r"\1", (self.root / "etc/cellslot/agent.conf").read_text(), flags=re.M))
        shown = subprocess.run([BIN / "cellslot-agent-command", "check"], capture_output=True, text=True,
                               check=False)
        self.assertNotIn(" line ", shown.stdout)

    def test_ManualPage_NamesEveryKeyAndSubcommand(self):
        page = self.root / "usr/share/man/man8/cellslot-agent.8.gz"
        text = subprocess.run(["gzip", "-dc", page], capture_output=True, check=True).stdout.decode()
        keys = re.findall(r"^#?([A-Z_]+)=", (self.root / "etc/cellslot/agent.conf").read_text(), re.M)
        for key in keys:
            self.assertIn(f".It Ev {key}", text)
        for word in ("check", "status"):
            self.assertIn(f".Cm {word}", text)


if __name__ == "__main__":
    unittest.main(verbosity=2)
