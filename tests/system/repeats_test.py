#!/usr/bin/env python3
"""scripts/lib/repeats.py: which lines of a tree count as repeated."""
import contextlib
import importlib.util
import io
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

SCRIPT = Path(__file__).resolve().parents[2] / "scripts/lib/repeats.py"

SIX = [f"    value[{i}] = read({i});" for i in range(6)]


class Repeats(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)

    def write(self, name, lines):
        path = self.root / name
        path.parent.mkdir(exist_ok=True)
        path.write_text("\n".join(lines) + "\n")

    def findings(self):
        done = subprocess.run([sys.executable, SCRIPT, "--root", self.root], capture_output=True,
                              text=True, check=False)
        self.assertEqual(done.returncode, 1 if done.stderr else 0)
        self.assertEqual(done.stdout, "")
        return done.stderr.splitlines()

    def test_sixLinesInTwoFiles_areFoundWithBothPlaces(self):
        self.write("atcmd/a.cpp", ["int a;", *SIX])
        self.write("sms/b.cpp", SIX)
        self.assertEqual(self.findings(),
                         ["repeats: sms/b.cpp:1-6 is the same as atcmd/a.cpp:2-7: write it once"])

    def test_sixLinesTwiceInOneFile_areFound(self):
        self.write("atcmd/a.cpp", [*SIX, "int a;", *SIX])
        self.assertEqual(len(self.findings()), 1)

    def test_longerRun_isFoundOnceAndWhole(self):
        self.write("a.sh", [*SIX, "seven", "eight"])
        self.write("b.sh", [*SIX, "seven", "eight"])
        self.assertEqual(self.findings(),
                         ["repeats: b.sh:1-8 is the same as a.sh:1-8: write it once"])

    def test_whiteSpaceBracesCommentsAndIncludesBetween_makeNoDifference(self):
        self.write("atcmd/a.cpp", SIX)
        self.write("sms/b.cpp", ["#include <cstdio>", *SIX[:3], "", "{", "// says why", "}",
                                 *["\t" + line.strip() for line in SIX[3:]]])
        self.assertEqual(len(self.findings()), 1)

    def test_scriptWithoutEnding_isRead(self):
        self.write("gateway-tools/tool", ["#!/bin/sh", *SIX])
        self.write("scripts/b.sh", SIX)
        self.assertEqual(len(self.findings()), 1)

    def test_fiveLines_areNone(self):
        self.write("atcmd/a.cpp", [*SIX[:5], "int a;"])
        self.write("sms/b.cpp", [*SIX[:5], "int b;"])
        self.assertEqual(self.findings(), [])

    def test_oneLineManyTimesInARow_isNone(self):
        self.write("atcmd/a.cpp", ["x();"] * 11)
        self.assertEqual(self.findings(), [])

    def test_tests_mayRepeatProductCode(self):
        self.write("atcmd/a.cpp", SIX)
        self.write("tests/b.cpp", SIX)
        self.assertEqual(self.findings(), [])

    def findingsWith(self, exceptions):
        spec = importlib.util.spec_from_file_location("repeats", SCRIPT)
        repeats = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(repeats)
        repeats.EXCEPTIONS = exceptions
        with mock.patch.object(sys, "argv", ["repeats", "--root", str(self.root)]), \
                contextlib.redirect_stderr(io.StringIO()) as errors:
            repeats.main()
        return errors.getvalue().splitlines()

    def test_exception_isLeftOut(self):
        self.write("a.sh", SIX)
        self.write("b.sh", SIX)
        self.assertEqual(self.findingsWith({("a.sh", "b.sh"): "installed alone"}), [])

    def test_exceptionThatIsNotNeeded_isFound(self):
        self.write("a.sh", SIX)
        self.assertEqual(self.findingsWith({("a.sh", "b.sh"): "installed alone"}),
                         ["repeats: a.sh and b.sh: this exception is not needed"])

    def test_treeWithoutCode_isAnError(self):
        self.write("README.md", SIX)
        self.assertEqual(self.findings(), ["repeats: no source file found"])


if __name__ == "__main__":
    unittest.main()
