#!/usr/bin/env python3
"""Measures a fleet of simulated agents at the brokers of contrib/: until all are seen, messages a second, what
broker, agents and cellslot-fleet take for each gateway, and how soon a cluster is whole again after a node died.
Run by scripts/bench.sh --fleet in a private namespace. Prints a table and writes it as JSON."""

import argparse
import http.client
import json
import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tests/fleet"), str(ROOT / "bench")]

import svg  # noqa: E402
from brokers import LIMIT_S, Cluster, Keys, Mosquitto  # noqa: E402
from gateways import online, slotStatus  # noqa: E402
from mqtt_client import Client  # noqa: E402

TICKS = os.sysconf("SC_CLK_TCK")
IDLE_S = 10
EVENTS_EACH = 10
WAVE = 500
# A broker that has not taken all by then will not.
PATIENCE_S = 600


def memoryKb(pid):
    text = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(text.split("VmRSS:")[1].split()[0])


def processorS(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(") ", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


class Meter:
    """Processor time and memory of some processes."""

    def __init__(self, pids):
        self.pids = pids
        self.restart()

    def restart(self):
        self.before = sum(map(processorS, self.pids))

    def processor(self):
        return sum(map(processorS, self.pids)) - self.before

    def memory(self):
        return sum(map(memoryKb, self.pids))


class GivenUp(Exception):
    """The broker did not do it."""


class Agents:
    def __init__(self, binary, keys, count, ports):
        status = pathlib.Path(tempfile.mkdtemp()) / "status.json"
        status.write_text(slotStatus())
        self.count = count
        self.process = subprocess.Popen([binary, keys.folder, status, str(count), ",".join(map(str, ports))],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def waitFor(self, what, number):
        """Seconds, of the agents' own clock."""
        limit = threading.Timer(PATIENCE_S, self.process.kill)
        limit.start()
        last = ""
        try:
            for last in self.process.stdout:
                kind, reached, seconds = last.split()
                if kind == what and int(reached) == number:
                    return float(seconds)
        finally:
            limit.cancel()
        raise GivenUp(f"no '{what} {number}' within {PATIENCE_S} s; at last '{last.strip()}'")

    def events(self, number):
        self.process.stdin.write(f"events {number}\n")
        self.process.stdin.flush()
        return self.waitFor("events", number)

    def end(self):
        self.process.stdin.close()
        self.process.wait(LIMIT_S)


def desk(fleet, conf, *words):
    """What it prints, seconds, processor seconds, peak memory in kB, exit status."""
    begin = time.monotonic()
    process = subprocess.Popen([fleet, *words, "--conf", conf], stdout=subprocess.PIPE, text=True)
    peak = []
    # The kernel's figure for an ended child may be that of this program before the child was started.
    watch = threading.Thread(target=followPeak, args=(process.pid, peak))
    watch.start()
    out = process.stdout.read()
    _, status, used = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    watch.join()
    return out, time.monotonic() - begin, used.ru_utime + used.ru_stime, max(peak, default=0), process.returncode


def followPeak(pid, peak):
    try:
        while True:
            peak.append(int(pathlib.Path(f"/proc/{pid}/status").read_text().split("VmHWM:")[1].split()[0]))
            time.sleep(0.01)
    except (OSError, IndexError):
        pass  # it has ended


def measure(kind, keys, names, count, binaries, logs):
    broker = kind(keys, names[:count])
    broker.start()
    conf = configuration(keys, broker.ports if kind is Cluster else [broker.operatorPort])
    servers = Meter(broker.pids())
    emptyKb = servers.memory()
    agents = Agents(binaries / "fleet_agents", keys, count, broker.ports)
    clients = Meter([agents.process.pid])
    row = {"broker": kind.__name__.lower(), "gateways": count}
    try:
        row["all_seen_s"] = agents.waitFor("up", count)
        row["connect_broker_ms_each"] = 1000 * servers.processor() / count
        row["connect_agent_ms_each"] = 1000 * clients.processor() / count
        row["broker_kb_each"] = (servers.memory() - emptyKb) / count
        row["agent_kb_each"] = clients.memory() / count
        out, row["status_s"], row["status_cpu_s"], row["status_kb"], code = desk(
            binaries / "cellslot-fleet", conf, "status", "--json")
        seen = len(json.loads(out)["gateways"]) if code == 0 else 0
        check(seen == count, "status", code, f"{seen} of {count} gateways")
        servers.restart()
        clients.restart()
        time.sleep(IDLE_S)
        row["idle_broker_percent"] = 100 * servers.processor() / IDLE_S
        row["idle_agents_percent"] = 100 * clients.processor() / IDLE_S
        servers.restart()
        number = EVENTS_EACH * count
        row["events_per_s"] = number / agents.events(number)
        row["event_broker_ms"] = 1000 * servers.processor() / number
        out, row["send_s"], row["send_cpu_s"], _, code = desk(
            binaries / "cellslot-fleet", conf, "send", "*", "--yes", "--wave", str(WAVE), "reload")
        check(code == 0 and f"{count} gateways: {count} done" in out, "send", code, out)
        if kind is Cluster:
            row["node_death_s"] = nodeDeath(broker, agents, count)
            out, *_, code = desk(binaries / "cellslot-fleet", conf, "status")
            check(code == 0 and f"{count} gateways: {count} well" in out, "status without a node", code, out)
    except GivenUp as error:
        row["gave_out"] = str(error)
    finally:
        agents.end()
        if kind is Cluster:
            logs.with_name(f"cluster-{count}.log").write_text(broker.log())
        broker.end()
    return row


def check(isTrue, what, code, out):
    if not isTrue:
        raise GivenUp(f"{what}: status {code}: {out[-300:]}")


def nodeDeath(broker, agents, count):
    """Seconds until every agent is at another node, which has its states."""
    broker.nodes[1].end(signal.SIGKILL)
    begin = time.monotonic()
    agents.waitFor("up", count)
    return time.monotonic() - begin


def measureDesk(keys, count, binaries):
    """What the desk takes to show so many gateways; nobody is connected, only their states are at the broker."""
    broker = Mosquitto(keys)
    acl = broker.folder / "acl"
    acl.write_text(acl.read_text() + "\nuser operator\ntopic readwrite cellslot/1/#\n")
    broker.start()
    conf = configuration(keys, [broker.operatorPort])
    try:
        servers = Meter(broker.pids())
        emptyKb = servers.memory()
        writer = Client(broker.operatorPort, keys.operator(), "writer")
        for number in range(count):
            writer.publish(f"cellslot/1/gw-{number}/availability", online(), retain=True)
            writer.publish(f"cellslot/1/gw-{number}/slot/1/status", slotStatus(), retain=True)
        writer.end()
        row = {"broker": "mosquitto", "gateways": count, "retained_kb_each": (servers.memory() - emptyKb) / count}
        for name, words, mark, marks in (("status", ["status"], f"{count} gateways: {count} well", 1),
                                         ("json", ["status", "--json"], '"name": "gw-', count),
                                         ("metrics", ["status", "--metrics"], "\ncellslot_gateway_online{", count),
                                         ("show", ["show", "gw-7"], "gw-7  ONLINE", 1)):
            servers.restart()
            out, row[f"{name}_s"], row[f"{name}_cpu_s"], row[f"{name}_kb"], code = desk(
                binaries / "cellslot-fleet", conf, *words)
            row[f"{name}_broker_cpu_s"] = servers.processor()
            assert code == 0 and out.count(mark) == marks, (words, out.count(mark), out[-200:])
        measureServer(conf, count, binaries, row)
    finally:
        broker.end()
    return row


def measureServer(conf, count, binaries, row):
    """What cellslot-fleet serve takes with so many gateways; memory after each step."""
    begin = time.monotonic()
    server = subprocess.Popen([binaries / "cellslot-fleet", "serve", "--listen", "127.0.0.1:0", "--conf", conf],
                              stdout=subprocess.PIPE, text=True)
    port = int(server.stdout.readline().rsplit(":", 1)[1])
    used = 0

    def note(name, start):
        nonlocal used
        row[f"serve_{name}_s"], row[f"serve_{name}_cpu_s"] = time.monotonic() - start, processorS(server.pid) - used
        row[f"serve_{name}_kb"], used = memoryKb(server.pid), processorS(server.pid)

    def get(path):
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=LIMIT_S)
        connection.request("GET", path)
        return connection.getresponse()
    try:
        # The states come after whether each is online. Each look costs the server something too.
        while get("/metrics").read().count(b"\ncellslot_slot_state{") < count:
            time.sleep(1)
        note("all_known", begin)
        for name, path in (("metrics", "/metrics"), ("api", "/api/fleet")):
            start = time.monotonic()
            row[f"serve_{name}_mb"] = len(get(path).read()) / 1e6
            note(name, start)
        start = time.monotonic()
        stream = get("/api/events")
        row["serve_stream_mb"] = (len(stream.readline()) + len(stream.readline())) / 1e6
        note("stream", start)
        time.sleep(IDLE_S)
        note("ten_seconds_with_a_reader", time.monotonic() - IDLE_S)
        stream.close()
        row["serve_peak_kb"] = int(pathlib.Path(f"/proc/{server.pid}/status").read_text().split("VmHWM:")[1].split()[0])
    finally:
        server.terminate()
        server.wait(LIMIT_S)
        server.stdout.close()


def configuration(keys, ports):
    pair = keys.operator()
    conf = pathlib.Path(tempfile.mkdtemp()) / "fleet.conf"
    brokers = ",".join(f"localhost:{port}" for port in ports)
    conf.write_text(f"BROKER={brokers}\nCA_FILE={pair[1]}\nCERT_FILE={pair[3]}\nKEY_FILE={pair[5]}\n")
    return conf


def shown(value):
    if isinstance(value, str):
        return value
    return f"{value:.3g}" if value < 1000 else f"{value:.0f}"


def show(rows):
    keys = list(dict.fromkeys(key for row in rows for key in row))
    print("| figure | " + " | ".join(f"{row['broker']} {row['gateways']}" for row in rows) + " |")
    print("|---|" + "---|" * len(rows))
    for key in keys[2:]:
        cells = [shown(row[key]) if key in row else "-" for row in rows]
        print(f"| {key} | " + " | ".join(cells) + " |")


CURVES = (("all_seen_s", "until all are seen", "seconds", True),
          ("broker_kb_each", "memory of the broker for each gateway", "kB", False),
          ("idle_broker_percent", "broker while nothing is sent (no line: less than can be measured)", "% of a core",
           True),
          ("events_per_s", "events of all, acknowledged", "each second", False))


def draw(rows):
    curves = []
    for key, what, unit, isProportional in CURVES:
        lines = {}
        for row in rows:
            # 0 has no place on a logarithmic scale.
            if row.get(key, 0) > 0:
                lines.setdefault(row["broker"], []).append((row["gateways"], row[key]))
        lines = {row["broker"]: [] for row in rows} | {broker: each for broker, each in lines.items() if len(each) > 1}
        if any(lines.values()):
            curves.append({"what": what, "x": "gateways", "y": unit, "lines": lines,
                           "proportional": isProportional})
    return svg.drawBeside(curves)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--keys", type=pathlib.Path, required=True,
                        help="folder of the certificates, which are made once")
    parser.add_argument("--counts", default="100,500,2000")
    parser.add_argument("--brokers", default="mosquitto,cluster")
    parser.add_argument("--desk", type=int, help="only the desk, with the states of so many gateways")
    options = parser.parse_args()
    counts = [int(count) for count in options.counts.split(",")]
    _, files = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (files, files))
    keys = Keys(options.keys)
    if options.desk:
        row = measureDesk(keys, options.desk, options.bin)
        options.out.write_text(json.dumps([row], indent=2) + "\n")
        return show([row])
    names = [f"gw-{number}" for number in range(max(counts))]
    keys.make("gateway", *names)
    rows = []
    for kind in (Mosquitto, Cluster):
        if kind.__name__.lower() not in options.brokers.split(","):
            continue
        for count in counts:
            rows.append(measure(kind, keys, names, count, options.bin, options.out))
            print(json.dumps(rows[-1]), file=sys.stderr, flush=True)
            options.out.write_text(json.dumps(rows, indent=2) + "\n")
    show(rows)
    options.out.with_suffix(".svg").write_text(draw(rows))


main()
