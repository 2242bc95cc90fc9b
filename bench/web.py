#!/usr/bin/env python3
"""What the page of a gateway costs: prints each figure with its goal, if it has one. Run by
scripts/bench_web.sh, with the environment of the tests of the page."""

import os
import pathlib
import statistics
import sys
import time

TESTS = pathlib.Path(__file__).resolve().parents[1] / "tests"
sys.path[:0] = [str(TESTS / "web"), str(TESTS / "system")]

from browser import Browser  # noqa: E402
from lan_test import PASSWORD, Lan  # noqa: E402
from web_case import WebCase  # noqa: E402
from web_server import PAGES, Server, Stream  # noqa: E402

STARTS = 20
READERS = 200
OUTAGES = 5
PASSES_S = 20


class Gateway(WebCase):
    """Not a test: what the tests have around them."""

    def runTest(self):
        pass


def show(what, figure, unit, goal=None):
    verdict = "" if goal is None else f"  goal {goal}: {'met' if figure <= goal else 'NOT MET'}"
    print(f"{what:<64} {figure:>9.1f} {unit}{verdict}", flush=True)


def processorMs(server):
    return int(pathlib.Path(f"/proc/{server.process.pid}/schedstat").read_text().split()[0]) / 1e6


def measurePage():
    show("page, compressed, all files", sum(file.stat().st_size for file in PAGES.iterdir()) / 1000, "kB", 80)


def measureStart():
    took, worked = [], []
    for _ in range(STARTS):
        begin = time.monotonic()
        server = Server()
        server.getJson("/api/status")
        took.append(1000 * (time.monotonic() - begin))
        worked.append(processorMs(server))
        server.end()
    show("start of the process to the end of the first answer, median", statistics.median(took), "ms", 50)
    show("  of that, processor time of the server, median", statistics.median(worked), "ms")


def timeUntil(gateway, shown):
    """Milliseconds from the end of the daemon until something shows it."""
    gateway.slot.daemon.kill()
    gateway.slot.daemon.wait()
    begin = time.monotonic()
    shown()
    took = 1000 * (time.monotonic() - begin)
    gateway.slot.startDaemon()
    gateway.slot.waitConnected()
    return took


def measureOutage(gateway):
    server = gateway.serve()
    stream = Stream(server.port)
    sent = []
    for _ in range(OUTAGES):
        stream.readUntil(b'"state":"connected"')
        sent.append(timeUntil(gateway, lambda: stream.readUntil(b'"state":"no_daemon"')))
        stream.data = b""
    show("end of the daemon to the line in the stream, longest", max(sent), "ms", 2000)
    browser = Browser()
    browser.open(server.url)
    seen = []
    for _ in range(OUTAGES):
        browser.waitFor("#state", "Connected")
        seen.append(timeUntil(gateway, lambda: browser.waitFor("#state", "No daemon is running")))
    browser.close()
    show("end of the daemon to the words on the page in Chromium, longest", max(seen), "ms", 2000)


def passes(gateway):
    before = gateway.slot.polls()
    time.sleep(PASSES_S)
    return (gateway.slot.polls() - before) / PASSES_S


def measureReaders(gateway):
    server = gateway.serve()
    for path in ("/api/status", "/metrics", "/"):
        server.get(path, Accept_Encoding="gzip")
    show("memory after some requests, peak", server.memoryKb(), "kB", 8192)
    alone = passes(gateway)
    streams = gateway.read(server, READERS)
    begin = processorMs(server)
    together = passes(gateway)
    show(f"memory with {READERS} readers of the stream, peak", server.memoryKb(), "kB", 8192)
    show(f"processor time of the server with {READERS} readers", (processorMs(server) - begin) / PASSES_S, "ms/s")
    show("polls of the daemon, alone", alone, "per s")
    show(f"polls of the daemon, beside {READERS} readers", together, "per s")
    for stream in streams:
        stream.close()


def measureLan():
    Lan.setUpClass()
    lan = Lan("test_RightPassword_OpensThePage")
    server = lan.start()
    begin = time.monotonic()
    lan.ask(server, password=PASSWORD)
    show("LAN: first request, with the check of the password", 1000 * (time.monotonic() - begin), "ms")
    for _ in range(20):
        lan.ask(server, password=PASSWORD)
    show("LAN: memory of the server after 21 requests, peak", server.memoryKb(), "kB", 8192)
    lan.doCleanups()
    Lan.doClassCleanups()


def main():
    print(f"load {os.getloadavg()[0]:.1f}")
    measurePage()
    Gateway.setUpClass()
    gateway = Gateway()
    try:
        measureStart()
        measureOutage(gateway)
        measureReaders(gateway)
    finally:
        gateway.doCleanups()
        Gateway.doClassCleanups()
    measureLan()


if __name__ == "__main__":
    main()
