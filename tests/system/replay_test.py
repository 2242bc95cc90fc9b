#!/usr/bin/env python3
"""The daemon on recordings in real time, as scripts/replay.sh runs it. Run inside
scripts/private_namespace.sh."""

import json
import os
import pathlib
import select
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
REPLAY = ROOT / "scripts" / "lib" / "replay.py"
RECORDING = ROOT / "tests" / "recordings" / "no-data-wanted.jsonl"


class Replay(unittest.TestCase):
    def replay(self, *words):
        subprocess.run(["rm", "-rf", "/tmp/replay-tools", "/tmp/replay-results"], check=True)
        return subprocess.run([sys.executable, REPLAY, "--bin", os.environ["CELLSLOT_BIN"], *words],
                              check=False, stdin=subprocess.DEVNULL, capture_output=True, text=True)

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

    def changed(self, text):
        other = pathlib.Path("/tmp/other.jsonl")
        other.write_text(text)
        return other

    def test_fileThatCannotBeReplayed_isNamedWithItsLine(self):
        lines = RECORDING.read_text().splitlines(keepends=True)
        version2 = lines[0].replace('"recording":1', '"recording":2')
        slot2 = lines[0].replace('"slot":1', '"slot":2').replace("2026-", "2025-")
        for name, text, expected in (
                ("no recording", "hello\n" * 2, ':1: found "hello", expected a JSON object'),
                ("empty", "", ":1: found the end of the file, expected a first line"),
                ("its beginning is missing", "".join(lines[1:]), "expected a first line with"),
                ("another version", version2 + "".join(lines[1:]),
                 ':1: found "recording": 2, expected version 1, the only one that is known'),
                ("two slots", lines[0] + lines[1] + slot2 + "".join(lines[1:]),
                 ':3: found "slot": 2, expected slot 1 as before: a recording is of one modem')):
            with self.subTest(name):
                run = self.replay(self.changed(text))
                self.assertEqual(run.returncode, 1)
                self.assertIn(expected, run.stderr)
                self.assertNotIn("Traceback", run.stderr)

    def test_fileThatIsTooLarge_isRefusedBeforeItIsRead(self):
        other = self.changed("")
        os.truncate(other, 2**40)
        run = self.replay(other)
        self.assertEqual((run.returncode, run.stderr.count("\n")), (1, 1), run.stderr)
        self.assertIn("has more than 268435456 bytes", run.stderr)

    def test_cutRecording_isReplayedUpToTheCut(self):
        text = RECORDING.read_text()
        run = self.replay(self.changed(text[:text.rindex('"mark":"stop"')]))
        self.assertEqual((run.returncode, run.stderr),
                         (0, "le910sim: /tmp/other.jsonl: the last line is not complete, so it is"
                             " left out\n"), run.stdout)

    def test_recordingOfARunningDaemon_isNamedAsSuch(self):
        text = RECORDING.read_text().replace('"modem":"set-up"', '"modem":"polling"', 1)
        run = self.replay("--speed", "100", self.changed(text))
        self.assertTrue(run.stdout.startswith("the recording begins in a running daemon, so it has"
                                              " no answers for the set-up; restart the daemon after"
                                              " 'cellslot record start'\n"), run.stdout)

    def test_recordingWithARestartAndAnEnd_isReplayedFromStartToSignal(self):
        lines = RECORDING.read_text().splitlines(keepends=True)
        running = (lines[0].replace("2026-", "2025-") + lines[1] +
                   '{"ms":0,"mark":"state","outer":"running","modem":"polling"}\n'
                   '{"ms":10,"at":"write","data":"AT+CSQ\\r"}\n'
                   '{"ms":20,"mark":"signal","name":"SIGTERM"}\n'
                   '{"ms":30,"at":"write","data":"AT#SLED=0\\r"}\n')
        endMs = json.loads(lines[-1])["ms"]
        end = (f'{{"ms":{endMs},"mark":"signal","name":"SIGTERM"}}\n'
               f'{{"ms":{endMs},"at":"write","data":"AT#SLED=0\\r"}}\n'
               f'{{"ms":{endMs},"mark":"published","values":{{"MODEL":""}}}}\n')
        run = self.replay(self.changed(running + "".join(lines[:-1]) + end))
        self.assertEqual((run.returncode, run.stderr), (0, ""), run.stdout)
        self.assertTrue(run.stdout.startswith("the recording has several runs of the daemon; the last"
                                              " one is replayed\n"), run.stdout)
        self.assertRegex(run.stdout, r"no difference from the recording in \d\d values\n$")

    def test_recordingOfSlot2_isReplayedThere(self):
        text = RECORDING.read_text().replace('"slot":1', '"slot":2').replace('"-p","1"', '"-p","2"')
        run = self.replay(self.changed(text.replace('"SLED_SLOT":"1"', '"SLED_SLOT":"2"')))
        self.assertEqual((run.returncode, run.stderr), (0, ""), run.stdout)

    def test_marksThatWouldChangeMoreThanTheDaemonsFiles_areNotFollowed(self):
        first, rest = RECORDING.read_text().split("\n", 1)
        marks = ['{"ms":0,"mark":"file","path":"/tmp/replay-tools/sledctl",'
                 '"text":"#!/bin/sh\\ntouch /tmp/owned\\n"}',
                 '{"ms":0,"mark":"file","path":"/etc/vuk/../ld.so.preload","text":"x"}',
                 '{"ms":0,"mark":"file","path":["/etc/vuk/cellular_cpin.1"],"text":{}}',
                 '{"ms":0,"mark":"host","command":"..","result":0}',
                 '{"ms":0,"mark":"host","command":"ping","result":"0"}',
                 '{"ms":0,"mark":"published","values":["x"]}',
                 '{"ms":0,"mark":"signal","name":"SIGKILL"}']
        run = self.replay(self.changed("\n".join([first, *marks, rest])))
        self.assertEqual((run.returncode, run.stderr), (0, ""), run.stdout)
        self.assertIn("a file of the recording is not given: '/tmp/replay-tools/sledctl'",
                      run.stdout)
        self.assertFalse(pathlib.Path("/tmp/owned").exists())
        self.assertFalse(pathlib.Path("/etc/ld.so.preload").exists())

    def test_modemThatRefusesTheSetUp_endsAndShowsWhatWasPublished(self):
        run = self.replay("--speed", "100", self.changed(
            '{"recording":1,"program":"by hand","slot":1,"began":"2026-11-22T09:00:00Z"}\n'
            '{"ms":0,"mark":"config","values":{"CM_ENABLE_INTERFACE":"yes","CM_APN":"a"}}\n'
            '{"ms":0,"at":"open"}\n'
            '{"ms":10,"at":"write","data":"AT+GMM\\r"}\n'
            '{"ms":20,"at":"read","data":"AT+GMM\\r\\r\\nLE910-NA1\\r\\n\\r\\nOK\\r\\n"}\n'
            '{"ms":30,"at":"write","data":"AT+CSQ\\r"}\n'))
        self.assertEqual(run.returncode, 1, run.stdout)
        self.assertIn("the daemon ends again and again; --verbose shows why", run.stdout)
        self.assertIn("the recording was not replayed to its end", run.stdout)
        self.assertIn("has no answer to AT+CMEE=1, so it gets ERROR", run.stderr)
        self.assertIn("ended before this was replayed: /tmp/other.jsonl:6: <- AT+CSQ", run.stderr)


class RecordFrom(unittest.TestCase):
    """le910sim between a modem and a program."""

    FOLDER = pathlib.Path("/tmp/small")

    def setUp(self):
        self.FOLDER.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=8k", "none", self.FOLDER], check=True)
        self.addCleanup(self.unmount)

    def unmount(self):
        subprocess.run(["umount", self.FOLDER], check=True)
        self.FOLDER.rmdir()

    def start(self, *words):
        process = subprocess.Popen([f"{os.environ['CELLSLOT_BIN']}/le910sim", *words], text=True,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        self.assertEqual(process.stdout.readline(), "ready\n")
        return process

    def ask(self, port, command):
        os.write(port, command + b"\r")
        answer = b""
        while not answer.endswith(b"OK\r\n"):
            self.assertTrue(select.select([port], [], [], 10)[0], answer)
            piece = os.read(port, 4096)
            self.assertTrue(piece, "the port has vanished")
            answer += piece
        return answer

    def test_diskFills_recordingEndsWithANoticeAndTheProgramGoesOn(self):
        self.start("--at-link", "/tmp/modem", "--gps-link", "/tmp/gps")
        recorder = self.start("--record-from", "/tmp/modem", "--recording",
                              self.FOLDER / "made.jsonl", "--at-link", "/tmp/at")
        port = os.open("/tmp/at", os.O_RDWR | os.O_NOCTTY)
        self.addCleanup(os.close, port)
        for _ in range(200):
            self.assertEqual(self.ask(port, b"AT+CSQ"),
                             b"AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n")
        recorder.terminate()
        self.assertEqual(recorder.wait(10), 1)
        self.assertEqual(recorder.stderr.read(),
                         f"le910sim: cannot write {self.FOLDER}/made.jsonl: No space left on device;"
                         " the recording ends here\n")
        self.assertTrue((self.FOLDER / "made.jsonl").read_text().endswith("}\n"))


if __name__ == "__main__":
    unittest.main()
