#!/usr/bin/env python3
"""The daemon on recordings in real time, as scripts/replay.sh runs it. Run inside
scripts/private_namespace.sh."""

import os
import pathlib
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
REPLAY = ROOT / "scripts" / "lib" / "replay.py"
RECORDING = ROOT / "tests" / "recordings" / "no-data-wanted.jsonl"


class Replay(unittest.TestCase):
    def replay(self, *words):
        return subprocess.run([sys.executable, REPLAY, "--bin", os.environ["CELLSLOT_BIN"], *words],
                              check=False, stdin=subprocess.DEVNULL, capture_output=True, text=True)

    def tearDown(self):
        subprocess.run(["rm", "-rf", "/tmp/replay-tools", "/tmp/replay-results"], check=True)

    def test_recordedSession_publishesWhatWasRecorded(self):
        run = self.replay(RECORDING)
        self.assertEqual((run.returncode, run.stderr), (0, ""), run.stdout)
        self.assertIn("  MODEL=LE910-NA V2\n", run.stdout)
        self.assertRegex(run.stdout, r"no difference from the recording in \d\d values\n$")

    def test_strictAndAnotherCommand_showsTheDifferenceAndFails(self):
        other = pathlib.Path("/tmp/other.jsonl")
        other.write_text(RECORDING.read_text().replace('"AT+CGMR"', '"AT+CGMX"'))
        run = self.replay("--strict", other)
        self.assertEqual(run.returncode, 1)
        self.assertIn("  expected  <- AT+CGMX\n  seen      <- AT+CGMR\n", run.stderr)
        self.assertIn("the recording was not replayed to its end", run.stdout)

    def test_fileThatIsNoRecording_isNamed(self):
        other = pathlib.Path("/tmp/other.jsonl")
        other.write_text("hello\n" * 2)
        run = self.replay(other)
        self.assertEqual(run.returncode, 1)
        self.assertIn('/tmp/other.jsonl:1: found "hello", expected a JSON object', run.stderr)


if __name__ == "__main__":
    unittest.main()
