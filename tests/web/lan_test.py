#!/usr/bin/env python3
"""The page for other hosts: TLS, password, and how fast it can be guessed. The LAN is a second address
of this namespace."""

import base64
import http.client
import json
import os
import pathlib
import shutil
import ssl
import subprocess
import tempfile
import time

from web_case import WebCase, runTests
from web_server import BIN, Server

LAN = "10.77.0.1"
PASSWORD = "correct horse battery"
# A password takes a quarter of a second of processor time, of which a busy machine gives little.
ANSWER_S = 120
PASSWORD_FILE = pathlib.Path("/etc/cellslot/web.password")


def setPassword(password):
    return subprocess.run([BIN / "cellslot-web", "password"], input=password + "\n", text=True,
                          capture_output=True)


def makeCertificate(folder):
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                    "-nodes", "-days", "30", "-subj", "/CN=gateway", "-addext", f"subjectAltName=IP:{LAN}",
                    "-keyout", folder / "key", "-out", folder / "certificate"], check=True,
                   stderr=subprocess.DEVNULL)


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
        connection = http.client.HTTPSConnection(LAN, server.port, context=context, timeout=ANSWER_S)
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
        first = server.memoryKb()
        start = time.monotonic()
        for _ in range(20):
            self.assertEqual(self.ask(server, password=PASSWORD)[0], 200)
        took = (time.monotonic() - start) / 20
        print(f"with TLS and password: {server.memoryKb('VmRSS')} kB, at most {first} kB while the password was"
              f" checked; a request takes {took * 1000:.0f} ms")
        self.assertLessEqual(server.memoryKb("VmRSS"), 12 * 1024)

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

    def test_PlainHttp_IsNotAnswered(self):
        server = self.start()
        connection = http.client.HTTPConnection(LAN, server.port, timeout=20)
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
        connection = http.client.HTTPSConnection(LAN, server.port, context=context, timeout=ANSWER_S)
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
            # As systemd does with SetCredential.
            (folder / missing).touch()
            server = Server(address=LAN, credentials=folder)
            self.assertEqual(server.process.wait(10), 1, missing)
            self.assertIn(wanted, server.end())
        (folder / "key").write_text("not a key")
        shutil.copy(self.folder / "password", folder)
        server = Server(address=LAN, credentials=folder)
        self.assertEqual(server.process.wait(10), 1)
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
        end = time.monotonic() + 10
        while not path.exists() and time.monotonic() < end:
            time.sleep(0.05)
        os.chmod(path, 0o666)

    def test_AllowedMessages_AreShownToTheServersUser(self):
        config = pathlib.Path("/etc/cellslot/web.conf")
        config.write_text("MESSAGES=yes\n")
        self.addCleanup(config.unlink)
        self.slot.order(op="inject-sms", **{"from": "+12025550123", "text": "<b>Pump 7 is \"hot\"</b>"})
        received = pathlib.Path("/tmp/sms/recv")
        end = time.monotonic() + 30
        while not list(received.glob("[!.]*")) and time.monotonic() < end:
            time.sleep(0.1)
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
