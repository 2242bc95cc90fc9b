"""The programs that are compared, each as its package sets it up, but with paths in the private namespace.
Every program has the same life: start, perhaps connect, take messages, give messages, end."""

import json
import pathlib
import shutil
import subprocess
import threading
import time

from gateway import WORK, waitUntil
from reckoning import busSignals

HERE = pathlib.Path(__file__).resolve().parent
END_S = 20
NUMBER = "+12025550123"


def installedVersion(package):
    return subprocess.run(["dpkg-query", "-W", "-f", "${Version}", package], check=True,
                          capture_output=True, text=True).stdout


def endProcess(process):
    if process is None or process.poll() is not None:
        return
    process.terminate()
    try:
        process.wait(END_S)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait(END_S)


class SimLog:
    """The simulator's log as it grows, with its times as times of day."""

    def __init__(self, slot):
        self.file = slot.simLog.open()
        self.start = time.time() - slot.order(op="count")["now_ms"] / 1000
        self.rest = ""

    def new(self):
        self.rest += self.file.read()
        *lines, self.rest = self.rest.split("\n")
        for line in lines:
            entry = json.loads(line)
            yield self.start + entry["t"] / 1000, entry

    def skip(self):
        for _ in self.new():
            pass

    def waitFor(self, isWanted, seconds):
        """Time of the first new entry that is wanted; None if none comes."""
        end = time.time() + seconds
        while time.time() < end:
            for at, entry in self.new():
                if isWanted(entry):
                    return at
            time.sleep(0.005)
        return None


class Program:
    """publishes: whether it says itself that it is registered, and connects."""
    name = ""
    publishes = False
    at, gps = "/dev/ttyCELL1", "/dev/ttyGPS1"

    def __init__(self, slot):
        self.slot = slot
        slot.device, slot.gps = self.at, self.gps
        self.process = None
        self.log = None

    def prepare(self):
        """Before the start, with the modem there."""

    def roots(self):
        return [self.process.pid]

    def helperRoots(self):
        return []

    def launch(self, *command):
        output = (WORK / f"{self.name}.out").open("w")
        with output:
            self.process = subprocess.Popen([str(word) for word in command],
                                            stdin=subprocess.DEVNULL, stdout=output, stderr=output)

    def end(self):
        endProcess(self.process)
        self.process = None

    def waitRegistered(self, seconds):
        """When it knew that the modem is registered; for a program that does not say so, when the modem
        had answered its question."""
        return self.log.waitFor(lambda entry: entry.get("command") == "AT+CREG?"
                                and ",1" in entry["reply"], seconds)

    def waitConnected(self, _seconds):
        return None

    def away(self):
        """The host has noticed that the port is gone."""

    def back(self):
        """The host has noticed that the port is back."""

    def tidy(self):
        """Removes messages that it would leave in the modem."""

    def received(self):
        raise NotImplementedError

    def send(self, text):
        raise NotImplementedError


def filesIn(folder):
    return sum(1 for entry in folder.iterdir() if entry.is_file()) if folder.exists() else 0


class Cellslotd(Program):
    name = "cellslotd"
    publishes = True

    @staticmethod
    def version():
        root = HERE.parent.parent
        return subprocess.run(["git", "-C", root, "describe", "--always"], check=False,
                              capture_output=True, text=True).stdout.strip() or "this checkout"

    def prepare(self):
        self.slot.configure()

    def start(self):
        self.slot.startDaemon()
        self.process = self.slot.daemon

    def waitValue(self, key, wanted, seconds):
        end = time.time() + seconds
        while time.time() < end:
            if (self.slot.value(key) or "").startswith(wanted):
                return time.time()
            time.sleep(0.005)
        return None

    def waitRegistered(self, seconds):
        return self.waitValue("_CREG", "Registered", seconds)

    def waitConnected(self, seconds):
        return self.waitValue("_QMI_STATE", "CONNECTED", seconds)

    def away(self):
        waitUntil(lambda: self.slot.value("_QMI_STATE") != "CONNECTED",
                  lambda: "the unplug is not published")

    def received(self):
        return filesIn(pathlib.Path("/tmp/sms/recv"))

    def send(self, text):
        made = pathlib.Path("/tmp/sms/made")
        made.write_text(f"TO={NUMBER}\nMSG={text}\n")
        made.rename("/tmp/sms/send/made")


class ModemManager(Program):
    """Needs a message bus, polkit, and a host that reports ports. The bus is a private one. A
    pseudo-terminal has no place in sysfs, and there is no udev; so ModemManager gets its ports as events
    (--no-auto-scan), and sees a folder as /sys that describes them as those of the modem on USB."""
    name = "ModemManager"
    publishes = True
    at, gps = "/dev/ttyUSB0", "/dev/ttyUSB1"
    PORTS = {"ttyUSB0": "04", "ttyUSB1": "05"}  # interface of each: two AT ports
    USB = {"idVendor": "1bc7", "idProduct": "1201", "bcdDevice": "0310", "manufacturer": "Telit",
           "product": "LE910"}
    REGISTERED, CONNECTED = 8, 11  # of the interface Modem

    def __init__(self, slot):
        super().__init__(slot)
        self.helpers = []
        self.signals = []
        self.modem = None
        self.monitor = None
        self.clients = []
        self.tidied = 0

    @staticmethod
    def version():
        return installedVersion("modemmanager")

    # ---- the host

    @staticmethod
    def makePort(sys, device, name, number):
        interface = device / f"1-1:1.{int(number)}"
        port = interface / name
        tty = port / "tty" / name
        tty.mkdir(parents=True)
        for key, value in {"bInterfaceNumber": number, "bInterfaceClass": "ff",
                           "bInterfaceSubClass": "ff", "bInterfaceProtocol": "ff"}.items():
            (interface / key).write_text(value + "\n")
        links = {interface / "subsystem": "bus/usb", interface / "driver": "bus/usb/drivers/option",
                 port / "subsystem": "bus/usb-serial",
                 port / "driver": "bus/usb-serial/drivers/option1", tty / "subsystem": "class/tty"}
        for link, target in links.items():
            link.symlink_to(f"/sys/{target}")
        (tty / "device").symlink_to(f"/sys/{port.relative_to(sys)}")
        (sys / "class/tty" / name).symlink_to(f"/sys/{tty.relative_to(sys)}")

    def makeSys(self, sys):
        shutil.rmtree(sys, ignore_errors=True)
        device = sys / "devices/pci0000:00/usb1/1-1"
        for folder in (device, sys / "bus/usb/drivers/option", sys / "bus/usb/drivers/usb",
                       sys / "bus/usb-serial/drivers/option1", sys / "class/tty",
                       sys / "class/net"):
            folder.mkdir(parents=True, exist_ok=True)
        for key, value in self.USB.items():
            (device / key).write_text(value + "\n")
        (device / "subsystem").symlink_to("/sys/bus/usb")
        (device / "driver").symlink_to("/sys/bus/usb/drivers/usb")
        for name, number in self.PORTS.items():
            self.makePort(sys, device, name, number)

    def helper(self, *command, **more):
        with (WORK / "helpers.out").open("a") as output:
            process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL,
                                       **{"stdout": output, "stderr": output, **more})
        self.helpers.append(process)
        return process

    @staticmethod
    def hasOwner(name):
        asked = subprocess.run(["dbus-send", "--system", "--print-reply", "--dest=org.freedesktop.DBus",
                                "/", "org.freedesktop.DBus.NameHasOwner", f"string:{name}"],
                               capture_output=True, text=True, check=False)
        return "boolean true" in asked.stdout

    def prepare(self):
        pathlib.Path("/run/dbus").mkdir(exist_ok=True)
        self.helper("dbus-daemon", f"--config-file={HERE}/bus.conf", "--nofork", "--nopidfile")
        waitUntil(pathlib.Path("/run/dbus/system_bus_socket").exists,
                  lambda: "the message bus does not start")
        self.helper("/usr/lib/polkit-1/polkitd", "--no-debug")
        waitUntil(lambda: self.hasOwner("org.freedesktop.PolicyKit1"),
                  lambda: "polkit does not start")
        self.monitor = self.helper(
            "dbus-monitor", "--system", "type='signal',path_namespace='/org/freedesktop/ModemManager1'",
            stdout=subprocess.PIPE, text=True)
        threading.Thread(target=self.listen, args=(self.monitor.stdout,), daemon=True).start()
        self.makeSys(WORK / "sys")
        (WORK / "events").write_text("".join(map(self.event, ("add",) * 2, self.PORTS)))

    @staticmethod
    def event(action, port):
        return f"action={action},subsystem=tty,name={port}\n"

    def report(self, action):
        for port in self.PORTS:
            subprocess.run(["mmcli", f"--report-kernel-event={self.event(action, port).strip()}"],
                           check=True, capture_output=True)

    # ---- what it says

    def listen(self, stream):
        for at, path, member, values in busSignals(iter(stream.readline, "")):
            self.signals.append((at, path, member, values))

    def waitSignal(self, isWanted, seconds, since):
        end = time.time() + seconds
        while time.time() < end:
            for signal in list(self.signals):
                if signal[0] >= since and isWanted(*signal[1:]):
                    return signal
            time.sleep(0.005)
        return None

    def waitState(self, state, seconds):
        found = self.waitSignal(
            lambda path, member, values: path == self.modem and member == "StateChanged"
            and values[1:2] == [str(state)], seconds, self.begin)
        return found[0] if found else None

    # ---- its life

    def start(self):
        self.begin = time.time()
        self.launch("unshare", "--mount", "sh", "-c", f"mount --bind {WORK}/sys /sys && exec"
                    f" ModemManager --no-auto-scan --test-no-udev --initial-kernel-events={WORK}/events")

    def connectModem(self, seconds):
        """As a client does: as soon as the modem is there, it asks for a connection."""
        found = self.waitSignal(lambda _, member, values: member == "InterfacesAdded"
                                and values and "/Modem/" in values[0], seconds, self.begin)
        if found is None:
            return
        self.modem = found[3][0]
        self.clients.append(subprocess.Popen(
            ["mmcli", "-m", self.modem, "--timeout=120", "--simple-connect=apn=internet"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))

    def waitRegistered(self, seconds):
        self.connectModem(seconds)
        return self.waitState(self.REGISTERED, seconds)

    def waitConnected(self, seconds):
        return self.waitState(self.CONNECTED, seconds)

    def helperRoots(self):
        return [process.pid for process in self.helpers if process is not self.monitor]

    def away(self):
        self.report("remove")

    def back(self):
        self.begin = time.time()
        self.modem = None
        self.report("add")

    def inMessages(self):
        return [signal[3][0] for signal in list(self.signals)
                if signal[2] == "Added" and signal[3][1:2] == ["true"]]

    def received(self):
        return len(self.inMessages())

    def tidy(self):
        for path in self.inMessages()[self.tidied:]:
            subprocess.run(["mmcli", "-m", self.modem, f"--messaging-delete-sms={path}"], check=True,
                           capture_output=True)
            self.tidied += 1

    def send(self, text):
        done = subprocess.run(
            ["mmcli", "-m", self.modem, f"--messaging-create-sms=text='{text}',number='{NUMBER}'"],
            check=True, capture_output=True, text=True)
        path = done.stdout.split()[-1]
        self.clients.append(subprocess.Popen(["mmcli", "-s", path, "--send"],
                                             stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                             stderr=subprocess.DEVNULL))

    def end(self):
        super().end()
        for process in self.clients + self.helpers[::-1]:
            endProcess(process)
        self.clients.clear()
        self.helpers.clear()


class GammuSmsd(Program):
    name = "gammu-smsd"
    CONFIG = """\
[gammu]
port = {port}
connection = at115200
[smsd]
service = files
logfile = syslog
inboxpath = {folder}/inbox/
outboxpath = {folder}/outbox/
sentsmspath = {folder}/sent/
errorsmspath = {folder}/error/
"""

    def __init__(self, slot):
        super().__init__(slot)
        self.folder = WORK / "gammu"
        self.config = self.folder / "config"

    @staticmethod
    def version():
        return installedVersion("gammu-smsd")

    def prepare(self):
        for name in ("inbox", "outbox", "sent", "error"):
            (self.folder / name).mkdir(parents=True, exist_ok=True)
        self.config.write_text(self.CONFIG.format(port=self.at, folder=self.folder))

    def start(self):
        self.launch("gammu-smsd", "-c", self.config)

    def received(self):
        return filesIn(self.folder / "inbox")

    def send(self, text):
        subprocess.run(["gammu-smsd-inject", "-c", self.config, "TEXT", NUMBER, "-text", text],
                       check=True, capture_output=True)


class Smstools(Program):
    name = "smstools"
    FOLDERS = ("outgoing", "checked", "failed", "incoming", "sent")
    CONFIG = """\
devices = GSM1
{folders}
logfile = {folder}/log
infofile = {folder}/working
pidfile = {folder}/pid
receive_before_send = no
autosplit = 3
[GSM1]
device = {port}
incoming = yes
baudrate = 115200
"""

    def __init__(self, slot):
        super().__init__(slot)
        self.folder = WORK / "smstools"
        self.config = self.folder / "config"

    @staticmethod
    def version():
        return installedVersion("smstools")

    def prepare(self):
        for name in self.FOLDERS:
            (self.folder / name).mkdir(parents=True, exist_ok=True)
        folders = "\n".join(f"{name} = {self.folder / name}" for name in self.FOLDERS)
        self.config.write_text(self.CONFIG.format(folders=folders, folder=self.folder, port=self.at))

    def start(self):
        self.launch("smsd", "-t", f"-c{self.config}")

    def received(self):
        return filesIn(self.folder / "incoming")

    def send(self, text):
        made = self.folder / "made"
        made.write_text(f"To: {NUMBER[1:]}\n\n{text}\n")
        made.rename(self.folder / "outgoing/made")


PROGRAMS = (Cellslotd, ModemManager, GammuSmsd, Smstools)
