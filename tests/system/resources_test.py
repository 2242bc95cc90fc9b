#!/usr/bin/env python3
"""The whole daemon on a host without free resources: limits and folders as the system sets them. Run
inside scripts/private_namespace.sh."""

import pathlib
import resource
import shutil
import subprocess
import unittest

from daemon_test import DaemonTest
from gateway import BIN, waitUntil

FAST = 4  # the daemon's clock


def mountSmall(folder):
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", folder], check=True)


def fill(folder):
    with (folder / "ballast").open("wb", buffering=0) as file:
        try:
            while True:
                file.write(b"x" * 4096)
        except OSError:
            return


class Resources(DaemonTest):
    def mount(self, folder):
        mountSmall(folder)
        self.addCleanup(subprocess.run, ["umount", "-l", folder], check=True)

    def test_configurationFolderMissingAtStart_connectsAfterARestart(self):
        slot = self.slot(start=False)
        # The folder is a separate file system here; after an unmount the folder below has its name.
        subprocess.run(["umount", "-l", "/etc/vuk"], check=True)
        self.addCleanup(subprocess.run, ["mount", "-t", "tmpfs", "tmpfs", "/etc/vuk"], check=True)
        shutil.rmtree("/etc/vuk")
        slot.startDaemon(fast=FAST)
        # Without a SIM slot each set-up is an error; after ten errors the modem is reset.
        self.assertEqual(slot.awaitEnd(), 3)
        self.assertGreater(self.log.count("is missing or not accessible, using defaults"), 0)
        pathlib.Path("/etc/vuk").mkdir()
        slot.configure()
        slot.startDaemon(fast=FAST)
        slot.waitConnected()

    def test_runFolderFullAtStart_connectsAndStoresOnceThereIsRoom(self):
        slot = self.slot(start=False)
        store = pathlib.Path("/run/cellslot/skvs")
        self.mount(store)
        fill(store)
        slot.startDaemon(fast=FAST)
        slot.waitConnected()
        self.assertGreater(self.log.count("Cannot write key-value store"), 0)
        (store / "ballast").unlink()

        def stored():
            return subprocess.run([BIN / "skvs", "get", "CELLMODEM1_QMI_STATE"],
                                  capture_output=True, text=True, check=False).stdout
        waitUntil(lambda: stored() == "CONNECTED\n", stored)

    def test_noMoreDescriptors_keepsTheSessionAndPublishesAgainLater(self):
        slot = self.connectedSlot()
        pid = slot.daemon.pid
        before = resource.prlimit(pid, resource.RLIMIT_NOFILE)
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (3, before[1]))
        # Until then it may be replacing a file that it has opened before.
        waitUntil(lambda: self.log.count("errno 24 (Too many open files)") > 0,
                  lambda: "no error is logged")
        old = slot.status.stat().st_ino
        slot.waitPolls(6)
        self.assertEqual(slot.status.stat().st_ino, old)
        resource.prlimit(pid, resource.RLIMIT_NOFILE, before)
        waitUntil(lambda: slot.status.stat().st_ino != old, lambda: "nothing is published")
        self.assertEqual(slot.value("_QMI_STATE"), "CONNECTED")
        self.assertIsNone(slot.daemon.poll())


if __name__ == "__main__":
    unittest.main(verbosity=2)
