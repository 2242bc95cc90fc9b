"""Stands in for the program that reads the history: a shell script that prints made-up answers in the
format of web/history_program.h."""

import json
import math
import pathlib
import time

RANGES = {"1h": 3600, "6h": 21600, "24h": 86400, "7d": 604800, "30d": 2592000, "365d": 31536000}
POINTS = 300
SOURCES = {"rsrp": ("RSRP", "dBm"), "rsrq": ("RSRQ", "dB"), "rssi": ("RSSI", "dBm"), "rscp": ("RSCP", "dBm"),
           "ecio": ("Ec/Io", "dB"), "connected": ("Connected", ""), "received": ("Received", "B"),
           "sent": ("Sent", "B"), "temperature": ("Temperature", "C"), "registered": ("Registered", ""),
           "messages": ("Messages", "")}


def value(name, i):
    wave = math.sin(i / 20)
    if 120 <= i < 135:
        return None  # a gap
    return {"rsrp": -98 + 8 * wave, "rsrq": -9 + wave, "rssi": -68 + 4 * wave, "rscp": None, "ecio": None,
            "connected": 0 if 200 <= i < 215 else 1, "received": 2000 * (1 + wave), "sent": 500 * (1 + wave),
            "temperature": 28 + 3 * wave, "registered": 1, "messages": 0}[name]


def history(length):
    now = int(time.time())
    step = length // POINTS
    begin = now - length
    series = {}
    for name, (words, unit) in SOURCES.items():
        average = [value(name, i) for i in range(POINTS)]
        series[name] = {"words": words, "unit": unit, "average": average,
                        "least": [None if one is None else one - 2 for one in average],
                        "greatest": [None if one is None else one + 2 for one in average]}
    outage = {"from": begin + 200 * step, "to": begin + 215 * step, "cause": "searching",
              "text": "No network yet; the modem is searching.", "ends_unknown": False}
    return {"times": [begin + i * step for i in range(POINTS)], "series": series,
            "availability": {"connected_seconds": 270 * step, "known_seconds": 285 * step},
            "outages_total": 1, "outages": [outage], "usage": {"received_bytes": 1234567, "sent_bytes": 98765}}


def events(slot):
    now = int(time.time())
    return {"events": [{"time": now - 3600, "kind": "offline", "cause": "searching",
                        "text": f"Slot {slot}: no connection after 3 h 12 min: the modem is searching."},
                       {"time": now - 1800, "kind": "online", "cause": "",
                        "text": "Connected again after 30 min."}]}


SCRIPT = """\
#!/bin/sh
case $1 in
events) cat {folder}/events.$2 ;;
history) cat {folder}/history.$3 ;;
esac
"""
FAILING = "#!/bin/sh\necho half an answer\nexit 1\n"
# Until the test makes the file "open".
HANGING = """\
#!/bin/sh
echo "$@" >> {folder}/started
while [ ! -e {folder}/open ]; do sleep 0.1; done
echo '{"events": []}'
"""
ENDLESS = "#!/bin/sh\nwhile :; do echo an answer without an end; done\n"


def makeProgram(folder, script=SCRIPT):
    """Puts the program and its answers there; returns its path."""
    folder = pathlib.Path(folder)
    for name, length in RANGES.items():
        (folder / f"history.{name}").write_text(json.dumps(history(length)))
    for slot in (1, 2, 3):
        (folder / f"events.{slot}").write_text(json.dumps(events(slot)))
    program = folder / "history"
    program.write_text(script.replace("{folder}", str(folder)))
    program.chmod(0o755)
    return program
