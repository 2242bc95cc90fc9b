"""The screens of the operator's command, as the demonstration shows them."""

import pathlib
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests" / "system"))
from screen_reader import Terminal  # noqa: E402

GRAPH_TITLE = "RSRP from"
TALL_ENOUGH = 40  # rows, for a whole graph


class Watch:
    """`cellslot watch` in a terminal of its own, where it draws its graph meanwhile."""

    def __init__(self, program, columns):
        self.fault = None
        self.terminal = Terminal([str(program), "watch", "-p", "1", "--interval", "1"], TALL_ENOUGH,
                                 columns, TERM="vt100")

    def keepUp(self):
        if self.fault is not None:
            return
        try:
            if not self.terminal.drain(0.01):
                self.fault = "it ended by itself"
        except AssertionError as fault:
            self.fault = str(fault)

    def graph(self):
        """From its title to its time line; None if there is none."""
        lines = self.terminal.screen.lines()
        first = next((row for row, line in enumerate(lines) if line.startswith(GRAPH_TITLE)), None)
        if first is None or self.fault is not None:
            return None
        last = next((row for row in range(first, len(lines)) if not lines[row]), len(lines))
        return [line for line in lines[first:last] if "q quits" not in line]

    def end(self):
        self.terminal.end()


class History:
    """The service that keeps the history, in memory; nothing if it was not built."""

    FOLDERS = ("/var/lib/cellslot/history", "/run/cellslot-history")

    def __init__(self, bin):
        self.bin = bin
        self.begun = time.monotonic()
        self.service = None
        if not (bin / "cellslot-historyd").exists():
            return
        # /var/lib is the host's own.
        subprocess.run(["mount", "-t", "tmpfs", "history", "/var/lib"], check=True)
        for folder in self.FOLDERS:
            pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
        self.service = subprocess.Popen([bin / "cellslot-historyd"], stdin=subprocess.DEVNULL,
                                        start_new_session=True)

    def end(self):
        """Its exit status."""
        if self.service is None:
            return 0
        self.service.terminate()
        return self.service.wait()

    def show(self):
        if self.service is None:
            print("(no history: cellslot-history is built where librrd-dev and libglib2.0-dev are)")
            return 0
        minutes = 1 + int((time.monotonic() - self.begun) / 60)
        return showProgram(self.bin / "cellslot-history", "-p", "1", "--since", f"{minutes}m")


def showCommand(bin, *words):
    """Runs a subcommand of cellslot, shows it, and returns its exit status."""
    return showProgram(bin / "cellslot", *words)


def showProgram(*words):
    run = subprocess.run(words, stdin=subprocess.DEVNULL, text=True,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    print(run.stdout.rstrip(), flush=True)
    return run.returncode
