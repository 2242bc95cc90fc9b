#!/usr/bin/env python3
"""Combines the rows of Google Benchmark and of the processes: prints a table, and writes one JSON file
and a drawing (SVG) of each curve.

    report.py --functions FILE --processes FILE --out DIR"""

import argparse
import json
import pathlib
import re

import svg
from rows import Report

# Highest cost of an item, relative to the cost with fewer items, for work that must not grow faster.
LINEAR = 1.5

# Benchmark: group, what it measures, unit of its argument.
SINGLE = {
    "Poll": ("pass", "pollDevice, connected, nothing to do"),
    "BringUp": ("pass", "set-up, poll and start of a session"),
    "StatusFiles": ("pass", "doWriteOutStatusFiles, only the time has changed"),
}
# Benchmark: its floor, what that is, and the goal.
FLOORS = {"StatusFiles": ("FourFiles", "four files replaced by the same system calls", 40)}
SIZED = {
    "ReadOperatorList": ("pass", "readAtCommandResponse, operator list in pieces of 64 bytes",
                         "lines"),
    "ParseOperatorList": ("scale", "operator list to table", "lines"),
    "WriteOperatorFile": ("scale", "table to carrier_list.json", "lines"),
    "ReceiveParts": ("scale", "parts in the modem to joined files", "parts"),
    "CheckWaitingParts": ("scale", "look at the parts that wait for the last one", "parts"),
    "SendFromFolder": ("scale", "one message from a folder in /send", "files"),
    "StoreBatch": ("scale", "write of 100 keys, two of them changed", "writers"),
}


def addSingle(report, name, times):
    floor, floorIs, goal = FLOORS.get(name, (None, "", None))
    report.row(*SINGLE[name], times[name], "us", times.get(floor), floorIs, goal)


def addFunctions(report, results):
    sizes = {}
    times = {result["name"].partition("/")[0]: result["real_time"] for result in results}
    for result in results:
        name, _, rest = result["name"].partition("/")
        size = re.match(r"\d+", rest)
        if name in SINGLE:
            addSingle(report, name, times)
        elif name in SIZED:
            sizes.setdefault(name, []).append((int(size[0]), result))
    for name, measured in sizes.items():
        group, what, unit = SIZED[name]
        measured.sort(key=lambda entry: entry[0])
        perItem = name not in ("SendFromFolder", "StoreBatch")
        addSized(report, group, what, unit, measured, perItem)
        report.curve(name, what, unit, "us", [(size, entry["real_time"])
                                              for size, entry in measured])


def addSized(report, group, what, unit, measured, perItem):
    """The cost relative to the smallest size; for work per item, relative to the cost of an item at the
    second smallest size, where the fixed part is spread over the items."""
    reference = measured[1 if perItem and len(measured) > 2 else 0]
    for size, result in measured:
        cost = result["real_time"]
        if perItem:
            report.row(group, f"{what}: {size} {unit}, each", cost / size, "us",
                       reference[1]["real_time"] / reference[0], f"each of {reference[0]}",
                       goalRatio=LINEAR if what.startswith("readAtCommandResponse") else None)
        else:
            report.row(group, f"{what}: {size} {unit}", cost, "us",
                       reference[1]["real_time"], f"{reference[0]} {unit}")


def number(value):
    if value is None:
        return ""
    if value == int(value) or abs(value) >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}" if abs(value) < 100 else f"{value:.0f}"


def verdict(row):
    if row["goal_met"] is None:
        return ""
    limit = (f"<= {row['goal']:g}" if row["goal_ratio"] is None
             else f"ratio <= {row['goal_ratio']:g}")
    return f"{'met' if row['goal_met'] else 'NOT MET'} ({limit})"


def printTable(rows, machine):
    print(", ".join(f"{key} {value}" for key, value in machine.items()))
    group = None
    for row in rows:
        if row["group"] != group:
            group = row["group"]
            print(f"\n{group:<78} {'figure':>12}      {'floor':>9} {'ratio':>6}  goal")
        print(f"  {row['what'][:76]:<76} {number(row['figure']):>12} {row['unit']:<4}"
              f" {number(row['floor']):>9} {number(row['ratio']):>6}  {verdict(row)}"
              + (f"\n      floor: {row['floor_is']}" if row["floor_is"] else "")
              + (f"\n      {row['note']}" if row["note"] else ""))


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--functions", type=pathlib.Path, required=True)
    parser.add_argument("--processes", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--goals", action="store_true", help="print only the rows that have a goal")
    options = parser.parse_args()
    report = Report()
    processes = json.loads(options.processes.read_text())
    report.add(processes)
    addFunctions(report, json.loads(options.functions.read_text())["benchmarks"])
    order = ["bring-up", "idle", "memory", "pass", "messages", "scale"]
    report.rows.sort(key=lambda row: order.index(row["group"]))
    report.write(options.out / "bench.json", machine=processes["machine"])
    for curve in report.curves:
        (options.out / f"{curve['name']}.svg").write_text(svg.draw(curve))
    printTable([row for row in report.rows if not options.goals or row["goal_met"] is not None],
               processes["machine"])
    print(f"\n{options.out}/bench.json, and a drawing of each curve beside it")


if __name__ == "__main__":
    main()
