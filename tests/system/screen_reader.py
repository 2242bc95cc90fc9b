"""A program in a pseudo-terminal, and the content of its screen. Accepts what `cellslot watch` may
send; everything else is an error."""

import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import struct
import termios
import time

LIMIT_S = 300  # bounds a failure only
ESCAPE = re.compile(r"\x1b\[(\??[0-9;]*)([A-Za-z])")


class Screen:
    """Cursor home, clear, line feeds, and colours, which are counted and not shown."""

    def __init__(self, rows, columns):
        self.colours = 0
        self.modes = []
        self.resize(rows, columns)

    def resize(self, rows, columns):
        self.rows, self.columns = rows, columns
        self.clear()
        self.row = self.column = 0

    def clear(self):
        self.cells = [[" "] * self.columns for _ in range(self.rows)]

    def write(self, text):
        at = 0
        while at < len(text):
            if text[at] == "\x1b":
                match = ESCAPE.match(text, at)
                if not match:
                    return text[at:]  # the rest will arrive later
                self.escape(match[1], match[2])
                at = match.end()
            else:
                self.put(text[at])
                at += 1
        return ""

    def escape(self, number, letter):
        if letter == "H" and number == "":
            self.row = self.column = 0
        elif letter == "J" and number == "2":
            self.clear()
        elif letter == "K" and number == "":
            self.cells[self.row][self.column:] = [" "] * (self.columns - self.column)
        elif letter == "m":
            self.colours += 1
        elif letter in "hl" and number in ("?1049", "?25"):
            self.modes.append(number + letter)
        else:
            raise AssertionError(f"an unexpected sequence: {number}{letter}")

    def put(self, character):
        if character == "\r":
            self.column = 0
        elif character == "\n":
            self.row += 1
            if self.row == self.rows:
                raise AssertionError("the screen scrolled")
        elif self.column >= self.columns - 1 or not character.isprintable():
            raise AssertionError(f"{character!r} in column {self.column}")
        else:
            self.cells[self.row][self.column] = character
            self.column += 1

    def lines(self):
        return ["".join(row).rstrip() for row in self.cells]

    def text(self):
        return "\n".join(self.lines())


class Terminal:
    """Starts a program as the leader of a terminal of its own."""

    def __init__(self, command, rows=24, columns=80, **environment):
        self.screen = Screen(rows, columns)
        self.pending = ""
        self.status = None
        self.pid, self.master = pty.fork()
        if self.pid == 0:
            # The parent sets the size first.
            os.read(0, 1)
            os.execve(command[0], command, {**os.environ, **environment})
        self.setSize(rows, columns)
        self.before = termios.tcgetattr(self.master)
        os.write(self.master, b"\n")

    def setSize(self, rows, columns):
        fcntl.ioctl(self.master, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))

    def resize(self, rows, columns):
        self.drain(0.3)
        self.screen.resize(rows, columns)
        self.setSize(rows, columns)

    def send(self, keys):
        os.write(self.master, keys.encode())

    def drain(self, seconds):
        """Reads the program's output for that long; False if it has closed the terminal."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            if select.select([self.master], [], [], left)[0]:
                try:
                    data = os.read(self.master, 65536)
                except OSError:
                    return False
                self.pending = self.screen.write(self.pending + data.decode())
        return True

    def waitFor(self, part):
        end = time.monotonic() + LIMIT_S
        while part not in self.screen.text():
            if time.monotonic() > end or not self.drain(0.1):
                raise AssertionError(f"{part!r} is not on the screen:\n{self.screen.text()}")

    def settings(self):
        return termios.tcgetattr(self.master)

    def signal(self, number):
        os.kill(self.pid, number)

    def isWriting(self):
        """Whether the program is in the middle of a write to its terminal."""
        call = pathlib.Path(f"/proc/{self.pid}/syscall").read_text().split()
        return call[1:2] == ["0x1"]  # the first argument: standard output

    def hasEnded(self):
        pid, status = os.waitpid(self.pid, os.WNOHANG)
        if pid:
            self.status = os.waitstatus_to_exitcode(status)
        return bool(pid)

    def wait(self):
        """The exit status; the last output may scroll the screen of the shell."""
        end = time.monotonic() + LIMIT_S
        while time.monotonic() < end:
            if self.hasEnded():
                return self.status
            if select.select([self.master], [], [], 0.05)[0]:
                try:
                    os.read(self.master, 65536)
                except OSError:
                    time.sleep(0.05)
        raise AssertionError("it does not end")

    def end(self):
        if self.status is None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
        os.close(self.master)
