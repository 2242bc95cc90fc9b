#!/usr/bin/env python3
"""Counts the instructions of the fixed workloads under callgrind and compares them with those in
instruction_counts.json. A difference of more than 10 %, in either direction, fails. The counts do not
depend on load or speed of the machine, but on compiler and C library: if these differ from the recorded
ones, nothing can be compared, and the exit status is 77.

    instruction_guard.py --bin build/release/bin            compares
    instruction_guard.py --bin build/release/bin --renew    stores the numbers of this build

If a change makes a workload cheaper or more expensive on purpose, renew the numbers in the same commit
and give the reason in its message. Run inside scripts/private_namespace.sh."""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

KEPT = pathlib.Path(__file__).resolve().parent / "instruction_counts.json"
TOLERANCE = 0.10
NOT_COMPARED = 77
RENEW = "scripts/bench.sh --renew-instructions"
# The C library has variants of its text functions for each processor type: always use the plainest.
TUNABLES = "glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-AVX512BW,-EVEX,-ERMS,-FSRM,-BMI2,-SSE4_2"


def toolchain(program):
    return json.loads(subprocess.run([program, "--toolchain"], check=True, capture_output=True,
                                     text=True).stdout)


def countInstructions(program, folder):
    """Instructions of one run of each workload, by name."""
    result = subprocess.run(
        ["valgrind", "--tool=callgrind", "--collect-atstart=no", "--dump-line=no",
         f"--callgrind-out-file={folder}/out", program],
        capture_output=True, text=True, check=False,
        env={**os.environ, "GLIBC_TUNABLES": TUNABLES, "TZ": "UTC", "LC_ALL": "C"})
    if result.returncode != 0:
        sys.exit(f"instruction_guard.py: the workloads failed:\n{result.stdout}{result.stderr}")
    runs = dict(re.findall(r"^(.+): (\d+) runs$", result.stdout, re.MULTILINE))
    counts = {}
    for dump in pathlib.Path(folder).glob("out.*"):
        text = dump.read_text()
        name = re.search(r"^desc: Trigger: Client Request: (.+)$", text, re.MULTILINE)
        total = re.search(r"^(?:totals|summary): (\d+)$", text, re.MULTILINE)
        if name and total:
            counts[name[1]] = int(total[1]) // int(runs[name[1]])
    if set(counts) != set(runs) or not all(counts.values()):
        sys.exit(f"instruction_guard.py: counted {counts} of {sorted(runs)}")
    return counts


def compare(counts, kept):
    """How many counts are out of bounds."""
    bad = 0
    print(f"{'workload':<16} {'instructions':>14} {'kept':>14} {'ratio':>7}")
    for name in sorted(set(counts) | set(kept)):
        now, before = counts.get(name), kept.get(name)
        if now is None or before is None:
            print(f"{name:<16} {now or '-':>14} {before or '-':>14}          is on one side only")
            bad += 1
            continue
        ratio = now / before
        fine = abs(ratio - 1) <= TOLERANCE
        bad += not fine
        print(f"{name:<16} {now:>14} {before:>14} {ratio:>7.3f} {'' if fine else ' OUT OF BOUNDS'}")
    return bad


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of the programs")
    parser.add_argument("--renew", action="store_true", help="keep the numbers of this build")
    options = parser.parse_args()
    program = options.bin.resolve() / "fixed_workloads"
    here = toolchain(program)
    kept = json.loads(KEPT.read_text()) if KEPT.exists() else {}
    if not options.renew and kept["toolchain"] != here:
        print(f"NOT COMPARED: the numbers are for {kept['toolchain']}, this is {here};\n"
              f"to take numbers for this one: {RENEW}")
        return NOT_COMPARED
    with tempfile.TemporaryDirectory(dir=options.bin) as folder:
        counts = countInstructions(program, folder)
    if options.renew:
        KEPT.write_text(json.dumps({"toolchain": here, "instructions": counts}, indent=4) + "\n")
        print(f"kept in {KEPT.name}: {counts}")
        return 0
    bad = compare(counts, kept["instructions"])
    if bad:
        print(f"{bad} out of bounds (10 %). Intended? {RENEW}, and say why in the commit.")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
