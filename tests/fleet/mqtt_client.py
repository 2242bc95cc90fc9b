"""A client for MQTT 3.1.1 over TLS, as much as a simulated gateway needs: one connection that publishes and
subscribes with QoS 1."""

import select
import socket
import ssl
import struct
import threading

from brokers import LIMIT_S

CONNECT, CONNACK, PUBLISH, PUBACK, SUBSCRIBE, SUBACK, PINGREQ, DISCONNECT = 1, 2, 3, 4, 8, 9, 12, 14
QOS_1 = 0x02
RETAIN = 0x01
REFUSED = 0x80


def text(value):
    data = value.encode()
    return struct.pack(">H", len(data)) + data


def packet(kind, flags, body):
    size, length = b"", len(body)
    while True:
        length, digit = divmod(length, 128)
        size += bytes([digit | (0x80 if length else 0)])
        if not length:
            return bytes([kind << 4 | flags]) + size + body


class Client:
    """received(topic, payload) is called in a thread of its own."""

    def __init__(self, port, who, identifier, received=None, keepsSession=False):
        files = dict(zip(who[::2], map(str, who[1::2])))
        context = ssl.create_default_context(cafile=files["--cafile"])
        context.load_cert_chain(files["--cert"], files["--key"])
        plain = socket.create_connection(("localhost", port), LIMIT_S)
        self.socket = context.wrap_socket(plain, server_hostname="localhost")
        self.socket.setblocking(False)
        # Two threads use the connection, and TLS takes one at a time.
        self.received, self.number, self.using = received, 0, threading.Lock()
        self.writing = threading.Lock()
        self.answers, self.news = {}, threading.Condition()
        self.ended = False
        body = text("MQTT") + bytes([4, 0 if keepsSession else 2, 1, 44]) + text(identifier)
        self._send(packet(CONNECT, 0, body))
        kind, _, body = self._read()
        if kind != CONNACK or body[1] != 0:
            self.socket.close()
            raise ConnectionError(f"refused with {body!r}")
        self.reader = threading.Thread(target=self._loop, daemon=True)
        self.reader.start()

    def publish(self, topic, payload, retain=False):
        """Until the broker has it."""
        self._ask(PUBLISH, QOS_1 | (RETAIN if retain else 0),
                  lambda number: text(topic) + number + payload.encode())

    def subscribe(self, topic):
        answer = self._ask(SUBSCRIBE, 2, lambda number: number + text(topic) + bytes([1]))
        assert answer[2] != REFUSED, topic

    def end(self):
        """In order, and until the broker has closed the connection too: another one of the same name may follow."""
        try:
            self._send(packet(DISCONNECT, 0, b""))
        except OSError:
            pass  # the broker was quicker
        self.reader.join(LIMIT_S)
        self.socket.close()

    def _ask(self, kind, flags, body):
        with self.news:
            self.number += 1
            number = struct.pack(">H", self.number)
        self._send(packet(kind, flags, body(number)))
        with self.news:
            if not self.news.wait_for(lambda: number in self.answers or self.ended, LIMIT_S):
                raise TimeoutError("no answer from the broker")
            if number not in self.answers:
                raise ConnectionError("the connection ended")
            return self.answers.pop(number)

    def _send(self, data):
        with self.writing:
            while data:
                with self.using:
                    try:
                        data = data[self.socket.send(data):]
                        continue
                    except (ssl.SSLWantReadError, ssl.SSLWantWriteError):
                        pass
                select.select([], [self.socket], [], LIMIT_S)

    def _some(self, count):
        while True:
            with self.using:
                try:
                    return self.socket.recv(count)
                except (ssl.SSLWantReadError, ssl.SSLWantWriteError):
                    pass
            select.select([self.socket], [], [], LIMIT_S)

    def _exactly(self, count):
        data = b""
        while len(data) < count:
            more = self._some(count - len(data))
            if not more:
                raise ConnectionError("the broker ended the connection")
            data += more
        return data

    def _read(self):
        first = self._exactly(1)[0]
        length = shift = 0
        while True:
            digit = self._exactly(1)[0]
            length |= (digit & 0x7F) << shift
            shift += 7
            if not digit & 0x80:
                return first >> 4, first & 15, self._exactly(length)

    def _loop(self):
        try:
            while True:
                self._take(*self._read())
        except OSError:
            pass
        with self.news:
            self.ended = True
            self.news.notify_all()

    def _take(self, kind, flags, body):
        if kind in (PUBACK, SUBACK):
            with self.news:
                self.answers[body[:2]] = body
                self.news.notify_all()
        if kind == PUBLISH:
            end = 2 + struct.unpack(">H", body[:2])[0]
            payload = body[end:]
            if flags & 0x06:
                self._send(packet(PUBACK, 0, payload[:2]))
                payload = payload[2:]
            if self.received:
                # It may publish in turn, whose answer this thread has to read.
                threading.Thread(target=self.received, args=(body[2:end].decode(), payload.decode()),
                                 daemon=True).start()
