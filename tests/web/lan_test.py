#!/usr/bin/env python3
"""The page for other hosts: TLS, password, and how fast it can be guessed. The LAN is a second address
of this namespace."""

import base64
import contextlib
import http.client
import json
import os
import pathlib
import shutil
import signal
import socket
import ssl
import subprocess
import tempfile
import threading

from web_case import LIMIT_S, WebCase, runTests, waitUntil
from web_server import BIN, Server

LAN = "10.77.0.1"
PASSWORD = "correct horse battery"
STREAMS = 15  # of one address; more are refused
PASSWORD_FILE = pathlib.Path("/etc/cellslot/web.password")


def setPassword(password):
    return subprocess.run([BIN / "cellslot-web", "password"], input=password + "\n", text=True,
                          capture_output=True)


def makeCertificate(folder):
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                    "-nodes", "-days", "30", "-subj", "/CN=gateway", "-addext", f"subjectAltName=IP:{LAN}",
                    "-keyout", folder / "key", "-out", folder / "certificate"], check=True,
                   stderr=subprocess.DEVNULL)


def proceed(process):
    with contextlib.suppress(ProcessLookupError):
        os.kill(process, signal.SIGCONT)


class Lan(WebCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        subprocess.run(["ip", "address", "replace", LAN + "/32", "dev", "lo"], check=True)
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        setPassword(PASSWORD).check_returncode()
        makeCertificate(cls.folder)
        shutil.copy(PASSWORD_FILE, cls.folder / "password")

    def start(self, credentials=None):
        return self.serve(address=LAN, credentials=credentials or self.folder)

    def ask(self, server, path="/api/status", password=None, **more):
        context = ssl.create_default_context(cafile=str(self.folder / "certificate"))
        connection = http.client.HTTPSConnection(LAN, server.port, context=context, timeout=LIMIT_S)
        headers = dict(more)
        if password is not None:
            pair = base64.b64encode(f"anybody:{password}".encode()).decode()
            headers["Authorization"] = "Basic " + pair
        try:
            connection.request("GET", path, headers=headers)
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read()
        finally:
            connection.close()

    def test_RightPassword_OpensThePage(self):
        server = self.start()
        status, _, body = self.ask(server, password=PASSWORD)
        self.assertEqual(status, 200)
        self.assertEqual(json.loads(body)["slots"][0]["state"], "connected")
        for _ in range(20):
            self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)

    def test_NoOrWrongPassword_OpensNothing(self):
        server = self.start()
        for path in ("/", "/api/status", "/metrics", "/api/live", "/nothing"):
            status, headers, body = self.ask(server, path)
            self.assertEqual(status, 401, path)
            self.assertIn("Basic", headers["WWW-Authenticate"])
            self.assertNotIn(b"slots", body)
        for password in ("", "x", PASSWORD + "x", PASSWORD[:-1]):
            self.assertEqual(self.ask(server, password=password)[0], 401, password)
        for header in ("Basic", "Basic !!!", "Bearer abc", "Basic " + "A" * 3000, "Basic YWJj"):
            self.assertIn(self.ask(server, Authorization=header)[0], (401, 429), header[:20])

    def test_Guessing_IsSlowedDownButTheRightOneIsKnown(self):
        server = self.start()
        self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)
        for _ in range(5):
            self.assertEqual(self.ask(server, password="wrong guess")[0], 401)
        status, headers, body = self.ask(server, password="wrong guess")
        self.assertEqual(status, 429)
        self.assertGreater(int(headers["Retry-After"]), 30)
        self.assertIn(b"Too many wrong passwords", body)
        # Who is in already stays in.
        self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)

    def stopCheck(self, server):
        """Stops the process that checks a password: its number, or None if it has ended before."""
        children = pathlib.Path(f"/proc/{server.process.pid}/task/{server.process.pid}/children")
        waitUntil(lambda: children.read_text() or not self.guess.is_alive(), lambda: "no check was started")
        check = children.read_text().strip()
        if not check:
            return None
        os.kill(int(check), signal.SIGSTOP)

        def state():
            try:
                return pathlib.Path(f"/proc/{check}/stat").read_text().rsplit(")")[1].split()[0]
            except OSError:
                return "gone"

        waitUntil(lambda: state() in ("T", "Z", "gone"), state)
        return int(check) if state() == "T" else None

    def leave(self, server):
        """Asks for a file with the right password, and closes the connection while that is checked."""
        context = ssl.create_default_context(cafile=str(self.folder / "certificate"))
        pair = base64.b64encode(f"anybody:{PASSWORD}".encode()).decode()
        with context.wrap_socket(socket.create_connection((LAN, server.port)), server_hostname=LAN) as client:
            client.sendall(f"GET /uplot.js HTTP/1.1\r\nHost: {LAN}\r\nAccept-Encoding: gzip\r\n"
                           f"Authorization: Basic {pair}\r\n\r\n".encode())
            self.left.wait()

    def test_ClientThatLeavesWhileItsPasswordIsChecked_LeavesNoFileOpen(self):
        for _ in range(5):  # it may be checked before it is stopped
            server = self.start()
            self.left = threading.Event()
            self.guess = threading.Thread(target=self.leave, args=(server,))
            self.guess.start()
            check = self.stopCheck(server)
            self.left.set()
            self.guess.join()
            if check:
                break
        self.assertTrue(check, "each check ended before it could be stopped")
        proceed(check)
        self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)
        folder = pathlib.Path(f"/proc/{server.process.pid}/fd")

        def openFiles():
            return [name for name in (os.readlink(file) for file in folder.iterdir()) if name.endswith(".gz")]

        waitUntil(lambda: not openFiles(), openFiles)

    def test_PasswordThatIsChecked_HoldsUpNobodyElse(self):
        answers = []

        def guess():
            answers.append(self.ask(server, password="wrong guess")[0])

        for _ in range(5):  # it may be checked before it is stopped
            server = self.start()
            self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)
            self.guess = threading.Thread(target=guess)
            self.guess.start()
            self.addCleanup(self.guess.join)
            check = self.stopCheck(server)
            if check:
                break
        self.assertTrue(check, "each check ended before it could be stopped")
        self.addCleanup(proceed, check)
        answers.clear()
        streams = [self.openStream(server) for _ in range(STREAMS)]
        for stream in streams:
            for wanted in (b"event: status", b"event: age"):
                while wanted not in stream.readline():
                    pass
        self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)
        self.assertEqual(answers, [])
        proceed(check)
        self.guess.join()
        self.assertEqual(answers, [401])

    def openStream(self, server):
        pair = base64.b64encode(f"anybody:{PASSWORD}".encode()).decode()
        context = ssl.create_default_context(cafile=str(self.folder / "certificate"))
        connection = http.client.HTTPSConnection(LAN, server.port, context=context, timeout=LIMIT_S)
        self.addCleanup(connection.close)
        connection.request("GET", "/api/live", headers={"Authorization": "Basic " + pair})
        return connection.getresponse()

    def test_ManyGuessesAtOnce_AreLimitedToo(self):
        server = self.start()
        statuses = []
        threads = [threading.Thread(target=lambda i=i: statuses.append(self.ask(server, password=f"wrong guess {i}")[0]))
                   for i in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(sorted(statuses), [401] * 5 + [429] * 3)

    def test_PlainHttp_IsNotAnswered(self):
        server = self.start()
        connection = http.client.HTTPConnection(LAN, server.port, timeout=LIMIT_S)
        self.addCleanup(connection.close)
        with self.assertRaises((http.client.HTTPException, OSError)):
            connection.request("GET", "/api/status")
            connection.getresponse()

    def test_OldTls_IsRefused(self):
        server = self.start()
        context = ssl.create_default_context(cafile=str(self.folder / "certificate"))
        context.minimum_version = ssl.TLSVersion.MINIMUM_SUPPORTED
        context.maximum_version = ssl.TLSVersion.TLSv1_1
        context.set_ciphers("ALL:@SECLEVEL=0")
        connection = http.client.HTTPSConnection(LAN, server.port, context=context, timeout=LIMIT_S)
        self.addCleanup(connection.close)
        with self.assertRaises(ssl.SSLError):
            connection.request("GET", "/api/status")

    def test_WithoutCertificateOrPassword_ItDoesNotStart(self):
        cases = {"certificate": "put it into /etc/cellslot/web.crt", "key": "/etc/cellslot/web.key",
                 "password": "needs a password: cellslot-web password"}
        for missing, wanted in cases.items():
            folder = pathlib.Path(tempfile.mkdtemp())
            self.addCleanup(shutil.rmtree, folder)
            for name in set(cases) - {missing}:
                shutil.copy(self.folder / name, folder)
            # As the package makes them.
            (folder / missing).touch()
            server = Server(address=LAN, credentials=folder)
            self.assertEqual(server.process.wait(LIMIT_S), 1, missing)
            self.assertIn(wanted, server.end())
        (folder / "key").write_text("not a key")
        shutil.copy(self.folder / "password", folder)
        server = Server(address=LAN, credentials=folder)
        self.assertEqual(server.process.wait(LIMIT_S), 1)
        self.assertIn("certificate and key do not fit", server.end())


class Password(WebCase):
    @classmethod
    def setUpClass(cls):
        PASSWORD_FILE.parent.mkdir(exist_ok=True)

    def test_Password_IsStoredAsAHashForRootAlone(self):
        setPassword(PASSWORD).check_returncode()
        first = PASSWORD_FILE.read_text()
        self.assertEqual(PASSWORD_FILE.stat().st_mode & 0o777, 0o600)
        self.assertRegex(first, r"^\$7\$B6\.\.\.\.8\.\.\.\.[./0-9A-Za-z]{22}\$[./0-9A-Za-z]{43}\n$")
        self.assertNotIn("horse", first)
        setPassword(PASSWORD).check_returncode()
        self.assertNotEqual(PASSWORD_FILE.read_text(), first)

    def test_UnusablePassword_ChangesNothing(self):
        setPassword(PASSWORD).check_returncode()
        before = PASSWORD_FILE.read_text()
        for password in ("", "short", "x" * 33, "x" * 500):
            refused = setPassword(password)
            self.assertEqual(refused.returncode, 2, password)
            self.assertIn("10 to 32", refused.stderr)
        self.assertEqual(PASSWORD_FILE.read_text(), before)


class Messages(WebCase):
    def startService(self):
        """The socket with a service of root's behind it, as the units say."""
        folder = pathlib.Path("/run/cellslot-web")
        folder.mkdir(exist_ok=True)
        path = folder / "messages"
        path.unlink(missing_ok=True)
        service = subprocess.Popen(
            ["systemd-socket-activate", "--listen", str(path), "--accept", "--inetd", BIN / "cellslot-web",
             "messages"], stderr=subprocess.DEVNULL)
        self.addCleanup(service.wait)
        self.addCleanup(service.terminate)
        waitUntil(path.exists, lambda: "the socket was not made")
        os.chmod(path, 0o666)

    def test_AllowedMessages_AreShownToTheServersUser(self):
        config = pathlib.Path("/etc/cellslot/web.conf")
        config.write_text("MESSAGES=yes\n")
        self.addCleanup(config.unlink)
        self.slot.order(op="inject-sms", **{"from": "+12025550123", "text": "<b>Pump 7 is \"hot\"</b>"})
        received = pathlib.Path("/tmp/sms/recv")
        waitUntil(lambda: list(received.glob("[!.]*")), lambda: "the message was not received")
        self.startService()
        server = self.serve(user=65534)
        messages = server.getJson("/api/messages")["messages"]
        self.assertEqual(len(messages), 1)
        self.assertEqual(messages[0]["from"], "+12025550123")
        self.assertEqual(messages[0]["text"], "<b>Pump 7 is \"hot\"</b>")

    def test_ServiceThatIsNotThere_IsExplained(self):
        config = pathlib.Path("/etc/cellslot/web.conf")
        config.write_text("MESSAGES=yes\n")
        self.addCleanup(config.unlink)
        pathlib.Path("/run/cellslot-web/messages").unlink(missing_ok=True)
        status, _, body = self.serve().get("/api/messages")
        self.assertEqual(status, 503)
        self.assertIn(b"/run/cellslot-web/messages", body)

    def test_WithoutPermission_TheServicePrintsNothing(self):
        refused = subprocess.run([BIN / "cellslot-web", "messages"], capture_output=True, text=True)
        self.assertEqual((refused.returncode, refused.stdout), (5, ""))
        self.assertIn("MESSAGES=yes is not set", refused.stderr)


if __name__ == "__main__":
    runTests()
