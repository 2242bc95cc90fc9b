#!/usr/bin/env python3
"""Prints a gcovr JSON report: lines and branches by folder, and the lines of the daemon that did not
run."""

import collections
import json
import pathlib
import sys

# What runs on the gateway. The simulator is a tool of the tests.
DAEMON = ("atcmd", "config", "device", "gps", "include", "main", "platform", "published", "sms",
          "statemachine")


class Count:
    def __init__(self):
        self.run = 0
        self.all = 0

    def add(self, ran):
        self.all += 1
        self.run += ran

    def __str__(self):
        share = f"{100 * self.run / self.all:6.2f} %" if self.all else "       -"
        return f"{self.run:6d} of {self.all:6d} {share}"


def ranges(numbers):
    """[1, 2, 3, 7] as "1-3, 7"."""
    texts = []
    start = last = None
    for number in sorted(numbers) + [None]:
        if start is not None and number != last + 1:
            texts.append(str(start) if start == last else f"{start}-{last}")
            start = None
        if start is None:
            start = number
        last = number
    return ", ".join(texts)


def main():
    report = json.loads(pathlib.Path(sys.argv[1]).read_text())
    lines = collections.defaultdict(Count)
    branches = collections.defaultdict(Count)
    missed = {}
    for entry in report["files"]:
        folder = entry["file"].split("/")[0]
        groups = [folder, "all"] + (["the daemon"] if folder in DAEMON else [])
        for line in entry["lines"]:
            if line.get("gcovr/noncode"):
                continue
            for group in groups:
                lines[group].add(line["count"] > 0)
                for branch in line["branches"]:
                    branches[group].add(branch["count"] > 0)
            if folder in DAEMON and line["count"] == 0:
                missed.setdefault(entry["file"], []).append(line["line_number"])
    print(f"{'folder':<14} {'lines run':>25} {'branches taken':>25}")
    for group in sorted(set(lines) - {"all", "the daemon"}) + ["the daemon", "all"]:
        print(f"{group:<14} {str(lines[group]):>25} {str(branches[group]):>25}")
    print("\nlines of the daemon that no test runs:")
    for file in sorted(missed):
        print(f"  {file}: {ranges(missed[file])}")
    if not missed:
        print("  none")


if __name__ == "__main__":
    main()
