#!/usr/bin/env python3
"""What a connected daemon writes to flash, by folder: each folder in turn lies on an ext4 file system of its
own, and the sectors that its block device gets are counted, those of directories and journal too.

    flash.py --disk MOUNTPOINT [--seconds N] --out FILE

MOUNTPOINT is an ext4 file system that nothing else uses. Run by scripts/bench.sh --flash inside
scripts/private_namespace.sh."""

import argparse
import os
import pathlib
import shutil
import time

from processes import Gateway, OnDisk
from report import printTable
from rows import Report, machine
import gateway  # processes knows where it is

# What the simulated modem logs is none of the daemon's writes to /tmp.
gateway.WORK = pathlib.Path("/run/flash-bench")

SECTOR_BYTES = 512
YEAR_S = 365 * 24 * 3600
SETTLE_S = 10  # after the start, which is no part of a year

KEEPS = ["/etc/vuk", "/storage"]  # never in memory
RECORDING = "/var/log/cellslot"
# Group, name, the folders that a measurement puts on the disk, and options of the daemon. The parts of
# a layout share the commits of the journal, so it is less than their sum.
MEASUREMENTS = [
    ("folder", "/etc/vuk and /storage", KEEPS, []),
    ("folder", "/tmp", ["/tmp"], []),
    ("folder", "/var/log", ["/var/log"], []),
    ("folder", f"{RECORDING}, with a recording", [RECORDING], ["--record-always"]),
    ("layout", "/run, /tmp and /var/log in memory", KEEPS, []),
    ("layout", "/var/log on flash", [*KEEPS, "/var/log"], []),
    ("layout", "/var/log on flash, with a recording", [*KEEPS, "/var/log"], ["--record-always"]),
    ("layout", "/var/log and /tmp on flash", [*KEEPS, "/var/log", "/tmp"], []),
]


def bytesWritten(disk):
    os.sync()
    device = os.stat(disk).st_dev
    stat = pathlib.Path(f"/sys/dev/block/{os.major(device)}:{os.minor(device)}/stat").read_text()
    return int(stat.split()[6]) * SECTOR_BYTES


def bytesAYear(disk, folders, options, seconds):
    for old in disk.iterdir():
        shutil.rmtree(old)
    for folder in folders:
        os.makedirs(folder, exist_ok=True)
    with OnDisk(folders, disk), Gateway(start=lambda slot: slot.startDaemon(*options)) as slot:
        slot.waitConnected(60)
        time.sleep(SETTLE_S)
        before, start = bytesWritten(disk), time.monotonic()
        time.sleep(seconds)
        return (bytesWritten(disk) - before) * YEAR_S / (time.monotonic() - start)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--disk", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=int, default=120, help="of each measurement")
    parser.add_argument("--out", type=pathlib.Path, required=True)
    options = parser.parse_args()
    report = Report()
    for group, name, folders, more in MEASUREMENTS:
        written = bytesAYear(options.disk, folders, more, options.seconds)
        report.row(group, name, written / 1e9, "GB a year")
    report.write(options.out, machine=machine())
    printTable(report.rows, machine())


if __name__ == "__main__":
    main()
