#!/usr/bin/env python3
"""The Debian package of the operator's desk: its content. Run by scripts/test_fleet.sh, which sets what
package_case.py needs; the folder "old" has the package."""

import os
import pathlib
import re
import subprocess
import unittest

from package_case import ContentsCase, output, pageFiles

BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
COMMANDS = ("status", "show", "watch", "events", "send", "serve", "password", "check")


def shown(*words):
    return subprocess.run([BIN / "cellslot-fleet", *words], capture_output=True, text=True, check=True).stdout


def options(command):
    return set(re.findall(r"(--[a-z-]+)", " ".join(re.findall(r"(?m)^  (-.*?)  ", shown(command, "--help")))))


class Contents(ContentsCase, unittest.TestCase):
    NAME = "cellslot-fleet"
    SERVICES = ("cellslot-fleet.service",)
    EXPOSURE_MAX = 15

    def test_depends_nameTheLibraryAndNoGatewaysPackage(self):
        depends = output("dpkg-deb", "-f", str(self.package), "Depends")
        self.assertIn("libmosquitto1", depends)
        self.assertIn("libmicrohttpd12", depends)
        self.assertNotRegex(depends, r"\bcellslot\b|librrd")

    def test_files_areInTheirPlaces(self):
        self.assertEqual(self.modes["usr/bin/cellslot-fleet"], "-rwxr-xr-x")
        for file in ("etc/cellslot/fleet.conf", "usr/share/man/man1/cellslot-fleet.1.gz",
                     "usr/share/bash-completion/completions/cellslot-fleet", "usr/share/doc/cellslot-fleet/fleet.md",
                     "usr/share/doc/cellslot-fleet/examples/mosquitto/mosquitto.conf",
                     "usr/share/doc/cellslot-fleet/examples/nats/node.conf"):
            self.assertEqual(self.modes.get(file), "-rw-r--r--", file)
        for program in ("keys.sh", "nats/whole.py"):
            self.assertEqual(self.modes[f"usr/share/doc/cellslot-fleet/examples/{program}"], "-rwxr-xr-x")

    def test_page_isWhole(self):
        named = pageFiles("fleet/fleet_site.cpp")
        self.assertGreater(len(named), 5)
        self.assertEqual({file.name for file in (self.root / "usr/share/cellslot-fleet").iterdir()}, named)

    def test_manualPage_namesEveryCommandAndOption(self):
        page = self.root / "usr/share/man/man1/cellslot-fleet.1.gz"
        text = subprocess.run(["gzip", "-dc", page], capture_output=True, check=True).stdout.decode()
        for command in COMMANDS:
            self.assertIn(f".It Cm {command}", text)
            for option in options(command) - {"--help"}:
                self.assertIn(f"Fl -{option[2:]}", text, f"{command} {option}")

    def test_completion_hasEveryCommandAndOption(self):
        file = self.root / "usr/share/bash-completion/completions/cellslot-fleet"
        for command in COMMANDS:
            text = output("bash", "-c", f". {file}; _cellslot_fleet_options {command}")
            self.assertEqual(set(re.findall(r"--[a-z-]+", text)), options(command), command)
        words = output("bash", "-c", f". {file}; COMP_WORDS=(cellslot-fleet ''); COMP_CWORD=1; "
                       "_cellslot_fleet cellslot-fleet '' cellslot-fleet; echo ${COMPREPLY[*]}").split()
        self.assertEqual(sorted(words), sorted(COMMANDS))

    def test_configuration_isCorrectWhenItsExamplesAreUsed(self):
        text = (self.root / "etc/cellslot/fleet.conf").read_text()
        used = re.sub(r"(?m)^#([A-Z_]+=)", r"\1", text)
        for file in re.findall(r"(?m)^\w+_FILE=(.*)$", used):
            used = used.replace(file, "/dev/null")
        file = self.root / "used.conf"
        file.write_text(used.replace("BROKER=broker.example.com:8886", "BROKER=localhost:1"))
        result = subprocess.run([BIN / "cellslot-fleet", "check", "--conf", file], capture_output=True, text=True,
                                check=False)
        self.assertIn(f"{file} is correct; asks as anna@desk", result.stdout + result.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
