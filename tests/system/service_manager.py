"""A small replacement for a service manager: starts the daemon with the variables of the sd_notify
protocol, reads its messages, and kills and restarts it if its heartbeat is missing."""

import os
import pathlib
import select
import socket
import subprocess
import threading
import time

TICK_S = 0.05
LIMIT_S = 300  # bounds a failure only


class ServiceManager:
    def __init__(self, command, watchdogS, output, socketPath="/tmp/system-test/notify"):
        self.command = command
        self.watchdogS = watchdogS
        self.output = output
        self.path = socketPath
        self.messages = []  # (process, time, message)
        self.starts = 0
        self.process = None
        self.stopping = threading.Event()
        pathlib.Path(self.path).unlink(missing_ok=True)
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(self.path)
        self.start()
        self.thread = threading.Thread(target=self.watch)
        self.thread.start()

    def start(self):
        with open(self.output, "w") as output:
            self.process = subprocess.Popen(
                self.command, stdout=output, stderr=output,
                env={**os.environ, "NOTIFY_SOCKET": self.path,
                     "WATCHDOG_USEC": str(int(self.watchdogS * 1e6))})
        self.silenceS = 0
        self.starts += 1

    def watch(self):
        while not self.stopping.is_set():
            if select.select([self.socket], [], [], TICK_S)[0]:
                message = self.socket.recv(4096).decode()
                self.messages.append((self.process.pid, time.monotonic(), message))
                if message == "WATCHDOG=1":
                    self.silenceS = 0
                continue
            # Counted in turns: while the machine stands still the daemon cannot report either.
            self.silenceS += TICK_S
            if self.silenceS > self.watchdogS:
                # As in the unit: a signal that a stopped process cannot delay.
                self.process.kill()
                self.process.wait()
                self.start()

    def of(self, pid, start=""):
        return [message for process, _, message in list(self.messages)
                if process == pid and message.startswith(start)]

    def heartbeatTimes(self, pid):
        return [when for process, when, message in list(self.messages)
                if process == pid and message == "WATCHDOG=1"]

    def status(self):
        """The last status line of the current process."""
        lines = self.of(self.process.pid, "STATUS=")
        return lines[-1][len("STATUS="):] if lines else None

    def end(self):
        """Ends the watch, then the process; returns its exit status."""
        self.stopping.set()
        self.thread.join()
        self.process.terminate()
        status = self.process.wait(LIMIT_S)
        while select.select([self.socket], [], [], 0)[0]:
            self.messages.append((self.process.pid, time.monotonic(),
                                  self.socket.recv(4096).decode()))
        self.socket.close()
        return status
