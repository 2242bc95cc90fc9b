#!/usr/bin/python3
"""Runs in the virtual gateway and does what the test asks for, which sits at the other end of the
machine's port "cellslot.bench". Requests and answers are JSON objects, one a line; several requests
can be under way."""

import base64
import json
import os
import pathlib
import select
import signal
import socket
import subprocess
import tempfile
import threading

PORT = "cellslot.bench"
OUTPUT_MAX = 4 << 20


# What a power cut may damage, as it was found on the disk at this boot, before any other program.
FOUND = pathlib.Path("/bench/found")
KEPT = ("/etc/vuk", "/etc/cellslot", "/etc/default", "/var/log", "/storage", "/tmp")


def keepFound():
    if FOUND.exists():
        return
    FOUND.mkdir()
    subprocess.run(["cp", "-a", "--parents", *filter(os.path.exists, KEPT), FOUND], check=False)


def findPort():
    for name in pathlib.Path("/sys/class/virtio-ports").glob("*/name"):
        if name.read_text().strip() == PORT:
            return f"/dev/{name.parent.name}"
    raise SystemExit(f"no port {PORT}")


def textOf(file):
    file.seek(0)
    return file.read(OUTPUT_MAX).decode(errors="replace")


def run(request):
    """Runs a command of bash. Its output goes to a file: what it leaves in the background keeps no
    pipe open that somebody waits for."""
    with tempfile.TemporaryFile(dir="/bench") as output:
        process = subprocess.Popen(["/bin/bash", "-c", request["command"]], stdin=subprocess.DEVNULL,
                                   stdout=output, stderr=output, start_new_session=True, cwd="/root",
                                   env={**os.environ, "HOME": "/root", "LC_ALL": "C.UTF-8"})
        try:
            status = process.wait(request["timeout"])
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()
            return {"error": f"not done after {request['timeout']} s", "output": textOf(output)}
        return {"status": status, "output": textOf(output)}


def read(request):
    return {"data": base64.b64encode(pathlib.Path(request["path"]).read_bytes()).decode()}


def write(request):
    pathlib.Path(request["path"]).write_bytes(base64.b64decode(request["data"]))
    return {}


def order(request):
    """A line to a UNIX socket, and the line that answers."""
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(request["timeout"])
        connection.connect(request["path"])
        connection.sendall(request["line"].encode() + b"\n")
        return {"line": connection.makefile().readline()}


OPERATIONS = {"run": run, "read": read, "write": write, "order": order}


class Agent:
    def __init__(self):
        self.port = os.open(findPort(), os.O_RDWR)
        self.writing = threading.Lock()

    def send(self, message):
        data = json.dumps(message).encode() + b"\n"
        with self.writing:
            while data:
                data = data[os.write(self.port, data):]

    def answer(self, request):
        try:
            result = OPERATIONS[request["op"]](request)
        except Exception as problem:  # the test's fault, and the test is told
            result = {"error": f"{type(problem).__name__}: {problem}"}
        self.send({"id": request["id"], **result})

    def serve(self):
        boot = pathlib.Path("/proc/sys/kernel/random/boot_id").read_text().strip()
        self.send({"boot": boot})
        waiting = b""
        while True:
            select.select([self.port], [], [])
            data = os.read(self.port, 65536)
            if not data:  # nobody at the other end
                threading.Event().wait(0.2)
            waiting += data
            *lines, waiting = waiting.split(b"\n")
            for line in lines:
                threading.Thread(target=self.answer, args=(json.loads(line),), daemon=True).start()


keepFound()
Agent().serve()
