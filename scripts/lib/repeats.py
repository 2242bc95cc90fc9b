#!/usr/bin/env python3
"""Finds repeated lines of the product code: six or more in a row that differ only in white space. Blank
lines, comments, includes, punctuation and bare shell keywords do not count.

    scripts/lib/repeats.py    prints each repetition with its two places; fails if there is one
"""
import argparse
import re
import sys
from pathlib import Path

RUN = 6

# Tests and benchmarks may repeat lines; documents are no code.
NOT_PRODUCT = {".cache", ".git", "bench", "build", "docs", "fuzz", "tests"}

# (file, file): why both have the same lines. An entry that is not needed fails too.
EXCEPTIONS = {}

C_SUFFIXES = {".c", ".cpp", ".h"}
OTHER_SUFFIXES = {".cmake", ".py", ".sh"}

IGNORED_IN_C = re.compile(r"//|/\*|\*/|\* |#include\b|namespace\b|using namespace\b")
IGNORED_ELSEWHERE = re.compile(
    r"#|\. \S|import \w|from \S+ import\b|(do|done|elif|else|esac|fi|then)$")
LETTER_OR_DIGIT = re.compile(r"[^\W_]")


def is_code(path):
    if path.suffix in C_SUFFIXES | OTHER_SUFFIXES or path.name == "CMakeLists.txt":
        return True
    with path.open("rb") as file:  # scripts without an extension
        return not path.suffix and file.read(2) == b"#!"


def product_files(root):
    for top in sorted(root.iterdir()):
        if top.name in NOT_PRODUCT:
            continue
        for path in sorted(top.rglob("*")) if top.is_dir() else [top]:
            if path.is_file() and not path.is_symlink() and is_code(path):
                yield path.relative_to(root).as_posix()


def lines_that_count(path):
    """[(number, text)], with white space folded."""
    ignored = IGNORED_IN_C if path.suffix in C_SUFFIXES else IGNORED_ELSEWHERE
    lines = []
    for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
        text = " ".join(line.split())
        if LETTER_OR_DIGIT.search(text) and not ignored.match(text):
            lines.append((number, text))
    return lines


def repeated_windows(lines):
    """{((file, file), distance): [position in the first file]} of RUN lines that occur before."""
    first_places, windows = {}, {}
    for name, counted in lines.items():
        texts = [text for _, text in counted]
        for at in range(len(texts) - RUN + 1):
            window = tuple(texts[at:at + RUN])
            first_name, first_at = first_places.setdefault(window, (name, at))
            apart = at - first_at
            # A run of identical lines would match itself.
            if first_name != name or apart >= RUN:
                windows.setdefault(((first_name, name), apart), []).append(first_at)
    return windows


def runs(lines):
    """(file, file), place, place of each run, at its full length."""
    for ((first, second), apart), positions in sorted(repeated_windows(lines).items()):
        for at in positions:
            if at - 1 in positions:
                continue
            end = at
            while end in positions:
                end += 1
            last = end + RUN - 2
            yield (first, second), place(lines, first, at, last), place(lines, second, at + apart,
                                                                        last + apart)


def place(lines, name, first, last):
    return f"{name}:{lines[name][first][0]}-{lines[name][last][0]}"


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parents[2])
    root = parser.parse_args().root
    lines = {name: lines_that_count(root / name) for name in product_files(root)}
    if not lines:
        sys.exit("repeats: no source file found")
    problems, needed = [], set()
    for files, first, second in runs(lines):
        if files in EXCEPTIONS:
            needed.add(files)
        else:
            problems.append(f"{second} is the same as {first}: write it once")
    problems += [f"{' and '.join(files)}: this exception is not needed"
                 for files in EXCEPTIONS if files not in needed]
    for problem in problems:
        print(f"repeats: {problem}", file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
