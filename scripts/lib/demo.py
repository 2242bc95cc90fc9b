#!/usr/bin/env python3
"""The inside of scripts/demo.sh: runs the simulated modem and the daemon in the private namespace
that it was started in, shows what they do, and judges it."""

import argparse
import json
import os
import pathlib
import queue
import signal
import subprocess
import sys
import threading
import time

import demo_services
from log_capture import openLogSocket, splitDatagram

INTERFACE = "wwan0"
AT_LINK = "/dev/ttyCELL1"
GPS_LINK = "/dev/ttyGPS1"
STATUS = pathlib.Path("/var/log/wireless.cardstats.1")
CONFIG = pathlib.Path("/etc/vuk/cellular1.conf")
TOOLS = pathlib.Path("/tmp/demo-tools")
SIM_LOG = pathlib.Path("/tmp/le910sim.log")
SCENARIO = pathlib.Path("/tmp/demo-scenario.json")

CONNECTED = "CELLMODEM1_QMI_STATE=CONNECTED"
INTERFACE_UP = "SUCCESS Setting up interface IP info"
# Asked once in every pass of the daemon's loop that talks to the modem.
ONCE_A_PASS = "AT+CGSN"
COMMAND_S = 0.020
PASS_S = 0.500
MEMORY_LIMIT_KB = 4 * 1024
CONNECT_TIMEOUT_S = 60
STOP_TIMEOUT_S = 20
SIGNALLED = 2  # the daemon's exit status after a signal

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
        self.events = queue.Queue()
        self.receiver = openLogSocket("/dev/log")
        self.sim = None
        self.daemon = None
        self.showModem = True
        self.commands = 0
        self.passes = 0
        self.problems = 0
        self.upTime = None
        self.upCommands = 0
        self.upPasses = 0
        self.connectedTime = None
        self.connectedCommands = 0
        self.peakKb = 0
        self.shutdownFaults = []
        self.messagesShown = False
        self.gpsd = None

    # ---- events of the two programs, gathered by threads and handled one after the other

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

    def say(self, source, text, at=None):
        print(f"{self.now() if at is None else at:8.3f}  {source:<7} {text}", flush=True)

    def handle(self, at, kind, event):
        if kind == "log":
            program, text = event
            self.say("daemon" if program.startswith("cellslotd") else program, text, at)
            if text == INTERFACE_UP and self.upTime is None:
                self.upTime = at
                self.upCommands, self.upPasses = self.commands, self.passes
        elif event["event"] == "exchange":
            self.handleExchange(at, event)
        elif event["event"] == "problem":
            self.problems += 1
            self.say("modem", f"PROBLEM {event['command']}: {event['why']}", at)
        elif self.showModem:
            self.say("modem", event["event"] + " " + event.get("line", ""), at)

    def handleExchange(self, at, event):
        if event["port"] != "at":
            return
        self.commands += 1
        self.passes += event["command"] == ONCE_A_PASS
        if self.showModem:
            reply = " | ".join(line for line in event["reply"].split("\r\n") if line)
            self.say("modem", f"{event['command']:<28} {reply[:90]}", at)

    def pump(self, seconds):
        """Handles events for a while."""
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

    # ---- the parts of the demonstration

    def prepare(self):
        CONFIG.write_text(CONFIG_TEXT)
        # Otherwise the daemon waits with data until the host is up for three minutes.
        pathlib.Path("/run/poststart").touch()
        TOOLS.mkdir()
        for name in ("systime.sh", "sledctl", "ResetCellular"):
            (TOOLS / name).write_text(HARMLESS_TOOL)
            (TOOLS / name).chmod(0o755)
        threading.Thread(target=self.readSystemLog, daemon=True).start()

    # Each program in a session of its own: Ctrl-C is this program's to handle.
    def startSim(self):
        SIM_LOG.touch()
        # A receiver that was enabled before: enabling it would need a restart of the modem.
        SCENARIO.write_text('{"gps": {"enabled": true}}')
        scenario = [] if "--scenario" in self.options.sim else ["--scenario", SCENARIO]
        words = [self.options.bin / "le910sim", "--at-link", AT_LINK, "--gps-link", GPS_LINK,
                 "--data", INTERFACE, "--log", SIM_LOG, "--control", "/tmp/le910sim.sock",
                 *scenario, *self.options.sim]
        self.sim = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                    text=True, start_new_session=True)
        if self.sim.stdout.readline().strip() != "ready":
            sys.exit(f"demo: the simulated modem did not start (status {self.sim.wait()})")
        threading.Thread(target=self.readSimLog, daemon=True).start()

    def startDaemon(self):
        path = f"{TOOLS}:{self.options.host}:{os.environ['PATH']}"
        os.environ["GPSD_SOCKET"] = demo_services.GPSD_SOCKET
        words = [self.options.bin / "cellslotd", "-d", AT_LINK, "-g", GPS_LINK, "-i", INTERFACE,
                 "-p", "1"]
        print("$", " ".join([words[0].name, *words[1:]]), flush=True)
        self.start = time.monotonic()
        self.daemon = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                       env={**os.environ, "PATH": path}, start_new_session=True)

    def waitConnected(self):
        while self.daemon.poll() is None and self.now() < CONNECT_TIMEOUT_S:
            self.pump(0.05)
            self.sampleMemory()
            if STATUS.exists() and CONNECTED in STATUS.read_text().splitlines():
                self.connectedTime = self.now()
                self.connectedCommands = self.commands
                self.say("demo", "CONNECTED")
                return
        if self.daemon.poll() is None:
            self.say("demo", f"not CONNECTED after {CONNECT_TIMEOUT_S} s")
        else:
            self.say("demo", f"the daemon ended by itself, status {self.daemon.returncode}")

    def show(self, *words):
        print("\n$", " ".join(words), flush=True)
        return subprocess.run(words, stdin=subprocess.DEVNULL, check=False).returncode

    def showResult(self):
        self.showModem = False
        self.show("ip", "address", "show", "dev", INTERFACE)
        self.show("ip", "route")
        self.show("cat", "/etc/resolv.conf")
        self.show("ping", "-c", "2", "-W", "2", "-I", INTERFACE, "1.2.3.4")
        self.show("cat", str(STATUS))
        print(flush=True)

    def hold(self):
        seconds = self.options.seconds
        self.say("demo", "Ctrl-C ends" if seconds is None else f"staying up for {seconds} s")
        end = None if seconds is None else time.monotonic() + seconds
        while self.daemon.poll() is None and (end is None or time.monotonic() < end):
            self.pump(0.2)
            self.sampleMemory()

    def stopDaemon(self):
        if self.daemon.poll() is not None:
            self.shutdownFaults.append(f"it had ended before, status {self.daemon.returncode}")
            return
        self.showModem = True
        self.sampleMemory()
        self.say("demo", "SIGTERM to the daemon")
        self.daemon.terminate()
        end = time.monotonic() + STOP_TIMEOUT_S
        while self.daemon.poll() is None and time.monotonic() < end:
            self.sampleMemory()
            self.pump(0.05)
        if self.daemon.poll() is None:
            self.daemon.kill()
            self.shutdownFaults.append(f"it did not end within {STOP_TIMEOUT_S} s")
        self.pump(0.1)
        self.say("demo", f"the daemon ended, status {self.daemon.wait()}")
        self.judgeShutdown()

    def judgeShutdown(self):
        if self.daemon.returncode != SIGNALLED:
            self.shutdownFaults.append(f"exit status {self.daemon.returncode}, not {SIGNALLED}")
        if STATUS.exists():
            self.shutdownFaults.append(f"{STATUS} left behind")
        if "cellslot" in pathlib.Path("/etc/resolv.conf").read_text():
            self.shutdownFaults.append("name servers left behind")
        addresses = subprocess.run(["ip", "-4", "address", "show", "dev", INTERFACE],
                                   capture_output=True, text=True, check=False).stdout
        if addresses.strip():
            self.shutdownFaults.append(f"address left on {INTERFACE}")

    def report(self):
        print()
        if self.problems:
            print(f"commands the modem did not understand: {self.problems}")
        if self.connectedTime is not None:
            print(f"commands from start to CONNECTED: {self.connectedCommands}"
                  f" ({self.connectedTime:.2f} s)")
        if self.upTime is not None:
            slept = max(0, self.upPasses - 1)
            floor = self.upCommands * COMMAND_S + slept * PASS_S
            print(f"interface up after {self.upTime:.2f} s; floor {floor:.2f} s"
                  f" ({self.upCommands} commands of {COMMAND_S * 1000:.0f} ms,"
                  f" {slept} passes slept of {PASS_S * 1000:.0f} ms)")
        print(f"peak resident memory: {self.peakKb} kB, limit {MEMORY_LIMIT_KB} kB"
              f" ({'kept' if 0 < self.peakKb <= MEMORY_LIMIT_KB else 'NOT KEPT'})")
        print("messages:", "received, joined and sent" if self.messagesShown else "NOT SHOWN")
        print("shutdown:", "; ".join(self.shutdownFaults) or f"clean, status {SIGNALLED}")
        good = (self.connectedTime is not None and self.messagesShown and
                0 < self.peakKb <= MEMORY_LIMIT_KB and not self.shutdownFaults)
        print("result:", "good" if good else "FAILED", flush=True)
        return 0 if good else 1

    def run(self):
        try:
            self.prepare()
            self.startSim()
            self.gpsd = demo_services.startGpsd()
            self.startDaemon()
            self.waitConnected()
            if self.connectedTime is not None:
                self.showResult()
                self.messagesShown = demo_services.showMessages(self)
                if self.gpsd is not None:
                    demo_services.showPosition(self, CONFIG, GPS_LINK)
                self.hold()
        except Interrupted:
            print(flush=True)
        finally:
            # Once is enough: the shutdown is what the signal asked for.
            signal.signal(signal.SIGINT, signal.SIG_IGN)
            signal.signal(signal.SIGTERM, signal.SIG_IGN)
        if self.daemon is None:
            return 1
        self.stopDaemon()
        if self.gpsd is not None:
            self.gpsd.terminate()
            self.gpsd.wait()
        self.sim.terminate()
        self.sim.wait()
        return self.report()


def interrupt(_number, _frame):
    raise Interrupted


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", type=pathlib.Path, required=True, help="folder of the programs")
    parser.add_argument("--host", type=pathlib.Path, required=True, help="folder of the host tools")
    parser.add_argument("--seconds", type=float, help="time to stay connected; else until Ctrl-C")
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
