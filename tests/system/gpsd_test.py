#!/usr/bin/env python3
"""The GPS port handed to Debian's gpsd and taken back: the built daemon, the simulated modem, the
real gpsd and gpsdctl, and a client of gpsd. Run inside scripts/private_namespace.sh."""

import json
import os
import pathlib
import queue
import select
import signal
import socket
import subprocess
import threading
import time
import unittest

from gateway import BIN, HOST, LIMIT_S, LogCatcher, Slot, calls, freshHost, waitUntil

GPSD_SOCKET = "/run/gpsd.sock"
GPSD_PORT = 2947
TRACK = [[48.1 + i / 1000, 11.5 - i / 500, 520.0 + i] for i in range(60)]


class Gpsd:
    """gpsd as a host runs it: waiting for devices that gpsdctl names."""

    def __init__(self):
        # -n: devices are opened at once, not only when a client asks.
        self.process = subprocess.Popen(["gpsd", "-N", "-n", "-F", GPSD_SOCKET, "-S",
                                         str(GPSD_PORT)])
        waitUntil(lambda: os.path.exists(GPSD_SOCKET) and self.accepts(),
                  lambda: f"gpsd does not listen, status {self.process.poll()}")

    @staticmethod
    def accepts():
        try:
            socket.create_connection(("127.0.0.1", GPSD_PORT), LIMIT_S).close()
        except OSError:
            return False
        return True

    def end(self):
        self.process.kill()
        self.process.wait(LIMIT_S)


class Client:
    """A client of gpsd, in its JSON protocol."""

    def __init__(self):
        self.connection = socket.create_connection(("127.0.0.1", GPSD_PORT), LIMIT_S)
        self.connection.settimeout(None)
        self.reports = queue.Queue()
        self.connection.sendall(b'?WATCH={"enable":true,"json":true};\n')
        threading.Thread(target=self.receive, daemon=True).start()

    def receive(self):
        try:
            for line in self.connection.makefile():
                self.reports.put(json.loads(line))
        except (OSError, ValueError):
            pass

    def next(self, wanted):
        """The next report for which wanted is true."""
        end = time.monotonic() + LIMIT_S
        while (left := end - time.monotonic()) > 0:
            try:
                report = self.reports.get(timeout=left)
            except queue.Empty:
                break
            if wanted(report):
                return report
        raise AssertionError(f"gpsd did not report it within {LIMIT_S} s")

    def nextPosition(self):
        return self.next(lambda report: report["class"] == "TPV" and report.get("mode", 0) >= 2)

    def forget(self):
        while not self.reports.empty():
            self.reports.get()

    def end(self):
        self.connection.close()


class GpsdTest(unittest.TestCase):
    def setUp(self):
        freshHost()
        tools = os.environ["PATH"].split(":")[0]
        path = os.environ["PATH"]
        # The folder with the daemon's "timeout" comes before the system's.
        os.environ["PATH"] = f"{tools}:{HOST}:{path.removeprefix(tools + ':')}:/usr/sbin"
        self.addCleanup(os.environ.update, PATH=path)
        os.environ["GPSD_SOCKET"] = GPSD_SOCKET
        self.log = LogCatcher()
        self.addCleanup(self.log.close)
        pathlib.Path(GPSD_SOCKET).unlink(missing_ok=True)
        self.gpsd = Gpsd()
        self.addCleanup(self.gpsd.end)

    def slot(self, **gps):
        slot = Slot(1, {"gps": {"track": TRACK, **gps}})
        self.addCleanup(slot.end)
        slot.configure(CM_GPS_ENABLE="yes")
        slot.startSim()
        self.openToGpsd(slot)
        return slot

    @staticmethod
    def openToGpsd(slot):
        """As the udev rule of a host: gpsd drops root before it opens a device."""
        waitUntil(lambda: os.path.exists(slot.gps), lambda: f"{slot.gps} is not there")
        os.chmod(os.path.realpath(slot.gps), 0o666)

    def client(self):
        client = Client()
        self.addCleanup(client.end)
        return client

    @staticmethod
    def stored(name):
        result = subprocess.run([BIN / "skvs", "get", f"CELLULAR_SLOT1{name}"],
                                capture_output=True, text=True, check=False)
        return result.stdout.strip() if result.returncode == 0 else None

    def assertOnTrack(self, report):
        near = [point for point in TRACK if abs(point[0] - report["lat"]) < 0.00001]
        self.assertEqual(len(near), 1, report)
        self.assertAlmostEqual(report["lon"], near[0][1], places=4)
        if report["mode"] == 3:
            self.assertAlmostEqual(report["altMSL"], near[0][2], places=1)

    def assertTakesCommands(self, slot):
        port = os.open(slot.gps, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        try:
            time.sleep(1.5)  # longer than between two epochs of a stream
            try:
                self.assertNotIn(b"$G", os.read(port, 65536))
            except BlockingIOError:
                pass
            os.write(port, b"AT\r")
            answer = b""
            while b"OK" not in answer and select.select([port], [], [], LIMIT_S)[0]:
                answer += os.read(port, 65536)
            self.assertEqual(answer, b"AT\r\r\nOK\r\n")
        finally:
            os.close(port)


class HandOver(GpsdTest):
    def test_positionReachesAClient_andThePortComesBackOnStop(self):
        slot = self.slot(enabled=True)
        client = self.client()
        slot.startDaemon()
        device = client.next(lambda report: report["class"] == "DEVICE")
        self.assertEqual(device["path"], slot.gps)
        first, second = client.nextPosition(), client.nextPosition()
        while second["lat"] == first["lat"]:
            second = client.nextPosition()
        for report in (first, second):
            self.assertOnTrack(report)
            self.assertEqual(report["device"], slot.gps)

        slot.waitConnected()
        self.assertEqual(slot.value("_GPS_CHIPSET"), "GSW3.5.0")
        self.assertEqual(slot.value("_GPS_STREAM_ON"), "1")
        self.assertEqual(slot.value("_GPS_LAST_STATUS"),
                         "eERROR_DEVICE_GPS_START_STREAM_SUCCESS")
        for name, value in (("_GPS_CHIPSET", "GSW3.5.0"), ("_GPS_ENABLE", "1"),
                            ("_GPS_ENABLE_COUNT", "0"), ("_GPS_STREAM", "1")):
            self.assertEqual(self.stored(name), value, name)
        for action in ("remove", "add"):
            self.assertEqual(self.log.count(f"running system command 'timeout -t 5 gpsdctl {action}"
                                            f" {slot.gps} &>/dev/null'"), 1)

        client.forget()
        self.assertEqual(slot.stopDaemon(), 2)
        gone = client.next(lambda report: report["class"] == "DEVICE")
        self.assertEqual((gone["path"], gone["activated"]), (slot.gps, 0))
        self.assertTakesCommands(slot)
        self.assertEqual(self.stored("_GPS_STREAM"), "0")
        self.assertEqual(slot.order(op="dump")["state"]["problems"], [])

    def test_daemonKilledAndStartedAgain_positionsContinue(self):
        slot = self.slot(enabled=True)
        client = self.client()
        slot.startDaemon()
        client.nextPosition()
        slot.killDaemon()
        # gpsd still has the port, and the modem still streams.
        client.forget()
        self.assertOnTrack(client.nextPosition())
        slot.startDaemon()
        waitUntil(lambda: self.log.count("GPS stream started") == 2,
                  lambda: "the stream was not started again")
        client.forget()
        self.assertOnTrack(client.nextPosition())
        self.assertEqual(slot.stopDaemon(), 2)
        self.assertTakesCommands(slot)


class Enabling(GpsdTest):
    def test_receiverOff_isEnabledAndStreamsAfterTheModemsRestart(self):
        slot = self.slot()
        client = self.client()
        slot.startDaemon()
        # The modem is restarted for the setting to take effect.
        self.assertEqual(slot.awaitEnd(), 3)
        self.assertEqual(self.stored("_GPS_ENABLE_COUNT"), "1")
        self.assertEqual(self.stored("_GPS_ENABLE"), "-1")
        self.assertIn("AT#REBOOT", slot.commands())
        slot.waitModemIsBack()
        self.openToGpsd(slot)
        slot.startDaemon()
        self.assertOnTrack(client.nextPosition())
        self.assertEqual(self.stored("_GPS_ENABLE_COUNT"), "0")

    def test_receiverThatNeverAppears_isEnabledThreeTimesInThreeRuns(self):
        slot = self.slot(chipset="")
        for run in range(1, 4):
            slot.startDaemon()
            self.assertEqual(slot.awaitEnd(), 3, f"run {run}")
            self.assertEqual(self.stored("_GPS_ENABLE_COUNT"), str(run))
            slot.waitModemIsBack(run)
            self.openToGpsd(slot)
        # From then on the modem has no GPS.
        slot.startDaemon()
        slot.waitConnected()
        self.assertEqual(slot.value("_GPS_LAST_STATUS"), "eERROR_DEVICE_GPS_ENABLE_MAX_COUNT")
        self.assertEqual(slot.value("_GPS_STREAM_ON"), "0")
        self.assertEqual(self.stored("_GPS_ENABLE_COUNT"), "3")
        self.assertEqual(self.log.count("GPS chipset Enable attempted 3 times, aborting"), 1)
        self.assertEqual(slot.stopDaemon(signal.SIGINT), 2)
        self.assertEqual(calls("ResetCellular"), [])


if __name__ == "__main__":
    unittest.main()
