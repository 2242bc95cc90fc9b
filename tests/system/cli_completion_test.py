#!/usr/bin/env python3
"""The completion for bash: it offers every subcommand and every option of the command. Run inside
scripts/private_namespace.sh."""

import pathlib
import re
import subprocess
import unittest

from gateway import BIN, freshHost

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "cli" / "cellslot.bash-completion"
STATES = {"data": {"on", "off", "auto", "power-off"}}


def complete(*words):
    """What bash offers for the last of the words after cellslot."""
    run = subprocess.run(
        ["bash", "-c", 'source "$0"; COMP_WORDS=(cellslot "$@"); COMP_CWORD=$#; _cellslot;'
         ' printf "%s\\n" "${COMPREPLY[@]}"', SCRIPT, *words],
        capture_output=True, text=True, check=True)
    if run.stderr:
        raise AssertionError(run.stderr)
    return set(run.stdout.split())


def helpOf(*command):
    return subprocess.run([BIN / "cellslot", *command, "--help"], capture_output=True, text=True,
                          check=True).stdout


def subcommandsOf(*command):
    section = helpOf(*command).partition("Subcommands:\n")[2].partition("\n\n")[0]
    return set(re.findall(r"^  (\w+)", section, re.MULTILINE))


def optionsOf(*command):
    section = helpOf(*command).partition("Options:\n")[2].partition("\n\n")[0]
    return set(re.findall(r"(?<![\w-])--?[a-zA-Z][\w-]*",
                          "\n".join(line.split("   ")[0] for line in
                                    re.findall(r"^  -.*", section, re.MULTILINE))))


class Completion(unittest.TestCase):
    def setUp(self):
        freshHost()

    def test_everySubcommandAndOption_isOffered(self):
        commands = subcommandsOf()
        self.assertIn("status", commands)
        self.assertEqual(complete(""), commands)
        self.assertEqual(complete("-"), optionsOf())
        for command in commands:
            actions = subcommandsOf(command)
            self.assertEqual(complete(command, ""), actions | STATES.get(command, set()), command)
            if not actions:
                self.assertEqual(complete(command, "-"), optionsOf(command), command)
            for action in actions:
                self.assertEqual(complete(command, action, "-"), optionsOf(command, action),
                                 f"{command} {action}")

    def test_slots_areThoseWithAStatusFile(self):
        self.assertEqual(complete("status", "-p", ""), {"1", "2", "3"})
        pathlib.Path("/var/log/wireless.cardstats.2").touch()
        self.assertEqual(complete("status", "-p", ""), {"2"})
        self.assertEqual(complete("pin", "set", "--port", ""), {"2"})

    def test_beginningOfAWord_isCompleted(self):
        self.assertEqual(complete("st"), {"status"})
        self.assertEqual(complete("data", "o"), {"on", "off"})
        self.assertEqual(complete("status", "--j"), {"--json"})
        self.assertEqual(complete("watch", "--interval", ""), set())
        self.assertIn("lo", complete("doctor", "-i", ""))
        self.assertIn("/etc/passwd", complete("config", "check", "/etc/pass"))


if __name__ == "__main__":
    unittest.main()
