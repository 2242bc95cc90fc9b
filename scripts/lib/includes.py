#!/usr/bin/env python3
"""Reads the includes of the product code and fails on a circle between files or folders, on an
include that goes upwards, on a header and a source that do not carry the same name, and on a unit
test that mirrors no source file.

    scripts/lib/includes.py           check
    scripts/lib/includes.py --draw    the folders, top first, with what each one includes
"""
import argparse
import os
import re
import sys
from pathlib import Path

# Each folder and the folders below it that its files may include, bottom first.
ROOMS = {
    "include": [],
    "platform/include": [],
    "platform/files": ["platform/include"],
    "platform/text_and_time": ["platform/include", "platform/files"],
    "platform/sms_pdu": ["platform/include"],
    "platform/store": ["platform/include", "platform/files"],
    "platform/external": ["platform/include"],
    "published": ["include", "platform/include"],
    "recording": ["platform/include"],
    "main": ["include", "platform/include", "published"],
    "device": ["include", "platform/include", "published", "recording"],
    "atcmd": ["include", "platform/include", "published", "device"],
    "config": ["include", "platform/include", "published"],
    "sms": ["include", "platform/include", "published", "device", "atcmd"],
    "gps": ["include", "platform/include", "published", "device", "atcmd"],
    "statemachine": ["include", "platform/include", "published", "recording", "device", "atcmd", "config", "sms",
                     "gps"],
    "le910sim": ["include", "platform/include", "recording"],
    "cli/base": ["include", "platform/include", "published", "config"],
    "cli/status": ["include", "platform/include", "published", "config", "cli/base"],
    "cli/config": ["include", "platform/include", "published", "config", "cli/base", "cli/status"],
    "cli/at": ["platform/include", "published", "cli/base", "cli/status"],
    "cli/data": ["published", "cli/base", "cli/status"],
    "cli/pin": ["published", "cli/base", "cli/status"],
    "cli/sms": ["include", "platform/include", "published", "cli/base", "cli/status"],
    "cli/record": ["platform/include", "published", "cli/base", "cli/status"],
    "cli/doctor": ["include", "platform/include", "published", "config", "cli/base", "cli/at", "cli/status",
                   "cli/config", "cli/data", "cli/pin"],
    "cli/report": ["platform/include", "published", "recording", "config", "cli/base", "cli/status",
                   "cli/doctor", "cli/record"],
    "cli": ["cli/record", "cli/report", "cli/base", "cli/config", "cli/at", "cli/status", "cli/data", "cli/pin", "cli/sms",
            "cli/doctor"],
    "observed": ["include", "platform/include", "published", "cli/base", "cli/status"],
    "history": ["include", "platform/include", "platform/files", "published", "cli/base", "cli/status", "observed"],
    "mqtt": ["platform/include", "published", "cli/base"],
    "agent": ["include", "platform/include", "platform/files", "platform/store", "published", "cli/base", "cli/status",
              "cli/sms", "observed", "mqtt"],
    "http": ["platform/include", "cli/base", "cli/pin"],
    "web": ["platform/include", "published", "cli/base", "cli/status", "cli/pin", "cli/sms", "http"],
    "fleet": ["platform/include", "published", "include", "cli/base", "cli/status", "mqtt", "http"],
}

# The entry of the daemon puts the libraries together.
TOP = {"main/main.cpp": list(ROOMS)}

# Folders of headers alone, and where their sources are.
HEADERS = {
    "include": ["main", "config"],
    "platform/include": [room for room in ROOMS if room.startswith("platform/")],
}

INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
DECLARATION = re.compile(r"^(?!using|typedef|#|//)\S[^;{}]*?(\w+)\([^;{}]*\);", re.MULTILINE)

# Stands in for functions that a gateway's own platform may lack.
NO_HEADER = ("platform/external/fallback.cpp",)


def sources(root):
    for room in ROOMS:
        for path in sorted((root / room).glob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(root).as_posix()


def unit(path):
    """A header and its source are one unit."""
    return os.path.splitext(path)[0]


def room_of(path):
    return os.path.dirname(path)


def read_includes(root):
    return {path: INCLUDE.findall((root / path).read_text()) for path in sources(root)}


def upward_includes(includes):
    for path, names in includes.items():
        allowed = TOP.get(path, ROOMS[room_of(path)])
        for name in names:
            if room_of(name) != room_of(path) and room_of(name) not in allowed:
                yield f"{path} includes {name}: {room_of(path)} is below it or beside it"


def circles(graph):
    """The strongly connected parts of more than one node, by Tarjan's algorithm."""
    index, low, stack, found = {}, {}, [], []

    def visit(node):
        index[node] = low[node] = len(index)
        stack.append(node)
        for following in graph.get(node, ()):
            if following not in index:
                visit(following)
                low[node] = min(low[node], low[following])
            elif following in stack:
                low[node] = min(low[node], index[following])
        if low[node] == index[node]:
            part = stack[stack.index(node):]
            del stack[stack.index(node):]
            if len(part) > 1:
                found.append(sorted(part))

    for node in graph:
        if node not in index:
            visit(node)
    return found


def graph_by(includes, name_of):
    graph = {}
    for path, names in includes.items():
        edges = graph.setdefault(name_of(path), set())
        edges.update(name_of(name) for name in names if name_of(name) != name_of(path))
    return graph


def unmirrored_tests(root, includes):
    """tests/unit/FOLDER/FILE_test.cpp, or FILE_SUBJECT_test.cpp if a file has several test files."""
    units = {unit(path) for path in includes}
    for path in sorted((root / "tests/unit").rglob("*_test.cpp")):
        name = path.relative_to(root / "tests/unit").as_posix()[: -len("_test.cpp")]
        while name and name not in units:
            name = name.rpartition("_")[0] if "_" in os.path.basename(name) else ""
        if not name:
            yield f"{path.relative_to(root)} mirrors no source file"


def headers_of(path, includes):
    """NAME.h of NAME.cpp or of NAME_SUBJECT.cpp, in the same folder, in one of headers alone, or both."""
    rooms = [room_of(path)] + [room for room, places in HEADERS.items() if room_of(path) in places]
    name = os.path.basename(unit(path))
    found = []
    while name and not found:
        found = [f"{room}/{name}.h" for room in rooms if f"{room}/{name}.h" in includes]
        name = name.rpartition("_")[0]
    return found


def sources_without_header(includes):
    """An entry (main.cpp, NAME_main.cpp) has none."""
    for path, names in includes.items():
        if path.endswith(".h") or unit(path).endswith("main") or path in NO_HEADER:
            continue
        headers = headers_of(path, includes)
        if not headers:
            yield f"{path} has no header of its name"
        for header in headers:
            if header not in names:
                yield f"{path} does not include {header}"


def headers_without_source(root, includes):
    """A header that declares functions at the beginning of a line, and so outside classes, has a source."""
    sources = [path for path in includes if path.endswith(".cpp")]
    implemented = {header for path in sources for header in headers_of(path, includes)}
    for path in includes:
        if path.endswith(".h") and path not in implemented:
            declared = DECLARATION.search((root / path).read_text())
            if declared:
                yield f"{path} declares {declared[1]}, but no source has its name"


def draw(includes):
    rooms = graph_by({p: n for p, n in includes.items() if p not in TOP}, room_of)
    width = max(map(len, ROOMS))
    for room in reversed(list(ROOMS)):
        print(f"{room:{width}}  ->  {' '.join(sorted(rooms.get(room, ()))) or '-'}")


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--draw", action="store_true", help="show the rooms and what they include")
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parents[2])
    arguments = parser.parse_args()
    sys.setrecursionlimit(10000)
    includes = read_includes(arguments.root)
    if not includes:
        sys.exit("includes: no source file found")
    if arguments.draw:
        draw(includes)
        return 0
    problems = list(upward_includes(includes))
    problems += ["a circle of files: " + " ".join(part) for part in circles(graph_by(includes, unit))]
    inner = {path: names for path, names in includes.items() if path not in TOP}
    problems += ["a circle of rooms: " + " ".join(part) for part in circles(graph_by(inner, room_of))]
    problems += list(sources_without_header(includes))
    problems += list(headers_without_source(arguments.root, includes))
    problems += list(unmirrored_tests(arguments.root, includes))
    for problem in problems:
        print(f"includes: {problem}", file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
