#!/usr/bin/env python3
"""The page's server as programs see it."""

import http.client
import json
import pathlib
import signal
import socket
import subprocess
import threading
import time

from history_stub import ENDLESS, FAILING, HANGING
from web_case import CONFIG, LIMIT_S, WebCase, runTests, waitUntil
from web_server import BIN, Server, Stream, listening

READERS = 200
MESSAGES = pathlib.Path("/run/cellslot-web/messages")


def children(server):
    return pathlib.Path(f"/proc/{server.process.pid}/task/{server.process.pid}/children").read_text()

class Answers(WebCase):
    def setUp(self):
        self.server = self.serve()

    def test_Status_IsThatOfCellslot(self):
        def both():
            shown = subprocess.run([BIN / "cellslot", "status", "--json"], capture_output=True,
                                   check=True)
            return json.loads(shown.stdout), self.server.getJson("/api/status")

        def withoutTime(status):
            for slot in status["slots"]:
                slot["age_seconds"] = None
                slot["session"]["seconds"] = None
            return status

        def isSame():
            shown, served = both()
            return withoutTime(shown) == withoutTime(served)

        self.assertEqual(both()[1]["slots"][0]["state"], "connected")
        # The daemon may write between the two.
        waitUntil(isSame, lambda: "they differ")

    def test_Metrics_AreThoseOfCellslot(self):
        shown = subprocess.run([BIN / "cellslot", "status", "--metrics"], capture_output=True,
                               check=True, text=True).stdout
        status, headers, body = self.server.get("/metrics")
        self.assertEqual(status, 200)
        self.assertEqual(headers["Content-Type"], "text/plain; version=0.0.4; charset=utf-8")
        changing = ("cellslot_status_age_seconds{", "cellslot_session_duration_seconds{")
        withoutTime = [[line for line in text.splitlines() if not line.startswith(changing)]
                       for text in (shown, body.decode())]
        self.assertEqual(*withoutTime)

    def test_EveryAnswer_HasTheHeadersOfAStrictPage(self):
        for path in ("/", "/api/status", "/metrics", "/nothing"):
            _, headers, _ = self.server.get(path, Accept_Encoding="gzip")
            policy = headers["Content-Security-Policy"]
            self.assertIn("default-src 'none'", policy)
            self.assertIn("script-src 'self';", policy)
            self.assertNotIn("unsafe", policy)
            self.assertNotIn("http", policy)
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff")
            self.assertNotIn("Access-Control-Allow-Origin", headers)

    def test_EachFileOfThePage_IsServedCompressedAndCanBeKept(self):
        for path in ("/", "/page.js", "/page.css", "/uplot.js", "/uplot.css", "/icon.svg"):
            status, headers, body = self.server.get(path, Accept_Encoding="gzip, br")
            self.assertEqual((status, headers["Content-Encoding"]), (200, "gzip"), path)
            self.assertEqual(body[:2], b"\x1f\x8b")
            again, _, body = self.server.get(path, Accept_Encoding="gzip",
                                             If_None_Match=headers["ETag"])
            self.assertEqual((again, body), (304, b""), path)

    def test_ForeignName_IsRefused(self):
        for host in ("evil.example", "localhost.evil.example", "127.0.0.1.evil.example", "localhost:99999999",
                     "localhost:x", ""):
            self.assertEqual(self.server.get("/api/status", Host=host)[0], 421, host)
        for host in ("localhost", "LOCALHOST:8080", "127.0.0.1:1", "[::1]", "[::1]:8080", "192.168.1.1"):
            self.assertEqual(self.server.get("/api/status", Host=host)[0], 200, host)

    def test_PageOfAnotherSite_IsRefusedButMayLinkHere(self):
        self.assertEqual(self.server.get("/api/status", Sec_Fetch_Site="cross-site")[0], 403)
        status, _, _ = self.server.get("/", Sec_Fetch_Site="cross-site", Accept_Encoding="gzip")
        self.assertEqual(status, 200)

    def test_OtherMethods_AreRefusedAndChangeNothing(self):
        for method in ("POST", "PUT", "DELETE", "OPTIONS", "TRACE", "NONSENSE"):
            status, headers, _ = self.server.get("/api/status", method=method)
            self.assertEqual((status, headers["Allow"]), (405, "GET, HEAD"), method)
        status, _, body = self.server.get("/api/status", method="HEAD")
        self.assertEqual((status, body), (200, b""))

    def test_OtherFiles_AreNotThere(self):
        for path in ("/../../etc/passwd", "/%2e%2e/etc/passwd", "/page.js.gz", "/package.json", "/%00",
                     "/etc/vuk/cellular1.conf"):
            self.assertEqual(self.server.get(path, Accept_Encoding="gzip")[0], 404, path)

    def test_Messages_AreNotShownUnlessAllowed(self):
        status, _, body = self.server.get("/api/messages")
        self.assertEqual(status, 403)
        self.assertIn(b"MESSAGES=yes", body)


class History(WebCase):
    PATHS = ("/api/history?slot=1&range=24h", "/api/events?slot=1")

    def test_WhatTheProgramPrints_IsServed(self):
        server = self.serve(history=self.makeHistory())
        self.assertEqual(len(server.getJson("/api/history?slot=1&range=365d")["times"]), 300)
        self.assertEqual(len(server.getJson("/api/events?slot=3")["events"]), 2)

    def test_WithoutHistory_TheAnswerSaysSo(self):
        server = self.serve(history="/usr/lib/cellslot/nothing")
        for path in self.PATHS:
            status, _, body = server.get(path)
            self.assertEqual((status, body), (404, b"No history is kept on this gateway.\n"))

    def test_OddParameters_AreRefused(self):
        server = self.serve(history=self.makeHistory())
        for path in ("/api/history", "/api/history?slot=1", "/api/history?slot=4&range=1h",
                     "/api/history?slot=1&range=2h", "/api/history?slot=1;id&range=1h", "/api/events?slot=",
                     "/api/events?slot=01", "/api/history?slot=1&range=24h%20"):
            self.assertEqual(server.get(path)[0], 400, path)

    def test_ProgramThatFails_IsReportedAndLeavesNothingBehind(self):
        for script, wanted in ((FAILING, b"failed; see journalctl"), (ENDLESS, b"printed too much")):
            server = self.serve(history=self.makeHistory(script))
            for path in self.PATHS:
                status, _, body = server.get(path)
                self.assertEqual(status, 503)
                self.assertIn(wanted, body)
            waitUntil(lambda: not children(server), lambda: children(server))


class HeldUp(WebCase):
    """What takes long holds up only those who asked for it."""

    def askFor(self, server, *paths):
        """In threads; waits for nothing."""
        answers = []
        threads = [threading.Thread(target=lambda path=path: answers.append((path, *server.get(path))))
                   for path in paths]
        for thread in threads:
            thread.start()
            self.addCleanup(thread.join)
        return answers, threads

    def expectOthersGoOn(self, server, streams):
        for stream in streams:
            stream.readUpdate()
        self.assertEqual(server.get("/api/status")[0], 200)

    def expectAnswers(self, answers, threads, status):
        for thread in threads:
            thread.join()
        self.assertEqual([answer[1] for answer in answers], [status] * len(threads))

    def test_HistoryThatHangs_HoldsUpNobodyElse(self):
        program = pathlib.Path(self.makeHistory(HANGING))
        self.addCleanup((program.parent / "open").touch)
        server = self.serve(history=program)
        streams = self.read(server, READERS)
        answers, threads = self.askFor(server, *["/api/events?slot=1"] * 5)
        started = program.parent / "started"
        waitUntil(started.exists, lambda: "the program was not started")
        self.expectOthersGoOn(server, streams)
        self.assertEqual(answers, [])
        (program.parent / "open").touch()
        self.expectAnswers(answers, threads, 200)
        # Those who asked for the same while it was read shared it.
        self.assertLess(len(started.read_text().splitlines()), 5)

    def test_TooManyWhoWaitForTheHistory_AreTurnedAway(self):
        program = pathlib.Path(self.makeHistory(HANGING))
        self.addCleanup((program.parent / "open").touch)
        server = self.serve(history=program)
        paths = [f"/api/history?slot=1&range={value}" for value in ("1h", "6h", "24h", "7d", "30d", "365d")]
        paths += [f"/api/events?slot={slot}" for slot in (1, 2, 3)] + ["/api/history?slot=2&range=1h"]
        answers, threads = self.askFor(server, *paths)
        waitUntil(lambda: answers, lambda: "nobody was turned away")
        path, status, headers, body = answers[0]
        self.assertEqual((status, headers["Retry-After"]), (503, "5"), path)
        self.assertIn(b"Too many requests wait already", body)
        (program.parent / "open").touch()
        for thread in threads:
            thread.join()
        self.assertEqual(sorted(answer[1] for answer in answers), [200] * 9 + [503])

    def test_ProgramThatHangsForEver_IsStopped(self):
        server = self.serve(history=self.makeHistory(HANGING), patience=1)
        status, _, body = server.get("/api/events?slot=1")
        self.assertEqual(status, 503)
        self.assertIn(b"did not end in time", body)

    def test_EndWhileSomebodyWaits_LeavesNothingBehind(self):
        program = pathlib.Path(self.makeHistory(HANGING))
        server = self.serve(history=program)
        answers, threads = self.askFor(server, "/api/events?slot=1", "/api/events?slot=2")
        waitUntil((program.parent / "started").exists, lambda: "the program was not started")
        server.process.send_signal(signal.SIGTERM)
        self.assertEqual(server.process.wait(LIMIT_S), 0)
        self.expectAnswers(answers, threads, 503)

    def test_MessagesThatHang_HoldUpNobodyElse(self):
        CONFIG.write_text("MESSAGES=yes\n")
        self.addCleanup(CONFIG.unlink)
        MESSAGES.parent.mkdir(exist_ok=True)
        MESSAGES.unlink(missing_ok=True)
        self.addCleanup(MESSAGES.unlink)
        with socket.socket(socket.AF_UNIX) as service:
            service.bind(str(MESSAGES))
            service.listen()
            server = self.serve()
            streams = self.read(server, READERS)
            answers, threads = self.askFor(server, "/api/messages", "/api/messages")
            connection, _ = service.accept()
            with connection:
                self.expectOthersGoOn(server, streams)
                self.assertEqual(answers, [])
                connection.sendall(b'{"messages": []}')
            # The second one may have come too late to share the first answer.
            service.settimeout(0.1)
            while any(thread.is_alive() for thread in threads):
                try:
                    with service.accept()[0] as connection:
                        connection.sendall(b'{"messages": []}')
                except TimeoutError:
                    pass
            self.expectAnswers(answers, threads, 200)


class Life(WebCase):
    def test_RequestThatStartsTheServer_IsAnswered(self):
        # It starts while the request waits in the socket, as with systemd.
        with listening() as sock:
            connection = http.client.HTTPConnection("127.0.0.1", sock.getsockname()[1], timeout=LIMIT_S)
            self.addCleanup(connection.close)
            connection.request("GET", "/api/status")
            self.serve(sock=sock.dup())
            self.assertEqual(connection.getresponse().status, 200)

    def test_NobodyLooks_ItEnds(self):
        server = self.serve(idle=1)
        server.getJson("/api/status")
        self.assertEqual(server.process.wait(LIMIT_S), 0)

    def test_SomebodyReadsTheStream_ItStays(self):
        server = self.serve(idle=1)
        stream, = self.read(server)
        for _ in range(3):  # two seconds each
            stream.readUpdate()
        self.assertIsNone(server.process.poll())
        stream.close()
        self.assertEqual(server.process.wait(LIMIT_S), 0)

    def test_Signal_EndsItAtOnce(self):
        server = self.serve()
        self.read(server)
        server.process.send_signal(signal.SIGTERM)
        self.assertEqual(server.process.wait(LIMIT_S), 0)

    def test_WrongConfiguration_IsExplained(self):
        self.addCleanup(CONFIG.unlink)
        cases = {"HOST=x\n": "line 1: unknown key 'HOST'; known are HOSTS and MESSAGES",
                 "# fine\nHOSTS=a b:1\n": "line 2: 'b:1' is not a host name",
                 "MESSAGES=maybe\n": "line 1: MESSAGES is 'maybe'; expected yes or no",
                 "hello\n": "line 1: 'hello' has no '='"}
        for text, wanted in cases.items():
            CONFIG.write_text(text)
            checked = subprocess.run([BIN / "cellslot-web", "check"], capture_output=True, text=True)
            self.assertEqual(checked.returncode, 1)
            self.assertIn(wanted, checked.stderr)
            server = Server()
            self.assertEqual(server.process.wait(LIMIT_S), 1)
            self.assertIn(wanted, server.end())

    def test_NamesOfTheOperator_AreAnswered(self):
        self.addCleanup(CONFIG.unlink)
        CONFIG.write_text("# names\nHOSTS=Pump7.example.com, pump7.lan\n")
        server = self.serve()
        for host in ("pump7.example.com", "PUMP7.example.com:443", "pump7.lan"):
            self.assertEqual(server.get("/api/status", Host=host)[0], 200, host)
        self.assertEqual(server.get("/api/status", Host="other.lan")[0], 421)

    def test_OrdinaryUser_SeesTheSameButNoSecrets(self):
        config = pathlib.Path("/etc/vuk/cellular1.conf")
        config.chmod(0o600)
        server = self.serve(user=65534)
        slot = server.getJson("/api/status")["slots"][0]
        self.assertEqual(slot["state"], "connected")
        self.assertEqual(slot["data"]["directive"], "on")
        refused = subprocess.run(["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "cat", config],
                                 capture_output=True)
        self.assertEqual((refused.returncode, refused.stdout), (1, b""))


class LiveValues(WebCase):
    def test_EachUpdateOfTheDaemon_IsSent(self):
        stream, = self.read(self.serve())
        for _ in range(2):
            stream.readUpdate()

    def test_Outage_IsSent(self):
        stream, = self.read(self.serve())
        stream.readUntil(b'"state":"connected"')
        self.slot.daemon.kill()
        self.slot.daemon.wait()
        stream.readUntil(b'"state":"no_daemon"')
        self.slot.startDaemon()
        self.slot.waitConnected()


class SlowClients(WebCase):
    def test_RequestThatComesByteByByte_IsCutOff(self):
        server = self.serve()
        sock = socket.create_connection(("127.0.0.1", server.port))
        self.addCleanup(sock.close)
        end = time.monotonic() + LIMIT_S
        isOpen = True
        while isOpen and time.monotonic() < end:
            try:
                sock.sendall(b"G")
                sock.settimeout(1)
                isOpen = sock.recv(1) != b""
            except TimeoutError:
                pass
            except OSError:
                isOpen = False
        self.assertFalse(isOpen)

    def test_HeadThatIsTooLong_IsRefused(self):
        server = self.serve()
        status, _, _ = server.get("/api/status", X_Long="x" * 4000)
        self.assertEqual(status, 200)
        for headers in ({"X_Long": "x" * 40000}, {"X_" + str(i): "y" * 100 for i in range(500)}):
            try:
                status, _, _ = server.get("/api/status", **headers)
            except OSError:
                status = 431  # cut off while it was still sent
            self.assertIn(status, (400, 413, 431))
        self.assertEqual(server.get("/api/status")[0], 200)

    def test_ReaderThatDoesNotRead_DoesNotHoldUpOthers(self):
        server = self.serve()
        lazy = [Stream(server.port) for _ in range(20)]
        for stream in lazy:
            self.addCleanup(stream.close)
        keen, = self.read(server)
        for _ in range(3):
            keen.readUpdate()


class Load(WebCase):
    def test_200Readers_GetEveryUpdateAndTheDaemonGoesOn(self):
        server = self.serve()
        streams = self.read(server, READERS)
        self.slot.waitPolls(3)
        for stream in streams:
            stream.readUpdate()
        # There is room for a request.
        self.assertEqual(server.get("/api/status")[0], 200)

    def test_MoreReadersThanThereIsRoomFor_AreTurnedAway(self):
        server = self.serve()
        self.read(server, 240)
        late = Stream(server.port)
        self.addCleanup(late.close)
        late.readUntil(b"503")


if __name__ == "__main__":
    runTests()
