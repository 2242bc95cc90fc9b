#!/usr/bin/python3
"""Runs in the virtual gateway: a simulated modem on the gateway's USB.

    modem.py start SLOT [--composition NAME] [--scenario FILE] [--memory FILE] [--unplugged]
    modem.py stop SLOT           the modem is gone with its gadget
    modem.py unplug|plug SLOT    the cable; the modem keeps its power
    modem.py number SLOT ROLE    the USB interface number of the role "at" or "gps"

A gadget made through configfs stands for the modem's USB side, on the kernel's dummy controller, whose
other end is a USB host controller of this machine: the gateway's own drivers take the modem. SLOT 1 is
plugged into USB port 1-1, SLOT 2 into 2-1. modems.json says what a modem shows to the host: the
functions of a composition become its USB interfaces, in that order; a network function makes two.
Behind the gadget le910sim serves the AT and the GPS port, and the network in a namespace of its own.
"""

import argparse
import json
import os
import pathlib
import subprocess
import time

BENCH = pathlib.Path("/bench")
GADGETS = pathlib.Path("/sys/kernel/config/usb_gadget")
PROFILE = json.loads((BENCH / "modems.json").read_text())
SLOTS = 3
# Numbers of the functions' drivers, and how many USB interfaces each makes. A function costs endpoints,
# and the dummy controller hands out addresses twice when there are too many: no port without need.
DRIVERS = {"serial": ("gser", 1), "at": ("gser", 1), "gps": ("gser", 1), "network": ("ncm", 2)}
DEADLINE_S = 30


def run(*words):
    subprocess.run([str(word) for word in words], check=True)


def waitUntil(condition, what):
    end = time.monotonic() + DEADLINE_S
    while not condition():
        if time.monotonic() > end:
            raise SystemExit(f"modem.py: {what}: not within {DEADLINE_S} s")
        time.sleep(0.05)


class Modem:
    def __init__(self, slot):
        self.slot = slot
        self.gadget = GADGETS / f"modem{slot}"
        self.controller = f"dummy_udc.{slot - 1}"
        self.namespace = f"modem{slot}"
        self.service = f"modem{slot}.service"
        self.interface = f"modem{slot}"

    # ---- the gadget

    def put(self, name, text):
        (self.gadget / name).write_text(text)

    def describe(self):
        product = PROFILE["product"]
        for name in ("idVendor", "idProduct"):
            self.put(name, product[name])
        strings = self.gadget / "strings/0x409"
        strings.mkdir()
        (strings / "manufacturer").write_text(product["manufacturer"])
        (strings / "product").write_text(product["product"])
        (strings / "serialnumber").write_text(f"00000{self.slot}")

    def addFunctions(self, composition):
        configuration = self.gadget / "configs/c.1"
        configuration.mkdir()
        for place, role in enumerate(PROFILE["compositions"][composition]):
            function = self.gadget / f"functions/{DRIVERS[role][0]}.{place}{role}"
            function.mkdir()
            if role == "network":
                # The same addresses each time, as a modem has; host's and modem's side differ.
                (function / "host_addr").write_text(f"02:00:00:00:{self.slot:02}:01")
                (function / "dev_addr").write_text(f"02:00:00:00:{self.slot:02}:02")
            # The order of the links is the order of the interfaces.
            (configuration / function.name).symlink_to(function)

    def function(self, role):
        return next(self.gadget.glob(f"functions/*{role}"))

    def port(self, role):
        return f"/dev/ttyGS{(self.function(role) / 'port_num').read_text().strip()}"

    def moveNetwork(self):
        """The modem's side of the network exists from the first time that the gadget is plugged in.
        Meanwhile the host looks away: it only sees that something was plugged in."""
        run("ip", "netns", "add", self.namespace)
        authorised = self.rootHub() / "authorized_default"
        authorised.write_text("0")
        self.put("UDC", self.controller)
        # If it left in the middle of its enumeration, the host would wait for answers of nobody.
        waitUntil(self.onHost().exists, "the host sees the modem")
        name = (self.function("network") / "ifname").read_text().strip()
        run("ip", "link", "set", name, "netns", self.namespace, "name", self.interface)
        self.put("UDC", "\n")
        waitUntil(lambda: not self.onHost().exists(), "the host sees the modem leave")
        authorised.write_text("1")
        # The modem is no host: its kernel keeps silent.
        run("ip", "netns", "exec", self.namespace, "sysctl", "-qw",
            f"net.ipv6.conf.{self.interface}.disable_ipv6=1")

    def rootHub(self):
        return next(pathlib.Path(f"/sys/devices/platform/dummy_hcd.{self.slot - 1}").glob("usb*"))

    def onHost(self):
        """The modem as a device of the host, which is there from the end of its enumeration."""
        return pathlib.Path(f"/sys/bus/usb/devices/{self.slot}-1")

    # ---- orders

    def start(self, composition, scenario, memory, plugged):
        run("modprobe", "dummy_hcd", f"num={SLOTS}")
        run("modprobe", "libcomposite")
        waitUntil(GADGETS.is_dir, "configfs")
        self.gadget.mkdir()
        self.describe()
        self.addFunctions(composition)
        self.moveNetwork()
        ports = ["--at-device", self.port("at"), "--gps-device", self.port("gps")]
        if plugged:
            ports += ["--gadget", self.gadget, "--controller", self.controller]
        control = BENCH / f"modem{self.slot}.control"
        (BENCH / "log").mkdir(exist_ok=True)
        more = ["--scenario", scenario] if scenario else []
        more += ["--memory", memory] if memory else []
        # When the host ends, its daemon ends first, as beside a modem with its own power. Then the gadget
        # is unplugged: a kernel that restarts with both ends of it can hang.
        properties = ["KillMode=mixed", f"Before=cellslotd@{self.slot}.service",
                      f"ExecStopPost={BENCH}/modem.py unplug {self.slot}"]
        run("systemd-run", "--quiet", "--collect", f"--unit={self.service}",
            *[f"--property={text}" for text in properties],
            "nsenter", f"--net=/run/netns/{self.namespace}", BENCH / "le910sim", *ports,
            "--interface", self.interface, "--control", control,
            "--log", BENCH / f"log/modem{self.slot}.log", *more)
        waitUntil(control.exists, f"le910sim (journalctl -u {self.service})")

    def stop(self):
        run("systemctl", "stop", self.service)
        (BENCH / f"modem{self.slot}.control").unlink(missing_ok=True)
        self.unplug()
        for link in self.gadget.glob("configs/c.1/*.*"):
            link.unlink()
        for folder in ("configs/c.1", "functions/*", "strings/0x409"):
            for found in self.gadget.glob(folder):
                found.rmdir()
        self.gadget.rmdir()
        run("ip", "netns", "del", self.namespace)

    def pluggedIn(self):
        return bool((self.gadget / "UDC").read_text().strip())

    def unplug(self):
        if self.pluggedIn():
            self.put("UDC", "\n")

    def plug(self):
        if not self.pluggedIn():
            self.put("UDC", self.controller)


def number(composition, role):
    names = PROFILE["compositions"][composition]
    return sum(DRIVERS[name][1] for name in names[:names.index(role)])


def main():
    parser = argparse.ArgumentParser(description="A simulated modem on this machine's USB.")
    parser.add_argument("action", choices=["start", "stop", "unplug", "plug", "number"])
    parser.add_argument("slot", type=int, choices=range(1, SLOTS + 1))
    parser.add_argument("role", nargs="?", choices=["at", "gps"])
    parser.add_argument("--composition", choices=PROFILE["compositions"], default="usual")
    parser.add_argument("--scenario", help="of le910sim")
    parser.add_argument("--memory", help="of le910sim")
    parser.add_argument("--unplugged", action="store_true", help="plug it in later")
    words = parser.parse_args()
    modem = Modem(words.slot)
    if words.action == "start":
        modem.start(words.composition, words.scenario, words.memory, not words.unplugged)
    elif words.action == "number":
        print(number(words.composition, words.role))
    else:
        getattr(modem, words.action)()


if __name__ == "__main__":
    os.environ["PATH"] = "/usr/sbin:/usr/bin:/sbin:/bin"
    main()
