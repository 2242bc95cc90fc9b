#!/usr/bin/env python3
"""Every user can write to /tmp. Whatever other programs put in place of the daemon's files there, and
in its other folders, it must not change anything outside, must not stop the daemon, and must have no
effect after its removal. Run inside scripts/private_namespace.sh."""

import hashlib
import os
import pathlib
import random
import shutil
import signal
import socket
import stat
import unittest

from daemon_test import DaemonTest
from gateway import waitUntil

ALL = os.environ.get("CELLSLOT_TEST_ALL") == "1"
FAST = 4  # the daemon's clock
CHECK_POLLS = 8  # longer than the time between two checks of the messages
FOREIGN = 65534
HUGE = 8 << 30  # bytes, none of them written
CANARY_NAME = "canary"
SPOOL = pathlib.Path("/tmp/sms")
SPOOL_FOLDERS = ("recv", "recv_parts", "recv_post", "send", "send_fail", "send_ok")
REQUEST, ANSWER, RAW_ANSWER = (pathlib.Path("/tmp", name)
                               for name in ("at_cmd_in", "at_cmd_out", "at_cmd_out_raw"))
TRIGGER_FOLDER = pathlib.Path("/tmp/cellmodem_firmware")
TRIGGER = TRIGGER_FOLDER / "start_update.1"
UPDATE_STATUS = pathlib.Path("/storage/cellmodem.firmware.upd.status.1")

# Files that the daemon reads, writes or deletes. Every user can change those in /tmp, only root the
# others; but an error of another program of the gateway must not stop the daemon either.
TMP_PLACES = ("/tmp/force_cell_con.1", "/tmp/at_cmd_in", "/tmp/at_cmd_out", "/tmp/at_cmd_out_raw",
              "/tmp/at_cmd_in.1", "/tmp/at_cmd_out.1", "/tmp/at_cmd_out_raw.1",
              "/tmp/cellmodem_firmware", "/tmp/.cellslot-tmp-aaaaaa")
SPOOL_PLACES = tuple(f"/tmp/sms/{name}" for name in SPOOL_FOLDERS) + (
    # The daemon takes the first free number, not that of its own file.
    "/tmp/sms/.cellslot-listing.1", "/tmp/sms/.cellslot-joined.1.9", "/tmp/sms/.cellslot-tmp-aaaaaa")
ROOT_PLACES = ("/var/log/wireless.cardstats.1", "/var/log/wireless.cardstats",
               "/var/log/wireless.serialno", "/var/log/wireless.mdn", "/var/log/carrier_list.json",
               "/etc/vuk/cellular_cpin.1", "/etc/vuk/cellular_cpin_new.1",
               "/etc/vuk/cellular_cpin_change.1", "/etc/vuk/cellular_puk.1", "/storage/vault",
               "/storage/cellmodem.sms.listing.1",
               "/run/cellslotd.1.config", "/run/cellslotd.1.logged",
               "/var/log/.cellslot-tmp-aaaaaa", "/etc/vuk/.cellslot-tmp-aaaaaa",
               "/storage/.cellslot-tmp-aaaaaa")
RECORDING_FOLDER = "/var/log/cellslot"
RECORDING_PLACES = (f"{RECORDING_FOLDER}/recording.1.jsonl", f"{RECORDING_FOLDER}/recording.1.older.jsonl",
                    "/run/cellslot/record.1")
PID_PLACE = "/run/cellslotd.1.pid"
STORE_PLACES = tuple(f"/run/cellslot/skvs/{name}" for name in ("data.mdb", "lock.mdb", "open.lock"))
MOUNTS = ("/tmp", "/var/log", "/etc/vuk", "/storage", "/run")


def canaryFolder(place):
    """A folder beside those of the daemon, on the same file system, so that hard links to it are
    possible."""
    mount = next(mount for mount in MOUNTS if str(place).startswith(mount + "/"))
    return pathlib.Path(mount, CANARY_NAME)


def makeFolder(place):
    place.mkdir()
    (place / "inside").write_text("kept")


def makeLinkToFile(place):
    place.symlink_to(canaryFolder(place) / "file")


def makeLinkToFolder(place):
    place.symlink_to(canaryFolder(place) / "folder")


def makeDanglingLink(place):
    place.symlink_to(canaryFolder(place) / "nothing-there")


def makeHardLink(place):
    os.link(canaryFolder(place) / "file", place)


def makeFifo(place):
    os.mkfifo(place, 0o666)


def makeSocket(place):
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(place))


def makeHugeFile(place):
    with place.open("wb") as file:
        file.truncate(HUGE)


KINDS = {"folder": makeFolder, "linkToFile": makeLinkToFile, "linkToFolder": makeLinkToFolder,
         "danglingLink": makeDanglingLink, "hardLink": makeHardLink, "fifo": makeFifo,
         "socket": makeSocket, "hugeFile": makeHugeFile}


def identify(path):
    info = path.lstat()
    content = hashlib.sha256(path.read_bytes()).hexdigest() if stat.S_ISREG(info.st_mode) else ""
    return (info.st_mode, info.st_uid, info.st_mtime_ns, content)


def snapshot():
    """Files outside of the daemon's folders, with content and times."""
    found = {}
    for mount in MOUNTS:
        folder = pathlib.Path(mount, CANARY_NAME)
        for path in (folder, *folder.rglob("*")):
            found[str(path)] = identify(path)
    return found


def makeCanaries():
    for mount in MOUNTS:
        folder = pathlib.Path(mount, CANARY_NAME)
        shutil.rmtree(folder, ignore_errors=True)
        # The names that the daemon makes and removes: a link to here must not reach them.
        for name in ("folder", *(f"folder/{name}" for name in SPOOL_FOLDERS)):
            (folder / name).mkdir(parents=True)
        (folder / "file").write_text(f"TO=+12025550123\nMSG=of {mount}, not to be touched\n")
        for name in ("start_update.1", "sms_msg.7.1.1.20200101-000000.1", ".cellslot-tmp-aaaaaa",
                     ".cellslot-listing.1", ".cellslot-joined.1.1", "recv/old", "send/old",
                     "recv_parts/old", "data.mdb", "lock.mdb"):
            path = folder / "folder" / name
            path.write_text("kept")
            os.utime(path, (1, 1))


def remove(place):
    if place.is_symlink() or not place.is_dir():
        place.unlink(missing_ok=True)
    else:
        shutil.rmtree(place)


def message(name, text):
    """Writes a message to send as the documents say."""
    draft = SPOOL / f"draft-{name}"
    draft.write_text(f"TO=+12025550123\nMSG={text}\n")
    draft.rename(SPOOL / "send" / name)


class HostileFiles(DaemonTest):
    def setUp(self):
        super().setUp()
        for path in (REQUEST, ANSWER, RAW_ANSWER, TRIGGER_FOLDER, pathlib.Path("/storage/vault")):
            remove(path)
        makeCanaries()
        self.outside = snapshot()
        self.subject = self.slot(start=False)
        seed = int(os.environ.get("CELLSLOT_SEED", random.randrange(1 << 32)))
        print(f"seed {seed}", flush=True)
        self.random = random.Random(seed)
        self.number = 0

    def plant(self, obstacles, foreign):
        for name, kind in obstacles.items():
            place = pathlib.Path(name)
            if kind == "folder" and place.is_dir():
                continue
            place.parent.mkdir(parents=True, exist_ok=True)
            remove(place)
            KINDS[kind](place)
            if foreign and kind != "hardLink":
                os.chown(place, FOREIGN, FOREIGN, follow_symlinks=False)

    def clear(self, obstacles):
        for name, kind in obstacles.items():
            # A folder of the spool may contain messages by now.
            if kind != "folder" or name not in SPOOL_PLACES:
                remove(pathlib.Path(name))

    def start(self):
        self.subject.startDaemon(fast=FAST)

    def exercise(self):
        """Uses each place. An obstacle decides whether that succeeds."""
        self.number += 1
        slot, number = self.subject, self.number
        slot.order(op="inject-sms", text=f"single {number}", **{"from": "+12025550123"})
        for part in (1, 2):
            slot.order(op="inject-sms", text=f"part {part} of {number}.", reference=number,
                       part=part, total=2, **{"from": "+12025550123"})
        return number

    def assertOutsideIsUntouched(self, what):
        now = snapshot()
        changed = {path: (self.outside.get(path), now.get(path))
                   for path in self.outside.keys() | now.keys()
                   if self.outside.get(path) != now.get(path)}
        self.assertEqual(changed, {}, what)

    def assertAllWorks(self, number, what):
        """Checks messages that came meanwhile, a sent message, an AT command, and the status files."""
        slot = self.subject
        waitUntil(lambda: all((SPOOL / name).is_dir() for name in SPOOL_FOLDERS),
                  lambda: f"{what}: no spool")
        message(f"out{number}", f"out {number}")
        draft = pathlib.Path("/tmp/draft")
        draft.write_text("AT+CSQ\n")
        draft.rename(REQUEST)
        for wanted in (f"single {number}", f"part 1 of {number}.part 2 of {number}."):
            waitUntil(lambda: any(wanted in path.read_text() for path in (SPOOL / "recv").iterdir()),
                      lambda: f"{what}: no message '{wanted}' in {list(SPOOL.rglob('*'))}")
        waitUntil(lambda: list((SPOOL / "send_ok").glob(f"out{number}.*")),
                  lambda: f"{what}: not sent: {list(SPOOL.rglob('*'))}")
        waitUntil(lambda: RAW_ANSWER.exists() and "+CSQ:" in RAW_ANSWER.read_text(),
                  lambda: f"{what}: no answer")
        slot.waitConnected()
        slot.waitRenewed()

    def stand(self, obstacles, foreign):
        """Runs with obstacles before the start and for some passes, then without."""
        what = f"{obstacles} of {'another user' if foreign else 'root'}"
        with self.subTest(what):
            remove(SPOOL)
            self.plant(obstacles, foreign)
            self.start()
            number = self.exercise()
            self.subject.waitPolls(CHECK_POLLS)
            # Again while the daemon runs, because it has removed what it could.
            self.plant(obstacles, foreign)
            self.subject.waitPolls(CHECK_POLLS)
            self.assertOutsideIsUntouched(what)
            self.clear(obstacles)
            self.assertAllWorks(number, what)
            self.assertOutsideIsUntouched(what)
        self.subject.killDaemon()
        self.clear(obstacles)

    def standRounds(self, places, rounds):
        """In each round another kind of obstacle at each place; at every second place none."""
        kinds = list(KINDS)
        self.random.shuffle(kinds)
        for index in range(rounds * (8 if ALL else 1)):
            obstacles = {place: kinds[(index + number) % len(kinds)]
                         for number, place in enumerate(places) if self.random.random() < 0.5}
            self.stand(obstacles, self.random.random() < 0.5)


class Tmp(HostileFiles):
    def test_obstacles_changeNothingOutsideAndDoNotStopTheDaemon(self):
        self.standRounds(TMP_PLACES + SPOOL_PLACES, 3)

    def test_spoolThatIsALinkOrAFile_changesNothingOutside(self):
        kinds = [kind for kind in KINDS if kind != "folder"]
        self.random.shuffle(kinds)
        for kind in {"linkToFolder", *(kinds if ALL else kinds[:1])}:
            self.stand({"/tmp/sms": kind}, False)

    def test_everyKindOfFileInTheSpool_changesNothingOutside(self):
        self.stand({f"/tmp/sms/{folder}/{kind}": kind for folder in SPOOL_FOLDERS
                    for kind in KINDS}, True)


class RootsPlaces(HostileFiles):
    def test_obstacles_doNotStopTheDaemon(self):
        self.standRounds(ROOT_PLACES + STORE_PLACES, 2)

    def test_pidFileThatIsSomethingElse_isReplaced(self):
        kinds = [kind for kind in KINDS if kind != "folder"]
        for kind in kinds if ALL else self.random.sample(kinds, 1):
            self.stand({PID_PLACE: kind}, True)

    def test_pidFileThatIsAFolder_refusesTheStart(self):
        self.plant({PID_PLACE: "folder"}, False)
        self.start()
        self.assertEqual(self.subject.awaitEnd(), 1)
        self.clear({PID_PLACE: "folder"})
        self.start()
        self.subject.waitConnected()


class Recordings(HostileFiles):
    """A daemon that is to record at all times."""

    def start(self):
        self.subject.startDaemon("--record-always", fast=FAST)

    def test_obstacles_changeNothingOutsideAndDoNotStopTheDaemon(self):
        self.standRounds(RECORDING_PLACES, 2)

    def test_everyObstacleInThePlaceOfTheRecording_doesNotStopTheDaemon(self):
        kinds = list(KINDS)
        for kind in kinds if ALL else self.random.sample(kinds, 3):
            self.stand({RECORDING_PLACES[0]: kind}, True)

    def test_folderThatIsSomethingElse_isNotUsed(self):
        kinds = [kind for kind in KINDS if kind != "folder"]
        for kind in {"linkToFolder", *(kinds if ALL else self.random.sample(kinds, 1))}:
            self.stand({RECORDING_FOLDER: kind}, True)

    def test_folderOfAnotherUser_isNotUsed(self):
        self.stand({RECORDING_FOLDER: "folder"}, True)


class Triggers(HostileFiles):
    """Files that act by their presence."""

    def assertReset(self, what):
        self.start()
        self.assertEqual(self.subject.awaitEnd(), 3, what)
        self.assertIn("Firmware file trigger is present", UPDATE_STATUS.read_text())
        self.assertOutsideIsUntouched(what)

    def test_firmwareTriggerOfAnyKind_isDeletedAndNothingElse(self):
        for kind in KINDS:
            if kind == "folder":
                continue
            with self.subTest(kind):
                remove(TRIGGER_FOLDER)
                self.plant({TRIGGER: kind}, True)
                self.assertReset(kind)
                self.assertFalse(os.path.lexists(TRIGGER))

    def test_firmwareTriggerThatIsAFullFolder_isNotEmptied(self):
        self.plant({TRIGGER: "folder"}, True)
        self.assertReset("full folder")
        self.assertEqual((TRIGGER / "inside").read_text(), "kept")
        remove(TRIGGER_FOLDER)
        self.start()
        self.subject.waitConnected()

    def test_updateStatusFileThatIsALink_isReplaced(self):
        self.plant({UPDATE_STATUS: "linkToFile"}, True)
        self.plant({TRIGGER: "fifo"}, True)
        self.assertReset("link")
        self.assertFalse(UPDATE_STATUS.is_symlink())

    def test_overrideFileOfAnyKind_counts(self):
        place = pathlib.Path("/tmp/force_cell_nocon.1")
        self.start()
        self.subject.waitConnected()
        for kind in ("folder", "linkToFile", "hardLink", "fifo", "socket", "hugeFile"):
            with self.subTest(kind):
                # Kernels may refuse to follow other users' links in /tmp.
                self.plant({place: kind}, False)
                self.subject.waitFor("_QMI_STATE", "DISCONNECTED")
                self.subject.waitPolls(2)
                self.assertOutsideIsUntouched(kind)
                remove(place)
                self.subject.waitConnected()


if __name__ == "__main__":
    unittest.main(verbosity=2)
