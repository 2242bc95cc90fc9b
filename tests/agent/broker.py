"""Debian's mosquitto with TLS on the loopback interface, and an operator who listens and sends commands."""

import itertools
import json
import os
import pathlib
import signal
import socket
import ssl
import subprocess
import threading
import time

import paho.mqtt.client

from gateway import LIMIT_S, waitUntil

GATEWAY = "pump7"
# As user mosquitto it could not read the test's folder.
CONFIG = """\
user root
listener {port} {address}
cafile {folder}/ca.crt
certfile {folder}/broker.crt
keyfile {folder}/broker.key
require_certificate true
use_identity_as_username true
acl_file {folder}/acl
persistence true
persistence_location {folder}/
autosave_interval 1
max_queued_messages 100000
log_dest file {folder}/log
"""
ACL = """\
user operator
topic readwrite cellslot/#
pattern write cellslot/1/%u/availability
pattern write cellslot/1/%u/slot/#
pattern write cellslot/1/%u/result
pattern read cellslot/1/%u/command
"""


def openssl(folder, *words):
    subprocess.run(["openssl", *words], cwd=folder, check=True, capture_output=True)


def makeAuthority(folder, name="ca"):
    openssl(folder, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
            f"{name}.key", "-out", f"{name}.crt", "-days", "2", "-subj", f"/CN={name}")


def makeCertificate(folder, name, subject, *others, authority="ca"):
    openssl(folder, "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-keyout",
            f"{name}.key", "-out", f"{name}.csr", "-subj", f"/CN={subject}")
    pathlib.Path(folder, "extensions").write_text(
        "subjectAltName=" + ",".join("DNS:" + host for host in (subject, *others)) + "\n")
    openssl(folder, "x509", "-req", "-in", f"{name}.csr", "-CA", f"{authority}.crt", "-CAkey", f"{authority}.key",
            "-CAcreateserial", "-days", "2", "-extfile", "extensions", "-out", f"{name}.crt")


def freePort():
    with socket.socket() as sock:
        sock.bind(("127.0.0.1", 0))
        return sock.getsockname()[1]


class Broker:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True)
        makeAuthority(folder)
        makeCertificate(folder, "broker", "localhost", "broker")
        makeCertificate(folder, "gateway", GATEWAY)
        makeCertificate(folder, "operator", "operator")
        (self.folder / "acl").write_text(ACL)
        self.port = freePort()
        self.certificate = "broker"
        self.process = None

    def configure(self, address):
        text = CONFIG.format(port=self.port, folder=self.folder, address=address).replace("/broker.", f"/{self.certificate}.")
        (self.folder / "mosquitto.conf").write_text(text)

    def startWithin(self, namespace, address, fast):
        """In a network of its own, with a clock that runs faster."""
        self.configure(address)
        self.process = subprocess.Popen(
            ["ip", "netns", "exec", namespace, "faketime", "-f", f"+0 x{fast}", "mosquitto", "-c",
             self.folder / "mosquitto.conf"], stderr=subprocess.PIPE, text=True, start_new_session=True)

    def start(self):
        self.configure("127.0.0.1")
        self.process = subprocess.Popen(["mosquitto", "-c", self.folder / "mosquitto.conf"],
                                        stderr=subprocess.PIPE, text=True, start_new_session=True)
        waitUntil(self.isListening, lambda: "mosquitto does not listen")

    def isListening(self):
        if self.process.poll() is not None:
            raise AssertionError("mosquitto has ended: " + self.process.stderr.read())
        with socket.socket() as sock:
            return sock.connect_ex(("127.0.0.1", self.port)) == 0

    def stop(self):
        if self.process is None:
            return
        # Its group: faketime remains its parent and must end with it.
        os.killpg(self.process.pid, signal.SIGTERM)
        self.process.communicate(timeout=LIMIT_S)
        self.process = None


class Operator:
    """Keeps every message of the gateway, in the order of its arrival: (topic, retained, object)."""

    numbers = itertools.count(1)

    def __init__(self, broker, session="operator"):
        self.all = []
        self.received = []  # without repetitions
        self.seen = set()
        self.changed = threading.Condition()
        self.client = paho.mqtt.client.Client(client_id=session, clean_session=False)
        context = ssl.create_default_context(cafile=broker.folder / "ca.crt")
        context.load_cert_chain(broker.folder / "operator.crt", broker.folder / "operator.key")
        self.client.tls_set_context(context)
        self.client.reconnect_delay_set(1, 1)
        self.client.max_inflight_messages_set(1000)
        self.client.on_connect = lambda client, *_: client.subscribe("cellslot/1/#", 1)
        self.client.on_message = self.take
        self.client.connect("localhost", broker.port)
        self.client.loop_start()

    def take(self, _client, _data, message):
        name = message.topic.removeprefix(f"cellslot/1/{GATEWAY}/")
        if name == "command":
            return
        content = json.loads(message.payload)
        with self.changed:
            self.all.append((name, content))
            # A receiver drops what comes again.
            if content.get("id") not in self.seen:
                self.received.append((name, message.retain, content))
            if "id" in content:
                self.seen.add(content["id"])
            self.changed.notify_all()

    def end(self):
        self.client.disconnect()
        self.client.loop_stop()

    def mark(self):
        return len(self.received)

    def wait(self, condition, what, since=0):
        """The first message since the mark for which condition(topic, object) holds."""
        def find():
            return next((entry for entry in self.received[since:] if condition(entry[0], entry[2])), None)
        with self.changed:
            if not self.changed.wait_for(find, LIMIT_S):
                last = "\n".join(str(entry)[:300] for entry in self.received[-10:])
                raise AssertionError(f"no {what}; the last messages are\n{last}")
            return find()[2]

    def waitEvent(self, kind, since=0):
        return self.wait(lambda topic, message: topic.endswith("/event") and message["kind"] == kind,
                         "event " + kind, since)

    def waitStatus(self, condition, since=0):
        return self.wait(lambda topic, message: topic.endswith("/status") and condition(message["slots"][0]),
                         "such a status", since)

    def waitOnline(self, online=True, since=0):
        return self.wait(lambda topic, message: topic == "availability" and message["online"] == online,
                         f"availability {online}", since)

    def waitResult(self, command, final=True, since=0):
        return self.wait(lambda topic, message: topic == "result" and message["command"] == command
                         and (message["status"] != "started") == final, "result of " + command, since)

    def sendText(self, text, gateway=GATEWAY, retain=False):
        self.client.publish(f"cellslot/1/{gateway}/command", text, 1, retain).wait_for_publish(LIMIT_S)

    def send(self, do, id=None, deadline=600, **args):
        """Returns the command's id."""
        id = id or f"c{next(self.numbers)}"
        until = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(time.time() + deadline))
        self.sendText(json.dumps({"id": id, "by": "tester", "deadline": until, "do": do, "args": args}))
        return id

    def ledger(self):
        """Numbers of each stream, with what came under them."""
        streams = {}
        for topic, message in list(self.all):
            if "id" not in message:
                continue
            stream, _, number = message["id"].rpartition("-")
            streams.setdefault(stream, {}).setdefault(int(number), set()).add((topic, json.dumps(message)))
        return streams
