"""Brokers for tests, with the configurations of contrib/ as they stand, and clients of them. Everything
runs in a private namespace (scripts/private_namespace.sh), on its loopback interface."""

import os
import pathlib
import queue
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time

CHECKOUT = pathlib.Path(__file__).resolve().parents[2]
CONTRIB = CHECKOUT / "contrib"
# Bounds a failure; nothing takes so long.
LIMIT_S = int(os.environ.get("CELLSLOT_LIMIT_S", "300"))
MOSQUITTO_GATEWAYS, MOSQUITTO_PSK, MOSQUITTO_PASSWORD, MOSQUITTO_OPERATORS = 8883, 8884, 8885, 8886
CLUSTER_PORTS = (8883, 8884, 8885)
MONITORING = 8222


def waitUntil(condition, what):
    """The first true value of the condition."""
    end = time.monotonic() + LIMIT_S
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError(f"not within {LIMIT_S} s: {what}")


def takesConnections(port):
    try:
        with socket.create_connection(("127.0.0.1", port), 1):
            return True
    except OSError:
        return False


def run(*words, **options):
    return subprocess.run([str(word) for word in words], check=True, stdout=subprocess.PIPE, text=True,
                          timeout=LIMIT_S, **options).stdout


class Keys:
    """The folder that contrib/keys.sh fills."""

    def __init__(self, folder=None, addresses=()):
        """addresses: where the broker is reached too, beside the loopback interface."""
        self.folder = pathlib.Path(folder or tempfile.mkdtemp(prefix="keys."))
        self.make("broker", "localhost", "127.0.0.1", "::1", *addresses)
        self.make("operator", "operator", "monitoring")

    def make(self, *words):
        run(CONTRIB / "keys.sh", self.folder, *words)

    def end(self):
        shutil.rmtree(self.folder)

    def gateway(self, name):
        return self._pair("gateways", name)

    def operator(self, name="operator"):
        return self._pair("operators", name)

    def _pair(self, folder, name):
        return ["--cafile", self.folder / "ca.crt", "--cert", self.folder / folder / f"{name}.crt",
                "--key", self.folder / folder / f"{name}.key"]


class Process:
    """A program that is ended by its number. What it says is in the file log."""

    def __init__(self, words, log, environment=None):
        self.words, self.log, self.environment, self.process = words, log, environment, None

    def start(self):
        with open(self.log, "ab") as log:
            self.process = subprocess.Popen([str(word) for word in self.words], stdout=log, stderr=log,
                                            stdin=subprocess.DEVNULL,
                                            env={**os.environ, **(self.environment or {})})

    def end(self, number=signal.SIGTERM):
        if self.process is not None:
            self.process.send_signal(number)
            self.process.wait(LIMIT_S)
            self.process = None

    @property
    def pid(self):
        return self.process.pid


class Mosquitto:
    """contrib/mosquitto as its README.md says."""

    ports = (MOSQUITTO_GATEWAYS,)
    operatorPort = MOSQUITTO_OPERATORS

    def __init__(self, keys, gateways=()):
        self.keys, self.folder = keys, pathlib.Path("/etc/mosquitto/fleet")
        store = pathlib.Path("/var/lib/mosquitto")
        store.mkdir(exist_ok=True)
        if not os.path.ismount(store):
            run("mount", "-t", "tmpfs", "-o", "mode=777", "tmpfs", store)
        self.forget()
        self.folder.mkdir(parents=True, exist_ok=True)
        if gateways:
            keys.make("gateway", *gateways)
            keys.make("psk", *gateways)
        self.install()
        self.process = Process(["mosquitto", "-c", CONTRIB / "mosquitto/mosquitto.conf"],
                               f"{tempfile.gettempdir()}/mosquitto.log")

    @staticmethod
    def forget():
        """Loses all that it keeps; not while it runs."""
        for left in pathlib.Path("/var/lib/mosquitto").iterdir():
            left.unlink()

    def install(self):
        passwords = self.folder / "passwords"
        passwords.touch()
        (self.keys.folder / "gateways.psk").touch()
        for source, name in (("ca.crt", "ca.crt"), ("operators-ca.crt", "operators-ca.crt"),
                             ("brokers/localhost.crt", "broker.crt"), ("brokers/localhost.key", "broker.key"),
                             ("gateways.crl", "gateways.crl"), ("gateways.psk", "gateways.psk")):
            shutil.copy(self.keys.folder / source, self.folder / name)
        shutil.copy(CONTRIB / "mosquitto/acl", self.folder / "acl")
        for file in self.folder.iterdir():
            file.chmod(0o644)

    def password(self, user, password):
        run("mosquitto_passwd", "-b", self.folder / "passwords", user, password)
        (self.folder / "passwords").chmod(0o644)

    def start(self):
        self.process.start()
        for port in (MOSQUITTO_GATEWAYS, MOSQUITTO_PSK, MOSQUITTO_PASSWORD, MOSQUITTO_OPERATORS):
            waitUntil(lambda: takesConnections(port), f"mosquitto at {port}")

    def end(self):
        self.process.end()

    def restart(self):
        self.end()
        self.start()

    def pids(self):
        return [self.process.pid]


class Cluster:
    """contrib/nats: three nodes on one host, which differ from the files in ports and folder only."""

    ports = CLUSTER_PORTS
    operatorPort = CLUSTER_PORTS[0]

    def __init__(self, keys, gateways=()):
        self.keys, self.folder = keys, pathlib.Path("/etc/nats/fleet")
        self.folder.mkdir(parents=True, exist_ok=True)
        self.data = pathlib.Path(tempfile.mkdtemp(prefix="nats."))
        if gateways:
            keys.make("gateway", *gateways)
        names = "".join(f"{name}\n" for name in gateways)
        (self.folder / "users.conf").write_text(run(CONTRIB / "nats/users.sh", input=names))
        for source, name in (("ca.crt", "ca.crt"), ("brokers/localhost.crt", "broker.crt"),
                             ("brokers/localhost.key", "broker.key")):
            shutil.copy(keys.folder / source, self.folder / name)
        (self.folder / "clients-ca.crt").write_text((keys.folder / "ca.crt").read_text() +
                                                    (keys.folder / "operators-ca.crt").read_text())
        self.nodes = [self._node(index) for index in range(3)]

    def _node(self, index):
        text = (CONTRIB / "nats/node.conf").read_text()
        for there, here in (("/var/lib/nats", self.data / str(index)), (":8883", f":{CLUSTER_PORTS[index]}"),
                            (":6222", f":{6222 + index}"), (":4222", f":{4222 + index}"),
                            (f":{MONITORING}", f":{MONITORING + index}")):
            assert there in text, there
            text = text.replace(there, str(here))
        file = self.folder.parent / f"node{index}.conf"
        file.write_text(text)
        routes = ", ".join(f"nats-route://localhost:{6222 + other}" for other in range(3))
        return Process(["nats-server", "-c", file], self.data / f"{index}.log",
                       {"FLEET_NODE": f"node{index}", "FLEET_ROUTES": f"[{routes}]"})

    def start(self):
        for node in self.nodes:
            node.start()
        self.waitReady()

    def waitReady(self):
        """Each node that runs takes a client's subscription and keeps states: right after the start and after
        the loss of a node it may refuse both."""
        for node, port in zip(self.nodes, CLUSTER_PORTS):
            if node.process is not None:
                waitUntil(lambda: takesConnections(port), f"a node at {port}")
                waitUntil(lambda: self._works(port), f"a node that works at {port}")

    def waitWhole(self, without=None):
        """The nodes have everything, and somebody leads it: one may be taken away, or brought back."""
        self.waitReady()
        said = self.notWhole(LIMIT_S, without)
        assert not said, said

    def notWhole(self, seconds, without=None):
        """What contrib/nats/whole.py still says of the nodes after so long; nothing if they are whole."""
        urls = [f"http://127.0.0.1:{MONITORING + index}" for index in range(len(self.nodes)) if index != without]
        asked = subprocess.run([CONTRIB / "nats/whole.py", "--wait", str(seconds), *urls], stdout=subprocess.PIPE,
                               text=True, check=False)
        return asked.stdout if asked.returncode else ""

    def lose(self, index):
        self.nodes[index].end(signal.SIGKILL)

    def bringBack(self, index):
        """As README.md says: with an empty store, which the two others fill."""
        self.waitWhole(without=index)
        shutil.rmtree(self.data / str(index))
        self.nodes[index].start()
        self.waitWhole()

    def _works(self, port):
        return subprocess.run(
            [str(word) for word in ("timeout", "20", "mosquitto_sub", "-h", "localhost", "-p", port, "-V", "311",
                                    "-i", f"ready-{port}", *self.keys.operator(), "-q", "1", "-E",
                                    "-t", "cellslot/1/ready/command")],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0

    def end(self):
        for node in self.nodes:
            node.end(signal.SIGKILL)
        shutil.rmtree(self.data)

    def pids(self):
        return [node.pid for node in self.nodes if node.process is not None]

    def log(self):
        return "".join((self.data / f"{index}.log").read_text() for index in range(3))


class Subscriber:
    """mosquitto_sub: each message is (topic, payload)."""

    def __init__(self, port, topics, who, identifier, qos=1, extra=()):
        words = ["stdbuf", "-oL", "mosquitto_sub", "-h", "localhost", "-p", port, "-V", "311", "-i", identifier, "-q", qos,
                 "-F", "%t %p", "-d", *who, *extra]
        for topic in topics:
            words += ["-t", topic]
        self.process = subprocess.Popen([str(word) for word in words], stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True)
        self.messages, self.said, self.news = [], [], queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.news.put(line.rstrip("\n"))
        self.news.put(None)

    def take(self):
        """Takes the next line. False at the end of the program."""
        line = self.news.get(timeout=LIMIT_S)
        if line is None:
            self.news.put(None)
            return False
        if line.startswith("cellslot/"):
            self.messages.append(tuple(line.split(" ", 1)))
        else:
            self.said.append(line)
        return True

    def waitSubscribed(self):
        """Whether the broker took at least one subscription."""
        while not any(line.startswith("Subscribed (") or "denied" in line for line in self.said):
            if not self.take():
                return False
        return not any("denied" in line for line in self.said)

    def waitFor(self, message):
        """All messages up to this one."""
        while message not in self.messages:
            if not self.take():
                raise AssertionError(f"ended without {message}: {self.said}, {self.messages}")
        return self.messages

    def end(self):
        self.process.kill()  # as a gateway that loses its power
        self.process.wait(LIMIT_S)
        self.reader.join(LIMIT_S)
        self.process.stdout.close()


def publish(port, who, identifier, topic, text, retain=False, extra=()):
    """Publishes with QoS 1. The exit status: 0 if the broker said that it has the message."""
    words = ["timeout", str(LIMIT_S), "mosquitto_pub", "-h", "localhost", "-p", port, "-V", "311", "-i", identifier,
             "-q", "1", "-t", topic, "-m", text, *(["-r"] if retain else []), *who, *extra]
    return subprocess.run([str(word) for word in words], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          check=False)
