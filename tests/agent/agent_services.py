"""The agent of a gateway, and what systemd does for its services."""

import pathlib
import shutil
import socket
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))

from gateway import BIN, LIMIT_S, WORK, waitUntil  # noqa: E402

CONFIG = pathlib.Path("/etc/cellslot/agent.conf")
STORE = pathlib.Path("/var/lib/cellslot/agent")
CHANGES = pathlib.Path("/var/lib/cellslot/agent-change")
RUN = pathlib.Path("/run/cellslot-agent")


def freshAgent():
    """The folders of an agent that never ran. The rest of /var is the host's own."""
    subprocess.run(["mount", "-t", "tmpfs", "agent", "/var/lib"], check=True)
    STORE.mkdir(parents=True)
    shutil.rmtree(RUN, ignore_errors=True)
    RUN.mkdir()
    CONFIG.parent.mkdir(exist_ok=True)


class RootSocket:
    """Starts the service of root's for each connection, as the socket unit has it."""

    def __init__(self):
        path = pathlib.Path("/run/cellslot-agent-commands")
        path.unlink(missing_ok=True)
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(str(path))
        self.socket.listen(16)
        self.program = BIN / "cellslot"
        self.processes = []
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            try:
                connection, _ = self.socket.accept()
            except OSError:
                return
            with connection:
                self.processes.append(subprocess.Popen(
                    [BIN / "cellslot-agent-root", "serve", self.program], stdin=connection, stdout=connection))

    def close(self):
        self.socket.shutdown(socket.SHUT_RDWR)
        self.socket.close()
        for process in self.processes:
            process.kill()
            process.wait()


class Changer:
    """Starts the service that ends a configuration change whenever one is pending, as the path unit has it."""

    def __init__(self):
        self.process = None
        self.isEnding = False
        self.output = WORK / "change.out"
        self.thread = threading.Thread(target=self.run, daemon=True)
        self.thread.start()

    def run(self):
        while not self.isEnding:
            if not (CHANGES / "pending").exists():
                time.sleep(0.05)
                continue
            with self.output.open("a") as output:
                self.process = subprocess.Popen([BIN / "cellslot-agent-root", "change", BIN / "cellslot"],
                                                stdout=output, stderr=output)
            self.process.wait()

    def close(self):
        self.isEnding = True
        if self.process is not None:
            self.process.kill()
        self.thread.join()


class Agent:
    def __init__(self):
        self.process = None
        self.output = WORK / "agent.out"

    def start(self, *before):
        with self.output.open("a") as output:
            self.process = subprocess.Popen([*before, BIN / "cellslot-agent"], stdout=output, stderr=output)

    def stop(self):
        self.process.terminate()
        status = self.process.wait(LIMIT_S)
        self.process = None
        return status

    def kill(self):
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
        if self.process is not None:
            self.process.wait(LIMIT_S)
        self.process = None

    def log(self):
        return self.output.read_text()

    def waitLog(self, text, count=1):
        waitUntil(lambda: self.log().count(text) >= count, lambda: f"no {text!r} in\n{self.log()}")
