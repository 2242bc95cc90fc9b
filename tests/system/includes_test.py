#!/usr/bin/env python3
"""scripts/lib/includes.py: which includes and names of a source tree it refuses."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "scripts/lib/includes.py"


class Includes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.write("device/port.h", "void openPort();")
        self.write("device/port.cpp", '#include "device/port.h"', "void openPort() {}")

    def write(self, name, *lines):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("\n".join(lines) + "\n")

    def expect(self, *findings):
        done = subprocess.run([sys.executable, SCRIPT, "--root", self.root], capture_output=True,
                              text=True, check=False)
        self.assertEqual(done.stderr.splitlines(), [f"includes: {text}" for text in findings])
        self.assertEqual(done.returncode, 1 if findings else 0)

    def test_headerWithItsSource_isAccepted(self):
        self.write("device/port_fifo.cpp", '#include "device/port.h"')
        self.write("include/sleep.h", "void sleepShortly();")
        self.write("main/sleep.cpp", '#include "include/sleep.h"')
        self.write("main/main.cpp", '#include "device/port.h"')
        self.write("tests/unit/device/port_fifo_test.cpp")
        self.expect()

    def test_upwardInclude_isNamed(self):
        self.write("device/rates.h", '#include "sms/spool.h"')
        self.expect("device/rates.h includes sms/spool.h: device is below it or beside it")

    def test_circleOfFiles_isNamed(self):
        self.write("device/a.h", '#include "device/b.h"')
        self.write("device/b.h", '#include "device/a.h"')
        self.expect("a circle of files: device/a device/b")

    def test_sourceOfAnotherName_isNamedWithItsHeader(self):
        self.write("device/line.h", "struct sLine {};", "void hangUp(const sLine& line);")
        self.write("device/hang_up.cpp", '#include "device/line.h"')
        self.expect("device/hang_up.cpp has no header of its name",
                    "device/line.h declares hangUp, but no source has its name")

    def test_sourceWithoutItsHeader_isNamed(self):
        self.write("device/port_fifo.cpp", "void openFifo() {}")
        self.expect("device/port_fifo.cpp does not include device/port.h")

    def test_headerOfInlineFunctionsAndTypes_needsNoSource(self):
        self.write("device/rate.h", "using tClock = long (*)();", "struct sRate {", "    int get();",
                   "};", "inline int rate() {", "    return read();", "}")
        self.expect()

    def test_unitTestOfNoSource_isNamed(self):
        self.write("tests/unit/device/line_test.cpp")
        self.expect("tests/unit/device/line_test.cpp mirrors no source file")


if __name__ == "__main__":
    unittest.main()
