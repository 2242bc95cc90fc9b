"""A gateway in a virtual machine: booted, killed and booted again by a test, which runs commands in it.
scripts/test_gateway.sh sets the variables that are read here."""

import base64
import itertools
import json
import os
import pathlib
import socket
import subprocess
import sys
import tempfile
import threading
import time

IMAGE = pathlib.Path(os.environ["CELLSLOT_IMAGE"])  # disk.img, kernel.img, initrd.cpio
BENCH = pathlib.Path(os.environ["CELLSLOT_BENCH"])  # what the tests bring: an archive for the initrd
RESULTS = pathlib.Path(os.environ["CELLSLOT_RESULTS"])
ARCHITECTURE = os.environ["CELLSLOT_ARCHITECTURE"]
# Emulated processors are slow, some slower: what a test waits for may take so much longer.
PATIENCE = {"amd64": 1, "arm64": 2, "armhf": 2}[ARCHITECTURE]
PATIENCE *= int(os.environ.get("CELLSLOT_PATIENCE", "1"))
EMULATORS = {
    "amd64": ["qemu-system-x86_64", "-machine", "pc", "-cpu", "max", "-rtc", "base=utc"],
    "arm64": ["qemu-system-aarch64", "-machine", "virt", "-cpu", "cortex-a53"],
    # Debian's kernel for 32 bits has no addresses above 4 GB.
    "armhf": ["qemu-system-arm", "-machine", "virt,highmem=off", "-cpu", "cortex-a15"],
}
# On a busy host the x86 kernel's test of its timer fails, and it does not boot.
KERNEL_OPTIONS = {"amd64": "console=ttyS0 no_timer_check", "arm64": "console=ttyAMA0",
                  "armhf": "console=ttyAMA0"}
BOOT_S = 180 * PATIENCE
# A port of the machine that leads to a file of this one.
MEMORY = "/dev/virtio-ports/cellslot.memory"


class MachineGone(Exception):
    """The machine was killed, or stopped by itself, while an answer was awaited."""


class CommandFailed(AssertionError):
    """A command in the machine failed, or took too long."""


class Machine:
    """base: the disk that this machine's own begins as; the plain image unless given. What it changes
    is its own, and gone with it."""

    def __init__(self, name, base=None):
        self.name = name
        self.folder = RESULTS / name
        self.folder.mkdir(parents=True, exist_ok=True)
        self.disk = self.folder / "disk.qcow2"
        makeLayer(self.disk, base or IMAGE / "disk.img")
        self.initrd = self.folder / "initrd"
        self.initrd.write_bytes((IMAGE / "initrd.cpio").read_bytes() + BENCH.read_bytes())
        # The path of a socket is short.
        self.sockets = tempfile.TemporaryDirectory(prefix="gateway")
        self.port = pathlib.Path(self.sockets.name) / "bench"
        self.process = None
        self.connection = None
        self.news = threading.Condition()
        self.answers = {}
        self.numbers = itertools.count()
        self.bootId = None
        self.bootS = None

    # ---- power

    def command(self, console):
        return [
            *EMULATORS[ARCHITECTURE], "-accel", "tcg,thread=multi", "-smp", "2", "-m", "768",
            # A restart ends the emulator: in a machine that was reset in place the kernel can hang.
            "-no-reboot",
            "-nodefaults", "-no-user-config", "-display", "none",
            "-kernel", IMAGE / "kernel.img", "-initrd", self.initrd, "-append",
            # A system call that a sandbox refuses is a line in the journal.
            f"{KERNEL_OPTIONS[ARCHITECTURE]} quiet panic=30 mitigations=off SYSTEMD_LOG_SECCOMP=1",
            # Nothing is lost but what the machine's memory holds: the host stays up.
            "-drive", f"file={self.disk},format=qcow2,if=none,id=disk,cache=unsafe",
            "-device", "virtio-blk-pci,drive=disk", "-device", "virtio-rng-pci",
            "-chardev", f"socket,id=bench,path={self.port},server=on,wait=off",
            "-device", "virtio-serial-pci", "-device", "virtserialport,chardev=bench,name=cellslot.bench",
            # What a modem keeps without power, which nothing in the machine may lose.
            "-chardev", f"file,id=memory,path={self.folder}/memory,append=on",
            "-device", "virtserialport,chardev=memory,name=cellslot.memory",
            *console,
        ]

    def boot(self):
        """Until systemd has started everything."""
        start = time.monotonic()
        console = ["-chardev", f"file,id=console,path={self.folder}/console.log,append=on",
                   "-serial", "chardev:console"]
        with (self.folder / "emulator.log").open("a") as log:
            # The machine ends with the test, however that ends.
            self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *self.command(console)],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.connect()
        self.awaitBoot(None)
        self.bootS = time.monotonic() - start

    def awaitBoot(self, previous):
        """Waits for a boot other than the previous one, and for its end."""
        with self.news:
            if not self.news.wait_for(lambda: self.bootId != previous or self.process.poll() is not None,
                                      BOOT_S) or self.bootId in (None, previous):
                raise CommandFailed(f"not booted; see {self.folder}/console.log")
        # "degraded" is for the test to judge.
        self.run("systemctl is-system-running --wait || true", BOOT_S)

    def connect(self):
        end = time.monotonic() + 20
        while True:
            self.connection = socket.socket(socket.AF_UNIX)
            try:
                self.connection.connect(str(self.port))
                break
            except (FileNotFoundError, ConnectionRefusedError):
                self.connection.close()
                if time.monotonic() > end or self.process.poll() is not None:
                    raise CommandFailed(
                        f"the emulator did not start; see {self.folder}/emulator.log") from None
                time.sleep(0.1)
        self.bootId = None
        threading.Thread(target=self.receive, args=(self.connection,), daemon=True).start()

    def receive(self, connection):
        with connection.makefile("rb") as lines:
            try:
                for line in lines:
                    self.take(line)
            except OSError:
                pass
        self.awaitEnd()
        with self.news:
            self.news.notify_all()

    def awaitEnd(self):
        """An emulator that ends closes its port first; who waits for an answer asks whether it has ended."""
        process = self.process
        if process is not None:
            try:
                process.wait(20)
            except subprocess.TimeoutExpired:
                pass

    def take(self, line):
        try:
            message = json.loads(line)
        except ValueError:  # the rest of a line that a reboot cut off
            return
        with self.news:
            if "boot" in message:
                self.bootId = message["boot"]
            else:
                self.answers[message["id"]] = message
            self.news.notify_all()

    def kill(self):
        """As if the power were cut: what is not on the disk is lost."""
        if self.process is None:
            return
        self.process.kill()
        self.process.wait()
        self.disconnect()

    def memory(self):
        """What the modem that writes to MEMORY had in its memory at last."""
        lines = (self.folder / "memory").read_bytes().splitlines(keepends=True)
        return json.loads(next(line for line in reversed(lines) if line.endswith(b"\n")))

    def disconnect(self):
        self.process = None
        self.connection.close()
        self.answers.clear()

    def reboot(self):
        self.start("systemctl reboot")
        self.process.wait(BOOT_S)
        self.disconnect()
        self.boot()

    def shutDown(self, timeout=120):
        self.start("systemctl poweroff")
        self.process.wait(timeout * PATIENCE)
        self.disconnect()

    def end(self):
        """Brings the journal back, if the machine still runs, and ends it."""
        try:
            if self.process is not None and self.process.poll() is None:
                self.bringBack()
        finally:
            self.kill()
            self.disk.unlink(missing_ok=True)
            self.initrd.unlink(missing_ok=True)
            self.sockets.cleanup()

    def bringBack(self):
        self.run("journalctl --no-pager -o short-precise >/bench/journal", 60)
        (self.folder / "journal.log").write_bytes(self.read("/bench/journal"))
        self.run("tar -C / -cf /bench/logs.tar --ignore-failed-read bench/log var/log/wireless.cardstats*"
                 " 2>/dev/null || true")
        (self.folder / "logs.tar").write_bytes(self.read("/bench/logs.tar"))

    # ---- what is done in it

    def ask(self, request, timeout):
        """timeout: of the work itself; the answer may take longer."""
        number = self.send(request)
        with self.news:
            self.news.wait_for(
                lambda: number in self.answers or self.process is None or
                self.process.poll() is not None, timeout + 15 * PATIENCE)
            answer = self.answers.pop(number, None)
        if answer is None and (self.process is None or self.process.poll() is not None):
            raise MachineGone(str(request))
        if answer is None:
            raise CommandFailed(f"no answer to {request} after {timeout + 15 * PATIENCE} s")
        return answer

    def send(self, request):
        if self.process is None or self.process.poll() is not None:
            raise MachineGone(str(request))
        number = next(self.numbers)
        self.connection.sendall(json.dumps({"id": number, **request}).encode() + b"\n")
        return number

    def run(self, command, timeout=60, check=True):
        """Runs a command of bash and returns what it printed; with check=False status and output."""
        timeout *= PATIENCE
        answer = self.ask({"op": "run", "command": command, "timeout": timeout}, timeout)
        status, output = answer.get("status"), answer.get("output", "")
        if not check:
            return status, output
        if status != 0:
            raise CommandFailed(f"{command}: {answer.get('error', f'status {status}')}\n{output}")
        return output

    def start(self, command):
        """Runs a command whose end is not awaited."""
        self.send({"op": "run", "command": command, "timeout": 3600})

    def read(self, path):
        answer = self.ask({"op": "read", "path": str(path)}, 60 * PATIENCE)
        if "error" in answer:
            raise CommandFailed(f"{path}: {answer['error']}")
        return base64.b64decode(answer["data"])

    def write(self, path, data):
        data = data.encode() if isinstance(data, str) else data
        answer = self.ask({"op": "write", "path": str(path),
                           "data": base64.b64encode(data).decode()}, 60 * PATIENCE)
        if "error" in answer:
            raise CommandFailed(f"{path}: {answer['error']}")

    def order(self, slot, **order):
        """An order to the simulated modem of a slot, and its answer."""
        answer = self.ask({"op": "order", "path": f"/bench/modem{slot}.control",
                           "line": json.dumps(order), "timeout": 20}, 20 * PATIENCE)
        if "error" in answer:
            raise CommandFailed(f"order {order}: {answer['error']}")
        done = json.loads(answer["line"])
        if not done["ok"]:
            raise CommandFailed(f"order {order}: {done}")
        return done

    def waitFor(self, command, timeout, expected=""):
        """Waits until the command succeeds and prints the expected text; returns what it printed."""
        end = time.monotonic() + timeout * PATIENCE
        while True:
            status, output = self.run(command, check=False)
            if status == 0 and expected in output:
                return output
            if time.monotonic() > end:
                raise CommandFailed(f"{command}: not within {timeout * PATIENCE} s, last status {status}"
                                    f", expected {expected!r}:\n{output}")
            time.sleep(0.3)


def makeLayer(path, base):
    path.unlink(missing_ok=True)
    form = "qcow2" if base.suffix == ".qcow2" else "raw"
    subprocess.run(["qemu-img", "create", "-q", "-f", "qcow2", "-F", form, "-b", base, path], check=True)


def shell():
    """A machine on this terminal. Ctrl-A X ends it."""
    machine = Machine("shell")
    try:
        subprocess.run(machine.command(["-chardev", "stdio,id=console,mux=on,signal=off", "-serial",
                                        "chardev:console", "-mon", "chardev=console"]), check=False)
    finally:
        machine.end()


if __name__ == "__main__" and sys.argv[1:] == ["shell"]:
    shell()
