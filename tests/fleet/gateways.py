"""Gateways that only publish and answer, for tests of the operator's side."""

import datetime
import json

from mqtt_client import Client

STREAM = "1f0c9a2b"


def utc(secondsAgo=0):
    time = datetime.datetime.now(datetime.timezone.utc) - datetime.timedelta(seconds=secondsAgo)
    return time.strftime("%Y-%m-%dT%H:%M:%SZ")


def slotStatus(slot=1, state="connected", problems=(), operator="AT&T", quality="fair", rsrp=-98.0,
               firmware="20.00.402", secondsAgo=0):
    """The text of a slot's state, as an agent publishes it."""
    isUp = state == "connected"
    body = {
        "slot": slot, "state": state, "daemon_running": True, "age_seconds": 1, "stale": False,
        "problems": list(problems),
        "data": {"directive": "on", "why": "CM_ENABLE_INTERFACE=yes in /etc/vuk/cellular1.conf"},
        "modem": {"model": "LE910-NA V2", "manufacturer": "Telit", "imei": "356938035643809",
                  "firmware": firmware, "firmware_carrier": "Generic NA", "temperature_c": 28,
                  "temperature_level": "Normal temperature", "device": "/dev/ttyUSB2"},
        "sim": {"status": "Available", "ready": True, "pin_report": "", "pin_lock": False, "pin_attempts": 3,
                "puk_attempts": 10, "iccid": "89014100000000000015", "imsi": "310410000000001",
                "number": "12025550101", "carrier": operator, "holder": 1},
        "network": {"registration": "Registered, Home Network", "registered": True, "roaming": False,
                    "operator": operator, "plmn": "310410", "technology": "LTE", "band": "4", "channel": "2225",
                    "cell": "471", "area": "700D"},
        "signal": {"quality": quality, "strength_percent": 54, "rsrp_dbm": rsrp, "rsrq_db": -9.0, "rssi_dbm": -68.0,
                   "rscp_dbm": None, "ecio_db": None},
        "session": {"connected": isUp, "seconds": 3600 if isUp else None, "interface": "wwan0",
                    "addresses": ["10.64.1.8"] if isUp else [], "apn": "internet", "last_error": 0,
                    "last_error_name": "None", "last_error_words": "none"},
        "gps": {"streaming": False, "state": "off", "receiver": None},
        "sms": {"received": 0, "sent": 0, "failed": 0},
    }
    return json.dumps({"time": utc(secondsAgo), "slots": [body]})


def online(secondsAgo=0, every=900, waiting=0):
    return json.dumps({"online": True, "time": utc(secondsAgo), "version": "1.0.17", "every_seconds": every,
                       "waiting": waiting, "stream": STREAM})


def offline(reason="lost", secondsAgo=0):
    return json.dumps({"online": False, "time": utc(secondsAgo), "reason": reason})


NO_SIM = {"severity": "error", "id": "sim_missing", "what": "The modem detects no SIM card.", "mend": "insert it"}
NOTE = {"severity": "note", "id": "sms_waiting", "what": "A message waits.", "mend": ""}
POOR = {"severity": "warning", "id": "signal_poor", "what": "The signal is poor.", "mend": "turn the antenna"}


class Gateway:
    """One gateway at a broker of contrib/, with one connection. It answers each command as answer(command) says:
    the fields of the result, several of them, or None for silence."""

    def __init__(self, broker, name, answer=None, port=None, keepsSession=False):
        self.name, self.number, self.answer, self.commands = name, 0, answer, []
        self.client = Client(port or broker.ports[0], broker.keys.gateway(name), name, self._take,
                             keepsSession)
        if answer:
            self.client.subscribe(f"cellslot/1/{name}/command")

    def say(self, topic, text, retain=False):
        self.client.publish(f"cellslot/1/{self.name}/{topic}", text, retain)

    def publishState(self, availability=None, *statuses):
        self.say("availability", availability or online(), retain=True)
        for status in statuses or (slotStatus(),):
            self.say(f"slot/{json.loads(status)['slots'][0]['slot']}/status", status, retain=True)

    def _id(self):
        self.number += 1
        return f"{STREAM}-{self.number}"

    def event(self, kind="online", text="The session is up.", **fields):
        self.say("slot/1/event", json.dumps({"id": self._id(), "time": utc(), "kind": kind, "text": text, **fields}))

    def _take(self, topic, payload):
        command = json.loads(payload)
        self.commands.append(command)
        results = self.answer(command)
        for fields in results if isinstance(results, list) else [results] if results else []:
            try:
                self.result(command, **fields)
            except ConnectionError:
                return  # the test has ended it after the answer arrived

    def result(self, command, status="done", text="as asked", **fields):
        self.say("result", json.dumps({"id": self._id(), "time": utc(), "command": command["id"],
                                       "do": command["do"], "by": command["by"], "status": status, "text": text,
                                       **fields}))

    def end(self):
        self.client.end()
