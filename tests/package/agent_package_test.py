#!/usr/bin/env python3
"""The Debian package of the agent: its content (Contents), and its life on a fresh host (Life), where the agent
from the package talks to a broker. Run by scripts/test_agent.sh, which sets what package_test.py needs; the folder
"old" has the daemon's package too."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

import package_test
from package_case import ROOT, UNITS, ContentsCase, output, packageFile
from gateway import LIMIT_S, WORK, freshHost

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "agent"))
from broker import GATEWAY, Broker, Operator  # noqa: E402

BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
AGENT_UNITS = ("cellslot-agent.service", "cellslot-agent-commands.socket", "cellslot-agent-commands@.service",
               "cellslot-agent-change.path", "cellslot-agent-change.service")
WANTED = {"cellslot-agent.service": "multi-user", "cellslot-agent-commands.socket": "sockets",
          "cellslot-agent-change.path": "paths"}
USER = "cellslot-agent"
FOLDER = ROOT / "etc/cellslot"
STATE = ROOT / "var/lib/cellslot"


class Contents(ContentsCase, unittest.TestCase):
    NAME = "cellslot-agent"
    SERVICES = ("cellslot-agent.service",)
    EXPOSURE_MAX = 22

    def test_depends_nameTheLibraryAndTheDaemonsPackage(self):
        depends = output("dpkg-deb", "-f", str(self.package), "Depends")
        self.assertRegex(depends, r"libmosquitto1.*cellslot\b")
        self.assertRegex(depends, r"libssl3")

    def test_programs_linkTheSharedTls(self):
        """Its updates have to reach the agent."""
        for name in ("cellslot-agent",):
            shown = subprocess.run(["ldd", self.root / "usr/lib/cellslot" / name], capture_output=True, text=True,
                                   check=True).stdout
            self.assertIn("libssl.so", shown)
            symbols = subprocess.run(["nm", BIN / name], capture_output=True, text=True, check=True).stdout
            self.assertNotRegex(symbols, r" [Tt] SSL_connect\b")

    def test_units_areThoseOfTheAgentAndStartItsPrograms(self):
        folder = self.root / UNITS
        self.assertEqual(sorted(unit.name for unit in folder.iterdir()), sorted(AGENT_UNITS))
        for unit in AGENT_UNITS:
            for program in re.findall(r"^ExecStart=(\S+)", (folder / unit).read_text(), re.M):
                self.assertTrue((self.root / program[1:]).exists(), program)

    def test_otherServices_areAcceptedCompletely(self):
        for unit in ("cellslot-agent-commands@1.service", "cellslot-agent-change.service"):
            shown = subprocess.run(["systemd-analyze", "verify", "--man=no", self.extractedUnit(unit)],
                                   capture_output=True, text=True, check=False)
            self.assertEqual((shown.returncode, shown.stdout + shown.stderr), (0, ""), unit)

    def test_configuration_isTheOperatorsAndAllowsNothing(self):
        self.assertEqual((self.root / "DEBIAN/conffiles").read_text(), "/etc/cellslot/agent.conf\n")
        text = (self.root / "etc/cellslot/agent.conf").read_text()
        set_ = [line for line in text.splitlines() if line and not line.startswith("#")]
        self.assertEqual(set_, ["RECEIVED_SMS=no"])

    def test_configurationWithAllCommentsTaken_namesOnlyKnownKeys(self):
        """Each key that the file explains is one that the agent knows."""
        place = pathlib.Path("/etc/cellslot/agent.conf")
        place.parent.mkdir(exist_ok=True)
        place.write_text(re.sub(r"^#([A-Z_]+=)", r"\1", (self.root / "etc/cellslot/agent.conf").read_text(), flags=re.M))
        shown = subprocess.run([BIN / "cellslot-agent-command", "check"], capture_output=True, text=True,
                               check=False)
        self.assertNotIn(" line ", shown.stdout)

    def test_manualPage_namesEveryKeyAndSubcommand(self):
        page = self.root / "usr/share/man/man8/cellslot-agent.8.gz"
        text = subprocess.run(["gzip", "-dc", page], capture_output=True, check=True).stdout.decode()
        keys = re.findall(r"^#?([A-Z_]+)=", (self.root / "etc/cellslot/agent.conf").read_text(), re.M)
        for key in keys:
            self.assertIn(f".It Ev {key}", text)
        for word in ("check", "status"):
            self.assertIn(f".Cm {word}", text)


class Life(package_test.Life):
    """One test, because each step needs the one before it."""

    test_installRunUpgradeRemovePurge_nothingIsLeft = None  # that of the other package

    def installAgent(self, which):
        target = ROOT / "tmp" / "package.deb"
        target.write_bytes(packageFile(which, "cellslot-agent").read_bytes())
        self.inRoot("dpkg", "-i", "/tmp/package.deb")
        target.unlink()

    def enabled(self):
        return {unit for unit, target in WANTED.items()
                if (ROOT / f"etc/systemd/system/{target}.target.wants" / unit).is_symlink()}

    def configure(self):
        """As the document says."""
        files = {"broker-ca.pem": "ca.crt", "agent-cert.pem": "gateway.crt", "agent-key.pem": "gateway.key"}
        for name, made in files.items():
            shutil.copy(self.broker.folder / made, FOLDER / name)
        (FOLDER / "agent-key.pem").chmod(0o600)
        config = FOLDER / "agent.conf"
        text = re.sub(r"(?m)^#(CA_FILE|CERT_FILE|KEY_FILE)=", r"\1=", config.read_text())
        config.write_text(text + f"GATEWAY={GATEWAY}\nBROKER=localhost:{self.broker.port}\n")
        said = self.inRoot("sh", "-c", "cellslot agent check || true")
        self.assertIn("KEY_FILE=/etc/cellslot/agent-key.pem cannot be read: Permission denied", said)
        self.assertIn(f"chgrp {USER}", said)
        self.inRoot("chgrp", USER, "/etc/cellslot/agent-key.pem")
        (FOLDER / "agent-key.pem").chmod(0o640)

    def startAgent(self):
        """In the part of the unit's sandbox that works without a service manager."""
        unit = dict(re.findall(r"(?m)^(\w+)=(.*)$", (ROOT / UNITS / "cellslot-agent.service").read_text()))
        self.assertEqual((unit["User"], unit["ProtectSystem"], unit["StateDirectoryMode"]), (USER, "strict", "0700"))
        folders = {f"/var/lib/{unit['StateDirectory']}": "700", f"/run/{unit['RuntimeDirectory']}": "755"}
        steps = [f"install -d -m {mode} -o {USER} -g {USER} {folder}" for folder, mode in folders.items()]
        steps += ["mount -n -o remount,bind,ro /"]
        steps += [f"mount -n --bind {folder} {folder} && mount -n -o remount,bind,rw {folder}" for folder in folders]
        script = " && ".join(["set -e", *steps, f"exec setpriv --reuid {USER} --regid {USER} --clear-groups"
                              f" --bounding-set -all --no-new-privs {unit['ExecStart']}"])
        agent = subprocess.Popen(["unshare", "--mount", "chroot", ROOT, "/bin/bash", "-c", script])
        self.addCleanup(agent.kill)
        return agent

    def connect(self):
        """The stream and the version of an agent that was at the broker and ended in order."""
        mark = self.operator.mark()
        agent = self.startAgent()
        self.operator.waitEvent("agent", mark)
        said = self.operator.waitOnline(since=mark)
        agent.terminate()
        self.assertEqual(agent.wait(LIMIT_S), 0)
        self.operator.waitOnline(False, mark)
        return said["stream"]

    def test_installRunUpgradeRemovePurge_configurationAndSpoolStayUntilThePurge(self):
        freshHost()
        (ROOT / "etc/hosts").write_text("127.0.0.1 localhost\n")
        self.broker = Broker(WORK / "broker")
        self.broker.start()
        self.addCleanup(self.broker.stop)
        self.operator = Operator(self.broker)
        self.addCleanup(self.operator.end)
        self.install("old")
        withoutAgent = self.files()

        self.installAgent("old")
        user = re.search(rf"(?m)^{USER}:.*$", (ROOT / "etc/passwd").read_text())[0]
        self.assertEqual(self.enabled(), set(WANTED))
        self.assertIn("GATEWAY is missing", self.inRoot("sh", "-c", "cellslot agent check || true"))
        self.configure()
        self.assertIn("ok: nothing to correct", self.inRoot("cellslot", "agent", "check"))
        stream = self.connect()
        self.assertEqual(self.inRoot("stat", "-c", "%U %a", "/var/lib/cellslot/agent"), f"{USER} 700\n")
        config = (FOLDER / "agent.conf").read_text()
        self.inRoot("systemctl", "disable", "cellslot-agent-change.path")

        self.installAgent("new")
        self.assertEqual((FOLDER / "agent.conf").read_text(), config)
        self.assertIn(user + "\n", (ROOT / "etc/passwd").read_text())
        self.assertEqual(self.enabled(), set(WANTED) - {"cellslot-agent-change.path"}, "the operator decides")
        self.assertEqual(self.connect(), stream)

        changes = STATE / "agent-change"
        changes.mkdir()
        (changes / "pending").write_text(json.dumps({"id": "c1"}))
        said = self.inRoot("sh", "-c", "dpkg -r cellslot-agent 2>&1 || true")
        self.assertIn("a change of a configuration is under way", said)
        self.assertTrue((ROOT / "usr/lib/cellslot/cellslot-agent").exists())
        (changes / "pending").unlink()
        (changes / "outcome").write_text("{}")

        self.inRoot("dpkg", "-r", "cellslot-agent")
        self.assertFalse((ROOT / "usr/lib/cellslot/cellslot-agent").exists())
        self.assertEqual(self.enabled(), set())
        self.assertEqual((FOLDER / "agent.conf").read_text(), config)
        self.assertTrue((STATE / "agent/data.mdb").exists())
        self.assertTrue((FOLDER / "agent-key.pem").exists())

        self.installAgent("new")
        self.assertEqual(self.enabled(), set(WANTED) - {"cellslot-agent-change.path"}, "as before the removal")
        self.assertEqual(self.connect(), stream)
        self.inRoot("dpkg", "-P", "cellslot-agent")
        self.assertFalse(STATE.exists())
        self.assertFalse((ROOT / "run/cellslot-agent").exists())
        left = {name for name in self.files() - withoutAgent if not name.startswith("tmp/")}
        # The copies of the files before a user was added or removed.
        self.assertEqual({name for name in left if not re.match(r"etc/(passwd|group|g?shadow)-$", name)}, set())
        self.assertNotIn(USER, (ROOT / "etc/passwd").read_text() + (ROOT / "etc/group").read_text())
        self.assertEqual(withoutAgent - self.files(), set())


if __name__ == "__main__":
    unittest.main(verbosity=2)
