"""cellslot-fleet serve over mosquitto: who may ask, what is answered, and the stream."""

import base64
import http.client
import json
import os
import pathlib
import socket
import ssl
import subprocess
import sys
import tempfile
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from brokers import LIMIT_S, waitUntil  # noqa: E402
from fleet_case import FLEET, FleetCase, runTests  # noqa: E402
from mqtt_client import CONNACK, CONNECT, PUBLISH, REFUSED, RETAIN, SUBACK, SUBSCRIBE, packet, text  # noqa: E402
from gateways import NO_SIM, POOR, Gateway, offline, online, slotStatus  # noqa: E402

PASSWORD = "long-enough-42"


class Server:
    """cellslot-fleet serve at a free port."""

    def __init__(self, conf, *words, listen="127.0.0.1:0", credentials=None, environment=None):
        self.errors, self.said = tempfile.TemporaryFile("w+"), ""
        environment = {**os.environ, **(environment or {})}
        if credentials:
            environment["CREDENTIALS_DIRECTORY"] = str(credentials)
        self.process = subprocess.Popen([str(FLEET), "serve", "--conf", str(conf), "--listen", listen,
                                         *map(str, words)],
                                        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self.errors,
                                        text=True, env=environment)
        line = self.process.stdout.readline()
        self.port = int(line.rsplit(":", 1)[1]) if line else None

    def end(self):
        if self.process.poll() is None:
            self.process.terminate()
        self.process.wait(LIMIT_S)
        if not self.errors.closed:
            self.process.stdout.close()
            self.errors.seek(0)
            self.said = self.errors.read()
            self.errors.close()
        return self.said

    def connect(self, context=None):
        if context:
            return http.client.HTTPSConnection("127.0.0.1", self.port, timeout=LIMIT_S, context=context)
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT_S)

    def get(self, path, method="GET", context=None, **headers):
        connection = self.connect(context)
        try:
            connection.request(method, path, headers=headers)
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read().decode()
        finally:
            connection.close()

    def getJson(self, path):
        status, _, body = self.get(path)
        assert status == 200, (status, body)
        return json.loads(body)


class Stream:
    """A reader of /api/events."""

    def __init__(self, port):
        self.sock = socket.create_connection(("127.0.0.1", port), timeout=LIMIT_S)
        self.sock.sendall(b"GET /api/events HTTP/1.0\r\nHost: localhost\r\n\r\n")
        self.file = self.sock.makefile("rb")
        self.event = None

    def next(self):
        """Name and data of the next event, signs of life left out."""
        for line in self.file:
            text = line.decode().rstrip("\r\n")
            if text.startswith("event: "):
                self.event = text[7:]
            if text.startswith("data: ") and self.event != "alive":
                return self.event, json.loads(text[6:])
        raise AssertionError("the stream ended")

    def until(self, condition):
        while True:
            event, data = self.next()
            if condition(event, data):
                return data

    def close(self):
        self.file.close()
        self.sock.close()


class ServeCase(FleetCase):
    def setUp(self):
        self.gateways = {}
        for name in self.names:
            self.gateways[name] = Gateway(self.broker, name)
            self.addCleanup(self.gateways[name].end)
            self.gateways[name].publishState()

    def serve(self, *words, **options):
        server = Server(options.pop("conf", self.conf), *words, **options)
        self.addCleanup(server.end)
        return server

    def serveAll(self, **options):
        """A server that knows all gateways."""
        server = self.serve(**options)
        waitUntil(lambda: server.get("/api/fleet")[0] == 200 and
                  len(server.getJson("/api/fleet")["gateways"]) == len(self.names), "all gateways are known")
        return server

    def stream(self, server):
        stream = Stream(server.port)
        self.addCleanup(stream.close)
        return stream


class WhoMayAsk(ServeCase):
    def refusedAt(self, address, **options):
        server = self.serve(listen=address, **options)
        self.assertNotEqual(server.process.wait(LIMIT_S), 0)
        return server.end()

    def credentials(self, **files):
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        for name, text in files.items():
            (folder / name).write_text(text)
        return folder

    def certificate(self):
        folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                        "-subj", "/CN=desk", "-keyout", folder / "key", "-out", folder / "crt"],
                       check=True, stderr=subprocess.DEVNULL)
        return (folder / "crt").read_text(), (folder / "key").read_text()

    def test_OtherAddressWithoutTlsOrPassword_IsRefused(self):
        self.assertIn("which needs a certificate", self.refusedAt("0.0.0.0:0"))
        certificate, key = self.certificate()
        self.assertIn("which needs a password: cellslot-fleet password",
                      self.refusedAt("0.0.0.0:0",
                                     credentials=self.credentials(certificate=certificate, key=key)))

    def test_OtherAddress_NeedsTlsAndThePassword(self):
        pathlib.Path("/etc/cellslot").mkdir(exist_ok=True)
        subprocess.run([str(FLEET), "password"], input=PASSWORD + "\n", text=True, check=True,
                       stdout=subprocess.DEVNULL)
        stored = pathlib.Path("/etc/cellslot/fleet-page.password")
        self.assertEqual(stored.stat().st_mode & 0o777, 0o600)
        certificate, key = self.certificate()
        server = self.serve(listen="0.0.0.0:0", credentials=self.credentials(
            certificate=certificate, key=key, password=stored.read_text()))
        context = ssl._create_unverified_context()
        self.assertEqual(server.get("/metrics", context=context)[0], 401)
        wrong, right = (base64.b64encode(f"x:{word}".encode()).decode() for word in ("wrong-enough-42", PASSWORD))
        self.assertEqual(server.get("/metrics", context=context, Authorization=f"Basic {wrong}")[0], 401)
        self.assertEqual(server.get("/metrics", context=context, Authorization=f"Basic {right}")[0], 200)

    def test_ForeignName_IsRefusedUnlessItIsAllowed(self):
        conf = self.folder / "named.conf"
        conf.write_text(self.conf.read_text() + "HOSTS=fleet.example.com\n")
        server = self.serve(conf=conf)
        self.assertEqual(server.get("/metrics", Host="evil.example.com")[0], 421)
        self.assertEqual(server.get("/metrics", Host="fleet.example.com")[0], 200)
        self.assertEqual(server.get("/metrics", Host="localhost:1")[0], 200)

    def test_NothingCanBeChanged(self):
        server = self.serve()
        for method in ("POST", "PUT", "DELETE", "PATCH", "OPTIONS"):
            self.assertEqual(server.get("/api/fleet", method)[0], 405, method)
        status, headers, _ = server.get("/metrics")
        self.assertEqual(status, 200)
        self.assertIn("default-src 'none'", headers["Content-Security-Policy"])
        self.assertEqual(server.get("/api/fleet", **{"Sec-Fetch-Site": "cross-site"})[0], 403)

    def test_MonitoringUser_MaySee(self):
        server = self.serveAll(conf=self.configure("monitoring"))
        self.assertEqual(server.get("/api/gateway/pump-1")[0], 200)


class Answers(ServeCase):
    def test_Fleet_IsWhatStatusPrints(self):
        self.gateways["pump-2"].publishState(offline(secondsAgo=90000), slotStatus(secondsAgo=90000))
        server = self.serveAll()

        def without(fleet):
            for gateway in fleet["gateways"]:
                gateway.pop("problems")  # they say how long ago
            return fleet
        self.assertEqual(without(server.getJson("/api/fleet")), without(self.askJson("status")))
        self.assertEqual(server.getJson("/api/fleet")["gateways"][0]["name"], "pump-2")

    def test_Query_Filters(self):
        self.gateways["pump-1"].publishState(None, slotStatus(operator="Voda & Co", quality="poor"))
        self.gateways["pump-2"].publishState(None, slotStatus(state="not_connected", problems=[NO_SIM]))
        server = self.serveAll()

        def chosen(query):
            return [gateway["name"] for gateway in server.getJson("/api/fleet?" + query)["gateways"]]
        waitUntil(lambda: chosen("signal=poor") == ["pump-1"], "the new state of pump-1")
        waitUntil(lambda: chosen("state=error") == ["pump-2"], "the new state of pump-2")
        self.assertEqual(chosen("name=pump-%5B13%5D"), ["pump-1", "pump-3"])
        self.assertEqual(chosen("operator=voda+%26"), ["pump-1"])
        self.assertEqual(chosen("firmware=20.00.4&state=connected"), ["pump-1", "pump-3"])
        self.assertEqual(chosen("firmware=99"), [])
        status, _, body = server.get("/api/fleet?name=pump-1&name=pump-2")
        self.assertEqual((status, body), (400, "The query has 'name' twice; expected each parameter once.\n"))
        for query in ("state=ofline", "signal=bad"):
            self.assertEqual(server.get("/api/fleet?" + query)[0], 400, query)
        for query in ("colour=red", "state=%00", "name=%zz"):
            status, _, body = server.get("/api/fleet?" + query)
            self.assertEqual(status, 400, query)
            self.assertIn("expected name, state", body)

    def test_FleetForPeople_IsIndentedAsAWhole(self):
        server = self.serveAll()
        text = server.get("/api/fleet")[2]
        self.assertEqual(text, json.dumps(json.loads(text), indent=2, ensure_ascii=False) + "\n")
        text = server.get("/api/fleet?firmware=99")[2]
        self.assertEqual(json.loads(text), {"gateways": []})

    def test_Gateway_IsWhatShowPrints(self):
        server = self.serveAll()
        self.assertEqual(server.getJson("/api/gateway/pump-1"), self.askJson("show", "pump-1"))
        for name in ("nobody", "..%2f", "", "<b>"):
            self.assertEqual(server.get("/api/gateway/" + name)[0], 404, name)

    def test_Metrics_PassPromtool(self):
        self.gateways["pump-1"].publishState(online(waiting=7), slotStatus(problems=[POOR], quality="poor"))
        self.gateways["pump-2"].publishState(offline(), slotStatus(secondsAgo=90000))
        server = self.serveAll()
        waitUntil(lambda: 'cellslot_gateway_waiting_messages{gateway="pump-1"} 7\n' in server.get("/metrics")[2],
                  "the new state of pump-1")
        waitUntil(lambda: 'cellslot_gateway_online{gateway="pump-2"} 0\n' in server.get("/metrics")[2],
                  "pump-2 is offline")
        status, headers, text = server.get("/metrics")
        self.assertEqual((status, headers["Content-Type"]), (200, "text/plain; version=0.0.4; charset=utf-8"))
        checked = subprocess.run(["promtool", "check", "metrics"], input=text, text=True, capture_output=True)
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))
        for line in ('cellslot_fleet_gateways{state="offline"} 1', 'cellslot_fleet_gateways{state="connected"} 2',
                     'cellslot_fleet_problem_gateways{problem="signal_poor",severity="warning"} 1',
                     'cellslot_signal_rsrp_dbm{gateway="pump-1",slot="1"} -98', "cellslot_fleet_broker_connected 1"):
            self.assertIn(line + "\n", text)
        self.assertNotIn('cellslot_signal_rsrp_dbm{gateway="pump-2"', text)


class Changes(ServeCase):
    def test_Stream_BringsTheWholeFleetThenWhatChanges(self):
        stream = self.stream(self.serveAll())
        event, data = stream.next()
        self.assertEqual(event, "fleet")
        self.assertEqual([gateway["name"] for gateway in data["gateways"]], list(self.names))
        self.gateways["pump-2"].publishState(None, slotStatus(state="not_connected", problems=[NO_SIM]))
        data = stream.until(lambda event, data: data["gateways"] and
                            data["gateways"][0]["state"] == "not_connected")
        self.assertEqual([gateway["name"] for gateway in data["gateways"]], ["pump-2"])
        self.assertEqual(data["gateways"][0]["problems"][0]["what"], NO_SIM["what"])

    def test_GatewayThatIsGivenUp_Disappears(self):
        stream = self.stream(self.serveAll())
        stream.next()
        third = self.gateways["pump-3"]
        third.say("slot/1/status", "", retain=True)
        third.say("availability", "", retain=True)
        stream.until(lambda event, data: data["gone"] == ["pump-3"])

    def test_BrokerThatGoes_IsSaidAndItsReturnToo(self):
        server = self.serveAll()
        stream = self.stream(server)
        stream.next()
        self.broker.end()
        data = stream.until(lambda event, data: data["trouble"])
        self.assertEqual(len(server.getJson("/api/fleet")["gateways"]), 3)
        self.assertIn("cellslot_fleet_broker_connected 0\n", server.get("/metrics")[2])
        self.broker.start()
        stream.until(lambda event, data: not data["trouble"])
        self.assertTrue(data["trouble"])

    def test_WithoutBroker_ServesAndSaysWhy(self):
        conf = self.folder / "nowhere.conf"
        conf.write_text(self.conf.read_text().replace(f":{self.broker.operatorPort}", ":9"))
        server = self.serve(conf=conf)
        waitUntil(lambda: "refused" in server.get("/api/fleet")[2], "why there is no connection")
        self.assertEqual(server.get("/api/fleet")[0], 503)
        self.assertIn("cellslot_fleet_broker_connected 0\n", server.get("/metrics")[2])


class ForgetfulBroker:
    """Has one gateway's state, then ends the connection, and refuses what the next one subscribes."""

    def __init__(self):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.isCut = threading.Event()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        self._talk(0, [packet(PUBLISH, RETAIN, text("cellslot/1/pump-1/availability") + online().encode())])
        self._talk(REFUSED, [])

    def _talk(self, granted, messages):
        connection, _ = self.listener.accept()
        with connection, connection.makefile("rb") as stream:
            if not granted:
                threading.Thread(target=lambda: self.isCut.wait() and connection.shutdown(socket.SHUT_RDWR),
                                 daemon=True).start()
            while head := stream.read(2):
                body = stream.read(head[1])
                if head[0] >> 4 == CONNECT:
                    connection.sendall(packet(CONNACK, 0, bytes(2)))
                elif head[0] >> 4 == SUBSCRIBE:
                    connection.sendall(packet(SUBACK, 0, body[:2] + bytes([granted])))
                    for message in messages:
                        connection.sendall(message)


class Refusals(FleetCase):
    def test_BusyClusterThatRefusesAfterALoss_TheLastStatesStay(self):
        broker = ForgetfulBroker()
        self.addCleanup(broker.listener.close)
        conf = self.folder / "forgetful.conf"
        conf.write_text(f"BROKER=127.0.0.1:{broker.listener.getsockname()[1]}\nTLS=no\n")
        server = Server(conf)
        self.addCleanup(server.end)
        waitUntil(lambda: server.get("/api/gateway/pump-1")[0] == 200, "the gateway")
        broker.isCut.set()
        stream = Stream(server.port)
        self.addCleanup(stream.close)
        stream.until(lambda event, data: "does not allow this user" in data["trouble"])
        self.assertEqual([each["name"] for each in server.getJson("/api/fleet")["gateways"]], ["pump-1"])
        self.assertIn("cellslot_fleet_broker_connected 0\n", server.get("/metrics")[2])


if __name__ == "__main__":
    runTests()
