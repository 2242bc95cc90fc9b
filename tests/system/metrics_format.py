"""A strict reader of the Prometheus text format, version 0.0.4, with the conventions that promtool
checks. Text that a server might accept is still an error here."""

import re

NAME = r"[a-z][a-z0-9_]*"
HELP = re.compile(rf"# HELP ({NAME}) ([^\\\n]+)\.")
TYPE = re.compile(rf"# TYPE ({NAME}) (gauge|counter)")
SERIES = re.compile(rf"({NAME})\{{(.*)\}} (-?[0-9]+(?:\.[0-9]+)?)")
LABEL = re.compile(rf'({NAME})="((?:[^"\\\n]|\\["\\n])*)"(,|$)')


class FormatError(Exception):
    pass


def readLabels(text):
    labels = {}
    at = 0
    while at < len(text):
        match = LABEL.match(text, at)
        if not match or match.end() == len(text) and match[3] == ",":
            raise FormatError(f"labels {text!r}")
        if match[1] in labels:
            raise FormatError(f"label {match[1]} twice")
        labels[match[1]] = match[2]
        at = match.end()
    return labels


def readMetrics(text):
    """{(name, slot): value}; raises FormatError for any violation of the format."""
    if not text.endswith("\n"):
        raise FormatError("no line feed at the end")
    lines = text[:-1].split("\n")
    values = {}
    seen = set()
    while lines:
        described = HELP.fullmatch(lines.pop(0))
        typed = lines and TYPE.fullmatch(lines.pop(0))
        if not described or not typed or described[1] != typed[1] or typed[1] in seen:
            raise FormatError(f"HELP and TYPE before {lines[:1]}")
        name = typed[1]
        seen.add(name)
        if (typed[2] == "counter") != name.endswith("_total"):
            raise FormatError(f"{name}: a {typed[2]}")
        count = len(values)
        while lines and not lines[0].startswith("#"):
            series = SERIES.fullmatch(lines.pop(0))
            if not series or series[1] != name:
                raise FormatError(f"a series of {name}")
            slot = readLabels(series[2]).get("slot")
            if slot not in ("1", "2", "3") or (name, slot) in values:
                raise FormatError(f"{name}: slot {slot}")
            values[name, slot] = float(series[3])
        if len(values) == count:
            raise FormatError(f"{name} without a series")
    return values
