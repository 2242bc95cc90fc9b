#!/usr/bin/env python3
"""The manual pages: both formatters accept them without a warning, and they name every program, key
and subcommand."""

import os
import pathlib
import re
import subprocess
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGES = sorted((ROOT / "docs" / "man").glob("*.[1-8]"))
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"}


def formatted(page):
    done = subprocess.run(["mandoc", "-Tascii", page], capture_output=True, text=True, check=True)
    return re.sub(".\b", "", done.stdout)


class ManPages(unittest.TestCase):
    def test_everyProgramHasItsPage(self):
        programs = re.findall(r"PROGRAMS=\((.*)\)", (ROOT / "scripts" / "package.sh").read_text())
        # A page of another package is cellslot-NAME.8.
        self.assertEqual({page.name for page in PAGES if not page.name.startswith("cellslot-")},
                         {"cellslot.conf.5",
                          *(name + (".8" if name.endswith("d") else ".1")
                            for name in programs[0].split())})

    def test_everyVariableOfTheEnvironmentIsExplained(self):
        page = (ROOT / "docs" / "man" / "cellslotd.8").read_text()
        explained = page.partition(".Sh ENVIRONMENT")[2].partition("\n.Sh ")[0]
        source = (ROOT / "main" / "service_manager.cpp").read_text()
        variables = re.findall(r'takeVariable\("(\w+)"\)', source)
        self.assertEqual(len(variables), 3)
        for variable in variables:
            self.assertRegex(explained, rf"(?m)^\.It Ev (\w+ , )?{variable}\b")

    def test_mandocFindsNoWarning(self):
        for page in PAGES:
            with self.subTest(page=page.name):
                done = subprocess.run(["mandoc", "-Tlint", "-W", "warning", page],
                                      capture_output=True, text=True, check=False)
                self.assertEqual((done.returncode, done.stdout), (0, ""))

    def test_manWarnsOfNothing(self):
        for page in PAGES:
            with self.subTest(page=page.name):
                done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z",
                                       page], capture_output=True, text=True, check=False,
                                      env=ENVIRONMENT)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertNotEqual(done.stdout, "")

    def test_everyKeyIsExplained(self):
        keys = re.findall(r'^constexpr const char\* \w+ = "(\w+)";$',
                          (ROOT / "config" / "config_keys.h").read_text(), re.MULTILINE)
        self.assertGreater(len(keys), 20)
        page = (ROOT / "docs" / "man" / "cellslot.conf.5").read_text()
        explained = re.findall(r"^\.It Ic (\w+) Ns =", page, re.MULTILINE)
        self.assertEqual(explained, keys)

    def test_everySubcommandIsExplained(self):
        command = pathlib.Path(os.environ["CELLSLOT_BIN"]) / "cellslot"
        shown = subprocess.run([command, "--help"], capture_output=True, text=True, check=True)
        names = re.findall(r"^  (\w[\w-]*) ", shown.stdout.partition("Subcommands:")[2],
                           re.MULTILINE)
        self.assertIn("doctor", names)
        text = formatted(ROOT / "docs" / "man" / "cellslot.1")
        for name in names:
            self.assertRegex(text, rf"(?m)^ +(cellslot )?{name}\b", name)

    def test_everyExitStatusIsListed(self):
        header = (ROOT / "cli" / "base" / "exit_status.h").read_text()
        numbers = re.findall(r"^    [A-Z_]+ = (\d+),", header, re.MULTILINE)
        self.assertGreater(len(numbers), 5)
        page = (ROOT / "docs" / "man" / "cellslot.1").read_text()
        section = page.partition(".Sh EXIT STATUS")[2].partition("\n.Sh ")[0]
        self.assertEqual(re.findall(r"^\.It (?:Sy )?(\d+)$", section, re.MULTILINE), numbers)


if __name__ == "__main__":
    unittest.main()
