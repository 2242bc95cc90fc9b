#!/usr/bin/env python3
"""The Debian package of the page: its content (Contents), and its life on a fresh host (Life). Run by
scripts/test_web.sh, which sets what package_test.py needs; the folder "old" has the daemon's package too."""

import base64
import http.client
import json
import os
import pathlib
import re
import socket
import ssl
import subprocess
import unittest

import package_test
from package_case import ROOT, UNITS, ContentsCase, output, packageFile, pageFiles
from gateway import LIMIT_S, freshHost, waitUntil

REPO = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
PAGE_MAX = 80 * 1024
USER = "cellslot-web"
SOCKETS = ("cellslot-web.socket", "cellslot-web-messages.socket")
LAN = "10.77.0.1"
PASSWORD = "correct horse battery"
CREDENTIALS = {"password": "web.password", "certificate": "web.crt", "key": "web.key"}


class Contents(ContentsCase, unittest.TestCase):
    NAME = "cellslot-web"
    SERVICES = ("cellslot-web.service", "cellslot-web-messages@1.service")
    EXPOSURE_MAX = 20

    def test_depends_nameTheLibraryAndTheDaemonsPackage(self):
        depends = output("dpkg-deb", "-f", str(self.package), "Depends")
        self.assertRegex(depends, r"libmicrohttpd12.*cellslot\b")
        self.assertNotIn("librrd", depends)

    def test_units_areThoseOfThePage(self):
        self.assertEqual({file.name for file in (self.root / UNITS).iterdir()},
                         {"cellslot-web.service", "cellslot-web.socket", "cellslot-web-lan.socket",
                          "cellslot-web-messages.socket", "cellslot-web-messages@.service"})

    def test_page_isWholeSmallAndNamesNoOtherHost(self):
        page = self.root / "usr/share/cellslot-web"
        size = sum(file.stat().st_size for file in page.iterdir())
        print(f"the page has {size} bytes, compressed; the package {self.package.stat().st_size}")
        self.assertLessEqual(size, PAGE_MAX)
        self.assertEqual({file.name for file in page.iterdir()}, pageFiles("web/page_table.cpp"))
        for file in page.iterdir():
            text = subprocess.run(["gzip", "-dc", file], capture_output=True, check=True).stdout.decode()
            if file.name.startswith("uplot"):
                continue  # names its project's page in a comment
            found = set(re.findall(r"https?://[^\s\"'<>)]+", text)) - {"http://www.w3.org/2000/svg"}
            self.assertEqual(found, set(), file.name)

    def test_listOfModules_namesVersionsAndChecksumsButNoHost(self):
        folder = REPO / "web/page"
        text = (folder / "package-lock.json").read_text()
        self.assertNotIn("://", text)
        modules = json.loads(text)["packages"]
        for name in ("node_modules/uplot", "node_modules/axe-core", "node_modules/@asyncapi/specs"):
            self.assertRegex(modules[name]["version"], r"^\d+\.\d+\.\d+$")
            self.assertTrue(modules[name]["integrity"].startswith("sha512-"), name)
        self.assertIn("omit-lockfile-registry-resolved=true\n", (folder / ".npmrc").read_text())

    def test_manualPage_isInstalledAndNamesEveryOption(self):
        page = self.root / "usr/share/man/man8/cellslot-web.8.gz"
        text = subprocess.run(["gzip", "-dc", page], capture_output=True, check=True).stdout.decode()
        shown = subprocess.run([BIN / "cellslot-web", "--help"], capture_output=True, text=True, check=True).stdout
        for action in re.findall(r"^  (\w+) ", shown, re.M):
            self.assertIn(f".Cm {action}\n", text)
        for option in re.findall(r"^    --(\w+) ", shown, re.M):
            self.assertIn(f".It Fl -{option} ", text)

    def test_index_hasNoInlineScriptOrStyle(self):
        text = subprocess.run(["gzip", "-dc", self.root / "usr/share/cellslot-web/index.html.gz"],
                              capture_output=True, check=True).stdout.decode()
        for script in re.findall(r"<script[^>]*>(.*?)</script>", text, re.S):
            self.assertEqual(script, "")
        self.assertNotRegex(text, r"<style|\sstyle=|\son\w+=|javascript:")

    def test_configuration_showsNoMessagesUnlessAllowed(self):
        self.assertIn("\nMESSAGES=no\n", (self.root / "etc/cellslot/web.conf").read_text())

    def test_localSocket_isOnTheLoopbackInterface(self):
        text = (self.root / "lib/systemd/system/cellslot-web.socket").read_text()
        self.assertEqual(re.findall(r"^ListenStream=(.*)$", text, re.M), ["127.0.0.1:8088"])


class Life(package_test.Life):
    """One test, because each step needs the one before it."""

    test_installRunUpgradeRemovePurge_nothingIsLeft = None  # that of the other package

    def installPage(self, which):
        target = ROOT / "tmp" / "package.deb"
        target.write_bytes(packageFile(which, "cellslot-web").read_bytes())
        self.inRoot("dpkg", "-i", "/tmp/package.deb")
        target.unlink()

    def serve(self, address):
        """As the service, in the part of its sandbox that works without a service manager; the port."""
        unit = (ROOT / UNITS / "cellslot-web.service").read_text()
        self.assertIn(f"\nUser={USER}\n", unit)
        command = re.search(r"(?m)^ExecStart=(.*)$", unit)[1]
        sock = socket.create_server((address, 0))
        self.addCleanup(sock.close)
        credentials = ROOT / "run/credentials"
        credentials.mkdir(exist_ok=True)
        for name, file in re.findall(r"(?m)^LoadCredential=(\w+):(\S+)$", unit):
            self.assertEqual(file, "/etc/cellslot/" + CREDENTIALS[name])
            (credentials / name).write_bytes((ROOT / file[1:]).read_bytes())
        script = ("mount -n -o remount,bind,ro / && export LISTEN_FDS=1 LISTEN_PID=$$"
                  f" CREDENTIALS_DIRECTORY=/run/credentials && exec 3<&{sock.fileno()} && exec setpriv"
                  f" --reuid {USER} --regid {USER} --clear-groups --bounding-set -all --no-new-privs {command}")
        server = subprocess.Popen(["unshare", "--mount", "chroot", ROOT, "/bin/bash", "-c", script],
                                  pass_fds=[sock.fileno()])
        self.addCleanup(server.kill)
        return server, sock.getsockname()[1]

    def ask(self, connection, path, password=None):
        headers = {"Accept-Encoding": "gzip"}
        if password:
            headers["Authorization"] = "Basic " + base64.b64encode(f"me:{password}".encode()).decode()
        connection.request("GET", path, headers=headers)
        answer = connection.getresponse()
        answer.read()
        connection.close()
        return answer.status

    def end(self, server):
        server.terminate()
        self.assertEqual(server.wait(LIMIT_S), 0)

    def checkLocal(self):
        server, port = self.serve("127.0.0.1")
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=LIMIT_S)
        for path in ("/", "/page.js", "/uplot.js", "/api/status", "/metrics"):
            self.assertEqual(self.ask(connection, path), 200, path)
        self.end(server)

    def checkLan(self):
        server, port = self.serve(LAN)
        context = ssl.create_default_context(cafile=str(ROOT / "etc/cellslot/web.crt"))
        connection = http.client.HTTPSConnection(LAN, port, timeout=LIMIT_S, context=context)
        self.assertEqual(self.ask(connection, "/api/status"), 401)
        self.assertEqual(self.ask(connection, "/api/status", PASSWORD), 200)
        self.end(server)

    def openToTheLan(self):
        """As the document says."""
        folder = ROOT / "etc/cellslot"
        output("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
               "-days", "30", "-subj", "/CN=gateway", "-addext", f"subjectAltName=IP:{LAN}",
               "-keyout", str(folder / "web.key"), "-out", str(folder / "web.crt"))
        subprocess.run(["chroot", ROOT, "cellslot-web", "password"], input=PASSWORD + "\n", text=True, check=True)

    def operatorsFiles(self):
        return {file.name: (file.read_bytes(), file.stat().st_mode) for file in (ROOT / "etc/cellslot").glob("web.*")}

    def isEnabled(self, unit):
        return (ROOT / "etc/systemd/system/sockets.target.wants" / unit).is_symlink()

    def test_installRunUpgradeRemovePurge_whatTheOperatorMadeStaysUntilThePurge(self):
        freshHost()
        output("ip", "address", "replace", LAN + "/32", "dev", "lo")
        self.install("old")
        withoutPage = self.files()

        self.installPage("old")
        for name in CREDENTIALS.values():
            info = (ROOT / "etc/cellslot" / name).stat()
            self.assertEqual((info.st_size, info.st_mode & 0o777, info.st_uid), (0, 0o600, 0), name)
        self.assertEqual([self.isEnabled(unit) for unit in (*SOCKETS, "cellslot-web-lan.socket")], [True, True, False])
        self.checkLocal()
        self.assertIn("is correct: messages are not shown", self.inRoot("cellslot-web", "check"))

        self.openToTheLan()
        config = ROOT / "etc/cellslot/web.conf"
        config.write_text(config.read_text().replace("MESSAGES=no", "MESSAGES=yes"))
        self.checkLan()
        user = re.search(rf"(?m)^{USER}:.*$", (ROOT / "etc/passwd").read_text())[0]
        made = self.operatorsFiles()
        self.inRoot("systemctl", "disable", "cellslot-web-messages.socket")

        self.installPage("new")
        self.assertEqual(self.operatorsFiles(), made)
        self.assertIn(user + "\n", (ROOT / "etc/passwd").read_text())
        self.assertEqual([self.isEnabled(unit) for unit in SOCKETS], [True, False], "the operator decides")
        self.checkLocal()
        self.checkLan()

        self.inRoot("dpkg", "-r", "cellslot-web")
        self.assertFalse((ROOT / "usr/sbin/cellslot-web").exists())
        self.assertEqual(self.operatorsFiles(), made)
        self.inRoot("dpkg", "-P", "cellslot-web")
        left = {name for name in self.files() - withoutPage if not name.startswith(("run/", "tmp/"))}
        # The copies of the files before a user was added or removed.
        self.assertEqual({name for name in left if not re.match(r"etc/(passwd|group|g?shadow)-$", name)}, set())
        self.assertNotIn(USER, (ROOT / "etc/passwd").read_text() + (ROOT / "etc/group").read_text())
        self.assertEqual(withoutPage - self.files(), set())


if __name__ == "__main__":
    unittest.main(verbosity=2)
