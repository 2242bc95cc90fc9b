"""What tests on a virtual gateway share: a machine for a class of tests, with a modem or more on its
USB, and what a gateway shows of itself."""

import hashlib
import json
import os
import pathlib
import time
import unittest

from machine import ARCHITECTURE, BENCH, IMAGE, RESULTS, Machine

NUMBER = "+12025550123"
# A place in the simulated network, which answers all pings.
REMOTE = "192.0.2.1"
# Where the modem is: latitude, longitude, metres.
PLACE = [47.25, 11.5, 580]
# A modem whose receiver is on: it needs no reset first.
RECEIVER = {"gps": {"enabled": True, "track": [PLACE]}}
CONNECTED_S = 240


def scenario(**sections):
    """A modem that knows the time and where it is, with these sections beside that."""
    now = time.strftime("%y/%m/%d,%H:%M:%S+00,0", time.gmtime())
    return {"network_time": now, "gps": {"track": [PLACE]}, **sections}


def startModem(machine, slot=1, composition="usual", plugged=True, memory=None, **sections):
    path = f"/bench/scenario{slot}.json"
    machine.write(path, json.dumps(scenario(**sections)))
    machine.run(f"/bench/modem.py start {slot} --composition {composition} --scenario {path}" +
                ("" if plugged else " --unplugged") + (f" --memory {memory}" if memory else ""))


def configure(machine, slot=1, **values):
    """Port, interface and configuration of a slot, with its service enabled."""
    settings = {"CM_ENABLE_INTERFACE": "yes", "CM_APN": "internet", "CM_SIM_SLOT": 1, **values}
    text = "".join(f"{key}={value}\n" for key, value in settings.items())
    machine.run(f"grep -q '^{slot} usb' /etc/cellslot/slots.conf ||"
                f" echo '{slot} usb {slot}-1' >>/etc/cellslot/slots.conf;"
                f" sed -i 's/^INTERFACE=.*/INTERFACE=cell{slot}/' /etc/default/cellslotd.{slot}")
    machine.write(f"/etc/vuk/cellular{slot}.conf", text)
    machine.run(f"chmod 600 /etc/vuk/cellular{slot}.conf; systemctl enable cellslotd@{slot}")


def installedLayer():
    """A disk with our package and slot 1 configured and enabled, which each test's machine begins as;
    made once for a package."""
    package = next(BENCH.parent.glob("package/*.deb"))
    code = pathlib.Path(__file__).read_bytes() + package.read_bytes()
    name = "installed-" + hashlib.sha256(code + str(IMAGE).encode()).hexdigest()[:12]
    layer = BENCH.parent / f"{name}.qcow2"
    if layer.exists():
        return layer
    for old in BENCH.parent.glob("installed-*.qcow2"):
        old.unlink()
    machine = Machine("installed")
    try:
        machine.boot()
        machine.run("apt-get install -y /bench/cellslot_*.deb", 180)
        configure(machine)
        machine.shutDown()
        os.replace(machine.disk, layer)
    finally:
        machine.end()
    return layer


def awaitConnected(machine, slot=1, timeout=CONNECTED_S):
    return machine.waitFor(f"cellslot status -p {slot}", timeout, f"Slot {slot}  CONNECTED")


def awaitNotConnected(machine, slot=1, timeout=CONNECTED_S):
    # Its status is not 0 then.
    return machine.waitFor(f"cellslot status -p {slot} || true", timeout, f"Slot {slot}  NOT CONNECTED")


def serviceShows(machine, name, slot=1):
    """A property of the service, as systemd has it."""
    return machine.run(f"systemctl show --value -p {name} cellslotd@{slot}").strip()


def awaitOtherProcess(machine, process, timeout):
    machine.waitFor(f"p=$(systemctl show --value -p MainPID cellslotd@1); [ $p != 0 ] && [ $p != {process} ]",
                    timeout)


def exchanges(machine, command):
    """How many commands with that beginning the modem of slot 1 has got."""
    return int(machine.run(f"grep -c '\"command\":\"{command}' /bench/log/modem1.log || true"))


def awaitExchange(machine, command, before, timeout=120):
    machine.waitFor(f"[ $(grep -c '\"command\":\"{command}' /bench/log/modem1.log) -gt {before} ]", timeout)


def descriptors(machine, slot=1):
    """How many files a daemon has open, and as which process."""
    process = serviceShows(machine, "MainPID", slot)
    return process, int(machine.run(f"ls /proc/{process}/fd | wc -l"))


class GatewayCase(unittest.TestCase):
    """A class of tests on one machine, which setUpMachine prepares."""

    base = None
    machine = None

    @classmethod
    def setUpClass(cls):
        name = f"{cls.__module__}.{cls.__qualname__}"
        cls.machine = Machine(name, installedLayer() if cls.base == "installed" else cls.base)
        # Also when the preparation fails: its journal says why.
        cls.addClassCleanup(cls.machine.end)
        cls.started = time.monotonic()
        cls.machine.boot()
        cls.report("booted")
        cls.setUpMachine(cls.machine)

    @classmethod
    def setUpMachine(cls, machine):
        """What the tests of the class begin with."""

    def run(self, result=None):
        """Says at once what failed: a run with many machines takes long."""
        failures, errors = len(result.failures), len(result.errors)
        super().run(result)
        for _, text in result.failures[failures:] + result.errors[errors:]:
            print(text, flush=True)
        return result

    @classmethod
    def report(cls, what):
        """Notes how long it took, for the results."""
        with (RESULTS / "times").open("a") as times:
            times.write(f"{ARCHITECTURE} {cls.__qualname__}: {what} after"
                        f" {time.monotonic() - cls.started:.0f} s\n")


class ModemCase(GatewayCase):
    """A gateway with our package, whose modem is there."""

    base = "installed"

    @classmethod
    def setUpMachine(cls, machine):
        startModem(machine, **RECEIVER)
