"""How figures are read, summed and compared. Nothing here runs a program."""

import pathlib
import re
import statistics
import time

HOUR_S = 3600
NS_PER_TICK = 10_000_000  # USER_HZ is 100 on every Linux


def processorNs(pid):
    """Time on a processor of all threads of a process, also of those that have ended: the clock that
    clock_getcpuclockid(3) gives."""
    return time.clock_gettime_ns((~pid << 3) | 2)


def endedChildrenNs(stat):
    """Processor time of children that have ended and were waited for, in whole ticks;
    /proc/PID/stat, whose second field is a name in parentheses that may contain anything."""
    fields = stat.rpartition(")")[2].split()  # begins with the third field of proc(5)
    userTicks, systemTicks = fields[16 - 3], fields[17 - 3]
    return (int(userTicks) + int(systemTicks)) * NS_PER_TICK


def parentOf(stat):
    return int(stat.rpartition(")")[2].split()[1])


def field(text, name):
    """A number in a file of /proc with lines "name: number"."""
    return int(re.search(rf"^{name}:\s*(\d+)", text, re.MULTILINE)[1])


def family(roots, proc=pathlib.Path("/proc")):
    """The processes and all their descendants."""
    parents = {}
    for stat in proc.glob("[0-9]*/stat"):
        try:
            parents[int(stat.parent.name)] = parentOf(stat.read_text())
        except (FileNotFoundError, ProcessLookupError):
            continue  # it has just ended
    found = [root for root in roots if root in parents]
    for pid in found:
        found += [child for child, parent in parents.items() if parent == pid]
    return found


def usage(roots, proc=pathlib.Path("/proc"), clock=processorNs):
    """What the processes and their descendants have used so far, by process and by thread, and their
    memory now."""
    used = {"cpuNs": {}, "wakeUps": {}, "residentKb": 0, "proportionalKb": 0}
    for pid in family(roots, proc):
        folder = proc / str(pid)
        used["cpuNs"][pid] = clock(pid) + endedChildrenNs((folder / "stat").read_text())
        used["residentKb"] += field((folder / "status").read_text(), "VmRSS")
        used["proportionalKb"] += field((folder / "smaps_rollup").read_text(), "Pss")
        for task in (folder / "task").iterdir():
            used["wakeUps"][int(task.name)] = field((task / "status").read_text(),
                                                    "voluntary_ctxt_switches")
    return used


def grown(before, after):
    """The sum of what each has used since; what has ended meanwhile is not known."""
    return sum(count - before.get(key, 0) for key, count in after.items())


def idleFigures(before, after, seconds, commands):
    """Figures of an hour from those of a shorter or longer time."""
    cpuS = grown(before["cpuNs"], after["cpuNs"]) * 1e-9
    perHour = HOUR_S / seconds
    figures = {
        "idleCpu": cpuS * perHour,
        "idleWakeUps": grown(before["wakeUps"], after["wakeUps"]) * perHour,
        "idleCommands": commands * perHour,
        "resident": after["residentKb"],
        "proportional": after["proportionalKb"],
    }
    if commands:
        figures["commandCpu"] = cpuS * 1e6 / commands
    return figures


def middle(values):
    """The median of the runs that came to an end; None if one did not, or there was none."""
    if not values or None in values:
        return None
    return statistics.median(values)


def mean(values):
    if not values or None in values:
        return None
    return statistics.fmean(values)


def ratio(peer, own):
    """How many times ours the peer's figure is; None if one of them is not known or ours is 0."""
    if peer is None or not own:
        return None
    return peer / own


# "signal time=1763812345.678901 sender=:1.2 -> destination=(null destination) serial=7 path=/a/b;
# interface=c.d; member=StateChanged"
SIGNAL = re.compile(r"^signal time=([\d.]+) .*? path=(\S+); interface=(\S+); member=(\w+)$")
VALUE = re.compile(r'^   (?:u?int\d+|object path|boolean|string) "?([^"]*)"?$')


def busSignals(lines):
    """(time, path, member, values) of each signal that dbus-monitor prints. A signal is given with its
    first line, because nothing marks its end; the list of its values, those of the top level, then
    grows with the lines that follow."""
    values = []
    for line in map(str.rstrip, lines):
        begin, value = SIGNAL.match(line), VALUE.match(line)
        if value:
            values.append(value[1])
        elif not line.startswith(" "):
            values = []
        if begin:
            yield float(begin[1]), begin[2], begin[4], values
