#!/usr/bin/env python3
"""The programs as they ship: readelf shows whether they have a distribution's hardening. If
hardening-check is installed, it checks them too."""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

BIN = pathlib.Path(os.environ.get("CELLSLOT_BIN", "build/release/bin"))
PROGRAMS = ("cellslotd", "cellslot", "le910sim", "skvs", "cellslot-history", "cellslot-historyd",
            "cellslot-web-history")
# Programs that pass buffers of known size to the C library. The others use only buffers of the C++
# library, so there is nothing to fortify.
FORTIFIED = ("cellslotd", "le910sim")


def readelf(program, *options):
    return subprocess.run(["readelf", "--wide", *options, str(BIN / program)], check=True,
                          capture_output=True, text=True).stdout


def onEachProgram(test):
    def run(self):
        for program in PROGRAMS:
            # A build of some targets has only some programs; the daemon is always checked.
            if program != PROGRAMS[0] and not (BIN / program).exists():
                continue
            with self.subTest(program):
                test(self, program)
    return run


# A row of "readelf --program-headers": name, offset, addresses, sizes, flags.
SEGMENT = r"^\s+%s(?:\s+0x[0-9a-f]+){5}\s+([RWE ]+?)\s+0x"


class Hardening(unittest.TestCase):
    def segmentFlags(self, program, name):
        flags = re.findall(SEGMENT % name, readelf(program, "--program-headers"), re.MULTILINE)
        self.assertTrue(flags, f"{program} has no segment {name}")
        return [text.replace(" ", "") for text in flags]

    def dynamicFlags(self, program):
        return re.search(r"FLAGS_1\)\s+Flags:(.*)", readelf(program, "--dynamic"))[1].split()

    @onEachProgram
    def testPositionIndependent(self, program):
        self.assertIn("PIE", self.dynamicFlags(program))

    @onEachProgram
    def testRelocationsReadOnlyFromTheStart(self, program):
        self.segmentFlags(program, "GNU_RELRO")
        self.assertIn("NOW", self.dynamicFlags(program))

    @onEachProgram
    def testStackNotExecutable(self, program):
        self.assertEqual(self.segmentFlags(program, "GNU_STACK"), ["RW"])

    @onEachProgram
    def testNoSegmentWritableAndExecutable(self, program):
        for flags in self.segmentFlags(program, "LOAD"):
            self.assertFalse("W" in flags and "E" in flags, flags)

    @onEachProgram
    def testStackProtected(self, program):
        self.assertTrue("__stack_chk_fail" in readelf(program, "--symbols"))

    @onEachProgram
    def testCallsOfTheCLibraryFortified(self, program):
        if program not in FORTIFIED:
            return
        self.assertRegex(readelf(program, "--dyn-syms"), r"\b__\w+_chk@")

    @unittest.skipUnless(shutil.which("hardening-check"), "hardening-check is not installed")
    @onEachProgram
    def testHardeningCheckIsClean(self, program):
        # Control flow integrity also depends on the C library's start files.
        options = ["--nocfprotection"] + ([] if program in FORTIFIED else ["--nofortify"])
        result = subprocess.run(["hardening-check", *options, str(BIN / program)],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


if __name__ == "__main__":
    unittest.main()
