"""The commands and lines of docs/installation.md, as somebody who follows it would type them. A test
takes them from the document by their beginning, so that the document is what is tested."""

import pathlib
import re

DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/installation.md"
# What a command begins with; other words in code style are names of files and programs.
PROGRAMS = ("apt", "cellslot", "editor", "install", "ls", "systemctl", "udevadm")


class Book:
    """A section with its commands, and which of them were taken."""

    def __init__(self, heading):
        text = DOCUMENT.read_text()
        start = text.index(heading) + len(heading)
        end = text.find("\n## ", start)
        self.commands = list(commandsOf(text[start:end]))
        self.lines = [line.strip() for line in re.findall(r"^ {4,}(\S.*)$", text[start:end], re.M)]
        self.left = set(self.commands)

    def command(self, beginning):
        """The one command that begins so; the same text may stand there twice."""
        found = {command for command in self.commands if command.startswith(beginning)}
        if len(found) != 1:
            raise AssertionError(f"installation.md: expected one command that begins with '{beginning}'"
                                 f", found {sorted(found)}")
        self.left -= found
        return found.pop()

    def line(self, beginning):
        """The one line of a file that begins so."""
        found = {line for line in self.lines if line.startswith(beginning)}
        if len(found) != 1:
            raise AssertionError(f"installation.md: expected one line that begins with '{beginning}'"
                                 f", found {sorted(found)}")
        return found.pop()


def commandsOf(text):
    """Indented lines, and what is between backquotes, line ends included."""
    for indented, quoted in re.findall(r"^ {4,}(\S.*)$|`([^`]+)`", text, re.M):
        # A remark after a command, and the line end in one, are not typed.
        command = re.sub(r"\s+", " ", re.sub(r"\s+#.*", "", indented or quoted)).strip()
        if command.split(" ")[0] in PROGRAMS and " " in command:
            yield command
