#!/usr/bin/env python3
"""Tests of gateway-tools/setup_cellint.sh on a TUN device, in a private namespace:

    scripts/private_namespace.sh python3 tests/system/setup_cellint_test.py

Every case runs twice: with bash, and with busybox as the shell and as the tools of the script (except
ip).
"""

import fcntl
import ipaddress
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import threading
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "gateway-tools" / "setup_cellint.sh"
INTERFACE = "wwan0"
LIMIT_S = 300  # bounds a failure only
RESOLV_CONF = pathlib.Path("/etc/resolv.conf")
STATE = pathlib.Path("/run/cellslot")
BEFORE = "search lan\nnameserver 192.0.2.9\n"
BUSYBOX_TOOLS = pathlib.Path("/tmp/busybox")
STUBS = pathlib.Path("/tmp/stubs")
IPV6_SETTINGS = ("disable_ipv6", "accept_ra", "autoconf", "accept_ra_defrtr", "ra_defrtr_metric")
# As the daemon writes it, including double blanks.
DAEMON_LINE = (
    " -i wwan0 --up  --defaultroute  -m 1430 --address 10.20.30.40 --netmask 255.255.255.252"
    " --gateway 10.20.30.41 --dns 10.0.0.1 --dns 10.0.0.2 --ipv6auto "
)


def run(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


def ipJson(*words):
    return json.loads(run("ip", "-j", *words) or "[]")


def addresses():
    """The interface's IPv4 addresses: (address, prefix), or (address, peer, prefix)."""
    found = []
    for link in ipJson("address", "show", "dev", INTERFACE):
        for entry in link.get("addr_info", []):
            if entry["family"] == "inet":
                # iproute2 gives the peer under "address".
                peer = (entry["address"],) if "address" in entry else ()
                found.append((entry["local"], *peer, entry["prefixlen"]))
    return found


def routes():
    """IPv4 routes through the interface: destination -> (gateway or None, metric or None)."""
    return {route["dst"]: (route.get("gateway"), route.get("metric"))
            for route in ipJson("-4", "route", "show", "dev", INTERFACE)}


def isUp():
    return "UP" in ipJson("link", "show", "dev", INTERFACE)[0]["flags"]


def mtu():
    return ipJson("link", "show", "dev", INTERFACE)[0]["mtu"]


def ipv6Settings():
    folder = pathlib.Path("/proc/sys/net/ipv6/conf") / INTERFACE
    return {name: int((folder / name).read_text()) for name in IPV6_SETTINGS
            if (folder / name).exists()}


def wholeState():
    return {
        "link": re.sub(r"qdisc \w+", "", run("ip", "link", "show", "dev", INTERFACE)),
        "address": run("ip", "-4", "address", "show", "dev", INTERFACE),
        "route": run("ip", "route") + run("ip", "-6", "route", "show", "dev", INTERFACE),
        "settings": ipv6Settings(),
        "resolv.conf": RESOLV_CONF.read_text(),
        "mode": RESOLV_CONF.stat().st_mode,
        "notes": sorted(path.name for path in STATE.glob("cellint.wwan*")),
    }


def nameServers():
    return [line.split()[1] for line in RESOLV_CONF.read_text().splitlines()
            if line.startswith("nameserver")]


def stub(name, body):
    path = STUBS / name
    path.write_text("#!/bin/sh\n" + body)
    path.chmod(0o755)


class Cases:
    """The cases; the classes below run them with one shell each."""

    shell = []
    tools = []

    def setUp(self):
        run("ip", "tuntap", "add", "dev", INTERFACE, "mode", "tun")
        RESOLV_CONF.unlink(missing_ok=True)
        RESOLV_CONF.write_text(BEFORE)
        RESOLV_CONF.chmod(0o640)
        shutil.rmtree(STATE, ignore_errors=True)
        shutil.rmtree(STUBS, ignore_errors=True)
        STUBS.mkdir()

    def tearDown(self):
        run("ip", "link", "delete", INTERFACE)

    def call(self, words):
        """words: a text, split at blanks as in the shell, or a list."""
        if isinstance(words, str):
            words = words.split()
        path = ":".join([str(STUBS), *self.tools, os.environ["PATH"]])
        return subprocess.run([*self.shell, str(SCRIPT), *words], capture_output=True, text=True,
                              env={**os.environ, "PATH": path}, check=False, timeout=LIMIT_S)

    def succeed(self, words):
        result = self.call(words)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def refuse(self, words, status, message):
        before = wholeState()
        result = self.call(words)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertIn(message, result.stderr)
        self.assertEqual(wholeState(), before)

    # ---- set-up

    def test_DaemonLine_SetsAddressRoutesMtuDnsAndIpv6(self):
        self.succeed(DAEMON_LINE)
        self.assertTrue(isUp())
        self.assertEqual(mtu(), 1430)
        self.assertEqual(addresses(), [("10.20.30.40", 30)])
        self.assertEqual(routes()["default"], ("10.20.30.41", 700))
        self.assertIn("10.20.30.41", routes())
        self.assertEqual(nameServers(), ["10.0.0.1", "10.0.0.2", "192.0.2.9"])
        self.assertEqual(ipv6Settings()["accept_ra"], 2)
        self.assertEqual(ipv6Settings()["disable_ipv6"], 0)
        self.assertEqual(ipv6Settings()["accept_ra_defrtr"], 1)

    def test_NoDefaultRoute_NoneSetAndNameServersLast(self):
        self.succeed("-i wwan0 --up -m 1500 --address 10.1.1.2 --netmask 255.255.255.0"
                     " --gateway 10.1.1.1 --dns 10.0.0.1")
        self.assertNotIn("default", routes())
        self.assertEqual(nameServers(), ["192.0.2.9", "10.0.0.1"])

    def test_EmptyGateway_DefaultRouteThroughDevice(self):
        self.succeed("-i wwan0 --up  --defaultroute  -m 1430 --address 10.1.1.2"
                     " --netmask 255.255.255.252 --gateway  --dns 10.0.0.1 --dns ")
        self.assertEqual(routes()["default"], (None, 700))
        self.assertEqual(nameServers(), ["10.0.0.1", "192.0.2.9"])

    def test_EmptyWordsAsArguments_CountAsEmpty(self):
        self.succeed(["-i", "wwan0", "--up", "--defaultroute", "--address", "10.1.1.2",
                      "--netmask", "", "--gateway", "", "--dns", ""])
        self.assertEqual(addresses(), [("10.1.1.2", 32)])
        self.assertEqual(routes()["default"], (None, 700))

    def test_GatewayIsOwnAddressOrZero_DefaultRouteThroughDevice(self):
        for gateway in ("10.1.1.2", "0.0.0.0"):
            with self.subTest(gateway=gateway):
                self.succeed("-i wwan0 --up --defaultroute --address 10.1.1.2 --netmask"
                             f" 255.255.255.252 --gateway {gateway}")
                self.assertEqual(routes()["default"], (None, 700))

    def test_GatewayOutsideSubnet_ReachedThroughDevice(self):
        self.succeed("-i wwan0 --up --defaultroute --address 10.1.1.2 --netmask 255.255.255.255"
                     " --gateway 172.16.0.1")
        self.assertEqual(routes()["default"], ("172.16.0.1", 700))
        self.assertEqual(routes()["172.16.0.1"], (None, 700))

    def test_EveryMask_GivesItsPrefix(self):
        for prefix in (*range(1, 33), 0):
            mask = ipaddress.ip_network((0, prefix)).netmask
            with self.subTest(mask=str(mask)):
                self.succeed(f"-i wwan0 --up --address 10.1.1.2 --netmask {mask} --gateway ")
                self.assertEqual(addresses(), [("10.1.1.2", prefix or 32)])

    def test_SeveralGroups_AllAddressesFirstTakesDefaultRoute(self):
        groups = [(f"10.{n}.0.2", f"10.{n}.0.1") for n in range(1, 6)]
        words = " ".join(f"--address {a} --netmask 255.255.255.0 --gateway {g}" for a, g in groups)
        self.succeed("-i wwan0 --up --defaultroute -m 1400 " + words)
        self.assertEqual(addresses(), [(a, 24) for a, _ in groups])
        self.assertEqual(routes()["default"], ("10.1.0.1", 700))
        for _, gateway in groups:
            self.assertIn(gateway, routes())

    def test_GroupWithoutAddress_LeftOut(self):
        result = self.succeed("-i wwan0 --up --address  --netmask  --gateway  --address 10.1.1.2"
                              " --netmask  --gateway ")
        self.assertIn("left out", result.stderr)
        self.assertEqual(addresses(), [("10.1.1.2", 32)])

    def test_PointToPoint_GatewayIsPeer(self):
        self.succeed("-i wwan0 --up --ptp --defaultroute --address 10.1.1.2 --netmask 255.0.0.0"
                     " --gateway 10.9.9.9")
        self.assertEqual(addresses(), [("10.1.1.2", "10.9.9.9", 32)])
        self.assertEqual(routes()["default"], ("10.9.9.9", 700))
        self.assertNotIn("10.0.0.0/8", routes())

    def test_PointToPointWithoutGateway_AddressAlone(self):
        self.succeed("-i wwan0 --up --ptp --defaultroute --address 10.1.1.2 --netmask 255.0.0.0"
                     " --gateway ")
        self.assertEqual(addresses(), [("10.1.1.2", 32)])
        self.assertEqual(routes()["default"], (None, 700))

    def test_Ipv6Only_NoIpv4(self):
        self.succeed(DAEMON_LINE + " --ipv6only --dns 2001:db8::53")
        self.assertEqual(addresses(), [])
        self.assertNotIn("default", routes())
        self.assertEqual(ipv6Settings()["accept_ra"], 2)
        self.assertIn("2001:db8::53", nameServers())
        self.assertTrue(isUp())

    def test_OnlyFlags_Ipv6Alone(self):
        self.succeed("-i wwan0 --up  -m 1500 --ipv6auto ")
        self.assertTrue(isUp())
        self.assertEqual(addresses(), [])
        self.assertEqual(ipv6Settings()["accept_ra_defrtr"], 0)

    def test_LinkWasUp_Ipv6SetUpKeepsItUp(self):
        run("ip", "link", "set", INTERFACE, "up")
        self.succeed(DAEMON_LINE)
        self.assertTrue(isUp())
        self.succeed("-i wwan0 --down")
        self.assertTrue(isUp())

    def test_SecondInterface_HasItsOwnMetricAndNotes(self):
        run("ip", "tuntap", "add", "dev", "wwan1", "mode", "tun")
        try:
            self.succeed(DAEMON_LINE)
            self.succeed("-i wwan1 --up --defaultroute --address 10.2.0.2 --netmask 255.255.255.0"
                         " --gateway 10.2.0.1 --dns 10.2.0.53")
            self.assertIn("metric 701", run("ip", "route", "show", "dev", "wwan1"))
            self.succeed("-i wwan0 --down")
            self.assertEqual(nameServers(), ["10.2.0.53", "192.0.2.9"])
            self.assertIn("default", run("ip", "route", "show", "dev", "wwan1"))
            self.succeed("-i wwan1 --down")
            self.assertEqual(RESOLV_CONF.read_text(), BEFORE)
        finally:
            run("ip", "link", "delete", "wwan1")

    def test_TwoInterfacesOneGateway_BothSetUpAndUndone(self):
        run("ip", "tuntap", "add", "dev", "wwan1", "mode", "tun")
        try:
            before = run("ip", "route")
            self.succeed(DAEMON_LINE)
            self.succeed(DAEMON_LINE.replace("wwan0", "wwan1").replace(".40 ", ".42 "))
            for interface in ("wwan0", "wwan1"):
                found = run("ip", "route", "show", "dev", interface)
                self.assertIn("default via 10.20.30.41", found)
                self.assertIn("10.20.30.41 scope link", found)
            self.succeed("-i wwan0 --down")
            self.assertIn("10.20.30.41 scope link", run("ip", "route", "show", "dev", "wwan1"))
            self.succeed("-i wwan1 --down")
            self.assertEqual(run("ip", "route"), before)
        finally:
            run("ip", "link", "delete", "wwan1")

    def test_RepeatedNameServer_WrittenOnce(self):
        self.succeed("-i wwan0 --up --address 10.1.1.2 --netmask  --gateway  --dns 10.0.0.1"
                     " --dns 10.0.0.1 --dns 10.0.0.11")
        self.assertEqual(nameServers(), ["192.0.2.9", "10.0.0.1", "10.0.0.11"])

    def test_Debug_ReportsTheSteps(self):
        self.assertEqual(self.succeed(DAEMON_LINE).stderr, "")
        self.assertIn("ip -4 address add 10.20.30.40/30 dev wwan0",
                      self.succeed(DAEMON_LINE + " --debug ").stderr)

    # ---- idempotence and undoing

    def test_UpTwice_SameResult(self):
        self.succeed(DAEMON_LINE)
        once = wholeState()
        self.succeed(DAEMON_LINE)
        self.assertEqual(wholeState(), once)

    def test_UpWithOtherAddress_OldOneRemoved(self):
        self.succeed(DAEMON_LINE)
        self.succeed("-i wwan0 --up --defaultroute --address 10.7.7.2 --netmask 255.255.255.252"
                     " --gateway 10.7.7.1 --dns 10.7.7.53")
        self.assertEqual(addresses(), [("10.7.7.2", 30)])
        self.assertEqual(routes()["default"], ("10.7.7.1", 700))
        self.assertNotIn("10.20.30.41", routes())
        self.assertEqual(nameServers(), ["10.7.7.53", "192.0.2.9"])

    def test_Down_RestoresEverything(self):
        before = wholeState()
        for words in (DAEMON_LINE, DAEMON_LINE + " --ptp", DAEMON_LINE + " --ipv6only"):
            with self.subTest(words=words):
                self.succeed(words)
                self.assertNotEqual(wholeState(), before)
                self.succeed("-i wwan0 --down")
                self.assertEqual(wholeState(), before)

    def test_DownTwiceOrWithoutUp_NothingAndSuccess(self):
        before = wholeState()
        self.succeed("-i wwan0 --down")
        self.assertEqual(wholeState(), before)
        self.succeed(DAEMON_LINE)
        self.succeed("-i wwan0 --down")
        self.succeed("-i wwan0 --down")
        self.assertEqual(wholeState(), before)

    def test_Down_KeepsWhatUpDidNotSet(self):
        run("ip", "link", "set", INTERFACE, "up", "mtu", "1430")
        run("ip", "address", "add", "10.20.30.40/30", "dev", INTERFACE)
        run("ip", "address", "add", "192.0.2.1/24", "dev", INTERFACE)
        before = wholeState()
        self.succeed(DAEMON_LINE.replace("--ipv6auto", ""))
        self.succeed("-i wwan0 --down")
        self.assertEqual(wholeState(), before)

    def test_DownAfterInterfaceVanished_NameServersRestored(self):
        self.succeed(DAEMON_LINE)
        run("ip", "link", "delete", INTERFACE)
        self.succeed("-i wwan0 --down")
        self.assertEqual(RESOLV_CONF.read_text(), BEFORE)
        self.assertFalse((STATE / "cellint.wwan0").exists())
        run("ip", "tuntap", "add", "dev", INTERFACE, "mode", "tun")

    def test_Down_KeepsWhatOthersWroteMeanwhile(self):
        self.succeed(DAEMON_LINE)
        RESOLV_CONF.write_text(RESOLV_CONF.read_text() + "nameserver 192.0.2.10\n")
        self.succeed("-i wwan0 --down")
        self.assertEqual(RESOLV_CONF.read_text(), BEFORE + "nameserver 192.0.2.10\n")

    def test_BlockOfAnEarlierSession_IsReplaced(self):
        RESOLV_CONF.write_text("# cellslot wwan0 begin\nnameserver 10.9.9.9\n# cellslot wwan0 end\n" + BEFORE)
        self.succeed(DAEMON_LINE)
        self.assertEqual(nameServers(), ["10.0.0.1", "10.0.0.2", "192.0.2.9"])

    def test_NoResolvConfBefore_NoneAfterwards(self):
        RESOLV_CONF.unlink()
        self.succeed(DAEMON_LINE)
        self.assertEqual(nameServers(), ["10.0.0.1", "10.0.0.2"])
        self.succeed("-i wwan0 --down")
        self.assertFalse(RESOLV_CONF.exists())

    def test_ResolvConfIsLink_LinkKept(self):
        real = pathlib.Path("/run/real.conf")
        real.write_text(BEFORE)
        RESOLV_CONF.unlink()
        RESOLV_CONF.symlink_to(real)
        self.succeed(DAEMON_LINE)
        self.assertTrue(RESOLV_CONF.is_symlink())
        self.assertEqual(nameServers()[0], "10.0.0.1")
        self.succeed("-i wwan0 --down")
        self.assertEqual(real.read_text(), BEFORE)

    def test_ResolvConfIsMountPoint_WrittenInPlace(self):
        other = pathlib.Path("/tmp/mounted.conf")
        other.write_text(BEFORE)
        run("mount", "--bind", str(other), str(RESOLV_CONF))
        try:
            self.succeed(DAEMON_LINE)
            self.assertEqual(nameServers()[0], "10.0.0.1")
            self.succeed("-i wwan0 --down")
            self.assertEqual(other.read_text(), BEFORE)
        finally:
            run("umount", str(RESOLV_CONF))

    def test_ResolvConfCannotBeWritten_ConnectedWithoutNameServers(self):
        run("mount", "--bind", str(RESOLV_CONF), str(RESOLV_CONF))
        run("mount", "-o", "remount,bind,ro", str(RESOLV_CONF))
        try:
            result = self.succeed(DAEMON_LINE)
            self.assertIn("is up without its name servers: file did not take them", result.stderr)
            self.assertEqual(addresses(), [("10.20.30.40", 30)])
            self.assertIn("default", routes())
            self.succeed("-i wwan0 --down")
            self.assertEqual(addresses(), [])
        finally:
            run("umount", str(RESOLV_CONF))
        self.assertEqual(RESOLV_CONF.read_text(), BEFORE)

    def test_ResolvConfIsReplaced_ItsDataAreOnTheDiskBefore(self):
        """Else it may have its size, but only zero bytes, after a power cut."""
        stub("sync", f"cat {RESOLV_CONF} >{STUBS}/before; stat -c %i $1 >{STUBS}/file")
        self.succeed(DAEMON_LINE)
        self.assertEqual((STUBS / "file").read_text(), f"{RESOLV_CONF.stat().st_ino}\n")
        self.assertEqual((STUBS / "before").read_text(), BEFORE)

    def test_DiskIsFull_ResolvConfStaysWhole(self):
        disk = pathlib.Path("/run/small")
        disk.mkdir(exist_ok=True)
        run("mount", "-t", "tmpfs", "-o", "size=8k", "small", str(disk))
        try:
            real = disk / "resolv.conf"
            real.write_text(BEFORE + "# filler\n" * 440)
            before = real.read_text()
            (disk / "full").write_bytes(bytes(4096))
            RESOLV_CONF.unlink()
            RESOLV_CONF.symlink_to(real)
            self.succeed(DAEMON_LINE)
            self.assertEqual(real.read_text(), before)
            self.assertEqual(sorted(path.name for path in disk.iterdir()), ["full", "resolv.conf"])
            self.succeed("-i wwan0 --down")
            self.assertEqual(real.read_text(), before)
        finally:
            run("umount", str(disk))

    # ---- name servers through a manager

    def manageResolvConf(self, target, program):
        path = pathlib.Path(target)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text("nameserver 127.0.0.53\n")
        RESOLV_CONF.unlink()
        RESOLV_CONF.symlink_to(path)
        stub(program, f'echo "{program} $*" >>/tmp/stubs/calls\n'
                      f'[ "$1" != -a ] || cat >>/tmp/stubs/calls\n')
        return path

    def calls(self):
        return (STUBS / "calls").read_text().splitlines()

    def test_SystemdResolved_GetsTheServersOfTheInterface(self):
        path = self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        self.succeed(DAEMON_LINE)
        self.succeed("-i wwan0 --down")
        self.assertEqual(self.calls(), ["resolvectl dns wwan0 10.0.0.1 10.0.0.2",
                                        "resolvectl default-route wwan0 yes",
                                        "resolvectl revert wwan0"])
        self.assertEqual(path.read_text(), "nameserver 127.0.0.53\n")

    def test_Resolvconf_GetsTheServersOfTheInterface(self):
        path = self.manageResolvConf("/run/resolvconf/resolv.conf", "resolvconf")
        self.succeed(DAEMON_LINE)
        self.succeed("-i wwan0 --down")
        self.assertEqual(self.calls(), ["resolvconf -a wwan0.cellslot", "nameserver 10.0.0.1",
                                        "nameserver 10.0.0.2", "resolvconf -d wwan0.cellslot"])
        self.assertEqual(path.read_text(), "nameserver 127.0.0.53\n")

    def test_ResolvconfThatWritesInPlace_IsRecognisedByItsMark(self):
        self.manageResolvConf("/run/resolvconf/resolv.conf", "resolvconf")
        RESOLV_CONF.unlink()
        RESOLV_CONF.write_text("# Generated by resolvconf\nnameserver 192.0.2.9\n")
        before = RESOLV_CONF.read_text()
        self.succeed(DAEMON_LINE)
        self.assertEqual(RESOLV_CONF.read_text(), before)
        self.succeed("-i wwan0 --down")
        self.assertEqual(self.calls()[-1], "resolvconf -d wwan0.cellslot")

    def test_ResolvconfIsNoLongerInstalled_ServersAreInTheFile(self):
        RESOLV_CONF.write_text("# Generated by resolvconf\n" + BEFORE)
        self.succeed(DAEMON_LINE)
        self.assertEqual(nameServers()[0], "10.0.0.1")
        self.succeed("-i wwan0 --down")
        self.assertEqual(RESOLV_CONF.read_text(), "# Generated by resolvconf\n" + BEFORE)

    def test_ManagerFails_SessionIsUpWithoutNames(self):
        self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        stub("resolvectl", "exit 1\n")
        before = wholeState()
        result = self.succeed(DAEMON_LINE)
        self.assertIn("wwan0 is up without its name servers: resolved did not take them", result.stderr)
        self.assertEqual(addresses(), [("10.20.30.40", 30)])
        self.assertIn("default", routes())
        self.assertIn("nodns resolved", self.notes())
        self.succeed("-i wwan0 --down")
        self.assertEqual(wholeState(), before)

    # ---- name servers again

    def notes(self):
        return (STATE / "cellint.wwan0").read_text().splitlines()

    def renew(self):
        return self.succeed("--renew-dns").stderr

    def test_Renew_NothingIsUp_NothingHappens(self):
        before = wholeState()
        self.assertEqual(self.renew(), "")
        self.assertEqual(wholeState(), before)

    def test_Renew_ServersAreInPlace_FileIsNotWritten(self):
        self.succeed(DAEMON_LINE)
        inode, notes = RESOLV_CONF.stat().st_ino, self.notes()
        self.assertEqual(self.renew(), "")
        self.assertEqual((RESOLV_CONF.stat().st_ino, self.notes()), (inode, notes))

    def test_Renew_FileWasWrittenByAnother_ServersAreBackAsBefore(self):
        for line, servers in ((DAEMON_LINE, ["10.0.0.1", "10.0.0.2", "192.0.2.7"]),
                              (DAEMON_LINE.replace("--defaultroute", ""),
                               ["192.0.2.7", "10.0.0.1", "10.0.0.2"])):
            self.succeed(line)
            RESOLV_CONF.write_text("nameserver 192.0.2.7\n")
            self.assertIn("giving the name servers of wwan0 to file", self.renew())
            self.assertEqual(nameServers(), servers)
            self.succeed("-i wwan0 --down")
            self.assertEqual(nameServers(), ["192.0.2.7"])

    def test_Renew_FileIsGone_WrittenAndRemovedAtTheEnd(self):
        self.succeed(DAEMON_LINE)
        RESOLV_CONF.unlink()
        self.renew()
        self.assertEqual(nameServers(), ["10.0.0.1", "10.0.0.2"])
        self.succeed("-i wwan0 --down")
        self.assertFalse(RESOLV_CONF.exists())

    def test_Renew_ResolvedManagesTheFileNow_GetsTheServers(self):
        self.succeed(DAEMON_LINE)
        path = self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        self.assertIn("giving the name servers of wwan0 to resolved", self.renew())
        self.assertEqual(self.calls(), ["resolvectl dns wwan0 10.0.0.1 10.0.0.2",
                                        "resolvectl default-route wwan0 yes"])
        self.assertEqual(path.read_text(), "nameserver 127.0.0.53\n")
        stub("resolvectl", f"echo 'Link 2 (wwan0): 10.0.0.1 10.0.0.2'; echo $* >>{STUBS}/asked\n")
        self.assertEqual(self.renew(), "")
        self.assertEqual((STUBS / "asked").read_text(), "dns wwan0\n")

    def test_Renew_ResolvedForgotTheServers_GetsThemAgain(self):
        for answer in ("", "echo 'Link 2 (wwan0):'\n"):
            self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
            self.succeed(DAEMON_LINE)
            stub("resolvectl", f"echo resolvectl $* >>{STUBS}/calls\n" + answer)
            (STUBS / "calls").unlink()
            self.renew()
            self.assertIn("resolvectl dns wwan0 10.0.0.1 10.0.0.2", self.calls())

    def test_Renew_ResolvedShowsAnAddressInAnotherForm_ItIsNotGivenAgain(self):
        self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        self.succeed(DAEMON_LINE.replace("10.0.0.1", "2001:db8:0:0:0:0:0:53"))
        stub("resolvectl", f"echo 'Link 2 (wwan0): 2001:db8::53 10.0.0.2'; echo $* >>{STUBS}/asked\n")
        self.assertEqual(self.renew(), "")
        self.assertEqual((STUBS / "asked").read_text(), "dns wwan0\n")

    def test_Renew_ResolvconfManagesTheFileNow_GetsTheServersOnce(self):
        self.succeed(DAEMON_LINE)
        self.manageResolvConf("/run/resolvconf/resolv.conf", "resolvconf")
        self.renew()
        self.renew()
        self.assertEqual(self.calls(), ["resolvconf -a wwan0.cellslot", "nameserver 10.0.0.1",
                                        "nameserver 10.0.0.2"])

    def test_Renew_ResolvedIsGone_ServersAreInTheFile(self):
        self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        self.succeed(DAEMON_LINE)
        RESOLV_CONF.unlink()
        RESOLV_CONF.write_text(BEFORE)
        self.renew()
        self.assertEqual(nameServers()[0], "10.0.0.1")
        self.succeed("-i wwan0 --down")
        self.assertEqual(RESOLV_CONF.read_text(), BEFORE)

    def test_Renew_AfterAFailure_ServersAreGivenAndTheNoteIsGone(self):
        self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        stub("resolvectl", "exit 1\n")
        self.succeed(DAEMON_LINE)
        self.manageResolvConf("/run/systemd/resolve/stub-resolv.conf", "resolvectl")
        self.renew()
        self.assertIn("resolvectl dns wwan0 10.0.0.1 10.0.0.2", self.calls())
        self.assertNotIn("nodns resolved", self.notes())

    def test_Renew_NoServersOrNoInterface_NothingHappens(self):
        self.succeed("-i wwan0 --up --address 10.20.30.40 --netmask 255.255.255.252 --gateway 10.20.30.41")
        self.assertEqual(self.renew(), "")
        self.succeed(DAEMON_LINE)
        RESOLV_CONF.write_text("nameserver 192.0.2.7\n")
        run("ip", "link", "delete", INTERFACE)
        self.assertEqual(self.renew(), "")
        self.assertEqual(nameServers(), ["192.0.2.7"])
        run("ip", "tuntap", "add", "dev", INTERFACE, "mode", "tun")

    # ---- failures

    def test_MissingInterface_Fails(self):
        self.refuse("-i wwan7 --up --address 10.1.1.2 --netmask  --gateway ", 1,
                    "no interface wwan7")

    def test_NothingToSet_Fails(self):
        self.refuse("-i wwan0 --up -m 1500", 1, "neither an IPv4 address nor --ipv6auto")
        self.refuse("-i wwan0 --up --address  --netmask  --gateway ", 1, "neither an IPv4 address")

    def test_DefaultRouteTakenByAnother_UndoneAndFails(self):
        run("ip", "link", "set", "lo", "up")
        run("ip", "route", "add", "default", "dev", "lo", "metric", "700")
        try:
            self.refuse(DAEMON_LINE, 1, "failed, undoing")
        finally:
            run("ip", "route", "delete", "default", "dev", "lo", "metric", "700")

    def test_AnotherScriptHasTheLock_WaitedForAndThenGivenUp(self):
        STATE.mkdir(parents=True, exist_ok=True)
        with (STATE / "cellint.lock").open("w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            stub("sleep", f'echo "$1" >>{STUBS}/slept\n')
            self.refuse(DAEMON_LINE, 1, "another setup_cellint.sh has been running for 30 seconds")
            slept = [float(line) for line in (STUBS / "slept").read_text().split()]
            self.assertAlmostEqual(sum(slept), 30)
            stub("sleep", "exec /bin/sleep 0.1\n")
            threading.Timer(0.5, fcntl.flock, (lock, fcntl.LOCK_UN)).start()
            self.succeed(DAEMON_LINE)

    def test_ServiceStartedByAHook_DoesNotKeepTheLock(self):
        self.manageResolvConf("/run/resolvconf/resolv.conf", "resolvconf")
        stub("resolvconf", f"[ \"$1\" != -a ] || cat >/dev/null\n"
                           f"sleep 100 </dev/null >/dev/null 2>&1 &\necho $! >>{STUBS}/service\n")
        try:
            for words in (DAEMON_LINE, "-i wwan0 --down", DAEMON_LINE):
                self.succeed(words)
        finally:
            for pid in (STUBS / "service").read_text().split():
                os.kill(int(pid), signal.SIGKILL)

    def test_StateFolderCannotBeMade_Fails(self):
        STATE.write_text("a file\n")
        try:
            result = self.call(DAEMON_LINE)
        finally:
            STATE.unlink()
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot make", result.stderr)
        self.assertEqual(addresses(), [])

    # ---- wrong usage

    def test_InterfaceNames_Checked(self):
        for name in ("", ".", "..", "a/b", "-x", "wwan0;reboot", "$(reboot)", "a b", "0123456789abcdef",
                     "wwän0", "a\nb", "*"):
            with self.subTest(name=name):
                self.refuse(["-i", name, "--down"], 2, "-i: ")

    def test_MtuBelowWhatIpv4Needs_IsRaised(self):
        self.succeed("-i wwan0 --up -m 60 --address 10.1.2.3 --netmask 255.255.255.0"
                     " --gateway 10.1.2.1")
        self.assertEqual(mtu(), 68)

    def test_Mtu_Checked(self):
        for value in ("", "59", "65536", "99999999999", "1e3", "0x5dc", "01430", "1430;"):
            with self.subTest(value=value):
                self.refuse(["-i", "wwan0", "--up", "-m", value, "--ipv6auto"], 2, "-m: ")

    def test_Ipv4Addresses_Checked(self):
        wrong = ("1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.", ".1.2.3", "1..2.3", "010.1.1.1",
                 "1.2.3.4 $(x)", "1.2.3.4;x", "1.2.3.`x`", "::1", "0x10.1.1.1", "1.2.3.4\n",
                 "1.2.3.99999999999999999999", "*")
        for value in wrong:
            for option in ("--address", "--netmask", "--gateway"):
                with self.subTest(option=option, value=value):
                    words = {"--address": "10.1.1.2", "--netmask": "255.255.255.0",
                             "--gateway": "10.1.1.1", option: value}
                    flat = [word for pair in words.items() for word in pair]
                    self.refuse(["-i", "wwan0", "--up", *flat], 2, f"{option}: ")

    def test_Masks_Checked(self):
        for mask in ("255.0.255.0", "255.255.255.1", "0.0.0.255", "254.255.0.0", "253.0.0.0"):
            with self.subTest(mask=mask):
                self.refuse(f"-i wwan0 --up --address 10.1.1.2 --netmask {mask}", 2, "--netmask: ")

    def test_NameServers_Checked(self):
        for value in ("dns.example", "1.2.3.4\nnameserver 6.6.6.6", "2001:db8::1%eth0", "1.2.3.4;x",
                      "abc", "1:2"):
            with self.subTest(value=value):
                self.refuse(["-i", "wwan0", "--up", "--ipv6auto", "--dns", value], 2, "--dns: ")

    def test_OptionsOutOfPlace_Refused(self):
        for words, message in (
                ("--up --ipv6auto", "-i IF is missing"),
                ("-i wwan0", "--up or --down is missing"),
                ("-i wwan0 --up --down", "together"),
                ("-i wwan0 --up --netmask 255.0.0.0", "--netmask without --address"),
                ("-i wwan0 --up --gateway 10.0.0.1", "--gateway without --address"),
                ("-i wwan0 --up --fast", "unknown argument '--fast'"),
                ("-i wwan0 --up reboot", "unknown argument 'reboot'"),
                ("", "-i IF is missing"),
        ):
            with self.subTest(words=words):
                self.refuse(words, 2, message)

    def test_Help_ShowsTheOptions(self):
        text = self.succeed("--help").stdout
        for option in ("-i IF", "--up", "--down", "--debug", "--ptp", "--defaultroute", "-m MTU",
                       "--address", "--netmask", "--gateway", "--dns", "--ipv6auto", "--ipv6only"):
            self.assertIn(option, text)


class WithBash(Cases, unittest.TestCase):
    shell = ["bash"]


class WithBusybox(Cases, unittest.TestCase):
    shell = ["busybox", "sh"]
    tools = [str(BUSYBOX_TOOLS)]

    @classmethod
    def setUpClass(cls):
        BUSYBOX_TOOLS.mkdir(exist_ok=True)
        for name in run("busybox", "--list").split():
            link = BUSYBOX_TOOLS / name
            if name != "ip" and not link.is_symlink():
                link.symlink_to(shutil.which("busybox"))


if __name__ == "__main__":
    if os.environ.get("CELLSLOT_PRIVATE_NAMESPACE") != "1":
        sys.exit("setup_cellint_test.py changes the network: run it with "
                 "scripts/private_namespace.sh")
    unittest.main()
