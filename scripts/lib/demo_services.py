"""The parts of the demonstration that show messages and positions."""

import json
import os
import pathlib
import queue
import shutil
import signal
import socket
import subprocess
import threading
import time

SPOOL = pathlib.Path("/tmp/sms")
CONTROL = "/tmp/le910sim.sock"
GPSD_SOCKET = "/run/gpsd.sock"
GPSD_PORT = 2947
SENDER = "+12025550123"
# The daemon looks for messages every five seconds.
MESSAGE_S = 15
POSITION_S = 45


def order(**request):
    with socket.socket(socket.AF_UNIX) as control:
        control.connect(CONTROL)
        control.sendall(json.dumps(request).encode() + b"\n")
        return json.loads(control.makefile().readline())


def waitForFile(demo, folder, known):
    """The first file of a spool folder that is not known; None when none comes."""
    end = time.monotonic() + MESSAGE_S
    while time.monotonic() < end:
        demo.pump(0.1)
        fresh = sorted(set((SPOOL / folder).iterdir()) - known)
        if fresh:
            return fresh[0]
    return None


def showReceived(demo, what, messages):
    known = set((SPOOL / "recv").iterdir())
    demo.say("demo", what)
    for message in messages:
        order(op="inject-sms", **{"from": SENDER}, **message)
    path = waitForFile(demo, "recv", known)
    if path is None:
        return False
    demo.show("cat", str(path))
    print("\n", flush=True)
    return True


def showSent(demo):
    demo.say("demo", "a message is sent from /tmp/sms/send")
    draft = SPOOL / "draft"
    draft.write_text(f"TO={SENDER}\nMSG=Pump 3 stopped\n")
    draft.rename(SPOOL / "send" / "pump3")
    path = waitForFile(demo, "send_ok", set())
    if path is None:
        return False
    for message in order(op="dump")["state"]["sms"]["sent"]:
        demo.say("modem", f"sent to {message['number']}: {message['text']}")
    demo.say("demo", f"moved to {path}")
    return True


def showMessages(demo):
    """True when a message came in, one in three parts was joined, and one went out."""
    parts = [{"text": text, "reference": 7, "part": part, "total": 3}
             for part, text in ((3, "and this is the third."), (1, "This is the first part, "),
                                (2, "this the second, "))]
    return (showReceived(demo, "a message arrives", [{"text": "Hello from the network"}]) and
            showReceived(demo, "one in three parts arrives, in disorder", parts) and
            showSent(demo))


def readPositions(positions):
    with socket.create_connection(("127.0.0.1", GPSD_PORT), 5) as connection:
        connection.settimeout(None)
        connection.sendall(b'?WATCH={"enable":true,"json":true};\n')
        for line in connection.makefile():
            report = json.loads(line)
            if report["class"] == "TPV" and report.get("mode", 0) >= 2:
                positions.put(report)


def startGpsd():
    """gpsd as a host runs it; None when it is not installed."""
    if shutil.which("gpsd") is None or shutil.which("gpsdctl") is None:
        return None
    gpsd = subprocess.Popen(["gpsd", "-N", "-n", "-F", GPSD_SOCKET, "-S", str(GPSD_PORT)],
                            stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                            start_new_session=True)
    end = time.monotonic() + 5
    while time.monotonic() < end and not os.path.exists(GPSD_SOCKET):
        time.sleep(0.05)
    return gpsd


def showPosition(demo, config, gpsPort):
    """Switches the receiver on by configuration and shows what gpsd then reports."""
    demo.say("demo", "GPS is switched on in the configuration, SIGUSR2 to the daemon")
    os.chmod(os.path.realpath(gpsPort), 0o666)  # gpsd gives up root before it opens a port
    positions = queue.Queue()
    threading.Thread(target=readPositions, args=(positions,), daemon=True).start()
    config.write_text(config.read_text().replace("CM_GPS_ENABLE=no", "CM_GPS_ENABLE=yes"))
    demo.daemon.send_signal(signal.SIGUSR2)
    end = time.monotonic() + POSITION_S
    while time.monotonic() < end:
        demo.pump(0.2)
        if not positions.empty():
            report = positions.get()
            demo.say("gpsd", f"position {report['lat']:.5f} {report['lon']:.5f},"
                             f" altitude {report.get('alt', report.get('altMSL', 0)):.0f} m")
            return
    demo.say("demo", f"no position from gpsd within {POSITION_S} s")
