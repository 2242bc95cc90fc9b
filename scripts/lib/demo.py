#!/usr/bin/env python3
"""The main part of scripts/demo.sh: runs the simulated modem and the daemon in the current private
namespace, shows what they do, and checks it."""

import argparse
import json
import os
import pathlib
import queue
import re
import select
import shutil
import signal
import subprocess
import sys
import threading
import time

import demo_services
from demo_page import startPage
from demo_screens import History, Watch, showCommand
from demo_story import Story
from log_capture import openLogSocket, splitDatagram

INTERFACE = "wwan0"
AT_LINK = "/dev/ttyCELL1"
GPS_LINK = "/dev/ttyGPS1"
STATUS = pathlib.Path("/var/log/wireless.cardstats.1")
CONFIG = pathlib.Path("/etc/vuk/cellular1.conf")
TOOLS = pathlib.Path("/tmp/demo-tools")
SIM_LOG = pathlib.Path("/tmp/le910sim.log")
SCENARIO = pathlib.Path("/tmp/demo-scenario.json")

INTERFACE_UP = "SUCCESS Setting up interface IP info"
# Sent once in every pass of the daemon's loop that uses the modem.
ONCE_A_PASS = "AT+CGSN"
COMMAND_S = 0.020
PASS_S = 0.500
MEMORY_LIMIT_KB = 4 * 1024
CONNECT_TIMEOUT_S = 60
STOP_TIMEOUT_S = 20
SIGNALLED = 2  # the daemon's exit status after a signal
WIDEST_GRAPH = 120

# Steps of the bring-up: the log line, or command and answer, that shows the end of the step; its
# subject; what it means.
STEPS = (
    (rf"Opened Char device '{AT_LINK}'", "start", "cellslotd has its configuration and opens the port"),
    (r"Setup device CMEE", "modem", "it answers; the daemon reads model and firmware"),
    (r"AT\+CPIN\?.*READY", "SIM", "ready, no PIN needed"),
    (r"Success setting APN", "set-up", "APN, technology and bands are as configured"),
    (r"Registration switched .* to 'Registered", "network", "the modem is registered"),
)

CONFIG_TEXT = """\
CM_ENABLE_INTERFACE=yes
CM_APN=internet.example
CM_SIM_SLOT=1
CM_DEFAULTROUTE=yes
CM_USE_DNS=yes
CM_MTU=1430
CM_IPFAMILY=ipv4v6
CM_GPS_ENABLE=no
"""

# The demonstration must neither set this host's clock nor touch its hardware.
HARMLESS_TOOL = """\
#!/bin/sh
logger -t "${0##*/}" -- "only shown here, not done: ${0##*/} $*"
"""


class Interrupted(Exception):
    """Ctrl-C or SIGTERM."""


class Demo:
    def __init__(self, options):
        self.options = options
        self.start = time.monotonic()
        self.story = Story(self.now, options.verbose)
        self.events = queue.Queue()
        self.receiver = openLogSocket("/dev/log")
        self.sim = None
        self.daemon = None
        self.gpsd = None
        self.pageServer = None
        self.watch = None
        self.history = None
        self.steps = list(STEPS)
        self.commands = 0
        self.passes = 0
        self.problems = 0
        self.upTimes = []
        self.upCommands = 0
        self.upPasses = 0
        self.isConnected = False
        self.peakKb = 0
        self.faults = []

    # ---- events of the two programs, collected by threads and handled one after the other

    def now(self):
        return time.monotonic() - self.start

    def readSystemLog(self):
        while True:
            program, text = splitDatagram(self.receiver.recv(65536))
            self.events.put((self.now(), "log", (program, text)))

    def readSimLog(self):
        pending = ""
        with SIM_LOG.open() as log:
            while True:
                pending += log.read()
                *lines, pending = pending.split("\n")
                for line in lines:
                    self.events.put((self.now(), "sim", json.loads(line)))
                time.sleep(0.005)

    def handle(self, at, kind, event):
        if kind == "log":
            self.handleLog(at, *event)
        elif event["event"] == "exchange":
            self.handleExchange(at, event)
        elif event["event"] == "problem":
            self.problems += 1
            self.story.say("modem", f"PROBLEM {event['command']}: {event['why']}", at)
        else:
            self.story.detail("modem", event["event"] + " " + event.get("line", ""), at)

    def handleLog(self, at, program, text):
        isDaemon = program.startswith("cellslotd")
        self.story.detail("daemon" if isDaemon else program, text, at)
        if not isDaemon:
            return
        if text == INTERFACE_UP:
            self.upTimes.append(at)
            if len(self.upTimes) == 1:
                self.upCommands, self.upPasses = self.commands, self.passes
        self.noteStep(at, text)

    def noteStep(self, at, text):
        if self.steps and re.match(self.steps[0][0], text):
            self.story.say(*self.steps.pop(0)[1:], at)

    def handleExchange(self, at, event):
        if event["port"] != "at":
            return
        self.commands += 1
        self.passes += event["command"] == ONCE_A_PASS
        reply = " | ".join(line for line in event["reply"].split("\r\n") if line)
        self.story.detail("modem", f"{event['command']:<28} {reply[:90]}", at)
        self.noteStep(at, event["command"] + " " + reply)

    def pump(self, seconds):
        """Handles events for a while."""
        if self.watch is not None:
            self.watch.keepUp()
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            try:
                self.handle(*self.events.get(timeout=left))
            except queue.Empty:
                break

    def sampleMemory(self):
        try:
            for line in pathlib.Path(f"/proc/{self.daemon.pid}/status").read_text().splitlines():
                if line.startswith("VmHWM:"):
                    self.peakKb = int(line.split()[1])
        except FileNotFoundError:
            pass

    def value(self, key):
        """A value of the status file; "" if there is none."""
        if not STATUS.exists():
            return ""
        found = re.search(rf"^CELLMODEM1_{key}=(.*)$", STATUS.read_text(), re.MULTILINE)
        return found[1] if found else ""

    def waitUntil(self, condition, seconds):
        """False if the daemon ended or the time was over first."""
        end = time.monotonic() + seconds
        while self.daemon.poll() is None and time.monotonic() < end:
            self.pump(0.05)
            self.sampleMemory()
            if condition():
                return True
        return False

    # ---- the parts of the demonstration

    def prepare(self):
        CONFIG.write_text(CONFIG_TEXT)
        # Otherwise the daemon starts data only after the host has been up for three minutes.
        pathlib.Path("/run/poststart").touch()
        TOOLS.mkdir()
        for name in ("systime.sh", "sledctl", "ResetCellular"):
            (TOOLS / name).write_text(HARMLESS_TOOL)
            (TOOLS / name).chmod(0o755)
        os.environ["PATH"] = f"{TOOLS}:{self.options.host}:{os.environ['PATH']}"
        os.environ["GPSD_SOCKET"] = demo_services.GPSD_SOCKET
        threading.Thread(target=self.readSystemLog, daemon=True).start()

    def hasOwnScenario(self):
        return any(word.startswith("--scenario") for word in self.options.sim)

    # Each program has its own session, so that only this program gets Ctrl-C.
    def startSim(self):
        SIM_LOG.touch()
        # A receiver that is already enabled: enabling it would need a restart of the modem.
        SCENARIO.write_text('{"gps": {"enabled": true}}')
        scenario = [] if self.hasOwnScenario() else ["--scenario", SCENARIO]
        words = [self.options.bin / "le910sim", "--at-link", AT_LINK, "--gps-link", GPS_LINK,
                 "--data", INTERFACE, "--log", SIM_LOG, "--control", "/tmp/le910sim.sock",
                 *scenario, *self.options.sim]
        self.sim = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                    text=True, start_new_session=True)
        if self.sim.stdout.readline().strip() != "ready":
            sys.exit(f"demo: the simulated modem did not start (status {self.sim.wait()})")
        threading.Thread(target=self.readSimLog, daemon=True).start()

    def startDaemon(self):
        words = [self.options.bin / "cellslotd", "-d", AT_LINK, "-g", GPS_LINK, "-i", INTERFACE,
                 "-p", "1"]
        print("A simulated LE910 modem and the daemon, in a network of their own:\n$",
              " ".join([words[0].name, *words[1:]]), flush=True)
        self.start = time.monotonic()
        self.daemon = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                       start_new_session=True)

    def address(self):
        text = subprocess.run(["ip", "-4", "-o", "address", "show", "dev", INTERFACE],
                              capture_output=True, text=True, check=False).stdout
        found = re.search(r"inet ([\d.]+)", text)
        return found[1] if found else ""

    def connect(self):
        self.isConnected = self.waitUntil(lambda: self.value("QMI_STATE") == "CONNECTED",
                                          CONNECT_TIMEOUT_S)
        if self.isConnected:
            self.showOnline()
        elif self.daemon.poll() is None:
            self.story.say("PROBLEM", f"not connected after {CONNECT_TIMEOUT_S} s; cellslot status shows why:")
            showCommand(self.options.bin, "status", "-p", "1")
        else:
            self.story.say("PROBLEM", f"the daemon ended by itself, status {self.daemon.returncode}")

    def showOnline(self):
        slept = max(0, self.upPasses - 1)
        floor = self.upCommands * COMMAND_S + slept * PASS_S
        self.story.say("online", f"{INTERFACE} has {self.address()}, route and name servers are set",
                       self.upTimes[0])
        self.story.more(f"({floor:.1f} s are the modem's, for {self.upCommands} answers, and fixed"
                        f" pauses)")
        operator = f"{self.value('CARRIER')}, {self.value('SERVICE_TYPE')} band {self.value('BAND')}"
        self.story.say("CONNECTED", f"{operator}: published for other programs")
        self.showPage()

    def showPage(self):
        self.pageServer, address = startPage(self.options.bin)
        if self.pageServer is not None:
            self.story.say("page", f"{address} shows all of it in a browser of this host")

    def ping(self):
        text = subprocess.run(["ping", "-c", "2", "-W", "2", "-I", INTERFACE, "1.2.3.4"],
                              stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              check=False).stdout
        received = re.search(r"(\d) received", text)
        average = re.search(r"= [\d.]+/([\d.]+)/", text)
        self.story.say("ping", f"{received[1] if received else 0} of 2 answered through the modem"
                               + (f", {float(average[1]):.1f} ms" if average else ""))

    def showServices(self):
        columns = min(shutil.get_terminal_size().columns, WIDEST_GRAPH)
        self.watch = Watch(self.options.bin / "cellslot", columns)
        self.ping()
        demo_services.setSignal(-112)
        if not demo_services.showMessages(self):
            self.faults.append("the messages did not pass")
        demo_services.setSignal(-88)
        # If the receiver is not enabled, the daemon would restart the modem for it.
        if self.gpsd is not None and not self.hasOwnScenario():
            self.showGps()

    def showGps(self):
        before = len(self.upTimes)
        demo_services.showPosition(self, CONFIG, GPS_LINK)
        if not self.waitUntil(lambda: len(self.upTimes) > before, CONNECT_TIMEOUT_S):
            self.faults.append("no connection after the reload")
            return
        self.story.say("online", "again, with the receiver running")
        self.waitUntil(lambda: self.value("QMI_STATE") == "CONNECTED", 5)

    def isWatched(self):
        return self.options.seconds is None and sys.stdin.isatty() and sys.stdout.isatty()

    def page(self, name, meaning):
        """On a terminal, one screen at a time."""
        if self.isWatched():
            print(f"\n-- Enter shows {name}, Ctrl-C quits --", end="", flush=True)
            self.waitUntil(self.isEnterPressed, float("inf"))
        self.story.heading(f"{name}: {meaning}")

    @staticmethod
    def isEnterPressed():
        return bool(select.select([sys.stdin], [], [], 0)[0]) and sys.stdin.readline() is not None

    def showScreens(self):
        self.page("cellslot status", "the state, what is wrong, and what to do")
        showCommand(self.options.bin, "status", "-p", "1")
        self.page("cellslot watch", "the same, live; here only the graph of the signal")
        print("\n".join(self.watch.graph() or [f"(no graph: {self.watch.fault})"]), flush=True)
        self.page("cellslot doctor", "checks the host")
        showCommand(self.options.bin, "doctor", "-p", "1")
        print(flush=True)

    def hold(self):
        seconds = self.options.seconds
        if seconds is None:
            print("The daemon stays up; Ctrl-C ends it.", flush=True)
        self.waitUntil(lambda: False, float("inf") if seconds is None else seconds)

    def stopDaemon(self):
        if self.daemon.poll() is not None:
            self.faults.append(f"the daemon had ended before, status {self.daemon.returncode}")
            return
        self.sampleMemory()
        begun = self.now()
        self.daemon.terminate()
        if self.waitUntil(lambda: False, STOP_TIMEOUT_S) or self.daemon.poll() is None:
            self.daemon.kill()
            self.faults.append(f"it did not end within {STOP_TIMEOUT_S} s")
        self.daemon.wait()
        took = self.now() - begun
        self.pump(0.1)
        self.story.say("stop", f"SIGTERM: session, {INTERFACE} and files are gone after {took:.1f} s")
        self.judgeShutdown()

    def judgeShutdown(self):
        if self.daemon.returncode != SIGNALLED:
            self.faults.append(f"exit status {self.daemon.returncode}, not {SIGNALLED}")
        if STATUS.exists():
            self.faults.append(f"{STATUS} was not removed")
        if "cellslot" in pathlib.Path("/etc/resolv.conf").read_text():
            self.faults.append("name servers were not removed")
        if self.address():
            self.faults.append(f"address left on {INTERFACE}")

    def showHistory(self):
        self.story.heading("cellslot history: what was, at any later time")
        if self.history.end() != 0 or self.history.show() != 0:
            self.faults.append("no history")
        print(flush=True)

    def report(self):
        if not self.isConnected:
            self.faults.append("no connection")
        if self.problems:
            print(f"commands the modem did not understand: {self.problems}")
        if not 0 < self.peakKb <= MEMORY_LIMIT_KB:
            self.faults.append(f"{self.peakKb} kB of memory, limit {MEMORY_LIMIT_KB}")
        if self.faults:
            print("FAILED:", "; ".join(self.faults), flush=True)
            return 1
        print(f"good: connected, messages passed, clean end; at most {self.peakKb / 1024:.1f} MB of"
              " memory", flush=True)
        return 0

    def run(self):
        try:
            self.prepare()
            self.gpsd = demo_services.startGpsd()
            self.startSim()
            self.history = History(self.options.bin)
            self.startDaemon()
            self.connect()
            if self.isConnected:
                self.showServices()
                self.showScreens()
                self.hold()
        except Interrupted:
            print(flush=True)
        finally:
            # Once is enough: the signal requested the shutdown.
            signal.signal(signal.SIGINT, signal.SIG_IGN)
            signal.signal(signal.SIGTERM, signal.SIG_IGN)
        if self.daemon is None:
            return 1
        if self.watch is not None:
            self.watch.end()
            self.watch = None
        self.stopDaemon()
        for service in (self.gpsd, self.pageServer):
            if service is not None:
                service.terminate()
                service.wait()
        self.sim.terminate()
        self.sim.wait()
        self.showHistory()
        return self.report()


def interrupt(_number, _frame):
    raise Interrupted


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of the programs")
    parser.add_argument("--host", type=pathlib.Path, required=True, help="folder of the host tools")
    parser.add_argument("--seconds", type=float, help="time to stay up at the end; else until Ctrl-C")
    parser.add_argument("--verbose", action="store_true", help="with the AT exchange and the log")
    parser.add_argument("sim", nargs="*", help="more options for the simulated modem")
    options = parser.parse_args()
    if os.environ.get("CELLSLOT_PRIVATE_NAMESPACE") != "1":
        sys.exit("demo.py changes network and files: start it with scripts/demo.sh")
    if not os.access("/dev/net/tun", os.R_OK | os.W_OK):
        sys.exit("demo: no access to /dev/net/tun; run as root")
    signal.signal(signal.SIGINT, interrupt)
    signal.signal(signal.SIGTERM, interrupt)
    sys.exit(Demo(options).run())


if __name__ == "__main__":
    main()
