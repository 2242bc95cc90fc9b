"""A recording (docs/recordings.md) as scripts read it. le910sim checks it; here everything that is not
known is left out."""

import json
import os
import re

# Of the recorded program: a signal that asked it to end.
ENDING = ("SIGTERM", "SIGINT", "SIGHUP")
# As le910sim has them.
FILE_MAX = 256 * 1024 * 1024
TIME_MAX_MS = 1000 * 3600 * 24 * 365
# Of the keys of marks; a mark with another type there is left out.
TYPES = {"mark": str, "name": str, "command": str, "result": (int, str), "values": dict, "arguments": list,
         "path": str, "text": str}
# The text of a host command up to what may differ from run to run: addresses, paths, times.
FIXED_START = re.compile(r"[^/\"0-9]*")


def isUsable(event):
    return (0 <= event["ms"] <= TIME_MAX_MS and
            all(isinstance(event[key], TYPES[key]) for key in TYPES if key in event))


def asksToEnd(event):
    return event.get("mark") == "signal" and event.get("name") in ENDING


def beginsInRunningDaemon(events):
    """It has no answers for the set-up then."""
    state = next((event for event in events if event.get("mark") == "state"), None)
    return state is not None and state.get("modem") != "set-up"


class Recording:
    def __init__(self, path):
        self.events = []
        self.slot = 1
        if os.path.getsize(path) > FILE_MAX:
            raise ValueError(f"{path} has more than {FILE_MAX} bytes, which is more than a recording has")
        base = began = None
        last = 0
        with open(path, encoding="utf-8", errors="replace") as lines:
            for line in lines:
                try:
                    event = json.loads(line)
                except (ValueError, RecursionError):
                    continue  # le910sim says what is wrong
                if not isinstance(event, dict):
                    continue
                if "recording" in event:
                    if began is None:
                        self.slot = event.get("slot", 1)
                    if base is None or event.get("began") != began:
                        base = last
                    began = event.get("began")
                elif isinstance(event.get("ms"), int) and base is not None:
                    last = event["ms"] = event["ms"] + base
                    if isUsable(event):
                        self.events.append(event)

        self.leaveOutOtherRuns()

    def leaveOutOtherRuns(self):
        """Of several runs one is replayed, and none can be that has no beginning (le910sim's
        replayed_part has the same rule)."""
        self.runs = 1
        begin = 0
        for at, event in enumerate(self.events):
            if at == begin or event.get("mark") != "start":
                continue
            before = self.events[begin:at]
            if any(map(asksToEnd, before)) or beginsInRunningDaemon(before):
                begin = at
                self.runs += 1
        end = next((at for at in range(begin, len(self.events)) if asksToEnd(self.events[at])),
                   len(self.events))
        self.events = self.events[begin:end]
        beginMs = self.events[0]["ms"] if self.events else 0
        for event in self.events:
            event["ms"] -= beginMs

    def marks(self, name):
        return [event for event in self.events if event.get("mark") == name]

    def beginsInRunningDaemon(self):
        return beginsInRunningDaemon(self.events)

    def endMs(self):
        return self.events[-1]["ms"] if self.events else 0

    def lastPortMs(self):
        return max((event["ms"] for event in self.events if "mark" not in event), default=0)

    def argument(self, option, otherwise):
        """An argument of the recorded command line."""
        for mark in self.marks("start"):
            words = mark.get("arguments", [])
            if option in words[:-1]:
                return str(words[words.index(option) + 1])
        return otherwise

    def commands(self):
        """The commands on the AT port."""
        written = "".join(str(event.get("data", "")) for event in self.events
                          if event.get("at") == "write")
        return [line.strip("\n") for line in written.split("\r")]

    def hostResults(self):
        """The exit statuses of each host command, by the fixed start of its text."""
        results = {}
        for mark in self.marks("host"):
            start = FIXED_START.match(mark.get("command", ""))[0]
            result = mark.get("result", 0)
            results.setdefault(start, []).append(result if isinstance(result, int) else 0)
        return results

    def published(self):
        """What the recorded program had published last."""
        values = {}
        for event in self.events:
            if event.get("mark") == "start":
                values = {}
            if event.get("mark") == "published":
                values.update(event.get("values", {}))
        return {key: value for key, value in values.items() if value is not None}

    def secrets(self):
        """Stand-ins of PIN, PUK, name and password, as the commands show them."""
        found = {}
        for command in self.commands():
            name, _, rest = command.partition("=")
            fields = rest.replace('"', "").split(",")
            if name == "AT+CPIN" and len(fields) == 1:
                found["pin"] = fields[0]
            elif name == "AT+CPIN" and len(fields) == 2:
                found["puk"] = fields[0]
            elif name == "AT#PDPAUTH" and len(fields) == 4:
                found["user"], found["password"] = fields[2:]
        return found
