"""A gateway on this machine: simulated modems and daemons on the daemon's real paths. Used inside
scripts/private_namespace.sh only; CELLSLOT_BIN and CELLSLOT_HOST name the folders of the
programs."""

import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "lib"))
from log_capture import openLogSocket, splitDatagram  # noqa: E402

BIN = pathlib.Path(os.environ["CELLSLOT_BIN"])
HOST = pathlib.Path(os.environ["CELLSLOT_HOST"])
# The programs run under sanitizers or valgrind.
SLOW = "CELLSLOT_SLOW" in os.environ
# How long a test waits for anything. It only bounds a failure: a machine that is busy, or stands
# still for some seconds, must not make a test fail.
LIMIT_S = 300 * (4 if SLOW else 1)
WORK = pathlib.Path("/tmp/system-test")
RECORDED = ("setup_cellint.sh", "systime.sh", "sledctl", "ResetCellular")

CONFIG = {
    "CM_ENABLE_INTERFACE": "yes",
    "CM_APN": "internet",
    "CM_SIM_SLOT": "1",
    "CM_GPS_ENABLE": "no",
    "CM_SYNC_TIME": "no",
    "CM_MTU": "1430",
}

# Records how a host tool was called; setup_cellint.sh then does its real work.
RECORDER = """\
#!/bin/bash
printf '%s\\n' "${0##*/} $*" >>"${0%/tools/*}/calls"
"""


class LogCatcher:
    """Receives the messages to the system log."""

    MARK = b"everything before this was received: "

    def __init__(self):
        self.datagrams = []
        self.marks = 0
        self.marked = threading.Condition()
        self.socket = openLogSocket("/dev/log")
        self.thread = threading.Thread(target=self.receive, daemon=True)
        self.thread.start()

    def receive(self):
        while data := self.socket.recv(65536):
            if data.startswith(self.MARK):
                with self.marked:
                    self.marks = int(data[len(self.MARK):])
                    self.marked.notify()
            else:
                self.take(data)

    def take(self, data):
        self.datagrams.append(data)

    def catchUp(self):
        """Waits for all that was sent so far: messages arrive in the order in which they were sent."""
        number = self.marks + 1
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.sendto(self.MARK + str(number).encode(), "/dev/log")
        with self.marked:
            if not self.marked.wait_for(lambda: self.marks == number, LIMIT_S):
                raise AssertionError("the log is not received")

    def close(self):
        # A thread that still receives would read from the next catcher, which gets the same number.
        self.socket.shutdown(socket.SHUT_RDWR)
        self.thread.join()
        self.socket.close()

    def texts(self):
        self.catchUp()
        return [splitDatagram(data)[1] for data in list(self.datagrams)]

    def count(self, text):
        return sum(1 for line in self.texts() if text in line)


class Slot:
    """A modem in a slot, and the daemon that owns it."""

    def __init__(self, number, scenario=None, pace="instant"):
        self.number = number
        self.device = f"/dev/ttyCELL{number}"
        self.gps = f"/dev/ttyGPS{number}"
        self.interface = f"wwan{number - 1}"
        self.status = pathlib.Path(f"/var/log/wireless.cardstats.{number}")
        self.simLog = WORK / f"sim{number}.log"
        self.control = WORK / f"sim{number}.control"
        self.scenario = scenario or {}
        self.pace = pace
        self.sim = None
        self.daemon = None
        self.kills = 0
        self.output = WORK / f"daemon{number}.out"
        self.ahead = 0      # the daemon's clock, in seconds, when it was started
        self.startedAt = 0
        self.fast = 1
        self.forgetLog()

    # ---- programs

    def configure(self, **changes):
        values = {**CONFIG, **changes}
        text = "".join(f"{key}={value}\n" for key, value in values.items())
        pathlib.Path(f"/etc/vuk/cellular{self.number}.conf").write_text(text)

    def startSim(self):
        scenarioFile = WORK / f"scenario{self.number}.json"
        scenarioFile.write_text(json.dumps(self.scenario))
        self.simLog.unlink(missing_ok=True)
        self.forgetLog()
        self.sim = subprocess.Popen(
            [BIN / "le910sim", "--at-link", self.device, "--gps-link", self.gps, "--scenario",
             scenarioFile, "--control", self.control, "--log", self.simLog, "--pace", self.pace,
             "--data", self.interface],
            stdout=subprocess.PIPE, text=True)
        line = self.sim.stdout.readline()
        if line.strip() != "ready":
            raise AssertionError(f"le910sim said {line!r}")

    def startDaemon(self, *more, fast=1, continued=False):
        """fast: how many times faster than real time the daemon's sleeps and timers run; continued:
        its clock goes on after that of the daemon before it."""
        now = time.monotonic()
        # What the clock of the last run has gained until now, and a second.
        self.ahead = self.ahead + (self.fast - 1) * (now - self.startedAt) + 1 if continued else 0
        self.startedAt, self.fast = now, fast
        isReal = fast == 1 and self.ahead == 0
        clock = [] if isReal else ["faketime", "-f", f"+{self.ahead:.0f} x{fast}"]
        command = [*clock, BIN / "cellslotd", "-d", self.device, "-g", self.gps, "-i", self.interface,
                   "-p", str(self.number), *more]
        with self.output.open("w") as output:
            # A group of its own: faketime remains the daemon's parent and must end with it.
            self.daemon = subprocess.Popen(command, stdout=output, stderr=output,
                                           process_group=0)

    def awaitEnd(self):
        """The daemon's exit status once it has ended."""
        return self.daemon.wait(LIMIT_S)

    def stopDaemon(self, number=signal.SIGTERM):
        self.daemon.send_signal(number)
        return self.awaitEnd()

    def killDaemon(self):
        """With a program that changes its clock, which is then its parent. Until all of them have
        ended, the next daemon takes this one for another instance."""
        group = self.daemon.pid
        self.kills += 1
        killGroup(group)
        self.awaitEnd()
        waitUntil(lambda: not isGroupThere(group), lambda: "the daemon outlives kill -9")

    def end(self):
        for process in (self.daemon, self.sim):
            if process is None:
                continue
            if process is self.daemon:
                killGroup(process.pid)
            elif process.poll() is None:
                process.kill()
            process.wait(LIMIT_S)
            if process.stdout:
                process.stdout.close()

    # ---- what can be seen

    def value(self, key):
        """A value of the status file; None if there is none."""
        start = f"CELLMODEM{self.number}{key}="
        try:
            text = self.status.read_text()
        except FileNotFoundError:
            return None
        return next((line[len(start):] for line in text.splitlines() if line.startswith(start)),
                    None)

    def forgetLog(self):
        self.logRead = 0  # bytes
        self.logged = []

    def simEvents(self):
        """The simulated modem's log so far."""
        if self.sim.poll() is None:
            self.order(op="count")  # it writes its log before it answers
        with self.simLog.open("rb") as log:
            log.seek(self.logRead)
            lines, end, _ = log.read().rpartition(b"\n")
        self.logRead += len(lines) + len(end)
        self.logged += map(json.loads, lines.splitlines())
        return self.logged

    def exchanges(self):
        return [entry for entry in self.simEvents()
                if entry["event"] == "exchange" and entry["port"] == "at"]

    def waitModemIsBack(self, times=1):
        """Until the modem has restarted that often since the simulator was started."""
        def count():
            return sum(entry["event"] == "ports back" for entry in self.simEvents())
        waitUntil(lambda: count() >= times, lambda: f"the modem is back {count()} times, not {times}")

    def commands(self):
        return [entry["command"] for entry in self.exchanges()]

    def order(self, **request):
        with socket.socket(socket.AF_UNIX) as control:
            control.connect(str(self.control))
            control.sendall(json.dumps(request).encode() + b"\n")
            answer = json.loads(control.makefile().readline())
        if not answer.get("ok"):
            raise AssertionError(f"{request}: {answer}")
        return answer

    def waitFor(self, key, wanted, seconds=LIMIT_S):
        waitUntil(lambda: self.value(key) == wanted,
                  lambda: f"{key} of slot {self.number} is {self.value(key)!r}, not {wanted!r}",
                  seconds)

    def waitConnected(self, seconds=LIMIT_S):
        self.waitFor("_QMI_STATE", "CONNECTED", seconds)

    def waitRenewed(self, times=1):
        """Until the status file was replaced."""
        for _ in range(times):
            before = self.status.stat().st_ino
            waitUntil(lambda: self.status.stat().st_ino != before,
                      lambda: "the status file is not renewed")

    def polls(self):
        """How often the daemon asked for the registration: once in each poll."""
        return self.commands().count("AT+CEREG?")

    def waitPolls(self, count):
        """The loop goes on, as the modem sees."""
        wanted = self.polls() + count
        waitUntil(lambda: self.polls() >= wanted,
                  lambda: f"the loop has stopped: {self.polls()} polls, {wanted} wanted; the daemon's"
                          f" exit status is {self.daemon.poll()}")


def killGroup(group):
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass  # it has ended


def isGroupThere(group):
    try:
        os.killpg(group, 0)
    except ProcessLookupError:
        return False
    return True


def waitUntil(condition, describe, seconds=LIMIT_S):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"after {seconds} s: {describe()}")
        time.sleep(0.02)


def calls(start=""):
    path = WORK / "calls"
    lines = path.read_text().splitlines() if path.exists() else []
    return [line for line in lines if line.startswith(start)]


def freshHost():
    """Resets everything to the state of a host that has just booted."""
    if os.environ.get("CELLSLOT_PRIVATE_NAMESPACE") != "1":
        sys.exit("system tests change the host's files: run them with scripts/private_namespace.sh")
    shutil.rmtree("/run/cellslot", ignore_errors=True)
    shutil.rmtree("/tmp/sms", ignore_errors=True)
    for pattern in ("etc/vuk/cellular*", "var/log/wireless.*", "var/log/carrier_list.json",
                    "storage/cellmodem.*"):
        for entry in pathlib.Path("/").glob(pattern):
            entry.unlink()
    for entry in list(pathlib.Path("/run").glob("cellslotd.*")) + list(pathlib.Path("/tmp").glob("force*")):
        entry.unlink()
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir()
    pathlib.Path("/run/poststart").touch()
    tools = WORK / "tools"
    tools.mkdir()
    for tool in RECORDED:
        script = tools / tool
        real = f'exec {HOST}/{tool} "$@"\n' if tool == "setup_cellint.sh" else ""
        script.write_text(RECORDER + real)
        script.chmod(0o755)
    if not os.environ["PATH"].startswith(str(tools)):
        os.environ["PATH"] = f"{tools}:{os.environ['PATH']}"
