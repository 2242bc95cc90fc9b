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
# The daemon checks for messages every five seconds.
MESSAGE_S = 15
POSITION_S = 45


def order(**request):
    with socket.socket(socket.AF_UNIX) as control:
        control.connect(CONTROL)
        control.sendall(json.dumps(request).encode() + b"\n")
        return json.loads(control.makefile().readline())


def setSignal(rsrpDbm):
    order(op="set", signal={"rsrp_dbm": rsrpDbm})


def waitForFile(demo, folder, known):
    """The first unknown file in a spool folder; None if none comes."""
    end = time.monotonic() + MESSAGE_S
    while time.monotonic() < end:
        demo.pump(0.1)
        fresh = sorted(set((SPOOL / folder).iterdir()) - known)
        if fresh:
            return fresh[0]
    return None


def receive(demo, messages):
    """The text of the file that is made from the messages; None if none comes."""
    known = set((SPOOL / "recv").iterdir())
    for message in messages:
        order(op="inject-sms", **{"from": SENDER}, **message)
    path = waitForFile(demo, "recv", known)
    return None if path is None else path.read_text().partition("MSG=")[2]


def showReceived(demo):
    text = receive(demo, [{"text": "Hello from the network"}])
    if text is None:
        return False
    demo.story.say("message", f'"{text}" arrived as a file in {SPOOL}/recv')
    return True


def showJoined(demo):
    parts = [{"text": text, "reference": 7, "part": part, "total": 3}
             for part, text in ((3, "one message."), (1, "Three parts "), (2, "become "))]
    text = receive(demo, parts)
    if text is None:
        return False
    demo.story.say("message", f'parts 3, 1, 2 arrived: "{text}"')
    demo.story.more("(the status counts five messages: each part counts too)")
    return True


def showSent(demo):
    draft = SPOOL / "draft"
    draft.write_text(f"TO={SENDER}\nMSG=Pump 3 stopped\n")
    draft.rename(SPOOL / "send" / "pump3")
    if waitForFile(demo, "send_ok", set()) is None:
        return False
    sent = order(op="dump")["state"]["sms"]["sent"]
    demo.story.say("message", f'{SPOOL}/send/pump3 was sent: "{sent[-1]["text"]}"')
    return True


def showMessages(demo):
    """True if a message was received, one of three parts was joined, and one was sent."""
    return showReceived(demo) and showJoined(demo) and showSent(demo)


def readPositions(positions):
    with socket.create_connection(("127.0.0.1", GPSD_PORT), 5) as connection:
        connection.settimeout(None)
        connection.sendall(b'?WATCH={"enable":true,"json":true};\n')
        for line in connection.makefile():
            report = json.loads(line)
            if report["class"] == "TPV" and report.get("mode", 0) >= 2:
                positions.put(report)


def startGpsd():
    """gpsd as a host runs it; None if it is not installed. It only listens to the port (-b): otherwise
    it would probe the device for longer than the daemon waits."""
    if shutil.which("gpsd") is None or shutil.which("gpsdctl") is None:
        return None
    gpsd = subprocess.Popen(["gpsd", "-N", "-n", "-b", "-F", GPSD_SOCKET, "-S", str(GPSD_PORT)],
                            stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                            start_new_session=True)
    end = time.monotonic() + 5
    while time.monotonic() < end and not os.path.exists(GPSD_SOCKET):
        time.sleep(0.05)
    return gpsd


def showPosition(demo, config, gpsPort):
    """Switches the receiver on by configuration and shows what gpsd then reports."""
    os.chmod(os.path.realpath(gpsPort), 0o666)  # gpsd drops root before it opens a port
    positions = queue.Queue()
    threading.Thread(target=readPositions, args=(positions,), daemon=True).start()
    config.write_text(config.read_text().replace("CM_GPS_ENABLE=no", "CM_GPS_ENABLE=yes"))
    demo.daemon.send_signal(signal.SIGUSR2)
    demo.story.say("reload", "CM_GPS_ENABLE=yes and SIGUSR2: the modem is set up again")
    end = time.monotonic() + POSITION_S
    while time.monotonic() < end:
        demo.pump(0.2)
        if not positions.empty():
            report = positions.get()
            demo.story.say("position", f"gpsd has {report['lat']:.5f} {report['lon']:.5f},"
                                        " from the modem's receiver")
            return
    demo.story.say("position", f"none from gpsd within {POSITION_S} s")
