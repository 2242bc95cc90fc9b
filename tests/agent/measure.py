#!/usr/bin/env python3
"""What the agent costs an idle gateway: memory, processor, and bytes on the wire of a day, TLS, TCP and IP headers
included, counted by the kernel at an interface. The day is shortened: the agent, the daemon and the broker run with
their clocks so many times faster. scripts/bench_agent.sh starts it."""

import json
import os
import pathlib
import signal
import subprocess
import time

from agent_case import CONFIG, AgentCase
from gateway import LIMIT_S

FAST = int(os.environ.get("CELLSLOT_FAST", "60"))
HOURS = float(os.environ.get("CELLSLOT_HOURS", "24"))
NAMESPACE = "broker"
HERE, THERE = "192.0.2.1", "192.0.2.2"


def run(*words):
    return subprocess.run(words, check=True, capture_output=True, text=True).stdout


def childOf(pid):
    """Under faketime: the program is its only child, or itself."""
    children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
    return int(children[0]) if children else pid


def smaps(pid):
    """kB by what is mapped."""
    sums, name = {}, ""
    total = {"Rss": 0, "Pss": 0, "Private_Dirty": 0}
    for line in pathlib.Path(f"/proc/{pid}/smaps").read_text().splitlines():
        words = line.split()
        if not words[0].endswith(":"):
            name = os.path.basename(words[5]) if len(words) > 5 else "anonymous"
        elif words[0][:-1] in total:
            total[words[0][:-1]] += int(words[1])
            if words[0] == "Rss:":
                sums[name] = sums.get(name, 0) + int(words[1])
    return total, dict(sorted(sums.items(), key=lambda entry: -entry[1])[:8])


def cpuS(pid):
    words = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(words[11]) + int(words[12])) / os.sysconf("SC_CLK_TCK")


def wire():
    """Bytes in both directions at the interface to the broker, from the IP header on, and packets."""
    values = json.loads(run("ip", "-s", "-j", "link", "show", "dev", "tobroker"))[0]["stats64"]
    packets = values["rx"]["packets"] + values["tx"]["packets"]
    # The kernel counts the Ethernet header of 14 bytes too.
    return values["rx"]["bytes"] + values["tx"]["bytes"] - 14 * packets, packets


class Measure(AgentCase):
    commands = ""

    def setUp(self):
        super().setUp()
        self.broker.stop()
        run("ip", "netns", "add", NAMESPACE)
        self.addCleanup(run, "ip", "netns", "del", NAMESPACE)
        run("ip", "link", "add", "tobroker", "type", "veth", "peer", "name", "togateway", "netns", NAMESPACE)
        pathlib.Path("/proc/sys/net/ipv6/conf/tobroker/disable_ipv6").write_text("1")
        run("ip", "addr", "add", HERE + "/24", "dev", "tobroker")
        run("ip", "link", "set", "tobroker", "up")
        run("ip", "-n", NAMESPACE, "addr", "add", THERE + "/24", "dev", "togateway")
        run("ip", "-n", NAMESPACE, "link", "set", "togateway", "up")
        run("ip", "-n", NAMESPACE, "link", "set", "lo", "up")
        with open("/etc/hosts", "a") as hosts:
            hosts.write(THERE + " broker\n")
        self.broker.startWithin(NAMESPACE, THERE, FAST)
        self.addCleanup(self.endBroker)
        CONFIG.write_text(CONFIG.read_text().replace("BROKER=localhost", "BROKER=broker"))

    def startAgent(self):
        self.agent.start("faketime", "-f", f"+0 x{FAST}")
        self.agent.waitLog("connected to")
        # Before faketime, which does not pass signals on.
        self.addCleanup(os.kill, childOf(self.agent.process.pid), signal.SIGKILL)

    def endBroker(self):
        for pid in run("ip", "netns", "pids", NAMESPACE).split():
            os.kill(int(pid), signal.SIGTERM)

    def testDay(self):
        self.slot.killDaemon()
        self.slot.startDaemon(fast=FAST)
        self.slot.waitConnected()
        self.startAgent()
        pid = childOf(self.agent.process.pid)
        self.addCleanup(self.endAgent, pid)
        handshake = wire()
        time.sleep(30 * 60 / FAST)
        settled, started, cpu = wire(), time.monotonic(), cpuS(pid)
        time.sleep(HOURS * 3600 / FAST)
        hours = (time.monotonic() - started) * FAST / 3600
        bytes_, packets = wire()[0] - settled[0], wire()[1] - settled[1]
        print(f"wire: {bytes_ * 24 / hours / 1000:.1f} kB and {packets * 24 / hours:.0f} packets a day, measured over "
              f"{hours:.1f} h of the agent's clock ({FAST} times faster); set-up of a connection with the first "
              f"messages {handshake[0]} bytes, the first half hour {settled[0]} bytes")
        print(f"processor: {(cpuS(pid) - cpu) / (hours * 3600) * 100:.4f} % of a core")
        self.assertEqual(self.agent.log().count("connected to"), 1, self.agent.log())
        state = json.loads(pathlib.Path("/run/cellslot-agent/state.json").read_text())
        print(f"commits to the disk since the start: {state['writes']}")

    def settledWire(self):
        before, now = None, wire()
        while now != before:
            time.sleep(2)
            before, now = now, wire()
        return now

    def testReconnect(self):
        """The connection breaks and comes back; broker and gateway stay."""
        self.startAgent()
        first = self.settledWire()
        print(f"first connection with its messages: {first[0]} bytes, {first[1]} packets")
        for number in range(2, 7):
            before = self.settledWire()
            run("ip", "netns", "exec", NAMESPACE, "ss", "-K", "dst", HERE)
            self.agent.waitLog("connected to", number)
            now = self.settledWire()
            print(f"connected again: {now[0] - before[0]} bytes, {now[1] - before[1]} packets")

    def endAgent(self, pid):
        """faketime ends with it."""
        os.kill(pid, signal.SIGTERM)
        self.agent.process.wait(LIMIT_S)

    def testMemory(self):
        self.agent.start()
        self.agent.waitLog("connected to")
        pid = self.agent.process.pid
        print(f"memory in kB, connected: {smaps(pid)}")
        time.sleep(100)
        print(f"memory in kB, a while after: {smaps(pid)}")
        cpu, started = cpuS(pid), time.monotonic()
        time.sleep(120)
        print(f"processor in real time: {(cpuS(pid) - cpu) / (time.monotonic() - started) * 100:.4f} % of a core")
        # A message brings pages back for half a minute.
        print(f"memory in kB, idle: least of a minute: {min(smaps(pid)[0]['Rss'] for _ in range(60) if not time.sleep(1))}")


if __name__ == "__main__":
    import unittest
    unittest.main(verbosity=2)
