#!/usr/bin/env python3
"""The Debian package of the page: what is in it, and that its units are what systemd accepts."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

PACKAGE, = pathlib.Path(os.environ["CELLSLOT_PACKAGES"]).glob("cellslot-web_*.deb")
BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
UNITS = ("cellslot-web.service", "cellslot-web.socket", "cellslot-web-lan.socket",
         "cellslot-web-messages.socket", "cellslot-web-messages@.service")
PAGE_MAX = 80 * 1024


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.root = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.root)
        subprocess.run(["dpkg-deb", "-R", PACKAGE, cls.root], check=True)

    def field(self, name):
        return subprocess.run(["dpkg-deb", "-f", PACKAGE, name], capture_output=True, text=True,
                              check=True).stdout.strip()

    def test_Depends_NameTheLibraryAndTheDaemonsPackage(self):
        self.assertRegex(self.field("Depends"), r"libmicrohttpd12.*cellslot\b")
        self.assertNotIn("librrd", self.field("Depends"))

    def test_Page_IsWholeSmallAndNamesNoOtherHost(self):
        page = self.root / "usr/share/cellslot-web"
        size = sum(file.stat().st_size for file in page.iterdir())
        print(f"the page has {size} bytes, compressed; the package {PACKAGE.stat().st_size}")
        self.assertLessEqual(size, PAGE_MAX)
        source = (pathlib.Path(__file__).resolve().parents[2] / "web/page_files.cpp").read_text()
        named = set(re.findall(r'\{"/[^"]*",\s+"([^"]+)"', source))
        self.assertEqual({file.name for file in page.iterdir()}, {name + ".gz" for name in named})
        for file in page.iterdir():
            text = subprocess.run(["gzip", "-dc", file], capture_output=True, check=True).stdout.decode()
            if file.name.startswith("uplot"):
                continue  # names its project's page in a comment
            found = set(re.findall(r"https?://[^\s\"'<>)]+", text)) - {"http://www.w3.org/2000/svg"}
            self.assertEqual(found, set(), file.name)

    def test_ListOfModules_NamesVersionsAndChecksumsButNoHost(self):
        folder = pathlib.Path(__file__).resolve().parents[2] / "web/page"
        text = (folder / "package-lock.json").read_text()
        self.assertNotIn("://", text)
        modules = json.loads(text)["packages"]
        for name in ("node_modules/uplot", "node_modules/axe-core"):
            self.assertRegex(modules[name]["version"], r"^\d+\.\d+\.\d+$")
            self.assertTrue(modules[name]["integrity"].startswith("sha512-"), name)
        self.assertIn("omit-lockfile-registry-resolved=true\n", (folder / ".npmrc").read_text())

    def test_ManualPage_IsInstalled(self):
        page = self.root / "usr/share/man/man8/cellslot-web.8.gz"
        text = subprocess.run(["gzip", "-dc", page], capture_output=True, check=True).stdout.decode()
        shown = subprocess.run([BIN / "cellslot-web", "--help"], capture_output=True, text=True, check=True).stdout
        for action in re.findall(r"^  (\w+) ", shown, re.M):
            self.assertIn(f".Cm {action}\n", text)
        for option in re.findall(r"^    --(\w+) ", shown, re.M):
            self.assertIn(f".It Fl -{option} ", text)

    def test_Index_HasNoInlineScriptOrStyle(self):
        text = subprocess.run(["gzip", "-dc", self.root / "usr/share/cellslot-web/index.html.gz"],
                              capture_output=True, check=True).stdout.decode()
        for script in re.findall(r"<script[^>]*>(.*?)</script>", text, re.S):
            self.assertEqual(script, "")
        self.assertNotRegex(text, r"<style|\sstyle=|\son\w+=|javascript:")

    def test_Configuration_IsTheOperators(self):
        conffiles = (self.root / "DEBIAN/conffiles").read_text().split()
        self.assertEqual(conffiles, ["/etc/cellslot/web.conf"])
        self.assertIn("\nMESSAGES=no\n", (self.root / "etc/cellslot/web.conf").read_text())

    def test_Units_AreCorrectAndSandboxed(self):
        places = self.root / "lib/systemd/system"
        self.assertEqual({file.name for file in places.iterdir()}, set(UNITS))
        for name in ("cellslot-web.service", "cellslot-web-messages@.service"):
            shown = subprocess.run(["systemd-analyze", "security", "--offline=true", "--no-pager",
                                    "--threshold=20", places / name], capture_output=True, text=True)
            level = re.search(r"Overall exposure level.*?: ([\d.]+)", shown.stdout)
            print(f"{name}: exposure {level[1] if level else shown.stdout + shown.stderr}")
            self.assertEqual(shown.returncode, 0, shown.stdout + shown.stderr)

    def test_LocalSocket_IsOnTheLoopbackInterface(self):
        text = (self.root / "lib/systemd/system/cellslot-web.socket").read_text()
        self.assertEqual(re.findall(r"^ListenStream=(.*)$", text, re.M), ["127.0.0.1:8088"])

    def test_Scripts_AreCorrectShell(self):
        for script in ("postinst", "prerm", "postrm"):
            subprocess.run(["sh", "-n", self.root / "DEBIAN" / script], check=True)

    def test_Lintian_FindsNoError(self):
        shown = subprocess.run(["lintian", "--fail-on", "error", "--tag-display-limit", "0",
                                "--suppress-tags", "dir-or-file-in-etc-opt", PACKAGE],
                               capture_output=True, text=True)
        self.assertEqual(shown.returncode, 0, shown.stdout)


if __name__ == "__main__":
    unittest.main(verbosity=2)
