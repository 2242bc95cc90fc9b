#!/usr/bin/env python3
"""Rows of whole processes: the daemon against the simulated modem at instant pace, with the figures of
the kernel's accounting. Run by scripts/bench.sh inside scripts/private_namespace.sh; CELLSLOT_BIN and
CELLSLOT_HOST as for the system tests.

    processes.py [--quick] --out FILE"""

import argparse
import itertools
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

BENCH = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(BENCH.parent / "tests" / "system"))
from gateway import BIN, WORK, LogCatcher, Slot, freshHost, waitUntil  # noqa: E402
from rows import Report, machine  # noqa: E402

COMMAND_S = 0.020  # 10 ms before the carriage return, one poll of 10 ms
PASS_S = 0.500
PROMPT_S = 1.0     # the wait for the prompt of AT+CMGS always takes its full time
CHECK_S = 5.0      # between two checks of the messages
HOUR_S = 3600
WARM_UP_S = 45     # what is kept for later polls is there
ROUND_S = 10       # of a measurement side by side

ADDED_CPU_GOAL_US = 12      # what an AT command and all work that it causes may cost above the floor
INSTRUCTIONS_GOAL = 9000    # the same, in instructions of the daemon and its libraries
SWITCHES_GOAL_RATIO = 1.01  # to the waits that the pacing requires
RESIDENT_GOAL_KB = 2500
SIZE_GOAL_KB = 850
RECORDING_GOAL_PERCENT = 5  # more instructions while a recording runs

LIBRARIES = {
    "libc.so.6": "the C library, which every program of the host shares",
    "ld-linux-x86-64.so.2": "its loader",
    "ld-linux-aarch64.so.1": "its loader",
    "ld-linux-armhf.so.3": "its loader",
    "linux-vdso.so.1": "the kernel's own page",
}


def pacingS(commands):
    """The fixed waits of a list of commands. Assumes that the first pass sends no AT."""
    waits = sum(PROMPT_S + COMMAND_S if command.startswith("AT+CMGS") else 0
                for command in commands)
    return waits + len(commands) * COMMAND_S + commands.count("AT") * PASS_S


class Gateway:
    """Runs one to three connected slots and ends them."""

    def __init__(self, slots=1, scenario=None, start=None):
        freshHost()
        self.log = LogCatcher()
        self.slots = [Slot(number, scenario) for number in range(1, slots + 1)]
        for slot in self.slots:
            slot.configure()
            slot.startSim()
        self.startTime = time.monotonic()
        for slot in self.slots:
            (start or Slot.startDaemon)(slot)

    def __enter__(self):
        return self.slots[0] if len(self.slots) == 1 else self.slots

    def __exit__(self, *_):
        for slot in self.slots:
            slot.end()
        self.log.socket.close()


def startTimed(slot):
    os.environ["LD_PRELOAD"] = str(BIN.parent / "bench" / "libhost_command_timer.so")
    os.environ["BENCH_HOST_COMMANDS"] = str(WORK / "host_commands")
    try:
        slot.startDaemon()
    finally:
        del os.environ["LD_PRELOAD"]


def startUnderCallgrind(slot, *options):
    command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={WORK}/callgrind",
               BIN / "cellslotd", "-d", slot.device, "-g", slot.gps, "-i", slot.interface,
               "-p", str(slot.number), *options]
    with slot.output.open("w") as output:
        slot.daemon = subprocess.Popen(command, stdout=output, stderr=output, process_group=0)


def process(slot):
    return pathlib.Path(f"/proc/{slot.daemon.pid}")


def field(path, name):
    """A number in a file of /proc with lines "name: number"."""
    return int(re.search(rf"^{name}:\s*(\d+)", path.read_text(), re.MULTILINE)[1])


def usage(slot):
    """Processor time of the daemon so far, without its children."""
    folder = process(slot)
    commands = slot.commands()
    return {"s": time.monotonic(), "commands": len(commands), "passes": commands.count("AT"),
            "cpuS": int((folder / "schedstat").read_text().split()[0]) * 1e-9,
            "switches": field(folder / "status", "voluntary_ctxt_switches"),
            "diskBytes": field(folder / "io", "write_bytes"),
            "fileBytes": field(folder / "io", "wchar"),
            "heapKb": field(folder / "status", "RssAnon")}


def usedIn(slot, seconds):
    before = usage(slot)
    time.sleep(seconds)
    after = usage(slot)
    return {key: after[key] - before[key] for key in before}


# ---- bring-up

def oneBringUp():
    """(time, floor, host waits) until CONNECTED is published."""
    gateway = Gateway(start=startTimed)
    with gateway as slot:
        start = gateway.startTime
        while slot.value("_QMI_STATE") != "CONNECTED":
            time.sleep(0.004)
            if time.monotonic() - start > 60:
                sys.exit("processes.py: not CONNECTED after 60 s")
        took = time.monotonic() - start
        commands = slot.commands()
        lines = (WORK / "host_commands").read_text().splitlines()
        waits = sum(float(end) - float(begin) for begin, end in map(str.split, lines))
        return took, pacingS(commands), waits


def measureBringUp(report, runs):
    measured = [oneBringUp() for _ in range(runs)]
    took, floor, waits = min(measured, key=lambda run: (run[0] - run[2]) / run[1])
    report.row("bring-up", "process start to CONNECTED in the status file, without host commands",
               took - waits, "s", floor, "fixed waits of the commands sent and of the passes",
               goalRatio=1.05)
    report.row("bring-up", "waits for host commands in it (interface down and up)", waits, "s")


# ---- idle

class KeptAwake:
    """Keeps the processors busy, so that none goes to sleep and no host of virtual machines assigns
    one to another guest. The idle priority takes no time from other processes."""

    SPIN = ("import os\n"
            "os.sched_setscheduler(0, os.SCHED_IDLE, os.sched_param(0))\n"
            "os.sched_setaffinity(0, {%d})\n"
            "while os.getppid() == %d: pass")

    def __enter__(self):
        self.spinning = [subprocess.Popen([sys.executable, "-c", self.SPIN % (cpu, os.getpid())])
                         for cpu in os.sched_getaffinity(0)]
        time.sleep(1)

    def __exit__(self, *_):
        for process in self.spinning:
            process.kill()
            process.wait(10)


def sideBySide(slot, spare, seconds):
    """What the daemon of slot uses, and meanwhile the floors of a command and of its two waits, in
    microseconds, on the port of spare."""
    commands = max(1, int(seconds / (2 * COMMAND_S)))  # it sends them, then makes the waits alone
    with subprocess.Popen([BIN / "pacing_floor", spare.device, str(commands)],
                          stdout=subprocess.PIPE, text=True) as floor:
        used = usedIn(slot, seconds)
        floorUs, waitsUs = map(float, floor.communicate()[0].split())
    return used, floorUs, waitsUs


def usedConnected(seconds):
    """Several rounds side by side."""
    rounds = max(2, round(seconds / ROUND_S))
    with Gateway(slots=2) as (slot, spare):
        for each in (slot, spare):
            each.waitConnected(60)
        spare.stopDaemon()
        time.sleep(3)
        return [sideBySide(slot, spare, seconds / rounds) for _ in range(rounds)]


def total(rounds, key):
    return sum(used[key] for used, *_ in rounds)


def mean(values):
    return sum(values) / len(values)


def reportProcessorTime(report, condition, rounds, addedGoal=None):
    cpuUs = [used["cpuS"] * 1e6 / used["commands"] for used, *_ in rounds]
    floorUs = [floor for _, floor, _ in rounds]
    added = [cpu - floor for cpu, floor in zip(cpuUs, floorUs)]
    report.row("idle", f"{condition}: processor time of an AT command with all that hangs on it",
               mean(cpuUs), "us", mean(floorUs), "the same system calls in an empty program")
    report.row("idle", f"{condition}: what the daemon adds to the floor", mean(added), "us",
               goal=addedGoal,
               note=f"{len(added)} rounds side by side: {min(added):.1f} to {max(added):.1f} us")
    report.row("idle", "  of the floor, the two waits of 10 ms alone",
               mean([waits for *_, waits in rounds]), "us")
    share = 100 / total(rounds, "s")
    report.row("idle", f"{condition}: share of a core, connected and polling",
               share * total(rounds, "cpuS"), "%",
               share * mean(floorUs) * 1e-6 * total(rounds, "commands"),
               "the floor of as many commands")


def measureIdle(report, seconds):
    idle = usedConnected(seconds)
    reportProcessorTime(report, "idle machine", idle)
    with KeptAwake():
        reportProcessorTime(report, "kept awake", usedConnected(seconds), ADDED_CPU_GOAL_US)
    used = {key: total(idle, key) for key in idle[0][0]}
    perHour = HOUR_S / used["s"]
    commands = used["commands"]
    report.row("idle", "processor time an hour", used["cpuS"] * perHour, "s")
    report.row("idle", "AT commands an hour", commands * perHour, "")
    report.row("idle", "context switches a command (voluntary)", used["switches"] / commands, "",
               2 + used["passes"] / commands, "its two waits, and the one of each pass",
               goalRatio=SWITCHES_GOAL_RATIO)
    report.row("idle", "bytes written to files in memory and the port an hour",
               used["fileBytes"] * perHour, "B")
    report.row("idle", f"growth of the heap in {used['s']:.0f} s", used["heapKb"], "kB", goal=0)


class OnDisk:
    """Puts folders of the host on a disk instead of in memory for a while."""

    def __init__(self, folders, disk=BIN.parent / "disk"):
        self.folders = folders
        self.disk = disk

    def __enter__(self):
        for folder in self.folders:
            place = self.disk / folder.strip("/").replace("/", "-")
            place.mkdir(parents=True, exist_ok=True)
            subprocess.run(["mount", "--bind", place, folder], check=True)

    def __exit__(self, *_):
        for folder in self.folders:
            subprocess.run(["umount", "--lazy", folder], check=True)


def isInMemory(folder):
    return subprocess.run(["stat", "-f", "-c", "%T", folder], check=True, capture_output=True,
                          text=True).stdout.strip() in ("tmpfs", "ramfs")


def diskBytesAnHour(folders, seconds):
    with OnDisk(folders), Gateway() as slot:
        slot.waitConnected(60)
        time.sleep(3)
        used = usedIn(slot, seconds)
        return used["diskBytes"] * HOUR_S / used["s"]


def measureDisk(report, seconds):
    if isInMemory(BIN):
        print("bench: the build is in memory, disk writes cannot be measured", file=sys.stderr)
        return
    keeps = ["/etc/vuk", "/storage"]
    report.row("idle", "bytes written to a disk an hour: /run, /tmp and /var/log in memory",
               diskBytesAnHour(keeps, seconds), "B", goal=0)
    report.row("idle", "the same with /tmp on the disk", diskBytesAnHour([*keeps, "/tmp"], seconds),
               "B", note="the marker that keeps a message from being lost while the modem lists it;"
               " one look at the messages every five seconds")
    report.row("idle", "the same with /var/log on the disk",
               diskBytesAnHour([*keeps, "/var/log"], seconds), "B",
               note="the status files, every two seconds: they hold the time")


def measureSystemCalls(report, seconds):
    with Gateway() as slot:
        slot.waitConnected(60)
        time.sleep(3)
        before = len(slot.commands())
        tracer = subprocess.Popen(["strace", "-c", "-f", "-o", WORK / "strace",
                                   "-p", str(slot.daemon.pid)], stderr=subprocess.DEVNULL)
        time.sleep(seconds)
        tracer.send_signal(2)
        tracer.wait(10)
        commands = len(slot.commands()) - before
    rows = re.findall(r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)(?:\s+\d+)?\s+(\w+)$",
                      (WORK / "strace").read_text(), re.MULTILINE)
    calls = {name: int(count) for count, name in rows if name != "total"}
    report.row("idle", "system calls a command", sum(calls.values()) / commands, "", 6,
               "two waits, two writes, a look, a read")
    report.row("idle", "system calls an hour", sum(calls.values()) * HOUR_S / seconds, "")
    for name, count in sorted(calls.items(), key=lambda item: -item[1])[:8]:
        report.row("idle", f"  of them {name}, a command", count / commands, "")


def control(slot, *options):
    subprocess.run(["callgrind_control", *options, str(slot.daemon.pid)], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def changeSignal(slot, seconds):
    """Another signal and temperature in each poll, as a modem in the field has."""
    end = time.monotonic() + seconds
    for step in itertools.count():
        if time.monotonic() >= end:
            return
        slot.order(op="set", temperature={"celsius": 20 + step % 13},
                   signal={"rssi": 10 + step % 15, "rsrp_dbm": -80 - step % 23,
                           "rssi_dbm": -60 - step % 11, "rsrq_db": -5 - step % 9})
        time.sleep(0.4)


def countInstructions(seconds, *options, passTime=lambda _slot, seconds: time.sleep(seconds)):
    """Instructions, AT commands and seconds of a connected daemon."""
    with Gateway(start=lambda slot: startUnderCallgrind(slot, *options)) as slot:
        slot.waitConnected(120)
        passTime(slot, WARM_UP_S)
        dump = WORK / "callgrind.1"
        dump.unlink(missing_ok=True)
        control(slot, "--zero")
        before, start = len(slot.commands()), time.monotonic()
        passTime(slot, seconds)
        commands, took = len(slot.commands()) - before, time.monotonic() - start
        control(slot, "--dump")
        waitUntil(dump.exists, lambda: "callgrind made no dump")
        time.sleep(1)
        total = re.search(r"^(?:totals|summary): (\d+)$", dump.read_text(), re.MULTILINE)
    return int(total[1]), commands, took


def recordingPercent(seconds, **how):
    plain, plainCommands, _ = countInstructions(seconds, **how)
    recorded, commands, _ = countInstructions(seconds, "--record-always", **how)
    return ((recorded / commands) / (plain / plainCommands) - 1) * 100


def measureInstructions(report, seconds):
    instructions, commands, took = countInstructions(seconds)
    report.row("idle", "instructions of an AT command with all that hangs on it",
               instructions / commands, "", goal=INSTRUCTIONS_GOAL)
    report.row("idle", "instructions an hour", instructions * HOUR_S / took, "")
    report.row("idle", "more instructions while a recording runs",
               recordingPercent(seconds), "%", goal=RECORDING_GOAL_PERCENT)
    report.row("idle", "the same with another signal in each poll",
               recordingPercent(seconds, passTime=changeSignal), "%", goal=RECORDING_GOAL_PERCENT)


# ---- memory

def measureMemory(report):
    with Gateway() as slot:
        slot.waitConnected(60)
        time.sleep(5)
        peak = field(process(slot) / "status", "VmHWM")
        proportional = field(process(slot) / "smaps_rollup", "Pss")
        private = field(process(slot) / "status", "RssAnon")
    report.row("memory", "peak resident", peak, "kB", goal=RESIDENT_GOAL_KB)
    report.row("memory", "proportional set", proportional, "kB")
    report.row("memory", "of the resident memory: anonymous", private, "kB")
    with tempfile.NamedTemporaryFile() as stripped:
        subprocess.run(["strip", "-o", stripped.name, BIN / "cellslotd"], check=True)
        report.row("memory", "stripped program", os.path.getsize(stripped.name) / 1000, "kB",
                   goal=SIZE_GOAL_KB)
    libraries = re.findall(r"^\s*(\S+?)(?: =>.*)? \(0x",
                           subprocess.run(["ldd", BIN / "cellslotd"], check=True,
                                          capture_output=True, text=True).stdout, re.MULTILINE)
    names = [pathlib.Path(name).name for name in libraries]
    report.row("memory", "shared libraries", len(names), "",
               goal=sum(name in LIBRARIES for name in names),
               note="; ".join(f"{name}: {LIBRARIES.get(name, 'NOT JUSTIFIED')}" for name in names))


# ---- slots side by side

def measureSlots(report, seconds):
    points = []
    for count in (1, 2, 3):
        gateway = Gateway(slots=count)
        with gateway:
            for slot in gateway.slots:
                slot.waitConnected(60)
            time.sleep(3)
            before = [usage(slot) for slot in gateway.slots]
            time.sleep(seconds)
            after = [usage(slot) for slot in gateway.slots]
        cpuS = sum(b["cpuS"] - a["cpuS"] for a, b in zip(before, after))
        commands = sum(b["commands"] - a["commands"] for a, b in zip(before, after))
        points.append((count, cpuS * 1e6 / commands))
        report.row("scale", f"processor time of an AT command, {count} slots side by side",
                   points[-1][1], "us", points[0][1], "one slot")
    report.curve("slots", "cost of an AT command with slots side by side", "slots", "us", points)


# ---- messages

RECV = pathlib.Path("/tmp/sms/recv")
SEND = pathlib.Path("/tmp/sms/send")


def exchangesSince(slot, at):
    return [entry for entry in slot.exchanges() if entry["t"] >= at]


def modemMs(slot):
    return slot.order(op="count")["now_ms"]


def received():
    return len(list(RECV.glob("sms_msg_*")))


def sent(slot):
    return slot.order(op="dump")["state"]["sms"]["sent"]


def measureLatencyIn(report, slot, messages):
    """Time from injection to file. The floor is the time until the daemon's next permitted check."""
    total = toAsking = 0
    for number in range(messages):
        time.sleep(0.37 * number)  # at another point between two checks each time
        start, startMs = time.monotonic(), modemMs(slot)
        had = received()
        slot.order(op="inject-sms", **{"from": "+12025550123", "text": f"message {number}"})
        while received() == had:
            time.sleep(0.002)
            if time.monotonic() - start > 30:
                sys.exit("processes.py: a message did not arrive")
        total += time.monotonic() - start
        asked = next(entry["t"] for entry in exchangesSince(slot, startMs)
                     if entry["command"].startswith("AT+CMGL"))
        toAsking += (asked - startMs) / 1000
    report.row("messages", f"PDU at the modem to file in /recv, mean of {messages}",
               total / messages, "s", toAsking / messages,
               "until the modem is asked, every 5 s at the end of a poll")


def measureRateIn(report, slot, messages):
    start, had = time.monotonic(), received()
    for number in range(messages):
        slot.order(op="inject-sms", **{"from": "+12025550123", "text": f"message {number}"})
    waitUntil(lambda: received() >= had + messages, lambda: f"{received()} arrived", 300)
    took = time.monotonic() - start
    report.row("messages", f"received a minute, {messages} at once with a memory of 255",
               60 * messages / took, "/min")


def measureOut(report, slot, messages):
    start, startMs, had = time.monotonic(), modemMs(slot), len(sent(slot))
    for number in range(messages):
        source = pathlib.Path(f"/tmp/sms/out{number}")
        source.write_text(f"TO=+12025550123\nMSG=Pump {number} stopped\n")
        source.rename(SEND / source.name)
    waitUntil(lambda: len(sent(slot)) > had, lambda: "nothing was sent")
    first = sent(slot)[had]["t"]
    waitUntil(lambda: len(sent(slot)) >= had + messages,
              lambda: f"{len(sent(slot)) - had} of {messages} were sent", 30 + 20 * messages)
    last = sent(slot)[-1]["t"]
    report.row("messages", "file in /send to PDU on the wire, the first", (first - startMs) / 1000,
               "s", pacingS([entry["command"] for entry in slot.exchanges()
                             if startMs <= entry["t"] <= first]),
               "fixed waits of what was sent meanwhile")
    waits = pacingS([entry["command"] for entry in slot.exchanges() if first < entry["t"] <= last])
    each = (last - first) / 1000 / (messages - 1)
    report.row("messages", "between two messages sent", each, "s", waits / (messages - 1),
               "fixed waits of what was sent meanwhile; one message a check of 5 s")
    report.row("messages", "sent a minute, sustained", 60 / each, "/min")


def measureMessages(report, quick):
    with Gateway(scenario={"sms": {"capacity": 255}}) as slot:
        slot.waitConnected(60)
        measureLatencyIn(report, slot, 2 if quick else 6)
        measureRateIn(report, slot, 300 if quick else 1000)
        measureOut(report, slot, 3 if quick else 8)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("only", nargs="*", help="groups to measure, else all")
    options = parser.parse_args()
    quick = options.quick
    report = Report()
    groups = {
        "bring-up": lambda: measureBringUp(report, 2 if quick else 5),
        "idle": lambda: measureIdle(report, 20 if quick else 120),
        "disk": lambda: measureDisk(report, 10 if quick else 30),
        "calls": lambda: measureSystemCalls(report, 10 if quick else 30),
        "instructions": lambda: measureInstructions(report, 10 if quick else 30),
        "memory": lambda: measureMemory(report),
        "slots": lambda: measureSlots(report, 10 if quick else 30),
        "messages": lambda: measureMessages(report, quick),
    }
    for name, measure in groups.items():
        if options.only and name not in options.only:
            continue
        print(f"bench: {name} ...", file=sys.stderr, flush=True)
        measure()
    report.write(options.out, machine=machine())


if __name__ == "__main__":
    main()
