#!/usr/bin/env python3
"""The daemon and other programs that use a modem, each in turn against the simulated modem on this machine:
what they cost and how fast they are. Prints a table and writes all single figures. Run by
scripts/bench.sh --peers inside scripts/private_namespace.sh; CELLSLOT_BIN and CELLSLOT_HOST as for the
system tests.

    peers.py [--idle SECONDS] [--starts N] [--messages N] [--unplugs N] [--seed N] [--reply-ms MS]
             [--only NAME[,NAME]] --out FILE"""

import argparse
import concurrent.futures
import datetime
import json
import pathlib
import random
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent), str(HERE.parent.parent / "tests" / "system")]
import table  # noqa: E402
from gateway import LogCatcher, Slot, freshHost, killGroup  # noqa: E402
from programs import PROGRAMS, SimLog  # noqa: E402
from reckoning import grown, idleFigures, mean, middle, usage  # noqa: E402
from rows import machine  # noqa: E402

START_S = 120    # how long a start may take
RETURN_S = 480   # how long a return after an unplug may take
MESSAGE_S = 120
SETTLE_S = 10    # from a start to the begin of the idle time
ROUND_S = 10     # messages come at any moment of the longest round of a program
AWAY_MS = 2000
SENDER = "+12025550123"


class Gateway:
    """A fresh host with a modem and one program."""

    def __init__(self, kind, scenario):
        freshHost()
        self.log = LogCatcher()
        self.slot = Slot(1, scenario)
        self.program = kind(self.slot)
        self.slot.startSim()
        self.program.log = SimLog(self.slot)

    def __enter__(self):
        self.program.prepare()
        return self.program

    def __exit__(self, *_):
        self.program.end()
        if self.slot.daemon is not None:
            killGroup(self.slot.daemon.pid)
        self.slot.daemon = None
        self.slot.end()
        self.log.close()


def since(start, at):
    return None if at is None else at - start


def timedStart(program):
    start = time.time()
    program.start()
    registered = program.waitRegistered(START_S)
    connected = program.waitConnected(START_S)
    return {"registered": since(start, registered), "connected": since(start, connected),
            "startCpu": grown({}, usage(program.roots())["cpuNs"]) * 1e-6}


def measureIdle(program, seconds):
    time.sleep(SETTLE_S)
    before, beforeCount = usage(program.roots()), program.slot.order(op="count")["exchanges"]
    begin = time.monotonic()
    time.sleep(seconds)
    took = time.monotonic() - begin
    after, afterCount = usage(program.roots()), program.slot.order(op="count")["exchanges"]
    figures = idleFigures(before, after, took, afterCount - beforeCount)
    if program.helperRoots():
        figures["helpers"] = usage(program.helperRoots())["proportionalKb"]
    return figures


def waitReceived(program, had, seconds):
    end = time.time() + seconds
    while time.time() < end:
        if program.received() > had:
            return time.time()
        time.sleep(0.005)
    return None


def messageIn(program, number):
    had, start = program.received(), time.time()
    program.slot.order(op="inject-sms", **{"from": SENDER, "text": f"message {number}"})
    return since(start, waitReceived(program, had, MESSAGE_S))


def messageOut(program, number):
    program.log.skip()
    start = time.time()
    program.send(f"Pump {number} stopped")
    return since(start, program.log.waitFor(lambda entry: entry["event"] == "sms sent", MESSAGE_S))


def atAnyMoment(measure, program, count, chance):
    """Measured at moments that have nothing to do with the program's own rounds."""
    taken = []
    for number in range(count):
        time.sleep(chance.uniform(0, ROUND_S))
        taken.append(measure(program, number))
        if taken[-1] is None:
            break  # the next ones would not arrive either
        program.tidy()
    return taken


def timedUnplug(program):
    """Times from the return of the modem on."""
    had = program.received()
    program.slot.order(op="hangup", away_ms=AWAY_MS)
    start = time.time() + AWAY_MS / 1000
    program.slot.order(op="inject-sms", **{"from": SENDER, "text": "meanwhile"})
    program.away()
    time.sleep(max(0, start - time.time()) + 0.1)
    program.back()
    # Both are waited for at the same time: either may come first.
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        received = pool.submit(waitReceived, program, had, RETURN_S)
        connected = None
        if program.publishes:
            program.waitRegistered(RETURN_S)
            connected = since(start, program.waitConnected(RETURN_S))
        return {"backConnected": connected, "backMessage": since(start, received.result())}


def idleUnplug(kind, scenario, chance):
    """On a host of its own: what a program does while a message is on its way is another question."""
    with Gateway(kind, scenario) as program:
        timedStart(program)
        time.sleep(SETTLE_S + chance.uniform(0, ROUND_S))
        return timedUnplug(program)


def measured(kind, options):
    chance = random.Random(options.seed)  # the same moments for each program
    scenario = {"sms": {"capacity": 50}, "timings": {"reply_ms": options.reply_ms}}
    single = {"starts": []}
    for _ in range(options.starts - 1):
        with Gateway(kind, scenario) as program:
            single["starts"].append(timedStart(program))
    with Gateway(kind, scenario) as program:
        single["starts"].append(timedStart(program))
        figures = measureIdle(program, options.idle)
        single["messageIn"] = atAnyMoment(messageIn, program, options.messages, chance)
        single["messageOut"] = atAnyMoment(messageOut, program, options.messages, chance)
        problems = program.slot.order(op="dump")["state"]["problems"]
    single["unplugs"] = [idleUnplug(kind, scenario, chance) for _ in range(options.unplugs)]
    for key in ("registered", "connected", "startCpu"):
        figures[key] = middle([run[key] for run in single["starts"]])
    for key in ("backConnected", "backMessage"):
        figures[key] = middle([run[key] for run in single["unplugs"]])
    for key in ("messageIn", "messageOut"):
        figures[key] = mean(single[key])
    return {"version": kind.version(), "figures": figures, "single": single,
            "refused": sorted(set(problems))}


def say(text):
    print(f"{datetime.datetime.now():%H:%M:%S} {text}", file=sys.stderr, flush=True)


def show(result):
    machineTexts = ", ".join(f"{key} {value}" for key, value in result["machine"].items())
    versions = ", ".join(f"{name} {entry['version']}" for name, entry in result["programs"].items())
    options = result["options"]
    print(f"{result['date']}; {machineTexts}; {versions}")
    print(f"Idle time measured: {options['idle']:g} s, scaled to an hour. Starts: {options['starts']}"
          f" (median), messages each way: {options['messages']}, unplugs: {options['unplugs']}"
          f" (median), seed {options['seed']}, answers after {options['reply_ms']} ms.\n")
    figures = {name: entry["figures"] for name, entry in result["programs"].items()}
    for line in table.lines(figures):
        print(line)
    print()
    for line in table.ahead(figures):
        print(line)


def parsed():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--idle", type=float, default=600)
    parser.add_argument("--starts", type=int, default=3)
    parser.add_argument("--messages", type=int, default=8)
    parser.add_argument("--unplugs", type=int, default=3)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--reply-ms", type=int, default=0)
    parser.add_argument("--only", default="")
    parser.add_argument("--out", type=pathlib.Path, required=True)
    options = parser.parse_args()
    if options.idle < 1 or min(options.starts, options.messages, options.unplugs) < 1:
        parser.error("a number below 1")
    names = [kind.name for kind in PROGRAMS]
    wanted = options.only.split(",") if options.only else names
    if unknown := set(wanted) - set(names):
        parser.error(f"--only: {sorted(unknown)} unknown; known are {names}")
    options.kinds = [kind for kind in PROGRAMS if kind.name in {table.OWN, *wanted}]
    return options


def save(options, begin, programs):
    """Also after each program, so that what was measured is not lost."""
    result = {"date": f"{datetime.date.today()}", "machine": begin,
              "options": {key: getattr(options, key)
                          for key in ("idle", "starts", "messages", "unplugs", "seed", "reply_ms")},
              "programs": programs}
    result["machine"]["load_at_end"] = machine()["load_1min"]
    options.out.write_text(json.dumps(result, indent=1) + "\n")
    return result


def main():
    options = parsed()
    begin = machine()
    programs = {}
    for kind in options.kinds:
        say(f"{kind.name}: starts, {options.idle:g} s idle, messages, unplugs")
        programs[kind.name] = measured(kind, options)
        save(options, begin, programs)
    show(save(options, begin, programs))


if __name__ == "__main__":
    main()
