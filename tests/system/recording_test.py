#!/usr/bin/env python3
"""Recordings and reports of the running daemon, on the real paths. Run inside
scripts/private_namespace.sh."""

import json
import os
import pathlib
import shutil
import subprocess
import tarfile
import unittest

from gateway import BIN, LIMIT_S, LogCatcher, Slot, freshHost, waitUntil

FOLDER = pathlib.Path("/var/log/cellslot")
CURRENT = FOLDER / "recording.1.jsonl"
OLDER = FOLDER / "recording.1.older.jsonl"
REQUEST = pathlib.Path("/run/cellslot/record.1")
SAVED = pathlib.Path("/tmp/saved.jsonl")
PIN = "4711"
PASSWORD = "s3cret-Pump7"
IMSI = "310410123456789"


def cellslot(*arguments, status=0):
    done = subprocess.run([BIN / "cellslot", *arguments], capture_output=True, text=True, check=False,
                          timeout=LIMIT_S)
    if done.returncode != status:
        raise AssertionError(f"{arguments}: {done.returncode}, {done.stdout}{done.stderr}")
    return done.stdout + done.stderr


def linesOf(path):
    """The lines of a recording; each one has to be JSON."""
    return [json.loads(line) for line in path.read_text().splitlines()]


def marks(lines, name):
    return [line for line in lines if line.get("mark") == name]


def data(lines, way="read"):
    return "".join(line["data"] for line in lines if line.get("at") == way)


class Recording(unittest.TestCase):
    def setUp(self):
        freshHost()
        shutil.rmtree(FOLDER, ignore_errors=True)
        SAVED.unlink(missing_ok=True)
        self.log = LogCatcher()
        self.addCleanup(self.log.close)

    def gateway(self, *daemonOptions, scenario=None, **config):
        self.slot = Slot(1, scenario)
        self.addCleanup(self.slot.end)
        self.slot.configure(**config)
        self.slot.startSim()
        self.slot.startDaemon(*daemonOptions)

    def waitRecorded(self, text):
        waitUntil(lambda: CURRENT.exists() and text in CURRENT.read_text(),
                  lambda: f"{text} is not in the recording")

    def test_startShowSaveStop_giveARecordingThatReads(self):
        self.gateway()
        self.slot.waitConnected()
        self.assertIn("no recording", cellslot("record", "show"))
        self.assertIn("records for 5 minutes", cellslot("record", "start", "--minutes", "5"))
        self.assertEqual(REQUEST.stat().st_mode & 0o777, 0o600)
        self.waitRecorded("+CSQ:")
        self.waitRecorded('"published"')
        self.assertRegex(cellslot("record", "show"), "recording since .*, [45] min left, .* replaced")
        cellslot("record", "save", str(SAVED))
        lines = linesOf(SAVED)
        self.assertEqual(lines[0]["recording"], 1)
        self.assertEqual(lines[0]["slot"], 1)
        self.assertEqual(marks(lines, "config")[0]["values"]["CM_APN"], "internet")
        self.assertEqual(marks(lines, "state")[0]["modem"], "connected")
        self.assertEqual(marks(lines, "published")[0]["values"]["QMI_STATE"], "CONNECTED")
        self.assertIn("AT+CSQ\r", data(lines, "write"))
        times = [line["ms"] for line in lines[1:]]
        self.assertEqual(times, sorted(times))
        self.assertIn("ended, ", cellslot("record", "stop"))
        self.assertEqual(linesOf(CURRENT)[-1]["reason"], "asked")
        self.assertRegex(cellslot("record", "show"), r"not recording.*ended \(asked\)")
        self.assertIn("no recording was started", cellslot("record", "stop", status=1))

    def test_bytesOfTheRecording_areThoseOfTheModem(self):
        self.gateway()
        self.slot.waitConnected()
        cellslot("record", "start", "--with-identities")
        self.waitRecorded("+CSQ:")
        cellslot("record", "stop")
        written = data(linesOf(CURRENT), "write").split("\r")[:-1]
        sent = self.slot.commands()
        self.assertGreater(len(written), 10)
        self.assertTrue(any(sent[at:at + len(written)] == written for at in range(len(sent))))

    def test_secretsAndIdentities_areNotInIt(self):
        REQUEST.parent.mkdir(exist_ok=True)
        REQUEST.write_text("UNTIL=0\n")
        REQUEST.chmod(0o600)
        pathlib.Path("/etc/vuk/cellular_cpin.1").write_text(PIN)
        self.gateway(scenario={"sim": {"pin": PIN, "lock": True}}, CM_USERNAME="operator",
                     CM_PASSWORD=PASSWORD, CM_AUTH_TYPE="pap")
        self.slot.waitConnected()
        draft = pathlib.Path("/tmp/at_cmd_in.new")
        draft.write_text(f'AT+CLCK="SC",1,"{PIN}"\nAT#UNKNOWN="tok3n-9"\n')
        draft.rename("/tmp/at_cmd_in")
        self.waitRecorded("AT#UNKNOWN")
        self.assertEqual(self.slot.stopDaemon(), 2)
        self.assertIn(f"AT+CPIN={PIN}", self.slot.commands())
        self.assertTrue([text for text in self.slot.commands() if PASSWORD in text])
        text = CURRENT.read_text()
        for secret in (PIN, PASSWORD, "operator", "tok3n-9", IMSI, IMSI[6:]):
            self.assertNotIn(secret, text)
        lines = linesOf(CURRENT)
        self.assertIn("AT+CPIN=0000\r", data(lines, "write"))
        self.assertIn("AT+CPIN=0000\r", data(lines))
        self.assertEqual(marks(lines, "exit")[-1]["status"], 2)
        published = {}
        for mark in marks(lines, "published"):
            published.update(mark["values"])
        self.assertIn(next(mark["values"]["SIM_IMSI"] for mark in reversed(marks(lines, "published"))
                           if mark["values"].get("SIM_IMSI", "0").startswith(IMSI[:6])), data(lines))

    def test_killedDaemon_leavesAReadableRecording(self):
        self.gateway("--record-always")
        self.slot.waitConnected()
        for _ in range(5):
            self.waitRecorded("+CSQ:")
            self.slot.killDaemon()
            lines = linesOf(CURRENT)
            self.assertIn("+CSQ:", data(lines))
            CURRENT.unlink()
            self.slot.startDaemon("--record-always")

    def test_fullDisk_endsTheRecordingWithOneNotice_andTheDaemonGoesOn(self):
        FOLDER.mkdir(mode=0o700)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k,mode=0700", "none", FOLDER], check=True)
        self.addCleanup(subprocess.run, ["umount", "-l", FOLDER], check=True)
        self.gateway()
        self.slot.waitConnected()
        cellslot("record", "start")
        waitUntil(lambda: not REQUEST.exists(), lambda: "it still records")
        self.assertEqual(self.log.count("Recording ended: cannot write"), 1)
        linesOf(CURRENT)
        before = len(self.slot.commands())
        waitUntil(lambda: len(self.slot.commands()) > before + 20, lambda: "the daemon stands")
        self.assertEqual(self.slot.value("_QMI_STATE"), "CONNECTED")

    def test_fullDisk_ofARecordingThatRunsAlways_isTriedAgainWithoutMoreNotices(self):
        FOLDER.mkdir(mode=0o700)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k,mode=0700", "none", FOLDER], check=True)
        self.addCleanup(subprocess.run, ["umount", "-l", FOLDER], check=True)
        self.slot = Slot(1)
        self.addCleanup(self.slot.end)
        self.slot.configure()
        self.slot.startSim()
        self.slot.startDaemon("--record-always", fast=20)
        waitUntil(lambda: self.log.count("Recording ended: cannot write"), lambda: "no notice")
        commands = len(self.slot.commands())
        # Minutes of the daemon's clock.
        waitUntil(lambda: len(self.slot.commands()) > commands + 1000, lambda: "the daemon stands")
        self.assertEqual(self.log.count("Recording ended: cannot write"), 1)
        self.assertEqual(self.log.count("Cannot record into"), 0)
        subprocess.run(["mount", "-o", "remount,size=8m", FOLDER], check=True)
        waitUntil(lambda: self.log.count("Recording again"), lambda: "it does not record again")
        linesOf(CURRENT)

    def test_exitStatus3_keepsTheRecording(self):
        self.slot = Slot(1)
        self.addCleanup(self.slot.end)
        self.slot.configure()
        # Without a modem the daemon ends after two minutes.
        self.slot.startDaemon("--record-always", fast=100)
        self.assertEqual(self.slot.awaitEnd(), 3)
        lines = linesOf(FOLDER / "recording.1.exit-1.jsonl")
        self.assertEqual(marks(lines, "exit")[-1]["status"], 3)
        self.assertEqual(lines[-1]["reason"], "exit")
        self.assertFalse(CURRENT.exists())
        self.assertIn("kept at exit status 3", cellslot("record", "show"))

    def test_manyExitsInARow_keepTheFirstAndTheLast(self):
        self.slot = Slot(1)
        self.addCleanup(self.slot.end)
        self.slot.configure()
        began = []
        for _ in range(4):
            self.slot.startDaemon("--record-always", fast=100, continued=True)
            self.assertEqual(self.slot.awaitEnd(), 3)
            began.append(linesOf(FOLDER / "recording.1.exit-1.jsonl")[0]["began"])
        kept = sorted(FOLDER.glob("*exit-*"))
        self.assertEqual([linesOf(path)[0]["began"] for path in kept], [began[3], began[0]])

    def test_requestOfAnotherMode_isIgnored(self):
        REQUEST.parent.mkdir(exist_ok=True)
        REQUEST.write_text("UNTIL=0\n")
        REQUEST.chmod(0o666)
        self.gateway()
        self.slot.waitConnected()
        self.assertFalse(CURRENT.exists())
        self.assertEqual(self.log.count("is not a file of mode 0600"), 1)

    def test_ring_keepsTheLastPart(self):
        REQUEST.parent.mkdir(exist_ok=True)
        REQUEST.write_text("UNTIL=0\nSIZE=1\n")
        REQUEST.chmod(0o600)
        self.gateway()
        waitUntil(OLDER.exists, lambda: "the file is not full")
        self.waitRecorded('"published"')
        self.assertLessEqual(OLDER.stat().st_size, 64 * 1024)
        self.assertEqual(linesOf(CURRENT)[0], linesOf(OLDER)[0])
        cellslot("record", "save", str(SAVED))
        self.assertGreater(SAVED.stat().st_size, CURRENT.stat().st_size)
        linesOf(SAVED)

    def logMoreSecrets(self):
        """What the daemon logs of PINs, commands and messages. Here nothing writes its log file."""
        pathlib.Path("/etc/vuk/cellular_cpin_new.1").write_text("57x31")
        draft = pathlib.Path("/tmp/at_cmd_in.new")
        draft.write_text('AT!UNKNOWN="70k3n"\n')
        draft.rename("/tmp/at_cmd_in")
        draft = pathlib.Path("/tmp/sms/draft")
        draft.write_text("TO=12025550199\nMSG=the door code\n")
        draft.rename("/tmp/sms/send/draft")
        for text in ("'57x31'", "70k3n", "the door code"):
            waitUntil(lambda text=text: self.log.count(text), lambda text=text: f"{text} is not in the log")
        pathlib.Path("/var/log/cellslotd.log").write_text("\n".join(self.log.texts()) + "\n")

    def test_report_hasEverythingButSecrets(self):
        pathlib.Path("/etc/vuk/cellular_cpin.1").write_text(PIN)
        self.gateway("--record-always", CM_USERNAME="operator", CM_PASSWORD=PASSWORD,
                     CM_AUTH_TYPE="pap")
        self.slot.waitConnected()
        self.waitRecorded("+CSQ:")
        self.logMoreSecrets()
        shown = cellslot("report", "/tmp/report.tar")
        with tarfile.open("/tmp/report.tar") as archive:
            files = {member.name.split("/")[1]: archive.extractfile(member).read().decode()
                     for member in archive.getmembers()}
        for name in ("versions", "doctor", "recording.1.jsonl", "status.1", "status-file.1",
                     "configuration.1"):
            self.assertIn(name, files)
            self.assertIn(f"  {name}, {len(files[name].encode())} bytes", shown)
        self.assertIn("CM_APN=internet", files["configuration.1"])
        for name, text in files.items():
            for secret in (PASSWORD, "operator", IMSI, "57x31", "70k3n", "2025550199", "door code"):
                self.assertNotIn(secret, text, name)
        self.assertEqual(os.stat("/tmp/report.tar").st_mode & 0o777, 0o600)


if __name__ == "__main__":
    unittest.main()
