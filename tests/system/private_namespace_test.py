#!/usr/bin/env python3
"""Tests of scripts/private_namespace.sh, run on the host itself:

    python3 tests/system/private_namespace_test.py
"""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "private_namespace.sh"
LIMIT_S = 300  # bounds a failure only
FRESH = ("/tmp", "/var/log", "/run", "/storage", "/etc/vuk", "/etc/zoq")


def inside(*words, script=SCRIPT, **options):
    return subprocess.run([script, *words], capture_output=True, text=True, check=False,
                          timeout=LIMIT_S, **{"stdin": subprocess.DEVNULL, **options})


def shell(text, **options):
    return inside("bash", "-c", text, **options)


class PrivateNamespace(unittest.TestCase):
    def setUp(self):
        # Below /tmp, which is empty inside: only kept folders stay visible.
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="private namespace ", dir="/tmp"))
        self.addCleanup(shutil.rmtree, self.folder)

    def start(self, text):
        """Starts a shell inside and waits until it has printed "up"."""
        process = subprocess.Popen([SCRIPT, "bash", "-c", text], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.stdout.close)
        self.assertEqual(process.stdout.readline(), "up\n")
        return process

    def test_Status_PassedOn(self):
        for text, status in (("exit 0", 0), ("exit 7", 7), ("kill -KILL $$", 128 + 9)):
            with self.subTest(text=text):
                self.assertEqual(shell(text).returncode, status)
        self.assertEqual(inside("/no/such/program").returncode, 127)

    def test_Arguments_PassedOnUnchanged(self):
        words = ["a b", "", "*", "$HOME", "--keep", "it's"]
        self.assertEqual(inside("printf", "<%s>", *words).stdout,
                         "".join(f"<{word}>" for word in words))

    def test_FreshFolders_WritableTmpfsWithoutTheHostsFiles(self):
        for folder in FRESH:
            with self.subTest(folder=folder):
                result = shell(f"cd {folder} && stat -f -c %T . && touch new && ls", cwd="/")
                lines = result.stdout.splitlines()
                self.assertEqual((lines[0], result.stderr), ("tmpfs", ""))
                # The checkout is visible if it is below one of them.
                self.assertIn("new", lines[1:])
                self.assertLessEqual(len(lines), 3)
                self.assertNotIn(self.folder.name, lines)

    def test_HostFiles_NotTouched(self):
        before = [(path, os.path.lexists(path)) for path in FRESH]
        name = f"trace-{os.getpid()}"
        result = shell(f"for d in / /etc /storage /run /dev /tmp; do touch $d/{name}; done;"
                       " echo changed >/etc/hostname; rm /etc/passwd")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        for folder in ("/", "/etc", "/storage", "/run", "/dev", "/tmp"):
            self.assertFalse(os.path.lexists(f"{folder}/{name}"), folder)
        self.assertNotEqual(pathlib.Path("/etc/hostname").read_text(), "changed\n")
        self.assertTrue(os.path.exists("/etc/passwd"))
        self.assertEqual([(path, os.path.lexists(path)) for path in FRESH], before)

    def test_Shell_UnderstandsAmpersandRedirection(self):
        self.assertEqual(inside("/bin/sh", "-c", "false &>/dev/null").returncode, 1)

    def test_Network_OnlyLoopbackAndItIsUp(self):
        result = shell("ls /sys/class/net; ip -o link show dev lo")
        self.assertTrue(result.stdout.startswith("lo\n"))
        self.assertIn(",UP", result.stdout)

    def test_Dev_TunPseudoTerminalAndLogSocket(self):
        result = shell("ip tuntap add dev wwan0 mode tun && ls /sys/class/net && script -qec tty"
                       " /dev/null && python3 -c 'import socket;"
                       " socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM).bind(\"/dev/log\")' &&"
                       " test -S /dev/log && test -c /dev/null && test -w /dev/shm")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("wwan0", result.stdout)
        self.assertIn("/dev/pts/", result.stdout)

    def test_VarRun_PointsToRun(self):
        self.assertEqual(shell("touch /run/x && ls /var/run").stdout, "x\n")

    def test_Processes_OnlyOwn(self):
        names = shell("cat /proc/[0-9]*/comm").stdout.split()
        self.assertLessEqual(set(names), {"bash", "cat"})

    def test_Marker_Set(self):
        self.assertEqual(shell("echo $CELLSLOT_PRIVATE_NAMESPACE").stdout, "1\n")
        self.assertNotIn("CELLSLOT_PRIVATE_NAMESPACE", os.environ)

    def test_WorkingFolder_KeptAndWritable(self):
        result = shell("pwd; echo written >file", cwd=self.folder)
        self.assertEqual(result.stdout, f"{self.folder}\n")
        self.assertEqual((self.folder / "file").read_text(), "written\n")

    def test_CheckoutBelowTmp_Kept(self):
        copy = self.folder / "checkout" / "scripts" / SCRIPT.name
        copy.parent.mkdir(parents=True)
        shutil.copy(SCRIPT, copy)
        (self.folder / "checkout" / "file").write_text("kept")
        (self.folder / "other").mkdir()
        result = inside("ls", str(self.folder), str(self.folder / "checkout"), script=copy, cwd="/")
        self.assertEqual(result.stdout, f"{self.folder}:\ncheckout\n\n"
                                        f"{self.folder}/checkout:\nfile\nscripts\n")

    def test_CommandsOwnFolder_Kept(self):
        program = self.folder / "program"
        program.write_text("#!/bin/sh\necho ran\n")
        program.chmod(0o755)
        self.assertEqual(inside(str(program), cwd="/").stdout, "ran\n")

    def test_KeepOption_KeepsFolder(self):
        (self.folder / "file").touch()
        self.assertEqual(shell(f"ls '{self.folder}'", cwd="/").returncode, 2)
        result = inside("--keep", str(self.folder), "ls", str(self.folder), cwd="/")
        self.assertEqual(result.stdout, "file\n")

    def test_Input_Passed(self):
        self.assertEqual(inside("cat", stdin=None, input="text\n").stdout, "text\n")

    def test_NoInput_Works(self):
        result = subprocess.run(["bash", "-c", 'exec "$0" echo works <&-', SCRIPT],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.stdout, "works\n", result.stderr)

    def test_Signals_PassedOnOnce(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number.name):
                process = self.start("for s in TERM INT HUP; do trap \"echo $s; ((n++))\" $s; done;"
                                     # Not with wait: a signal before it would not end it.
                                     "echo up; for i in {1..2000}; do ((n)) && break; sleep 0.05; done;"
                                     "sleep 0.3; exit $((40 + n))")
                process.send_signal(number)
                self.assertEqual(process.stdout.read(), number.name[3:] + "\n")
                self.assertEqual(process.wait(), 41)

    def test_Killed_NothingSurvives(self):
        mark = f"97.{os.getpid()}"
        process = self.start(f"setsid sleep {mark} & sleep {mark} & echo up; wait")
        process.kill()
        process.wait()
        end = time.monotonic() + LIMIT_S
        while (left := subprocess.run(["pgrep", "-f", f"^sleep {mark}"], check=False,
                                      capture_output=True).stdout) and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(left, b"")

    def test_CommandEnds_ItsChildrenEnd(self):
        mark = f"98.{os.getpid()}"
        self.assertEqual(shell(f"setsid sleep {mark} >/dev/null 2>&1 & exit 3").returncode, 3)
        self.assertEqual(subprocess.run(["pgrep", "-f", f"^sleep {mark}"], check=False,
                                        capture_output=True).stdout, b"")

    def test_WrongUsage_Refused(self):
        for words in ((), ("--keep",), ("--keep", "/no/such", "true"), ("--fast", "true")):
            with self.subTest(words=words):
                result = inside(*words)
                self.assertEqual(result.returncode, 125)
                self.assertIn("private_namespace.sh: ", result.stderr)
        self.assertIn("--keep DIR", inside("--help").stdout)


if __name__ == "__main__":
    unittest.main()
