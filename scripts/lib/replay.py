#!/usr/bin/env python3
"""The main part of scripts/replay.sh: runs the daemon on a recording in the current private namespace
and compares what it published with what was published when the recording was made."""

import argparse
import os
import pathlib
import re
import shlex
import signal
import stat
import subprocess
import sys
import threading
import time

from log_capture import openLogSocket, splitDatagram
from recording import FIXED_START, Recording

TOOLS = pathlib.Path("/tmp/replay-tools")
RESULTS = pathlib.Path("/tmp/replay-results")
RECORDED_TOOLS = ("setup_cellint.sh", "systime.sh", "sledctl", "ResetCellular", "ping", "timeout")
TOOL_NAME = re.compile(r"[\w&>-][\w.&>-]{0,100}")  # with the fixed start of its arguments
RESTART_S = 5
STATUS_S = 2.5  # the daemon writes its status every two seconds
STOP_TIMEOUT_S = 30
PATIENCE_S = 120  # how long the daemon may be behind the recording
DIFFERENT = 1
EXITS_STARTED_AGAIN = (3, 4)  # as the service manager does
STARTS_MORE = 3  # than recorded, before the replay is given up
# What a recording may give to the daemon, and signals that it may get.
GIVEN_FILES = re.compile(r"/etc/vuk/[\w.-]+|/tmp/sms/send/[\w.-]+|/tmp/(at_cmd_in|force_cell_)[\w.-]*")
GIVEN_SIGNALS = ("SIGUSR1", "SIGUSR2")
DEVICE = re.compile(r"(/dev|/tmp)(/[\w:+-][\w.:+-]*){1,4}")
TIME_KEYS = ("STATS_LAST_UPDATE", "STATS_LAST_UPDATE_E", "QMI_CALL_TIME", "QMI_CALL_FORMAT_TIME")

# Ends as it ended when the recording was made: each call takes the first line of its file.
TOOL = """\
#!/usr/bin/env python3
import fcntl, pathlib, re, sys
text = sys.argv[0].rpartition("/")[2] + " " + " ".join(sys.argv[1:])
start = re.match({pattern!r}, text)[0]
folder = pathlib.Path({results!r})
for path in sorted(folder.iterdir()):
    if not path.name.startswith(start.strip().replace(" ", "_")):
        continue
    with path.open("r+") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        lines = file.read().split()
        file.seek(0)
        file.truncate()
        file.write("\\n".join(lines[1:]))
    if lines:
        sys.exit(int(lines[0]) & 255)
"""


def allowedDevice(path, otherwise):
    """The recorded path if it can be made in the namespace, so that it is published as it was."""
    isAllowed = DEVICE.fullmatch(path) and not os.path.lexists(path)
    return pathlib.Path(path if isAllowed else otherwise)


class Replay:
    def __init__(self, options):
        self.options = options
        self.recording = Recording(options.file)
        self.slot = self.recording.slot if self.recording.slot in (1, 2, 3) else 1
        self.at = allowedDevice(self.recording.argument("-d", ""), f"/dev/ttyCELL{self.slot}")
        self.gps = allowedDevice(self.recording.argument("-g", ""), f"/dev/ttyGPS{self.slot}")
        self.status = pathlib.Path(f"/var/log/wireless.cardstats.{self.slot}")
        self.config = pathlib.Path(f"/etc/vuk/cellular{self.slot}.conf")
        self.isOver = threading.Event()
        self.pending = [event for event in self.recording.events
                        if event.get("mark") in ("config", "file", "signal")]
        self.start = 0
        self.starts = 1
        self.sim = self.daemon = None

    # ---- the host

    def makeTools(self):
        RESULTS.mkdir()
        for start, results in self.recording.hostResults().items():
            name = start.strip().replace(" ", "_")
            if TOOL_NAME.fullmatch(name):
                (RESULTS / name).write_text("\n".join(map(str, results)))
        TOOLS.mkdir()
        for name in RECORDED_TOOLS:
            tool = TOOLS / name
            tool.write_text(TOOL.format(pattern=FIXED_START.pattern, results=str(RESULTS)))
            tool.chmod(tool.stat().st_mode | stat.S_IXUSR)
        os.environ["PATH"] = f"{TOOLS}:{os.environ['PATH']}"
        pathlib.Path("/run/poststart").touch()

    def giveSecrets(self):
        """A recording that says itself which files the daemon was given needs none."""
        secrets = self.recording.secrets()
        if self.recording.marks("file"):
            return
        if "pin" in secrets:
            self.give(f"/etc/vuk/cellular_cpin.{self.slot}", secrets["pin"] + "\n")
        if "puk" in secrets:
            self.give(f"/etc/vuk/cellular_puk.{self.slot}", secrets["puk"] + "\n")
            self.give(f"/etc/vuk/cellular_cpin_new.{self.slot}", "0000\n")

    def give(self, path, text):
        """A recording comes from somewhere else: only what the daemon reads is written."""
        if not GIVEN_FILES.fullmatch(path):
            print(f"a file of the recording is not given: {path!r}", flush=True)
            return
        pathlib.Path(path).parent.mkdir(parents=True, exist_ok=True)
        pathlib.Path(path).write_text(text, encoding="utf-8")

    def writeConfig(self, values):
        lines = [f"{key}={value}" for key, value in values.items()]
        secrets = self.recording.secrets()
        if secrets.get("user") and "CM_USERNAME" not in values:
            lines += [f"CM_USERNAME={secrets['user']}", f"CM_PASSWORD={secrets['password']}"]
        text = "".join(line.replace("\n", " ") + "\n" for line in lines)
        if not self.config.exists() or self.config.read_text(encoding="utf-8") != text:
            self.config.write_text(text, encoding="utf-8")

    def take(self, mark):
        if mark["mark"] == "config":
            self.writeConfig(mark.get("values", {}))
        elif mark["mark"] == "file":
            self.give(mark.get("path", ""), mark.get("text", ""))
        elif self.daemon is not None and mark.get("name") in GIVEN_SIGNALS:
            self.daemon.send_signal(getattr(signal, mark["name"]))

    def takeMarks(self):
        passedMs = (time.monotonic() - self.start) * 1000 * self.options.speed
        while self.pending and self.pending[0]["ms"] <= passedMs:
            self.take(self.pending.pop(0))

    # ---- the programs

    def readLog(self, receiver):
        while True:
            program, text = splitDatagram(receiver.recv(65536))
            if self.options.verbose:
                print(f"{time.monotonic() - self.start:8.2f} {program}: {text}", flush=True)

    def readSim(self):
        for line in self.sim.stdout:
            if line.strip() == "over":
                self.isOver.set()

    def startSim(self):
        for link in (self.at, self.gps):
            link.parent.mkdir(parents=True, exist_ok=True)
        words = [self.options.bin / "le910sim", "--replay", self.options.file, "--at-link", self.at,
                 "--gps-link", self.gps, "--speed", str(self.options.speed)]
        self.sim = subprocess.Popen(words + ["--strict"] * self.options.strict, text=True,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        if self.sim.stdout.readline().strip() != "ready":
            sys.exit(DIFFERENT)  # it has said why
        threading.Thread(target=self.readSim, daemon=True).start()

    def startDaemon(self):
        words = [*shlex.split(self.options.under), str(self.options.bin / "cellslotd"), "-d",
                 str(self.at), "-g", str(self.gps), "-i", self.recording.argument("-i", "wwan0"),
                 "-p", str(self.slot)]
        # Under another command, such as a debugger, the terminal is that command's.
        quiet = {} if self.options.under else {"stdin": subprocess.DEVNULL,
                                               "stdout": subprocess.DEVNULL}
        self.daemon = subprocess.Popen(words, **quiet)

    def restartIfEnded(self):
        """As a service manager does. False if the daemon is not to be started again."""
        status = self.daemon.poll()
        if status is None:
            return True
        print(f"the daemon ended with status {status}", flush=True)
        if status not in EXITS_STARTED_AGAIN:
            return False
        self.starts += 1
        if self.starts > len(self.recording.marks("start")) + STARTS_MORE:
            print("the daemon ends again and again; --verbose shows why", flush=True)
            return False
        time.sleep(RESTART_S / self.options.speed)
        self.startDaemon()
        return True

    def run(self):
        if self.recording.beginsInRunningDaemon():
            print("the recording begins in a running daemon, so it has no answers for the set-up;"
                  " restart the daemon after 'cellslot record start'", flush=True)
        if self.recording.runs > 1:
            print("the recording has several runs of the daemon; the last one is replayed", flush=True)
        self.makeTools()
        threading.Thread(target=self.readLog, args=(openLogSocket("/dev/log"),),
                         daemon=True).start()
        self.giveSecrets()
        self.start = time.monotonic()
        self.takeMarks()
        self.startSim()
        self.startDaemon()
        end = self.start + self.recording.endMs() / 1000 / self.options.speed + PATIENCE_S
        while not self.isOver.is_set() and time.monotonic() < end and self.sim.poll() is None:
            self.takeMarks()
            if not self.options.under and not self.restartIfEnded():
                break
            if self.options.under and self.daemon.poll() is not None:
                break
            time.sleep(0.02)
        if self.isOver.is_set():
            tailMs = self.recording.endMs() - self.recording.lastPortMs()
            time.sleep(tailMs / 1000 / self.options.speed)
        return self.bestPublished()

    def end(self):
        # The modem first: what the daemon sends when it ends is no part of the replay.
        for process in (self.sim, self.daemon):
            if process is None or process.poll() is not None:
                continue
            process.terminate()
            try:
                process.wait(STOP_TIMEOUT_S)
            except subprocess.TimeoutExpired:
                process.kill()

    # ---- what came of it

    def differences(self, published):
        recorded = self.recording.published()
        return [key for key in {**recorded, **published} if recorded.get(key) != published.get(key)]

    def bestPublished(self):
        """The daemon writes its status every two seconds, the recorded one did it at other moments: of
        what it publishes within that time, what is most like the recording."""
        best = self.published()
        end = time.monotonic() + STATUS_S
        while self.differences(best) and time.monotonic() < end:
            time.sleep(0.1)
            now = self.published()
            if len(self.differences(now)) < len(self.differences(best)):
                best = now
        return best

    def published(self):
        start = f"CELLMODEM{self.slot}_"
        try:
            lines = self.status.read_text(encoding="utf-8", errors="replace").splitlines()
        except FileNotFoundError:
            return {}
        pairs = (line[len(start):].partition("=") for line in lines if line.startswith(start))
        return {key: value for key, _, value in pairs if key not in TIME_KEYS}

    def report(self, published):
        print("published at the end:")
        for key, value in published.items():
            print(f"  {key}={value}")
        status = self.compare(published)
        if self.isOver.is_set():
            return status
        print("the recording was not replayed to its end")
        return DIFFERENT

    def compare(self, published):
        recorded = self.recording.published()
        if not recorded:
            print("the recording does not say what was published")
            return 0
        keys = self.differences(published)
        if not keys:
            print(f"no difference from the recording in {len(recorded)} values")
            return 0
        print(f"{len(keys)} of {len(recorded)} values differ from the recording:")
        for key in keys:
            print(f"  {key}: recorded {recorded.get(key, 'nothing')!r},"
                  f" replayed {published.get(key, 'nothing')!r}")
        return DIFFERENT


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--bin", type=pathlib.Path, required=True)
    parser.add_argument("--speed", type=float, default=1)
    parser.add_argument("--strict", action="store_true")
    parser.add_argument("--verbose", action="store_true")
    parser.add_argument("--with", dest="under", default="")
    parser.add_argument("file", type=pathlib.Path)
    options = parser.parse_args()
    if not 0.01 <= options.speed <= 1000:
        parser.error("--speed: expected 0.01 to 1000")
    try:
        replay = Replay(options)
    except (OSError, ValueError) as problem:
        print(f"replay.sh: {problem}", file=sys.stderr)
        return DIFFERENT
    try:
        return replay.report(replay.run())
    finally:
        replay.end()


if __name__ == "__main__":
    sys.exit(main())
