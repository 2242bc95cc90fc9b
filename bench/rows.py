"""Results of a benchmark: rows, each a figure with the floor that it is compared with, and curves."""

import json
import os
import pathlib


class Report:
    def __init__(self):
        self.rows = []
        self.curves = []

    def row(self, group, what, figure, unit, floor=None, floorIs="", goal=None, goalRatio=None,
            note=""):
        """floor: the least possible figure, in the same unit; goal, goalRatio: upper limit of the
        figure, or of its ratio to the floor."""
        ratio = figure / floor if floor else None
        if goalRatio is not None:
            met = ratio is not None and ratio <= goalRatio
        else:
            met = None if goal is None else figure <= goal
        self.rows.append({"group": group, "what": what, "figure": figure, "unit": unit,
                          "floor": floor, "floor_is": floorIs, "ratio": ratio, "goal": goal,
                          "goal_ratio": goalRatio, "goal_met": met, "note": note})

    def curve(self, name, what, xLabel, yLabel, points):
        """points: (x, y) pairs."""
        self.curves.append({"name": name, "what": what, "x": xLabel, "y": yLabel,
                            "points": sorted(points)})

    def add(self, other):
        self.rows += other["rows"]
        self.curves += other["curves"]

    def write(self, path, **more):
        path.write_text(json.dumps({**more, "rows": self.rows, "curves": self.curves}, indent=1)
                        + "\n")


def machine():
    """A general description of the machine, and its load."""
    info = pathlib.Path("/proc/cpuinfo").read_text()
    fields = dict(line.split(":", 1) for line in info.splitlines() if ":" in line)
    fields = {key.strip(): value.strip() for key, value in fields.items()}
    return {"processor": fields.get("model name", fields.get("Processor", "unknown")),
            "cores": os.cpu_count(), "virtual": "hypervisor" in fields.get("flags", ""),
            "kernel": os.uname().release.split("-")[0], "machine": os.uname().machine,
            "load_1min": round(os.getloadavg()[0], 2)}
